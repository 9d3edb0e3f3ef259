// What a byte from a client may cost at most: the rows of the table in SECURITY.md. Each sends its worst case to the
// program and compares memory, threads, processor time and the time that a thread is held with the row.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  buildRequest,
  collect,
  delay,
  eventually,
  freshFolder,
  login,
  openTls,
  parallel,
  postJson,
  program,
} from "../support/client.mjs";
import { assertReturnedTo, settled } from "./attack.mjs";

const kMebibyte = 1_048_576;
const cookie = await login();
const folder = freshFolder("costs");
folder.write("a.txt", "a");

const resident = async () => (await program.resources()).residentMegabytes;

// The most memory seen while `work` runs, above what there was before.
async function peakDuring(work) {
  const before = await resident();
  let peak = before;
  let working = true;
  const watching = (async () => {
    while (working) {
      peak = Math.max(peak, await resident());
      await delay(20);
    }
  })();
  try {
    await work();
  } finally {
    working = false;
    await watching;
  }
  return peak - before;
}

// A head of nearly one MiB that consists of `line` over and over, for a login whose body is awaited.
function headOf(line) {
  let head = "POST /api/login HTTP/1.1\r\nContent-Length: 20\r\n";
  const lines = [];
  let bytes = head.length;
  for (let index = 0; ; index += 1) {
    const next = line(index);
    if (bytes + next.length > kMebibyte - 100) break;
    lines.push(next);
    bytes += next.length;
  }
  head += lines.join("");
  return Buffer.from(`${head}X: x\r\n\r\n`);
}

describe("a waiting connection", () => {
  const kConnections = 20;
  for (const { what, line } of [
    { what: "empty header lines", line: () => ":\n" },
    { what: "150,000 short names", line: (index) => `${index.toString(36)}:\n` },
    {
      what: "one long value",
      line: (index) => (index === 0 ? `A: ${"a".repeat(1_040_000)}\r\n` : "A: b\n"),
    },
  ]) {
    test(`costs at most 2 MiB after a head of ${what}`, { timeout: 120_000 }, async () => {
      const before = await settled();
      const head = headOf(line);
      const sockets = [];
      await parallel(kConnections, 4, async () => {
        const socket = await openTls();
        socket.write(head);
        sockets.push(socket);
      });
      const quiet = async () => {
        const cpu = program.cpuSeconds();
        await delay(500);
        return program.cpuSeconds() - cpu < 0.05;
      };
      await eventually(quiet, "every head has been read", 60_000);
      const held = (await program.resources()).residentMegabytes - before.residentMegabytes;
      console.log(`# ${kConnections} heads of ${what}: ${held} MiB`);
      for (const socket of sockets) socket.destroy();
      assert.ok(held <= 2 * kConnections, `${held} MiB for ${kConnections} connections`);
      await assertReturnedTo(before, { megabytes: 60 });
    });
  }
});

describe("names in a body", () => {
  test("six names of 20 MB leave less than 10 MB", { timeout: 120_000 }, async () => {
    const before = await settled();
    const name = "n".repeat(20_000_000);
    for (let round = 0; round < 6; round += 1) {
      const reply = await postJson(
        "/api/mkdir",
        { path: "costs", name },
        { cookie, timeout: 60_000 },
      );
      assert.equal(reply.status, 400, `${reply.bytes.subarray(0, 200)}`);
    }
    const left = (await settled()).residentMegabytes - before.residentMegabytes;
    console.log(`# left of six names of 20 MB: ${left} MiB`);
    assert.ok(left < 10, `${left} MiB`);
  });

  test(
    "four million empty names cost at most four times their bytes, and seconds",
    {
      timeout: 180_000,
    },
    async () => {
      await settled();
      const body = `{"path":"costs","names":[${'"",'.repeat(4_000_000)}"a.txt"]}`;
      const cpu = program.cpuSeconds();
      let reply;
      const peak = await peakDuring(async () => {
        const socket = await openTls();
        const answer = collect(socket, 120_000);
        socket.write(buildRequest("POST", "/api/zip", { cookie, body }));
        reply = await answer;
      });
      const seconds = program.cpuSeconds() - cpu;
      const allowed = (4 * body.length) / kMebibyte + 8;
      console.log(`# four million empty names: ${peak} MiB, ${seconds.toFixed(1)} s`);
      assert.match(`${reply.subarray(0, 20)}`, /^HTTP\/1\.1 200 OK/);
      assert.ok(peak <= allowed, `${peak} MiB for ${body.length} bytes`);
      assert.ok(seconds < 12, `${seconds} s`);
    },
  );
});

describe("an upload", () => {
  test("whose part never ends its headers costs what it sends", { timeout: 120_000 }, async () => {
    const before = await settled();
    const sent = 32 * kMebibyte;
    const peak = await peakDuring(async () => {
      const socket = await openTls();
      socket.write(
        buildRequest("POST", "/upload?path=costs", {
          cookie,
          headers: {
            "Content-Type": "multipart/form-data; boundary=x",
            "Content-Length": 2 * sent,
          },
        }),
      );
      socket.write("--x\r\n");
      await new Promise((resolve) => socket.write(Buffer.alloc(sent, "h"), resolve));
      await delay(500);
      socket.destroy();
    });
    console.log(`# a header block of 32 MiB: ${peak} MiB`);
    assert.ok(peak <= (4 * sent) / kMebibyte, `${peak} MiB`);
    await assertReturnedTo(before, { megabytes: 20 });
  });
});
