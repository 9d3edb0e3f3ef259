// run.mjs FOLDER [FILE...] : starts the program, runs the folder's tests (all, or the files named) one file after the
// other, and ends with a line "N passed, N failed". Needs DISPLAY; see scripts/with-display.
//
// The files share one program, unless a comment line in a file's head asks for another:
//
//   // @program movable-clock    one whose clock the tests move, with program.advanceClock()
//   // @program own              none: the file starts its own
//
// A file that takes longer than ten minutes hangs, unless a line "// @minutes 30" there gives it more time.
import { spawn } from "node:child_process";
import { once } from "node:events";
import fs from "node:fs";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";

import { hostPath, startHarbinet } from "./harbinet.mjs";
import { processOf } from "./processes.mjs";

const folder = path.resolve(process.argv[2]);
const place = fs.mkdtempSync(path.join(os.tmpdir(), "program-"));
const kMasterPin = "739164";
const kFileMinutes = 10;
const kFakeTime = "/usr/lib/x86_64-linux-gnu/faketime/libfaketimeMT.so.1";

// The environment of a program whose clock is moved by writing an offset in seconds to `clockFile`.
function movableClock(clockFile) {
  fs.writeFileSync(clockFile, "+0");
  return {
    LD_PRELOAD: kFakeTime,
    FAKETIME_TIMESTAMP_FILE: clockFile,
    FAKETIME_NO_CACHE: "1",
    FAKETIME_DONT_FAKE_MONOTONIC: "1",
  };
}

// Starts Wine's server and services before the program. Started with a movable clock they would take half a minute,
// because each look at the clock reads the file.
async function startWine({ prefix }) {
  const wine = fileURLToPath(new URL("../../scripts/wine", import.meta.url));
  await once(spawn(wine, [prefix, "cmd", "/c", "exit"], { stdio: "ignore" }), "exit");
}

// Lets the test files ask for the program's windows: one command on each connection.
async function serveControl(harbinet, file) {
  const server = net.createServer({ allowHalfOpen: true }, (socket) => {
    const chunks = [];
    socket.on("error", () => {});
    socket.on("data", (chunk) => chunks.push(chunk));
    socket.on("end", async () => {
      const words = JSON.parse(Buffer.concat(chunks).toString("utf8"));
      const answer = await harbinet.probe.ask(...words).then(
        (text) => ({ ok: true, text }),
        (error) => ({ ok: false, text: error.message }),
      );
      socket.end(JSON.stringify(answer));
    });
  });
  await once(server.listen(file), "listening");
  return server;
}

async function factsOf(harbinet) {
  const messages = await harbinet.messages();
  const after = (start) => messages.find((text) => text.startsWith(start)).slice(start.length);
  const windowsRoot = after("PATH    files=");
  return {
    port: harbinet.port,
    pin: after("AUTH    PIN="),
    masterPin: kMasterPin,
    windowsRoot,
    root: hostPath(windowsRoot, harbinet.prefix),
    driveC: path.join(harbinet.prefix, "drive_c"),
    pid: processOf(harbinet.prefix),
  };
}

// What the line "// @NAME WORD" in a file's head says.
function headWord(file, name) {
  const text = fs.readFileSync(path.join(folder, file), "utf8");
  return new RegExp(`^// @${name} (\\S+)$`, "m").exec(text)?.[1];
}

async function runFile(file, facts) {
  const child = spawn(process.execPath, ["--test-reporter=tap", path.join(folder, file)], {
    env: { ...process.env, TZ: "UTC", HARBINET_PROGRAM: JSON.stringify(facts) },
    stdio: ["ignore", "pipe", "inherit"],
  });
  let output = "";
  child.stdout.on("data", (data) => {
    output += data;
    process.stdout.write(data);
  });
  const minutes = Number(headWord(file, "minutes") ?? kFileMinutes);
  const timer = setTimeout(() => child.kill("SIGKILL"), minutes * 60_000);
  const [code] = await once(child, "close");
  clearTimeout(timer);
  const count = (word) => Number(new RegExp(`^# ${word} (\\d+)$`, "m").exec(output)?.[1] ?? 0);
  const passed = count("pass");
  let failed = count("fail") + count("cancelled");
  if (failed === 0 && (code !== 0 || passed + count("skipped") === 0)) failed = 1;
  return { passed, failed };
}

function add(total, { passed, failed }) {
  total.passed += passed;
  total.failed += failed;
}

async function runTimed(file, facts) {
  const start = Date.now();
  const result = await runFile(file, facts);
  const seconds = ((Date.now() - start) / 1000).toFixed(1);
  console.log(`== ${file}: ${result.passed} passed, ${result.failed} failed (${seconds} s)`);
  return result;
}

// How the program itself saw what went wrong.
async function printProgram(harbinet) {
  const kLines = 40;
  const lines = await harbinet.log().catch((error) => [error.message]);
  console.log(
    lines
      .slice(-kLines)
      .map((line) => `# log: ${line}`)
      .join("\n"),
  );
  console.log(harbinet.errorOutput().slice(-4000));
}

// Runs `files` against one program. A program that does not end well counts as a failure.
async function runAgainst(files, kind, clockFile) {
  const total = { passed: 0, failed: 0 };
  const env = { TZ: "UTC", ...(clockFile && movableClock(clockFile)) };
  const prepare = clockFile && startWine;
  const harbinet = await startHarbinet({ masterPin: kMasterPin, env, prepare });
  const controlSocket = path.join(place, `control-${kind}`);
  const control = await serveControl(harbinet, controlSocket);
  try {
    const facts = { ...(await factsOf(harbinet)), controlSocket, clockFile };
    for (const file of files) {
      const result = await runTimed(file, facts);
      add(total, result);
      if (result.failed > 0) await printProgram(harbinet);
    }
  } finally {
    control.close();
    await harbinet.stop().catch((error) => {
      console.log(error.message);
      total.failed += 1;
    });
  }
  return total;
}

async function runAlone(files) {
  const total = { passed: 0, failed: 0 };
  for (const file of files) add(total, await runTimed(file, { port: 8443, masterPin: kMasterPin }));
  return total;
}

// In the order in which they run.
const kPrograms = {
  shared: (files) => runAgainst(files, "shared"),
  "movable-clock": (files) => runAgainst(files, "movable-clock", path.join(place, "clock")),
  own: runAlone,
};

function programOf(file) {
  const asked = headWord(file, "program") ?? "shared";
  if (!(asked in kPrograms)) throw new Error(`${file}: there is no program "${asked}"`);
  return asked;
}

const all = fs.readdirSync(folder).filter((name) => name.endsWith(".test.mjs"));
const named = process.argv.slice(3).map((name) => path.basename(name));
const chosen = (named.length > 0 ? named : all)
  .sort()
  .map((file) => ({ file, asked: programOf(file) }));

const sum = { passed: 0, failed: 0 };
for (const [kind, runThem] of Object.entries(kPrograms)) {
  const files = chosen.filter(({ asked }) => asked === kind).map(({ file }) => file);
  if (files.length > 0) add(sum, await runThem(files));
}
fs.rmSync(place, { recursive: true });
console.log(`${sum.passed} passed, ${sum.failed} failed`);
process.exitCode = sum.failed === 0 ? 0 : 1;
