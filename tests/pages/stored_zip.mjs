// Reads an archive without compression by its central directory, and checks every entry's CRC-32.

import assert from "node:assert/strict";

const kEnd = 0x06054b50;
const kCentral = 0x02014b50;
const kLocal = 0x04034b50;

function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; bit += 1) {
      crc = (crc >>> 1) ^ (crc & 1 ? 0xedb88320 : 0);
    }
  }
  return (crc ^ 0xffffffff) >>> 0;
}

function readEntry(zip, at) {
  assert.equal(zip.readUInt32LE(at), kCentral);
  const nameLength = zip.readUInt16LE(at + 28);
  const name = zip.toString("utf8", at + 46, at + 46 + nameLength);
  const size = zip.readUInt32LE(at + 24);
  const local = zip.readUInt32LE(at + 42);
  assert.equal(zip.readUInt32LE(local), kLocal);
  const start = local + 30 + zip.readUInt16LE(local + 26) + zip.readUInt16LE(local + 28);
  const data = zip.subarray(start, start + size);
  assert.equal(crc32(data), zip.readUInt32LE(at + 16), `checksum of ${name}`);
  return { name, data, next: at + 46 + nameLength };
}

// Entry names and their data.
export function readStoredZip(zip) {
  const end = zip.length - 22;
  assert.equal(zip.readUInt32LE(end), kEnd);
  const entries = {};
  let at = zip.readUInt32LE(end + 16);
  for (let i = zip.readUInt16LE(end + 10); i > 0; i -= 1) {
    const { name, data, next } = readEntry(zip, at);
    entries[name] = data;
    at = next;
  }
  return entries;
}
