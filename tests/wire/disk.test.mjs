// A full disk, and folders that vanish while files come in.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import { after, describe, test } from "node:test";

import {
  assertAttachment,
  assertJsonError,
  assertLogged,
  assertOk,
  assertServed,
  buildRequest,
  collect,
  eventually,
  freshFolder,
  get,
  login,
  multipart,
  openTls,
  parseReply,
  postJson,
  upload,
} from "../support/client.mjs";

const cookie = await login();

describe("full disk", () => {
  const folder = freshFolder("full");
  let skip = false;
  try {
    execFileSync("mount", ["-t", "tmpfs", "-o", "size=1m", "tmpfs", folder.here], {
      stdio: "pipe",
    });
    after(() => execFileSync("umount", [folder.here]));
  } catch (error) {
    skip = `a small file system cannot be mounted here: ${error.message.split("\n")[0]}`;
  }

  test("an upload that does not fit still ends as a success", { skip }, async () => {
    const parts = [{ filename: "large", data: Buffer.alloc(5_000_000) }];
    assertOk(await upload("/upload?path=full", parts, { cookie }));
    assert.ok(folder.read("large").length <= 1_048_576);
    await assertLogged(`UPLOAD  ${folder.windows}\\large`);
    await assertServed();
  });
  test("a folder and an empty file end as the system decides", { skip }, async () => {
    assertOk(await postJson("/api/mkdir", { path: "full", name: "sub" }, { cookie }));
    const reply = await upload("/upload?path=full", [{ filename: "empty" }], { cookie });
    if (reply.status !== 200) assertJsonError(reply, 400, "Failed to write file");
    await assertServed();
  });
  test("what is there can be read and deleted, and then there is room", { skip }, async () => {
    const stored = folder.read("large");
    assertAttachment(await get("/download?path=full/large", { cookie }), "large", stored);
    assertOk(await postJson("/api/delete", { path: "full", name: "large" }, { cookie }));
    assertOk(await upload("/upload?path=full", [{ filename: "fits", data: "f" }], { cookie }));
    assert.equal(`${folder.read("fits")}`, "f");
  });
});

describe("a target folder that vanishes during an upload", () => {
  test("the open file ends, the next one fails", async () => {
    const folder = freshFolder("vanishing");
    const data = Buffer.alloc(300_000, "v");
    const body = multipart("x", [
      { filename: "first", data },
      { filename: "second", data },
    ]);
    const headers = { "Content-Type": "a; boundary=x" };
    const form = buildRequest("POST", "/upload?path=vanishing", { cookie, body, headers });
    const socket = await openTls();
    const answer = collect(socket);
    socket.write(form.subarray(0, 200_000));
    await eventually(() => folder.has("first"), "the first file has begun");
    fs.rmSync(folder.here, { recursive: true });
    socket.write(form.subarray(200_000));
    assertJsonError(parseReply(await answer), 400, "Failed to write file");
    await assertServed();
  });
  test("a folder that is made by a client is gone for the next one", async () => {
    const folder = freshFolder("vanished");
    fs.rmdirSync(folder.here);
    assertJsonError(await get("/api/list?path=vanished", { cookie }), 404, "Directory not found");
    assertOk(await upload("/upload?path=vanished", [{ filename: "a", data: "a" }], { cookie }));
    assert.equal(`${folder.read("a")}`, "a");
  });
});
