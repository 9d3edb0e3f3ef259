// GET /download.
import assert from "node:assert/strict";
import { createHash, randomBytes } from "node:crypto";
import fs from "node:fs";
import { describe, test } from "node:test";

import { joinedPaths, refusedPaths } from "./paths.mjs";
import {
  assertAttachment,
  assertLogged,
  assertNotFound,
  assertNotLogged,
  assertPlain,
  assertServed,
  assertSilent,
  buildRequest,
  collect,
  encode,
  eventually,
  freshFolder,
  get,
  login,
  openTls,
  parseReply,
  program,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("download");
const download = (target, options) => get(`/download?path=${target}`, { cookie, ...options });
const own = (name) => `${folder.relative}/${encode(name)}`;

describe("content", () => {
  const chunk = 262_144;
  for (const size of [0, 1, 2, 16_384, chunk - 1, chunk, chunk + 1, 3 * chunk, 1_048_577]) {
    test(`${size} bytes arrive unchanged`, async () => {
      const bytes = randomBytes(size);
      folder.write(`s${size}.bin`, bytes);
      assertAttachment(await download(own(`s${size}.bin`)), `s${size}.bin`, bytes);
    });
  }

  test("all byte values arrive unchanged", async () => {
    const bytes = Buffer.from(Array.from({ length: 1024 }, (_, index) => index % 256));
    folder.write("all.bin", bytes);
    assertAttachment(await download(own("all.bin")), "all.bin", bytes);
  });

  test("300 MB arrive with the right SHA-256", { timeout: 60_000 }, async () => {
    const block = randomBytes(3_000_000);
    const hash = createHash("sha256");
    const file = fs.openSync(folder.at("300.bin"), "w");
    for (let part = 0; part < 100; part += 1) {
      block.writeUInt32LE(part);
      fs.writeSync(file, block);
      hash.update(block);
    }
    fs.closeSync(file);
    const reply = await streamed("300.bin", Infinity);
    assert.match(reply.head, /\r\nContent-Length: 300000000\r\n/);
    assert.equal(reply.length, 300_000_000);
    assert.equal(reply.hash, hash.digest("hex"));
    fs.rmSync(folder.at("300.bin"));
  });

  test("a file of more than 4 GiB has its whole length in the head", async () => {
    folder.write("sparse.bin", "first bytes");
    fs.truncateSync(folder.at("sparse.bin"), 5_000_000_001);
    const reply = await streamed("sparse.bin", 1_000_000);
    assert.match(reply.head, /^HTTP\/1\.1 200 OK\r\n/);
    assert.match(reply.head, /\r\nContent-Length: 5000000001\r\n/);
    assert.equal(reply.first.toString(), "first bytes");
    await assertLogged(`DL      failed: ${folder.windows}\\sparse.bin`);
    fs.rmSync(folder.at("sparse.bin"));
    await assertServed();
  });
});

// Downloads without keeping the body; hangs up after `limit` bytes of it.
async function streamed(name, limit) {
  const socket = await openTls();
  const hash = createHash("sha256");
  let head = Buffer.alloc(0);
  let length = -1;
  let first;
  await new Promise((resolve) => {
    socket.on("close", resolve);
    socket.on("data", (data) => {
      let body = data;
      if (length < 0) {
        head = Buffer.concat([head, data]);
        const end = head.indexOf("\r\n\r\n");
        if (end < 0) return;
        body = head.subarray(end + 4);
        head = head.subarray(0, end + 4);
        length = 0;
      }
      if (body.length && !first) first = Buffer.from(body.subarray(0, 11));
      hash.update(body);
      length += body.length;
      if (length > limit) socket.destroy();
    });
    socket.write(buildRequest("GET", `/download?path=${own(name)}`, { cookie }));
  });
  return { head: head.toString(), length, first, hash: hash.digest("hex") };
}

describe("names", () => {
  const names = [
    "plain.txt",
    "with blank.txt",
    "ümlaut ÄÖß.txt",
    "emoji 🎉.txt",
    "日本語.txt",
    "plus+.txt",
    "percent%41.txt",
    "apostrophe'.txt",
    "semi;colon.txt",
    "comma,.txt",
    "#hash.txt",
    "&.txt",
    "no extension",
    ".hidden",
    "UPPER.TXT",
    "a.b.c",
    "=.txt",
    "(1).txt",
  ];
  for (const name of names) {
    test(`${name} stands in the head as it is`, async () => {
      folder.write(name, name);
      assertAttachment(await download(own(name)), name, name);
    });
  }
  test("a name of 255 characters is not shortened", async () => {
    // Too long for a path of 259 characters, so it is refused whole and never cut.
    const name = `${"l".repeat(251)}.txt`;
    folder.write(name, "x");
    assertPlain(await download(own(name)), 400, "Bad Request", "Invalid path");
  });
  test("the longest path that fits is served", async () => {
    const name = "m".repeat(259 - folder.windows.length - 1);
    folder.write(name, "fits");
    assertAttachment(await download(own(name)), name, "fits");
  });
  test("the name in the head is the last component only", async () => {
    folder.makeFolder("sub/deep");
    folder.write("sub/deep/in.txt", "in");
    for (const slash of ["/", "%5C"]) {
      const target = ["download", "sub", "deep", "in.txt"].join(slash);
      assertAttachment(await download(target), "in.txt", "in");
    }
  });
});

describe("refusals", () => {
  for (const [name, target] of refusedPaths) {
    test(`${name} (${target}): 400 in plain text`, async () => {
      assertPlain(await download(target), 400, "Bad Request", "Invalid path");
    });
  }
  for (const [name, target] of joinedPaths) {
    test(`${name} (${target}): 404 below the web root`, async () => {
      assertNotFound(await download(target));
    });
  }
  const rows = [
    ["a folder", "download"],
    ["the web root", ""],
    ["the web root as a slash", "/"],
    ["a missing file", "download/none"],
    ["a file in a missing folder", "none/none"],
    ["a file as a folder", "download/plain.txt/x"],
    ["a wildcard", "download/*"],
    ["a question mark", "download/plain.tx%3F"],
  ];
  for (const [name, target] of rows) {
    test(`${name}: 404 in plain text`, async () => assertNotFound(await download(target)));
  }
  test("no path at all: 404 in plain text", async () => {
    assertNotFound(await get("/download", { cookie }));
  });
  test("a refusal writes no log line", async () => {
    await download("download/unlogged");
    await assertNotLogged("unlogged");
  });
});

describe("log", () => {
  test("a download is logged with its full path", async () => {
    folder.write("logged ü.txt", "x");
    await download(own("logged ü.txt"));
    await assertLogged(`DL      ${folder.windows}\\logged ü.txt`);
  });
});

describe("changes while a file is sent", () => {
  const size = 60_000_000;
  async function started(name) {
    folder.write(name);
    fs.truncateSync(folder.at(name), size);
    const socket = await openTls({ highWaterMark: 1 });
    const answer = collect(socket, 30_000);
    socket.write(buildRequest("GET", `/download?path=${own(name)}`, { cookie }));
    await new Promise((resolve) => {
      socket.once("data", resolve);
    });
    socket.pause();
    return { socket, answer };
  }
  const failedLine = (name) => `DL      failed: ${folder.windows}\\${name}`;

  test("a shortened file ends early and is logged", async () => {
    const { socket, answer } = await started("shortened.bin");
    fs.truncateSync(folder.at("shortened.bin"), 1000);
    socket.resume();
    const reply = parseReply(await answer);
    assert.ok(reply.lines.includes(`Content-Length: ${size}`));
    assert.ok(reply.body.length < size);
    await assertLogged(failedLine("shortened.bin"));
    await assertServed();
  });
  test("a file that grows is cut at its first size", async () => {
    const { socket, answer } = await started("grown.bin");
    fs.appendFileSync(folder.at("grown.bin"), "more");
    socket.resume();
    assert.equal(parseReply(await answer).body.length, size);
  });
  test("a deleted file is sent to its end", async () => {
    const { socket, answer } = await started("deleted.bin");
    fs.rmSync(folder.at("deleted.bin"));
    socket.resume();
    assert.equal(parseReply(await answer).body.length, size);
  });
  test("a client that leaves is logged as a failure", async () => {
    const { socket, answer } = await started("left.bin");
    socket.destroy();
    await answer;
    await assertLogged(failedLine("left.bin"));
    await assertServed();
  });
});

describe("a file that cannot be opened", () => {
  test("closes without a reply and is logged, and serves again later", async () => {
    folder.write("locked.bin", "locked");
    const unlock = await program.lockFile(`${folder.windows}\\locked.bin`);
    try {
      assertSilent(await download(own("locked.bin")));
      await assertLogged(`DL      failed: ${folder.windows}\\locked.bin`);
      await assertServed();
    } finally {
      await unlock();
    }
    await eventually(async () => !(await download(own("locked.bin"))).silent, "file is unlocked");
    assertAttachment(await download(own("locked.bin")), "locked.bin", "locked");
  });
});
