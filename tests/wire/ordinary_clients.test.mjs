// What clients with habits of their own wait for: those that hold their request back until the server has answered the
// handshake, and those that ask before they send a body.
import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { randomBytes } from "node:crypto";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, describe, test } from "node:test";
import { setImmediate } from "node:timers/promises";
import { promisify } from "node:util";

import {
  assertJsonError,
  assertNotFound,
  assertOk,
  assertUnauthorized,
  buildRequest,
  collect,
  delay,
  freshFolder,
  login,
  multipart,
  once,
  openTls,
  parseReply,
  program,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("ordinary");
const origin = `https://127.0.0.1:${program.port}`;
const place = fs.mkdtempSync(path.join(os.tmpdir(), "wire-ordinary-"));
after(() => fs.rmSync(place, { recursive: true }));
const local = (name) => path.join(place, name);
const run = promisify(execFile);

const kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
const kBoundary = "XyZboundary";
const kForm = `multipart/form-data; boundary=${kBoundary}`;
const kLimit = { timeout: 60_000 };

const formWith = (filename, data) => multipart(kBoundary, [{ filename, data }]);

// A request's head, which promises `body`.
function headOf(method, target, body, headers, { session = cookie, version = "1.1" } = {}) {
  const all = { "Content-Type": kForm, "Content-Length": body.length, ...headers };
  const head = buildRequest(method, target, { headers: all, cookie: session }).toString("utf8");
  return head.replace(" HTTP/1.1\r\n", ` HTTP/${version}\r\n`);
}

// Everything that comes after `head` when the body is sent only as an answer to "100 Continue".
async function sendOnAsking(head, body) {
  const socket = await openTls();
  const answer = collect(socket);
  socket.write(head);
  const first = once(socket, "data").then(([bytes]) => bytes);
  assert.equal(`${await Promise.race([first, answer])}`, kContinue);
  socket.write(body);
  return answer;
}

// Everything that comes when the body follows the head by itself, in a record of its own.
async function sendUnasked(head, body) {
  const socket = await openTls();
  const answer = collect(socket);
  socket.write(head);
  await delay(300);
  socket.write(body);
  return parseReply(await answer);
}

// The reply to a head whose body is never sent.
async function refusalOf(head) {
  const socket = await openTls();
  const answer = collect(socket);
  socket.write(head);
  return parseReply(await answer);
}

describe("a client that says nothing after its handshake", () => {
  test("is sent its session tickets, so that its Finished is acknowledged", kLimit, async () => {
    const socket = await openTls({ minVersion: "TLSv1.3" });
    const answer = collect(socket);
    await once(socket, "session", { signal: AbortSignal.timeout(20_000) });
    // What is written while Node is in the middle of reading tickets may stay with it.
    await setImmediate();
    socket.write(buildRequest("GET", "/api/status"));
    assertOk(parseReply(await answer), `{"running":true,"port":${program.port}}`);
  });
});

describe("a client that asks before it sends the body", () => {
  for (const [index, [name, value]] of [
    ["Expect", "100-continue"],
    ["expect", "100-Continue"],
    ["EXPECT", "100-CONTINUE"],
  ].entries()) {
    test(`is told once to go on: ${name}: ${value}`, kLimit, async () => {
      const data = randomBytes(100_000);
      const body = formWith(`asked ${index}.bin`, data);
      const target = "/upload?path=ordinary";
      const all = await sendOnAsking(headOf("POST", target, body, { [name]: value }), body);
      assert.equal(`${all.subarray(0, kContinue.length)}`, kContinue);
      assertOk(parseReply(all.subarray(kContinue.length)));
      assert.ok(folder.read(`asked ${index}.bin`).equals(data));
    });
  }
  test("is told so for a JSON body as well", kLimit, async () => {
    const body = Buffer.from(JSON.stringify({ path: "ordinary", name: "made" }));
    const headers = { "Content-Type": "application/json", Expect: "100-continue" };
    const all = await sendOnAsking(headOf("POST", "/api/mkdir", body, headers), body);
    assertOk(parseReply(all.subarray(kContinue.length)));
    assert.ok(folder.has("made"));
  });
  test("is told so before it logs in", kLimit, async () => {
    const body = Buffer.from(JSON.stringify({ code: program.masterPin }));
    const headers = { "Content-Type": "application/json", Expect: "100-continue" };
    const head = headOf("POST", "/api/login", body, headers, { session: "" });
    const all = await sendOnAsking(head, body);
    assert.equal(parseReply(all.subarray(kContinue.length)).status, 200);
  });
  test("is not told when it speaks HTTP/1.0", kLimit, async () => {
    const body = formWith("old.bin", "old");
    const head = headOf(
      "POST",
      "/upload?path=ordinary",
      body,
      { Expect: "100-continue" },
      { version: "1.0" },
    );
    assertOk(await sendUnasked(head, body));
    assert.equal(`${folder.read("old.bin")}`, "old");
  });
  test("is not told when a byte of the body came with the head", kLimit, async () => {
    const body = formWith("hasty.bin", "hasty");
    const head = headOf("POST", "/upload?path=ordinary", body, { Expect: "100-continue" });
    assertOk(await sendUnasked(head + body.subarray(0, 1), body.subarray(1)));
    assert.equal(`${folder.read("hasty.bin")}`, "hasty");
  });
  test("is not told anything else that it may expect", kLimit, async () => {
    const body = formWith("other.bin", "other");
    const head = headOf("POST", "/upload?path=ordinary", body, { Expect: "200-ok" });
    assertOk(await sendUnasked(head, body));
    assert.equal(`${folder.read("other.bin")}`, "other");
  });
  test("is not told when it has no body to send", kLimit, async () => {
    const head = buildRequest("GET", "/api/status", { headers: { Expect: "100-continue" } });
    assertOk(await refusalOf(head), `{"running":true,"port":${program.port}}`);
  });
});

describe("a client that did not ask", () => {
  test("gets its reply and nothing before it", kLimit, async () => {
    const body = formWith("plain.bin", "plain");
    assertOk(await sendUnasked(headOf("POST", "/upload?path=ordinary", body), body));
  });
});

describe("a refusal goes out before the body, and alone", () => {
  const kExpect = { Expect: "100-continue" };
  const body = formWith("refused.bin", "refused");
  after(() => assert.ok(!folder.has("refused.bin")));

  test("401 to an upload without a session", kLimit, async () => {
    const head = headOf("POST", "/upload?path=ordinary", body, kExpect, { session: "" });
    assertUnauthorized(await refusalOf(head));
  });
  test("401 to a JSON request without a session", kLimit, async () => {
    const head = headOf("POST", "/api/mkdir", body, kExpect, { session: "" });
    assertUnauthorized(await refusalOf(head));
  });
  test("404 to a path that takes no body", kLimit, async () => {
    assertNotFound(await refusalOf(headOf("POST", "/nowhere", body, kExpect)));
  });
  test("411 to an upload in chunks", kLimit, async () => {
    const headers = { ...kExpect, "Transfer-Encoding": "chunked", "Content-Length": null };
    const message = "Chunked upload not supported (needs Content-Length)";
    const head = headOf("POST", "/upload?path=ordinary", body, headers);
    assertJsonError(await refusalOf(head), 411, message);
  });
  test("411 to an upload without a length", kLimit, async () => {
    const headers = { ...kExpect, "Content-Length": null };
    const head = headOf("POST", "/upload?path=ordinary", body, headers);
    assertJsonError(await refusalOf(head), 411, "Content-Length required");
  });
  test("400 to an upload without a boundary", kLimit, async () => {
    const headers = { ...kExpect, "Content-Type": "text/plain" };
    const head = headOf("POST", "/upload?path=ordinary", body, headers);
    assertJsonError(await refusalOf(head), 400, "Missing multipart boundary");
  });
  test("400 to an upload into a folder outside", kLimit, async () => {
    const head = headOf("POST", "/upload?path=..%2F..", body, kExpect);
    assertJsonError(await refusalOf(head), 400, "Invalid path");
  });
  test("410 to an upload to a link that does not exist", kLimit, async () => {
    const target = `/d/${"0".repeat(32)}/upload`;
    const reply = await refusalOf(headOf("POST", target, body, kExpect, { session: "" }));
    assert.equal(reply.statusLine, "HTTP/1.1 410 Gone");
  });
});

describe("curl", () => {
  // What curl did, in its own words; it would wait ten minutes for an answer to what it asks.
  const curl = async (...words) =>
    (
      await run(
        "curl",
        ["--verbose", "--insecure", "--expect100-timeout", "600", "--max-time", "60", ...words],
        { maxBuffer: 64_000_000 },
      )
    ).stderr;
  const count = (text, pattern) => (text.match(pattern) ?? []).length;

  test("sends 2 MB with -F as soon as it is told to go on", kLimit, async () => {
    const content = randomBytes(2_000_000);
    fs.writeFileSync(local("two.bin"), content);
    const form = ["--form", `file=@${local("two.bin")}`];
    const told = await curl("--cookie", cookie, ...form, `${origin}/upload?path=ordinary`);
    assert.equal(count(told, /^> Expect: 100-continue\r?$/gm), 1);
    assert.equal(count(told, /^< HTTP\/1\.1 100 Continue\r?$/gm), 1);
    assert.equal(count(told, /^< HTTP\/1\.1 200 OK\r?$/gm), 1);
    assert.equal(count(told, /Done waiting for 100-continue/g), 0);
    assert.ok(folder.read("two.bin").equals(content));
  });
  test("sends nothing of 20 MB when it has no session", kLimit, async () => {
    fs.writeFileSync(local("large.bin"), Buffer.alloc(20_000_000));
    const sent = ["--write-out", "%{stderr}sent %{size_upload}, %{http_code}\n"];
    const form = ["--form", `file=@${local("large.bin")}`];
    const told = await curl(...sent, ...form, `${origin}/upload`);
    assert.match(told, /^sent 0, 401$/m);
    assert.equal(count(told, /100 Continue/g), 0);
  });
});

describe("clients that leave Nagle's algorithm on", () => {
  test("ab gets every reply, one after the other", kLimit, async () => {
    const { stdout } = await run("ab", ["-q", "-n", "20", "-c", "1", `${origin}/api/status`]);
    const body = `{"running":true,"port":${program.port}}`;
    assert.match(stdout, /^Complete requests: +20$/m);
    assert.match(stdout, /^Failed requests: +0$/m);
    assert.doesNotMatch(stdout, /Non-2xx/);
    assert.match(stdout, new RegExp(`^HTML transferred: +${20 * body.length} bytes$`, "m"));
  });
  test("wget downloads a file to the byte", kLimit, async () => {
    const content = randomBytes(2_000_000);
    folder.write("down.bin", content);
    const options = ["--quiet", "--no-check-certificate", `--header=Cookie: ${cookie}`];
    const to = ["--output-document", local("down.bin")];
    await run("wget", [...options, ...to, `${origin}/download?path=ordinary/down.bin`]);
    assert.ok(fs.readFileSync(local("down.bin")).equals(content));
  });
});
