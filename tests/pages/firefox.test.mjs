// The main journey in Firefox, driven over WebDriver BiDi.

import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { test } from "node:test";
import puppeteer from "puppeteer-core";
import { readStoredZip } from "./stored_zip.mjs";
import {
  addToRoot,
  eventually,
  fillRoot,
  rootNames,
  rootPath,
  useProgram,
  world,
} from "./world.mjs";

const folder = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-firefox-"));
const downloads = path.join(folder, "downloads");
let browser;
let page;
const problems = [];
const dialogs = [];

async function openFirefox() {
  fs.mkdirSync(downloads);
  fillRoot({});
  browser = await puppeteer.launch({
    browser: "firefox",
    executablePath: process.env.FIREFOX ?? "/usr/bin/firefox-esr",
    headless: true,
    acceptInsecureCerts: true,
    userDataDir: path.join(folder, "profile"),
    env: { ...process.env, HOME: folder },
    extraPrefsFirefox: {
      "browser.download.folderList": 2,
      "browser.download.dir": downloads,
      "browser.download.useDownloadDir": true,
      "browser.download.always_ask_before_handling_new_types": false,
      "network.proxy.type": 0,
    },
  });
  page = await openPage(browser);
}

async function closeFirefox() {
  await browser?.close();
  fs.rmSync(folder, { recursive: true, force: true });
}

useProgram(openFirefox, closeFirefox);

async function openPage(context) {
  const opened = await context.newPage();
  await opened.setViewport({ width: 1280, height: 800 });
  opened.on("console", (message) => {
    if (message.type() === "error") {
      problems.push(message.text());
    }
  });
  opened.on("pageerror", (error) => problems.push(error.message));
  opened.on("dialog", async (dialog) => {
    dialogs.push([dialog.type(), dialog.message(), dialog.defaultValue()]);
    await dialog.accept();
  });
  return opened;
}

function makeFiles(...names) {
  return names.map((name) => {
    const file = path.join(folder, name);
    fs.writeFileSync(file, `content of ${name}`);
    return file;
  });
}

async function waitForNames(opened, names) {
  await opened.waitForFunction(
    (expected) => {
      const shown = Array.from(
        document.querySelectorAll("#rows .name"),
        (cell) => cell.textContent,
      );
      return JSON.stringify(shown.sort()) === JSON.stringify(expected);
    },
    {},
    [...names].sort(),
  );
}

async function upload(opened, files) {
  const input = await opened.$("#files");
  await input.uploadFile(...files);
  await opened.click("#uploadBtn");
}

function dialogHidden(opened) {
  return opened.waitForFunction(() => !document.getElementById("xferModal").open);
}

function clickIn(opened, name, title) {
  return opened.evaluate(
    (rowName, buttonTitle) => {
      const row = Array.from(document.querySelectorAll("#rows tr")).find(
        (candidate) => candidate.querySelector(".name")?.textContent === rowName,
      );
      row.querySelector(`[title="${buttonTitle}"]`).click();
    },
    name,
    title,
  );
}

async function downloaded(name) {
  return eventually(() => {
    assert.equal(fs.existsSync(path.join(downloads, `${name}.part`)), false);
    const bytes = fs.readFileSync(path.join(downloads, name));
    assert.notEqual(bytes.length, 0);
    return bytes;
  });
}

const NAMES = ["it's 1 + 1.txt", "Grüße #2 & 100%.txt", "party \u{1f389}.txt"];

test("Firefox logs in with the PIN of the window", async () => {
  await page.goto(`${world.program.origin}/`);
  assert.equal(await page.title(), "HTTPS Harbinet PRO - Login");
  await page.click("#loginBtn");
  assert.equal(await page.$eval("#msg", (line) => line.textContent), "Enter 6 digits.");
  await page.type("#code", world.program.pin);
  await page.click("#loginBtn");
  await page.waitForFunction(() => document.title === "Harbinet PRO - File Manager");
});

test("Firefox uploads files", async () => {
  await upload(page, makeFiles(...NAMES));
  await waitForNames(page, NAMES);
  await dialogHidden(page);
  assert.deepEqual(rootNames(), [...NAMES].sort());
  for (const name of NAMES) {
    assert.equal(fs.readFileSync(rootPath(name), "utf8"), `content of ${name}`);
  }
  assert.equal(await page.$eval("#fileLabel", (label) => label.textContent), "No files selected");
});

test("Firefox downloads a file and stays on the page", async () => {
  await clickIn(page, NAMES[0], "Download this file");
  assert.equal((await downloaded(NAMES[0])).toString(), `content of ${NAMES[0]}`);
  await dialogHidden(page);
  assert.equal(await page.title(), "Harbinet PRO - File Manager");
});

test("Firefox downloads the selection as a ZIP", async () => {
  await page.click("#selAll");
  await page.click("#zipBtn");
  const entries = readStoredZip(await downloaded("download.zip"));
  assert.deepEqual(Object.keys(entries).sort(), [...NAMES].sort());
  assert.equal(entries[NAMES[2]].toString(), `content of ${NAMES[2]}`);
  await dialogHidden(page);
});

test("Firefox deletes the selection", async () => {
  await page.click("#deleteSelectedBtn");
  await waitForNames(page, []);
  assert.deepEqual(dialogs.at(-1).slice(0, 2), ["confirm", "Delete 3 file(s)?"]);
  assert.deepEqual(rootNames(), []);
});

test("Firefox makes a folder, enters it and comes back", async () => {
  await page.type("#mkdirName", "Photos");
  await page.click("#mkdirBtn");
  await waitForNames(page, ["Photos"]);
  addToRoot({ "Photos/inside.txt": "inside" });
  await page.click("#rows a.name");
  await waitForNames(page, ["inside.txt"]);
  assert.equal(await page.$eval("#path", (span) => span.textContent), "/Photos");
  await page.click("#rows a");
  await waitForNames(page, ["Photos"]);
});

test("Firefox uploads dropped files", async () => {
  await page.evaluate(() => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File(["dropped"], "dropped.txt"));
    document
      .getElementById("dropzone")
      .dispatchEvent(new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true }));
  });
  await waitForNames(page, ["Photos", "dropped.txt"]);
  assert.equal(fs.readFileSync(rootPath("dropped.txt"), "utf8"), "dropped");
  await dialogHidden(page);
});

test("a folder link opens in a fresh Firefox context, where files come and go", async () => {
  await clickIn(page, "Photos", "Create a direct link for this folder");
  const prompt = await eventually(() => {
    assert.equal(dialogs.at(-1)[0], "prompt");
    return dialogs.at(-1);
  });
  assert.equal(prompt[1], "Share this URL for direct access (copied if possible):");
  const context = await browser.createBrowserContext();
  const guest = await openPage(context);
  await guest.goto(prompt[2]);
  assert.equal(await guest.title(), "Harbinet PRO - Shared Folder");
  await waitForNames(guest, ["inside.txt"]);
  await upload(guest, makeFiles("guest.txt"));
  await waitForNames(guest, ["guest.txt", "inside.txt"]);
  assert.equal(fs.readFileSync(rootPath("Photos", "guest.txt"), "utf8"), "content of guest.txt");
  await clickIn(guest, "inside.txt", "Delete");
  await waitForNames(guest, ["guest.txt"]);
  assert.deepEqual(rootNames("Photos"), ["guest.txt"]);
  await context.close();
});

test("a narrow Firefox window scrolls nothing sideways", async () => {
  await page.setViewport({ width: 390, height: 844 });
  await waitForNames(page, ["Photos", "dropped.txt"]);
  const [width, zone] = await page.evaluate(() => [
    document.documentElement.scrollWidth,
    getComputedStyle(document.getElementById("dropzone")).display,
  ]);
  assert.ok(width <= 390, `${width}`);
  assert.equal(zone, "none");
});

test("Firefox wrote no error to its console", () => {
  assert.deepEqual(problems, []);
});
