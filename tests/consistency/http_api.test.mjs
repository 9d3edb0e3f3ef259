// docs/http-api.md names every error message that a script can get, and none that nobody sends.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { test } from "node:test";

import { read, root } from "./project.mjs";

const kRooms = ["src/auth", "src/files", "src/http"];
// Texts of the same form that are no error message of a JSON or plain text reply, or stand in the status line only.
const kOthers = [
  "100 Continue",
  "Bad Request",
  "Harbinet PRO",
  "Invalid PIN.",
  "Length Required",
  "Too many attempts. IP blocked for ",
];

function sources() {
  return kRooms.flatMap((room) =>
    fs
      .readdirSync(path.join(root, room), { recursive: true })
      .filter((name) => /\.(cpp|h)$/.test(name))
      .map((name) => `${room}/${name}`),
  );
}

// Sentences: literals that begin with a capital and hold a blank, outside comments and the event log's wide texts.
function sentences(text) {
  const code = text.replace(/^\s*\/\/.*$/gm, "").replace(/^#include.*$/gm, "");
  return [...code.matchAll(/(?<!L)"((?:[A-Z][A-Za-z-]*)(?: [^"\\]*)|Unauthorized)"/g)].map(
    ([, sentence]) => sentence,
  );
}

const messages = [...new Set(sources().flatMap((name) => sentences(read(name))))].filter(
  (message) => !kOthers.includes(message),
);
const page = read("docs/http-api.md");

test("every error message is on the page", () => {
  assert.ok(messages.length >= 25, `${messages.length} messages found`);
  assert.deepEqual(
    messages.filter((message) => !page.includes(`\`${message}\``)),
    [],
  );
});

test("every message that an error table names is sent", () => {
  const rows = page.match(/^\|(?:.*\|)? *(?:4\d\d|500)\b.*$/gm);
  const named = rows.flatMap((row) =>
    [...row.matchAll(/`([A-Z][^`]+)`/g)].map(([, message]) => message),
  );
  assert.ok(named.length >= 20, `${named.length} messages named`);
  // The number in it is computed.
  const isSent = (message) =>
    messages.includes(message) || message === "Too many attempts. IP blocked for 120 seconds.";
  assert.deepEqual(
    named.filter((message) => !isSent(message)),
    [],
  );
});
