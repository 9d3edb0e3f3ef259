// Counts what one /api/status costs the program: Wine's server is started with its trace of requests on, and strace
// watches the program. The requests come one at a time and begin just after one of the server thread's looks at its stop
// flag, five times a second.
import { execFileSync, spawn } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

import { startHarbinet } from "../tests/support/harbinet.mjs";
import { processOf } from "../tests/support/processes.mjs";
import { median } from "./rows.mjs";

const kRequests = 15;
const kWarmUp = 5;
const kWaitMilliseconds = 5000;
const kWineServers = ["/usr/lib/wine/wineserver64", "/usr/lib/wine/wineserver"];

const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

async function until(condition, what) {
  const end = Date.now() + kWaitMilliseconds;
  while (!condition()) {
    if (Date.now() > end) throw new Error(`did not happen: ${what}`);
    await sleep(1);
  }
}

const sizeOf = (file) => fs.statSync(file).size;

function textFrom(file, start) {
  const descriptor = fs.openSync(file, "r");
  const bytes = Buffer.alloc(sizeOf(file) - start);
  fs.readSync(descriptor, bytes, 0, bytes.length, start);
  fs.closeSync(descriptor);
  return bytes.toString("latin1");
}

function tally(names) {
  const counts = {};
  for (const name of names) counts[name] = (counts[name] ?? 0) + 1;
  return counts;
}

// The request that took the fewest calls, by name, and the sums of all. A receive that has to wait costs more than one
// that finds its bytes there, so the sums depend on how the client and the program run beside each other.
function summarise(tallies) {
  const sumOf = (counts) => Object.values(counts).reduce((sum, n) => sum + n, 0);
  const sorted = [...tallies].sort((a, b) => sumOf(a) - sumOf(b));
  return {
    rows: Object.entries(sorted[0]).sort((a, b) => b[1] - a[1]),
    sums: sorted.map(sumOf),
  };
}

function printTable(title, { rows, sums }) {
  console.log(`\n${title}: at least ${sums[0]}, median ${median(sums)}, at most ${sums.at(-1)}\n`);
  console.log(["| name | count |", "|---|--:|", ...rows.map((row) => `| ${row.join(" | ")} |`)].join("\n"));
}

// The requests of the server thread and of the connection's thread, by name, in the trace of one request.
function serverRequests(trace) {
  const created = /^([0-9a-f]{4}): new_thread\(\) = 0 \{ tid=([0-9a-f]{4})/m.exec(trace);
  const [, acceptor, connection] = created;
  const names = [];
  for (const [, thread, name] of trace.matchAll(/^([0-9a-f]{4}): ([a-z_]+)\( /gm)) {
    if (thread === acceptor || thread === connection) names.push(name);
  }
  return tally(names);
}

const isThreadGone = (trace) => {
  const created = /new_thread\(\) = 0 \{ tid=([0-9a-f]{4})/.exec(trace);
  return created !== null && trace.includes(`${created[1]}: *killed*`);
};

async function countServerRequests(log, request) {
  const tallies = [];
  for (let i = 0; i < kRequests; i += 1) {
    const before = sizeOf(log);
    await until(() => sizeOf(log) > before, "a look at the stop flag");
    await sleep(5);
    const start = sizeOf(log);
    request();
    await until(() => isThreadGone(textFrom(log, start)), "the end of the connection's thread");
    tallies.push(serverRequests(textFrom(log, start)));
  }
  return summarise(tallies);
}

// Calls of the connection's thread, and of the thread that started it from the time of the request on.
function systemCalls(trace, start) {
  const calls = [];
  for (const line of trace.split("\n")) {
    const match = /^(\d+) +(\d+\.\d+) ([a-z0-9_]+)\((.*)$/.exec(line);
    if (match === null || Number(match[2]) < start) continue;
    const [, thread, , name, rest] = match;
    calls.push({ thread, name, isTimeZone: rest.includes("/etc/localtime") });
  }
  const created = calls.findIndex(({ name }) => /^clone3?$/.test(name));
  const acceptor = calls[created].thread;
  const connection = calls.slice(created).find(({ name }) => name === "exit").thread;
  const own = calls.filter(({ thread }) => thread === acceptor || thread === connection);
  return tally(
    own.map(({ name, isTimeZone }) => {
      if (isTimeZone) return `${name} of /etc/localtime`;
      return /^writev?$/.test(name) ? "write or writev, to Wine's server" : name;
    }),
  );
}

async function countSystemCalls(pid, folder, request) {
  const file = path.join(folder, "strace");
  const strace = spawn("strace", ["-f", "-ttt", "-o", file, "-p", String(pid)], { stdio: "ignore" });
  await until(() => fs.existsSync(file) && sizeOf(file) > 0, "strace's first line");
  for (let i = 0; i < kWarmUp; i += 1) request();
  await sleep(500);
  const tallies = [];
  for (let i = 0; i < kRequests; i += 1) {
    const before = sizeOf(file);
    await until(() => sizeOf(file) > before, "a look at the stop flag");
    await sleep(20);
    const [offset, start] = [sizeOf(file), Date.now() / 1000];
    request();
    const isOver = () => / clone3?\([^]* exit\(0\)/.test(textFrom(file, offset));
    await until(isOver, "the end of the connection's thread");
    tallies.push(systemCalls(textFrom(file, offset), start));
  }
  strace.kill("SIGINT");
  return summarise(tallies);
}

const folder = fs.mkdtempSync(path.join(os.tmpdir(), "count-calls-"));
const log = path.join(folder, "wineserver");
let wineServer;
const harbinet = await startHarbinet({
  masterPin: "246810",
  prepare: async ({ prefix }) => {
    const output = fs.openSync(log, "w");
    const env = { ...process.env, WINEPREFIX: prefix };
    const program = kWineServers.find((file) => fs.existsSync(file));
    wineServer = spawn(program, ["-f", "-d1"], { env, stdio: ["ignore", output, output] });
    await sleep(500);
  },
});
try {
  const request = () =>
    execFileSync("curl", ["--silent", "--insecure", `${harbinet.origin}/api/status`]);
  for (let i = 0; i < kWarmUp; i += 1) request();
  await sleep(1000);
  printTable("Requests to Wine's server", await countServerRequests(log, request));
  const calls = await countSystemCalls(processOf(harbinet.prefix), folder, request);
  printTable("System calls of the program", calls);
} finally {
  await harbinet.cleanUp();
  wineServer.kill();
  fs.rmSync(folder, { recursive: true });
}
