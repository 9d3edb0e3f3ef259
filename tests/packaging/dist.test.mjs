// What a release holds: HARBINET_DIST names its folder. Without it, the program of build/release is packed as a release would
// be, which takes some seconds.
import Ajv from "ajv";
import Ajv2019 from "ajv/dist/2019.js";
import addFormats from "ajv-formats";
import addFormats2019 from "ajv-formats-draft2019";
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { existsSync, mkdtempSync, readFileSync, readdirSync, rmSync, statSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import path from "node:path";
import { before, test } from "node:test";
import { fileURLToPath } from "node:url";
import YAML from "yaml";

const require = createRequire(import.meta.url);
const root = fileURLToPath(new URL("../../", import.meta.url));
const dist = process.env.HARBINET_DIST ?? path.join(root, "build/dist-of-tests");
const read = (name) => readFileSync(path.join(dist, name));
const json = (name) => JSON.parse(read(name));
const sha256 = (bytes) => createHash("sha256").update(bytes).digest("hex");
const version = /VERSION ([\d.]+) /.exec(
  readFileSync(path.join(root, "CMakeLists.txt"), "utf8"),
)[1];
const portable = `Harbinet-PRO-${version}-portable.zip`;
const objects = `Harbinet-PRO-${version}-objects.zip`;
const setup = `Harbinet-PRO-${version}-setup.exe`;
const kit = "harbinet-test-kit.zip";

before(() => {
  if (process.env.HARBINET_DIST) return;
  rmSync(dist, { recursive: true, force: true });
  const commit = execFileSync("git", ["rev-parse", "HEAD"], { cwd: root, encoding: "utf8" }).trim();
  execFileSync(path.join(root, "scripts/release/pack"), [dist, "--objects"], {
    env: { ...process.env, HARBINET_COMMIT: commit },
  });
});

function assertValid(validate, value) {
  assert.ok(validate(value), JSON.stringify(validate.errors, null, 1));
}

test("the checksums name every file beside them and are right", () => {
  const lines = read("SHA256SUMS").toString().trim().split("\n");
  const named = lines.map((line) => line.split("  ")[1]);
  const files = readdirSync(dist, { withFileTypes: true }).filter((entry) => entry.isFile());
  const others = files.map((file) => file.name).filter((name) => name !== "SHA256SUMS");
  assert.deepEqual(named, others.sort());
  for (const name of [portable, setup, kit, "sbom.cdx.json"]) {
    assert.ok(named.includes(name), name);
  }
  for (const line of lines) {
    const [sum, name] = line.split("  ");
    assert.equal(sum, sha256(read(name)), name);
  }
});

test("the portable archive holds program, first steps and licences, sorted, with one time", () => {
  const list = execFileSync("unzip", ["-Z", "-T", "-l", path.join(dist, portable)], {
    encoding: "utf8",
    env: { ...process.env, TZ: "UTC" },
  });
  const rows = [...list.matchAll(/^(\S{10}) .* (\d{8}\.\d{6}) (\S+)$/gm)];
  assert.deepEqual(
    rows.map((row) => row[3]),
    [
      "Harbinet.exe",
      "LICENSE.txt",
      "README.txt",
      "licenses/LICENSE-gcc-runtime-exception.txt",
      "licenses/LICENSE-gcc.txt",
      "licenses/LICENSE-libqrencode.txt",
      "licenses/LICENSE-mingw-w64-runtime.txt",
      "licenses/LICENSE-openssl.txt",
      "licenses/LICENSE-winpthreads.txt",
      "licenses/THIRD_PARTY_NOTICES.txt",
    ],
  );
  assert.equal(new Set(rows.map((row) => row[2])).size, 1, "times");
  assert.deepEqual([...new Set(rows.map((row) => row[1]))], ["-rw-r--r--"]);
});

test(
  "the object files link to a program of the same size",
  {
    skip:
      !existsSync(path.join(dist, objects)) &&
      process.env.HARBINET_DIST &&
      "made without --objects",
  },
  () => {
    const folder = mkdtempSync(path.join(tmpdir(), "relink-"));
    try {
      execFileSync("unzip", ["-q", path.join(dist, objects), "-d", folder]);
      execFileSync("sh", [path.join(folder, "relink.sh")], { cwd: "/" });
      const released = execFileSync("unzip", ["-p", path.join(dist, portable), "Harbinet.exe"], {
        maxBuffer: 64 << 20,
      });
      assert.equal(statSync(path.join(folder, "Harbinet.exe")).size, released.length);
    } finally {
      rmSync(folder, { recursive: true });
    }
  },
);

test("the test kit holds the released program, every room's test program and what starts them", () => {
  const names = execFileSync("unzip", ["-Z1", path.join(dist, kit)], { encoding: "utf8" });
  const rooms = ["app", "auth", "files", "files_shares", "files_zip", "http", "kit", "memory"];
  rooms.push("net", "routes", "ui", "web");
  const programs = [
    ...[
      "Harbinet",
      "busy_processor",
      "harbinet_desktop",
      "run_kit",
      "start_limited",
      "window_probe",
    ],
    ...rooms.map((room) => `harbinet_${room}_tests`),
  ];
  const expected = programs.map((program) => `harbinet-test-kit/bin/${program}.exe`);
  assert.deepEqual(
    names.trim().split("\n").sort(),
    [...expected, "harbinet-test-kit/run-tests.cmd"].sort(),
  );
  const content = (archive, name) =>
    execFileSync("unzip", ["-p", path.join(dist, archive), name], { maxBuffer: 64 << 20 });
  const program = content(kit, "harbinet-test-kit/bin/Harbinet.exe");
  assert.ok(program.equals(content(portable, "Harbinet.exe")), "the same program");
  const start = content(kit, "harbinet-test-kit/run-tests.cmd").toString();
  assert.match(start, /^@echo off\r\n/);
});

test("first steps name the version and end their lines as Windows does", () => {
  const text = execFileSync("unzip", ["-p", path.join(dist, portable), "README.txt"]).toString();
  assert.ok(text.startsWith(`Harbinet PRO ${version}\r\n====`), text.slice(0, 60));
  assert.doesNotMatch(text, /[^\r]\n|@[A-Z]/);
});

test("the list of what is inside fits the schema of CycloneDX 1.6", () => {
  const folder = path.join(
    path.dirname(require.resolve("@cyclonedx/cyclonedx-library/package.json")),
    "res/schema",
  );
  const schema = (name) =>
    JSON.parse(readFileSync(path.join(folder, `${name}.SNAPSHOT.schema.json`)));
  const ajv = new Ajv({ strict: false, validateFormats: true });
  addFormats(ajv);
  addFormats2019(ajv);
  // Formats that neither of the two knows; the lists here have no such values.
  ajv.addFormat("string", true);
  for (const name of ["spdx", "jsf-0.82", "cryptography-defs"]) {
    ajv.addSchema(schema(name), `http://cyclonedx.org/schema/${name}.SNAPSHOT.schema.json`);
  }
  const validate = ajv.compile(schema("bom-1.6"));
  const list = json("sbom.cdx.json");
  assertValid(validate, list);
  assert.equal(list.specVersion, "1.6");
  assert.equal(validate({ ...list, components: [{ name: "no type" }] }), false);
});

test("the list names every static library with version and licence", () => {
  const list = json("sbom.cdx.json");
  assert.equal(list.metadata.component.version, version);
  const libraries = list.components.map(({ name, licenses }) => [
    name,
    licenses[0].expression ?? licenses[0].license.id,
  ]);
  const gcc = "GPL-3.0-or-later WITH GCC-exception-3.1";
  assert.deepEqual(libraries, [
    ["openssl", "Apache-2.0"],
    ["libqrencode", "LGPL-2.1-or-later"],
    ["libstdc++", gcc],
    ["libgcc", gcc],
    ["libssp", gcc],
    ["winpthreads", "MIT AND BSD-3-Clause"],
    ["mingw-w64-runtime", "ZPL-2.1"],
  ]);
  for (const { name, version: its } of list.components) assert.match(its, /^\d+\.\d+/, name);
  const openssl = list.components[0].version;
  const program = execFileSync("unzip", ["-p", path.join(dist, portable), "Harbinet.exe"], {
    maxBuffer: 64 << 20,
  });
  assert.ok(program.includes(`\0${openssl}\0`), `OpenSSL ${openssl} is in the program`);
  assert.equal(list.metadata.component.hashes[0].content, sha256(program));
});

const manifests = {
  "winget/Harbinet.HarbinetPRO.yaml": "winget.version",
  "winget/Harbinet.HarbinetPRO.installer.yaml": "winget.installer",
  "winget/Harbinet.HarbinetPRO.locale.en-US.yaml": "winget.defaultLocale",
  "winget/Harbinet.HarbinetPRO.locale.de-DE.yaml": "winget.locale",
  "scoop/harbinet-pro.json": "scoop",
};

function manifestSchema(name) {
  const ajv = new Ajv2019({ strict: true, allErrors: true });
  addFormats(ajv);
  const text = readFileSync(path.join(root, `packaging/schemas/${name}.schema.json`), "utf8");
  ajv.addMetaSchema(require("ajv/dist/refs/json-schema-draft-07.json"));
  return ajv.compile(JSON.parse(text));
}

for (const [name, schema] of Object.entries(manifests)) {
  test(`${name} fits its schema and names this version`, () => {
    // Without a schema's help, so that 2.0 stays a text and a day stays as it is written.
    const manifest = YAML.parse(read(name).toString(), { schema: "core" });
    const validate = manifestSchema(schema);
    assertValid(validate, manifest);
    assert.equal(manifest.PackageVersion ?? manifest.version, version);
    assert.equal(validate({ ...manifest, surprise: 1 }), false, "an unknown field is refused");
    assert.doesNotMatch(read(name).toString(), /@[A-Z]/);
  });
}

test("the manifests' hashes are those of the files, and their addresses end with the files' names", () => {
  const [installer] = YAML.parse(
    read("winget/Harbinet.HarbinetPRO.installer.yaml").toString(),
  ).Installers;
  assert.equal(installer.InstallerSha256, sha256(read(setup)).toUpperCase());
  assert.ok(installer.InstallerUrl.endsWith(`/${version}/${setup}`));
  const archive = json("scoop/harbinet-pro.json").architecture["64bit"];
  assert.equal(archive.hash, sha256(read(portable)));
  assert.ok(archive.url.endsWith(`/${version}/${portable}`));
});

test("Scoop's search for the newest version finds it in the archive's name", () => {
  const { checkver, autoupdate } = json("scoop/harbinet-pro.json");
  assert.equal(new RegExp(checkver.regex).exec(`<a href="${portable}">`)[1], version);
  const { url } = autoupdate.architecture["64bit"];
  assert.equal(
    url.replaceAll("$version", version),
    json("scoop/harbinet-pro.json").architecture["64bit"].url,
  );
});
