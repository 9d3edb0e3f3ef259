// Requests of every kind to the running program, and replies with their head as it was sent.
import assert from "node:assert/strict";

import { collect, openTls, writePieces } from "./connections.mjs";
import { program } from "./program.mjs";

export const encode = encodeURIComponent;

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
