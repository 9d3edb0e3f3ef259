import assert from "node:assert/strict";
import fs from "node:fs";
import {
  addToRoot,
  eventually,
  nextListing,
  openFileManager,
  pageTest,
  requestsTo,
  rootNames,
  rootPath,
  rowNames,
  rowOf,
  useWorld,
  waitForRows,
} from "./world.mjs";

useWorld();

const kFiles = { "a.txt": "alpha", "b.txt": "b".repeat(1536), "Photos/c.txt": "c" };
const kView = { files: kFiles };

function checkBox(page, name) {
  return rowOf(page, name).getByRole("checkbox");
}

pageTest(
  "the listing is refreshed every five seconds",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    const requests = requestsTo(page, "/api/list");
    addToRoot({ "new.txt": "new" });
    await page.clock.runFor(4900);
    assert.equal(requests.length, 0);
    await page.clock.runFor(100);
    await waitForRows(page, ["a.txt", "b.txt", "new.txt", "Photos"]);
    assert.equal(requests.length, 1);
    await nextListing(page);
    assert.equal(requests.length, 2);
  },
);

pageTest(
  "a hidden page is not refreshed",
  {
    ...kView,
    clock: true,
    init: () => {
      Object.defineProperty(document, "visibilityState", {
        get: () => globalThis.visibility ?? "visible",
      });
    },
  },
  async ({ page }) => {
    await openFileManager(page);
    const requests = requestsTo(page, "/api/list");
    await page.evaluate(() => {
      globalThis.visibility = "hidden";
    });
    await page.clock.runFor(15000);
    assert.equal(requests.length, 0);
    await page.evaluate(() => {
      globalThis.visibility = "visible";
    });
    await nextListing(page);
    assert.equal(requests.length, 1);
  },
);

pageTest(
  "checked files stay checked across a refresh",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await checkBox(page, "b.txt").check();
    addToRoot({ "new.txt": "new" });
    await nextListing(page);
    await waitForRows(page, ["a.txt", "b.txt", "new.txt", "Photos"]);
    assert.equal(await checkBox(page, "b.txt").isChecked(), true);
    assert.equal(await checkBox(page, "a.txt").isChecked(), false);
    assert.equal(await page.locator("#selAll").isChecked(), false);
  },
);

pageTest(
  "a checked file that disappears drops out of the selection",
  { ...kView, clock: true },
  async ({ page, dialogs }) => {
    await openFileManager(page);
    await page.locator("#selAll").check();
    fs.rmSync(rootPath("b.txt"));
    await nextListing(page);
    await waitForRows(page, ["a.txt", "Photos"]);
    dialogs.accept = false;
    await page.locator("#deleteSelectedBtn").click();
    assert.deepEqual(dialogs.seen, [{ type: "confirm", text: "Delete 1 file(s)?", value: "" }]);
  },
);

pageTest(
  "a refresh sets select-all exactly when all files are checked",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await checkBox(page, "a.txt").check();
    await checkBox(page, "b.txt").check();
    await nextListing(page);
    await page.waitForFunction(() => document.getElementById("selAll").checked);
    fs.rmSync(rootPath("a.txt"));
    fs.rmSync(rootPath("b.txt"));
    await nextListing(page);
    await waitForRows(page, ["Photos"]);
    assert.equal(await page.locator("#selAll").isChecked(), false);
  },
);

pageTest(
  "a box that is checked while the listing is on its way stays checked",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    let release;
    const held = new Promise((resolve) => {
      release = resolve;
    });
    await page.route("**/api/list**", async (route) => {
      await held;
      await route.continue();
    });
    const asked = page.waitForRequest("**/api/list**");
    await page.clock.runFor(5000);
    await asked;
    await checkBox(page, "a.txt").check();
    addToRoot({ "late.txt": "late" });
    release();
    await waitForRows(page, ["a.txt", "b.txt", "late.txt", "Photos"]);
    assert.equal(await checkBox(page, "a.txt").isChecked(), true);
  },
);

pageTest(
  "an answer that was overtaken by entering another folder is not shown",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await page.route("**/api/list?path=Photos", () => {});
    await page.getByRole("link", { name: "Photos" }).hover();
    await page.mouse.down();
    // While the pointer is pressed, the answer waits.
    addToRoot({ "late.txt": "late" });
    await nextListing(page);
    await page.evaluate(() => fetch("/api/status"));
    const asked = page.waitForRequest("**/api/list?path=Photos");
    await page.mouse.up();
    await asked;
    await page.evaluate(() => fetch("/api/status"));
    assert.deepEqual((await rowNames(page)).sort(), ["Photos", "a.txt", "b.txt"]);
  },
);

pageTest(
  "a row's action reaches the file that is seen while another folder is on its way",
  { files: { "a.txt": "outer", "Photos/a.txt": "inner" } },
  async ({ page }) => {
    await openFileManager(page);
    await page.route("**/api/list?path=Photos", () => {});
    await page.getByRole("link", { name: "Photos" }).click();
    const request = page.waitForRequest("**/api/delete");
    await rowOf(page, "a.txt").getByTitle("Delete this file permanently").click();
    assert.deepEqual((await request).postDataJSON(), { path: "", name: "a.txt" });
    await eventually(() => assert.deepEqual(rootNames(), ["Photos"]));
    assert.deepEqual(rootNames("Photos"), ["a.txt"]);
  },
);

pageTest(
  "a checked file whose size changes stays checked",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await checkBox(page, "a.txt").check();
    addToRoot({ "a.txt": "longer than before" });
    await nextListing(page);
    await rowOf(page, "a.txt").getByText("18 B", { exact: true }).waitFor();
    assert.equal(await checkBox(page, "a.txt").isChecked(), true);
    assert.equal(await checkBox(page, "b.txt").isChecked(), false);
  },
);

pageTest(
  "a refresh keeps the rows of unchanged files",
  { ...kView, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    const before = await rowOf(page, "a.txt").elementHandle();
    await nextListing(page);
    addToRoot({ "new.txt": "new" });
    await nextListing(page);
    await waitForRows(page, ["a.txt", "b.txt", "new.txt", "Photos"]);
    const after = await rowOf(page, "a.txt").elementHandle();
    assert.equal(await page.evaluate(([one, two]) => one === two, [before, after]), true);
  },
);

pageTest("a refresh keeps the focus where it was", { ...kView, clock: true }, async ({ page }) => {
  await openFileManager(page);
  for (const [role, name] of [
    ["checkbox", "Select a.txt"],
    ["button", "Delete this file permanently: b.txt"],
    ["link", "Photos"],
    ["textbox", "New folder name"],
  ]) {
    await page.getByRole(role, { name }).focus();
    await nextListing(page);
    await page.evaluate(() => fetch("/api/status"));
    const focused = page.locator(":focus");
    assert.equal(await page.getByRole(role, { name }).and(focused).count(), 1, name);
  }
});
