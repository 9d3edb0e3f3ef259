// The documents name files and limits; both change. A sentence that is no longer true fails here.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";

import { read, root } from "./project.mjs";

const kDocuments = [
  "README.md",
  "ARCHITECTURE.md",
  "CONTRIBUTING.md",
  "SECURITY.md",
  "tests/README.md",
  "bench/README.md",
];

// Names count from the project's folder, from src/ or from the document's own folder. Of a source its ending may be left
// out; what the build makes is not there yet.
function exists(name, document) {
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
    ["ARCHITECTURE.md", "the third bans it for two minutes"],
  ],
  ["src/auth/ban_table.h", "kFailuresBeforeBan = 3;", ["SECURITY.md", "The third wrong PIN"]],
  ["src/auth/credentials.h", "kSessionSeconds = 28'800;", ["SECURITY.md", "valid for eight hours"]],
  [
    "src/files/shares/share_table.h",
    "kShareSeconds = 86'400;",
    ["README.md", "works for 24 hours"],
    ["SECURITY.md", "for 24 hours"],
    ["src/web/shared_folder.html", "valid for 24 hours"],
  ],
  ["src/app/event_log.h", "kMaxLogLines = 500;", ["ARCHITECTURE.md", "the newest 500 lines"]],
  ["src/net/ports.h", "kAdministratorPort = 443;", ["README.md", "on 443"]],
  ["src/net/ports.h", "kUserPort = 8443;", ["README.md", "listens on port 8443"]],
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
