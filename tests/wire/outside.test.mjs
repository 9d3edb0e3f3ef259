// Nothing outside the web root is read, made, changed or deleted, however the way there is written.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { after, afterEach, describe, test } from "node:test";

import { joinedPaths, refusedPaths } from "./paths.mjs";
import {
  assertJsonError,
  assertOk,
  assertServed,
  encode,
  freshFolder,
  get,
  login,
  postJson,
  program,
  upload,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("outside");
folder.write("a.txt", "inside");

// Beside the web root: a file, and a folder whose name begins like the web root's.
const kSecret = "the secret beside the web root";
const beside = path.dirname(program.root);
const secret = path.join(beside, "secret.txt");
const twin = `${program.root}2`;
fs.writeFileSync(secret, kSecret);
fs.mkdirSync(twin, { recursive: true });
fs.writeFileSync(path.join(twin, "secret.txt"), kSecret);
const before = fs.readdirSync(program.root);
after(() => {
  // Where a colon may stand in a name, folders are made below the web root.
  for (const name of fs.readdirSync(program.root)) {
    if (!before.includes(name)) {
      fs.rmSync(path.join(program.root, name), { recursive: true, force: true });
    }
  }
  fs.rmSync(secret);
  fs.rmSync(twin, { recursive: true });
});
afterEach(assertServed);

const intact = () => {
  assert.equal(fs.readFileSync(secret, "utf8"), kSecret);
  assert.equal(fs.readFileSync(path.join(twin, "secret.txt"), "utf8"), kSecret);
};
const rootName = path.basename(program.root);
const windowsBase = program.windowsRoot.slice(0, -rootName.length - 1);

const ways = [
  ...refusedPaths,
  ...joinedPaths,
  ["the parent", "..%5Csecret.txt"],
  ["the parent with a slash", "../secret.txt"],
  ["a folder and two parents", "outside/../../secret.txt"],
  ["the twin folder", `../${rootName}2/secret.txt`],
  ["the twin folder by its end", "2/secret.txt"],
  ["the full path", encode(`${windowsBase}\\secret.txt`)],
  ["the full verbatim path", encode(`\\\\?\\${windowsBase}\\secret.txt`)],
  ["the full path with slashes", encode(`/${windowsBase}/secret.txt`.replaceAll("\\", "/"))],
  ["the key", "../server.key"],
  ["the key in escapes", "%2e%2e/server%2ekey"],
  ["a dot and a blank", ".%20./secret.txt"],
  ["dots and blanks", "..%20/secret.txt"],
  ["dots before a colon", ".:./secret.txt"],
  ["a Unix path", secret],
  ["a Unix path by its prefix", encode(`\\\\?\\unix${secret}`)],
  ["a Unix path by its drive", encode(`Z:${secret.replaceAll("/", "\\")}`)],
  ["the root of the file system", encode("\\??\\unix\\etc\\passwd")],
];

describe("reading", () => {
  for (const [name, target] of ways) {
    test(`${name} (${target.slice(0, 40)}) shows nothing`, async () => {
      for (const route of ["/download", "/api/list"]) {
        const reply = await get(`${route}?path=${target}`, { cookie });
        assert.notEqual(reply.status, 200);
        assert.ok(!reply.body.includes(kSecret) && !reply.body.includes("PRIVATE KEY"));
      }
      assert.notEqual((await get(`/api/share?path=${target}`, { cookie })).status, 200);
    });
  }
});

describe("changing", () => {
  const members = ways.map(([name, target]) => {
    let text = target;
    try {
      text = decodeURIComponent(target);
    } catch {
      // Invalid UTF-8 has no form as a JSON text of this client.
    }
    return [name, text];
  });
  test("no name leads out when deleting, one or many", async () => {
    for (const [, name] of members) {
      const reply = await postJson("/api/delete", { path: "", name }, { cookie });
      assert.equal(reply.status, 400, name);
    }
    const names = members.map(([, name]) => name);
    const reply = await postJson("/api/delete_many", { path: "", names }, { cookie });
    assertOk(reply, `{"ok":true,"deleted":0,"failed":${names.length}}`);
    intact();
  });
  test("no path leads out when deleting or archiving", async () => {
    for (const [, where] of members) {
      await postJson("/api/delete", { path: where, name: "secret.txt" }, { cookie });
      const zip = await postJson("/api/zip", { path: where, names: ["secret.txt"] }, { cookie });
      assert.notEqual(zip.status, 200, where);
    }
    intact();
  });
  test("no file name of an upload leads out", async () => {
    for (const [, name] of members) {
      const filename = name.replace(/["\r\n]/g, "");
      await upload("/upload?path=outside", [{ filename, data: "overwritten" }], { cookie });
    }
    intact();
    assert.deepEqual(
      fs.readdirSync(beside).filter((name) => /overwritten/.test(name)),
      [],
    );
  });
  test("no folder is made outside", async () => {
    const held = [beside, program.driveC].map((place) => fs.readdirSync(place).sort());
    for (const [, where] of members) {
      await postJson("/api/mkdir", { path: where, name: "made-outside" }, { cookie });
      await upload(`/upload?path=${encode(where)}`, [{ filename: "made-outside" }], { cookie });
    }
    assert.deepEqual(
      [beside, program.driveC].map((place) => fs.readdirSync(place).sort()),
      held,
    );
    intact();
  });
});

describe("special names", () => {
  const devices = [
    "NUL",
    "CON",
    "AUX",
    "PRN",
    "COM1",
    "LPT1",
    "CONIN$",
    "CONOUT$",
    "nul.txt",
    "COM1.txt",
    "NUL:",
    "con.",
    "aux ",
  ];
  for (const name of devices) {
    test(`the device name ${name} holds nobody up`, async () => {
      for (const route of ["/download", "/api/list", "/api/share"]) {
        const reply = await get(`${route}?path=outside/${encode(name)}`, { cookie });
        assert.ok(reply.silent || reply.lines.length > 0);
      }
      const reply = await upload("/upload?path=outside", [{ filename: name, data: "x" }], {
        cookie,
      });
      assert.ok([200, 400].includes(reply.status), reply.statusLine);
    });
  }
  const ends = [
    "a.txt.",
    "a.txt...",
    "a.txt ",
    "a.txt::$DATA",
    "a.txt:stream",
    "a.txt:",
    "A~1.TXT",
  ];
  for (const name of ends) {
    test(`${name} is the file itself or nothing`, async () => {
      const reply = await get(`/download?path=outside/${encode(name)}`, { cookie });
      if (reply.status === 200) assert.equal(`${reply.body}`, "inside");
      else assert.ok([400, 404].includes(reply.status));
    });
  }
  test("a link cannot be made for what is refused", async () => {
    assertJsonError(await get("/api/share?path=../secret.txt", { cookie }), 400, "Invalid path");
  });
});

describe("names made elsewhere", () => {
  const odd = [
    ["invalid UTF-8", Buffer.from([0x66, 0xff, 0xfe])],
    ["a cut sequence", Buffer.from([0xe2, 0x82])],
    ["an encoded surrogate", Buffer.from([0xed, 0xa0, 0x80])],
    ["a quote", Buffer.from('a"b')],
    ["a backslash", Buffer.from("a\\b")],
    ["a control byte", Buffer.from("a\x01b")],
    ["a line feed", Buffer.from("a\nb")],
    ["a trailing blank", Buffer.from("blank ")],
    ["angle brackets", Buffer.from("<b>")],
  ];
  odd.forEach(([name, bytes], index) => {
    test(`a listing with ${name} in a name is still JSON`, async () => {
      const { here, relative } = freshFolder(`outside/odd${index}`);
      fs.writeFileSync(Buffer.concat([Buffer.from(`${here}/`), bytes]), "x");
      const reply = await get(`/api/list?path=${relative}`, { cookie });
      assertOk(reply, reply.body);
      const { ok, items } = JSON.parse(reply.body.toString());
      assert.ok(ok && items.length <= 1);
    });
  });
});
