import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { pick, select, upload } from "./transfer_probe.mjs";
import {
  dropFiles,
  logIn,
  openFileManager,
  pageTest,
  picked,
  restartProgram,
  rootNames,
  rootPath,
  useWorld,
  waitForRows,
  world,
} from "./world.mjs";

useWorld();

const kTwenty = Array.from({ length: 20 }, (_, i) => picked(`file ${i}.txt`, `content ${i}`));
const kSlow = { timeout: 240000 };

async function enterPin(page, pin, press) {
  await page.locator("#code").fill(pin);
  await press(page.getByRole("button", { name: "Login" }));
}

function dialogHidden(page) {
  return page.locator("#xferModal").waitFor({ state: "hidden" });
}

pageTest("twenty files are dropped at once", { ...kSlow, files: {} }, async ({ page }) => {
  await openFileManager(page);
  await dropFiles(
    page,
    kTwenty.map(({ name, buffer }) => ({ name, content: buffer.toString() })),
  );
  await waitForRows(
    page,
    kTwenty.map(({ name }) => name),
  );
  for (const { name, buffer } of kTwenty) {
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

pageTest("files dragged from the disk are uploaded", kSlow, async ({ page }) => {
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
const kLeadingOn = { session: false, problems: /status of 404 .*\/favicon\.ico$/ };
pageTest("the auto-login link opens the file manager", kLeadingOn, async ({ page }) => {
  await page.goto(`${world.program.origin}/auto?pin=${world.program.pin}`);
  await page.waitForURL(`${world.program.origin}/`);
  await page.waitForFunction(() => document.title === "Harbinet PRO - File Manager");
});

pageTest(
  "a session that ends in the middle of the work leads to the login page",
  { ...kSlow, files: { "a.txt": "alpha" }, problems: /status of 401|ERR_CONNECTION_REFUSED/ },
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
