// One set of journeys for three browser engines. What an engine gives: visit({ hasTouch }) opens a browser that nobody
// has used before, and downloads is the folder where its downloads arrive. What a visitor can do: drive_puppeteer.mjs.

import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { test } from "node:test";
import { consoleTests } from "./console_journeys.mjs";
import { ids } from "../support/harbinet.mjs";
import { openPuppeteer } from "./drive_puppeteer.mjs";
import { openWebKit } from "./drive_webkit.mjs";
import {
  dialogHidden,
  downloaded,
  eventuallyNames,
  eventuallyText,
  folderLink,
  labelled,
  logInByHand,
  makeFiles,
  scene,
  textOf,
  upload,
  withGuest,
} from "./journey_steps.mjs";
import { phoneTests, touchTests } from "./phone_journeys.mjs";
import { readStoredZip } from "./stored_zip.mjs";
import {
  addToRoot,
  changeWebRoot,
  fillRoot,
  restartProgram,
  rootNames,
  rootPath,
  useProgram,
  world,
} from "./world.mjs";
import { eventually, statusOf } from "./visitor_checks.mjs";

const kNames = ["it's 1 + 1.txt", "Grüße #2 & 100%.txt", "party \u{1f389}.txt", "two  blanks.txt"];
const kTwenty = Array.from({ length: 20 }, (_, i) => `file ${i}.txt`);

async function stopServer() {
  await world.program.harbinet.press(ids.server);
}

async function startServer() {
  await world.program.harbinet.press(ids.server);
  await world.program.harbinet.waitForServer();
}

function loginTests(name) {
  test(`${name} asks for six digits, refuses a wrong PIN and takes the right one`, async () => {
    await scene.visitor.open(`${world.program.origin}/`);
    assert.equal(await scene.visitor.evaluate(() => document.title), "HTTPS Harbinet PRO - Login");
    await scene.visitor.press("#loginBtn");
    await eventuallyText("#msg", "Enter 6 digits.");
    await scene.visitor.write("#code", world.program.pin === "000000" ? "000001" : "000000");
    await scene.visitor.press("#loginBtn");
    await eventuallyText("#msg", "Wrong code");
    await logInByHand();
  });
}

function transferTests(name) {
  test(`${name} uploads twenty files at once from the picker`, async () => {
    await upload(makeFiles(...kTwenty));
    await eventuallyNames(kTwenty);
    await dialogHidden();
    for (const file of kTwenty) {
      assert.equal(fs.readFileSync(rootPath(file), "utf8"), `content of ${file}`);
    }
    assert.equal(await textOf("#fileLabel"), "No files selected");
  });

  test(`${name} shows within seconds what came and went on the disk`, async () => {
    fillRoot({ "new.txt": "new" });
    await eventuallyNames(["new.txt"]);
  });

  test(`${name} uploads and lists names of every kind as they are`, async () => {
    await upload(makeFiles(...kNames));
    await eventuallyNames([...kNames, "new.txt"]);
    await dialogHidden();
    assert.deepEqual(rootNames(), [...kNames, "new.txt"].sort());
    const lines = await scene.visitor.evaluate(() => document.getElementById("rows").innerText);
    assert.ok(lines.includes("two  blanks.txt"), lines);
  });

  test(`${name} downloads a file and stays on the page`, async () => {
    await scene.visitor.press(labelled(`Download this file: ${kNames[0]}`));
    assert.equal((await downloaded(kNames[0])).toString(), `content of ${kNames[0]}`);
    await dialogHidden();
    assert.equal(await scene.visitor.evaluate(() => document.title), "Harbinet PRO - File Manager");
  });

  test(`${name} downloads the selection as a ZIP`, async () => {
    await scene.visitor.press("#selAll");
    await scene.visitor.press("#zipBtn");
    const entries = readStoredZip(await downloaded("download.zip"));
    assert.deepEqual(Object.keys(entries).sort(), [...kNames, "new.txt"].sort());
    assert.equal(entries[kNames[2]].toString(), `content of ${kNames[2]}`);
    await dialogHidden();
  });

  test(`${name} downloads the selection file by file`, async () => {
    await scene.visitor.press("#selAll");
    if (!(await scene.visitor.evaluate(() => document.getElementById("selAll").checked))) {
      await scene.visitor.press("#selAll");
    }
    await scene.visitor.press(labelled(`Select ${kNames[1]}`));
    await scene.visitor.press(labelled(`Select ${kNames[2]}`));
    await scene.visitor.press(labelled(`Select ${kNames[3]}`));
    await scene.visitor.press("#downloadAllBtn");
    assert.equal((await downloaded(kNames[0])).toString(), `content of ${kNames[0]}`);
    assert.equal((await downloaded("new.txt")).toString(), "new");
    await dialogHidden();
  });

  test(`${name} shows the transfer dialog over the page, and closes it`, async () => {
    await scene.visitor.press("#zipBtn");
    const shown = await scene.visitor.evaluate(() => {
      const card = document.querySelector(".xferCard").getBoundingClientRect();
      const over = document.elementFromPoint(card.x + 5, card.y + 5);
      return [
        over.id,
        document.activeElement.id,
        Math.round(card.x + card.width / 2 - innerWidth / 2),
      ];
    });
    assert.deepEqual(shown, ["xferTitle", "xferClose", 0]);
    await scene.visitor.key("Escape");
    await dialogHidden();
    await downloaded("download.zip");
  });

  test(`${name} deletes the selection after a question`, async () => {
    await scene.visitor.evaluate(() => {
      for (const box of document.querySelectorAll(".itemSel:not(:checked)")) box.click();
    });
    const { text } = await scene.visitor.dialogOf(() => scene.visitor.press("#deleteSelectedBtn"));
    assert.equal(text, "Delete 5 file(s)?");
    await eventuallyNames([]);
    assert.deepEqual(rootNames(), []);
  });

  test(`${name} uploads dropped files`, async () => {
    await scene.visitor.evaluate(() => {
      const dataTransfer = new DataTransfer();
      dataTransfer.items.add(new File(["dropped"], "dropped.txt"));
      document
        .getElementById("dropzone")
        .dispatchEvent(new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true }));
    });
    await eventuallyNames(["dropped.txt"]);
    assert.equal(fs.readFileSync(rootPath("dropped.txt"), "utf8"), "dropped");
    await dialogHidden();
  });

  test(`${name} tells that the network is away, and works when it is back`, async () => {
    await stopServer();
    await upload(makeFiles("later.txt"));
    await eventuallyText("#xferText", "Upload error.");
    assert.equal(await textOf("#xferDetail"), "Network error");
    await scene.visitor.press("#xferClose");
    await dialogHidden();
    await startServer();
    await scene.visitor.press("#uploadBtn");
    await eventuallyNames(["dropped.txt", "later.txt"]);
    await dialogHidden();
    assert.equal(fs.readFileSync(rootPath("later.txt"), "utf8"), "content of later.txt");
  });
}

function folderTests(name) {
  test(`${name} makes a folder, enters it and comes back, the focus on the first link`, async () => {
    fillRoot({});
    // The button stands below the rows, and moves when they go.
    await eventuallyNames([]);
    await scene.visitor.write("#mkdirName", "Photos");
    await scene.visitor.press("#mkdirBtn");
    await eventuallyNames(["Photos"]);
    addToRoot({ "Photos/inside.txt": "inside" });
    await scene.visitor.press("#rows a.name");
    await eventuallyNames(["inside.txt"]);
    assert.equal(await textOf("#path"), "/Photos");
    const focused = () => scene.visitor.evaluate(() => document.activeElement.textContent);
    assert.equal(await focused(), "..");
    await scene.visitor.press("#rows a");
    await eventuallyNames(["Photos"]);
    assert.equal(await focused(), "Photos");
  });

  test(`${name} opens a folder link without the PIN, where files come and go`, async () => {
    const link = await folderLink("Photos");
    await withGuest({}, async (guest) => {
      await guest.open(link);
      assert.equal(await guest.evaluate(() => document.title), "Harbinet PRO - Shared Folder");
      await eventuallyNames(["inside.txt"], guest);
      await guest.press(labelled("Download: inside.txt"));
      assert.equal((await downloaded("inside.txt")).toString(), "inside");
      await dialogHidden(guest);
      await upload(makeFiles("guest.txt"), guest);
      await eventuallyNames(["guest.txt", "inside.txt"], guest);
      await dialogHidden(guest);
      assert.equal(
        fs.readFileSync(rootPath("Photos", "guest.txt"), "utf8"),
        "content of guest.txt",
      );
      const { text } = await guest.dialogOf(() => guest.press(labelled("Delete: inside.txt")));
      assert.equal(text, "Delete file 'inside.txt'?");
      await eventuallyNames(["guest.txt"], guest);
      assert.deepEqual(rootNames("Photos"), ["guest.txt"]);
      assert.equal(await guest.evaluate(() => document.cookie), "");
    });
  });

  test(`${name} shares a file, and a new web root ends the links`, async () => {
    const shared = await folderLink("Photos");
    await scene.visitor.press("#rows a.name");
    await eventuallyNames(["guest.txt"]);
    const { text, value } = await scene.visitor.dialogOf(() =>
      scene.visitor.press(labelled("Create a direct download link: guest.txt")),
    );
    assert.equal(
      text,
      "Share this URL for a direct download without PIN registration (copied if possible):",
    );
    assert.deepEqual(await statusOf(scene.visitor, value), [200, "content of guest.txt"]);
    const other = `${world.program.webRoot}-other`;
    fs.mkdirSync(other);
    await changeWebRoot(other);
    await changeWebRoot(world.program.webRoot);
    fs.rmdirSync(other);
    const gone = [410, "Link expired or invalid"];
    assert.deepEqual(await statusOf(scene.visitor, value), gone);
    assert.deepEqual(await statusOf(scene.visitor, shared), gone);
  });
}

function endingTests(name) {
  test(`${name} leads to the login page when the session is gone`, async () => {
    await scene.visitor.forgetSession();
    await eventually(async () => {
      assert.equal(
        await scene.visitor.evaluate(() => document.title),
        "HTTPS Harbinet PRO - Login",
      );
    });
  });

  test(`${name} shows the ban after three wrong PINs, and that nobody answers then`, async () => {
    await scene.visitor.open(`${world.program.origin}/`);
    await scene.visitor.write("#code", world.program.pin === "000000" ? "000001" : "000000");
    for (const text of [
      "Wrong code",
      "Wrong code",
      "Too many attempts. IP blocked for 120 seconds.",
    ]) {
      await scene.visitor.press("#loginBtn");
      await eventuallyText("#msg", text);
      await scene.visitor.evaluate(() => {
        document.getElementById("msg").textContent = "";
      });
    }
    await scene.visitor.press("#loginBtn");
    await eventually(async () => assert.notEqual(await textOf("#msg"), ""));
    assert.doesNotMatch(await textOf("#msg"), /Wrong code|Too many/);
    const { harbinet } = world.program;
    await harbinet.waitForMessage(
      /^AUTH {4}>>>>>> {2}ALERT <<<<<<< {2}failed 3x => IP banned 2 min: /,
    );
    await harbinet.waitForMessage(/^AUTH {4}blocked IP .* \(\d+s remaining\)$/);
    await restartProgram();
    await logInByHand();
  });
}

export function journeysIn(name) {
  useProgram(
    async () => {
      scene.folder = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-engine-"));
      fillRoot({});
      scene.engine =
        name === "WebKit"
          ? await openWebKit(scene.folder)
          : await openPuppeteer(name.toLowerCase(), scene.folder);
      scene.visitor = await scene.engine.visit();
    },
    async () => {
      await scene.visitor?.close().catch(() => {});
      await scene.engine?.close();
      fs.rmSync(scene.folder, { recursive: true, force: true });
    },
  );
  loginTests(name);
  transferTests(name);
  folderTests(name);
  phoneTests(name);
  touchTests(name);
  endingTests(name);
  consoleTests(name);
}
