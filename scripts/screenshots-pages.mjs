// Takes the pictures of the three pages for the README from the real program:
//
//   scripts/with-display node scripts/screenshots-pages.mjs
//
// The program must have been built (./run --build-only) and the node packages installed
// (npm ci). The pictures go to docs/images.

import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { root, startHarbinet } from "../tests/support/harbinet.mjs";
import { launchChromium } from "../tests/pages/chromium.mjs";

const kImages = path.join(root, "docs/images");
const kFiles = {
  "Photos/beach.jpg": 3_412_806,
  "Photos/mountain hut.jpg": 2_871_339,
  "Photos/Übersicht.pdf": 184_220,
  "Projects/plan.txt": 900,
  "Shopping list.txt": 1_536,
  "Invoice 2026-11.pdf": 248_113,
  "Holiday video.mp4": 48_234_496,
  "Grandma's recipe.docx": 38_912,
};

function fill(folder) {
  for (const [name, size] of Object.entries(kFiles)) {
    const file = path.join(folder, name);
    fs.mkdirSync(path.dirname(file), { recursive: true });
    fs.writeFileSync(file, "");
    fs.truncateSync(file, size);
  }
}

function picture(page, name) {
  return page.screenshot({ path: path.join(kImages, `${name}.png`) });
}

async function openPage(browser, width, height) {
  const context = await browser.newContext({
    viewport: { width, height },
    ignoreHTTPSErrors: true,
  });
  return context.newPage();
}

async function takeLogin(page, harbinet) {
  await page.goto(`${harbinet.origin}/`);
  await page.setViewportSize({ width: 640, height: 260 });
  await picture(page, "login");
}

async function takeFileManager(page, harbinet) {
  await page.setViewportSize({ width: 1240, height: 640 });
  await page.locator("#code").fill(await harbinet.pin());
  await page.getByRole("button", { name: "Login" }).click();
  await page.getByRole("checkbox", { name: "Select Shopping list.txt" }).check();
  await page.getByRole("checkbox", { name: "Select Invoice 2026-11.pdf" }).check();
  await picture(page, "file-manager");
}

async function takeSharedFolder(browser, page, harbinet) {
  const link = await page.evaluate(async () => {
    const answer = await fetch("/api/share?path=Photos");
    return (await answer.json()).path;
  });
  const guest = await openPage(browser, 820, 480);
  await guest.goto(harbinet.origin + link);
  await guest.getByRole("checkbox", { name: "Select beach.jpg" }).check();
  await picture(guest, "shared-folder");
}

const folder = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-pictures-"));
fs.mkdirSync(kImages, { recursive: true });
fill(folder);
const harbinet = await startHarbinet({ webRoot: folder });
const browser = await launchChromium();
try {
  const page = await openPage(browser, 1240, 640);
  await takeLogin(page, harbinet);
  await takeFileManager(page, harbinet);
  await takeSharedFolder(browser, page, harbinet);
} finally {
  await browser.close();
  await harbinet.stop();
  fs.rmSync(folder, { recursive: true });
}
