// The machine's own Chromium, without its talk to the outside.

import { chromium } from "playwright-core";

const kChromiumFlags = [
  "--no-sandbox",
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

// Windows comes with Edge.
const kInstalled =
  process.platform === "win32"
    ? { channel: process.env.BROWSER_CHANNEL ?? "msedge" }
    : { executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium" };

export function launchChromium(options = {}) {
  return chromium.launch({
    ...kInstalled,
    args: kChromiumFlags,
    ...options,
  });
}
