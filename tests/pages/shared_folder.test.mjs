import assert from "node:assert/strict";
import fs from "node:fs";
import { assertHidesAfter, select } from "./transfer_probe.mjs";
import {
  addToRoot,
  eventually,
  nextListing,
  openSharedFolder,
  pageTest,
  kPhone,
  rootNames,
  rootPath,
  rowNames,
  rowOf,
  shareFolder,
  sizeOf,
  styleOf,
  transfer,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";

useWorld();

const kView = {
  session: false,
  files: { "Shared/a.txt": "alpha", "Shared/b.txt": "beta!", "Shared/Inner/c.txt": "see" },
};
const kClock = { ...kView, clock: true };
const kRefused = { ...kView, problems: /Failed to load resource/ };

const open = (page) => openSharedFolder(page, "Shared");

function info(page) {
  return page.locator("#selInfo").textContent();
}

pageTest("the shared folder page has its title, bar and note", kView, async ({ page }) => {
  await open(page);
  assert.equal(await page.title(), "Harbinet PRO - Shared Folder");
  const bar = page.getByText("HTTPS Harbinet PRO - Shared Folder", { exact: true });
  assert.deepEqual(await styleOf(bar, "background-color", "color", "font-size"), [
    "rgb(68, 68, 68)",
    "rgb(255, 255, 255)",
    "14px",
  ]);
  const note = page.getByText("This link is valid for 24 hours. Upload & download allowed.", {
    exact: true,
  });
  assert.deepEqual(await styleOf(note, "font-size", "color"), ["12px", "rgb(102, 102, 102)"]);
});

pageTest("the card stands in the middle with its measures", kView, async ({ page }) => {
  await open(page);
  const card = page.locator(".card");
  assert.deepEqual(await styleOf(card, "border", "border-radius", "padding"), [
    "1px solid rgb(221, 221, 221)",
    "4px",
    "14px",
  ]);
  const place = await card.boundingBox();
  assert.equal(place.width, 760);
  assert.equal(place.x, (1280 - 760) / 2);
});

pageTest("the upload row has its controls", kView, async ({ page }) => {
  await open(page);
  assert.equal(await page.locator("#files").evaluate((input) => input.multiple), true);
  assert.equal(await page.locator("#pickBtn").textContent(), "Choose files");
  const label = page.locator("#fileLabel");
  assert.equal(await label.textContent(), "No files selected");
  assert.deepEqual(await styleOf(label, "background-color", "border-color", "text-overflow"), [
    "rgb(255, 255, 255)",
    "rgb(187, 187, 187)",
    "ellipsis",
  ]);
  assert.equal(await page.getByRole("button", { name: "Upload", exact: true }).count(), 1);
});

pageTest("the drop zone has its texts, tooltip and measures", kView, async ({ page }) => {
  await open(page);
  const zone = page.locator("#dropzone");
  assert.equal(await zone.getAttribute("title"), "Drop files here to upload immediately");
  assert.deepEqual(await styleOf(zone, "height", "border", "border-radius"), [
    "56px",
    "2px dashed rgb(187, 187, 187)",
    "4px",
  ]);
  const bold = zone.getByText("Drag & Drop upload", { exact: true });
  assert.deepEqual(await styleOf(bold, "font-weight"), ["700"]);
  assert.equal(await zone.getByText("Drop files here", { exact: true }).count(), 1);
});

pageTest("the drop zone lights up while something is over it", kView, async ({ page }) => {
  await open(page);
  const zone = page.locator("#dropzone");
  const dataTransfer = await page.evaluateHandle(() => new DataTransfer());
  await zone.dispatchEvent("dragover", { dataTransfer });
  await page.waitForFunction(() => {
    const style = getComputedStyle(document.querySelector("#dropzone.dragover"));
    return (
      style.borderColor === "rgb(74, 163, 255)" && style.backgroundColor === "rgb(240, 248, 255)"
    );
  });
  assert.deepEqual(await styleOf(zone, "color"), ["rgb(17, 17, 17)"]);
  await zone.dispatchEvent("dragleave", { dataTransfer });
  assert.equal(await page.locator("#dropzone.dragover").count(), 0);
});

pageTest("the table has its header cells", kView, async ({ page }) => {
  await open(page);
  const cells = page.locator("thead tr > *");
  const texts = (await cells.allTextContents()).map((text) => text.trim());
  assert.deepEqual(texts, ["", "Name", "Size", "Action"]);
  assert.equal(await cells.first().locator("#chkAll[type=checkbox]").count(), 1);
  assert.equal((await sizeOf(cells.nth(2)))[0], 120);
  assert.equal((await sizeOf(cells.nth(3)))[0], 180);
});

pageTest("only the files of the folder are listed", kView, async ({ page }) => {
  await open(page);
  await waitForRows(page, ["a.txt", "b.txt"]);
  const cells = await rowOf(page, "a.txt").locator("td").allTextContents();
  assert.equal(cells[2], "5 B");
  const boxes = page.locator("[data-filechk='1']");
  const names = await boxes.evaluateAll((list) => list.map((box) => box.dataset.name));
  assert.deepEqual(names.sort(), ["a.txt", "b.txt"]);
  const buttons = rowOf(page, "a.txt").getByRole("button");
  const titles = await buttons.evaluateAll((list) => list.map((button) => button.title));
  assert.deepEqual(titles, ["Download", "Delete"]);
  const texts = (await buttons.allTextContents()).map((text) => text.trim());
  assert.deepEqual(texts, ["\u{1f4e5}", "\u274c"]);
});

pageTest("a missing size counts as nothing", kView, async ({ page }) => {
  await page.route("**/api/list", (route) =>
    route.fulfill({ json: { ok: true, items: [{ name: "x" }, { name: "y", size: 1536 }] } }),
  );
  await open(page);
  await waitForRows(page, ["x", "y"]);
  assert.equal(await rowOf(page, "x").locator(".sizeCell").textContent(), "0 B");
  assert.equal(await rowOf(page, "y").locator(".sizeCell").textContent(), "1.5 KB");
});

pageTest("the bulk buttons are disabled at load", kView, async ({ page }) => {
  await open(page);
  for (const [id, text] of [
    ["dlSelBtn", "Download selected"],
    ["delSelBtn", "Delete selected"],
  ]) {
    const button = page.locator(`#${id}`);
    assert.equal(await button.textContent(), text);
    assert.equal(await button.isDisabled(), true);
    assert.deepEqual(await styleOf(button, "opacity", "cursor"), ["0.55", "not-allowed"]);
  }
  assert.equal(await info(page), "0 selected");
});

pageTest("the footer card has its colours", kView, async ({ page }) => {
  await open(page);
  const footer = page.locator("footer");
  assert.notEqual((await footer.textContent()).trim(), "");
  assert.deepEqual(await styleOf(footer, "font-size", "color", "background-color"), [
    "10px",
    "rgb(170, 170, 170)",
    "rgb(247, 247, 247)",
  ]);
});

pageTest("the legacy elements exist and are hidden", kView, async ({ page }) => {
  await open(page);
  for (const id of ["upbar", "msg"]) {
    assert.equal(await page.locator(`#${id}`).count(), 1);
    assert.equal(await page.locator(`#${id}`).isVisible(), false);
  }
});

pageTest("the transfer dialog starts hidden, with its first texts", kView, async ({ page }) => {
  await open(page);
  const { open: isOpen, title, bar, text } = await transfer(page);
  assert.deepEqual([isOpen, title, bar, text], [false, "Transfer", 0, "..."]);
  assert.deepEqual(await styleOf(page.locator(".xferCard"), "border-radius"), ["4px"]);
});

pageTest("the selection is counted and shown", kView, async ({ page }) => {
  await open(page);
  const all = page.locator("#chkAll");
  const isMixed = () => all.evaluate((box) => box.indeterminate);
  await select(page, "a.txt");
  assert.equal(await info(page), "1 selected");
  assert.equal(await page.locator("#dlSelBtn").isEnabled(), true);
  assert.equal(await page.locator("#delSelBtn").isEnabled(), true);
  assert.equal(await isMixed(), true);
  await select(page, "b.txt");
  assert.equal(await info(page), "2 selected");
  assert.equal(await isMixed(), false);
  assert.equal(await all.isChecked(), true);
  await rowOf(page, "a.txt").getByRole("checkbox").uncheck();
  await rowOf(page, "b.txt").getByRole("checkbox").uncheck();
  assert.equal(await info(page), "0 selected");
  assert.equal(await all.isChecked(), false);
  assert.equal(await page.locator("#dlSelBtn").isDisabled(), true);
});

pageTest("select-all selects every file and none", kView, async ({ page }) => {
  await open(page);
  await page.locator("#chkAll").check();
  assert.equal(await info(page), "2 selected");
  await page.locator("#chkAll").uncheck();
  assert.equal(await info(page), "0 selected");
  assert.equal(await page.locator("[data-filechk]:checked").count(), 0);
});

pageTest(
  "without rows select-all is unchecked",
  { ...kClock, files: { "Shared/": null } },
  async ({ page }) => {
    await open(page);
    await page.locator("#chkAll").click();
    await nextListing(page);
    await page.waitForFunction(() => !document.getElementById("chkAll").checked);
    assert.equal(await info(page), "0 selected");
  },
);

pageTest("the selection lives through a refresh", kClock, async ({ page }) => {
  await open(page);
  await select(page, "b.txt");
  addToRoot({ "Shared/new.txt": "new" });
  await nextListing(page);
  await waitForRows(page, ["a.txt", "b.txt", "new.txt"]);
  assert.equal(await rowOf(page, "b.txt").getByRole("checkbox").isChecked(), true);
  assert.equal(await info(page), "1 selected");
});

pageTest("a file that disappears drops out of the selection", kClock, async ({ page }) => {
  await open(page);
  await page.locator("#chkAll").check();
  fs.rmSync(rootPath("Shared", "a.txt"));
  await nextListing(page);
  await waitForRows(page, ["b.txt"]);
  assert.equal(await info(page), "1 selected");
  assert.equal(await page.locator("#chkAll").isChecked(), true);
});

pageTest("a refresh keeps the focus where it was", kClock, async ({ page }) => {
  await open(page);
  await page.getByRole("button", { name: "Delete: b.txt" }).focus();
  await nextListing(page);
  await page.evaluate(() => fetch("/api/status"));
  assert.equal(await page.locator("[aria-label='Delete: b.txt']:focus").count(), 1);
});

pageTest(
  "a listing that fails changes nothing",
  { ...kRefused, clock: true },
  async ({ page, dialogs }) => {
    await open(page);
    await page.route("**/api/list", (route) => route.fulfill({ status: 500, body: "no" }));
    await nextListing(page);
    await page.evaluate(() => fetch("/api/status"));
    await waitForRows(page, ["a.txt", "b.txt"]);
    await page.unroute("**/api/list");
    addToRoot({ "Shared/new.txt": "new" });
    await nextListing(page);
    await waitForRows(page, ["a.txt", "b.txt", "new.txt"]);
    assert.deepEqual(dialogs.seen, []);
  },
);

pageTest(
  "no second listing starts while one is on its way, nor while the page is hidden",
  {
    ...kClock,
    init: () => {
      Object.defineProperty(document, "visibilityState", {
        get: () => globalThis.visibility ?? "visible",
      });
    },
  },
  async ({ page }) => {
    await open(page);
    let requests = 0;
    let release;
    await page.route("**/api/list", async (route) => {
      requests += 1;
      await new Promise((resolve) => {
        release = resolve;
      });
      await route.continue();
    });
    await page.clock.runFor(5000);
    await eventually(() => assert.equal(typeof release, "function"));
    await page.clock.runFor(10000);
    assert.equal(requests, 1);
    const answered = page.waitForResponse("**/api/list");
    release();
    await (await answered).finished();
    await page.evaluate(async () => {
      await fetch("/api/status");
      globalThis.visibility = "hidden";
    });
    await page.clock.runFor(10000);
    await page.evaluate(() => fetch("/api/status"));
    assert.equal(requests, 1);
  },
);

pageTest("a file is deleted after a question", kView, async ({ page, dialogs }) => {
  await open(page);
  const request = page.waitForRequest("**/api/delete");
  await rowOf(page, "a.txt").getByTitle("Delete").click();
  assert.equal((await request).headers()["content-type"], "application/json");
  assert.deepEqual((await request).postDataJSON(), { name: "a.txt" });
  await waitForRows(page, ["b.txt"]);
  assert.deepEqual(dialogs.seen, [{ type: "confirm", text: "Delete file 'a.txt'?", value: "" }]);
  assert.deepEqual(rootNames("Shared"), ["Inner", "b.txt"]);
});

pageTest("a deleted file leaves the selection", kView, async ({ page }) => {
  await open(page);
  await page.locator("#chkAll").check();
  await rowOf(page, "a.txt").getByTitle("Delete").click();
  await waitForRows(page, ["b.txt"]);
  assert.equal(await info(page), "1 selected");
});

pageTest("a refused question leaves the file alone", kView, async ({ page, dialogs }) => {
  dialogs.accept = false;
  await open(page);
  await rowOf(page, "a.txt").getByTitle("Delete").click();
  assert.equal(dialogs.seen.length, 1);
  assert.deepEqual(rootNames("Shared"), ["Inner", "a.txt", "b.txt"]);
});

for (const [what, answer, text] of [
  ["a text", { status: 400, body: "Not today" }, "Not today"],
  ["an empty body", { status: 500, body: "" }, "HTTP 500"],
]) {
  pageTest(
    `a delete refused with ${what} alerts "${text}"`,
    kRefused,
    async ({ page, dialogs }) => {
      await open(page);
      await page.route("**/api/delete", (route) => route.fulfill(answer));
      await rowOf(page, "a.txt").getByTitle("Delete").click();
      await eventually(() => assert.equal(dialogs.seen.length, 2));
      assert.deepEqual(dialogs.seen[1], { type: "alert", text, value: "" });
    },
  );
}

pageTest("a file is downloaded while the page stays", kClock, async ({ page }) => {
  await open(page);
  const [download] = await Promise.all([
    page.waitForEvent("download"),
    rowOf(page, "a.txt").getByTitle("Download").click(),
  ]);
  const base = new URL(page.url()).pathname;
  assert.equal(download.url(), `${world.program.origin}${base}/download?name=a.txt`);
  assert.equal(fs.readFileSync(await download.path(), "utf8"), "alpha");
  assert.deepEqual(await transfer(page), {
    open: true,
    title: "Download",
    bar: 100,
    text: "Download started.",
    detail: "a.txt",
  });
  await assertHidesAfter(page, 900);
});

pageTest("the base is the address without trailing slashes", kView, async ({ page }) => {
  const link = await shareFolder("Shared");
  const request = page.waitForRequest("**/api/list");
  await page.goto(`${world.program.origin}${link}/`);
  assert.equal((await request).url(), `${world.program.origin}${link}/api/list`);
  await waitForRows(page, ["a.txt", "b.txt"]);
});

pageTest("the selected files are downloaded together", kClock, async ({ page }) => {
  await open(page);
  await page.locator("#chkAll").check();
  const downloads = [];
  page.on("download", (download) => downloads.push(download));
  await page.locator("#dlSelBtn").click();
  assert.deepEqual(await transfer(page), {
    open: true,
    title: "Download",
    bar: 100,
    text: "Downloads started.",
    detail: "2 file(s)",
  });
  const frames = page.locator("iframe");
  assert.equal(await frames.count(), 2);
  await eventually(() => assert.equal(downloads.length, 2));
  await assertHidesAfter(page, 1100);
  await page.clock.runFor(15000 - 1100 - 1);
  assert.equal(await frames.count(), 2);
  await page.clock.runFor(1);
  assert.equal(await frames.count(), 1);
  await page.clock.runFor(199);
  assert.equal(await frames.count(), 1);
  await page.clock.runFor(1);
  assert.equal(await frames.count(), 0);
});

pageTest(
  "the selected files are deleted one after the other",
  kClock,
  async ({ page, dialogs }) => {
    await open(page);
    await page.evaluate(() => {
      globalThis.seen = [];
      new MutationObserver(() => {
        globalThis.seen.push([
          document.getElementById("xferBar").value,
          document.getElementById("xferText").textContent,
          document.getElementById("xferDetail").textContent,
        ]);
      }).observe(document.getElementById("xferModal"), { childList: true, subtree: true });
    });
    const order = await rowNames(page);
    await page.locator("#chkAll").check();
    await page.locator("#delSelBtn").click();
    const shown = await waitForTransfer(page, "Delete done.");
    assert.deepEqual([shown.title, shown.bar, shown.detail], ["Delete", 100, "2 file(s) deleted"]);
    assert.deepEqual(dialogs.seen, [
      { type: "confirm", text: "Delete 2 selected file(s)?", value: "" },
    ]);
    assert.deepEqual(await page.evaluate(() => globalThis.seen), [
      [0, "Deleting selected files…", "2 file(s)"],
      [50, "Deleting: 1/2", order[0]],
      [100, "Deleting: 2/2", order[1]],
      [100, "Delete done.", "2 file(s) deleted"],
    ]);
    await waitForRows(page, []);
    assert.equal(await info(page), "0 selected");
    await assertHidesAfter(page, 1100);
    assert.deepEqual(rootNames("Shared"), ["Inner"]);
  },
);

pageTest(
  "a file that cannot be deleted is counted",
  { ...kRefused, clock: true },
  async ({ page }) => {
    await open(page);
    const [first, second] = await rowNames(page);
    await page.locator("#chkAll").check();
    fs.rmSync(rootPath("Shared", second));
    await page.locator("#delSelBtn").click();
    const shown = await waitForTransfer(page, "Delete finished with errors.");
    assert.deepEqual([shown.bar, shown.detail], [100, "1 deleted, 1 failed"]);
    assert.equal(fs.existsSync(rootPath("Shared", first)), false);
    await assertHidesAfter(page, 1600);
  },
);

pageTest("a failed delete is named", { ...kRefused, clock: true }, async ({ page }) => {
  await open(page);
  await select(page, "a.txt");
  await page.route("**/api/delete", (route) => route.fulfill({ status: 400, body: "no" }));
  await page.route("**/api/list", () => {});
  await page.locator("#delSelBtn").click();
  const shown = await waitForTransfer(page, "Deleting: 1/1");
  assert.deepEqual([shown.bar, shown.detail], [100, "FAILED: a.txt"]);
});

pageTest(
  "a refused question deletes nothing of the selection",
  kView,
  async ({ page, dialogs }) => {
    dialogs.accept = false;
    await open(page);
    await page.locator("#chkAll").check();
    await page.locator("#delSelBtn").click();
    assert.equal(dialogs.seen.length, 1);
    assert.equal(await page.locator("#xferModal").isVisible(), false);
    assert.deepEqual(rootNames("Shared"), ["Inner", "a.txt", "b.txt"]);
  },
);

pageTest(
  "on a phone the card shrinks and nothing scrolls sideways",
  {
    ...kView,
    files: { ...kView.files, [`Shared/${"W".repeat(196)}.txt`]: "x" },
    context: kPhone,
  },
  async ({ page }) => {
    await open(page);
    await page.locator("#rows tr").nth(2).waitFor();
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390);
    await page.locator("#chkAll").tap();
    assert.equal(await info(page), "3 selected");
    assert.ok((await sizeOf(page.locator(".card")))[0] <= 390);
  },
);
