// What the finished program promises by its header: it runs everywhere by itself, and it is hardened.

import assert from "node:assert/strict";
import { fileURLToPath } from "node:url";
import { test } from "node:test";

import {
  characteristics,
  dllCharacteristics,
  machineX64,
  readPeFile,
  sectionFlags,
  subsystemGui,
} from "./pe_file.mjs";

const path = fileURLToPath(new URL("../../build/release/Harbinet.exe", import.meta.url));
const program = readPeFile(path);

// Parts of every Windows since 10.
const systemDlls = new Set([
  "advapi32.dll",
  "bcrypt.dll",
  "comctl32.dll",
  "crypt32.dll",
  "gdi32.dll",
  "iphlpapi.dll",
  "kernel32.dll",
  "msvcrt.dll",
  "ole32.dll",
  "oleaut32.dll",
  "shell32.dll",
  "shlwapi.dll",
  "user32.dll",
  "uuid.dll",
  "ws2_32.dll",
]);

test("is a 64-bit program with windows and no console", () => {
  assert.equal(program.machine, machineX64);
  assert.equal(program.subsystem, subsystemGui);
  assert.ok(program.characteristics & characteristics.executable);
});

test("imports nothing but Windows' own DLLs", () => {
  assert.ok(program.imports.length >= 5, `only ${program.imports} are imported`);
  assert.deepEqual(
    program.imports.filter((name) => !systemDlls.has(name)),
    [],
  );
});

test("can be loaded at any 64-bit address", () => {
  assert.ok(program.dllCharacteristics & dllCharacteristics.dynamicBase, "dynamic base");
  assert.ok(program.dllCharacteristics & dllCharacteristics.highEntropyVa, "high entropy");
  assert.ok(program.characteristics & characteristics.largeAddresses, "large addresses");
  assert.equal(
    program.characteristics & characteristics.relocationsStripped,
    0,
    "relocations are stripped",
  );
  assert.ok(
    program.sections.some((section) => section.name === ".reloc" && section.virtualSize > 0),
    ".reloc",
  );
  assert.ok(program.imageBase >= 0x1_0000_0000n, "an image base above 4 GiB");
});

test("runs no data and writes no code", () => {
  assert.ok(program.dllCharacteristics & dllCharacteristics.nxCompatible, "NX");
  const both = sectionFlags.execute | sectionFlags.write;
  for (const section of program.sections) {
    assert.notEqual(
      (section.flags & both) >>> 0,
      both >>> 0,
      `${section.name} can be written and run`,
    );
  }
});

test("checks its stack frames", () => {
  // What the stack protector's failure routine says; it is linked only when a function is protected.
  assert.ok(program.bytes.includes("stack smashing detected"));
});

test("carries no symbols, debug information or exports", () => {
  assert.equal(program.symbolCount, 0);
  assert.deepEqual(
    program.sections
      .map((section) => section.name)
      .filter((name) => name.startsWith(".debug") || name.startsWith("/")),
    [],
  );
  assert.equal(program.hasDebugDirectory, false);
  assert.equal(program.hasExports, false);
});

test("is one file below 5 MB", () => {
  assert.ok(program.bytes.length < 5_000_000, `${program.bytes.length} bytes`);
});

test("holds no path of the machine that built it", () => {
  const text = program.bytes.toString("latin1");
  const root = fileURLToPath(new URL("../../", import.meta.url));
  assert.equal(text.includes(root), false, root);
  assert.equal(text.includes(root.replaceAll("/", "\\")), false);
});
