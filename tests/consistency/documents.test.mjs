// The documents name files and limits; both change. A sentence that is no longer true fails here.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";

import { read, root } from "./project.mjs";

const kDocuments = fs
  .readdirSync(root)
  .concat(
    ["docs", "tests", "bench"].flatMap((folder) =>
      fs.readdirSync(path.join(root, folder)).map((name) => `${folder}/${name}`),
    ),
  )
  .filter((name) => name.endsWith(".md"));

// What only a release holds, or another project.
const kElsewhere = ["sbom.cdx.json", "qrencode.h"];

const kFolders = ["bench", "cmake", "docs", "packaging", "scripts", "src", "tests"];
const fileNames = new Set(
  kFolders
    .flatMap((folder) => fs.readdirSync(path.join(root, folder), { recursive: true }))
    .map((name) => path.basename(name)),
);

// Names count from the project's folder, from src/ or from the document's own folder; a bare name may lie anywhere. Of a
// source its ending may be left out.
function exists(name, document) {
  if (kElsewhere.includes(name) || fileNames.has(name)) return true;
  const folders = ["", "src", path.dirname(document)];
  const endings = ["", ".h", ".cpp", "_win.cpp"];
  return folders.some((folder) =>
    endings.some((ending) => fs.existsSync(path.join(root, folder, name + ending))),
  );
}

function namedPaths(text) {
  const withoutBlocks = text.replace(/^```[^]*?^```/gm, "");
  const names = [...withoutBlocks.matchAll(/`([\w.-]+(?:\/[\w.-]+)*\/?)`/g)].map(
    ([, name]) => name,
  );
  const isPath = (name) =>
    name.includes("/") || /\.(md|mjs|js|cpp|h|cmake|json|css|html)$/.test(name);
  return [...new Set(names)].filter((name) => isPath(name) && !name.startsWith("build/"));
}

describe("every file and folder that a document names is there", () => {
  for (const document of kDocuments) {
    test(document, () => {
      const missing = namedPaths(read(document)).filter((name) => !exists(name, document));
      assert.deepEqual(missing, []);
    });
  }
});

test("every type, function and constant that ARCHITECTURE.md and CONTRIBUTING.md name is in the sources", () => {
  const kSources = ["src", "tests/unit", "tests/fuzz"];
  const texts = kSources.flatMap((folder) =>
    fs
      .readdirSync(path.join(root, folder), { recursive: true })
      .filter((name) => /\.(cpp|h)$/.test(name))
      .map((name) => read(`${folder}/${name}`)),
  );
  const words = new Set(texts.join("\n").match(/\w+/g));
  // The guide's example, and how names are written.
  const kExamples = ["ServeRename", "UpperCamelCase", "kLikeThis"];
  const names = ["ARCHITECTURE.md", "CONTRIBUTING.md"].flatMap((document) =>
    [...read(document).matchAll(/`(k?[A-Z]\w*[a-z]\w*(?:::\w+)*)`/g)].map(([, name]) => name),
  );
  const unknown = names
    .filter((name) => !kExamples.includes(name))
    .filter((name) => name.split("::").some((part) => !words.has(part)));
  assert.notEqual(names.length, 0);
  assert.deepEqual(unknown, []);
});

test("the map in ARCHITECTURE.md has a line for each folder of the sources, and for no other", () => {
  const mapped = [...read("ARCHITECTURE.md").matchAll(/^src\/([a-z/]+)\/ /gm)].map(
    ([, name]) => name,
  );
  const sources = path.join(root, "src");
  const folders = fs
    .readdirSync(sources, { recursive: true })
    .filter((name) => fs.statSync(path.join(sources, name)).isDirectory())
    .filter((name) => name !== "ui/resources");
  assert.deepEqual(mapped.sort(), folders.sort());
});

test("the table of locks in ARCHITECTURE.md names every file that guards a value, and no other", () => {
  const named = [...read("ARCHITECTURE.md").matchAll(/^\|[^|]* lock \|[^|]*\| `([^`]+)` \|$/gm)];
  const headers = fs
    .readdirSync(path.join(root, "src"), { recursive: true })
    .filter((name) => name.endsWith(".h") && name !== path.join("app", "guarded.h"))
    .filter((name) => /^ +(mutable )?Guarded</m.test(read(`src/${name}`)));
  assert.deepEqual(
    [...new Set(named.map(([, name]) => `${name}.h`))].sort(),
    headers.map((name) => name.replaceAll(path.sep, "/")).sort(),
  );
});

test("the example of --gtest_filter in CONTRIBUTING.md names tests of its program", () => {
  const example = /harbinet_([a-z]+)_tests --gtest_filter='([A-Za-z]+)\*'/.exec(
    read("CONTRIBUTING.md"),
  );
  const [, room, suite] = example ?? assert.fail("there is no example");
  const folder = path.join(root, "tests/unit", room);
  const sources = fs.readdirSync(folder).filter((name) => name.endsWith(".cpp"));
  const text = sources.map((name) => fs.readFileSync(path.join(folder, name), "utf8")).join("");
  assert.match(text, new RegExp(`^TEST(_F)?\\(${suite}`, "m"));
});

// What a reader is told about a limit, beside the line that sets it. Whoever changes one meets all of them.
const kLimits = [
  [
    "src/auth/ban_table.h",
    "kBanSeconds = 120;",
    ["SECURITY.md", "bans it from PIN checks for 120 seconds"],
    ["docs/http-api.md", "IP blocked for 120 seconds."],
    ["docs/troubleshooting.md", "that device waits 120 seconds"],
    ["docs/troubleshooting.md", "IP banned 2 min:"],
    ["docs/user-guide.md", "has to wait for two minutes"],
    ["ARCHITECTURE.md", "the third bans it for two minutes"],
  ],
  [
    "src/auth/ban_table.h",
    "kFailuresBeforeBan = 3;",
    ["SECURITY.md", "The third wrong PIN"],
    ["docs/user-guide.md", "Three wrong PINs"],
  ],
  [
    "src/auth/credentials.h",
    "kSessionSeconds = 28'800;",
    ["SECURITY.md", "valid for eight hours"],
    ["docs/user-guide.md", "A login lasts eight hours"],
    ["docs/http-api.md", "valid for eight hours"],
  ],
  [
    "src/files/shares/share_table.h",
    "kShareSeconds = 86'400;",
    ["SECURITY.md", "for 24 hours"],
    ["docs/user-guide.md", "works without a PIN for 24 hours"],
    ["docs/user-guide.md", "Every link ends after 24 hours"],
    ["docs/http-api.md", "It works for 24 hours"],
    ["docs/troubleshooting.md", "older than 24 hours"],
    ["src/web/shared_folder.html", "valid for 24 hours"],
  ],
  [
    "src/app/event_log.h",
    "kMaxLogLines = 500;",
    ["ARCHITECTURE.md", "the newest 500 lines"],
    ["docs/troubleshooting.md", "keeps the newest 500 lines"],
  ],
  [
    "src/net/ports.h",
    "kAdministratorPort = 443;",
    ["docs/user-guide.md", "the program listens on port 443"],
  ],
  ["src/net/ports.h", "kUserPort = 8443;", ["docs/user-guide.md", "it listens on port 8443"]],
];

describe("what readers are told about a limit is what the program does", () => {
  for (const [source, line, ...sentences] of kLimits) {
    test(line, () => {
      assert.ok(read(source).includes(line), `${source} says something else`);
      for (const [document, words] of sentences) {
        // Prose is wrapped anywhere.
        const text = read(document).replaceAll(/\s+/g, " ");
        assert.ok(text.includes(words), `${document} no longer says "${words}"`);
      }
    });
  }
});
