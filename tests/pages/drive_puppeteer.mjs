// Chromium and Firefox behind the interface of engines.mjs, driven with Puppeteer: over its own protocol the one, over
// WebDriver BiDi the other.

import fs from "node:fs";
import path from "node:path";
import puppeteer from "puppeteer-core";

const kLaunch = {
  chromium: () => ({
    browser: "chrome",
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: [
      "--no-sandbox",
      "--disable-gpu",
      "--disable-quic",
      "--no-first-run",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
    ],
  }),
  firefox: (folder) => ({
    browser: "firefox",
    executablePath: process.env.FIREFOX ?? "/usr/bin/firefox-esr",
    extraPrefsFirefox: {
      "browser.download.folderList": 2,
      "browser.download.dir": path.join(folder, "downloads"),
      "browser.download.useDownloadDir": true,
      "browser.download.always_ask_before_handling_new_types": false,
      "network.proxy.type": 0,
    },
  }),
};

class Visitor {
  constructor(context, page, hasTouch) {
    this.context = context;
    this.page = page;
    this.hasTouch = hasTouch;
    this.problems = [];
    this.dialogs = [];
    page.on("console", (message) => {
      if (message.type() === "error") this.problems.push(message.text());
    });
    page.on("pageerror", (error) => this.problems.push(error.message));
    page.on("dialog", async (dialog) => {
      this.dialogs.push({ text: dialog.message(), value: dialog.defaultValue() });
      await dialog.accept();
    });
  }

  async open(address) {
    if (this.page.url() === "about:blank") {
      await this.page.goto(address);
    } else {
      await this.leaveFor(address);
    }
  }

  // After a download Firefox never tells Puppeteer that a page has arrived, so the page itself is asked.
  async leaveFor(address) {
    await this.page.evaluate((to) => {
      globalThis.isLeaving = true;
      setTimeout(() => location.assign(to), 0);
    }, address);
    const end = Date.now() + 20000;
    const hasArrived = () => globalThis.isLeaving !== true && document.readyState === "complete";
    // A question that comes while the page changes has no answer.
    while (!(await this.page.evaluate(hasArrived).catch(() => false))) {
      if (Date.now() > end) throw new Error(`${address} did not open`);
      await new Promise((resolve) => {
        setTimeout(resolve, 50);
      });
    }
  }

  // CSS pixels; the window may be larger.
  async resize(width, height) {
    await this.page.setViewport({ width, height });
  }

  async press(selector) {
    const element = await this.page.waitForSelector(selector, { visible: true });
    if (this.hasTouch) {
      await element.scrollIntoView();
      const place = await element.boundingBox();
      await this.page.touchscreen.tap(place.x + place.width / 2, place.y + place.height / 2);
    } else {
      await element.click();
    }
  }

  async write(selector, text) {
    const element = await this.page.waitForSelector(selector, { visible: true });
    await element.type(text);
  }

  async pick(selector, files) {
    const input = await this.page.$(selector);
    await input.uploadFile(...files);
  }

  key(name) {
    return this.page.keyboard.press(name);
  }

  evaluate(script, ...values) {
    return this.page.evaluate(script, ...values);
  }

  // The dialog that `act` opens, accepted: its text, and what a prompt proposes.
  async dialogOf(act) {
    const count = this.dialogs.length;
    await act();
    const end = Date.now() + 20000;
    while (this.dialogs.length === count) {
      if (Date.now() > end) throw new Error("no dialog was opened");
      await new Promise((resolve) => {
        setTimeout(resolve, 20);
      });
    }
    return this.dialogs.at(-1);
  }

  // What the pages wrote to the console as errors, or threw.
  async heard() {
    return this.problems;
  }

  async forgetSession() {
    const cookies = await this.context.cookies();
    await this.context.deleteCookie(...cookies);
  }

  async picture(file) {
    await this.page.screenshot({ path: file });
  }

  close() {
    return this.context.close();
  }
}

export async function openPuppeteer(name, folder) {
  const downloads = path.join(folder, "downloads");
  fs.mkdirSync(downloads, { recursive: true });
  const browser = await puppeteer.launch({
    ...kLaunch[name](folder),
    headless: true,
    acceptInsecureCerts: true,
    userDataDir: path.join(folder, "profile"),
    env: { ...process.env, HOME: folder },
  });
  const downloadBehavior = { policy: "allow", downloadPath: downloads };
  return {
    downloads,
    async visit({ hasTouch = false } = {}) {
      const context = await browser.createBrowserContext(
        name === "chromium" ? { downloadBehavior } : {},
      );
      const page = await context.newPage();
      await page.setViewport({ width: 1280, height: 800 });
      return new Visitor(context, page, hasTouch);
    },
    close: () => browser.close(),
  };
}
