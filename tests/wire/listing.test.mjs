// GET /api/list.
import assert from "node:assert/strict";
import fs from "node:fs";
import { describe, test } from "node:test";

import { joinedPaths, refusedPaths } from "./paths.mjs";
import {
  assertJsonError,
  assertOk,
  encode,
  freshFolder,
  get,
  login,
  program,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("listing");
const list = (target, options) => get(`/api/list?path=${target}`, { cookie, ...options });
const empty = '{"ok":true,"items":[]}';
const oneFile = (name, size) =>
  `{"ok":true,"items":[{"name":"${name}","type":"file","size":${size}}]}`;
const namesOf = (reply) =>
  JSON.parse(reply.body)
    .items.map((item) => item.name)
    .sort();

// A folder of its own that holds what `fill` puts there.
let number = 0;
function prepared(fill) {
  const made = freshFolder(`listing/case${(number += 1)}`);
  fill?.(made);
  return made;
}

describe("entries", () => {
  test("an empty folder has no items", async () => {
    assertOk(await list(prepared().relative), empty);
  });
  test("a subfolder has no size", async () => {
    const { relative } = prepared((made) => made.makeFolder("Fotos"));
    assertOk(await list(relative), '{"ok":true,"items":[{"name":"Fotos","type":"dir"}]}');
  });
  test("a folder and a file, with nothing between the members", async () => {
    const { relative } = prepared((made) => {
      made.makeFolder("Fotos");
      made.write("a.txt", "twelve bytes");
    });
    const items = ['{"name":"Fotos","type":"dir"}', '{"name":"a.txt","type":"file","size":12}'];
    const body = (await list(relative)).body.toString();
    assert.ok(
      [items, [...items].reverse()].some((i) => body === `{"ok":true,"items":[${i.join(",")}]}`),
      body,
    );
  });

  const sizes = [
    [0, "0"],
    [1, "1"],
    [4_294_967_295, "4294967295"],
    [4_294_967_296, "4294967296"],
    [5_000_000_000, "5000000000"],
  ];
  for (const [size, text] of sizes) {
    test(`a file of ${text} bytes is listed with its size`, async () => {
      const { relative } = prepared((made) => {
        made.write("big");
        fs.truncateSync(made.at("big"), size);
      });
      assertOk(await list(relative), oneFile("big", text));
    });
  }

  const names = [
    "with blank.txt",
    "ümlaut ÄÖß.txt",
    "emoji 🎉👩‍👩‍👧.txt",
    "日本語.txt",
    ".hidden",
    "no extension",
    "quote'.txt",
    "percent%20.txt",
    "plus+.txt",
    "#hash.txt",
    "&amp;.txt",
    "semi;colon.txt",
    "é decomposed.txt",
    `${"n".repeat(251)}.txt`,
    "dot.dot.txt",
    "$x.txt",
    "[a]{b}.txt",
    "~tilde",
  ];
  for (const name of names) {
    test(`the name ${name.slice(0, 30)} is sent as it is`, async () => {
      const { relative } = prepared((made) => made.write(name, "abc"));
      assertOk(await list(relative), oneFile(name, 3));
    });
  }
  test("a name of 255 characters is listed", async () => {
    const name = "x".repeat(255);
    assertOk(await list(prepared((made) => made.write(name)).relative), oneFile(name, 0));
  });
  test("hidden and system files are not filtered", async () => {
    const { relative } = prepared((made) => {
      for (const name of ["desktop.ini", ".htaccess", "Thumbs.db"]) made.write(name);
    });
    assert.deepEqual(namesOf(await list(relative)), [".htaccess", "Thumbs.db", "desktop.ini"]);
  });
  test('"." and ".." never appear', async () => {
    const { relative } = prepared((made) => made.makeFolder("sub"));
    assert.deepEqual(namesOf(await list(`${relative}/sub`)), []);
    assert.deepEqual(namesOf(await list(relative)), ["sub"]);
  });
  test("3,000 entries are all listed", async () => {
    const wanted = Array.from({ length: 3000 }, (_, index) => `file ${index}`).sort();
    const { relative } = prepared((made) => wanted.forEach((name) => made.write(name)));
    const reply = await list(relative);
    assertOk(reply, reply.body.toString());
    assert.deepEqual(namesOf(reply), wanted);
  });
});

describe("the web root", () => {
  const rows = [
    ["no query", "/api/list"],
    ["no path", "/api/list?x=1"],
    ["an empty path", "/api/list?path="],
    ["a slash", "/api/list?path=/"],
    ["a backslash", "/api/list?path=%5C"],
    ["three slashes", "/api/list?path=///"],
    ["a dot", "/api/list?path=."],
    ["a dot and a slash", "/api/list?path=./"],
  ];
  for (const [name, target] of rows) {
    test(`${name} lists it`, async () => {
      const reply = await get(target, { cookie });
      assertOk(reply, reply.body.toString());
      assert.ok(namesOf(reply).includes("listing"));
      assert.ok(!reply.body.includes(program.windowsRoot));
    });
  }
});

describe("ways to write one folder", () => {
  const { relative, write, makeFolder } = prepared();
  makeFolder("sub");
  write("sub/in.txt", "in");
  const base = relative.replace("/", "%5C");
  const rows = [
    ["slashes", `${relative}/sub`],
    ["backslashes", `${base}%5Csub`],
    ["mixed slashes", `${relative}%5Csub`],
    ["a leading slash", `/${relative}/sub`],
    ["a leading backslash", `%5C${base}%5Csub`],
    ["many leading slashes", `/%5C//${relative}/sub`],
    ["a slash at the end", `${relative}/sub/`],
    ["a backslash at the end", `${base}%5Csub%5C`],
    ["a dot component", `${relative}/./sub`],
    ["a dot in front", `./${relative}/sub`],
    ["escaped letters", encode(`${relative}/sub`)],
    ["doubled slashes", `${relative}//sub`],
    ["other capitals", `${relative.toUpperCase()}/SUB`],
    ["a dot at the end", `${relative}/sub/.`],
  ];
  for (const [name, target] of rows) {
    test(`${name}: the same listing`, async () => {
      assertOk(await list(target), oneFile("in.txt", 2));
    });
  }
});

describe("refusals", () => {
  for (const [name, target] of refusedPaths) {
    test(`${name} (${target}): 400 Invalid path`, async () => {
      assertJsonError(await list(target), 400, "Invalid path");
    });
  }
  for (const [name, target] of joinedPaths) {
    test(`${name} (${target}): 404 below the web root`, async () => {
      assertJsonError(await list(target), 404, "Directory not found");
    });
  }
  test("a path that is too long is refused", async () => {
    assertJsonError(await list("y/".repeat(130) + "y".repeat(40)), 400, "Invalid path");
  });
  test("a path of 100,000 characters is refused", async () => {
    assertJsonError(await list("y".repeat(100_000)), 400, "Invalid path");
  });
  test("260 characters in all are refused, one less is not", async () => {
    const fits = 259 - program.windowsRoot.length - 1;
    assertJsonError(await list("y".repeat(fits)), 404, "Directory not found");
    assertJsonError(await list("y".repeat(fits + 1)), 400, "Invalid path");
  });
  test("a missing folder is not found", async () => {
    assertJsonError(await list("listing/none"), 404, "Directory not found");
  });
  test("a file is not found", async () => {
    folder.write("a.txt", "x");
    assertJsonError(await list("listing/a.txt"), 404, "Directory not found");
  });
  test("a folder that was removed is not found", async () => {
    const made = prepared();
    assertOk(await list(made.relative), empty);
    fs.rmdirSync(made.here);
    assertJsonError(await list(made.relative), 404, "Directory not found");
  });
});
