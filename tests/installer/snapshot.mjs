// What lies on a Wine prefix's drive and in its registry, as lines that can be compared. Only while nothing runs in it.
import { readFileSync, readdirSync } from "node:fs";
import path from "node:path";

function* filesBelow(folder, prefix = "") {
  for (const entry of readdirSync(folder, { withFileTypes: true })) {
    const name = `${prefix}${entry.name}`;
    yield entry.isDirectory() ? `${name}\\` : name;
    if (entry.isDirectory()) yield* filesBelow(path.join(folder, entry.name), `${name}\\`);
  }
}

// Wine's own record of the registry, without the times of its keys.
function registryValues(file) {
  let key = "";
  const values = [];
  for (const line of readFileSync(file, "utf8").split("\n")) {
    if (line.startsWith("[")) {
      key = line.replace(/ \d+$/, "");
      values.push(key);
    } else if (/^["@]/.test(line)) {
      values.push(`${key} ${line}`);
    }
  }
  return values;
}

/** Every file, folder and registry value but the record of netsh.exe. */
export function snapshotOf(prefix) {
  const files = filesBelow(path.join(prefix, "drive_c"));
  const lines = [...files].filter((name) => name !== "netsh.log");
  for (const file of ["system.reg", "user.reg"]) {
    lines.push(...registryValues(path.join(prefix, file)));
  }
  return new Set(lines);
}

/** What was added to and what is missing in `after`. */
export function difference(before, after) {
  return {
    added: [...after].filter((line) => !before.has(line)),
    missing: [...before].filter((line) => !after.has(line)),
  };
}
