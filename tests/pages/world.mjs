// One program and one browser for a file of page tests. Every test gets its own browser context and a web root that
// holds exactly the files it names; it fails when the page writes an error to the console, throws, or asks another
// host for anything.

import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { launchChromium } from "./chromium.mjs";
import { startHarbinet, windowsPath } from "../support/harbinet.mjs";

// A check of a file waits for the program: the browser tells of a click before the disk tells of the change.
export { eventually } from "../support/eventually.mjs";

export const kDesktop = { viewport: { width: 1280, height: 800 } };
export const kPhone = {
  viewport: { width: 390, height: 844 },
  hasTouch: true,
  isMobile: true,
  deviceScaleFactor: 2,
};

export const world = { program: null, browser: null, cookie: null };

async function startProgram(webRoot) {
  const harbinet = await startHarbinet({ webRoot });
  return { harbinet, webRoot, origin: harbinet.origin, pin: await harbinet.pin() };
}

// Sessions, bans and share links live in memory: a restart forgets them.
export async function restartProgram() {
  await world.program.harbinet.stop();
  world.program = await startProgram(world.program.webRoot);
}

// Picks another web root in the program's own window, and waits until it is served.
export async function changeWebRoot(folder) {
  const { harbinet } = world.program;
  const from = (await harbinet.messages()).length;
  await harbinet.probe.ask("choose-root", windowsPath(folder));
  await harbinet.waitForMessage(/listening/, { from });
}

export async function apiFetch(address, options = {}) {
  const context = await world.browser.newContext({ ignoreHTTPSErrors: true });
  try {
    if (world.cookie !== null) {
      await context.addCookies([world.cookie]);
    }
    const response = await context.request.fetch(world.program.origin + address, options);
    return { status: response.status(), body: await response.body() };
  } finally {
    await context.close();
  }
}

export async function logIn() {
  const context = await world.browser.newContext({ ignoreHTTPSErrors: true });
  const answer = await context.request.post(`${world.program.origin}/api/login`, {
    data: { code: world.program.pin },
  });
  assert.equal(answer.status(), 200);
  world.cookie = (await context.cookies()).find((cookie) => cookie.name === "AUTH");
  await context.close();
}

// Starts the program, then what `open` opens, before a file's tests; ends them in turn after the tests. One pair of
// hooks: hooks beside each other would run at once.
export function useProgram(open, close) {
  before(async () => {
    const webRoot = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-pages-"));
    world.program = await startProgram(webRoot);
    await open();
  });
  after(async () => {
    await close();
    if (world.program !== null) {
      await world.program.harbinet.stop();
      fs.rmSync(world.program.webRoot, { recursive: true });
    }
  });
}

// The program, a browser, and a session for both.
export function useWorld() {
  useProgram(
    async () => {
      world.browser = await launchChromium();
      await logIn();
    },
    () => world.browser?.close(),
  );
}

export function rootPath(...segments) {
  return path.join(world.program.webRoot, ...segments);
}

// files: { "a.txt": "text", "Folder/": null, "Folder/b.txt": buffer }
export function fillRoot(files) {
  for (const name of fs.readdirSync(rootPath())) {
    fs.rmSync(rootPath(name), { recursive: true, force: true });
  }
  addToRoot(files);
}

export function addToRoot(files) {
  for (const [name, content] of Object.entries(files)) {
    if (name.endsWith("/")) {
      fs.mkdirSync(rootPath(name), { recursive: true });
    } else {
      fs.mkdirSync(path.dirname(rootPath(name)), { recursive: true });
      fs.writeFileSync(rootPath(name), content);
    }
  }
}

export function rootNames(folder = "") {
  return fs.readdirSync(rootPath(folder)).sort();
}

function watch(page, problems, dialogs) {
  page.on("console", (message) => {
    if (message.type() === "error") {
      problems.push(`console: ${message.text()} ${message.location().url}`);
    }
  });
  page.on("pageerror", (error) => problems.push(`thrown: ${error.message}`));
  page.on("request", (request) => {
    const address = request.url();
    if (!address.startsWith(world.program.origin) && !/^(data|blob|about):/.test(address)) {
      problems.push(`foreign request: ${address}`);
    }
  });
  page.on("dialog", async (dialog) => {
    dialogs.seen.push({
      type: dialog.type(),
      text: dialog.message(),
      value: dialog.defaultValue(),
    });
    if (dialogs.accept) {
      await dialog.accept();
    } else {
      await dialog.dismiss();
    }
  });
}

export async function openContext(settings = kDesktop, session = true) {
  const context = await world.browser.newContext({ ...settings, ignoreHTTPSErrors: true });
  if (session) {
    await context.addCookies([world.cookie]);
  }
  return context;
}

// Runs body({ page, context, dialogs }) as a test of its own.
// settings: files, context, session (default true), init (script run in the page before its own), clock (true: the
// page's timers run only when the test says so), timeout (milliseconds), problems (pattern of the console errors that the test provokes).
export function pageTest(name, settings, body) {
  test(name, { timeout: settings.timeout ?? 180000 }, async () => {
    fillRoot(settings.files ?? {});
    const context = await openContext(settings.context, settings.session);
    context.setDefaultTimeout(60000);
    const problems = [];
    const dialogs = { seen: [], accept: true };
    try {
      const page = await context.newPage();
      watch(page, problems, dialogs);
      if (settings.clock) {
        await page.clock.install({ time: 0 });
        // Far ahead: until it is paused the clock runs, on a busy machine for seconds.
        await page.clock.pauseAt(3600000);
      }
      if (settings.init) {
        await page.addInitScript(settings.init);
      }
      await body({ page, context, dialogs });
      const unexpected = problems.filter((text) => !settings.problems?.test(text));
      assert.deepEqual(unexpected, []);
    } finally {
      await context.close();
    }
  });
}

// Opens a page and waits until its first listing is shown, or has failed: the markup without its rows knows nothing yet
// of what is to be pressed.
async function openListing(page, address) {
  await page.goto(world.program.origin + address);
  await page.waitForFunction(
    () => document.getElementById("rows") && !document.body.classList.contains("loading"),
  );
}

export function openFileManager(page) {
  return openListing(page, "/");
}

export function requestsTo(page, part) {
  const requests = [];
  page.on("request", (request) => {
    if (request.url().includes(part)) {
      requests.push(request);
    }
  });
  return requests;
}

// Lets the page's own clock reach the next refresh, and waits for its answer.
export async function nextListing(page) {
  const listed = page.waitForResponse((response) => response.url().includes("/api/list"));
  await page.clock.runFor(5000);
  await (await listed).finished();
}

export async function shareFolder(folder) {
  const answer = await apiFetch(`/api/share?path=${encodeURIComponent(folder)}`);
  assert.equal(answer.status, 200);
  return JSON.parse(answer.body).path;
}

// Opens the page behind a link to `folder` without a session.
export async function openSharedFolder(page, folder) {
  await openListing(page, await shareFolder(folder));
}

export function rowNames(page) {
  return page.locator("#rows .name").allTextContents();
}

export function rowOf(page, name) {
  return page.locator("#rows tr").filter({ has: page.getByText(name, { exact: true }) });
}

export async function waitForRows(page, names) {
  await page.waitForFunction(
    (expected) => {
      const shown = Array.from(
        document.querySelectorAll("#rows .name"),
        (cell) => cell.textContent,
      );
      return JSON.stringify(shown.sort()) === JSON.stringify(expected);
    },
    [...names].sort(),
  );
}

export function transfer(page) {
  return page.evaluate(() => ({
    open: document.getElementById("xferModal").open,
    title: document.getElementById("xferTitle").textContent,
    bar: document.getElementById("xferBar").value,
    text: document.getElementById("xferText").textContent,
    detail: document.getElementById("xferDetail").textContent,
  }));
}

export async function waitForTransfer(page, text) {
  await page.waitForFunction(
    (expected) => document.getElementById("xferText").textContent === expected,
    text,
  );
  return transfer(page);
}

export async function dropFiles(page, files, target = "#dropzone") {
  const data = await page.evaluateHandle((list) => {
    const transferred = new DataTransfer();
    for (const { name, content } of list) {
      transferred.items.add(new File([content], name));
    }
    return transferred;
  }, files);
  await page.dispatchEvent(target, "drop", { dataTransfer: data });
}

export function picked(name, content = name) {
  return { name, mimeType: "application/octet-stream", buffer: Buffer.from(content) };
}

export async function styleOf(locator, ...properties) {
  return locator.evaluate((element, names) => {
    const style = getComputedStyle(element);
    return names.map((property) => style.getPropertyValue(property));
  }, properties);
}

export function sizeOf(locator) {
  return locator.evaluate((element) => {
    const box = element.getBoundingClientRect();
    return [box.width, box.height];
  });
}
