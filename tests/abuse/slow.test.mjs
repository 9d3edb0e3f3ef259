// Clients that are slow on purpose, and clients that say nothing: everybody else is served all the time.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";

import {
  assertServed,
  eventually,
  freshFolder,
  login,
  openIdle,
  openTls,
  parallel,
  postLogin,
  program,
} from "../support/client.mjs";
import {
  assertReturnedTo,
  origin,
  runTool,
  scratchFolder,
  settled,
  whileServed,
} from "./attack.mjs";

const cookie = await login();
const folder = freshFolder("slow");
folder.write("large.bin", Buffer.alloc(16_000_000, "l"));

const kConnections = 300;
const kCommon = ["-c", `${kConnections}`, "-r", "100", "-l", "15", "-i", "5", "-p", "3"];
const kModes = [
  { what: "slow heads", args: ["-H", "-u", `${origin}/api/status`] },
  { what: "slow bodies", args: ["-B", "-u", `${origin}/api/login`] },
  {
    // A window below the size of a certificate would slow down the tool's own handshakes, its probe's among them.
    what: "slow readers",
    args: ["-X", "-u", `${origin}/download?path=slow/large.bin`, "-j", cookie].concat([
      "-w",
      "4096",
      "-y",
      "8192",
      "-n",
      "5",
      "-z",
      "32",
      "-k",
      "1",
    ]),
  },
];

// What 2,000 TLS connections took from the heap stays with it for the next flood: some 60 KB each.
const kHeapMegabytes = 160;

// The number of connections that were open at once, from the tool's own table.
function mostConnected(csv) {
  const rows = fs.readFileSync(csv, "utf8").trim().split("\n");
  const column = rows[0].split(",").indexOf("Connected");
  assert.ok(column > 0, rows[0]);
  return Math.max(...rows.slice(1).map((row) => Number(row.split(",")[column])));
}

describe("slow clients", () => {
  const place = scratchFolder();
  for (const { what, args } of kModes) {
    test(`300 ${what} keep nobody from being served`, { timeout: 120_000 }, async () => {
      await assertServed();
      const before = await settled();
      const report = path.join(place, what.replace(" ", "-"));
      const seen = await whileServed(() =>
        runTool("slowhttptest", [...kCommon, ...args, "-g", "-o", report], { seconds: 60 }),
      );
      // The tool's own verdict does not count: its probe waits its turn behind its 300 connections.
      const connected = mostConnected(`${report}.csv`);
      assert.ok(connected >= kConnections * 0.9, `only ${connected} were connected at once`);
      assert.ok(seen.rounds >= 10, `asked only ${seen.rounds} times`);
      delete seen.result;
      console.log(`# ${what}: ${connected} connected, ${JSON.stringify(seen)}`);
      await assertReturnedTo(before);
    });
  }

  test("a flood that comes again takes no more memory", { timeout: 120_000 }, async () => {
    const left = [];
    for (let round = 0; round < 4; round += 1) {
      const flood = [];
      await parallel(kConnections, 8, async () => flood.push(await openTls()));
      for (const socket of flood) socket.destroy();
      left.push((await settled()).residentMegabytes);
    }
    console.log(`# resident after each flood: ${left} MB`);
    assert.ok(left[3] - left[1] <= 10, `${left}`);
  });
});

describe("idle connections", () => {
  test("2,000 leave a login under a second", { timeout: 120_000 }, async () => {
    await assertServed();
    const before = await settled();
    const idle = [];
    const allAreServed = () =>
      eventually(
        async () => (await program.resources()).threads >= before.threads + idle.length,
        "each is served by a thread",
      );
    // Some have shaken hands; all would take longer than a silent client may stay.
    await parallel(300, 8, async () => idle.push(await openTls()));
    await parallel(700, 20, async () => idle.push(await openIdle()));
    await allAreServed();
    const taken = (await program.resources()).residentMegabytes - before.residentMegabytes;
    console.log(`# 1,000 idle connections: ${taken} MB above start`);
    assert.ok(taken <= 150, `${taken} MB`);
    await parallel(1000, 20, async () => idle.push(await openIdle()));
    await allAreServed();
    const times = [];
    for (let round = 0; round < 5; round += 1) {
      const start = Date.now();
      const reply = await postLogin(program.pin, { from: "127.0.0.78" });
      times.push(Date.now() - start);
      assert.equal(reply.status, 200, `${reply.bytes}`);
    }
    console.log(`# logins beside 2,000 idle connections: ${times} ms`);
    assert.ok(Math.max(...times) < 1000, `${times} ms`);
    const open = idle.filter((socket) => !socket.destroyed && socket.readable).length;
    assert.equal(open, 2000, "the program had closed some already");
    for (const socket of idle) socket.destroy();
    await assertReturnedTo(before, { megabytes: kHeapMegabytes });
  });
});
