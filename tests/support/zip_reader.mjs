// Takes a ZIP archive apart field by field, and makes the checksums and times its headers must hold.
import assert from "node:assert/strict";

const kTable = Array.from({ length: 256 }, (_, value) => {
  let crc = value;
  for (let bit = 0; bit < 8; bit += 1) crc = crc & 1 ? (crc >>> 1) ^ 0xedb88320 : crc >>> 1;
  return crc >>> 0;
});

export function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) crc = (crc >>> 8) ^ kTable[(crc ^ byte) & 0xff];
  return (crc ^ 0xffffffff) >>> 0;
}

// {date, time} of a local wall-clock time.
export function dosTime(when) {
  const year = Math.max(when.getFullYear() - 1980, 0);
  return {
    date: (year << 9) | ((when.getMonth() + 1) << 5) | when.getDate(),
    time: (when.getHours() << 11) | (when.getMinutes() << 5) | (when.getSeconds() >> 1),
  };
}

// [name, size] of the fields in their order; the name and the data follow the header.
const kLocal = [
  ["signature", 4],
  ["versionNeeded", 2],
  ["flags", 2],
  ["method", 2],
  ["time", 2],
  ["date", 2],
  ["crc", 4],
  ["compressed", 4],
  ["uncompressed", 4],
  ["nameLength", 2],
  ["extraLength", 2],
];
const kCentral = [
  ["signature", 4],
  ["versionMadeBy", 2],
  ["versionNeeded", 2],
  ["flags", 2],
  ["method", 2],
  ["time", 2],
  ["date", 2],
  ["crc", 4],
  ["compressed", 4],
  ["uncompressed", 4],
  ["nameLength", 2],
  ["extraLength", 2],
  ["commentLength", 2],
  ["disk", 2],
  ["internal", 2],
  ["external", 4],
  ["offset", 4],
];
const kEnd = [
  ["signature", 4],
  ["disk", 2],
  ["centralDisk", 2],
  ["entriesHere", 2],
  ["entries", 2],
  ["centralSize", 4],
  ["centralOffset", 4],
  ["commentLength", 2],
];

function fields(bytes, at, layout) {
  const out = {};
  let position = at;
  for (const [name, size] of layout) {
    out[name] = bytes.readUIntLE(position, size);
    position += size;
  }
  return [out, position];
}

// Walks the archive from its first byte to its last; every byte belongs to a header, a name or data.
export function readZip(bytes) {
  const [end, afterEnd] = fields(bytes, bytes.length - 22, kEnd);
  assert.equal(end.signature, 0x06054b50);
  assert.equal(afterEnd, bytes.length);
  const locals = [];
  let at = 0;
  while (at < end.centralOffset) {
    const [header, nameAt] = fields(bytes, at, kLocal);
    assert.equal(header.signature, 0x04034b50);
    const dataAt = nameAt + header.nameLength;
    const name = bytes.subarray(nameAt, dataAt).toString("utf8");
    const data = bytes.subarray(dataAt, dataAt + header.compressed);
    locals.push({ ...header, name, data, at });
    at = dataAt + header.compressed;
  }
  assert.equal(at, end.centralOffset);
  const centrals = [];
  while (at < bytes.length - 22) {
    const [header, nameAt] = fields(bytes, at, kCentral);
    assert.equal(header.signature, 0x02014b50);
    at = nameAt + header.nameLength;
    centrals.push({ ...header, name: bytes.subarray(nameAt, at).toString("utf8") });
  }
  assert.equal(at, bytes.length - 22);
  assert.equal(end.centralSize, at - end.centralOffset);
  return { locals, centrals, end };
}
