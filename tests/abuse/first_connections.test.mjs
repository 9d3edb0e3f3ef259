// The first connections after a start, most of which leave at once, on a machine that is busy with something else: every
// request between them is answered, and the program ends well.
// @program own
// @minutes 20
import assert from "node:assert/strict";
import { once } from "node:events";
import net from "node:net";
import { after, before, describe, test } from "node:test";

import { eventually, get, parallel, program } from "../support/client.mjs";
import { startHarbinet } from "../support/harbinet.mjs";
import { keepBusy } from "./attack.mjs";

const kStarts = 10;
const kConnections = 3000;
// Connections wait for their turn in the kernel's queue: a request waits for no more than this many on each lane.
const kBetweenRequests = 25;
const kAtOnce = 8;

// Connects and goes, before the program can say anything.
async function comeAndGo() {
  const socket = net.connect(program.port, "127.0.0.1");
  socket.on("error", () => {});
  socket.once("connect", () => socket.destroy());
  await once(socket, "close");
}

async function comeWhenListening() {
  const socket = net.connect(program.port, "127.0.0.1");
  await once(socket, "connect");
  socket.destroy();
}

async function ask() {
  const reply = await get("/api/status");
  assert.equal(reply.status, 200, `answered with "${reply.bytes}"`);
  assert.equal(`${reply.body}`, '{"running":true,"port":8443}');
}

describe("3,000 connections that leave at once, beside two busy processes", () => {
  let rest;
  before(() => {
    rest = keepBusy(2);
  });
  after(() => rest());

  for (let start = 1; start <= kStarts; start += 1) {
    test(`start ${start}: each request between them is answered`, { timeout: 90_000 }, async () => {
      const harbinet = await startHarbinet({ waitFor: "window" });
      try {
        program.attach(harbinet);
        await eventually(comeWhenListening, "the program listens");
        let requests = 0;
        await parallel(kConnections, kAtOnce, async (index) => {
          await comeAndGo();
          if (index % kBetweenRequests !== 0) return;
          await ask();
          requests += 1;
        });
        assert.equal(requests, kConnections / kBetweenRequests);
        await harbinet.stop();
      } catch (error) {
        await harbinet.cleanUp();
        error.message += `\n${harbinet.output}`;
        throw error;
      }
    });
  }
});
