// POST /api/zip: what is refused, and archives that every reader opens.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { randomBytes } from "node:crypto";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, describe, test } from "node:test";

import { refusedPaths } from "./paths.mjs";
import {
  assertJsonError,
  assertLogged,
  assertReply,
  assertServed,
  freshFolder,
  kZip,
  login,
  post,
  postJson,
} from "../support/client.mjs";
import { crc32, dosTime, readZip } from "../support/zip_reader.mjs";

const cookie = await login();
const folder = freshFolder("zip");
const zip = (names, where = folder.relative, options = {}) =>
  postJson("/api/zip", { path: where, names }, { cookie, ...options });
const disposition = 'Content-Disposition: attachment; filename="download.zip"';
const kNone = "No readable files to zip.";

async function archive(names, where, options) {
  const reply = await zip(names, where, options);
  assertReply(reply, 200, "OK", kZip, reply.body, [disposition]);
  return reply.body;
}

const samples = {
  "a.txt": Buffer.from("first"),
  empty: Buffer.alloc(0),
  "with blank.txt": Buffer.from("blank"),
  "ümlaut ß.txt": Buffer.from("umlaut"),
  "emoji 🎉.bin": randomBytes(100_000),
  "all bytes.bin": Buffer.from(Array.from({ length: 512 }, (_, index) => index % 256)),
  "PK.bin": Buffer.from("PK\x03\x04PK\x05\x06PK\x01\x02"),
};
for (const [name, data] of Object.entries(samples)) folder.write(name, data);
folder.makeFolder("sub/deep");
folder.write("sub/deep/in.txt", "deep");
const names = Object.keys(samples);

describe("refusals", () => {
  const missing = [
    ["no names", '{"path":"zip"}'],
    ["an empty array", '{"path":"zip","names":[]}'],
    ["a string", '{"names":"a.txt"}'],
    ["numbers", '{"names":[1]}'],
    ["an empty body", ""],
    ["an opening bracket at the end", '{"names":['],
    ["a refused path and no names", '{"path":".."}'],
  ];
  for (const [name, body] of missing) {
    test(`${name}: 400 Missing names[]`, async () => {
      assertJsonError(await post("/api/zip", body, { cookie }), 400, "Missing names[]");
    });
  }
  for (const [name, target] of refusedPaths.slice(0, 9)) {
    test(`${name} (${target}) as path: 400 Invalid path`, async () => {
      assertJsonError(await zip(["a.txt"], decodeURIComponent(target)), 400, "Invalid path");
    });
  }
  const unreadable = [
    ["a missing file", ["none"]],
    ["a folder only", ["sub"]],
    ["a parent", ["../x"]],
    ["a slash", ["sub/deep"]],
    ["a backslash", ["sub\\deep"]],
    ["two dots inside", ["a..txt"]],
    ["an empty name", [""]],
    ["folders and missing files", ["sub", "none", ".."]],
  ];
  for (const [name, list] of unreadable) {
    test(`${name}: 400 ${kNone}`, async () => {
      assertJsonError(await zip(list), 400, kNone);
    });
  }
  test("a missing folder: nothing is readable", async () => {
    assertJsonError(await zip(["a.txt"], "zip/none"), 400, kNone);
  });
  test("the check of the sizes is logged although nothing is readable", async () => {
    assertJsonError(await zip(["sub"]), 400, kNone);
    await assertLogged("ZIP     precheck ok total=0 bytes");
  });

  const large = "A selected file is larger than the ZIP limit (4 GB).";
  const exceed = "Selected files exceed the ZIP limit (4 GB).";
  const sparse = (name, size) => {
    folder.write(name);
    fs.truncateSync(folder.at(name), size);
  };
  sparse("4g", 4_294_967_296);
  sparse("4g+1", 4_294_967_297);
  sparse("2g", 2_147_483_648);
  sparse("2g also", 2_147_483_648);
  after(() => ["4g", "4g+1", "2g", "2g also"].forEach((name) => fs.rmSync(folder.at(name))));
  const sizes = [
    ["a file of 4 GiB and a byte", ["4g+1"], large],
    ["a small file before a large one", ["a.txt", "4g+1"], large],
    ["a file of exactly 4 GiB", ["4g"], exceed],
    ["two files of 2 GiB", ["2g", "2g also"], exceed],
    ["one file of 2 GiB twice", ["2g", "2g"], exceed],
    ["a byte too much before a large file", ["2g", "2g also", "a.txt", "4g+1"], exceed],
    ["a large file behind exactly 4 GiB", ["2g", "2g also", "4g+1"], large],
  ];
  for (const [name, list, message] of sizes) {
    test(`${name}: 413 ${message}`, async () => {
      assertJsonError(await zip(list), 413, message);
      await assertServed();
    });
  }
});

describe("archive", () => {
  test("its headers hold what the files hold", async () => {
    const when = new Date(2024, 1, 29, 13, 37, 42);
    for (const name of names) fs.utimesSync(folder.at(name), when, when);
    const { locals, centrals, end } = readZip(await archive(names));
    assert.deepEqual(
      locals.map((entry) => entry.name),
      names.map((name) => `zip/${name}`),
    );
    assert.deepEqual(
      centrals.map((entry) => entry.name),
      locals.map((entry) => entry.name),
    );
    locals.forEach((local, index) => {
      const data = samples[names[index]];
      const shared = {
        versionNeeded: 20,
        flags: 0x0800,
        method: 0,
        ...dosTime(when),
        crc: crc32(data),
        compressed: data.length,
        uncompressed: data.length,
        nameLength: Buffer.byteLength(local.name),
        extraLength: 0,
        name: local.name,
      };
      assert.ok(local.data.equals(data));
      assert.deepEqual(
        { ...local, data: 0 },
        { ...shared, signature: 0x04034b50, data: 0, at: local.at },
      );
      assert.deepEqual(centrals[index], {
        ...shared,
        signature: 0x02014b50,
        versionMadeBy: 20,
        commentLength: 0,
        disk: 0,
        internal: 0,
        external: 0,
        offset: local.at,
      });
    });
    const count = names.length;
    assert.deepEqual(
      [end.disk, end.centralDisk, end.entriesHere, end.entries, end.commentLength],
      [0, 0, count, count, 0],
    );
  });

  test("names keep the order of the request", async () => {
    const { locals } = readZip(await archive(["emoji 🎉.bin", "a.txt", "empty"]));
    assert.deepEqual(
      locals.map((entry) => entry.name),
      ["zip/emoji 🎉.bin", "zip/a.txt", "zip/empty"],
    );
  });
  test("a name twice is an entry twice", async () => {
    const { centrals } = readZip(await archive(["a.txt", "a.txt"]));
    assert.deepEqual(
      centrals.map((entry) => [entry.name, entry.offset]),
      [
        ["zip/a.txt", 0],
        ["zip/a.txt", 30 + 9 + 5],
      ],
    );
  });
  test("what cannot be read is left out and still counted in the log", async () => {
    const bytes = await archive(["none", "sub", "../x", "a.txt", "sub/deep"]);
    assert.deepEqual(
      readZip(bytes).locals.map((entry) => entry.name),
      ["zip/a.txt"],
    );
    await assertLogged("ZIP     precheck ok total=5 bytes");
    await assertLogged(`ZIP     created (${bytes.length} bytes) for 5 file(s)`);
  });

  const prefixes = [
    ["zip", "zip/a.txt"],
    ["zip/", "zip/a.txt"],
    ["\\zip\\", "zip/a.txt"],
    ["/zip", "zip/a.txt"],
    ["//\\zip", "zip/a.txt"],
    ["./zip", "./zip/a.txt"],
    ["ZIP", "ZIP/a.txt"],
  ];
  for (const [where, entry] of prefixes) {
    test(`the path ${where} gives the entry ${entry}`, async () => {
      const { locals } = readZip(await archive(["a.txt"], where));
      assert.deepEqual(
        locals.map(({ name }) => name),
        [entry],
      );
    });
  }
  test("a folder below a folder stands in the entry", async () => {
    const { locals } = readZip(await archive(["in.txt"], "zip\\sub/deep"));
    assert.deepEqual(
      locals.map(({ name }) => name),
      ["zip/sub/deep/in.txt"],
    );
  });
  test("files of the web root have bare names", async () => {
    fs.copyFileSync(folder.at("a.txt"), folder.at("../zip-root.txt"));
    const { locals } = readZip(await archive(["zip-root.txt"], ""));
    assert.deepEqual(
      locals.map(({ name }) => name),
      ["zip-root.txt"],
    );
    fs.rmSync(folder.at("../zip-root.txt"));
  });

  const times = [
    ["before 1980", new Date(1979, 6, 15, 8, 30, 10)],
    ["in 1980", new Date(1980, 0, 1, 0, 0, 0)],
    ["at an odd second", new Date(2023, 11, 31, 23, 59, 59)],
    ["in summer", new Date(2024, 6, 1, 12, 0, 0)],
    ["in 2099", new Date(2099, 4, 5, 6, 7, 8)],
  ];
  for (const [name, when] of times) {
    test(`a file written ${name} has that DOS time`, async () => {
      folder.write("timed", "x");
      fs.utimesSync(folder.at("timed"), when, when);
      const {
        locals: [{ date, time }],
      } = readZip(await archive(["timed"]));
      assert.deepEqual({ date, time }, dosTime(when));
    });
  }
  test("a body in pieces of 7 bytes gives the same archive", async () => {
    const reply = await zip(names, folder.relative, { piece: 7 });
    assert.ok(reply.body.equals(await archive(names)));
  });
  test("70,000 entries wrap their count", { timeout: 400_000 }, async () => {
    const list = Array.from({ length: 70_000 }, () => "empty");
    const { centrals, end } = readZip(await archive(list, "zip", { timeout: 380_000 }));
    assert.equal(centrals.length, 70_000);
    assert.deepEqual([end.entriesHere, end.entries], [70_000 - 65_536, 70_000 - 65_536]);
  });
  test("100 MB are packed with the right checksum", { timeout: 60_000 }, async () => {
    const data = randomBytes(100_000_000);
    folder.write("100.bin", data);
    const {
      locals: [entry],
    } = readZip(await archive(["100.bin"]));
    assert.equal(entry.crc, crc32(data));
    assert.ok(entry.data.equals(data));
    fs.rmSync(folder.at("100.bin"));
  });
});

// Every reader gets the same archive and must give back the same files.
describe("other readers", async () => {
  const place = fs.mkdtempSync(path.join(os.tmpdir(), "wire-zip-"));
  after(() => fs.rmSync(place, { recursive: true }));
  const file = path.join(place, "download.zip");
  const env = { ...process.env, LC_ALL: "C.UTF-8", LANG: "C.UTF-8" };
  const run = (command, ...rest) => execFileSync(command, rest, { encoding: "utf8", env });

  const sorted = (list) => list.map((data) => data.toString("hex")).sort();
  const extracted = (into) => {
    const inside = Buffer.from(path.join(into, "zip/"));
    const found = fs.readdirSync(inside, "buffer");
    return found.map((name) => [`${name}`, fs.readFileSync(Buffer.concat([inside, name]))]);
  };
  function assertExtracted(into, { namesConverted = false } = {}) {
    const found = extracted(into);
    assert.deepEqual(sorted(found.map(([, data]) => data)), sorted(Object.values(samples)));
    for (const [name, data] of found) {
      if (namesConverted && !(name in samples)) continue;
      assert.ok(samples[name]?.equals(data), name);
    }
  }
  const readers = [
    // It takes the names of every archive made on a FAT system through a DOS code page.
    [
      "Info-ZIP",
      (into) => {
        assert.match(run("unzip", "-t", file), /No errors detected/);
        run("unzip", "-q", file, "-d", into);
      },
      { namesConverted: true },
    ],
    [
      "7-Zip",
      (into) => {
        assert.match(run("7z", "t", file), /Everything is Ok/);
        run("7z", "x", `-o${into}`, file);
      },
    ],
    ["bsdtar", (into) => run("bsdtar", "-xf", file, "-C", into)],
    [
      "Python",
      (into) => {
        const script =
          "import sys, zipfile\nz = zipfile.ZipFile(sys.argv[1])\n" +
          "assert z.testzip() is None\nz.extractall(sys.argv[2])\n" +
          "assert all(i.compress_type == 0 and i.flag_bits == 0x800 for i in z.infolist())\n";
        run("python3", "-c", script, file, into);
      },
    ],
  ];
  test("an archive is there for them", async () => fs.writeFileSync(file, await archive(names)));
  for (const [name, extract, allowance] of readers) {
    test(`${name} finds every file intact`, () => {
      const into = path.join(place, name);
      fs.mkdirSync(into);
      extract(into);
      assertExtracted(into, allowance);
    });
  }
});
