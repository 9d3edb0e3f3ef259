// Requests that a lost network leaves without an answer, on the page's own clock.

import assert from "node:assert/strict";
import fs from "node:fs";
import { withRelay } from "./relay.mjs";
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
  shareFolder,
  transfer,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";

useWorld();

const kAnswerMs = 60000;
const kSilenceMs = 75000;
// Longer than the server waits for the next byte.
const kSlowMs = 65000;

const kView = { files: { "S/a.txt": "alpha" }, clock: true, init: kWatchRequests };

const kPages = [
  ["the file manager", openFileManager, rootPath, ["S"], () => "/"],
  [
    "a shared folder",
    (page) => openSharedFolder(page, "S"),
    (name) => rootPath("S", name),
    ["a.txt"],
    () => shareFolder("S"),
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
  return page.evaluate(async () => {
    const { status } = await fetch("/api/status");
    return { status };
  });
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

// Lets the page ask for its listing, and ask in vain. `request` is what stays without an answer until answer() is called.
async function askInVain(page) {
  const answer = await holdNext(page, "**/api/list**");
  const asked = page.waitForRequest("**/api/list**");
  await page.clock.runFor(5000);
  return { answer, request: await asked };
}

pageTest(
  "the file manager gives a listing up that has no answer after 60 seconds",
  kView,
  async ({ page }) => {
    await openFileManager(page);
    const { request } = await askInVain(page);
    await page.clock.runFor(kAnswerMs - 1);
    await settled(page);
    assert.equal(request.failure(), null);
    await page.clock.runFor(1);
    await eventually(() => assert.equal(request.failure()?.errorText, "net::ERR_ABORTED"));
    addToRoot({ "new.txt": "new" });
    await page.clock.runFor(5000);
    await waitForRows(page, ["S", "new.txt"]);
  },
);

// Counts the requests for a listing that are on their way, none of which gets an answer.
async function holdListings(page) {
  const counts = { asked: 0, ended: 0 };
  await page.route("**/api/list**", () => {
    counts.asked += 1;
  });
  page.on("requestfailed", (request) => {
    counts.ended += request.url().includes("/api/list") ? 1 : 0;
  });
  return counts;
}

pageTest(
  "the file manager asks every five seconds, and two listings at most are on their way",
  kView,
  async ({ page }) => {
    await openFileManager(page);
    const counts = await holdListings(page);
    for (const asked of [1, 2, 3, 4, 5, 6, 7, 8]) {
      await page.clock.runFor(5000);
      await eventually(() => assert.deepEqual(counts, { asked, ended: Math.max(0, asked - 2) }));
    }
    assert.equal((await settled(page)).status, 200);
  },
);

pageTest(
  "the file manager shows a folder whose listing takes 59 seconds",
  { ...kView, files: { "S/a.txt": "alpha", "S/b.txt": "beta" } },
  async ({ page }) => {
    await openFileManager(page);
    let isFirst = true;
    let answer;
    await page.route("**/api/list?path=S", (route) => {
      if (isFirst) answer = () => route.continue();
      isFirst = false;
    });
    await page.getByRole("link", { name: "S", exact: true }).click();
    await eventually(() => assert.ok(answer));
    for (let i = 0; i < 59; i += 1) {
      await page.clock.runFor(1000);
    }
    await answer();
    await waitForRows(page, ["a.txt", "b.txt"]);
  },
);

pageTest("a listing on its way ends when another folder is entered", kView, async ({ page }) => {
  await openFileManager(page);
  const { request } = await askInVain(page);
  await page.getByRole("link", { name: "S", exact: true }).click();
  await waitForRows(page, ["a.txt"]);
  await eventually(() => assert.equal(request.failure()?.errorText, "net::ERR_ABORTED"));
});

pageTest(
  "a shared folder gives a listing up that has no answer after 60 seconds, and asks again",
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

pageTest("a listing that takes less than 60 seconds is shown", kView, async ({ page }) => {
  await openSharedFolder(page, "S");
  await waitForRows(page, ["a.txt"]);
  const requests = requestsTo(page, "/api/list");
  const { answer } = await askInVain(page);
  addToRoot({ "S/new.txt": "new" });
  await page.clock.runFor(kAnswerMs - 1);
  await answer();
  await waitForRows(page, ["a.txt", "new.txt"]);
  assert.equal(requests.length, 1);
});

// A listing of some 300 KB, of which the network lets a part through.
const kHalfBytes = 100000;
const kLong = Object.fromEntries(
  Array.from({ length: 1500 }, (_, i) => `${"long ".repeat(30)}${i}.txt`).flatMap((name) => [
    [name, ""],
    [`S/${name}`, ""],
  ]),
);

for (const [name, , stored, names, addressOf] of kPages) {
  pageTest(
    `${name} gives a listing up that stops in its middle, and asks again`,
    { files: { "S/a.txt": "alpha" }, clock: true, problems: /^foreign request/ },
    async ({ page }) => {
      const address = await addressOf();
      await withRelay(Number(new URL(world.program.origin).port), async (relay) => {
        await page.goto(relay.origin + address);
        await waitForRows(page, names);
        addToRoot(kLong);
        relay.answerLimit = kHalfBytes;
        const begun = page.waitForResponse("**/api/list**");
        await page.clock.runFor(5000);
        const request = (await begun).request();
        relay.answerLimit = Infinity;
        for (const long of Object.keys(kLong)) fs.rmSync(rootPath(long));
        fs.writeFileSync(stored("new.txt"), "new");
        await page.clock.runFor(kAnswerMs - 1);
        assert.equal(request.failure(), null);
        await page.clock.runFor(1);
        await eventually(() => assert.equal(request.failure()?.errorText, "net::ERR_ABORTED"));
        await page.clock.runFor(5000);
        await waitForRows(page, [...names, "new.txt"]);
      });
    },
  );
}

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
