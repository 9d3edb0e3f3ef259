// Closing the window ends the process at once whatever its connections are doing, and a second later it can be started
// again. LEAVINGS says how often each is tried (1).
// @program own
// @minutes 40
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";

import {
  buildRequest,
  delay,
  eventually,
  login,
  openIdle,
  openTls,
  parallel,
  program,
} from "../support/client.mjs";
import { startHarbinet } from "../support/harbinet.mjs";
import { scratchFolder, slowdown } from "./attack.mjs";

// On a quiet machine 300 ms are kept. On a busy one everything takes longer, by what slowdown() tells.
const kMostMilliseconds = 1000;
const kRounds = Number(process.env.LEAVINGS ?? 1);

const webRoot = scratchFolder();
const kMasterPin = "739164";

// Without a byte on the disk.
function makeSparseFile(name, bytes) {
  fs.writeFileSync(path.join(webRoot, name), "");
  fs.truncateSync(path.join(webRoot, name), bytes);
}
makeSparseFile("large.bin", 100_000_000);
makeSparseFile("half.bin", 1_073_741_824);
makeSparseFile("other half.bin", 1_000_000_000);

// The few threads that a start and a login leave for some seconds come and go, so they are not counted apart.
const untilThreads = (count) =>
  eventually(async () => (await program.resources()).threads >= count, `${count} threads`, 60_000);

async function openRequests(count, bytes) {
  const sockets = [];
  await parallel(count, 8, async () => {
    const socket = await openTls();
    socket.pause();
    socket.write(bytes);
    sockets.push(socket);
  });
  return sockets;
}

async function askForArchive(cookie, harbinet, line) {
  const body = JSON.stringify({ path: "", names: ["half.bin", "other half.bin"] });
  const sockets = await openRequests(1, buildRequest("POST", "/api/zip", { cookie, body }));
  await harbinet.waitForMessage(line, { seconds: 200 });
  return sockets;
}

const kStates = [
  { what: "no connection", begin: async () => [] },
  {
    what: "1,000 idle connections",
    async begin() {
      const idle = [];
      await parallel(1000, 20, async () => idle.push(await openIdle()));
      await untilThreads(1000);
      return idle;
    },
  },
  {
    what: "300 downloads whose clients have stopped reading",
    async begin(cookie) {
      const bytes = buildRequest("GET", "/download?path=large.bin", { cookie });
      const sockets = await openRequests(300, bytes);
      await untilThreads(300);
      return sockets;
    },
  },
  {
    what: "20 uploads in the middle",
    async begin(cookie, harbinet) {
      const begun =
        '--x\r\nContent-Disposition: form-data; name="f"; filename="up.bin"\r\n\r\nthe beginning';
      const head = buildRequest("POST", "/upload?path=", {
        cookie,
        headers: { "Content-Type": "multipart/form-data; boundary=x", "Content-Length": 1e9 },
      });
      const sockets = await openRequests(20, Buffer.concat([head, Buffer.from(begun)]));
      await harbinet.waitForMessage(/^UPLOAD {2}.*up\.bin$/);
      return sockets;
    },
  },
  {
    what: "an archive of 2 GiB in the making",
    begin: (cookie, harbinet) => askForArchive(cookie, harbinet, /^ZIP {5}precheck ok/),
  },
  {
    what: "an archive of 2 GiB on its way",
    begin: (cookie, harbinet) => askForArchive(cookie, harbinet, /^ZIP {5}created/),
  },
];

describe("closing the window", () => {
  for (const { what, begin } of Array.from({ length: kRounds }, () => kStates).flat()) {
    test(`with ${what} ends the process at once`, { timeout: 400_000 }, async () => {
      const harbinet = await startHarbinet({ webRoot, masterPin: kMasterPin });
      try {
        program.attach(harbinet);
        program.pin = kMasterPin;
        const sockets = await begin(await login(), harbinet);
        const before = slowdown();
        const { code, milliseconds } = await harbinet.close();
        await harbinet.ended;
        const slower = Math.max(before, slowdown());
        for (const socket of sockets) socket.destroy();
        const story = `${milliseconds} ms, on a machine that takes ${slower.toFixed(1)} times as long as it could`;
        console.log(`# ${what}: ${story}`);
        assert.equal(code, 0);
        assert.ok(milliseconds <= kMostMilliseconds * slower, story);

        await delay(Math.max(1000 - milliseconds, 0));
        harbinet.launch();
        await harbinet.waitForServer();
        await harbinet.stop();
      } catch (error) {
        await harbinet.cleanUp();
        error.message += `\n${harbinet.output}`;
        throw error;
      }
    });
  }
});
