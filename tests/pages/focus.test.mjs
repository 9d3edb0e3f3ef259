// Where the focus is after the page itself changed something.

import assert from "node:assert/strict";
import fs from "node:fs";
import {
  addToRoot,
  eventually,
  nextListing,
  openFileManager,
  openSharedFolder,
  pageTest,
  rootPath,
  rowOf,
  useWorld,
  waitForRows,
  waitForTransfer,
} from "./world.mjs";

useWorld();

const kView = { files: { "b.txt": "b", "d.txt": "d", "Photos/c.txt": "c", "Photos/Inner/x": "x" } };
const kClock = { ...kView, clock: true };

function focusedName(page) {
  return page.evaluate(() => {
    const { id, textContent } = document.activeElement;
    return document.activeElement.getAttribute("aria-label") ?? (id || textContent.trim());
  });
}

for (const [role, name] of [
  ["checkbox", "Select b.txt"],
  ["button", "Delete this file permanently: d.txt"],
  ["link", "Photos"],
]) {
  pageTest(`"${name}" keeps the focus when files come, change and go`, kClock, async ({ page }) => {
    await openFileManager(page);
    await page.getByRole(role, { name }).focus();
    addToRoot({ "a.txt": "a", "c.txt": "c", "z.txt": "z" });
    await nextListing(page);
    await waitForRows(page, ["a.txt", "b.txt", "c.txt", "d.txt", "Photos", "z.txt"]);
    assert.equal(await focusedName(page), name);
    addToRoot({ "b.txt": "longer", "d.txt": "longer" });
    fs.rmSync(rootPath("a.txt"));
    await nextListing(page);
    await waitForRows(page, ["b.txt", "c.txt", "d.txt", "Photos", "z.txt"]);
    assert.equal(await focusedName(page), name);
  });
}

pageTest("a row that goes hands the focus on to the one that follows", kClock, async ({ page }) => {
  await openFileManager(page);
  await page.getByRole("button", { name: "Delete this file permanently: b.txt" }).focus();
  await page.keyboard.press("Enter");
  await waitForRows(page, ["d.txt", "Photos"]);
  assert.equal(await focusedName(page), "Delete this file permanently: d.txt");
  await page.getByRole("checkbox", { name: "Select d.txt" }).focus();
  fs.rmSync(rootPath("d.txt"));
  await nextListing(page);
  await waitForRows(page, ["Photos"]);
  assert.equal(await focusedName(page), "Photos");
  fs.rmSync(rootPath("Photos"), { recursive: true });
  await nextListing(page);
  await waitForRows(page, []);
  assert.equal(await focusedName(page), "Select all files");
});

pageTest("a folder that is entered has the focus on its first link", kView, async ({ page }) => {
  await openFileManager(page);
  await page.getByRole("link", { name: "Photos" }).focus();
  await page.keyboard.press("Enter");
  await waitForRows(page, ["c.txt", "Inner"]);
  assert.equal(await focusedName(page), ".. (parent folder)");
  await page.getByRole("link", { name: "Inner" }).click();
  await waitForRows(page, ["x"]);
  assert.equal(await focusedName(page), ".. (parent folder)");
  await page.keyboard.press("Enter");
  await waitForRows(page, ["c.txt", "Inner"]);
  assert.equal(await focusedName(page), ".. (parent folder)");
  await page.keyboard.press("Enter");
  await waitForRows(page, ["b.txt", "d.txt", "Photos"]);
  assert.equal(await focusedName(page), "Photos");
});

pageTest("a field that was reached meanwhile keeps the focus", kView, async ({ page }) => {
  await openFileManager(page);
  let release;
  const held = new Promise((resolve) => {
    release = resolve;
  });
  await page.route("**/api/list?path=Photos", async (route) => {
    await held;
    await route.continue();
  });
  await page.getByRole("link", { name: "Photos" }).click();
  await page.locator("#mkdirName").focus();
  release();
  await waitForRows(page, ["c.txt", "Inner"]);
  assert.equal(await focusedName(page), "New folder name");
});

pageTest(
  "deleting the selection of a shared folder leaves the focus on the select-all box",
  { session: false, files: { "S/a.txt": "a", "S/b.txt": "b" }, clock: true },
  async ({ page }) => {
    await openSharedFolder(page, "S");
    await rowOf(page, "a.txt").getByRole("checkbox").check();
    await page.locator("#delSelBtn").focus();
    await page.keyboard.press("Enter");
    await waitForTransfer(page, "Delete done.");
    // The dialog goes by itself after 1.1 seconds, and the focus moves when it has gone.
    await page.clock.runFor(1500);
    await eventually(async () => assert.equal(await focusedName(page), "Select all files"));
  },
);
