// The big list of naughty strings as PIN, file name, folder name, path, link and header. What becomes of each string
// follows from the program's own rules; a string that is no trouble to them must arrive unharmed.
import assert from "node:assert/strict";
import fs from "node:fs";
import { createRequire } from "node:module";
import { describe, test } from "node:test";

import {
  assertServed,
  assertUnauthorized,
  encode,
  freshFolder,
  get,
  login,
  parallel,
  post,
  postJson,
  postLogin,
  program,
  upload,
} from "../support/client.mjs";
import { assertReturnedTo, settled } from "./attack.mjs";

const strings = createRequire(import.meta.url)("big-list-of-naughty-strings/blns.json");
const cookie = await login();
const root = freshFolder("naughty");
// Only against a hang: the list takes seconds.
const kOptions = { timeout: 180_000 };

// Wrong PINs count against their sender: each string has its own address.
const addressOf = (index) => `127.3.${index >> 8}.${index & 255}`;

const errorOf = (reply) => JSON.parse(reply.body).error;

function each(work) {
  return parallel(strings.length, 4, (index) => work(strings[index], index));
}

// Names of devices open the device, under any ending.
const kDevice = /^(con|prn|aux|nul|com\d|lpt\d)(\.|$)/i;

// What the system takes for no name: a device, nothing but dots and blanks, control characters, too many bytes.
function isRefused(name) {
  const hasControl = [...name].some((character) => character < " ");
  return kDevice.test(name) || name === "" || hasControl || Buffer.byteLength(name) > 255;
}

// The name under which a file arrives, undefined where the part has none.
function storedName(text) {
  const sent = text.split('"')[0];
  if (sent === "") return undefined;
  // Blanks and dots at the end of a name are dropped by the system.
  return sent.replace(/[*/:<>?\\|]/g, "_").replace(/[ .]+$/, "");
}

describe("naughty strings", () => {
  let before;
  test("the list is there", async () => {
    assert.ok(strings.length > 400);
    before = await settled();
  });

  test("as PIN of the login", kOptions, async () => {
    await each(async (text, index) => {
      const reply = await postLogin(text, { from: addressOf(index) });
      const isCode = /^\d{6}$/.test(text);
      assert.equal(reply.status, isCode ? 401 : 400, text);
      assert.equal(errorOf(reply), isCode ? "Wrong code" : "Code must be 6 digits", text);
    });
    await assertServed();
  });

  test("as PIN of the link", kOptions, async () => {
    await each(async (text, index) => {
      const reply = await get(`/auto?pin=${encode(text)}`, { from: addressOf(index + 1024) });
      assert.equal(reply.status, 401, text);
      assert.match(`${reply.body}`, /Invalid PIN\./, text);
    });
    await assertServed();
  });

  test("as file name of an upload", kOptions, async () => {
    await each(async (text, index) => {
      const folder = freshFolder(`naughty/file${index}`);
      const data = `content ${index}`;
      const reply = await upload(`/upload?path=${folder.relative}`, [{ filename: text, data }], {
        cookie,
      });
      assert.ok([200, 400].includes(reply.status), text);
      const found = folder.names();
      const name = storedName(text);
      if (reply.status === 400) {
        assert.equal(errorOf(reply), "Failed to write file", text);
        assert.deepEqual(found, [], text);
        assert.ok(isRefused(name), text);
      } else if (name === undefined || kDevice.test(name)) {
        assert.deepEqual(found, [], text);
      } else {
        // Names over the file system's 255 bytes are cut off by Wine.
        const isLong = Buffer.byteLength(name) > 255;
        assert.equal(found.length, 1, text);
        assert.equal(isLong ? name.startsWith(found[0]) : name === found[0], true, text);
        assert.equal(`${folder.read(found[0])}`, data, text);
      }
    });
    await assertServed();
  });

  test("as name of a folder that is made and removed", kOptions, async () => {
    await each(async (text, index) => {
      const folder = freshFolder(`naughty/made${index}`);
      const members = { path: folder.relative, name: text };
      const made = await postJson("/api/mkdir", members, { cookie });
      if (text === "") assert.equal(errorOf(made), "Missing name");
      else if (/\.\.|[/\\]/.test(text)) assert.equal(errorOf(made), "Invalid name", text);
      else assert.equal(made.status, 200, text);
      const found = folder.names();
      assert.ok(found.length <= 1, text);
      const removed = await postJson("/api/rmdir", members, { cookie });
      assert.ok([200, 400].includes(removed.status), text);
      if (found.length === 1 && removed.status === 200) assert.deepEqual(folder.names(), [], text);
    });
    await assertServed();
  });

  test("as path of a listing, a download and a share", kOptions, async () => {
    await each(async (text) => {
      const path = encode(text);
      const listed = await get(`/api/list?path=${path}`, { cookie });
      const loaded = await get(`/download?path=${path}`, { cookie });
      const shared = await get(`/api/share?path=${path}`, { cookie });
      for (const reply of [listed, loaded, shared]) {
        // The web root itself cannot be shared.
        const isRefusedRoot = reply === shared && /Failed to create token/.test(reply.body);
        assert.ok(
          [200, 400, 404].includes(reply.status) || (isRefusedRoot && reply.status === 500),
          `${text}: ${reply.bytes}`,
        );
      }
      if (text.includes("..")) assert.equal(errorOf(listed), "Invalid path", text);
      else assert.notEqual(loaded.status, 200, text);
    });
    await assertServed();
  });

  test("as the request's target and as a link's token", kOptions, async () => {
    await each(async (text) => {
      const known = [400, 401, 404, 410];
      for (const target of [`/${text}`, `/s/${text}`, `/d/${text}`]) {
        const reply = await get(target);
        // "/" with nothing but a query is the login page.
        const statuses = /^\/(\?|$|\s)/.test(target) ? [...known, 200] : known;
        assert.ok(statuses.includes(reply.status), `${target}: ${reply.bytes.subarray(0, 200)}`);
      }
    });
    await assertServed();
  });

  test("as header name, header value, host and cookie", kOptions, async () => {
    await each(async (text) => {
      const headers = { "X-Naughty": text, Host: text, [text.replace(/[\r\n]/g, "")]: "value" };
      assert.equal((await get("/api/status", { headers })).status, 200, text);
      const cookies = { Cookie: `AUTH=${text}` };
      assertUnauthorized(await get("/api/list?path=", { headers: cookies }));
    });
    await assertServed();
  });

  test("as boundary and as content type", kOptions, async () => {
    await each(async (text, index) => {
      const headers = { "Content-Type": `multipart/form-data; boundary=${text}` };
      const target = `/upload?path=naughty/boundary${index}`;
      const reply = await post(target, "no form", { cookie, headers });
      assert.equal(reply.status, 400, text);
    });
    await assertServed();
  });

  test("nothing was written beside the folder, nothing is left", kOptions, async () => {
    const made = new Set(fs.readdirSync(root.here).map((name) => name.replace(/\d+$/, "")));
    assert.deepEqual([...made].sort(), ["boundary", "file", "made"]);
    assert.ok(fs.readdirSync(program.root).length > 0);
    await assertReturnedTo(before);
  });
});
