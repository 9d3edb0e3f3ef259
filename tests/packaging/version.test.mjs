// One version: everything that names one says what the newest heading of CHANGELOG.md says.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import path from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

import { fixedVersion, manifestOf, versionTexts } from "./program_version.mjs";

const root = fileURLToPath(new URL("../../", import.meta.url));
const read = (name) => readFileSync(path.join(root, name), "utf8");

const newest = /^## \[(\d+\.\d+(?:\.\d+)?)\] - \d{4}-\d\d-\d\d$/m.exec(read("CHANGELOG.md"))?.[1];
const four = `${newest}.0.0.0`.split(".").slice(0, 4).join(".");
const program = readFileSync(path.join(root, "build/release/Harbinet.exe"));

test("the newest heading of the changelog names a version and a day", () => {
  assert.match(newest ?? "", /^\d+\.\d+/);
});

test("the build has the changelog's version", () => {
  assert.equal(/^project\(harbinet VERSION ([\d.]+) /m.exec(read("CMakeLists.txt"))[1], newest);
});

test("the program's version resource has the changelog's version", () => {
  assert.deepEqual(fixedVersion(program), { file: four, product: four });
  const texts = versionTexts(program, ["FileVersion", "ProductVersion"]);
  assert.deepEqual(texts, { FileVersion: newest, ProductVersion: newest });
});

test("the program's manifest has the changelog's version", () => {
  const identity = /<assemblyIdentity type="win32" name="Harbinet\.HarbinetPRO" version="([\d.]+)"/;
  assert.equal(identity.exec(manifestOf(program))[1], four);
});

test("the version stands in one place: no source of a resource, installer or manifest repeats it", () => {
  for (const name of [
    "src/ui/resources/harbinet.rc",
    "src/ui/resources/harbinet.manifest.in",
    "packaging/installer/harbinet.nsi",
    "packaging/README.txt.in",
    "packaging/publisher.env",
    "packaging/scoop/harbinet-pro.json.in",
    "packaging/winget/version.yaml.in",
    "packaging/winget/installer.yaml.in",
    "packaging/winget/locale.en-US.yaml.in",
    "packaging/winget/locale.de-DE.yaml.in",
  ]) {
    const text = read(name)
      // What setup says of its own definitions, and the version of the manifests' format.
      .replace(/^;.*$/gm, "")
      .replace(/ManifestVersion: 1\.12\.0|manifest\.\w+\.1\.12\.0/g, "");
    for (const word of [newest, four, four.replaceAll(".", ",")]) {
      const stands = new RegExp(`(?<![\\d.,])${word.replaceAll(".", "\\.")}(?![\\d,]|\\.\\d)`);
      assert.doesNotMatch(text, stands, name);
    }
  }
});

test("the files that the pages tell readers to download bear the changelog's version", () => {
  for (const page of ["README.md", "docs/user-guide.md"]) {
    const named = [...read(page).matchAll(/Harbinet-PRO-([\d.]+)-(setup\.exe|portable\.zip)/g)];
    assert.ok(named.length >= 2, page);
    for (const [file, its] of named) assert.equal(its, newest, `${page}: ${file}`);
  }
});
