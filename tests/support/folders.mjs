// Folders of the running program's web root.
import fs from "node:fs";
import path from "node:path";

import { program } from "./program.mjs";

// A fresh folder of the web root: its path here, relative to the root, and as the log writes it.
export function freshFolder(name) {
  const here = path.join(program.root, name);
  fs.rmSync(here, { recursive: true, force: true });
  fs.mkdirSync(here, { recursive: true });
  return {
    here,
    relative: name,
    windows: `${program.windowsRoot}\\${name.replaceAll("/", "\\")}`,
    at: (...parts) => path.join(here, ...parts),
    write: (file, data = "") => fs.writeFileSync(path.join(here, file), data),
    read: (file) => fs.readFileSync(path.join(here, file)),
    has: (file) => fs.existsSync(path.join(here, file)),
    makeFolder: (file) => fs.mkdirSync(path.join(here, file), { recursive: true }),
    names: () => fs.readdirSync(here).sort(),
  };
}
