// Takes the pictures of the program's windows for the README from the real program:
//
//   scripts/with-display node scripts/screenshots-windows.mjs
//
// The program must have been built (./run --build-only). The pictures go to docs/images.

import { execFile } from "node:child_process";
import { mkdirSync } from "node:fs";
import path from "node:path";
import { setTimeout as delay } from "node:timers/promises";
import { promisify } from "node:util";

import { ids, root, startHarbinet } from "../tests/support/harbinet.mjs";

const run = promisify(execFile);
const kImages = path.join(root, "docs/images");

async function picture(name, title) {
  await delay(1000);
  const file = path.join(kImages, `${name}.png`);
  await run("import", ["-window", title, "-strip", file], { timeout: 20_000 });
}

mkdirSync(kImages, { recursive: true });
const harbinet = await startHarbinet();
try {
  await harbinet.probe.ask("wait-url", 10);
  await picture("main-window", await harbinet.title());
  await harbinet.press(ids.status);
  await picture("status-panel", await harbinet.title());
  await harbinet.press(ids.status);
  await harbinet.log();
  await picture("log-window", "HTTP.log (last 500 entries)");
} finally {
  await harbinet.stop();
}
