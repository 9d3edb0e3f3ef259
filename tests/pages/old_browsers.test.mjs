// Browsers that know no dialog element: to them it is an element like any other. The pages are served with another
// tag's name in its place, which takes its methods, its property and the browser's own style away.

import assert from "node:assert/strict";
import { pick, select, upload } from "./transfer_probe.mjs";
import {
  openFileManager,
  openSharedFolder,
  pageTest,
  picked,
  rootNames,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";

useWorld();

const kView = { files: { "a.txt": "alpha", "S/b.txt": "beta" }, clock: true };
const kForever = () => {};

async function withoutDialogs(page) {
  await page.addInitScript(() => {
    delete globalThis.HTMLDialogElement;
  });
  await page.route(/^https:[^?]*\/(d\/[0-9a-f]+)?$/, async (route) => {
    const response = await route.fetch();
    const body = (await response.text()).replaceAll(/<(\/?)dialog/g, "<$1unknown-dialog");
    await route.fulfill({ response, body });
  });
}

function isShown(page) {
  return page.locator("#xferModal").isVisible();
}

for (const [where, open] of [
  ["file manager", openFileManager],
  ["shared folder", (page) => openSharedFolder(page, "S")],
]) {
  pageTest(`without dialogs the ${where} uploads, and can be used`, kView, async ({ page }) => {
    await withoutDialogs(page);
    await open(page);
    assert.equal(
      await page.evaluate(() => "showModal" in document.getElementById("xferModal")),
      false,
    );
    assert.equal(await isShown(page), false);
    await page.locator("thead input").click({ timeout: 5000 });
    await pick(page, picked("one.txt", "first"));
    await upload(page);
    await waitForTransfer(page, "Upload done.");
    assert.equal(await isShown(page), true);
    await page.clock.runFor(900);
    assert.equal(await isShown(page), false);
    assert.ok(rootNames(where === "shared folder" ? "S" : "").includes("one.txt"));
  });
}

pageTest("without dialogs the focus stays inside, and goes back", kView, async ({ page }) => {
  await withoutDialogs(page);
  await openFileManager(page);
  await waitForRows(page, ["S", "a.txt"]);
  await select(page, "a.txt");
  await page.route("**/api/zip", kForever);
  for (const key of ["Enter", "Escape"]) {
    await page.locator("#zipBtn").focus();
    await page.keyboard.press("Enter");
    assert.equal(await isShown(page), true);
    assert.equal(await page.locator("#xferClose:focus").count(), 1);
    await page.keyboard.press("Tab");
    await page.keyboard.press("Shift+Tab");
    assert.equal(await page.locator("#xferClose:focus").count(), 1);
    await page.keyboard.press(key);
    assert.equal(await isShown(page), false);
    assert.equal(await page.locator("#zipBtn:focus").count(), 1);
  }
  assert.equal(await page.evaluate(() => document.title), "Harbinet PRO - File Manager");
  assert.equal(page.url(), `${world.program.origin}/`);
});
