// What the tests against attackers' tools share: running a tool, a client that keeps asking meanwhile, and what the
// program still holds afterwards.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { once } from "node:events";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

import { delay, get, postLogin, program } from "../support/client.mjs";

export const origin = `https://127.0.0.1:${program.port}`;

// Both outputs of a tool that must end by itself within `seconds`.
export async function runTool(name, args, { seconds = 120, codes = [0] } = {}) {
  const child = spawn(name, args, { stdio: ["ignore", "pipe", "pipe"], timeout: seconds * 1000 });
  let output = "";
  child.stdout.on("data", (data) => (output += data));
  child.stderr.on("data", (data) => (output += data));
  const [code, signal] = await once(child, "close");
  assert.equal(signal, null, `${name} was not ready after ${seconds} s:\n${output.slice(-2000)}`);
  assert.ok(codes.includes(code), `${name} ended with ${code}:\n${output.slice(-2000)}`);
  return output;
}

// Goes with this process.
export function scratchFolder() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), "abuse-"));
  process.once("exit", () => fs.rmSync(folder, { recursive: true, force: true }));
  return folder;
}

// Asks for the status and logs in, over and over from an address of its own, while `work` runs. Each of them must be
// answered, and within `limit` milliseconds, which leaves room for a machine that is busy with the attack as well.
// Returns the number of rounds and the slowest answers.
export async function whileServed(work, { limit = 10_000, from = "127.0.0.77" } = {}) {
  const seen = { rounds: 0, slowestStatus: 0, slowestLogin: 0 };
  const timed = async (asked) => {
    const start = Date.now();
    assertAnswer(await asked);
    return Date.now() - start;
  };
  let working = true;
  const asking = (async () => {
    while (working) {
      const status = await timed(get("/api/status", { from, timeout: limit }));
      const login = await timed(postLogin(program.pin, { from, timeout: limit }));
      seen.slowestStatus = Math.max(seen.slowestStatus, status);
      seen.slowestLogin = Math.max(seen.slowestLogin, login);
      seen.rounds += 1;
      await delay(200);
    }
  })();
  // A failure of the client is told at once, not after the work.
  asking.catch(() => {});
  try {
    const result = await Promise.race([work(), asking.then(() => new Promise(() => {}))]);
    return { ...seen, result };
  } finally {
    working = false;
    await asking;
  }
}

function assertAnswer(reply) {
  assert.equal(reply.status, 200, `answered with "${reply.bytes}"`);
  if (!reply.body.equals(Buffer.from('{"ok":true}'))) {
    assert.equal(`${reply.body}`, `{"running":true,"port":${program.port}}`);
  }
}

// Keeps as many processor cores busy until the result is called, or this process has ended.
export function keepBusy(cores) {
  const loop = "while kill -0 $PPID 2>/dev/null; do :; done";
  const loops = Array.from({ length: cores }, () => spawn("sh", ["-c", loop], { stdio: "ignore" }));
  return () => loops.forEach((one) => one.kill());
}

// How many times as long as its processor time a piece of work takes at the moment: 1 when nobody else wants a processor.
export function slowdown() {
  const kMicroseconds = 100_000;
  const start = performance.now();
  const begun = process.cpuUsage();
  let spent = 0;
  while (spent < kMicroseconds) {
    const { user, system } = process.cpuUsage(begun);
    spent = user + system;
  }
  return Math.max(1, ((performance.now() - start) * 1000) / spent);
}

// What the program holds once the connections that just ended are gone.
export async function settled() {
  const kQuietPeriods = 3;
  let last = await program.resources();
  let quiet = 0;
  for (let attempt = 0; attempt < 80 && quiet < kQuietPeriods; attempt += 1) {
    await delay(500);
    const now = await program.resources();
    quiet = now.handles === last.handles && now.threads === last.threads ? quiet + 1 : 0;
    last = now;
  }
  return last;
}

// Nothing stays but the small blocks that the heap keeps for reuse after its first flood; that this does not grow from
// flood to flood is a test of its own.
export async function assertReturnedTo(before, { megabytes = 40 } = {}) {
  const after = await settled();
  const story = `${JSON.stringify(before)} became ${JSON.stringify(after)}`;
  console.log(`# resources: ${story}`);
  assert.ok(after.threads <= before.threads + 2, story);
  assert.ok(after.handles <= before.handles + 8, story);
  assert.ok(after.files <= before.files + 8, story);
  assert.ok(after.residentMegabytes <= before.residentMegabytes + megabytes, story);
}
