// What ./release refuses before it builds anything.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import path from "node:path";
import { after, test } from "node:test";
import { fileURLToPath } from "node:url";

const release = fileURLToPath(new URL("../../release", import.meta.url));
const folder = mkdtempSync(path.join(tmpdir(), "release-options-"));
after(() => rmSync(folder, { recursive: true }));

const run = (...words) => spawnSync(release, words, { encoding: "utf8", timeout: 60_000 });

test("a folder that holds something else is not replaced by a release", () => {
  const mine = path.join(folder, "mine.txt");
  writeFileSync(mine, "my own file");
  for (const target of [folder, mine]) {
    const { status, stdout, stderr } = run("--into", target);
    assert.notEqual(status, 0);
    assert.match(stdout + stderr, /is no release: name a folder that is empty or new/);
  }
  assert.equal(readFileSync(mine, "utf8"), "my own file");
});

test("a key that is not there and an unknown option are refused", () => {
  assert.match(run("--sign", path.join(folder, "no.p12")).stderr, /--sign needs a file/);
  assert.equal(run("--unknown").status, 2);
});
