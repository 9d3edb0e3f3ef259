// How long a client may hold a thread: the column "Time" of the table in SECURITY.md. Each row sends its slowest case to the
// program. They wait at the same time, so one that is cut is known by its own connection and its own line in the log. What
// says nothing, or never ends its head, waits in tests/wire/hostile.test.mjs.
import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { createHash } from "node:crypto";
import { describe, test } from "node:test";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";

import {
  assertLogged,
  buildRequest,
  collect,
  delay,
  freshFolder,
  logMessages,
  login,
  openTls,
  parseReply,
  program,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("costs-time");
folder.write("slow.bin", Buffer.alloc(25_000_000, "0123456789abcdef"));
folder.write("large.bin", Buffer.alloc(60_000_000, "l"));

// Sends `request` and then `bytes` every two seconds, nothing when there are none, until the program closes. Its reply, and
// after how many seconds it closed.
async function heldBy(request, bytes) {
  const socket = await openTls();
  const start = Date.now();
  const closed = collect(socket, 150_000);
  socket.write(request);
  const timer = setInterval(() => bytes && socket.write(bytes), 2000);
  const reply = parseReply(await closed.finally(() => clearInterval(timer)));
  return { reply, seconds: (Date.now() - start) / 1000 };
}

const bodyOf = (path) =>
  buildRequest("POST", path, { cookie, headers: { "Content-Length": 1000 } });

// A form whose file is cut short after some of its bytes; `length` is what is announced for all of it.
function startOfUpload(name, length) {
  const headers = {
    "Content-Type": "multipart/form-data; boundary=x",
    "Content-Length": length,
  };
  const part = `--x\r\nContent-Disposition: form-data; name="file"; filename="${name}"\r\n\r\n`;
  return Buffer.concat([
    buildRequest("POST", "/upload?path=costs-time", { cookie, headers }),
    Buffer.from(part),
  ]);
}

const kRows = [
  { path: "/api/login", drips: 30 },
  { path: "/api/mkdir", drips: 30 },
  { path: "/api/rmdir", drips: 30 },
  { path: "/api/delete", drips: 30 },
  { path: "/api/delete_many", silent: 60, drips: 120 },
  { path: "/api/zip", silent: 60, drips: 120 },
];
const kSlowReader = fileURLToPath(new URL("slow_reader.py", import.meta.url));
const kLate = 15; // seconds, on a machine that is busy

function assertHeld(seconds, limit) {
  console.log(`# held for ${seconds.toFixed(1)} s of ${limit} s`);
  assert.ok(seconds > limit - 5 && seconds < limit + kLate, `${seconds} s`);
}

describe("a thread is held", { concurrency: 32 }, () => {
  for (const { path, silent, drips } of kRows) {
    test(`${drips} s by a body of ${path} that drips`, async () => {
      assertHeld((await heldBy(bodyOf(path), " ")).seconds, drips);
    });
    if (silent === undefined) continue;
    test(`${silent} s by a body of ${path} that stops`, async () => {
      assertHeld((await heldBy(bodyOf(path))).seconds, silent);
    });
  }

  test("60 s by an upload that stops", async () => {
    const { seconds, reply } = await heldBy(startOfUpload("stops.bin", 1000));
    assertHeld(seconds, 60);
    assert.equal(`${reply.body}`, '{"ok":false,"error":"Upload aborted"}');
  });

  test("as long as it takes by an upload that drips", async () => {
    const end = "\r\n--x--\r\n";
    const socket = await openTls();
    const answer = collect(socket, 160_000);
    const start = startOfUpload("drips.bin", 1000);
    const sent = start.length - start.indexOf("--x\r\n") + end.length;
    socket.write(start);
    // Longer than any other body may take.
    const kBytes = 1000 - sent;
    for (let at = 0; at < 100; at += 1) {
      socket.write("d".repeat(at === 0 ? kBytes - 99 : 1));
      await delay(1250);
    }
    socket.write(end);
    const reply = parseReply(await answer);
    assert.equal(`${reply.body}`, '{"ok":true}');
    assert.equal(`${folder.read("drips.bin")}`, "d".repeat(kBytes));
  });

  test("by a download for a minute at 5 KB a second, and then as fast as it can", async () => {
    const socket = await openTls();
    socket.pause();
    socket.write(buildRequest("GET", "/download?path=costs-time/slow.bin", { cookie }));
    const received = [];
    for (let second = 0; second < 70; second += 1) {
      await delay(1000);
      const piece = socket.read(5000);
      if (piece) received.push(piece);
    }
    const slowly = Buffer.concat(received).length;
    assert.ok(slowly > 200_000 && slowly < 400_000, `${slowly} bytes in the first minute`);
    const end = collect(socket, 60_000);
    socket.resume();
    const reply = parseReply(Buffer.concat([...received, await end]));
    assert.ok(reply.body.equals(folder.read("slow.bin")), `${reply.bytes.length} bytes`);
  });

  test("by a download at 600 bytes a second, at the end of a narrow line", async () => {
    const target = "/download?path=costs-time/slow.bin";
    const args = [kSlowReader, `${program.port}`, cookie, target, "600", "100"];
    const { stdout } = await promisify(execFile)("python3", args);
    const { slowly, body, sha256 } = JSON.parse(stdout);
    console.log(`# ${slowly} bytes in 100 s`);
    // Of 60,000 bytes those that are whole records.
    assert.ok(slowly > 30_000 && slowly <= 60_000, `${slowly} bytes in the slow time`);
    const file = folder.read("slow.bin");
    assert.equal(body, file.length);
    assert.equal(sha256, createHash("sha256").update(file).digest("hex"));
  });

  test("30 s by a download of which nothing is taken", async () => {
    const line = `${folder.windows}\\large.bin`;
    const socket = await openTls();
    socket.pause();
    socket.write(buildRequest("GET", "/download?path=costs-time/large.bin", { cookie }));
    await assertLogged(`DL      ${line}`);
    const start = Date.now();
    const kCut = `DL      failed: ${line}`;
    while (!(await logMessages()).includes(kCut) && Date.now() - start < 60_000) await delay(200);
    assertHeld((Date.now() - start) / 1000, 30);
    socket.destroy();
    const lines = (await logMessages()).filter((text) => text.endsWith(line));
    assert.deepEqual(lines, [`DL      ${line}`, kCut]);
  });
});
