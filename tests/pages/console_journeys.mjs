// What the pages wrote to the console, or threw, in every browser of a run.

import assert from "node:assert/strict";
import { test } from "node:test";
import { scene, withGuest } from "./journey_steps.mjs";
import { eventually } from "./visitor_checks.mjs";
import { world } from "./world.mjs";

const kPlayed = ["played error", "played rejection", "played message"];

function playFaults([thrown, rejected, written]) {
  setTimeout(() => {
    throw new Error(thrown);
  }, 0);
  Promise.reject(new Error(rejected));
  console.error(written);
}

function isPlayed(text) {
  return kPlayed.some((played) => text.includes(played));
}

export function consoleTests(name) {
  test(`${name} tells these tests of a page that throws, and what it wrote before it was left`, async () => {
    await withGuest({}, async (guest) => {
      await guest.open(`${world.program.origin}/`);
      await guest.evaluate(playFaults, kPlayed);
      await eventually(async () =>
        assert.equal((await guest.heard()).filter(isPlayed).length, kPlayed.length),
      );
      await guest.open(`${world.program.origin}/`);
    });
    assert.equal(scene.heard.filter(isPlayed).length, kPlayed.length, scene.heard.join("\n"));
  });

  test(`${name} wrote nothing unexpected to its console, nor did guests and phones`, async () => {
    const heard = [...scene.heard, ...(await scene.visitor.heard())];
    assert.deepEqual(
      heard.filter((text) => !isPlayed(text) && !/Failed to load resource/.test(text)),
      [],
    );
  });
}
