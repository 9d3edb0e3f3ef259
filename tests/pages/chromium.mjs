// The machine's own Chromium, without its talk to the outside.

import { chromium } from "playwright-core";

const CHROMIUM_FLAGS = [
  "--no-sandbox",
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

// Windows comes with Edge.
const INSTALLED =
  process.platform === "win32"
    ? { channel: process.env.BROWSER_CHANNEL ?? "msedge" }
    : { executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium" };

export function launchChromium(options = {}) {
  return chromium.launch({
    ...INSTALLED,
    args: CHROMIUM_FLAGS,
    ...options,
  });
}
