// Takes the README's first picture from the real program: its window, and a phone that shows the published folder.
//
//   scripts/with-display node scripts/picture-overview.mjs
//
// The program must have been built (./run --build-only) and the node packages installed (npm ci). The window's picture is
// docs/images/main-window.png, which scripts/screenshots-windows.mjs takes. The result is docs/images/overview.png.
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

import { launchChromium } from "../tests/pages/chromium.mjs";
import { root, startHarbinet } from "../tests/support/harbinet.mjs";

const images = path.join(root, "docs/images");
const work = fs.mkdtempSync(path.join(os.tmpdir(), "overview-"));
const published = path.join(work, "published");
const files = {
  "Beach.jpg": 3_412_806,
  "Holiday video.mp4": 48_234_496,
  "Invoice.pdf": 248_113,
  "Recipe.docx": 38_912,
};
fs.mkdirSync(path.join(published, "Photos"), { recursive: true });
for (const [name, size] of Object.entries(files)) {
  fs.writeFileSync(path.join(published, name), "");
  fs.truncateSync(path.join(published, name), size);
}

const harbinet = await startHarbinet({ webRoot: published });
const browser = await launchChromium();
try {
  const context = await browser.newContext({
    viewport: { width: 360, height: 640 },
    isMobile: true,
    hasTouch: true,
    ignoreHTTPSErrors: true,
  });
  const page = await context.newPage();
  await page.goto(`${harbinet.origin}/auto?pin=${await harbinet.pin()}`);
  await page.getByText("Invoice.pdf").first().waitFor();
  await page.screenshot({ path: path.join(work, "phone.png") });
} finally {
  await browser.close();
  await harbinet.stop();
}

// The phone: its page in a dark case with round corners, before the window.
const phone = path.join(work, "case.png");
execFileSync("convert", [
  ...[
    "-size",
    "392x700",
    "xc:none",
    "-fill",
    "#22262b",
    "-draw",
    "roundrectangle 0,0,391,699,34,34",
  ],
  ...[path.join(work, "phone.png"), "-geometry", "+16+30", "-composite", "-resize", "50%", phone],
]);
execFileSync("convert", [
  ...["-size", "960x380", "xc:#eef2f5"],
  ...[path.join(images, "main-window.png"), "-geometry", "+24+96", "-composite"],
  ...[phone, "-geometry", "+740+16", "-composite"],
  ...["-strip", "-define", "png:exclude-chunk=time", path.join(images, "overview.png")],
]);
fs.rmSync(work, { recursive: true });
