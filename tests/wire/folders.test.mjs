// POST /api/mkdir, /api/rmdir, /api/delete and /api/delete_many.
import assert from "node:assert/strict";
import fs from "node:fs";
import { describe, test } from "node:test";

import { joinedPaths, refusedPaths } from "./paths.mjs";
import {
  assertJsonError,
  assertLogged,
  assertNotLogged,
  assertOk,
  freshFolder,
  login,
  post,
  postJson,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("folders");
const call = (action, members, options) =>
  postJson(`/api/${action}`, members, { cookie, ...options });
const body = (action, text, options) => post(`/api/${action}`, text, { cookie, ...options });
const inFolder = (action, name, options) => call(action, { path: folder.relative, name }, options);
const failures = {
  rmdir: "Failed (folder must be empty)",
  delete: "Failed to delete",
};

const badNames = [
  ["a slash", "a/b"],
  ["a backslash", "a\\b"],
  ["two dots", ".."],
  ["two dots inside", "a..b"],
  ["a parent", "../x"],
  ["a parent with a backslash", "..\\x"],
  ["a leading slash", "/x"],
  ["a lone slash", "/"],
  ["a lone backslash", "\\"],
  ["a full path", "C:\\Windows"],
  ["a server share", "\\\\server\\share"],
  ["a verbatim prefix", "\\\\?\\C:\\x"],
];

for (const action of ["mkdir", "rmdir", "delete"]) {
  describe(`/api/${action} refuses`, () => {
    const missing = [
      ["no name", { path: "folders" }],
      ["an empty name", { path: "folders", name: "" }],
      ["a number as name", { path: "folders", name: 5 }],
      ["null as name", { name: null }],
      ["an array as name", { path: "folders", name: ["a"] }],
      ["an empty object", {}],
      ["a refused path and no name", { path: ".." }],
    ];
    for (const [name, members] of missing) {
      test(`${name}: Missing name`, async () => {
        assertJsonError(await call(action, members), 400, "Missing name");
      });
    }
    test("an empty body: Missing name", async () => {
      assertJsonError(await body(action, ""), 400, "Missing name");
    });
    for (const [name, target] of refusedPaths.slice(0, 9)) {
      test(`${name} (${target}) as path: Invalid path`, async () => {
        const path = decodeURIComponent(target);
        assertJsonError(await call(action, { path, name: "x" }), 400, "Invalid path");
      });
    }
    test("a refused path before a refused name", async () => {
      assertJsonError(await call(action, { path: "..", name: ".." }), 400, "Invalid path");
    });
    for (const [label, name] of badNames) {
      test(`${label} (${name}) as name: Invalid name`, async () => {
        assertJsonError(await inFolder(action, name), 400, "Invalid name");
      });
    }
  });
}

describe("/api/mkdir", () => {
  for (const name of ["new", "with blank", "ümlaut", "🎉", "dot.name", "x".repeat(100)]) {
    test(`${name.slice(0, 20)} is made and logged`, async () => {
      assertOk(await inFolder("mkdir", name));
      assert.ok(fs.statSync(folder.at(name)).isDirectory());
      await assertLogged(`MKDIR   ${folder.windows}\\${name}`);
    });
  }
  test("an existing folder is a success and is logged again", async () => {
    assertOk(await inFolder("mkdir", "twice"));
    assertOk(await inFolder("mkdir", "twice"));
    await assertLogged(`MKDIR   ${folder.windows}\\twice`, 2);
  });
  test("an existing file is a success and stays a file", async () => {
    folder.write("file", "x");
    assertOk(await inFolder("mkdir", "file"));
    assert.equal(folder.read("file").toString(), "x");
  });
  test("an impossible name is a success and makes nothing", async () => {
    const before = folder.names();
    assertOk(await inFolder("mkdir", "what?*<>|"));
    assert.deepEqual(folder.names(), before);
    await assertLogged(`MKDIR   ${folder.windows}\\what?*<>|`);
  });
  test("a missing folder above is made too", async () => {
    assertOk(await call("mkdir", { path: "folders/above", name: "below" }));
    assert.ok(folder.has("above/below"));
  });
  test("without a path the folder is made in the web root", async () => {
    const root = freshFolder("folders-in-root");
    fs.rmdirSync(root.here);
    assertOk(await call("mkdir", { name: "folders-in-root" }));
    assert.ok(fs.existsSync(root.here));
    assertOk(await call("rmdir", { path: "", name: "folders-in-root" }));
    assert.ok(!fs.existsSync(root.here));
  });
  test("a body in single bytes is assembled", async () => {
    assertOk(await inFolder("mkdir", "bytes", { piece: 1 }));
    assert.ok(folder.has("bytes"));
  });
  test("a letter after a backslash is that letter", async () => {
    assertOk(await body("mkdir", '{"path":"folders","name":"\\e\\s\\c\\u0041"}'));
    assert.ok(folder.has("escu0041"));
  });
  test("the first member of a name counts, wherever it stands", async () => {
    assertOk(await body("mkdir", '{"a":{"name":"inner"},"path":"folders","name":"outer"}'));
    assert.ok(folder.has("inner") && !folder.has("outer"));
  });
  test("an unterminated name is read to the end of the body", async () => {
    assertOk(await body("mkdir", '{"path":"folders","name":"open'));
    assert.ok(folder.has("open"));
  });
});

describe("/api/rmdir", () => {
  test("an empty folder is removed and logged", async () => {
    folder.makeFolder("empty");
    assertOk(await inFolder("rmdir", "empty"));
    assert.ok(!folder.has("empty"));
    await assertLogged(`RMDIR   ${folder.windows}\\empty`);
  });
  test("a folder with a file stays", async () => {
    folder.makeFolder("full");
    folder.write("full/x");
    assertJsonError(await inFolder("rmdir", "full"), 400, failures.rmdir);
    assert.ok(folder.has("full/x"));
  });
  test("a folder with a folder stays", async () => {
    folder.makeFolder("nested/in");
    assertJsonError(await inFolder("rmdir", "nested"), 400, failures.rmdir);
  });
  test("a missing folder fails", async () => {
    assertJsonError(await inFolder("rmdir", "none"), 400, failures.rmdir);
  });
  test("a file fails and stays", async () => {
    folder.write("a file", "x");
    assertJsonError(await inFolder("rmdir", "a file"), 400, failures.rmdir);
    assert.ok(folder.has("a file"));
  });
  test("a failure is not logged", async () => {
    await inFolder("rmdir", "unlogged");
    await assertNotLogged("unlogged");
  });
});

describe("/api/delete", () => {
  for (const name of ["a.txt", "with blank.txt", "ümlaut.txt", "🎉.txt", ".hidden"]) {
    test(`the file ${name} is deleted and logged`, async () => {
      folder.write(name, "x");
      assertOk(await inFolder("delete", name));
      assert.ok(!folder.has(name));
      await assertLogged(`DELETE  ${folder.windows}\\${name}`);
    });
  }
  test("an empty folder is deleted too", async () => {
    folder.makeFolder("hollow");
    assertOk(await inFolder("delete", "hollow"));
    assert.ok(!folder.has("hollow"));
    await assertLogged(`DELETE  ${folder.windows}\\hollow`);
  });
  test("a folder with content stays", async () => {
    folder.makeFolder("kept");
    folder.write("kept/x");
    assertJsonError(await inFolder("delete", "kept"), 400, failures.delete);
    assert.ok(folder.has("kept/x"));
  });
  test("a missing file fails", async () => {
    assertJsonError(await inFolder("delete", "none"), 400, failures.delete);
  });
  test("a wildcard deletes nothing", async () => {
    folder.write("star.txt");
    assertJsonError(await inFolder("delete", "*.txt"), 400, failures.delete);
    assertJsonError(await inFolder("delete", "star.tx?"), 400, failures.delete);
    assert.ok(folder.has("star.txt"));
  });
  test("a read-only file stays", async () => {
    folder.write("readonly.txt");
    fs.chmodSync(folder.at("readonly.txt"), 0o444);
    assertJsonError(await inFolder("delete", "readonly.txt"), 400, failures.delete);
    assert.ok(folder.has("readonly.txt"));
    fs.chmodSync(folder.at("readonly.txt"), 0o644);
  });
  for (const [name, target] of joinedPaths.slice(0, 10)) {
    test(`${name} (${target}) as path deletes nothing`, async () => {
      const path = decodeURIComponent(target);
      assertJsonError(await call("delete", { path, name: "system.ini" }), 400, failures.delete);
    });
  }
});

describe("/api/delete_many", () => {
  const many = (names, options) => call("delete_many", { path: folder.relative, names }, options);
  const counted = (deleted, failed) => `{"ok":true,"deleted":${deleted},"failed":${failed}}`;

  const missing = [
    ["no names", '{"path":"folders"}'],
    ["an empty array", '{"path":"folders","names":[]}'],
    ["an array of blanks", '{"names":[  ]}'],
    ["a string", '{"names":"a"}'],
    ["an array of numbers", '{"names":[1,2]}'],
    ["a string before a number", '{"names":["a",1]}'],
    ["an object", '{"names":{"a":"b"}}'],
    ["an opening bracket at the end", '{"names":['],
    ["a comma first", '{"names":[,"a"]}'],
    ["an empty body", ""],
    ["white space", " \r\n"],
    ["nothing after a comma", '{"names":["a",'],
    ["a refused path and no names", '{"path":".."}'],
  ];
  for (const [name, text] of missing) {
    test(`${name}: Missing names[]`, async () => {
      assertJsonError(await body("delete_many", text), 400, "Missing names[]");
    });
  }
  for (const [name, target] of refusedPaths.slice(0, 6)) {
    test(`${name} (${target}) as path: Invalid path`, async () => {
      const path = decodeURIComponent(target);
      assertJsonError(await call("delete_many", { path, names: ["a"] }), 400, "Invalid path");
    });
  }
  test("a file, two dots and a subfolder: one deleted, two failed", async () => {
    folder.write("one");
    folder.makeFolder("sub");
    assertOk(await many(["one", "..", "sub"]), counted(1, 2));
    assert.ok(!folder.has("one") && folder.has("sub"));
    await assertLogged(`DELETE  ${folder.windows}\\one`);
  });
  test("every name may fail", async () => {
    assertOk(await many(["none", "", "a/b", "a\\b", "a..b"]), counted(0, 5));
  });
  test("a file named twice is deleted once", async () => {
    folder.write("double");
    assertOk(await many(["double", "double"]), counted(1, 1));
  });
  test("100 files", async () => {
    const names = Array.from({ length: 100 }, (_, index) => `m${index} ü`);
    names.forEach((name) => folder.write(name));
    assertOk(await many(names), counted(100, 0));
    assert.ok(!folder.names().some((name) => /^m\d/.test(name)));
  });
  test("a missing comma between two names is tolerated", async () => {
    folder.write("n1");
    folder.write("n2");
    assertOk(await body("delete_many", '{"path":"folders","names":["n1" "n2"]}'), counted(2, 0));
  });
  test("a comma behind the last name is tolerated", async () => {
    folder.write("n3");
    assertOk(await body("delete_many", '{"path":"folders","names":["n3",]}'), counted(1, 0));
  });
  test("an array that ends with the body after a name is read", async () => {
    folder.write("n4");
    assertOk(await body("delete_many", '{"path":"folders","names":["n4"'), counted(1, 0));
  });
  test("without a path the files are in the web root", async () => {
    assertOk(await body("delete_many", '{"names":["folders"]}'), counted(0, 1));
    assert.ok(folder.has("sub"));
  });
});
