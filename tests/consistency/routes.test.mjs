// What a new endpoint is easily forgotten in: a test of its handler, a test with the real program, a word for the fuzzers.
// That it has a row in the tests of the route table, those tests say themselves.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import { read } from "./project.mjs";

// Every route with the file that tests its handler and the one that tests it on the wire.
const kTests = {
  "GET /s/": ["tests/unit/files/shares/share_links_test.cpp", "tests/wire/share.test.mjs"],
  "GET /api/status": ["tests/unit/roof/routes_test.cpp", "tests/wire/routing.test.mjs"],
  "GET /": ["tests/unit/roof/routes_test.cpp", "tests/wire/routing.test.mjs"],
  "POST /api/login": ["tests/unit/auth/login_test.cpp", "tests/wire/login.test.mjs"],
  "GET /d/": ["tests/unit/files/shares/shared_folder_test.cpp", "tests/wire/share.test.mjs"],
  "POST /d/": ["tests/unit/files/shares/shared_folder_test.cpp", "tests/wire/share.test.mjs"],
  "GET /auto": ["tests/unit/auth/login_test.cpp", "tests/wire/ban.test.mjs"],
  "GET /api/share": ["tests/unit/files/shares/share_links_test.cpp", "tests/wire/share.test.mjs"],
  "GET /api/list": ["tests/unit/files/listing_test.cpp", "tests/wire/listing.test.mjs"],
  "GET /download": ["tests/unit/files/download_test.cpp", "tests/wire/download.test.mjs"],
  "POST /upload": ["tests/unit/files/upload_test.cpp", "tests/wire/upload.test.mjs"],
  "POST /api/mkdir": ["tests/unit/files/folder_changes_test.cpp", "tests/wire/folders.test.mjs"],
  "POST /api/rmdir": ["tests/unit/files/folder_changes_test.cpp", "tests/wire/folders.test.mjs"],
  "POST /api/delete": ["tests/unit/files/folder_changes_test.cpp", "tests/wire/folders.test.mjs"],
  "POST /api/delete_many": [
    "tests/unit/files/folder_changes_test.cpp",
    "tests/wire/folders.test.mjs",
  ],
  "POST /api/zip": ["tests/unit/files/zip/zip_download_test.cpp", "tests/wire/zip.test.mjs"],
};

const kRow = /\{k(Get|Post), k(Exact|Prefix), "([^"]+)", \d+, k(?:Public|Session), /g;
const routes = [...read("src/routes.cpp").matchAll(kRow)].map(([, method, match, path]) => ({
  name: `${method.toUpperCase()} ${path}`,
  path,
  isPrefix: match === "Prefix",
}));

// True when a string in `source` is a request for the route: its path stands there, and then the string, or the path of
// a prefix, goes on.
function asksFor(source, { path, isPrefix }) {
  const end = isPrefix ? "" : "(?=[\"'`? $])";
  return new RegExp(`["'\`} ]${path.replaceAll("/", "\\/")}${end}`).test(source);
}

test("the list above names every route, in the order of the table", () => {
  assert.deepEqual(
    routes.map(({ name }) => name),
    Object.keys(kTests),
  );
});

describe("every route has", () => {
  for (const route of routes) {
    const [unit, wire] = kTests[route.name] ?? [];
    test(`${route.name}: a test of its handler`, () => {
      assert.ok(unit?.startsWith("tests/unit/"), "kTests names none");
      assert.ok(asksFor(read(unit), route), `${unit} asks for ${route.path} nowhere`);
    });
    test(`${route.name}: a test with the real program`, () => {
      assert.ok(wire?.startsWith("tests/wire/"), "kTests names none");
      assert.ok(asksFor(read(wire), route), `${wire} asks for ${route.path} nowhere`);
    });
    test(`${route.name}: a word in the fuzzers' dictionary`, () => {
      const words = read("tests/fuzz/dictionaries/http.dict").matchAll(/^[a-z_]+="(.*)"$/gm);
      const isWord = ([, word]) => asksFor(` ${word.replace(/^(GET|POST) /, "")}"`, route);
      assert.ok([...words].some(isWord), `http.dict has no word for ${route.path}`);
    });
  }
});
