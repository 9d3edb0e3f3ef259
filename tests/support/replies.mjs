// Assertions over whole replies.
import assert from "node:assert/strict";

import { program } from "./program.mjs";
import { get } from "./requests.mjs";

export const kJson = "application/json; charset=utf-8";
export const kText = "text/plain; charset=utf-8";
export const kHtml = "text/html; charset=utf-8";
export const kBinary = "application/octet-stream";
export const kZip = "application/zip";

function assertDate(line, tolerance) {
  assert.match(line, /^Date: /);
  const text = line.slice("Date: ".length);
  const time = Date.parse(text);
  assert.equal(new Date(time).toUTCString(), text);
  assert.ok(Math.abs(time - program.now()) < tolerance, `${text} is not now`);
}

// Status line, the headers in their order, `extra` header lines (strings or patterns) after them, and
// the body to the byte.
export function assertReply(reply, status, reason, type, body, extra = [], tolerance = 15_000) {
  assert.ok(!reply.silent, "the connection was closed without a reply");
  assert.equal(reply.statusLine, `HTTP/1.1 ${status} ${reason}`, `${reply.bytes.subarray(0, 600)}`);
  const [date, ...lines] = reply.lines;
  assertDate(date, tolerance);
  const expected = Buffer.from(body ?? reply.body);
  assert.deepEqual(lines.slice(0, 4), [
    "Server: HTTPHarbinet",
    "Connection: close",
    `Content-Type: ${type}`,
    `Content-Length: ${expected.length}`,
  ]);
  const more = lines.slice(4);
  assert.equal(more.length, extra.length, `extra headers: ${more}`);
  extra.forEach((line, index) => {
    if (line instanceof RegExp) assert.match(more[index], line);
    else assert.equal(more[index], line);
  });
  if (expected.length < 4096) assert.equal(reply.body.toString("utf8"), expected.toString("utf8"));
  assert.ok(reply.body.equals(expected), "the body differs");
}

export const assertOk = (reply, body = '{"ok":true}') => assertReply(reply, 200, "OK", kJson, body);

export const assertJsonError = (reply, status, message, reason = "Error") =>
  assertReply(reply, status, reason, kJson, `{"ok":false,"error":"${message}"}`);

export const assertPlain = (reply, status, reason, body = reason) =>
  assertReply(reply, status, reason, kText, body);

export const assertAttachment = (reply, name, body) =>
  assertReply(reply, 200, "OK", kBinary, body, [
    `Content-Disposition: attachment; filename="${name}"`,
  ]);

export function assertSilent(reply) {
  assert.ok(reply.silent, `a reply came: ${reply.bytes.subarray(0, 200)}`);
}

export const assertUnauthorized = (reply) => assertPlain(reply, 401, "Unauthorized");

export const assertNotFound = (reply) => assertPlain(reply, 404, "Not Found");

// The next client gets its answer at once.
export async function assertServed() {
  const start = Date.now();
  assertOk(await get("/api/status"), `{"running":true,"port":${program.port}}`);
  assert.ok(Date.now() - start < 3000, `served after ${Date.now() - start} ms`);
}
