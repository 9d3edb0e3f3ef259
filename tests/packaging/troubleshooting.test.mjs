// docs/troubleshooting.md explains every line that the event log can write, and none that it cannot.
import assert from "node:assert/strict";
import { readFileSync, readdirSync } from "node:fs";
import path from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("../../", import.meta.url));

function sources(folder) {
  return readdirSync(folder, { withFileTypes: true }).flatMap((entry) => {
    const file = path.join(folder, entry.name);
    if (entry.isDirectory()) return sources(file);
    return /\.(cpp|h)$/.test(entry.name) ? [file] : [];
  });
}

// The tag of a download comes as an argument; download.cpp puts these behind it.
const kTagged = ["DL      ", "SHAREDL ", "SHDIRDL "];
// Statements whose first literal is not in the call itself: the text comes from a table, or from kTagged.
const kIndirect = {
  "src/files/download.cpp": [
    "std::wstring(tag) + full_path",
    'std::wstring(tag) + L"failed: " + full_path',
  ],
  "src/net/tls_context.cpp": ["failure"],
};
const kTag =
  /^(APP|AUTH|PATH|SHARE|TLS|NET|SERVER|ERROR|DRIVE|LOG|DL|UPLOAD|MKDIR|RMDIR|DELETE|ZIP|SHAREDL|SHDIRDL|SHDIRDEL|WEBROOT|BROWSER|EXPLORER|AUTOSTART)(:? )/;
// They begin like lines of the log, but are the status panel's and a message's.
const kNoLine = {
  "src/application.cpp": ["TLS certificate generation failed."],
  "src/ui/texts.cpp": ["TLS:                    "],
};

// What functions of the source give; tests/wire/ban.test.mjs compares whole lines.
const kGiven = { "BanNotice(ip)": 'L"failed 3x => IP banned 2 min: " + ip' };

const literalsOf = (text) =>
  [...text.matchAll(/L"((?:[^"\\]|\\.)*)"/g)].map((hit) => hit[1].replaceAll("\\\\", "\\"));

// Each line as the pieces that the source writes out, in their order.
function linesOfSource() {
  const lines = [];
  const unknown = [];
  for (const file of sources(path.join(root, "src"))) {
    const name = path.relative(root, file);
    const text = readFileSync(file, "utf8").replace(/^\s*\/\/.*$/gm, "");
    let rest = text;
    for (const [statement, argument] of text.matchAll(/\b(?:log_?|Log\(\))\.Log\(([^;]*)\);/g)) {
      rest = rest.replace(statement, "");
      const flat = argument.replace(/\s+/g, " ");
      if (kIndirect[name]?.includes(flat)) continue;
      if (!/^(\w+ \? )?L"/.test(flat)) unknown.push(`${name}: ${flat}`);
      const whole = Object.entries(kGiven)
        .reduce((soFar, [call, given]) => soFar.replace(call, given), argument)
        .replace(/" \+\s+L"/g, "");
      for (const literal of literalsOf(whole)) {
        if (kTag.test(literal)) lines.push([literal]);
        else lines.at(-1).push(literal);
      }
    }
    for (const literal of literalsOf(rest)) {
      if (kTag.test(literal) && !kNoLine[name]?.includes(literal)) lines.push([literal]);
    }
  }
  return { lines, unknown };
}

// Each row's line as the texts between its <places>.
function rowsOfTable() {
  const text = readFileSync(path.join(root, "docs/troubleshooting.md"), "utf8");
  const rows = [...text.matchAll(/^\| `([^`]+)` \| ([^|]+) \|/gm)];
  for (const [, line, meaning] of rows) assert.ok(meaning.trim().length > 5, line);
  return rows.map(([, line]) => line.split(/<[a-z][a-z ]*>/));
}

const { lines, unknown } = linesOfSource();
const rows = rowsOfTable();

// The row begins as the line does, and has its other pieces in that order.
function explains(row, line) {
  if (row[0].trimEnd() !== line[0].trimEnd()) return false;
  const tail = row.slice(1).join("\n");
  let at = 0;
  return line.slice(1).every((piece) => {
    at = tail.indexOf(piece.trim(), at);
    return at >= 0;
  });
}

test("the source writes more than fifty different lines, each with a text of its own", () => {
  assert.deepEqual(unknown, []);
  assert.ok(lines.length > 50, `${lines.length} lines`);
});

test("every line that the log can write has a row in the table", () => {
  const missing = lines.filter((line) => !rows.some((row) => explains(row, line)));
  assert.deepEqual(missing, []);
});

test("every download's failure has a row", () => {
  for (const tag of kTagged) {
    assert.ok(
      rows.some((row) => row[0] === `${tag}failed: `),
      tag,
    );
  }
});

test("no row explains a line that the log cannot write", () => {
  const failures = kTagged.map((tag) => [`${tag}failed: `]);
  const stale = rows.filter((row) => ![...lines, ...failures].some((line) => explains(row, line)));
  assert.deepEqual(stale, []);
});
