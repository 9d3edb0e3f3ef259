// One set of journeys for three browser engines. What an engine gives: visit({ hasTouch }) opens a browser that nobody
// has used before, and downloads is the folder where its downloads arrive. What a visitor can do: drive_puppeteer.mjs.

import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { test } from "node:test";
import { ids } from "../support/harbinet.mjs";
import { openPuppeteer } from "./drive_puppeteer.mjs";
import { openWebKit } from "./drive_webkit.mjs";
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
import {
  assertFits,
  eventually,
  kOddNames,
  sideways,
  statusOf,
  sticksOut,
} from "./visitor_checks.mjs";

const kNames = ["it's 1 + 1.txt", "Grüße #2 & 100%.txt", "party \u{1f389}.txt", "two  blanks.txt"];
const kTwenty = Array.from({ length: 20 }, (_, i) => `file ${i}.txt`);

let engine;
let folder;
let visitor;

function makeFiles(...names) {
  return names.map((name) => {
    const file = path.join(folder, name);
    fs.writeFileSync(file, `content of ${name}`);
    return file;
  });
}

function textOf(selector, who = visitor) {
  return who.evaluate((wanted) => document.querySelector(wanted)?.textContent, selector);
}

function eventuallyText(selector, text, who = visitor) {
  return eventually(async () => assert.equal(await textOf(selector, who), text));
}

async function eventuallyNames(names, who = visitor) {
  await eventually(async () => {
    const shown = await who.evaluate(() =>
      Array.from(document.querySelectorAll("#rows .name"), (cell) => cell.textContent),
    );
    assert.deepEqual(shown.sort(), [...names].sort());
  });
}

async function dialogHidden(who = visitor) {
  await eventually(async () => {
    assert.equal(await who.evaluate(() => document.getElementById("xferModal").open), false);
  });
}

function labelled(text) {
  return `[aria-label="${text}"]`;
}

async function logInByHand(who = visitor) {
  await who.open(`${world.program.origin}/`);
  await who.write("#code", world.program.pin);
  await who.press("#loginBtn");
  await eventually(async () => {
    assert.equal(await who.evaluate(() => document.title), "Harbinet PRO - File Manager");
  });
}

async function upload(files, who = visitor) {
  await who.pick("#files", files);
  await who.press("#uploadBtn");
}

async function downloaded(name) {
  const file = path.join(engine.downloads, name);
  const bytes = await eventually(() => {
    const isWhole = fs
      .readdirSync(engine.downloads)
      .every((entry) => !/\.(part|wkdownload|crdownload)$/.test(entry));
    assert.ok(isWhole && fs.existsSync(file), fs.readdirSync(engine.downloads).join());
    const content = fs.readFileSync(file);
    assert.notEqual(content.length, 0);
    return content;
  });
  fs.rmSync(file);
  return bytes;
}

// Runs body(guest) with a browser that nobody has used before.
async function withGuest(settings, body) {
  const guest = await engine.visit(settings);
  try {
    await body(guest);
  } finally {
    await guest.close();
  }
}

async function folderLink(name) {
  const { text, value } = await visitor.dialogOf(() =>
    visitor.press(labelled(`Create a direct link for this folder: ${name}`)),
  );
  assert.equal(text, "Share this URL for direct access (copied if possible):");
  return value;
}

async function stopServer() {
  await world.program.harbinet.press(ids.server);
}

async function startServer() {
  await world.program.harbinet.press(ids.server);
  await world.program.harbinet.waitForServer();
}

function loginTests(name) {
  test(`${name} asks for six digits, refuses a wrong PIN and takes the right one`, async () => {
    await visitor.open(`${world.program.origin}/`);
    assert.equal(await visitor.evaluate(() => document.title), "HTTPS Harbinet PRO - Login");
    await visitor.press("#loginBtn");
    await eventuallyText("#msg", "Enter 6 digits.");
    await visitor.write("#code", world.program.pin === "000000" ? "000001" : "000000");
    await visitor.press("#loginBtn");
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
    const lines = await visitor.evaluate(() => document.getElementById("rows").innerText);
    assert.ok(lines.includes("two  blanks.txt"), lines);
  });

  test(`${name} downloads a file and stays on the page`, async () => {
    await visitor.press(labelled(`Download this file: ${kNames[0]}`));
    assert.equal((await downloaded(kNames[0])).toString(), `content of ${kNames[0]}`);
    await dialogHidden();
    assert.equal(await visitor.evaluate(() => document.title), "Harbinet PRO - File Manager");
  });

  test(`${name} downloads the selection as a ZIP`, async () => {
    await visitor.press("#selAll");
    await visitor.press("#zipBtn");
    const entries = readStoredZip(await downloaded("download.zip"));
    assert.deepEqual(Object.keys(entries).sort(), [...kNames, "new.txt"].sort());
    assert.equal(entries[kNames[2]].toString(), `content of ${kNames[2]}`);
    await dialogHidden();
  });

  test(`${name} downloads the selection file by file`, async () => {
    await visitor.press("#selAll");
    if (!(await visitor.evaluate(() => document.getElementById("selAll").checked))) {
      await visitor.press("#selAll");
    }
    await visitor.press(labelled(`Select ${kNames[1]}`));
    await visitor.press(labelled(`Select ${kNames[2]}`));
    await visitor.press(labelled(`Select ${kNames[3]}`));
    await visitor.press("#downloadAllBtn");
    assert.equal((await downloaded(kNames[0])).toString(), `content of ${kNames[0]}`);
    assert.equal((await downloaded("new.txt")).toString(), "new");
    await dialogHidden();
  });

  test(`${name} shows the transfer dialog over the page, and closes it`, async () => {
    await visitor.press("#zipBtn");
    const shown = await visitor.evaluate(() => {
      const card = document.querySelector(".xferCard").getBoundingClientRect();
      const over = document.elementFromPoint(card.x + 5, card.y + 5);
      return [
        over.id,
        document.activeElement.id,
        Math.round(card.x + card.width / 2 - innerWidth / 2),
      ];
    });
    assert.deepEqual(shown, ["xferTitle", "xferClose", 0]);
    await visitor.key("Escape");
    await dialogHidden();
    await downloaded("download.zip");
  });

  test(`${name} deletes the selection after a question`, async () => {
    await visitor.evaluate(() => {
      for (const box of document.querySelectorAll(".itemSel:not(:checked)")) box.click();
    });
    const { text } = await visitor.dialogOf(() => visitor.press("#deleteSelectedBtn"));
    assert.equal(text, "Delete 5 file(s)?");
    await eventuallyNames([]);
    assert.deepEqual(rootNames(), []);
  });

  test(`${name} uploads dropped files`, async () => {
    await visitor.evaluate(() => {
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
    await visitor.press("#xferClose");
    await dialogHidden();
    await startServer();
    await visitor.press("#uploadBtn");
    await eventuallyNames(["dropped.txt", "later.txt"]);
    await dialogHidden();
    assert.equal(fs.readFileSync(rootPath("later.txt"), "utf8"), "content of later.txt");
  });
}

function folderTests(name) {
  test(`${name} makes a folder, enters it and comes back, the focus on the first link`, async () => {
    fillRoot({});
    await visitor.write("#mkdirName", "Photos");
    await visitor.press("#mkdirBtn");
    await eventuallyNames(["Photos"]);
    addToRoot({ "Photos/inside.txt": "inside" });
    await visitor.press("#rows a.name");
    await eventuallyNames(["inside.txt"]);
    assert.equal(await textOf("#path"), "/Photos");
    const focused = () => visitor.evaluate(() => document.activeElement.textContent);
    assert.equal(await focused(), "..");
    await visitor.press("#rows a");
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
    await visitor.press("#rows a.name");
    await eventuallyNames(["guest.txt"]);
    const { text, value } = await visitor.dialogOf(() =>
      visitor.press(labelled("Create a direct download link: guest.txt")),
    );
    assert.equal(
      text,
      "Share this URL for a direct download without PIN registration (copied if possible):",
    );
    assert.deepEqual(await statusOf(visitor, value), [200, "content of guest.txt"]);
    const other = `${world.program.webRoot}-other`;
    fs.mkdirSync(other);
    await changeWebRoot(other);
    await changeWebRoot(world.program.webRoot);
    fs.rmdirSync(other);
    const gone = [410, "Link expired or invalid"];
    assert.deepEqual(await statusOf(visitor, value), gone);
    assert.deepEqual(await statusOf(visitor, shared), gone);
  });
}

function phoneTests(name) {
  test(`${name} fits the file manager and its oddest names into 360 to 414 px`, async () => {
    fillRoot({ "Folder/": null, "two  blanks.txt": "2" });
    addToRoot(Object.fromEntries(kOddNames.map((odd) => [odd, "x".repeat(1100)])));
    await withGuest({ hasTouch: true }, async (phone) => {
      await logInByHand(phone);
      for (const width of [360, 375, 390, 414]) {
        await assertFits(phone, width);
        await eventuallyNames(["Folder", "two  blanks.txt", ...kOddNames], phone);
        assert.ok((await sideways(phone)) <= 0);
        assert.deepEqual(await phone.evaluate(sticksOut), []);
      }
      const zone = await phone.evaluate(
        () => getComputedStyle(document.getElementById("dropzone")).display,
      );
      assert.equal(zone, "none");
      await upload(makeFiles("from the phone.txt"), phone);
      const names = ["Folder", "two  blanks.txt", "from the phone.txt", ...kOddNames];
      await eventuallyNames(names, phone);
      await dialogHidden(phone);
      await phone.press(labelled("Download this file: from the phone.txt"));
      assert.equal(
        (await downloaded("from the phone.txt")).toString(),
        "content of from the phone.txt",
      );
      await dialogHidden(phone);
      await phone.press(labelled("Select two  blanks.txt"));
      await phone.press("#zipBtn");
      assert.ok((await downloaded("download.zip")).length > 0);
      await dialogHidden(phone);
      await phone.press("#rows a.name");
      await eventuallyText("#path", "/Folder", phone);
      await phone.press("[data-action=goUp]");
      await eventuallyText("#path", "/", phone);
      await takePicture(phone, `phone-${name}`);
    });
  });

  test(`${name} fits the other pages into 360 to 414 px`, async () => {
    fillRoot({ "S/two  blanks.txt": "2" });
    addToRoot(Object.fromEntries(kOddNames.map((odd) => [`S/${odd}`, "x"])));
    await visitor.open(`${world.program.origin}/`);
    await eventuallyNames(["S"]);
    const link = await folderLink("S");
    await withGuest({ hasTouch: true }, async (phone) => {
      await phone.open(`${world.program.origin}/`);
      for (const width of [360, 375, 390, 414]) await assertFits(phone, width);
      await phone.open(link);
      for (const width of [360, 375, 390, 414]) {
        await assertFits(phone, width);
        await eventuallyNames(["two  blanks.txt", ...kOddNames], phone);
        assert.ok((await sideways(phone)) <= 0);
        assert.deepEqual(await phone.evaluate(sticksOut), []);
      }
      await phone.press("#chkAll");
      await eventuallyText("#selInfo", "5 selected", phone);
      await takePicture(phone, `phone-shared-${name}`);
    });
  });
}

function endingTests(name) {
  test(`${name} leads to the login page when the session is gone`, async () => {
    await visitor.forgetSession();
    await eventually(async () => {
      assert.equal(await visitor.evaluate(() => document.title), "HTTPS Harbinet PRO - Login");
    });
  });

  test(`${name} shows the ban after three wrong PINs, and that nobody answers then`, async () => {
    await visitor.open(`${world.program.origin}/`);
    await visitor.write("#code", world.program.pin === "000000" ? "000001" : "000000");
    for (const text of [
      "Wrong code",
      "Wrong code",
      "Too many attempts. IP blocked for 120 seconds.",
    ]) {
      await visitor.press("#loginBtn");
      await eventuallyText("#msg", text);
      await visitor.evaluate(() => {
        document.getElementById("msg").textContent = "";
      });
    }
    await visitor.press("#loginBtn");
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

  test(`${name} wrote nothing unexpected to its console`, () => {
    assert.deepEqual(
      visitor.problems.filter((text) => !/Failed to load resource/.test(text)),
      [],
    );
  });
}

// Where HARBINET_PICTURES names a folder, the pages are photographed on the way.
async function takePicture(who, name) {
  const pictures = process.env.HARBINET_PICTURES;
  if (pictures) {
    await who.picture(path.join(pictures, `${name.toLowerCase()}.png`));
  }
}

export function journeysIn(name) {
  useProgram(
    async () => {
      folder = fs.mkdtempSync(path.join(os.tmpdir(), "harbinet-engine-"));
      fillRoot({});
      engine =
        name === "WebKit"
          ? await openWebKit(folder)
          : await openPuppeteer(name.toLowerCase(), folder);
      visitor = await engine.visit();
    },
    async () => {
      await visitor?.close().catch(() => {});
      await engine?.close();
      fs.rmSync(folder, { recursive: true, force: true });
    },
  );
  loginTests(name);
  transferTests(name);
  folderTests(name);
  phoneTests(name);
  endingTests(name);
}
