import assert from "node:assert/strict";
import fs from "node:fs";
import {
  assertHidesAfter,
  assertStaysOpen,
  hold,
  pick,
  playProgress,
  upload,
  kWatchRequests,
} from "./transfer_probe.mjs";
import {
  dropFiles,
  eventually,
  openSharedFolder,
  pageTest,
  picked,
  rootNames,
  rootPath,
  rowOf,
  transfer,
  useWorld,
  waitForRows,
  waitForTransfer,
} from "./world.mjs";

useWorld();

const kView = { session: false, files: { "Shared/a.txt": "alpha" } };
const kClock = { ...kView, clock: true };
const kRefused = { ...kClock, problems: /Failed to load resource/ };
const kWatched = { ...kClock, init: kWatchRequests };

const open = (page) => openSharedFolder(page, "Shared");

pageTest("the file label follows the picked files", kView, async ({ page }) => {
  await open(page);
  const label = page.locator("#fileLabel");
  await pick(page, picked("one.txt"));
  assert.equal(await label.textContent(), "one.txt");
  await pick(page, picked("1.bin", Buffer.alloc(1572864)), picked("2.bin", Buffer.alloc(1024)));
  assert.equal(await label.textContent(), "2 files selected (1.5 MB)");
});

pageTest('"Choose files" opens the file input', kView, async ({ page }) => {
  await open(page);
  const [chooser] = await Promise.all([
    page.waitForEvent("filechooser"),
    page.locator("#pickBtn").click(),
  ]);
  assert.equal(await chooser.element().getAttribute("id"), "files");
});

pageTest("an upload without files says so", kClock, async ({ page }) => {
  await open(page);
  await page.evaluate(() => {
    globalThis.seen = [];
    new MutationObserver((changes) => {
      globalThis.seen.push(
        ...changes.flatMap(({ addedNodes }) => Array.from(addedNodes, (node) => node.textContent)),
      );
    }).observe(document.getElementById("xferText"), { childList: true });
  });
  await upload(page);
  const shown = await waitForTransfer(page, "Nothing to upload.");
  assert.deepEqual([shown.title, shown.bar, shown.detail], ["Upload", 100, ""]);
  assert.deepEqual(await page.evaluate(() => globalThis.seen), [
    "No files selected.",
    "Nothing to upload.",
  ]);
  await assertHidesAfter(page, 900);
});

pageTest("an upload is announced, and its progress shown", kWatched, async ({ page }) => {
  await open(page);
  await hold(page);
  await pick(page, picked("1.bin", Buffer.alloc(1572864)));
  await upload(page);
  assert.deepEqual(await transfer(page), {
    open: true,
    title: "Upload",
    bar: 0,
    text: "Preparing upload…",
    detail: "1 file(s), 1.5 MB",
  });
  await playProgress(page, "upload", { lengthComputable: true, loaded: 786432, total: 1572864 });
  let shown = await transfer(page);
  assert.deepEqual([shown.bar, shown.text, shown.detail], [50, "Uploading: 50%", "0.8 / 1.5 MB"]);
  await playProgress(page, "upload", { lengthComputable: false, loaded: 1048576 });
  shown = await transfer(page);
  assert.deepEqual([shown.bar, shown.text, shown.detail], [0, "Uploading…", "1.0 MB sent"]);
});

pageTest("uploaded files appear with the next refresh, not before", kWatched, async ({ page }) => {
  await open(page);
  let listings = 0;
  page.on("request", (request) => {
    listings += request.url().endsWith("/api/list") ? 1 : 0;
  });
  await pick(page, picked("one.txt", "first"), picked("two.txt", "second"));
  await upload(page);
  assert.equal((await waitForTransfer(page, "Upload done.")).bar, 100);
  assert.deepEqual(await page.evaluate(() => globalThis.lastParts), [
    ["files", "one.txt"],
    ["files", "two.txt"],
  ]);
  assert.equal(await page.locator("#fileLabel").textContent(), "No files selected");
  assert.equal(fs.readFileSync(rootPath("Shared", "two.txt"), "utf8"), "second");
  await assertHidesAfter(page, 900);
  assert.equal(listings, 0);
  await page.clock.runFor(4100);
  await waitForRows(page, ["a.txt", "one.txt", "two.txt"]);
  assert.equal(listings, 1);
});

pageTest("during an upload the listing is not refreshed", kWatched, async ({ page }) => {
  await open(page);
  await hold(page);
  await pick(page, picked("one.txt"));
  let listings = 0;
  page.on("request", (request) => {
    listings += request.url().endsWith("/api/list") ? 1 : 0;
  });
  await upload(page);
  await page.clock.runFor(20000);
  await page.evaluate(() => fetch("/api/status"));
  assert.equal(listings, 0);
});

async function assertNothingSelected(page) {
  assert.equal(await page.locator("#selInfo").textContent(), "0 selected");
  assert.equal(await page.locator("#dlSelBtn").isDisabled(), true);
  assert.equal(await page.locator("#delSelBtn").isDisabled(), true);
}

// Begins an upload that does not end, and closes its dialog.
async function uploadBehind(page) {
  await open(page);
  await hold(page);
  await pick(page, picked("one.txt"));
  await upload(page);
  await page.locator("#xferClose").click();
}

pageTest("during an upload a deleted file leaves the selection", kWatched, async ({ page }) => {
  await uploadBehind(page);
  await page.locator("#chkAll").check();
  await rowOf(page, "a.txt").getByTitle("Delete").click();
  await eventually(() => assertNothingSelected(page));
  assert.deepEqual(rootNames("Shared"), []);
});

pageTest("during an upload a deleted selection is empty", kWatched, async ({ page }) => {
  await uploadBehind(page);
  await page.locator("#chkAll").check();
  await page.locator("#delSelBtn").click();
  await waitForTransfer(page, "Delete done.");
  await assertNothingSelected(page);
  assert.deepEqual(rootNames("Shared"), []);
});

pageTest("a drop uploads at once", kClock, async ({ page }) => {
  await open(page);
  await dropFiles(page, [{ name: "dropped.txt", content: "drop" }]);
  const shown = await waitForTransfer(page, "Upload done.");
  assert.equal(shown.title, "Upload");
  assert.equal(fs.readFileSync(rootPath("Shared", "dropped.txt"), "utf8"), "drop");
});

pageTest("a second drop is ignored while the first upload runs", kView, async ({ page }) => {
  await open(page);
  let requests = 0;
  let release;
  await page.route("**/upload", async (route) => {
    requests += 1;
    await new Promise((resolve) => {
      release = resolve;
    });
    await route.continue();
  });
  await dropFiles(page, [{ name: "first.txt", content: "1" }]);
  await eventually(() => assert.equal(typeof release, "function"));
  await dropFiles(page, [{ name: "second.txt", content: "2" }]);
  release();
  await waitForTransfer(page, "Upload done.");
  assert.equal(requests, 1);
  assert.deepEqual(rootNames("Shared"), ["a.txt", "first.txt"]);
});

for (const [what, answer, detail] of [
  ["a text", { status: 411, body: "Content-Length required" }, "Content-Length required"],
  ["an empty failure", { status: 500, body: "" }, "HTTP 500"],
  ["ok false", { status: 200, json: { ok: false, error: "Disk full" } }, "Disk full"],
]) {
  pageTest(
    `an upload answered with ${what} shows "${detail}", and the next one works`,
    kRefused,
    async ({ page }) => {
      await open(page);
      await page.route("**/upload", (route) => route.fulfill(answer));
      await pick(page, picked("one.txt"));
      await upload(page);
      const shown = await waitForTransfer(page, "Upload failed.");
      assert.deepEqual([shown.bar, shown.detail], [0, detail]);
      await assertStaysOpen(page);
      await page.unroute("**/upload");
      await upload(page);
      await waitForTransfer(page, "Upload done.");
      assert.deepEqual(rootNames("Shared"), ["a.txt", "one.txt"]);
    },
  );
}

pageTest("an upload answer that is not JSON counts as success", kClock, async ({ page }) => {
  await open(page);
  await page.route("**/upload", (route) => route.fulfill({ status: 200, body: "fine" }));
  await pick(page, picked("one.txt"));
  await upload(page);
  assert.equal((await waitForTransfer(page, "Upload done.")).bar, 100);
});

pageTest("a network error is shown, and the next upload works", kRefused, async ({ page }) => {
  await open(page);
  await page.route("**/upload", (route) => route.abort());
  await pick(page, picked("one.txt"));
  await upload(page);
  const shown = await waitForTransfer(page, "Upload error.");
  assert.equal(shown.detail, "Network error");
  await assertStaysOpen(page);
  await page.unroute("**/upload");
  await upload(page);
  await waitForTransfer(page, "Upload done.");
});
