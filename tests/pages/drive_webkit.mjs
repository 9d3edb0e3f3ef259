// WebKit behind the interface of engines.mjs: WebKitGTK's MiniBrowser, driven over WebDriver. Each visitor is a browser
// of its own, with a driver of its own, in a session of the message bus of its own.

import { execFileSync, spawn } from "node:child_process";
import fs from "node:fs";
import net from "node:net";
import path from "node:path";
import { Builder, By, Capabilities, error, Key, until } from "selenium-webdriver";
import { Command } from "selenium-webdriver/lib/command.js";

const kBrowser = "/usr/lib/x86_64-linux-gnu/webkit2gtk-4.1/MiniBrowser";
const kWaitMs = 20000;

function freePort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.on("error", reject);
    server.listen(0, "127.0.0.1", () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

async function startDriver(folder) {
  const port = await freePort();
  const output = fs.openSync(path.join(folder, "webkit.log"), "a");
  const child = spawn(
    "dbus-run-session",
    ["--", "WebKitWebDriver", "--host=127.0.0.1", `--port=${port}`],
    {
      detached: true,
      stdio: ["ignore", output, output],
      env: {
        ...process.env,
        HOME: folder,
        XDG_CONFIG_HOME: path.join(folder, "config"),
        XDG_RUNTIME_DIR: path.join(folder, "runtime"),
      },
    },
  );
  fs.closeSync(output);
  const ended = new Promise((resolve) => {
    child.on("exit", resolve);
  });
  const address = `http://127.0.0.1:${port}`;
  const end = Date.now() + kWaitMs;
  for (;;) {
    try {
      await fetch(`${address}/status`);
      break;
    } catch (failure) {
      if (Date.now() > end) throw failure;
      await new Promise((resolve) => {
        setTimeout(resolve, 50);
      });
    }
  }
  return {
    address,
    async stop() {
      process.kill(-child.pid);
      await ended;
    },
  };
}

// WebDriver gives no console, and nothing runs in a page before its own scripts do: what they throw while the page loads
// is not heard, unless it leaves the page without its function. What was heard outlives the page.
function listenToPage() {
  if (globalThis.isListenedTo) return;
  globalThis.isListenedTo = true;
  const note = (text) => {
    // The page around a frame has lost what its script works on.
    if (globalThis.isEmptied) return;
    const heard = JSON.parse(sessionStorage.getItem("heard") ?? "[]");
    sessionStorage.setItem("heard", JSON.stringify([...heard, text]));
  };
  addEventListener("error", ({ message }) => note(message));
  addEventListener("unhandledrejection", ({ reason }) => note(String(reason)));
  const { error: write } = console;
  console.error = (...values) => {
    note(values.join(" "));
    write.apply(console, values);
  };
}

class Visitor {
  constructor(service, driver, hasTouch) {
    this.service = service;
    this.driver = driver;
    this.hasTouch = hasTouch;
  }

  async open(address) {
    await this.driver.get(address);
    await this.listen();
  }

  // The browser's own window cannot be as narrow as a phone: there the page goes on in a frame of that size, whose
  // width is what the page sees.
  async resize(width, height) {
    await this.driver.switchTo().defaultContent();
    await this.driver.manage().window().setRect({ x: 0, y: 0, width: 1280, height: 1000 });
    const address = await this.driver.getCurrentUrl();
    await this.driver.executeScript(
      `const frame = document.createElement("iframe");
       frame.style.cssText = "border: 0; width: ${width}px; height: ${height}px";
       frame.src = arguments[0];
       globalThis.isEmptied = true;
       document.documentElement.replaceChildren(frame);
       return new Promise((resolve) => { frame.onload = resolve; });`,
      address,
    );
    this.frame = await this.driver.findElement(By.css("iframe"));
    await this.driver.switchTo().frame(this.frame);
    await this.listen();
  }

  async visible(selector) {
    const element = await this.driver.wait(until.elementLocated(By.css(selector)), kWaitMs);
    await this.driver.wait(until.elementIsVisible(element), kWaitMs);
    return element;
  }

  async press(selector) {
    const element = await this.visible(selector);
    if (!this.hasTouch) {
      await this.click(element);
      return;
    }
    await this.driver.executeScript("arguments[0].scrollIntoView({ block: 'center' })", element);
    await this.driver.execute(
      new Command("actions").setParameter("actions", [
        {
          type: "pointer",
          id: "finger",
          parameters: { pointerType: "touch" },
          actions: [
            { type: "pointerMove", duration: 0, x: 0, y: 0, origin: element },
            { type: "pointerDown", button: 0 },
            { type: "pointerUp", button: 0 },
          ],
        },
      ]),
    );
  }

  // A row that has just come into sight has no place before the next frame.
  async click(element) {
    await this.driver.wait(async () => {
      try {
        await element.click();
        return true;
      } catch (failure) {
        if (failure instanceof error.ElementNotInteractableError) return false;
        throw failure;
      }
    }, kWaitMs);
  }

  async write(selector, text) {
    await (await this.visible(selector)).sendKeys(text);
  }

  async pick(selector, files) {
    await this.driver.findElement(By.css(selector)).sendKeys(files.join("\n"));
  }

  key(name) {
    return this.driver.actions().sendKeys(Key[name.toUpperCase()]).perform();
  }

  evaluate(script, ...values) {
    return this.driver.executeScript(
      `(${listenToPage})(); return (${script})(...arguments)`,
      ...values,
    );
  }

  listen() {
    return this.evaluate(() => {});
  }

  heard() {
    return this.evaluate(() => JSON.parse(sessionStorage.getItem("heard") ?? "[]"));
  }

  async dialogOf(act) {
    // WebDriver does not tell what a prompt proposes.
    await this.evaluate(() => {
      const { prompt } = window;
      window.prompt = (text, value) => {
        window.prompt = prompt;
        window.proposed = value;
        return prompt.call(window, text, value);
      };
    });
    await act();
    const dialog = await this.driver.wait(until.alertIsPresent(), kWaitMs);
    const text = await dialog.getText();
    await dialog.accept();
    const value = await this.evaluate(() => window.proposed ?? "");
    return { text, value };
  }

  forgetSession() {
    return this.driver.manage().deleteAllCookies();
  }

  // The window as it is once what the page shows has been painted: two pictures of it are alike.
  async settledPicture() {
    await this.evaluate(
      () =>
        new Promise((resolve) => {
          requestAnimationFrame(() => requestAnimationFrame(resolve));
        }),
    );
    let last;
    let picture = await this.driver.takeScreenshot();
    for (let i = 0; i < 20 && picture !== last; i += 1) {
      last = picture;
      await this.driver.sleep(100);
      picture = await this.driver.takeScreenshot();
    }
    return Buffer.from(picture, "base64");
  }

  // The driver's own picture of an element that is lower than the window has a black strip at its top, and lacks as much
  // at its bottom. So the frame, which stands in the window's corner, is cut out of the whole.
  async picture(file) {
    if (!this.frame) {
      fs.writeFileSync(file, await this.settledPicture());
      return;
    }
    const [width, height] = await this.evaluate(() => [innerWidth, innerHeight]);
    const input = await this.settledPicture();
    execFileSync("convert", ["-", "-crop", `${width}x${height}+0+0`, "+repage", file], { input });
  }

  async close() {
    if (this.isClosed) return;
    this.isClosed = true;
    try {
      await this.driver.quit();
    } finally {
      await this.service.stop();
    }
  }
}

function capabilities() {
  return new Capabilities({
    browserName: "MiniBrowser",
    acceptInsecureCerts: true,
    unhandledPromptBehavior: "ignore",
    "webkitgtk:browserOptions": { binary: kBrowser, args: ["--automation"] },
  });
}

export async function openWebKit(folder) {
  const downloads = path.join(folder, "downloads");
  for (const name of ["downloads", "config", "runtime"]) {
    fs.mkdirSync(path.join(folder, name), { recursive: true, mode: 0o700 });
  }
  fs.writeFileSync(path.join(folder, "config/user-dirs.dirs"), `XDG_DOWNLOAD_DIR="${downloads}"\n`);
  const visitors = new Set();
  return {
    downloads,
    async visit({ hasTouch = false } = {}) {
      const service = await startDriver(folder);
      try {
        const driver = await new Builder()
          .usingServer(service.address)
          .withCapabilities(capabilities())
          .build();
        await driver.manage().window().setRect({ x: 0, y: 0, width: 1280, height: 900 });
        const visitor = new Visitor(service, driver, hasTouch);
        visitors.add(visitor);
        return visitor;
      } catch (failure) {
        await service.stop();
        throw failure;
      }
    },
    async close() {
      for (const visitor of visitors) {
        await visitor.close().catch(() => {});
      }
    },
  };
}
