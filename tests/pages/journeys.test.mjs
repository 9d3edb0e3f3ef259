import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { pick, select, upload } from "./transfer_probe.mjs";
import {
  changeWebRoot,
  dropFiles,
  eventually,
  logIn,
  openFileManager,
  pageTest,
  PHONE,
  picked,
  restartProgram,
  rootNames,
  rootPath,
  rowOf,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";
import { launchChromium } from "./chromium.mjs";
import { readStoredZip } from "./stored_zip.mjs";

useWorld();

const TWENTY = Array.from({ length: 20 }, (_, i) => picked(`file ${i}.txt`, `content ${i}`));
const SLOW = { timeout: 240000 };

async function enterPin(page, pin, press) {
  await page.locator("#code").fill(pin);
  await press(page.getByRole("button", { name: "Login" }));
}

async function logInByHand(page, press) {
  await page.goto(`${world.program.origin}/`);
  await enterPin(page, world.program.pin, press);
  await page.locator("#rows").waitFor({ state: "attached" });
}

function dialogHidden(page) {
  return page.locator("#xferModal").waitFor({ state: "hidden" });
}

async function saved(page, act) {
  const [download] = await Promise.all([page.waitForEvent("download"), act()]);
  return fs.readFileSync(await download.path());
}

async function lastPrompt(dialogs, act) {
  const before = dialogs.seen.length;
  await act();
  await eventually(() => assert.ok(dialogs.seen.length > before));
  assert.equal(dialogs.seen.at(-1).type, "prompt");
  return dialogs.seen.at(-1).value;
}

async function uploadTwenty(page, press) {
  await page.locator("#files").setInputFiles(TWENTY);
  await press(page.locator("#uploadBtn"));
  await waitForRows(
    page,
    TWENTY.map(({ name }) => name),
  );
  await dialogHidden(page);
  for (const { name, buffer } of TWENTY) {
    assert.ok(fs.readFileSync(rootPath(name)).equals(buffer), name);
  }
}

async function makeAndEnterFolder(page, press) {
  await page.locator("#mkdirName").fill("Holiday 2026");
  await press(page.getByRole("button", { name: "Create folder" }));
  await press(page.getByRole("link", { name: "Holiday 2026" }));
  await page.getByText("..", { exact: true }).waitFor();
  await pick(page, picked("beach.txt", "sand"), picked("hills.txt", "grass"));
  await press(page.locator("#uploadBtn"));
  await waitForRows(page, ["beach.txt", "hills.txt"]);
  await dialogHidden(page);
  assert.deepEqual(rootNames("Holiday 2026"), ["beach.txt", "hills.txt"]);
}

async function downloadEverything(page, press) {
  const row = rowOf(page, "beach.txt");
  const one = await saved(page, () => press(row.getByTitle("Download this file")));
  assert.equal(one.toString(), "sand");
  await dialogHidden(page);

  await press(page.locator("#selAll"));
  const downloads = [];
  page.on("download", (download) => downloads.push(download));
  await press(page.locator("#downloadAllBtn"));
  await waitForTransfer(page, "Downloads triggered.");
  await eventually(() => assert.equal(downloads.length, 2));
  const texts = await Promise.all(
    downloads.map(async (download) => fs.readFileSync(await download.path(), "utf8")),
  );
  assert.deepEqual(texts.sort(), ["grass", "sand"]);
  await dialogHidden(page);

  const zip = await saved(page, () => press(page.locator("#zipBtn")));
  const entries = readStoredZip(zip);
  assert.deepEqual(Object.keys(entries).sort(), [
    "Holiday 2026/beach.txt",
    "Holiday 2026/hills.txt",
  ]);
  assert.equal(entries["Holiday 2026/beach.txt"].toString(), "sand");
  await dialogHidden(page);
}

async function useFolderLink(link, settings, press) {
  const context = await world.browser.newContext({ ...settings, ignoreHTTPSErrors: true });
  try {
    const page = await context.newPage();
    page.on("dialog", (dialog) => dialog.accept());
    await page.goto(link);
    await waitForRows(page, ["beach.txt", "hills.txt"]);
    const text = await saved(page, () => press(rowOf(page, "hills.txt").getByTitle("Download")));
    assert.equal(text.toString(), "grass");
    await dialogHidden(page);
    await pick(page, picked("guest.txt", "from a guest"));
    await press(page.locator("#uploadBtn"));
    await waitForRows(page, ["beach.txt", "guest.txt", "hills.txt"]);
    assert.equal(fs.readFileSync(rootPath("Holiday 2026", "guest.txt"), "utf8"), "from a guest");
    await press(rowOf(page, "beach.txt").getByTitle("Delete"));
    await waitForRows(page, ["guest.txt", "hills.txt"]);
    assert.deepEqual(rootNames("Holiday 2026"), ["guest.txt", "hills.txt"]);
    assert.deepEqual(await context.cookies(), []);
  } finally {
    await context.close();
  }
}

async function get(link) {
  const context = await world.browser.newContext({ ignoreHTTPSErrors: true });
  const response = await context.request.get(link);
  const answer = { status: response.status(), text: await response.text() };
  await context.close();
  return answer;
}

async function journey({ page, dialogs }, settings, press) {
  await logInByHand(page, press);
  await uploadTwenty(page, press);
  await makeAndEnterFolder(page, press);
  await downloadEverything(page, press);
  const fileLink = await lastPrompt(dialogs, () =>
    press(rowOf(page, "beach.txt").getByTitle("Create a direct download link")),
  );
  await press(page.getByText("..", { exact: true }));
  const folderLink = await lastPrompt(dialogs, () =>
    press(page.getByTitle("Create a direct link for this folder")),
  );
  assert.deepEqual(await get(fileLink), { status: 200, text: "sand" });
  await useFolderLink(folderLink, settings, press);

  const folder = world.program.webRoot;
  fs.mkdirSync(`${folder}-other`);
  await changeWebRoot(`${folder}-other`);
  const gone = { status: 410, text: "Link expired or invalid" };
  assert.deepEqual(await get(fileLink), gone);
  assert.deepEqual(await get(folderLink), gone);
  await changeWebRoot(folder);
  assert.deepEqual(await get(folderLink), gone);
  fs.rmSync(`${folder}-other`, { recursive: true });
}

pageTest(
  "a whole working day on the desktop",
  { ...SLOW, session: false, files: {} },
  async (tools) => {
    await journey(tools, {}, (locator) => locator.click());
  },
);

pageTest(
  "a whole working day on a phone",
  { ...SLOW, session: false, files: {}, context: PHONE },
  async (tools) => {
    await journey(tools, PHONE, (locator) => locator.tap());
    const width = await tools.page.evaluate(() => document.documentElement.scrollWidth);
    assert.equal(width, 390);
  },
);

pageTest("twenty files are dropped at once", { ...SLOW, files: {} }, async ({ page }) => {
  await openFileManager(page);
  await dropFiles(
    page,
    TWENTY.map(({ name, buffer }) => ({ name, content: buffer.toString() })),
  );
  await waitForRows(
    page,
    TWENTY.map(({ name }) => name),
  );
  for (const { name, buffer } of TWENTY) {
    assert.ok(fs.readFileSync(rootPath(name)).equals(buffer), name);
  }
});

// The browser's own drag and drop of files from the disk, as from a file manager's window.
async function dragFromDisk(page, files, target) {
  const session = await page.context().newCDPSession(page);
  const place = await page.locator(target).boundingBox();
  for (const type of ["dragEnter", "dragOver", "drop"]) {
    await session.send("Input.dispatchDragEvent", {
      type,
      x: place.x + place.width / 2,
      y: place.y + place.height / 2,
      data: { items: [], files, dragOperationsMask: 1 },
    });
  }
}

pageTest("files dragged from the disk are uploaded", SLOW, async ({ page }) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-drag-"));
  const files = ["dragged 1.txt", "it's dragged.txt"].map((name) => path.join(folder, name));
  for (const file of files) {
    fs.writeFileSync(file, path.basename(file));
  }
  await openFileManager(page);
  await dragFromDisk(page, files, "#dropzone");
  await waitForRows(page, ["dragged 1.txt", "it's dragged.txt"]);
  assert.equal(fs.readFileSync(rootPath("it's dragged.txt"), "utf8"), "it's dragged.txt");
  await dialogHidden(page);

  await dragFromDisk(page, [files[0]], "table");
  await page.evaluate(() => fetch("/api/status"));
  assert.equal(page.url(), `${world.program.origin}/`);
  assert.equal(await page.locator("#xferModal").isVisible(), false);
  fs.rmSync(folder, { recursive: true });
});

// The page that leads on names no icon: a browser that is quick enough asks for the usual one.
const LEADING_ON = { session: false, problems: /status of 404 .*\/favicon\.ico$/ };
pageTest("the auto-login link opens the file manager", LEADING_ON, async ({ page }) => {
  await page.goto(`${world.program.origin}/auto?pin=${world.program.pin}`);
  await page.waitForURL(`${world.program.origin}/`);
  await page.waitForFunction(() => document.title === "Harbinet PRO - File Manager");
});

pageTest(
  "a session that ends in the middle of the work leads to the login page",
  { ...SLOW, files: { "a.txt": "alpha" }, problems: /status of 401|ERR_CONNECTION_REFUSED/ },
  async ({ page }) => {
    await openFileManager(page);
    await select(page, "a.txt");
    await restartProgram();
    await pick(page, picked("late.txt"));
    await upload(page);
    await page.locator("#code").waitFor({ timeout: 30000 });
    assert.deepEqual(rootNames(), ["a.txt"]);
    await enterPin(page, world.program.pin, (locator) => locator.click());
    await waitForRows(page, ["a.txt"]);
    await logIn();
  },
);

pageTest(
  "three wrong PINs ban the visitor",
  { ...SLOW, session: false, problems: /status of 4(01|29)|net::ERR_/ },
  async ({ page }) => {
    const wrong = world.program.pin === "000000" ? "000001" : "000000";
    const click = (locator) => locator.click();
    await page.goto(`${world.program.origin}/`);
    for (const text of [
      "Wrong code",
      "Wrong code",
      "Too many attempts. IP blocked for 120 seconds.",
      "Failed to fetch",
    ]) {
      await enterPin(page, wrong, click);
      await page.getByText(text, { exact: true }).waitFor();
    }
    await enterPin(page, world.program.pin, click);
    await page.getByText("Failed to fetch", { exact: true }).waitFor();
    const lines = (await world.program.harbinet.messages()).join("\n");
    assert.match(lines, /AUTH {4}>>>>>> {2}ALERT <<<<<<< {2}failed 3x => IP banned 2 min: /);
    assert.match(lines, /AUTH {4}blocked IP .* \(\d+s remaining\)/);
    await restartProgram();
    await enterPin(page, world.program.pin, click);
    await page.locator("#rows").waitFor({ state: "attached" });
  },
);

pageTest(
  "links opened by one browser work in another",
  { ...SLOW, files: { "S/x.txt": "x" } },
  async ({ page }) => {
    await logIn();
    await page.context().addCookies([world.cookie]);
    await openFileManager(page);
    const answer = await page.evaluate(async () => (await fetch("/api/share?path=S")).json());
    const other = await launchChromium();
    try {
      const visitor = await other.newPage({ ignoreHTTPSErrors: true });
      await visitor.goto(answer.url);
      await waitForRows(visitor, ["x.txt"]);
      assert.equal(await visitor.title(), "Harbinet PRO - Shared Folder");
    } finally {
      await other.close();
    }
  },
);
