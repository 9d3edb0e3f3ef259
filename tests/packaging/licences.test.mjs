// Every file of the project says under which licence it stands, and the licences of what is linked in are complete.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { readFileSync, readdirSync } from "node:fs";
import path from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("../../", import.meta.url));
const read = (name) => readFileSync(path.join(root, name), "utf8");

test("reuse finds a licence and a copyright for every file", () => {
  const { status, stdout, stderr } = spawnSync("reuse", ["lint"], { cwd: root, encoding: "utf8" });
  assert.equal(status, 0, stdout + stderr);
});

test("the project's own licence is MIT, in both places where tools look", () => {
  assert.match(read("LICENSE"), /^MIT License\n\nCopyright \(c\) 2026 the Harbinet PRO authors\n/);
  assert.equal(read("LICENSES/MIT.txt"), read("LICENSE"));
});

// A sentence from the beginning and one from the end of each text.
const linked = {
  "LICENSE-openssl.txt": ["Version 2.0, January 2004", "END OF TERMS AND CONDITIONS"],
  "LICENSE-libqrencode.txt": ["Version 2.1, February 1999", "END OF TERMS AND CONDITIONS"],
  "LICENSE-gcc.txt": ["Version 3, 29 June 2007", "END OF TERMS AND CONDITIONS"],
  "LICENSE-gcc-runtime-exception.txt": [
    "Version 3.1, 31 March 2009",
    "2. No Weakening of GCC Copyleft.",
  ],
  "LICENSE-winpthreads.txt": ["Copyright (c) 2011-2016 mingw-w64 project", "Lockless Inc."],
  "LICENSE-mingw-w64-runtime.txt": ["the mingw-w64 project", "Keith Marshall"],
};

test("the licences of everything that is linked in are there in full", () => {
  assert.deepEqual(readdirSync(path.join(root, "licenses")).sort(), Object.keys(linked).sort());
  for (const [name, sentences] of Object.entries(linked)) {
    for (const sentence of sentences) {
      assert.ok(read(`licenses/${name}`).includes(sentence), `${name}: ${sentence}`);
    }
  }
});

test("uninstall takes away each licence that setup brings", () => {
  const script = read("packaging/installer/harbinet.nsi");
  const removed = [...script.matchAll(/Delete "\$INSTDIR\\licenses\\(.+)"/g)].map((hit) => hit[1]);
  assert.deepEqual(removed.sort(), [...Object.keys(linked), "THIRD_PARTY_NOTICES.txt"].sort());
});
