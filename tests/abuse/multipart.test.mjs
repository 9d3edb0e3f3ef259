// The forms of a public parser's own test suite, uploaded whole and in single bytes. The files that arrive are compared
// with those the suite expects; where this program deliberately reads a form in another way, the table says how and why.
import assert from "node:assert/strict";
import fs from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { describe, test } from "node:test";
import vm from "node:vm";

import {
  assertJsonError,
  assertOk,
  assertServed,
  freshFolder,
  login,
  upload,
} from "../support/client.mjs";

// The suite is a script that runs its table at once: only the table is wanted.
function suiteOfBusboy() {
  const main = createRequire(import.meta.url).resolve("busboy");
  const file = path.join(path.dirname(main), "../test/test-types-multipart.js");
  const script = fs.readFileSync(file, "utf8");
  const end = script.indexOf("\n];\n");
  assert.ok(end > 0, "the suite's table was not found");
  const table = `((require) => { ${script.slice(0, end + 4)} return tests; })`;
  return vm.runInThisContext(table, { filename: file })(() => ({}));
}

const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const kAborted = "Upload aborted";
const kUnwritable = "Failed to write file";

// files: name to content; error: the reply's message instead of success.
const kDifferent = {
  "No fields and no files": { why: "an empty body never closes its form", error: kAborted },
  "Fields and files (limits)": {
    why: "no limit on the size of a file",
    files: { "1k_a.dat": alphabet },
  },
  "Fields and files (limits: 0 files)": {
    why: "no limit on the number of files",
    files: { "1k_a.dat": alphabet },
  },
  "Fields and (ignored) files": {
    why: "files are what an upload is for",
    files: { "1k_a.dat": "A".repeat(1023), "1k_b.dat": "B".repeat(1023) },
  },
  "Files with filenames containing paths": {
    why: "separators become underscores, folders are not cut off",
    files: {
      "_tmp_1k_a.dat": alphabet,
      "C__files_1k_b.dat": alphabet,
      "relative_1k_c.dat": alphabet,
    },
  },
  "Unicode filenames": { why: "the extended form of the file name is not read", files: {} },
  "Stopped mid-header": {
    why: "the header block has no end, so the closing delimiter is inside it",
    error: kAborted,
  },
  "Stopped mid-file #1": {
    why: "the begun file stays",
    files: { "1k_a.dat": "" },
    error: kAborted,
  },
  "Stopped mid-file #2": {
    why: "the begun file stays, without bytes that might have begun a delimiter",
    files: { "1k_a.dat": "" },
    error: kAborted,
  },
  "Parts limit": { why: "no limit on the number of parts", files: { "notes.txt": "bc" } },
  "Files limit": {
    why: "no limit on the number of files",
    files: { "notes.txt": "ab", "notes2.txt": "cd" },
  },
  "Oversized part header": {
    why: "a name that the file system refuses ends the upload",
    error: kUnwritable,
  },
  "Header size limit should be per part": {
    why: "a name that the file system refuses ends the upload",
    error: kUnwritable,
  },
  "Empty part": { why: "a line break before the first delimiter is no form", error: kAborted },
};

const stored = (name) => name.replace(/["*/:<>?\\|]/g, "_");

// By this program's rules, from what the suite expects.
function expectationOf(suiteCase) {
  const different = kDifferent[suiteCase.what];
  if (different) return { files: {}, ...different };
  const files = suiteCase.expected.filter(({ type }) => type === "file");
  return {
    files: Object.fromEntries(files.map(({ info, data }) => [stored(info.filename), `${data}`])),
  };
}

const cookie = await login();
const cases = suiteOfBusboy();

describe("forms of a public parser suite", () => {
  test("the suite is there", () => {
    assert.ok(cases.length >= 26);
    const names = cases.map(({ what }) => what);
    for (const name of Object.keys(kDifferent)) assert.ok(names.includes(name), name);
  });

  cases.forEach((suiteCase, index) => {
    const { files, error, why } = expectationOf(suiteCase);
    const body = Buffer.concat(suiteCase.source.map((piece) => Buffer.from(piece)));
    // One TLS record for each byte, as far as the form is short enough for it.
    const piece = body.length < 4000 ? 1 : 997;
    for (const [kind, how] of [
      ["whole", {}],
      ["in pieces", { piece }],
    ]) {
      test(`${suiteCase.what}, ${kind}${why ? `: ${why}` : ""}`, async () => {
        const folder = freshFolder(`suite${index}-${kind.length}`);
        const options = { cookie, body, boundary: suiteCase.boundary, ...how };
        const reply = await upload(`/upload?path=${folder.relative}`, [], options);
        if (error) assertJsonError(reply, 400, error);
        else assertOk(reply);
        const found = folder.names().map((name) => [name, `${folder.read(name)}`]);
        assert.deepEqual(Object.fromEntries(found), files);
        await assertServed();
      });
    }
  });
});
