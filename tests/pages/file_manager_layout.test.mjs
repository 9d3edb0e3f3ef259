import assert from "node:assert/strict";
import {
  kDesktop,
  openFileManager,
  pageTest,
  kPhone,
  rowOf,
  sizeOf,
  styleOf,
  useWorld,
} from "./world.mjs";

useWorld();

const kFiles = { "a.txt": "alpha", "Photos/": null };
const kView = { files: kFiles };

function textOf(page, selector) {
  return page.locator(selector).textContent();
}

pageTest("the file manager has its title", kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await page.title(), "Harbinet PRO - File Manager");
});

pageTest("the header bar names the protocol and the program", kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await textOf(page, "#proto"), "HTTPS");
  const bar = page.locator("header");
  assert.equal(await bar.textContent(), "HTTPS Harbinet PRO");
  assert.deepEqual(await styleOf(bar, "background-color", "color", "font-size", "height"), [
    "rgb(68, 68, 68)",
    "rgb(255, 255, 255)",
    "16px",
    "40px",
  ]);
});

pageTest("the page has its font, padding and colours", kView, async ({ page }) => {
  await openFileManager(page);
  const names = ["font-family", "padding", "background-color", "color"];
  assert.deepEqual(await styleOf(page.locator("body"), ...names), [
    '"Segoe UI", system-ui, sans-serif',
    "18px",
    "rgb(255, 255, 255)",
    "rgb(17, 17, 17)",
  ]);
});

pageTest("the three boxes have their titles, blanks included", kView, async ({ page }) => {
  await openFileManager(page);
  assert.deepEqual(await page.locator(".boxTitle").allTextContents(), [
    " Upload - Explorer",
    "Upload - Drag & Drop",
    " Download Files",
  ]);
});

pageTest("the titles of the boxes begin at the same place", kView, async ({ page }) => {
  await openFileManager(page);
  const places = await page.locator(".boxTitle > span").evaluateAll((titles) =>
    titles.map(({ parentElement, firstChild }) => {
      const letter = document.createRange();
      const start = firstChild.data.search(/\S/);
      letter.setStart(firstChild, start);
      letter.setEnd(firstChild, start + 1);
      return letter.getBoundingClientRect().left - parentElement.getBoundingClientRect().left;
    }),
  );
  assert.equal(places.length, 3);
  for (const place of places) {
    assert.ok(Math.abs(place - places[0]) < 0.5, places.join());
  }
});

pageTest("the three boxes have their measures and colours", kView, async ({ page }) => {
  await openFileManager(page);
  for (const box of await page.locator(".box").all()) {
    assert.deepEqual(await sizeOf(box), [368, 106]);
    assert.deepEqual(await styleOf(box, "background-color"), ["rgb(247, 247, 247)"]);
  }
  for (const title of await page.locator(".boxTitle").all()) {
    const names = ["background-color", "color", "height"];
    assert.deepEqual(await styleOf(title, ...names), [
      "rgb(102, 178, 255)",
      "rgb(255, 255, 255)",
      "30px",
    ]);
  }
});

pageTest(
  "the boxes wrap when the window is narrow",
  { ...kView, context: { viewport: { width: 800, height: 700 } } },
  async ({ page }) => {
    await openFileManager(page);
    const tops = await page
      .locator(".box")
      .evaluateAll((boxes) => boxes.map((box) => box.getBoundingClientRect().top));
    assert.equal(tops[0], tops[1]);
    assert.ok(tops[2] > tops[1]);
  },
);

for (const [selector, text, tooltip] of [
  ["#pickBtn", "Choose files", "Choose files"],
  [
    ".box >> nth=0 >> button.master",
    "Upload",
    "Upload multiple files from your hard drive to the web server",
  ],
  [".box >> nth=2 >> button >> nth=0", "Download ZIP", "Download all selected files as a ZIP file"],
  [".box >> nth=2 >> button >> nth=1", "Download all", "Download each selected file separately"],
  [".tools button", "\u274c", "Delete all selected files permanently"],
  [".newFolder button", "Create folder", "Create a new folder in this directory."],
  ["#dropzone", "Drop files here", "Drop files here to upload immediately"],
]) {
  pageTest(`"${text}" has the tooltip "${tooltip}"`, kView, async ({ page }) => {
    await openFileManager(page);
    const control = page.locator(selector);
    assert.equal((await control.textContent()).trim(), text);
    assert.equal(await control.getAttribute("title"), tooltip);
  });
}

pageTest("master buttons are 120 x 30 and all buttons are rounded", kView, async ({ page }) => {
  await openFileManager(page);
  assert.ok((await page.locator("button.master").count()) >= 3);
  for (const button of await page.locator("button.master").all()) {
    assert.deepEqual(await sizeOf(button), [120, 30]);
  }
  for (const button of await page.locator("button").all()) {
    assert.deepEqual(await styleOf(button, "border-radius", "border-color", "background-color"), [
      "5px",
      "rgb(187, 187, 187)",
      "rgb(247, 247, 247)",
    ]);
  }
});

pageTest("a button lights up under the mouse", kView, async ({ page }) => {
  await openFileManager(page);
  await page.locator("#pickBtn").hover();
  await page.waitForFunction(
    () =>
      getComputedStyle(document.getElementById("pickBtn")).backgroundColor === "rgb(239, 239, 239)",
  );
});

pageTest("the file input takes several files and stands off-screen", kView, async ({ page }) => {
  await openFileManager(page);
  const input = page.locator("#files");
  assert.equal(await input.evaluate((element) => element.multiple), true);
  const right = await input.evaluate((element) => element.getBoundingClientRect().right);
  assert.ok(right < 0);
});

pageTest(
  "the file label is white, cut with an ellipsis, and empty at first",
  kView,
  async ({ page }) => {
    await openFileManager(page);
    const label = page.locator("#fileLabel");
    assert.equal(await label.textContent(), "No files selected");
    assert.deepEqual(
      await styleOf(label, "background-color", "text-overflow", "overflow-x", "white-space"),
      ["rgb(255, 255, 255)", "ellipsis", "hidden", "nowrap"],
    );
  },
);

pageTest("the drop zone has its measures", kView, async ({ page }) => {
  await openFileManager(page);
  const zone = page.locator("#dropzone");
  assert.deepEqual(await styleOf(zone, "height", "border", "background-color", "text-align"), [
    "38px",
    "2px dashed rgb(187, 187, 187)",
    "rgb(255, 255, 255)",
    "center",
  ]);
});

pageTest('the path line reads "Path: /" in bold grey', kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await textOf(page, ".path"), "Path: /");
  assert.deepEqual(await styleOf(page.locator("#path"), "font-weight", "font-size", "color"), [
    "600",
    "13px",
    "rgb(119, 119, 119)",
  ]);
});

pageTest("the table has its header cells", kView, async ({ page }) => {
  await openFileManager(page);
  const cells = page.locator("thead tr > *");
  const texts = (await cells.allTextContents()).map((text) => text.trim());
  assert.deepEqual(texts, ["", "Name", "Type", "Size", "Actions", ""]);
  assert.equal(await cells.first().locator("#selAll[type=checkbox]").count(), 1);
  for (const cell of await cells.all()) {
    assert.deepEqual(await styleOf(cell, "background-color"), ["rgb(204, 204, 204)"]);
  }
  assert.deepEqual(await styleOf(cells.last(), "text-align"), ["right"]);
});

pageTest("the table's columns share the width", kView, async ({ page }) => {
  await openFileManager(page);
  const widths = await page
    .locator("thead tr > *")
    .evaluateAll((cells) => cells.map((cell) => cell.getBoundingClientRect().width));
  const table = widths.reduce((sum, width) => sum + width, 0);
  assert.equal(table, 1280 - 36);
  const near = (width, share) => Math.abs(width / table - share) < 0.015;
  assert.ok(widths[0] >= 45 && widths[0] <= 60, `first column: ${widths[0]}`);
  assert.ok(near(widths[1], 0.5), `name: ${widths[1]}`);
  assert.ok(near(widths[2], 0.08), `type: ${widths[2]}`);
  assert.ok(near(widths[3], 0.08), `size: ${widths[3]}`);
  assert.ok(near(widths[4], 0.2), `actions: ${widths[4]}`);
  assert.ok(near(widths[5], 0.1), `rest: ${widths[5]}`);
});

pageTest("the rows have their measures and light up", kView, async ({ page }) => {
  await openFileManager(page);
  const row = rowOf(page, "a.txt");
  const cell = row.locator("td").nth(1);
  assert.deepEqual(await styleOf(cell, "font-size", "padding", "border-bottom"), [
    "13px",
    "6px",
    "1px solid rgb(238, 238, 238)",
  ]);
  assert.deepEqual(await styleOf(page.locator("table"), "border-collapse"), ["collapse"]);
  await row.hover();
  assert.deepEqual(await styleOf(row, "background-color"), ["rgb(250, 250, 250)"]);
});

pageTest("the new-folder field has its placeholder and a label", kView, async ({ page }) => {
  await openFileManager(page);
  const field = page.getByLabel("New folder name");
  assert.equal(await field.getAttribute("id"), "mkdirName");
  assert.equal(await field.getAttribute("placeholder"), "New folder name");
});

pageTest("the footer is one small grey line on the right", kView, async ({ page }) => {
  await openFileManager(page);
  const footer = page.locator("footer");
  assert.notEqual((await footer.textContent()).trim(), "");
  assert.deepEqual(await styleOf(footer, "font-size", "color", "text-align"), [
    "12px",
    "rgb(170, 170, 170)",
    "right",
  ]);
});

pageTest("the transfer dialog is hidden at load, with its first texts", kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await page.locator("#xferModal").isVisible(), false);
  assert.equal(await textOf(page, "#xferTitle"), "Transfer");
  assert.equal(await textOf(page, "#xferText"), "...");
  assert.equal((await textOf(page, "#xferDetail")).trim(), "");
  const [max, value] = await page
    .locator("#xferBar")
    .evaluate((element) => [element.max, element.value]);
  assert.deepEqual([max, value], [100, 0]);
});

pageTest("progress and messages are announced to screen readers", kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await page.locator("#xferText").getAttribute("role"), "status");
  const dialog = page.locator("#xferModal");
  assert.equal(await dialog.getAttribute("aria-labelledby"), "xferTitle");
});

pageTest("the transfer dialog has its measures", kView, async ({ page }) => {
  await openFileManager(page);
  await rowOf(page, "a.txt").getByRole("checkbox").check();
  await page.route("**/api/zip", () => {});
  await page.getByText("Download ZIP").click();
  const overlay = page.locator("#xferModal");
  assert.deepEqual(await styleOf(overlay, "position", "background-color"), [
    "fixed",
    "rgba(0, 0, 0, 0.35)",
  ]);
  assert.deepEqual(await sizeOf(overlay), [1280, 800]);
  const card = page.locator(".xferCard");
  assert.equal((await sizeOf(card))[0], 560);
  assert.deepEqual(await styleOf(card, "border-radius", "background-color"), [
    "5px",
    "rgb(255, 255, 255)",
  ]);
  const place = await card.boundingBox();
  assert.ok(Math.abs(place.x + place.width / 2 - 640) < 1);
  assert.ok(Math.abs(place.y + place.height / 2 - 400) < 1);
  assert.deepEqual(await styleOf(page.locator("#xferBar"), "height"), ["18px"]);
  assert.deepEqual(await styleOf(page.locator("#xferText"), "font-size"), ["13px"]);
  assert.deepEqual(await styleOf(page.locator("#xferDetail"), "font-size"), ["12px"]);
  assert.equal(await page.getByRole("button", { name: "Close" }).isVisible(), true);
});

pageTest(
  "on a phone the drag-and-drop box is absent and nothing scrolls sideways",
  { files: { ...kFiles, [`${"W".repeat(196)}.txt`]: "x" }, context: kPhone },
  async ({ page }) => {
    await openFileManager(page);
    assert.equal(await page.locator("#dropzone").isVisible(), false);
    assert.equal(await page.getByText("Upload - Drag & Drop").isVisible(), false);
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390);
    for (const title of [" Upload - Explorer", " Download Files"]) {
      const box = page.locator(".box").filter({ hasText: title });
      assert.deepEqual(await sizeOf(box), [354, 106]);
    }
  },
);

pageTest(
  "on a wide touch screen the drag-and-drop box is absent too",
  { ...kView, context: { viewport: { width: 1024, height: 768 }, hasTouch: true, isMobile: true } },
  async ({ page }) => {
    await openFileManager(page);
    assert.equal(await page.locator("#dropzone").isVisible(), false);
  },
);

for (const [width, shown] of [
  [600, false],
  [601, true],
]) {
  pageTest(
    `at ${width} px the drag-and-drop box is ${shown ? "shown" : "absent"}`,
    { ...kView, context: { ...kDesktop, viewport: { width, height: 700 } } },
    async ({ page }) => {
      await openFileManager(page);
      assert.equal(await page.locator("#dropzone").isVisible(), shown);
    },
  );
}

pageTest(
  "on a phone the transfer card leaves 28 px of the width",
  { ...kView, context: kPhone },
  async ({ page }) => {
    await openFileManager(page);
    await page.route("**/api/zip", () => {});
    await rowOf(page, "a.txt").getByRole("checkbox").tap();
    await page.getByText("Download ZIP").tap();
    assert.equal((await sizeOf(page.locator(".xferCard")))[0], 362);
  },
);

pageTest("every control can be reached with the Tab key", kView, async ({ page }) => {
  await openFileManager(page);
  const reached = [];
  await page.locator("#pickBtn").focus();
  for (let i = 0; i < 14; i += 1) {
    reached.push(
      await page.evaluate(() => {
        const { id, title, textContent } = document.activeElement;
        return id || title || textContent.trim();
      }),
    );
    await page.keyboard.press("Tab");
  }
  for (const name of [
    "pickBtn",
    "uploadBtn",
    "zipBtn",
    "downloadAllBtn",
    "deleteSelectedBtn",
    "selAll",
    "Photos",
    "Delete this directory permanently",
    "Create a direct link for this folder",
    "Download this file",
    "Delete this file permanently",
    "Create a direct download link",
    "mkdirName",
  ]) {
    assert.ok(reached.includes(name), `${name} is not among ${reached.join(", ")}`);
  }
});
