import assert from "node:assert/strict";
import fs from "node:fs";
import {
  nextListing,
  openFileManager,
  pageTest,
  requestsTo,
  rootNames,
  rootPath,
  rowNames,
  rowOf,
  styleOf,
  useWorld,
  waitForRows,
} from "./world.mjs";

useWorld();

const kFiles = { "a.txt": "alpha", "b.txt": "b".repeat(1536), "Photos/c.txt": "c" };
const kView = { files: kFiles };
const kRefused = { ...kView, problems: /Failed to load resource/ };

async function answerList(page, items) {
  await page.route("**/api/list**", (route) => route.fulfill({ json: { ok: true, items } }));
}

pageTest("the listing shows every entry with its icon and size", kView, async ({ page }) => {
  await openFileManager(page);
  await waitForRows(page, ["a.txt", "b.txt", "Photos"]);
  const cells = (name) => rowOf(page, name).locator("td").allTextContents();
  const trimmed = async (name) => (await cells(name)).slice(0, 4).map((text) => text.trim());
  assert.deepEqual(await trimmed("a.txt"), ["", "a.txt", "\u{1f4c4}", "5 B"]);
  assert.deepEqual(await trimmed("b.txt"), ["", "b.txt", "\u{1f4c4}", "1.5 KB"]);
  assert.deepEqual(await trimmed("Photos"), ["", "Photos", "\u{1f4c1}", ""]);
  assert.equal((await cells("a.txt")).length, 6);
  assert.deepEqual(await styleOf(rowOf(page, "a.txt").locator("td").nth(2), "font-size"), ["20px"]);
});

pageTest("rows come in the order received", kView, async ({ page }) => {
  const names = ["z.txt", "A.txt", "m.txt"];
  await answerList(
    page,
    names.map((name) => ({ name, type: "file", size: 1 })),
  );
  await openFileManager(page);
  await waitForRows(page, names);
  assert.deepEqual(await rowNames(page), names);
});

for (const [size, text] of [
  [0, "0 B"],
  [1023, "1023 B"],
  [1024, "1.0 KB"],
  [1536, "1.5 KB"],
  [1024 * 1024 - 1, "1024.0 KB"],
  [1024 ** 2, "1.0 MB"],
  [5000000000, "4.7 GB"],
  [1024 ** 4, "1.0 TB"],
  [1024 ** 5 * 2, "2048.0 TB"],
  [undefined, ""],
]) {
  pageTest(`a size of ${size} bytes reads "${text}"`, kView, async ({ page }) => {
    await answerList(page, [{ name: "x.bin", type: "file", size }]);
    await openFileManager(page);
    await waitForRows(page, ["x.bin"]);
    assert.equal(await rowOf(page, "x.bin").locator(".sizeCell").textContent(), text);
  });
}

pageTest("an answer without items shows an empty table", kView, async ({ page }) => {
  await page.route("**/api/list**", (route) => route.fulfill({ json: { ok: true } }));
  await openFileManager(page);
  assert.deepEqual(await rowNames(page), []);
});

pageTest("a file row has its three actions with their tooltips", kView, async ({ page }) => {
  await openFileManager(page);
  const buttons = rowOf(page, "a.txt").getByRole("button");
  const titles = await buttons.evaluateAll((list) => list.map((button) => button.title));
  assert.deepEqual(titles, [
    "Download this file",
    "Delete this file permanently",
    "Create a direct download link",
  ]);
  const texts = (await buttons.allTextContents()).map((text) => text.trim());
  assert.deepEqual(texts, ["\u{1f4e5}", "\u274c", "\u{1f517}"]);
});

pageTest("a folder row has its two actions and no check box", kView, async ({ page }) => {
  await openFileManager(page);
  const row = rowOf(page, "Photos");
  const titles = await row
    .getByRole("button")
    .evaluateAll((list) => list.map((button) => button.title));
  assert.deepEqual(titles, [
    "Delete this directory permanently",
    "Create a direct link for this folder",
  ]);
  const texts = (await row.getByRole("button").allTextContents()).map((text) => text.trim());
  assert.deepEqual(texts, ["\u274c", "\u{1f517}"]);
  assert.equal(await row.getByRole("checkbox").count(), 0);
});

pageTest("a check box carries its file's name", kView, async ({ page }) => {
  await openFileManager(page);
  const names = await page
    .locator(".itemSel")
    .evaluateAll((boxes) => boxes.map((box) => box.getAttribute("data-name")));
  assert.deepEqual(names.sort(), ["a.txt", "b.txt"]);
});

pageTest("action buttons are labelled with the file's name", kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await page.getByRole("button", { name: "Download this file: a.txt" }).count(), 1);
  assert.equal(await page.getByRole("checkbox", { name: "Select a.txt" }).count(), 1);
});

pageTest("folders are entered and left by their links", kView, async ({ page }) => {
  await openFileManager(page);
  assert.equal(await page.getByText("..", { exact: true }).count(), 0);
  const requests = requestsTo(page, "/api/list");
  await page.getByRole("link", { name: "Photos" }).click();
  await waitForRows(page, ["c.txt"]);
  assert.equal(await page.locator("#path").textContent(), "/Photos");
  assert.equal(new URL(requests[0].url()).search, "?path=Photos");
  const upRow = page.locator("#rows tr").first();
  const cells = (await upRow.locator("td").allTextContents()).map((text) => text.trim());
  assert.deepEqual(cells, ["", "..", "\u{1f4c1}", "", "", ""]);
  await page.getByText("..", { exact: true }).click();
  await waitForRows(page, ["a.txt", "b.txt", "Photos"]);
  assert.equal(await page.locator("#path").textContent(), "/");
  assert.equal(await page.getByText("..", { exact: true }).count(), 0);
});

pageTest(
  '".." goes up one level at a time',
  { files: { "One/Two/Three/x.txt": "x" } },
  async ({ page }) => {
    await openFileManager(page);
    const requests = requestsTo(page, "/api/list");
    for (const name of ["One", "Two", "Three"]) {
      await page.getByRole("link", { name, exact: true }).click();
    }
    await waitForRows(page, ["x.txt"]);
    assert.equal(await page.locator("#path").textContent(), "/One/Two/Three");
    assert.ok(requests.some((request) => request.url().endsWith("?path=One%2FTwo%2FThree")));
    await page.getByText("..", { exact: true }).click();
    await waitForRows(page, ["Three"]);
    assert.equal(await page.locator("#path").textContent(), "/One/Two");
  },
);

pageTest("folders are entered with the keyboard", kView, async ({ page }) => {
  await openFileManager(page);
  await page.getByRole("link", { name: "Photos" }).focus();
  await page.keyboard.press("Enter");
  await waitForRows(page, ["c.txt"]);
});

pageTest("select-all gives its own state to every file", kView, async ({ page }) => {
  await openFileManager(page);
  await page.locator("#selAll").check();
  assert.equal(await page.locator(".itemSel:checked").count(), 2);
  await page.locator("#selAll").uncheck();
  assert.equal(await page.locator(".itemSel:checked").count(), 0);
});

pageTest("a folder is made from the trimmed name", kView, async ({ page }) => {
  await openFileManager(page);
  const requests = requestsTo(page, "/api/mkdir");
  await page.locator("#mkdirName").fill("  New things  ");
  await page.getByRole("button", { name: "Create folder" }).click();
  await waitForRows(page, ["a.txt", "b.txt", "New things", "Photos"]);
  assert.equal(await page.locator("#mkdirName").inputValue(), "");
  assert.equal(fs.statSync(rootPath("New things")).isDirectory(), true);
  assert.equal(requests[0].method(), "POST");
  assert.equal(requests[0].headers()["content-type"], "application/json");
  assert.deepEqual(requests[0].postDataJSON(), { path: "", name: "New things" });
});

pageTest("an empty folder name does nothing", kView, async ({ page }) => {
  await openFileManager(page);
  const requests = requestsTo(page, "/api/");
  await page.locator("#mkdirName").fill("   ");
  await page.getByRole("button", { name: "Create folder" }).click();
  assert.equal(requests.length, 0);
});

pageTest("a folder is made inside the folder that is shown", kView, async ({ page }) => {
  await openFileManager(page);
  await page.getByRole("link", { name: "Photos" }).click();
  await waitForRows(page, ["c.txt"]);
  await page.locator("#mkdirName").fill("Deep");
  await page.getByRole("button", { name: "Create folder" }).click();
  await waitForRows(page, ["c.txt", "Deep"]);
  assert.deepEqual(rootNames("Photos"), ["Deep", "c.txt"]);
});

pageTest(
  "an empty folder is removed after a question",
  { files: { "Old/": null } },
  async ({ page, dialogs }) => {
    await openFileManager(page);
    await page.getByTitle("Delete this directory permanently").click();
    await waitForRows(page, []);
    assert.deepEqual(dialogs.seen, [
      { type: "confirm", text: "Delete folder 'Old'? (must be empty)", value: "" },
    ]);
    assert.deepEqual(rootNames(), []);
  },
);

pageTest("a file is deleted after a question", kView, async ({ page, dialogs }) => {
  await openFileManager(page);
  const requests = requestsTo(page, "/api/delete");
  await rowOf(page, "a.txt").getByTitle("Delete this file permanently").click();
  await waitForRows(page, ["b.txt", "Photos"]);
  assert.deepEqual(dialogs.seen, [{ type: "confirm", text: "Delete file 'a.txt'?", value: "" }]);
  assert.deepEqual(requests[0].postDataJSON(), { path: "", name: "a.txt" });
  assert.deepEqual(rootNames(), ["Photos", "b.txt"]);
});

for (const [what, act] of [
  ["a file", (page) => rowOf(page, "a.txt").getByTitle("Delete this file permanently").click()],
  ["a folder", (page) => page.getByTitle("Delete this directory permanently").click()],
  [
    "the selection",
    async (page) => {
      await page.locator("#selAll").check();
      await page.locator("#deleteSelectedBtn").click();
    },
  ],
]) {
  pageTest(`a refused question leaves ${what} alone`, kView, async ({ page, dialogs }) => {
    dialogs.accept = false;
    await openFileManager(page);
    const requests = requestsTo(page, "/api/");
    await act(page);
    assert.equal(dialogs.seen.length, 1);
    assert.equal(requests.length, 0);
    assert.deepEqual(rootNames(), ["Photos", "a.txt", "b.txt"]);
  });
}

pageTest("the checked files are deleted together", kView, async ({ page, dialogs }) => {
  await openFileManager(page);
  const requests = requestsTo(page, "/api/delete_many");
  await page.locator("#selAll").check();
  await page.locator("#deleteSelectedBtn").click();
  await waitForRows(page, ["Photos"]);
  assert.deepEqual(dialogs.seen, [{ type: "confirm", text: "Delete 2 file(s)?", value: "" }]);
  const body = requests[0].postDataJSON();
  assert.deepEqual({ ...body, names: body.names.sort() }, { path: "", names: ["a.txt", "b.txt"] });
  assert.deepEqual(rootNames(), ["Photos"]);
});

for (const id of ["deleteSelectedBtn", "zipBtn", "downloadAllBtn"]) {
  pageTest(`${id} without a checked file says so`, kView, async ({ page, dialogs }) => {
    await openFileManager(page);
    const requests = requestsTo(page, "/api/");
    await page.locator(`#${id}`).click();
    assert.deepEqual(dialogs.seen, [{ type: "alert", text: "No files selected.", value: "" }]);
    assert.equal(requests.length, 0);
    assert.equal(await page.locator("#xferModal").isVisible(), false);
  });
}

pageTest(
  "a folder that is not empty stays, and nothing is said",
  kRefused,
  async ({ page, dialogs }) => {
    await openFileManager(page);
    const refused = page.waitForResponse("**/api/rmdir");
    const listings = requestsTo(page, "/api/list");
    await page.getByTitle("Delete this directory permanently").click();
    assert.equal((await refused).status(), 400);
    await page.evaluate(() => fetch("/api/status"));
    assert.equal(dialogs.seen.length, 1);
    assert.equal(listings.length, 0);
    assert.deepEqual(rootNames("Photos"), ["c.txt"]);
  },
);

for (const [what, answer] of [
  ["an error", { status: 500, json: { ok: false, error: "no" } }],
  ["a body that is not JSON", { status: 200, body: "<html>" }],
  ["ok false", { status: 200, json: { ok: false } }],
]) {
  pageTest(
    `a listing answered with ${what} leaves the rows as they were`,
    { ...kRefused, clock: true },
    async ({ page, dialogs }) => {
      await openFileManager(page);
      await waitForRows(page, ["a.txt", "b.txt", "Photos"]);
      await page.route("**/api/list**", (route) => route.fulfill(answer));
      await nextListing(page);
      await page.evaluate(() => fetch("/api/status"));
      await waitForRows(page, ["a.txt", "b.txt", "Photos"]);
      assert.deepEqual(dialogs.seen, []);
    },
  );
}

pageTest(
  "a folder name that cannot be made stays in the field",
  kRefused,
  async ({ page, dialogs }) => {
    await openFileManager(page);
    await page.locator("#mkdirName").fill("a/b");
    const refused = page.waitForResponse("**/api/mkdir");
    await page.getByRole("button", { name: "Create folder" }).click();
    assert.equal((await refused).status(), 400);
    await page.evaluate(() => fetch("/api/status"));
    assert.equal(await page.locator("#mkdirName").inputValue(), "a/b");
    assert.deepEqual(dialogs.seen, []);
  },
);
