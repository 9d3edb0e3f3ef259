// sbom.mjs PROGRAM VERSION : writes a CycloneDX list of what is linked into the program. Needs SOURCE_DATE_EPOCH and
// HARBINET_COMMIT. Only Node.js itself is needed.
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { readFileSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("../../", import.meta.url));
const [program, version] = process.argv.slice(2);
const commit = process.env.HARBINET_COMMIT;

const run = (...words) => execFileSync(words[0], words.slice(1), { encoding: "utf8" }).trim();

// What the library's own description for pkg-config says.
function libraryVersion(name) {
  const text = readFileSync(path.join(root, "build/deps/lib/pkgconfig", `${name}.pc`), "utf8");
  return /^Version: *(\S+)/m.exec(text)[1];
}

// Debian's version without epoch and packaging part.
function packageVersion(name) {
  return run("dpkg-query", "-W", "-f", "${Version}", name).replace(/^\d+:|-[^-]*$/g, "");
}

const openssl = libraryVersion("openssl");
const qrencode = libraryVersion("libqrencode");
const gcc = packageVersion("gcc-mingw-w64-x86-64-posix");
const mingw = packageVersion("mingw-w64-x86-64-dev");

const gccLicence = [{ expression: "GPL-3.0-or-later WITH GCC-exception-3.1" }];
const libraries = [
  {
    name: "openssl",
    version: openssl,
    description: "TLS and the certificate (libssl, libcrypto)",
    licenses: [{ license: { id: "Apache-2.0" } }],
    cpe: `cpe:2.3:a:openssl:openssl:${openssl}:*:*:*:*:*:*:*`,
  },
  {
    name: "libqrencode",
    version: qrencode,
    description: "the QR code in the window",
    licenses: [{ license: { id: "LGPL-2.1-or-later" } }],
    cpe: `cpe:2.3:a:fukuchi:qrencode:${qrencode}:*:*:*:*:*:*:*`,
  },
  {
    name: "libstdc++",
    version: gcc,
    description: "the C++ standard library",
    licenses: gccLicence,
  },
  { name: "libgcc", version: gcc, description: "the compiler's runtime", licenses: gccLicence },
  { name: "libssp", version: gcc, description: "the stack protector", licenses: gccLicence },
  {
    name: "winpthreads",
    version: mingw,
    description: "threads",
    licenses: [{ expression: "MIT AND BSD-3-Clause" }],
  },
  {
    name: "mingw-w64-runtime",
    version: mingw,
    description: "start-up code and C library",
    licenses: [{ license: { id: "ZPL-2.1" } }],
  },
].map((library) => {
  const purl = `pkg:generic/${encodeURIComponent(library.name)}@${library.version}`;
  return { type: "library", "bom-ref": purl, ...library, purl };
});

// A UUID made of the commit's name: the same list bears the same number.
function serialNumber() {
  const hex = createHash("sha256").update(`harbinet-pro ${version} ${commit}`).digest("hex");
  const parts = [
    hex.slice(0, 8),
    hex.slice(8, 12),
    `5${hex.slice(13, 16)}`,
    `8${hex.slice(17, 20)}`,
  ];
  return `urn:uuid:${parts.join("-")}-${hex.slice(20, 32)}`;
}

const purl = `pkg:generic/harbinet-pro@${version}`;
const list = {
  $schema: "http://cyclonedx.org/schema/bom-1.6.schema.json",
  bomFormat: "CycloneDX",
  specVersion: "1.6",
  serialNumber: serialNumber(),
  version: 1,
  metadata: {
    timestamp: new Date(Number(process.env.SOURCE_DATE_EPOCH) * 1000)
      .toISOString()
      .replace(".000", ""),
    component: {
      type: "application",
      "bom-ref": purl,
      name: "Harbinet PRO",
      version,
      purl,
      licenses: [{ license: { id: "MIT" } }],
      hashes: [
        {
          alg: "SHA-256",
          content: createHash("sha256").update(readFileSync(program)).digest("hex"),
        },
      ],
      properties: [{ name: "commit", value: commit }],
    },
  },
  components: libraries,
  dependencies: [
    { ref: purl, dependsOn: libraries.map((library) => library["bom-ref"]) },
    ...libraries.map((library) => ({ ref: library["bom-ref"] })),
  ],
};
process.stdout.write(`${JSON.stringify(list, null, 2)}\n`);
