import assert from "node:assert/strict";
import fs from "node:fs";
import { pick, upload } from "./transfer_probe.mjs";
import {
  eventually,
  openFileManager,
  openSharedFolder,
  pageTest,
  picked,
  rootNames,
  rootPath,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";

useWorld();

const kNames = [
  ["blanks", "two  blanks in it.txt"],
  ["a number sign", "number #1.txt"],
  ["a percent sign", "100% and %41.txt"],
  ["an ampersand", "this & that&copy.txt"],
  ["a plus sign", "1+1 = 2.txt"],
  ["an apostrophe", "it's Bob's.txt"],
  ["umlauts", "Grüße aus Köln.txt"],
  ["an emoji", "party \u{1f389}\u{1f600}.txt"],
  ["brackets and commas", "[a],{b};(c)=d!.txt"],
  ["200 characters", `${"n".repeat(196)}.txt`],
];

// Chromium takes a name with %41 in it for an encoded one, so only the content is compared.
async function downloadedText(page, click) {
  const [download] = await Promise.all([page.waitForEvent("download"), click()]);
  return fs.readFileSync(await download.path(), "utf8");
}

// Not waiting for the dialog to hide itself saves seconds in each of these tests.
async function closeDialog(page) {
  await page.waitForFunction(() => document.getElementById("xferBar").value === 100);
  await page.evaluate(() => document.getElementById("xferClose").click());
}

async function sharedLink(page, dialogs, title) {
  await page.getByTitle(title).click();
  await eventually(() => assert.equal(dialogs.seen.at(-1)?.type, "prompt"));
  return dialogs.seen.at(-1).value;
}

for (const [what, name] of kNames) {
  const content = `content of ${name}`;

  pageTest(
    `a file name with ${what} works in every action of the file manager`,
    { files: {}, clock: true },
    async ({ page, dialogs }) => {
      await openFileManager(page);
      await pick(page, picked(name, content));
      await upload(page);
      await page.locator(".itemSel").waitFor();
      assert.deepEqual(rootNames(), [name]);
      assert.equal(await page.locator(".itemSel").getAttribute("data-name"), name);
      await waitForTransfer(page, "Upload done.");
      await closeDialog(page);

      const row = page.locator("#rows tr");
      const text = await downloadedText(page, () => row.getByTitle("Download this file").click());
      assert.equal(text, content);
      await closeDialog(page);

      await row.getByRole("checkbox").check();
      const zip = await downloadedText(page, () => page.locator("#zipBtn").click());
      assert.ok(zip.includes(content) && zip.includes(name));
      await closeDialog(page);

      assert.equal(
        await downloadedText(page, () => page.locator("#downloadAllBtn").click()),
        content,
      );
      await page.clock.runFor(1500);
      await closeDialog(page);

      const link = await sharedLink(page, dialogs, "Create a direct download link");
      const answer = await page.context().request.get(link);
      assert.equal(await answer.text(), content);

      await row.getByTitle("Delete this file permanently").click();
      await waitForRows(page, []);
      assert.equal(dialogs.seen.at(-1).text, `Delete file '${name}'?`);
      assert.deepEqual(rootNames(), []);
    },
  );

  pageTest(
    `a checked file name with ${what} is deleted with the selection`,
    { files: { [name]: content, "other.txt": "stays" } },
    async ({ page }) => {
      await openFileManager(page);
      await page.locator(".itemSel").nth(1).waitFor();
      const index = (
        await page.locator(".itemSel").evaluateAll((boxes) => boxes.map((box) => box.dataset.name))
      ).indexOf(name);
      await page.locator(".itemSel").nth(index).check();
      await page.locator("#deleteSelectedBtn").click();
      await waitForRows(page, ["other.txt"]);
      assert.deepEqual(rootNames(), ["other.txt"]);
    },
  );

  // Folder paths must leave room for the file in them.
  const folder = name.replace(".txt", "").slice(0, 150);
  pageTest(
    `a folder name with ${what} works in every action`,
    { files: {} },
    async ({ page, dialogs }) => {
      await openFileManager(page);
      await page.locator("#mkdirName").fill(folder);
      await page.locator("#mkdirBtn").click();
      await page.locator("#rows a").waitFor();
      assert.deepEqual(rootNames(), [folder]);
      await page.locator("#rows a").click();
      await page.getByText("..", { exact: true }).waitFor();
      assert.equal(await page.locator("#path").textContent(), `/${folder}`);

      await pick(page, picked("in.txt", "inside"));
      await upload(page);
      await waitForRows(page, ["in.txt"]);
      await closeDialog(page);
      assert.equal(fs.readFileSync(rootPath(folder, "in.txt"), "utf8"), "inside");
      const text = await downloadedText(page, () => page.getByTitle("Download this file").click());
      assert.equal(text, "inside");
      await closeDialog(page);
      await page.locator(".itemSel").check();
      await page.locator("#deleteSelectedBtn").click();
      await waitForRows(page, []);

      await page.getByText("..", { exact: true }).click();
      const link = await sharedLink(page, dialogs, "Create a direct link for this folder");
      const answer = await page.context().request.get(`${link}/api/list`);
      assert.deepEqual(await answer.json(), { ok: true, items: [] });
      await page.getByTitle("Delete this directory permanently").click();
      await waitForRows(page, []);
      assert.equal(dialogs.seen.at(-1).text, `Delete folder '${folder}'? (must be empty)`);
      assert.deepEqual(rootNames(), []);
    },
  );

  pageTest(
    `a file name with ${what} works in every action of the shared folder`,
    { session: false, files: { "Shared/": null } },
    async ({ page, dialogs }) => {
      await openSharedFolder(page, "Shared");
      await pick(page, picked(name, content));
      await upload(page);
      await waitForTransfer(page, "Upload done.");
      assert.deepEqual(rootNames("Shared"), [name]);
      await page.reload();
      const row = page.locator("#rows tr");
      await row.waitFor();
      const text = await downloadedText(page, () => row.getByTitle("Download").click());
      assert.equal(text, content);
      await closeDialog(page);

      await row.getByRole("checkbox").check();
      assert.equal(await page.locator("#selInfo").textContent(), "1 selected");
      assert.equal(await downloadedText(page, () => page.locator("#dlSelBtn").click()), content);
      await closeDialog(page);
      await page.locator("#delSelBtn").click();
      await waitForRows(page, []);
      assert.deepEqual(rootNames("Shared"), []);

      fs.writeFileSync(rootPath("Shared", name), content);
      await page.reload();
      await row.waitFor();
      await row.getByTitle("Delete").click();
      await waitForRows(page, []);
      assert.equal(dialogs.seen.at(-1).text, `Delete file '${name}'?`);
      assert.deepEqual(rootNames("Shared"), []);
    },
  );
}

const kSmuggled = '<img src=x onerror="window.pwned=1">.txt';
const kBold = "<b>bold<script>window.pwned=1<";

async function assertHarmless(page, count) {
  await page
    .locator("#rows tr")
    .nth(count - 1)
    .waitFor();
  assert.equal(await page.locator("#rows img, #rows b, #rows script").count(), 0);
  assert.equal(await page.evaluate(() => globalThis.pwned), undefined);
  const names = await page.locator("#rows .name").allTextContents();
  assert.ok(names.includes(kSmuggled), names.join());
}

pageTest(
  "a name that is markup runs no script in the file manager",
  { files: { [kSmuggled]: "x", [kBold]: "y", [`folder ${kBold}/`]: null } },
  async ({ page }) => {
    await openFileManager(page);
    await assertHarmless(page, 3);
  },
);

pageTest(
  "a name that is markup runs no script in the shared folder",
  { session: false, files: { [`Shared/${kSmuggled}`]: "x", [`Shared/${kBold}`]: "y" } },
  async ({ page }) => {
    await openSharedFolder(page, "Shared");
    await assertHarmless(page, 2);
    await page.locator("#chkAll").check();
    assert.equal(await page.locator("#selInfo").textContent(), "2 selected");
  },
);

pageTest(
  "the markup of a name holds entities for angle brackets and quotes only",
  { files: {} },
  async ({ page }) => {
    const name = "a<b>\"c\"'d' & e&auml;.txt";
    await page.route("**/api/list**", (route) =>
      route.fulfill({ json: { ok: true, items: [{ name, type: "file", size: 1 }] } }),
    );
    await page.goto(`${world.program.origin}/`);
    const cell = page.locator("#rows .name");
    await cell.waitFor();
    assert.equal(await cell.textContent(), "a<b>\"c\"'d' & eä.txt");
    assert.equal(await page.locator(".itemSel").getAttribute("data-name"), name);
  },
);
