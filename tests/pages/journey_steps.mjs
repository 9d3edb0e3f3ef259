// What the journeys of every engine are made of.

import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { world } from "./world.mjs";
import { eventually } from "./visitor_checks.mjs";

// The engine of this run, a folder for its files, the browser that goes through most of the journeys, and what the others
// heard of their pages.
export const scene = { engine: null, folder: null, visitor: null, heard: [] };

export function makeFiles(...names) {
  return names.map((name) => {
    const file = path.join(scene.folder, name);
    fs.writeFileSync(file, `content of ${name}`);
    return file;
  });
}

export function textOf(selector, who = scene.visitor) {
  return who.evaluate((wanted) => document.querySelector(wanted)?.textContent, selector);
}

export function eventuallyText(selector, text, who = scene.visitor) {
  return eventually(async () => assert.equal(await textOf(selector, who), text));
}

export async function eventuallyNames(names, who = scene.visitor) {
  await eventually(async () => {
    const shown = await who.evaluate(() =>
      Array.from(document.querySelectorAll("#rows .name"), (cell) => cell.textContent),
    );
    assert.deepEqual(shown.sort(), [...names].sort());
  });
}

export async function dialogHidden(who = scene.visitor) {
  await eventually(async () => {
    assert.equal(await who.evaluate(() => document.getElementById("xferModal").open), false);
  });
}

export function labelled(text) {
  return `[aria-label="${text}"]`;
}

export async function logInByHand(who = scene.visitor) {
  await who.open(`${world.program.origin}/`);
  await who.write("#code", world.program.pin);
  await who.press("#loginBtn");
  await eventually(async () => {
    assert.equal(await who.evaluate(() => document.title), "Harbinet PRO - File Manager");
  });
}

export async function upload(files, who = scene.visitor) {
  await who.pick("#files", files);
  await who.press("#uploadBtn");
}

export async function downloaded(name) {
  const file = path.join(scene.engine.downloads, name);
  const bytes = await eventually(() => {
    const isWhole = fs
      .readdirSync(scene.engine.downloads)
      .every((entry) => !/\.(part|wkdownload|crdownload)$/.test(entry));
    assert.ok(isWhole && fs.existsSync(file), fs.readdirSync(scene.engine.downloads).join());
    const content = fs.readFileSync(file);
    assert.notEqual(content.length, 0);
    return content;
  });
  fs.rmSync(file);
  return bytes;
}

// Runs body(guest) with a browser that nobody has used before.
export async function withGuest(settings, body) {
  const guest = await scene.engine.visit(settings);
  try {
    await body(guest);
    scene.heard.push(...(await guest.heard()));
  } finally {
    await guest.close();
  }
}

export async function folderLink(name, who = scene.visitor) {
  const { text, value } = await who.dialogOf(() =>
    who.press(labelled(`Create a direct link for this folder: ${name}`)),
  );
  assert.equal(text, "Share this URL for direct access (copied if possible):");
  return value;
}

// Where HARBINET_PICTURES names a folder, the pages are photographed on the way.
export async function takePicture(who, name) {
  const pictures = process.env.HARBINET_PICTURES;
  if (pictures) {
    await who.picture(path.join(pictures, `${name.toLowerCase()}.png`));
  }
}
