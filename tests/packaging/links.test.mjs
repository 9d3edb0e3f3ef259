// Every relative link and picture of the project's pages exists, headings that are linked to included.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, readFileSync } from "node:fs";
import path from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("../../", import.meta.url));
const pages = execFileSync(
  "git",
  ["ls-files", "--cached", "--others", "--exclude-standard", "*.md"],
  {
    cwd: root,
    encoding: "utf8",
  },
)
  .trim()
  .split("\n");

const withoutCode = (text) => text.replace(/^```.*?^```/gms, "").replace(/`[^`\n]*`/g, "");

// The name by which a heading is linked to: lower case, blanks as hyphens, punctuation left out.
function anchorsOf(file) {
  const text = readFileSync(file, "utf8").replace(/^```.*?^```/gms, "");
  return [...text.matchAll(/^#+ (.+)$/gm)].map(([, heading]) =>
    heading
      .toLowerCase()
      .replace(/[^\p{L}\p{N} _-]/gu, "")
      .replaceAll(" ", "-"),
  );
}

function brokenLinks(page) {
  const text = withoutCode(readFileSync(path.join(root, page), "utf8"));
  const targets = [...text.matchAll(/\]\(([^)\s]+)\)/g)].map((hit) => hit[1]);
  return targets.filter((target) => {
    if (/^[a-z]+:/.test(target)) return false;
    const [name, anchor] = target.split("#");
    const file = name === "" ? path.join(root, page) : path.join(root, path.dirname(page), name);
    if (!existsSync(file)) return true;
    return anchor !== undefined && !anchorsOf(file).includes(anchor);
  });
}

test("there are the pages that people read", () => {
  for (const page of [
    "README.md",
    "SECURITY.md",
    "docs/user-guide.md",
    "docs/troubleshooting.md",
    "docs/http-api.md",
  ]) {
    assert.ok(pages.includes(page), page);
  }
});

for (const page of pages) {
  test(`every relative link and picture of ${page} exists`, () => {
    assert.deepEqual(brokenLinks(page), []);
  });
}
