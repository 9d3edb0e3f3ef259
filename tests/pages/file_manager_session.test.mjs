import assert from "node:assert/strict";
import { pick, select, upload } from "./transfer_probe.mjs";
import {
  openFileManager,
  pageTest,
  picked,
  rootNames,
  rowOf,
  useWorld,
  waitForRows,
} from "./world.mjs";

useWorld();

const kView = { files: { "a.txt": "alpha", "b.txt": "beta!", "Photos/c.txt": "see" } };

for (const [what, act] of [
  [
    "an upload",
    async (page) => {
      await pick(page, picked("late.txt"));
      await upload(page);
    },
  ],
  [
    "a ZIP",
    async (page) => {
      await select(page, "a.txt");
      await page.locator("#zipBtn").click();
    },
  ],
  ["sharing", (page) => rowOf(page, "a.txt").getByTitle("Create a direct download link").click()],
  ["deleting", (page) => rowOf(page, "a.txt").getByTitle("Delete this file permanently").click()],
  [
    "making a folder",
    async (page) => {
      await page.locator("#mkdirName").fill("late");
      await page.locator("#mkdirBtn").click();
    },
  ],
  ["entering a folder", (page) => page.getByRole("link", { name: "Photos" }).click()],
]) {
  const settings = { ...kView, problems: /status of 401/ };
  pageTest(
    `${what} without a session leads to the login page`,
    settings,
    async ({ page, context }) => {
      await openFileManager(page);
      await waitForRows(page, ["a.txt", "b.txt", "Photos"]);
      await context.clearCookies();
      await act(page);
      await page.locator("#code").waitFor();
      assert.equal(await page.title(), "HTTPS Harbinet PRO - Login");
      assert.deepEqual(rootNames(), ["Photos", "a.txt", "b.txt"]);
    },
  );
}
