import assert from "node:assert/strict";
import fs from "node:fs";
import {
  assertHidesAfter,
  assertStaysOpen,
  hold,
  playProgress,
  select,
  kWatchRequests,
} from "./transfer_probe.mjs";
import {
  openFileManager,
  pageTest,
  rootPath,
  rowOf,
  transfer,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";

useWorld();

const kView = { files: { "a.txt": "alpha", "b.txt": "beta!", "Photos/c.txt": "see" } };
const kClock = { ...kView, clock: true };
const kRefused = { ...kView, problems: /Failed to load resource/ };
const kWatched = { ...kClock, init: kWatchRequests };

pageTest("one file is downloaded while the page stays", kClock, async ({ page }) => {
  await openFileManager(page);
  const [download] = await Promise.all([
    page.waitForEvent("download"),
    rowOf(page, "a.txt").getByTitle("Download this file").click(),
  ]);
  assert.equal(download.url(), `${world.program.origin}/download?path=a.txt`);
  assert.equal(download.suggestedFilename(), "a.txt");
  assert.equal(fs.readFileSync(await download.path(), "utf8"), "alpha");
  assert.deepEqual(await transfer(page), {
    open: true,
    title: "Download",
    bar: 100,
    text: "Download started.",
    detail: "a.txt",
  });
  await assertHidesAfter(page, 900);
  assert.equal(await page.title(), "Harbinet PRO - File Manager");
});

pageTest("a dialog that is closed and opened at once stays as it is", kClock, async ({ page }) => {
  await openFileManager(page);
  await page.route("**/download**", (route) => route.fulfill({ status: 204 }));
  await rowOf(page, "a.txt").getByTitle("Download this file").click();
  await page.evaluate(
    () =>
      new Promise((resolve) => {
        const dialog = document.getElementById("xferModal");
        dialog.addEventListener("close", () => queueMicrotask(resolve));
        document.getElementById("xferClose").click();
        document.querySelector("[aria-label='Download this file: b.txt']").click();
      }),
  );
  assert.equal((await transfer(page)).detail, "b.txt");
  assert.equal(await page.locator("#xferClose:focus").count(), 1);
  await assertHidesAfter(page, 900);
});

pageTest("a file below a folder is asked for with its whole path", kView, async ({ page }) => {
  await openFileManager(page);
  await page.getByRole("link", { name: "Photos" }).click();
  await waitForRows(page, ["c.txt"]);
  const [download] = await Promise.all([
    page.waitForEvent("download"),
    page.getByTitle("Download this file").click(),
  ]);
  assert.equal(new URL(download.url()).search, "?path=Photos%2Fc.txt");
  assert.equal(fs.readFileSync(await download.path(), "utf8"), "see");
});

pageTest("the checked files are downloaded one after the other", kClock, async ({ page }) => {
  await openFileManager(page);
  await select(page, "a.txt", "b.txt");
  const first = page.waitForEvent("download");
  await page.locator("#downloadAllBtn").click();
  const shown = await transfer(page);
  const order = await page
    .locator(".itemSel")
    .evaluateAll((boxes) => boxes.map((box) => box.dataset.name));
  assert.deepEqual(shown, {
    open: true,
    title: "Download all",
    bar: 0,
    text: "Starting download 1/2",
    detail: order[0],
  });
  const frame = page.locator("iframe");
  assert.equal(await frame.count(), 1);
  assert.equal(await frame.isVisible(), false);
  assert.equal(await frame.getAttribute("src"), `/download?path=${order[0]}`);
  await (await first).path();
  const second = page.waitForEvent("download");
  await page.clock.runFor(1499);
  assert.equal((await transfer(page)).text, "Starting download 1/2");
  await page.clock.runFor(1);
  assert.deepEqual(await waitForTransfer(page, "Starting download 2/2"), {
    open: true,
    title: "Download all",
    bar: 50,
    text: "Starting download 2/2",
    detail: order[1],
  });
  assert.equal(await frame.count(), 1);
  await (await second).path();
  await page.clock.runFor(1500);
  const done = await waitForTransfer(page, "Downloads triggered.");
  assert.equal(done.bar, 100);
  assert.equal(done.detail, "2 file(s)");
  assert.equal(await frame.count(), 0);
  await assertHidesAfter(page, 1200);
});

pageTest("a ZIP is announced with its count", kWatched, async ({ page }) => {
  await openFileManager(page);
  await hold(page);
  await select(page, "a.txt", "b.txt");
  await page.locator("#zipBtn").click();
  assert.deepEqual(await transfer(page), {
    open: true,
    title: "Download ZIP",
    bar: 0,
    text: "Preparing ZIP…",
    detail: "2 file(s)",
  });
});

for (const [what, progress, bar, text, detail] of [
  [
    "with a known total",
    { lengthComputable: true, loaded: 1048576, total: 3145728 },
    33,
    "Creating ZIP: 33%",
    "1.0 / 3.0 MB",
  ],
  [
    "without a total",
    { lengthComputable: false, loaded: 2621440 },
    0,
    "Creating ZIP…",
    "2.5 MB received",
  ],
]) {
  pageTest(`ZIP progress ${what} reads "${text}"`, kWatched, async ({ page }) => {
    await openFileManager(page);
    await hold(page);
    await select(page, "a.txt");
    await page.locator("#zipBtn").click();
    await playProgress(page, "request", progress);
    const shown = await transfer(page);
    assert.deepEqual([shown.bar, shown.text, shown.detail], [bar, text, detail]);
  });
}

pageTest(
  "a ZIP is saved as download.zip and its address released",
  {
    ...kClock,
    init: () => {
      globalThis.released = [];
      const release = URL.revokeObjectURL;
      URL.revokeObjectURL = (address) => {
        globalThis.released.push(address);
        release.call(URL, address);
      };
    },
  },
  async ({ page }) => {
    await openFileManager(page);
    await select(page, "a.txt", "b.txt");
    const request = page.waitForRequest("**/api/zip");
    const [download] = await Promise.all([
      page.waitForEvent("download"),
      page.locator("#zipBtn").click(),
    ]);
    assert.equal((await request).method(), "POST");
    assert.equal((await request).headers()["content-type"], "application/json");
    const body = (await request).postDataJSON();
    assert.deepEqual(
      { ...body, names: body.names.sort() },
      { path: "", names: ["a.txt", "b.txt"] },
    );
    assert.equal(download.suggestedFilename(), "download.zip");
    const archive = fs.readFileSync(await download.path());
    assert.equal(archive.toString("latin1", 0, 2), "PK");
    const shown = await waitForTransfer(page, "Download started.");
    assert.deepEqual([shown.bar, shown.detail], [100, "download.zip"]);
    await assertHidesAfter(page, 1000);
    await page.clock.runFor(499);
    assert.deepEqual(await page.evaluate(() => globalThis.released.length), 0);
    await page.clock.runFor(1);
    assert.deepEqual(await page.evaluate(() => globalThis.released.length), 1);
  },
);

for (const [what, answer, detail] of [
  ["a JSON error", { status: 413, json: { ok: false, error: "Too large" } }, "Too large"],
  ["a body that is not JSON", { status: 500, body: "oops" }, "ZIP failed (HTTP 500)"],
  ["JSON without an error", { status: 400, json: { ok: false } }, "ZIP failed (HTTP 400)"],
]) {
  pageTest(
    `a ZIP refused with ${what} shows "${detail}" until it is closed`,
    { ...kRefused, clock: true },
    async ({ page }) => {
      await openFileManager(page);
      await page.route("**/api/zip", (route) => route.fulfill(answer));
      await select(page, "a.txt");
      await page.locator("#zipBtn").click();
      const shown = await waitForTransfer(page, "Error");
      assert.deepEqual([shown.bar, shown.detail], [0, detail]);
      await assertStaysOpen(page);
    },
  );
}

pageTest(
  "the program's refusal of a ZIP is shown in its own words",
  { ...kRefused, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await select(page, "a.txt");
    fs.rmSync(rootPath("a.txt"));
    await page.locator("#zipBtn").click();
    const shown = await waitForTransfer(page, "Error");
    assert.equal(shown.detail, "No readable files to zip.");
  },
);

pageTest(
  "a network error during a ZIP is shown until it is closed",
  { ...kRefused, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await page.route("**/api/zip", (route) => route.abort());
    await select(page, "a.txt");
    await page.locator("#zipBtn").click();
    const shown = await waitForTransfer(page, "Download error.");
    assert.deepEqual([shown.bar, shown.detail], [0, "Network error"]);
    await assertStaysOpen(page);
  },
);
