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

export function launchChromium(options = {}) {
  return chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: CHROMIUM_FLAGS,
    ...options,
  });
}
