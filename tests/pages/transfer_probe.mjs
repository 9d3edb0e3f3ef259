// What the tests of transfers share: picking and selecting files, playing progress events, and the dialog's end.

import assert from "node:assert/strict";
import { rowOf } from "./world.mjs";

// Keeps the last XMLHttpRequest and the number of parts of its form. While globalThis.hold is set nothing is sent, so
// that a test can play the browser's progress events.
export const kWatchRequests = () => {
  const send = XMLHttpRequest.prototype.send;
  XMLHttpRequest.prototype.send = function sendWatched(body) {
    globalThis.lastRequest = this;
    if (body instanceof FormData) {
      globalThis.lastParts = Array.from(body.entries(), ([key, file]) => [key, file.name]);
    }
    if (!globalThis.hold) {
      send.call(this, body);
    }
  };
};
export async function pick(page, ...files) {
  await page.locator("#files").setInputFiles(files);
}

export function upload(page) {
  return page.locator("#uploadBtn").click();
}

export async function select(page, ...names) {
  for (const name of names) {
    await rowOf(page, name).getByRole("checkbox").check();
  }
}

export function playProgress(page, target, progress) {
  return page.evaluate(
    ([where, init]) => {
      const request = globalThis.lastRequest;
      const receiver = where === "upload" ? request.upload : request;
      receiver.dispatchEvent(new ProgressEvent("progress", init));
    },
    [target, progress],
  );
}

export async function hold(page) {
  await page.evaluate(() => {
    globalThis.hold = true;
  });
}

export async function assertHidesAfter(page, milliseconds) {
  await page.clock.runFor(milliseconds - 1);
  assert.equal(await page.locator("#xferModal").isVisible(), true);
  await page.clock.runFor(1);
  assert.equal(await page.locator("#xferModal").isVisible(), false);
}

export async function assertStaysOpen(page) {
  await page.clock.runFor(10000);
  assert.equal(await page.locator("#xferModal").isVisible(), true);
  await page.getByRole("button", { name: "Close" }).click();
  assert.equal(await page.locator("#xferModal").isVisible(), false);
}
