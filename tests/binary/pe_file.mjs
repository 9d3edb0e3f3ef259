// Reads what the header of a 64-bit Windows program says about it: flags, sections, imported DLLs.

import { readFileSync } from "node:fs";

const kDirectoryExport = 0;
const kDirectoryImport = 1;
const kDirectoryDebug = 6;
const kDirectoryTls = 9;
const kDirectoryDelayImport = 13;

export const characteristics = {
  relocationsStripped: 0x0001,
  executable: 0x0002,
  largeAddresses: 0x0020,
};
export const dllCharacteristics = {
  highEntropyVa: 0x0020,
  dynamicBase: 0x0040,
  nxCompatible: 0x0100,
};
export const sectionFlags = { execute: 0x20000000, write: 0x80000000 };
export const machineX64 = 0x8664;
export const subsystemGui = 2;

export function readPeFile(path) {
  const bytes = readFileSync(path);
  if (bytes.toString("latin1", 0, 2) !== "MZ") throw new Error(`${path} has no MZ header`);
  const header = bytes.readUInt32LE(0x3c);
  if (bytes.toString("latin1", header, header + 4) !== "PE\0\0")
    throw new Error(`${path} has no PE header`);

  const optional = header + 24;
  if (bytes.readUInt16LE(optional) !== 0x20b) throw new Error(`${path} is not PE32+`);
  const directoryCount = bytes.readUInt32LE(optional + 108);
  const directory = (index) =>
    index < directoryCount
      ? {
          address: bytes.readUInt32LE(optional + 112 + index * 8),
          size: bytes.readUInt32LE(optional + 116 + index * 8),
        }
      : { address: 0, size: 0 };

  const sections = [];
  const firstSection = optional + bytes.readUInt16LE(header + 20);
  for (let index = 0; index < bytes.readUInt16LE(header + 6); index += 1) {
    const at = firstSection + index * 40;
    sections.push({
      name: bytes.toString("latin1", at, at + 8).replace(/\0+$/, ""),
      virtualSize: bytes.readUInt32LE(at + 8),
      address: bytes.readUInt32LE(at + 12),
      fileSize: bytes.readUInt32LE(at + 16),
      fileOffset: bytes.readUInt32LE(at + 20),
      flags: bytes.readUInt32LE(at + 36),
    });
  }

  const fileOffset = (address) => {
    const section = sections.find((s) => address >= s.address && address < s.address + s.fileSize);
    if (!section) throw new Error(`no section holds address ${address.toString(16)}`);
    return address - section.address + section.fileOffset;
  };
  const text = (address) => {
    const start = fileOffset(address);
    return bytes.toString("latin1", start, bytes.indexOf(0, start));
  };

  // An import descriptor has 20 bytes and its DLL's name at 12; a delay-load descriptor has 32 and the name at 4.
  const dllNames = (index, entrySize, nameAt) => {
    const { address } = directory(index);
    const names = [];
    if (address === 0) return names;
    for (let at = fileOffset(address); bytes.readUInt32LE(at + nameAt) !== 0; at += entrySize) {
      names.push(text(bytes.readUInt32LE(at + nameAt)).toLowerCase());
    }
    return names;
  };

  return {
    bytes,
    machine: bytes.readUInt16LE(header + 4),
    symbolCount: bytes.readUInt32LE(header + 12),
    characteristics: bytes.readUInt16LE(header + 22),
    imageBase: bytes.readBigUInt64LE(optional + 24),
    subsystem: bytes.readUInt16LE(optional + 68),
    dllCharacteristics: bytes.readUInt16LE(optional + 70),
    sections,
    imports: [...dllNames(kDirectoryImport, 20, 12), ...dllNames(kDirectoryDelayImport, 32, 4)],
    hasExports: directory(kDirectoryExport).size > 0,
    hasDebugDirectory: directory(kDirectoryDebug).size > 0,
    hasTls: directory(kDirectoryTls).size > 0,
  };
}
