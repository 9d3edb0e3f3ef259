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
  openFileManager,
  pageTest,
  picked,
  rootPath,
  styleOf,
  transfer,
  useWorld,
  waitForRows,
  waitForTransfer,
} from "./world.mjs";

useWorld();

const kView = { files: { "a.txt": "alpha", "b.txt": "beta!", "Photos/c.txt": "see" } };
const kClock = { ...kView, clock: true };
const kRefused = { ...kView, problems: /Failed to load resource/ };
const kWatched = { ...kClock, init: kWatchRequests };

pageTest("the file label follows the picked files", kView, async ({ page }) => {
  await openFileManager(page);
  const label = page.locator("#fileLabel");
  await pick(page, picked("one.txt"));
  assert.equal(await label.textContent(), "one.txt");
  await pick(page, picked("1.bin", Buffer.alloc(1572864)), picked("2.bin", Buffer.alloc(1024)));
  assert.equal(await label.textContent(), "2 files selected (1.5 MB)");
  await pick(page);
  assert.equal(await label.textContent(), "No files selected");
});

pageTest('"Choose files" opens the file input', kView, async ({ page }) => {
  await openFileManager(page);
  const [chooser] = await Promise.all([
    page.waitForEvent("filechooser"),
    page.locator("#pickBtn").click(),
  ]);
  assert.equal(chooser.isMultiple(), true);
  assert.equal(await chooser.element().getAttribute("id"), "files");
});

pageTest('"Upload" without a picked file does nothing', kView, async ({ page }) => {
  await openFileManager(page);
  await upload(page);
  assert.equal(await page.locator("#xferModal").isVisible(), false);
});

pageTest("an upload is announced with its count and size", kWatched, async ({ page }) => {
  await openFileManager(page);
  await hold(page);
  await pick(page, picked("1.bin", Buffer.alloc(1572864)), picked("2.bin", Buffer.alloc(524288)));
  await upload(page);
  assert.deepEqual(await transfer(page), {
    open: true,
    title: "Upload",
    bar: 0,
    text: "Preparing upload…",
    detail: "2 file(s), 2.0 MB",
  });
});

pageTest("upload progress is shown in percent and megabytes", kWatched, async ({ page }) => {
  await openFileManager(page);
  await hold(page);
  await pick(page, picked("1.bin"));
  await upload(page);
  await playProgress(page, "upload", { lengthComputable: true, loaded: 1572864, total: 4194304 });
  const shown = await transfer(page);
  assert.equal(shown.bar, 38);
  assert.equal(shown.text, "Uploading: 38%");
  assert.equal(shown.detail, "1.5 / 4.0 MB");
});

pageTest("upload progress without a total shows what was sent", kWatched, async ({ page }) => {
  await openFileManager(page);
  await hold(page);
  await pick(page, picked("1.bin"));
  await upload(page);
  await playProgress(page, "upload", { lengthComputable: false, loaded: 1572864 });
  const shown = await transfer(page);
  assert.equal(shown.bar, 0);
  assert.equal(shown.text, "Uploading…");
  assert.equal(shown.detail, "1.5 MB sent");
});

pageTest("an upload stores the files and clears the picker", kWatched, async ({ page }) => {
  await openFileManager(page);
  await pick(page, picked("one.txt", "first"), picked("two.txt", "second"));
  await upload(page);
  const shown = await waitForTransfer(page, "Upload done.");
  assert.equal(shown.bar, 100);
  assert.equal(shown.detail, "");
  assert.deepEqual(await page.evaluate(() => globalThis.lastParts), [
    ["files", "one.txt"],
    ["files", "two.txt"],
  ]);
  assert.equal(await page.locator("#fileLabel").textContent(), "No files selected");
  assert.equal(await page.locator("#files").evaluate((input) => input.files.length), 0);
  await waitForRows(page, ["a.txt", "b.txt", "one.txt", "two.txt", "Photos"]);
  assert.equal(fs.readFileSync(rootPath("two.txt"), "utf8"), "second");
  await assertHidesAfter(page, 900);
});

pageTest("an upload goes into the folder that is shown", kView, async ({ page }) => {
  await openFileManager(page);
  await page.getByRole("link", { name: "Photos" }).click();
  await waitForRows(page, ["c.txt"]);
  await pick(page, picked("d.txt", "dee"));
  const request = page.waitForRequest("**/upload**");
  await upload(page);
  assert.equal(new URL((await request).url()).search, "?path=Photos");
  await waitForRows(page, ["c.txt", "d.txt"]);
  assert.equal(fs.readFileSync(rootPath("Photos", "d.txt"), "utf8"), "dee");
});

pageTest(
  "a large upload arrives byte for byte and shows rising percentages",
  kView,
  async ({ page }) => {
    await openFileManager(page);
    await page.evaluate(() => {
      globalThis.texts = [];
      new MutationObserver(() => {
        globalThis.texts.push(document.getElementById("xferText").textContent);
      }).observe(document.getElementById("xferText"), { childList: true });
    });
    const content = Buffer.alloc(8 * 1024 * 1024);
    for (let i = 0; i < content.length; i += 4) {
      content.writeUInt32LE(Math.imul(i, 2654435761) >>> 0, i);
    }
    await pick(page, picked("large.bin", content));
    await upload(page);
    await waitForTransfer(page, "Upload done.");
    assert.ok(fs.readFileSync(rootPath("large.bin")).equals(content));
    const texts = await page.evaluate(() => globalThis.texts);
    const percentages = texts
      .filter((text) => text.startsWith("Uploading: "))
      .map((text) => Number(/^Uploading: (\d+)%$/.exec(text)[1]));
    assert.ok(percentages.length > 0);
    assert.deepEqual(
      percentages,
      [...percentages].sort((a, b) => a - b),
    );
  },
);

for (const [what, answer, detail] of [
  ["a failure status", { status: 500, body: "" }, "HTTP 500"],
  ["ok false", { status: 200, json: { ok: false, error: "Disk full" } }, "Disk full"],
]) {
  pageTest(
    `an upload answered with ${what} shows "${detail}" until it is closed`,
    { ...kRefused, clock: true },
    async ({ page }) => {
      await openFileManager(page);
      await page.route("**/upload**", (route) => route.fulfill(answer));
      await pick(page, picked("one.txt"));
      await upload(page);
      const shown = await waitForTransfer(page, "Upload failed.");
      assert.equal(shown.bar, 0);
      assert.equal(shown.detail, detail);
      assert.equal(await page.locator("#fileLabel").textContent(), "one.txt");
      await assertStaysOpen(page);
    },
  );
}

pageTest("an upload answer that is not JSON counts as success", kView, async ({ page }) => {
  await openFileManager(page);
  await page.route("**/upload**", (route) => route.fulfill({ status: 200, body: "fine" }));
  await pick(page, picked("one.txt"));
  await upload(page);
  assert.equal((await waitForTransfer(page, "Upload done.")).bar, 100);
});

pageTest(
  "a network error during an upload is shown until it is closed",
  { ...kRefused, clock: true },
  async ({ page }) => {
    await openFileManager(page);
    await page.route("**/upload**", (route) => route.abort());
    await pick(page, picked("one.txt"));
    await upload(page);
    const shown = await waitForTransfer(page, "Upload error.");
    assert.equal(shown.bar, 0);
    assert.equal(shown.detail, "Network error");
    await assertStaysOpen(page);
  },
);

pageTest("dropped files are uploaded at once", kWatched, async ({ page }) => {
  await openFileManager(page);
  await pick(page, picked("kept.txt"));
  await dropFiles(page, [
    { name: "d1.txt", content: "dropped" },
    { name: "d2.txt", content: "too" },
  ]);
  await page.waitForFunction(() => document.getElementById("xferModal").open);
  assert.equal((await transfer(page)).title, "Upload (Drag & Drop)");
  await waitForTransfer(page, "Upload done.");
  await waitForRows(page, ["a.txt", "b.txt", "d1.txt", "d2.txt", "Photos"]);
  assert.equal(fs.readFileSync(rootPath("d1.txt"), "utf8"), "dropped");
  assert.equal(await page.locator("#fileLabel").textContent(), "kept.txt");
  await assertHidesAfter(page, 900);
});

pageTest("the drop zone lights up while something is over it", kView, async ({ page }) => {
  await openFileManager(page);
  const zone = page.locator("#dropzone");
  const hasClass = () => zone.evaluate((element) => element.classList.contains("dragover"));
  const dataTransfer = await page.evaluateHandle(() => new DataTransfer());
  await zone.dispatchEvent("dragover", { dataTransfer });
  assert.equal(await hasClass(), true);
  await page.waitForFunction(
    () =>
      getComputedStyle(document.getElementById("dropzone")).borderColor === "rgb(74, 163, 255)" &&
      getComputedStyle(document.getElementById("dropzone")).backgroundColor ===
        "rgb(240, 248, 255)",
  );
  assert.deepEqual(await styleOf(zone, "color"), ["rgb(17, 17, 17)"]);
  await zone.dispatchEvent("dragleave", { dataTransfer });
  assert.equal(await hasClass(), false);
  await zone.dispatchEvent("dragenter", { dataTransfer });
  assert.equal(await hasClass(), true);
  await zone.dispatchEvent("drop", { dataTransfer });
  assert.equal(await hasClass(), false);
  assert.equal(await page.locator("#xferModal").isVisible(), false);
});

pageTest(
  "files dropped beside the zone are neither opened nor uploaded",
  kView,
  async ({ page }) => {
    await openFileManager(page);
    const prevented = await page.evaluate(() => {
      const dataTransfer = new DataTransfer();
      dataTransfer.items.add(new File(["x"], "x.txt"));
      return ["dragover", "drop"].map((type) => {
        const event = new DragEvent(type, { dataTransfer, bubbles: true, cancelable: true });
        document.querySelector("table").dispatchEvent(event);
        return event.defaultPrevented;
      });
    });
    assert.deepEqual(prevented, [true, true]);
    assert.equal(await page.locator("#xferModal").isVisible(), false);
  },
);

pageTest("text dragged over the page keeps its default action", kView, async ({ page }) => {
  await openFileManager(page);
  const prevented = await page.evaluate(() => {
    const dataTransfer = new DataTransfer();
    dataTransfer.setData("text/plain", "hello");
    const event = new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true });
    document.querySelector("table").dispatchEvent(event);
    return event.defaultPrevented;
  });
  assert.equal(prevented, false);
});

pageTest("closing the dialog does not abort the upload", kView, async ({ page }) => {
  await openFileManager(page);
  let release;
  await page.route("**/upload**", async (route) => {
    await new Promise((resolve) => {
      release = resolve;
    });
    await route.continue();
  });
  await pick(page, picked("slow.txt", "slow"));
  await upload(page);
  await page.getByRole("button", { name: "Close" }).click();
  assert.equal(await page.locator("#xferModal").isVisible(), false);
  await eventually(() => assert.equal(typeof release, "function"));
  release();
  await waitForRows(page, ["a.txt", "b.txt", "slow.txt", "Photos"]);
  assert.equal(await page.locator("#xferModal").isVisible(), false);
});

pageTest("a new transfer cancels the pending hiding of the last one", kClock, async ({ page }) => {
  await openFileManager(page);
  await pick(page, picked("one.txt"));
  await upload(page);
  await waitForTransfer(page, "Upload done.");
  await page.clock.runFor(500);
  await page.route("**/upload**", () => {});
  await dropFiles(page, [{ name: "two.txt", content: "2" }]);
  await page.clock.runFor(5000);
  assert.equal(await page.locator("#xferModal").isVisible(), true);
});

pageTest("closing the dialog gives the focus back", kView, async ({ page }) => {
  await openFileManager(page);
  await page.route("**/upload**", () => {});
  await pick(page, picked("one.txt"));
  await page.locator("#uploadBtn").focus();
  await page.keyboard.press("Enter");
  assert.equal(await page.locator("#xferClose:focus").count(), 1);
  await page.keyboard.press("Enter");
  assert.equal(await page.locator("#uploadBtn:focus").count(), 1);
});
