// What the journeys ask a visitor of any engine.

import assert from "node:assert/strict";
import { eventually as eventuallyWithin } from "./world.mjs";

export const kOddNames = [
  `${"W".repeat(251)}.txt`,
  "שלום עולם - قائمة.txt",
  "\u{1f469}\u200d\u{1f469}\u200d\u{1f467}\u200d\u{1f466} \u{1f3f3}\ufe0f\u200d\u{1f308}.txt",
  `z\u0351\u036b\u0343\u036a\u0302a\u0300\u0316\u0317\u0318lgo e\u0301.txt`,
];

// A browser beside other work takes its time; the page itself looks every five seconds.
export function eventually(check) {
  return eventuallyWithin(check, "", 20000);
}

export async function sideways(who) {
  const [width, scroll] = await who.evaluate(() => [
    innerWidth,
    Math.max(document.documentElement.scrollWidth, document.body.scrollWidth),
  ]);
  return scroll - width;
}

// Texts and controls of the listing that reach over the edges of their cell. A name's own edges cut it.
export function sticksOut() {
  // Rows out of sight are not laid out, and not every engine does so for a question.
  const style = document.createElement("style");
  style.textContent = "tbody > * { content-visibility: visible; }";
  document.head.append(style);
  const found = Array.from(document.querySelectorAll("tr > *")).flatMap((cell) => {
    const place = cell.getBoundingClientRect();
    const range = document.createRange();
    range.selectNodeContents(cell);
    const inner = Array.from(cell.children, (child) => child.getBoundingClientRect());
    return (inner.length > 0 ? inner : Array.from(range.getClientRects()))
      .filter(({ left, right }) => left < place.left - 1 || right > place.right + 1)
      .map(() => `${cell.textContent.trim().slice(0, 40)} in ${cell.className}`);
  });
  style.remove();
  return found;
}

export async function assertFits(who, width) {
  await who.resize(width, 740);
  await eventually(async () => {
    assert.ok(await who.evaluate(() => document.readyState === "complete"));
    assert.equal(await who.evaluate(() => innerWidth), width);
  });
  assert.ok((await sideways(who)) <= 0);
}

export async function statusOf(who, link) {
  return who
    .evaluate((address) => {
      globalThis.answered = null;
      fetch(address).then(async (response) => {
        globalThis.answered = [response.status, await response.text()];
      });
    }, link)
    .then(() =>
      eventually(async () => {
        const answered = await who.evaluate(() => globalThis.answered);
        assert.ok(answered);
        return answered;
      }),
    );
}
