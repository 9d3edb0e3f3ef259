// What the wire tests share: raw TLS connections, a reply parser that keeps the head as sent, request
// and multipart bodies, and assertions over whole replies.
import assert from "node:assert/strict";
import { once } from "node:events";
import fs from "node:fs";
import path from "node:path";
import tls from "node:tls";

import { program } from "./program.mjs";

export { program };

export const kJson = "application/json; charset=utf-8";
export const kText = "text/plain; charset=utf-8";
export const kHtml = "text/html; charset=utf-8";
export const kBinary = "application/octet-stream";
export const kZip = "application/zip";

export const delay = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

// ---- Connections ---------------------------------------------------------------------------------

// A connected TLS socket; `from` is the client's own loopback address. Errors after the handshake are
// left to whoever collects the reply.
export function openTls({ from, to = "127.0.0.1", ...options } = {}) {
  return new Promise((resolve, reject) => {
    const socket = tls.connect({
      host: to,
      port: program.port,
      localAddress: from,
      rejectUnauthorized: false,
      ...options,
    });
    socket.setNoDelay(true);
    const timer = setTimeout(() => socket.destroy(new Error("no handshake within 20 s")), 20_000);
    socket.once("close", () => clearTimeout(timer));
    socket.once("secureConnect", () => {
      clearTimeout(timer);
      socket.off("error", reject);
      socket.on("error", () => {});
      resolve(socket);
    });
    socket.once("error", reject);
  });
}

// Everything the peer sends until the connection is closed, however it closes.
export function collect(socket, timeout = 20_000) {
  return new Promise((resolve, reject) => {
    const chunks = [];
    const timer = setTimeout(() => {
      socket.destroy();
      reject(new Error(`no end of the connection within ${timeout} ms`));
    }, timeout);
    socket.on("data", (chunk) => chunks.push(chunk));
    socket.on("close", () => {
      clearTimeout(timer);
      resolve(Buffer.concat(chunks));
    });
    if (socket.closed) socket.emit("close");
  });
}

// One TLS record for each piece. Stops quietly when the peer has closed.
export async function writePieces(socket, bytes, size = bytes.length) {
  for (let at = 0; at < bytes.length && !socket.destroyed; at += size) {
    await new Promise((resolve) => {
      socket.once("close", resolve);
      socket.write(bytes.subarray(at, at + size), () => {
        socket.off("close", resolve);
        resolve();
      });
    });
  }
}

export function parseReply(bytes) {
  const end = bytes.indexOf("\r\n\r\n");
  if (end < 0) {
    return { bytes, silent: bytes.length === 0, status: 0, lines: [], body: Buffer.alloc(0) };
  }
  const [statusLine, ...lines] = bytes.subarray(0, end).toString("utf8").split("\r\n");
  const status = Number(statusLine.split(" ")[1]);
  return { bytes, silent: false, statusLine, status, lines, body: bytes.subarray(end + 4) };
}

// Sends `bytes` as they stand, in pieces of `piece`, and reads the reply to its end.
export async function talk(bytes, { piece, timeout, ...where } = {}) {
  const socket = await openTls(where);
  const answer = collect(socket, timeout);
  const sent = Buffer.from(bytes);
  writePieces(socket, sent, piece ?? Math.max(sent.length, 1));
  return parseReply(await answer);
}

// ---- Requests ------------------------------------------------------------------------------------

// A request with `headers` (name to value; a list repeats the name) and, for a body, its length.
export function buildRequest(method, target, { headers = {}, cookie, body } = {}) {
  const lines = [`${method} ${target} HTTP/1.1`];
  const all = { Host: `127.0.0.1:${program.port}`, ...(cookie && { Cookie: cookie }), ...headers };
  if (body !== undefined && !Object.keys(all).some((name) => /^content-length$/i.test(name))) {
    all["Content-Length"] = Buffer.byteLength(body);
  }
  for (const [name, values] of Object.entries(all)) {
    for (const value of [values].flat()) if (value !== null) lines.push(`${name}: ${value}`);
  }
  return Buffer.concat([Buffer.from(`${lines.join("\r\n")}\r\n\r\n`), Buffer.from(body ?? "")]);
}

export function request(method, target, { headers, cookie, body, ...how } = {}) {
  return talk(buildRequest(method, target, { headers, cookie, body }), how);
}

export const get = (target, options) => request("GET", target, options);

export const post = (target, body, options) => request("POST", target, { body, ...options });

export const postJson = (target, members, options) =>
  post(target, JSON.stringify(members), options);

export const postLogin = (code, options) => postJson("/api/login", { code }, options);

// The cookie of a new session.
export async function login(options) {
  const reply = await postLogin(program.masterPin, options);
  assert.equal(reply.status, 200, `login failed: ${reply.bytes}`);
  return headerValue(reply, "Set-Cookie").split(";")[0];
}

export function headerValue(reply, name) {
  const line = reply.lines.find((text) => text.startsWith(`${name}: `));
  return line === undefined ? undefined : line.slice(name.length + 2);
}

// A form's body. A part is {name, filename, data} or {head, data} with its header block, text or bytes, as it
// stands.
export function multipart(
  boundary,
  parts,
  { preamble = "", closing = `--${boundary}--\r\n` } = {},
) {
  const chunks = [Buffer.from(preamble)];
  for (const part of parts) {
    const file = part.filename === undefined ? "" : `; filename="${part.filename}"`;
    const head =
      part.head ?? `Content-Disposition: form-data; name="${part.name ?? "file"}"${file}`;
    chunks.push(Buffer.from(`--${boundary}\r\n`), Buffer.from(head), Buffer.from("\r\n\r\n"));
    chunks.push(Buffer.from(part.data ?? ""));
    chunks.push(Buffer.from("\r\n"));
  }
  chunks.push(Buffer.from(closing));
  return Buffer.concat(chunks);
}

// POSTs a form to `target`; `contentType` overrides the one that names the boundary.
export function upload(target, parts, options = {}) {
  const { boundary = "XyZboundary", contentType, headers, shape, ...rest } = options;
  const type = contentType ?? `multipart/form-data; boundary=${boundary}`;
  return post(target, options.body ?? multipart(boundary, parts, shape), {
    ...rest,
    headers: { ...(type && { "Content-Type": type }), ...headers },
  });
}

// ---- Assertions ----------------------------------------------------------------------------------

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

// ---- Log -----------------------------------------------------------------------------------------

// Messages of the program's log, oldest first, without their time stamps.
export async function logMessages() {
  return (await program.logLines()).map((line) =>
    line.replace(/^\d{4}-\d\d-\d\d [\d:.]{12} {2}/, ""),
  );
}

// Waits until `message` (a text or a pattern) stands in the log at least `times` times.
export async function assertLogged(message, times = 1) {
  const fits = (text) => (message instanceof RegExp ? message.test(text) : text === message);
  let messages = [];
  for (let attempt = 0; attempt < 20; attempt += 1) {
    messages = await logMessages();
    if (messages.filter(fits).length >= times) return;
    await delay(100);
  }
  assert.fail(`not in the log: ${message}\nnewest lines:\n${messages.slice(-12).join("\n")}`);
}

let witnesses = 0;

// The log when everything before this call is in it: a line that was made later is there already.
export async function settledMessages() {
  witnesses += 1;
  const from = `127.1.${process.pid % 250}.${witnesses}`;
  await get("/auto", { from });
  await assertLogged(`AUTH    request FROM ${from}`);
  return logMessages();
}

export async function assertNotLogged(part) {
  assert.deepEqual(
    (await settledMessages()).filter((text) => text.includes(part)),
    [],
  );
}

// ---- Files ---------------------------------------------------------------------------------------

// A fresh folder of the web root: its path here, relative to the root, and as the log writes it.
export function freshFolder(name) {
  const here = path.join(program.root, name);
  fs.rmSync(here, { recursive: true, force: true });
  fs.mkdirSync(here, { recursive: true });
  return {
    here,
    relative: name,
    windows: `${program.windowsRoot}\\${name.replaceAll("/", "\\")}`,
    at: (...parts) => path.join(here, ...parts),
    write: (file, data = "") => fs.writeFileSync(path.join(here, file), data),
    read: (file) => fs.readFileSync(path.join(here, file)),
    has: (file) => fs.existsSync(path.join(here, file)),
    makeFolder: (file) => fs.mkdirSync(path.join(here, file), { recursive: true }),
    names: () => fs.readdirSync(here).sort(),
  };
}

// Waits until `condition` holds.
export async function eventually(condition, what, timeout = 10_000) {
  const end = Date.now() + timeout;
  while (!(await condition())) {
    assert.ok(Date.now() < end, `did not happen within ${timeout} ms: ${what}`);
    await delay(50);
  }
}

export const encode = encodeURIComponent;

export { once };
