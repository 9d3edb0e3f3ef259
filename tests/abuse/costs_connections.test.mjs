// What a connection costs at most in each state, and what stays of it: rows of the table in SECURITY.md. Many at once, so that
// one of them stands out of the noise.
//
// A thousand connections without a request are in slow.test.mjs. What one link and one address cost, with nothing around
// them, is counted in tests/torture/memory_test.cpp.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  assertJsonError,
  buildRequest,
  delay,
  eventually,
  freshFolder,
  get,
  login,
  once,
  openTls,
  parallel,
  postLogin,
  program,
  settledMessages,
} from "../support/client.mjs";
import { assertReturnedTo, settled } from "./attack.mjs";

const kKilobyte = 1024;
const kMebibyte = 1_048_576;
const cookie = await login();
const folder = freshFolder("costs-connections");
folder.write("a.txt", "a");
folder.write("large.bin", Buffer.alloc(60_000_000, "l"));

// Waits until the program has nothing to do any more: every client waits, or is waited for.
const quiet = () =>
  eventually(
    async () => {
      const cpu = program.cpuSeconds();
      await delay(500);
      return program.cpuSeconds() - cpu < 0.05;
    },
    "everything is taken",
    30_000,
  );

// Opens `count` connections, lets `begin` send on each what it can, and returns how many MB one of them holds.
async function heldByEach(what, count, begin) {
  const before = await settled();
  const sockets = [];
  await parallel(count, 4, async (index) => {
    const socket = await openTls();
    sockets.push(socket);
    await begin(socket, index);
  });
  await quiet();
  const now = await program.resources();
  const each = (now.residentKilobytes - before.residentKilobytes) / kKilobyte / count;
  const threads = now.threads - before.threads;
  console.log(`# ${count} ${what}: ${each.toFixed(3)} MB and ${threads / count} threads each`);
  for (const socket of sockets) socket.destroy();
  assert.equal(threads, count, "each has a thread");
  await assertReturnedTo(before, { megabytes: 60 });
  return each;
}

test("an upload costs 0.8 MB", { timeout: 120_000 }, async () => {
  const kUploads = 40;
  const piece = Buffer.alloc(kMebibyte, "u");
  const each = await heldByEach("uploads", kUploads, (socket, index) => {
    socket.write(
      buildRequest("POST", "/upload?path=costs-connections", {
        cookie,
        headers: {
          "Content-Type": "multipart/form-data; boundary=x",
          "Content-Length": 10 * kMebibyte,
        },
      }),
    );
    const name = `filename="${index}.bin"`;
    socket.write(`--x\r\nContent-Disposition: form-data; name="file"; ${name}\r\n\r\n`);
    return new Promise((resolve) => socket.write(piece, resolve));
  });
  assert.ok(each <= 0.8, `${each} MB`);
});

test("a download costs 0.9 MB", { timeout: 120_000 }, async () => {
  const each = await heldByEach("downloads", 40, (socket) => {
    socket.pause();
    socket.write(buildRequest("GET", "/download?path=costs-connections/large.bin", { cookie }));
  });
  assert.ok(each <= 0.9, `${each} MB`);
});

describe("a share link", () => {
  const share = (path) => get(`/api/share?path=costs-connections/${path}a.txt`, { cookie });

  test("of the longest path costs 64 KB", { timeout: 120_000 }, async () => {
    const kLinks = 200;
    // Windows reads the row of separators as one.
    const longest = "/".repeat(32_500);
    for (let warm = 0; warm < 4; warm += 1) await share(longest);
    const before = await settled();
    await parallel(kLinks, 4, async () => assert.equal((await share(longest)).status, 200));
    const held = (await settled()).residentKilobytes - before.residentKilobytes;
    console.log(`# a link of the longest path: ${(held / kLinks).toFixed(1)} KB`);
    assert.ok(held > kLinks * 32, "they are not all there");
    assert.ok(held <= kLinks * 64 + 4 * kKilobyte, `${held} KB for ${kLinks} links`);
  });

  test("of a longer path is refused at once", { timeout: 60_000 }, async () => {
    const cpu = program.cpuSeconds();
    assertJsonError(await share("./".repeat(400_000)), 400, "Invalid path");
    assert.ok(program.cpuSeconds() - cpu < 2);
  });
});

test("a wrong PIN, and a blocked one, cost one line", { timeout: 120_000 }, async () => {
  const wrong = program.pin === "000000" ? "111111" : "000000";
  const kAttempts = 100;
  const blocked = "127.7.200.1";
  for (let count = 0; count < 3; count += 1) await postLogin(wrong, { from: blocked });
  const before = await settled();
  await parallel(kAttempts, 4, async (index) => {
    const from = `127.7.${index}.1`;
    assert.equal((await postLogin(wrong, { from })).status, 401);
    assert.ok((await postLogin(program.pin, { from: blocked })).silent);
  });
  const lines = (await settledMessages()).filter((line) => / 127\.7\.\d+\.1\b/.test(line));
  const failed = lines.filter((line) => line.startsWith("AUTH    failed login from"));
  const refused = lines.filter((line) => line.startsWith(`AUTH    blocked IP ${blocked}`));
  // Two before the ban, and the alert.
  assert.deepEqual([failed.length, refused.length], [kAttempts + 2, kAttempts]);
  assert.equal(lines.length, 2 * kAttempts + 3);
  await assertReturnedTo(before, { megabytes: 4 });
});

describe("bytes after the reply", () => {
  const status = buildRequest("GET", "/api/status");

  // Has got its reply to the end, and may still send.
  async function answered() {
    const socket = await openTls({ allowHalfOpen: true });
    socket.resume();
    return socket;
  }

  test(
    "cost 32 KB more than silence, and are read for two seconds",
    { timeout: 60_000 },
    async () => {
      const kClients = 60;
      const before = await settled();
      const sockets = [];
      await parallel(kClients, 4, async () => sockets.push(await answered()));
      const ends = sockets.map((socket) => once(socket, "end"));
      for (const socket of sockets) socket.write(status);
      await Promise.all(ends);
      const start = Date.now();
      const dripping = setInterval(() => sockets.forEach((socket) => socket.write("x")), 100);
      await delay(500);
      const now = await program.resources();
      const each = (now.residentKilobytes - before.residentKilobytes) / kClients;
      await eventually(
        async () => (await program.resources()).threads <= before.threads,
        "each is closed",
        20_000,
      ).finally(() => clearInterval(dripping));
      const seconds = (Date.now() - start) / 1000;
      console.log(
        `# ${now.threads - before.threads} clients that send after their reply: ${each.toFixed(0)} KB each, ${seconds} s`,
      );
      for (const socket of sockets) socket.destroy();
      assert.ok(now.threads - before.threads > kClients / 2, "most of them are still read from");
      assert.ok(each <= 150 + 32, `${each} KB`);
      assert.ok(seconds < 4, `${seconds} s`);
    },
  );

  test("are read up to 64 MiB", { timeout: 60_000 }, async () => {
    const socket = await answered();
    const ended = once(socket, "end");
    socket.write(status);
    await ended;
    const start = Date.now();
    const piece = Buffer.alloc(kMebibyte, "x");
    let sent = 0;
    while (!socket.destroyed && Date.now() - start < 20_000) {
      const isTaken = await new Promise((resolve) =>
        socket.write(piece, (error) => resolve(!error)),
      );
      if (isTaken) sent += 1;
    }
    socket.destroy();
    const seconds = (Date.now() - start) / 1000;
    console.log(`# ${sent} MiB were taken after the reply, in ${seconds} s`);
    // What the systems of both sides hold comes on top.
    assert.ok(sent <= 64 + 16, `${sent} MiB`);
    assert.ok(seconds < 4, `${seconds} s`);
  });
});
