// The journeys of a visitor with a phone: narrow pages, and a finger.

import assert from "node:assert/strict";
import { test } from "node:test";
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
  takePicture,
  upload,
  withGuest,
} from "./journey_steps.mjs";
import { addToRoot, fillRoot, rootNames, world } from "./world.mjs";
import { assertFits, kOddNames, sideways, statusOf, sticksOut } from "./visitor_checks.mjs";

export function phoneTests(name) {
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
      await takePicture(phone, `phone-odd-${name}`);
    });
  });

  test(`${name} fits the other pages into 360 to 414 px`, async () => {
    fillRoot({ "S/two  blanks.txt": "2" });
    addToRoot(Object.fromEntries(kOddNames.map((odd) => [`S/${odd}`, "x"])));
    await scene.visitor.open(`${world.program.origin}/`);
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
      await takePicture(phone, `phone-odd-shared-${name}`);
    });
  });
}

const kHoliday = { "Beach.jpg": 3412806, "Invoice.pdf": 248113, "Recipe.docx": 38912 };
const kPhotos = { "hut.jpg": 2871339, "lake.jpg": 1884220 };

// Sizes that a list of files shows; what is in them does not matter.
function sized(folder, files) {
  return Object.fromEntries(
    Object.entries(files).map(([name, size]) => [folder + name, Buffer.alloc(size)]),
  );
}

async function accepted(phone, selector, question) {
  const { text, value } = await phone.dialogOf(() => phone.press(selector));
  assert.equal(text, question);
  return value;
}

async function workOnOwnFiles(phone) {
  const link = await accepted(
    phone,
    labelled("Create a direct download link: Recipe.docx"),
    "Share this URL for a direct download without PIN registration (copied if possible):",
  );
  const [status, content] = await statusOf(phone, link);
  assert.deepEqual([status, content.length], [200, kHoliday["Recipe.docx"]]);
  await accepted(
    phone,
    labelled("Delete this file permanently: Recipe.docx"),
    "Delete file 'Recipe.docx'?",
  );
  await eventuallyNames(["Photos", "Beach.jpg", "Invoice.pdf"], phone);
  await phone.press(labelled("Select Invoice.pdf"));
  await accepted(phone, "#deleteSelectedBtn", "Delete 1 file(s)?");
  await eventuallyNames(["Photos", "Beach.jpg"], phone);
  assert.deepEqual(rootNames(), ["Beach.jpg", "Photos"]);
}

async function workAsGuest(phone, name) {
  await upload(makeFiles("from a guest.txt"), phone);
  await eventuallyNames(["hut.jpg", "lake.jpg", "from a guest.txt"], phone);
  await dialogHidden(phone);
  await phone.press(labelled("Download: from a guest.txt"));
  const bytes = await downloaded("from a guest.txt");
  assert.equal(bytes.toString(), "content of from a guest.txt");
  await dialogHidden(phone);
  await phone.press(labelled("Select hut.jpg"));
  await phone.press(labelled("Select lake.jpg"));
  await eventuallyText("#selInfo", "2 selected", phone);
  await takePicture(phone, `phone-guest-${name}`);
  await accepted(phone, "#delSelBtn", "Delete 2 selected file(s)?");
  await eventuallyNames(["from a guest.txt"], phone);
  await dialogHidden(phone);
  await accepted(phone, labelled("Delete: from a guest.txt"), "Delete file 'from a guest.txt'?");
  await eventuallyNames([], phone);
  assert.deepEqual(rootNames("Photos"), []);
}

export function touchTests(name) {
  test(`${name} shares and deletes with a finger, as a guest too`, async () => {
    fillRoot(sized("", kHoliday));
    addToRoot(sized("Photos/", kPhotos));
    await withGuest({ hasTouch: true }, async (phone) => {
      await logInByHand(phone);
      await assertFits(phone, 390);
      await eventuallyNames(["Photos", ...Object.keys(kHoliday)], phone);
      await takePicture(phone, `phone-manager-${name}`);
      const link = await folderLink("Photos", phone);
      await workOnOwnFiles(phone);
      await withGuest({ hasTouch: true }, async (guest) => {
        await guest.open(link);
        await assertFits(guest, 390);
        await eventuallyNames(Object.keys(kPhotos), guest);
        await workAsGuest(guest, name);
      });
    });
  });
}
