import assert from "node:assert/strict";
import { openFileManager, pageTest, rowOf, useWorld, waitForRows, world } from "./world.mjs";

useWorld();

const kView = { files: { "a.txt": "alpha", "Photos/c.txt": "see" } };
const kRefused = { ...kView, problems: /Failed to load resource/ };
const kFilePrompt =
  "Share this URL for a direct download without PIN registration (copied if possible):";
const kFolderPrompt = "Share this URL for direct access (copied if possible):";

function shareFile(page) {
  return rowOf(page, "a.txt").getByTitle("Create a direct download link").click();
}

async function waitForDialog(dialogs) {
  const end = Date.now() + 10000;
  while (dialogs.seen.length === 0 && Date.now() < end) {
    await new Promise((resolve) => {
      setTimeout(resolve, 20);
    });
  }
  assert.equal(dialogs.seen.length, 1);
  return dialogs.seen[0];
}

pageTest("a file's link is shown and copied", kView, async ({ page, context, dialogs }) => {
  await context.grantPermissions(["clipboard-read", "clipboard-write"]);
  await openFileManager(page);
  const request = page.waitForRequest("**/api/share**");
  await shareFile(page);
  assert.equal(new URL((await request).url()).search, "?path=a.txt");
  const shown = await waitForDialog(dialogs);
  assert.equal(shown.type, "prompt");
  assert.equal(shown.text, kFilePrompt);
  assert.match(shown.value, new RegExp(`^${world.program.origin}/s/[0-9a-f]+$`));
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), shown.value);
});

pageTest("a folder's link is shown", kView, async ({ page, dialogs }) => {
  await openFileManager(page);
  const request = page.waitForRequest("**/api/share**");
  await page.getByTitle("Create a direct link for this folder").click();
  assert.equal(new URL((await request).url()).search, "?path=Photos");
  const shown = await waitForDialog(dialogs);
  assert.equal(shown.text, kFolderPrompt);
  assert.match(shown.value, new RegExp(`^${world.program.origin}/d/[0-9a-f]+$`));
});

pageTest("a file below a folder is shared by its whole path", kView, async ({ page, dialogs }) => {
  await openFileManager(page);
  await page.getByRole("link", { name: "Photos" }).click();
  await waitForRows(page, ["c.txt"]);
  const request = page.waitForRequest("**/api/share**");
  await page.getByTitle("Create a direct download link").click();
  assert.equal(new URL((await request).url()).search, "?path=Photos%2Fc.txt");
  await waitForDialog(dialogs);
});

pageTest(
  "a clipboard that refuses does not keep the link from being shown",
  {
    ...kView,
    init: () => {
      Object.defineProperty(navigator, "clipboard", {
        value: { writeText: () => Promise.reject(new Error("denied")) },
      });
    },
  },
  async ({ page, dialogs }) => {
    await openFileManager(page);
    await shareFile(page);
    assert.equal((await waitForDialog(dialogs)).type, "prompt");
  },
);

for (const [what, answer, type, expected] of [
  ["a path", { ok: true, path: "/s/abc", url: "https://other/s/x" }, "prompt", "ORIGIN/s/abc"],
  ["only a url", { ok: true, path: "", url: "https://other/s/x" }, "prompt", "https://other/s/x"],
  ["neither", { ok: true, path: "", url: "" }, "alert", "No URL returned"],
]) {
  pageTest(`a share answer with ${what} gives ${expected}`, kView, async ({ page, dialogs }) => {
    await openFileManager(page);
    await page.route("**/api/share**", (route) => route.fulfill({ json: answer }));
    await shareFile(page);
    const shown = await waitForDialog(dialogs);
    assert.equal(shown.type, type);
    const text = type === "prompt" ? shown.value : shown.text;
    assert.equal(text, expected.replace("ORIGIN", world.program.origin));
  });
}

for (const [what, answer, text] of [
  ["an error", { status: 404, json: { ok: false, error: "Not found" } }, "Not found"],
  ["no error text", { status: 500, json: { ok: false } }, "HTTP 500"],
  ["a body that is not JSON", { status: 200, body: "<html>" }, "Bad JSON"],
]) {
  pageTest(
    `sharing answered with ${what} alerts "${text}"`,
    kRefused,
    async ({ page, dialogs }) => {
      await openFileManager(page);
      await page.route("**/api/share**", (route) => route.fulfill(answer));
      await shareFile(page);
      assert.deepEqual(await waitForDialog(dialogs), { type: "alert", text, value: "" });
    },
  );
}

pageTest(
  "a share failure without a message has a text of its own",
  {
    ...kView,
    init: () => {
      const original = globalThis.fetch;
      globalThis.fetch = (address, options) =>
        address.startsWith("/api/share")
          ? Promise.reject(new Error(""))
          : original(address, options);
    },
  },
  async ({ page, dialogs }) => {
    await openFileManager(page);
    await shareFile(page);
    assert.equal((await waitForDialog(dialogs)).text, "Failed to create share link");
  },
);
