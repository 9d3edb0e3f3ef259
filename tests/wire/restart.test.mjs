// The server is stopped and started, and the web root set anew, through the window while clients work.
import assert from "node:assert/strict";
import { randomBytes } from "node:crypto";
import { describe, test } from "node:test";

import {
  assertAttachment,
  assertLogged,
  assertOk,
  assertPlain,
  assertServed,
  buildRequest,
  collect,
  eventually,
  freshFolder,
  get,
  login,
  logMessages,
  multipart,
  once,
  openTls,
  parseReply,
  postLogin,
  program,
} from "../support/client.mjs";
import { ids } from "../support/harbinet.mjs";

const cookie = await login();
const folder = freshFolder("restart");
const listening = `SERVER  listening (HTTPS) on port ${program.port}`;

const refused = async () => {
  try {
    (await openTls()).destroy();
    return false;
  } catch (error) {
    return error.code === "ECONNREFUSED";
  }
};
const answers = async () => !(await refused());
const count = async (message) => (await logMessages()).filter((text) => text === message).length;

async function stop() {
  await program.press(ids.server);
  await eventually(refused, "the port is closed");
}
async function start() {
  await program.press(ids.server);
  await eventually(answers, "the port is open");
}

describe("while the server is stopped and started", () => {
  const data = randomBytes(20_000_000);

  test("a download, an upload and an archive go on to their end", { timeout: 60_000 }, async () => {
    folder.write("large.bin", data);
    const open = async (bytes) => {
      const socket = await openTls();
      const answer = collect(socket, 60_000);
      socket.write(bytes);
      return { socket, answer };
    };
    const download = await open(
      buildRequest("GET", "/download?path=restart/large.bin", { cookie }),
    );
    const archive = await open(
      buildRequest("POST", "/api/zip", {
        cookie,
        body: '{"path":"restart","names":["large.bin"]}',
      }),
    );
    await Promise.all([once(download.socket, "data"), once(archive.socket, "data")]);
    download.socket.pause();
    archive.socket.pause();
    const body = multipart("x", [{ filename: "up.bin", data }]);
    const headers = { "Content-Type": "a; boundary=x" };
    const form = buildRequest("POST", "/upload?path=restart", { cookie, body, headers });
    const upload = await open(form.subarray(0, 5_000_000));
    await eventually(() => folder.has("up.bin"), "the upload has begun");

    await stop();
    upload.socket.write(form.subarray(5_000_000, 10_000_000));
    download.socket.resume();
    await start();
    upload.socket.write(form.subarray(10_000_000));
    archive.socket.resume();

    assertAttachment(parseReply(await download.answer), "large.bin", data);
    assertOk(parseReply(await upload.answer));
    assert.ok(folder.read("up.bin").equals(data));
    assert.ok(parseReply(await archive.answer).body.includes(data));
  });

  test("sessions and links stay, and the log tells of it", async () => {
    const before = await count(listening);
    const link = JSON.parse((await get("/api/share?path=restart/large.bin", { cookie })).body).path;
    await stop();
    await assertLogged("SERVER  stopping");
    await start();
    await eventually(async () => (await count(listening)) > before, "the start is logged");
    assertAttachment(await get(link), "large.bin", data);
    assert.equal((await get("/api/list?path=restart", { cookie })).status, 200);
    const messages = await logMessages();
    const since = messages.slice(messages.lastIndexOf("SERVER  stopping"));
    assert.ok(!since.includes("TLS     context initialized (cert/key loaded)"));
  });

  test("failures of a client are remembered", async () => {
    const from = "127.0.0.90";
    const wrong = program.pin === "000000" ? "111111" : "000000";
    await postLogin(wrong, { from });
    await postLogin(wrong, { from });
    await stop();
    await start();
    assert.equal((await postLogin(wrong, { from })).status, 429);
  });

  test("ten times in a row", { timeout: 60_000 }, async () => {
    for (let round = 0; round < 10; round += 1) {
      await stop();
      await start();
    }
    await assertServed();
  });
});

test("a Master PIN typed into the window counts at once, the one before no more", async () => {
  const other = ["904517", "904518"].find((text) => text !== program.pin);
  const from = "127.0.0.91";
  await program.setText(ids.masterPin, other);
  try {
    await assertLogged("AUTH    Master PIN updated (registry)");
    assert.equal((await postLogin(other, { from })).status, 200);
    assert.equal((await postLogin(program.masterPin, { from })).status, 401);
    assert.equal((await get("/api/list?path=restart", { cookie })).status, 200);
  } finally {
    await program.setText(ids.masterPin, program.masterPin);
  }
  assert.equal((await postLogin(program.masterPin, { from })).status, 200);
});

test("setting the web root clears every link and keeps the sessions", async () => {
  const share = async (name) =>
    JSON.parse((await get(`/api/share?path=${name}`, { cookie })).body).path;
  const links = [await share("restart/large.bin"), await share("restart")];
  await program.press(ids.back);
  await eventually(answers, "the port is open");
  await assertLogged(`WEBROOT changed to: ${program.windowsRoot} (share links cleared)`);
  for (const link of links) {
    assertPlain(await get(link), 410, "Gone", "Link expired or invalid");
  }
  assert.equal((await get("/api/list?path=restart", { cookie })).status, 200);
  const messages = await logMessages();
  const changed = messages.findIndex((text) => text.startsWith("WEBROOT changed to: "));
  assert.ok(messages.lastIndexOf("SERVER  stopping") < changed);
  assert.ok(messages.lastIndexOf(listening) > changed);
});
