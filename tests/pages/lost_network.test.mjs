// Uploads that a network loses in the middle, and those of a phone that is locked meanwhile: its pages stand still.

import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { test } from "node:test";
import { openPuppeteer } from "./drive_puppeteer.mjs";
import { withRelay } from "./relay.mjs";
import { eventually } from "./visitor_checks.mjs";
import { fillRoot, rootPath, useProgram, world } from "./world.mjs";

const kLarge = Buffer.alloc(6 * 1024 * 1024, "large");
const kMiddle = 2 * 1024 * 1024;
const kLockedMs = 1000;

let folder;
let engine;

// Not useWorld(): with Playwright a page is always in sight, and one that is in sight does not stand still.
useProgram(
  async () => {
    folder = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-lost-"));
    fs.writeFileSync(path.join(folder, "large.bin"), kLarge);
    engine = await openPuppeteer("chromium", folder);
  },
  async () => {
    await engine?.close();
    fs.rmSync(folder, { recursive: true, force: true });
  },
);

function transfer(phone) {
  return phone.evaluate(() => ({
    open: document.getElementById("xferModal").open,
    bar: document.getElementById("xferBar").value,
    text: document.getElementById("xferText").textContent,
    detail: document.getElementById("xferDetail").textContent,
  }));
}

async function eventuallyNames(phone, names) {
  await eventually(async () => {
    const shown = await phone.evaluate(() =>
      Array.from(document.querySelectorAll("#rows .name"), (cell) => cell.textContent),
    );
    assert.deepEqual(shown.sort(), [...names].sort());
  });
}

async function openManager(phone, origin) {
  await phone.open(`${origin}/`);
  await phone.write("#code", world.program.pin);
  await phone.press("#loginBtn");
  await eventuallyNames(phone, ["S"]);
}

async function openShared(phone, origin) {
  await openManager(phone, origin);
  const { value } = await phone.dialogOf(() => phone.press("[data-action=shareFolder]"));
  await phone.open(value);
  await eventuallyNames(phone, ["a.txt"]);
}

// The page, how it is opened, the names that it lists, and its folder on the disk.
const kPages = [
  ["the file manager", openManager, ["S"], ""],
  ["a shared folder", openShared, ["a.txt"], "S"],
];

// Counts, in the page, what stands still with it.
async function countTicks(phone) {
  await phone.evaluate(() => {
    globalThis.ticks = 0;
    globalThis.isFrozen = false;
    setInterval(() => {
      globalThis.ticks += 1;
    }, 50);
    document.addEventListener("freeze", () => {
      globalThis.isFrozen = true;
    });
  });
}

// Runs body() while the page stands still and is out of sight.
async function whileLocked(phone, body) {
  await countTicks(phone);
  const session = await phone.page.createCDPSession();
  await session.send("Page.setWebLifecycleState", { state: "frozen" });
  await eventually(async () => assert.ok(await phone.evaluate(() => globalThis.isFrozen)));
  const ticks = await phone.evaluate(() => globalThis.ticks);
  await body();
  assert.equal(await phone.evaluate(() => globalThis.ticks), ticks);
  await session.send("Page.setWebLifecycleState", { state: "active" });
  const other = await phone.context.newPage();
  await other.bringToFront();
  await phone.page.bringToFront();
  await other.close();
  await eventually(async () =>
    assert.equal(await phone.evaluate(() => document.visibilityState), "visible"),
  );
}

async function staysLocked(phone) {
  await new Promise((resolve) => {
    setTimeout(resolve, kLockedMs);
  });
  assert.match((await transfer(phone)).text, /^Uploading: \d+%$/);
}

async function assertNetworkError(phone) {
  await eventually(async () =>
    assert.deepEqual(await transfer(phone), {
      open: true,
      bar: 0,
      text: "Upload error.",
      detail: "Network error",
    }),
  );
}

// The page is marked, so that one that was opened anew would be told from it.
async function uploadToTheMiddle(phone, relay) {
  await phone.evaluate(() => {
    globalThis.isSamePage = true;
  });
  const middle = relay.holdBehind(kMiddle);
  await phone.pick("#files", [path.join(folder, "large.bin")]);
  await phone.press("#uploadBtn");
  await middle;
  await eventually(async () => assert.match((await transfer(phone)).text, /^Uploading: \d+%$/));
}

// What had arrived stays until the whole file comes.
async function assertNextUploadWorks(phone, stored) {
  assert.ok(fs.statSync(stored).size < kLarge.length);
  await phone.press("#xferClose");
  assert.equal((await transfer(phone)).open, false);
  await phone.press("#uploadBtn");
  await assertUploaded(phone, stored);
}

async function assertUploaded(phone, stored) {
  await eventually(async () => assert.equal((await transfer(phone)).text, "Upload done."));
  assert.ok(fs.readFileSync(stored).equals(kLarge));
  await eventually(async () => assert.equal((await transfer(phone)).open, false));
}

// A test whose body(phone, relay, stored) begins when an upload stands still in its middle. Afterwards the page, which was
// never opened again, goes on listing what there is.
function lostTest([name, open, names, inFolder], what, body) {
  test(`${name} ${what}`, { timeout: 240000 }, async () => {
    fillRoot({ "S/a.txt": "alpha" });
    const phone = await engine.visit({ hasTouch: true });
    await phone.resize(390, 844);
    try {
      await withRelay(Number(new URL(world.program.origin).port), async (relay) => {
        await open(phone, relay.origin);
        await uploadToTheMiddle(phone, relay);
        await body(phone, relay, rootPath(inFolder, "large.bin"));
        fs.writeFileSync(rootPath(inFolder, "new.txt"), "new");
        await eventuallyNames(phone, ["large.bin", "new.txt", ...names]);
        assert.equal(await phone.evaluate(() => globalThis.isSamePage), true);
      });
      assert.deepEqual(
        phone.problems.filter((text) => !/Failed to load resource/.test(text)),
        [],
      );
    } finally {
      await phone.close();
    }
  });
}

for (const page of kPages) {
  lostTest(
    page,
    "tells of a network that is lost in the middle of an upload; the next one works",
    async (phone, relay, stored) => {
      relay.cutHeld();
      await assertNetworkError(phone);
      await assertNextUploadWorks(phone, stored);
    },
  );

  lostTest(
    page,
    "tells after a lock that the upload lost its network meanwhile; the next one works",
    async (phone, relay, stored) => {
      await whileLocked(phone, async () => {
        relay.cutHeld();
        await staysLocked(phone);
      });
      await assertNetworkError(phone);
      await assertNextUploadWorks(phone, stored);
    },
  );

  lostTest(
    page,
    "goes on after a lock with an upload that kept its network",
    async (phone, relay, stored) => {
      await whileLocked(phone, () => staysLocked(phone));
      relay.letGo();
      await assertUploaded(phone, stored);
    },
  );

  lostTest(
    page,
    "tells after a lock of an upload that has ended meanwhile",
    async (phone, relay, stored) => {
      await whileLocked(phone, async () => {
        relay.letGo();
        await eventually(() => assert.equal(fs.statSync(stored).size, kLarge.length));
        await staysLocked(phone);
      });
      await assertUploaded(phone, stored);
    },
  );
}

lostTest(
  kPages[0],
  "tells after a long lock that the program gave the upload up; the next one works",
  async (phone, relay, stored) => {
    await whileLocked(phone, () => relay.programClosed());
    await eventually(async () =>
      assert.match((await transfer(phone)).text, /^Upload (error|failed)\.$/),
    );
    await assertNextUploadWorks(phone, stored);
  },
);
