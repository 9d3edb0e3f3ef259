// The project's own files as texts.
import fs from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

export const root = fileURLToPath(new URL("../..", import.meta.url));

// `name` counts from the project's folder.
export function read(name) {
  return fs.readFileSync(path.join(root, name), "utf8");
}
