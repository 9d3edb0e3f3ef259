// Requests that a lost network leaves without an answer, on the page's own clock.

import assert from "node:assert/strict";
import fs from "node:fs";
import { assertStaysOpen, kWatchRequests, pick, playProgress, upload } from "./transfer_probe.mjs";
import {
  addToRoot,
  eventually,
  openFileManager,
  openSharedFolder,
  pageTest,
  picked,
  requestsTo,
  rootPath,
  rowNames,
  transfer,
  useWorld,
  waitForRows,
  waitForTransfer,
} from "./world.mjs";

useWorld();

const kAnswerMs = 15000;
const kSilenceMs = 75000;
// Longer than the server waits for the next byte.
const kSlowMs = 65000;

const kView = { files: { "S/a.txt": "alpha" }, clock: true, init: kWatchRequests };

const kPages = [
  ["the file manager", openFileManager, rootPath, ["S"]],
  [
    "a shared folder",
    (page) => openSharedFolder(page, "S"),
    (name) => rootPath("S", name),
    ["a.txt"],
  ],
];

// Leaves the next request to `address` without an answer until the function that is given is called.
async function holdNext(page, address) {
  let answer;
  await page.route(
    address,
    (route) => {
      answer = () => route.continue();
    },
    { times: 1 },
  );
  return () => eventually(() => answer());
}

// What the page does by itself has been done when an answer has come.
function settled(page) {
  return page.evaluate(() => fetch("/api/status"));
}

function failuresOf(page, part) {
  const failed = [];
  page.on("requestfailed", (request) => {
    if (request.url().includes(part)) {
      failed.push(request.failure().errorText);
    }
  });
  return failed;
}

// Lets the page ask for its listing, and ask in vain.
async function askInVain(page) {
  const answer = await holdNext(page, "**/api/list**");
  const asked = page.waitForRequest("**/api/list**");
  await page.clock.runFor(5000);
  await asked;
  return answer;
}

pageTest(
  "the file manager gives a listing up that has no answer after 15 seconds",
  kView,
  async ({ page }) => {
    await openFileManager(page);
    const failed = failuresOf(page, "/api/list");
    await askInVain(page);
    await page.clock.runFor(kAnswerMs - 1);
    await settled(page);
    assert.deepEqual(failed, []);
    await page.clock.runFor(1);
    await eventually(() => assert.deepEqual(failed, ["net::ERR_ABORTED"]));
    addToRoot({ "new.txt": "new" });
    await page.clock.runFor(5000);
    await waitForRows(page, ["S", "new.txt"]);
  },
);

pageTest(
  "a shared folder gives a listing up that has no answer after 15 seconds, and asks again",
  kView,
  async ({ page }) => {
    await openSharedFolder(page, "S");
    await waitForRows(page, ["a.txt"]);
    const requests = requestsTo(page, "/api/list");
    const failed = failuresOf(page, "/api/list");
    await askInVain(page);
    addToRoot({ "S/new.txt": "new" });
    await page.clock.runFor(kAnswerMs - 1);
    await settled(page);
    assert.deepEqual([requests.length, failed.length], [1, 0]);
    await page.clock.runFor(1);
    await eventually(() => assert.deepEqual(failed, ["net::ERR_ABORTED"]));
    await settled(page);
    await page.clock.runFor(5000);
    await waitForRows(page, ["a.txt", "new.txt"]);
    assert.equal(requests.length, 2);
  },
);

pageTest("a listing that takes less than 15 seconds is shown", kView, async ({ page }) => {
  await openSharedFolder(page, "S");
  await waitForRows(page, ["a.txt"]);
  const requests = requestsTo(page, "/api/list");
  const answer = await askInVain(page);
  addToRoot({ "S/new.txt": "new" });
  await page.clock.runFor(kAnswerMs - 1);
  await answer();
  await waitForRows(page, ["a.txt", "new.txt"]);
  assert.equal(requests.length, 1);
});

// What a page tells as soon as it is open, with listings whose bodies come late.
function delayBodies() {
  for (const read of ["text", "json"]) {
    const readNow = Response.prototype[read];
    Response.prototype[read] = async function readLate() {
      await new Promise((resolve) => {
        setTimeout(resolve, 1000);
      });
      return readNow.call(this);
    };
  }
}

for (const [name, open, , names] of kPages) {
  pageTest(
    `${name} counts as open to these tests when its rows are there`,
    { files: kView.files, init: delayBodies },
    async ({ page }) => {
      await open(page);
      assert.deepEqual(await rowNames(page), names);
    },
  );
}

for (const [name, open, stored] of kPages) {
  pageTest(
    `${name} gives an upload up in which nothing moves for 75 seconds, and the next one works`,
    kView,
    async ({ page }) => {
      await open(page);
      await holdNext(page, "**/upload**");
      await pick(page, picked("late.txt", "late"));
      const request = page.waitForRequest("**/upload**");
      await upload(page);
      await request;
      await page.clock.runFor(kSilenceMs - 1);
      await settled(page);
      assert.equal((await transfer(page)).text, "Preparing upload…");
      await page.clock.runFor(1);
      const shown = await waitForTransfer(page, "Upload error.");
      assert.equal(shown.bar, 0);
      assert.equal(shown.detail, "Network error");
      await assertStaysOpen(page);
      await upload(page);
      await waitForTransfer(page, "Upload done.");
      assert.equal(fs.readFileSync(stored("late.txt"), "utf8"), "late");
    },
  );

  pageTest(
    `${name} lets an upload go on that moves once in 65 seconds`,
    kView,
    async ({ page }) => {
      await open(page);
      const answer = await holdNext(page, "**/upload**");
      await pick(page, picked("slow.txt", "slow"));
      const request = page.waitForRequest("**/upload**");
      await upload(page);
      await request;
      for (const loaded of [1, 2, 3, 4, 5, 6]) {
        await page.clock.runFor(kSlowMs);
        await playProgress(page, "upload", { lengthComputable: true, loaded, total: 8 });
      }
      await page.clock.runFor(kSlowMs);
      await settled(page);
      assert.equal((await transfer(page)).text, "Uploading: 75%");
      await answer();
      await waitForTransfer(page, "Upload done.");
      assert.equal(fs.readFileSync(stored("slow.txt"), "utf8"), "slow");
    },
  );
}
