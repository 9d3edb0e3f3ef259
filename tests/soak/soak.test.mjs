// Half an hour of everything at once: 64 clients send requests of every kind with pauses, hang up, reset and break off,
// and the server is stopped and started through its window every minute. At the end the files are what the clients sent,
// the program holds no more than it did after two minutes, and no line of its log tells of an error.
//
// SOAK_MINUTES says how long (30; at least 3), SOAK_SEED repeats what the clients of an earlier run chose.
// @minutes 1500
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { test } from "node:test";

import { delay, eventually, freshFolder, openTls, program } from "../support/client.mjs";
import { ids, root } from "../support/harbinet.mjs";
import { Curve } from "./curve.mjs";
import { digestOf, Visitor } from "./visitor.mjs";

const kMinutes = Number(process.env.SOAK_MINUTES ?? 30);
const kSeed = Number(process.env.SOAK_SEED ?? Date.now() % 1_000_000);
const kClients = 64;
const kRoundSeconds = 60;
const kSampleSeconds = 2;
const kLogSeconds = 1;
const kWarmUpMinutes = 1.9;
// Above the first quiet sample after the warm-up. What the heap keeps for reuse goes up and down by a few MiB.
const kMayGrow = { residentMegabytes: 16, handles: 8, threads: 2 };

if (!(kMinutes >= 3)) throw new Error("SOAK_MINUTES must be 3 at least: two minutes are warm-up");

const server = { isOff: false, stops: 0 };
const curve = new Curve(() => program.resources());
const folder = freshFolder("soak");
for (const name of ["folders", "halves"]) folder.makeFolder(name);
folder.write("large.bin", Buffer.alloc(8_000_000, "l"));
const visitors = Array.from({ length: kClients }, (_, index) => {
  const number = index + 1;
  folder.makeFolder(`${number}`);
  return new Visitor(number, kSeed * 1000 + number, server);
});

async function isListening() {
  try {
    (await openTls()).destroy();
    return true;
  } catch (error) {
    assert.equal(error.code, "ECONNREFUSED");
    return false;
  }
}

async function stopAndStart() {
  server.isOff = true;
  server.stops += 1;
  await program.press(ids.server);
  await eventually(async () => !(await isListening()), "the port is closed");
  await program.press(ids.server);
  await eventually(isListening, "the port is open");
  server.isOff = false;
}

// The lines that tell of an error, from a log that forgets all but its newest 500.
class LogReader {
  errors = [];
  lines = 0;
  gaps = 0;

  async read() {
    const lines = await program.logLines();
    const known = lines.lastIndexOf(this.last);
    if (known < 0 && this.last !== undefined) this.gaps += 1;
    const fresh = lines.slice(known + 1);
    this.lines += fresh.length;
    this.errors.push(...fresh.filter((line) => line.includes("ERROR")));
    this.last = lines.at(-1);
  }
}

const log = new LogReader();

// Whether clients begin something new, and whether anything is to go on at all.
const state = { isPaused: false, isOver: false };

async function live(visitor) {
  while (!state.isOver) {
    if (!state.isPaused) {
      visitor.isActing = true;
      await visitor.act().finally(() => (visitor.isActing = false));
    }
    await visitor.pause();
  }
}

async function repeat(seconds, work) {
  while (!state.isOver) {
    await work();
    await delay(seconds * 1000);
  }
}

// A look at the program while no client is there. Its threads are those it has without connections.
async function takeQuietSample() {
  state.isPaused = true;
  await eventually(() => visitors.every(({ isActing }) => !isActing), "clients are done", 120_000);
  const resources = () => program.resources();
  let last = await resources();
  await eventually(
    async () => {
      await delay(1000);
      const { threads, handles } = last;
      last = await resources();
      return last.threads === threads && last.handles === handles;
    },
    "the program is quiet",
    60_000,
  );
  const sample = await curve.take(true);
  console.log(`# ${JSON.stringify(sample)}`);
  state.isPaused = false;
}

// Until that time, or until somebody has failed.
async function waitUntil(end) {
  while (!state.isOver && Date.now() < end) await delay(200);
}

async function direct() {
  const end = Date.now() + kMinutes * 60_000;
  while (!state.isOver && Date.now() < end) {
    await waitUntil(Math.min(Date.now() + kRoundSeconds * 1000, end));
    await stopAndStart();
    await takeQuietSample();
  }
  state.isOver = true;
}

const kTimeout = { timeout: (kMinutes + 15) * 60_000 };

test(`${kClients} clients are served for ${kMinutes} minutes`, kTimeout, async () => {
  console.log(`# seed: SOAK_SEED=${kSeed}`);
  const works = [
    direct(),
    repeat(kSampleSeconds, () => curve.take()),
    repeat(kLogSeconds, () => log.read()),
    ...visitors.map(live),
  ];
  try {
    await Promise.all(works);
  } finally {
    // After a failure nobody else goes on.
    state.isOver = true;
    await Promise.allSettled(works);
    curve.draw(path.join(root, "build/logs/soak"));
  }
  const counts = {};
  for (const visitor of visitors) {
    for (const [choice, count] of Object.entries(visitor.counts)) {
      counts[choice] = (counts[choice] ?? 0) + count;
    }
  }
  console.log(`# done: ${JSON.stringify(counts)}; ${server.stops} stops`);
  console.log("# the curve is build/logs/soak.png");
  assert.ok(Object.keys(counts).length >= 15, "some kinds were never tried");
});

test("the files are those that the clients sent", () => {
  let compared = 0;
  for (const [index, { files }] of visitors.entries()) {
    const where = folder.at(`${index + 1}`);
    assert.deepEqual(fs.readdirSync(where).sort(), [...files.keys()].sort());
    for (const [name, digest] of files) {
      assert.equal(digestOf(fs.readFileSync(path.join(where, name))), digest, `${where}/${name}`);
      compared += 1;
    }
  }
  assert.ok(compared > kClients, `only ${compared} files`);
});

test("memory, handles and threads are flat after two minutes", () => {
  const [first, ...later] = curve.quietAfter(kWarmUpMinutes);
  assert.ok(later.length > 0, "too short to tell");
  for (const [key, mayGrow] of Object.entries(kMayGrow)) {
    const values = later.map((sample) => sample[key]);
    assert.ok(Math.max(...values) <= first[key] + mayGrow, `${key}: ${first[key]}, then ${values}`);
  }
});

test("no line of the log tells of an error", async () => {
  await log.read();
  console.log(`# ${log.lines} lines read; ${log.gaps} times some had gone unread`);
  assert.ok(log.lines > 100);
  assert.deepEqual(log.errors, []);
});
