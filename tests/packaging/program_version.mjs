// What a Windows program's resources say of its version, read from the file's bytes.

/** The two versions of VS_FIXEDFILEINFO as four numbers with points. */
export function fixedVersion(bytes) {
  const at = bytes.indexOf(Buffer.from([0xbd, 0x04, 0xef, 0xfe]));
  if (at < 0) throw new Error("no version resource");
  const four = (offset) =>
    [2, 0, 6, 4].map((part) => bytes.readUInt16LE(at + offset + part)).join(".");
  return { file: four(8), product: four(16) };
}

/** The named texts of the version resource. */
export function versionTexts(bytes, names) {
  const start = bytes.indexOf(Buffer.from("StringFileInfo", "utf16le"));
  const texts = {};
  for (const name of names) {
    // Key and value end with a zero each; the value begins at the next multiple of four bytes.
    const key = bytes.indexOf(Buffer.from(`${name}\0`, "utf16le"), start);
    const pieces = bytes.toString("utf16le", key, key + 400).split("\0");
    texts[name] = pieces.slice(1).find((piece) => piece !== "");
  }
  return texts;
}

/** The application manifest. */
export function manifestOf(bytes) {
  const end = bytes.lastIndexOf("</assembly>");
  const start = bytes.lastIndexOf("<assembly ", end);
  if (start < 0) throw new Error("no manifest");
  return bytes.toString("utf8", start, end);
}
