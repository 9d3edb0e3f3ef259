// Measures everything in one run, the servers taking turns within each round, and writes the table and
// the plot. bench/bench says what the arguments mean.
import { spawn } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import { parseArgs } from "node:util";

import { root } from "../tests/support/harbinet.mjs";
import { kMeasures } from "./measures.mjs";
import { kNear, openFarNetwork } from "./network.mjs";
import { printTable, writeResults } from "./report.mjs";
import { kOwnClient } from "./rows.mjs";
import { kStatusBody, makeCertificate, run, startLoop, startNginx, startProgram } from "./servers.mjs";

const kMiB = 1024 * 1024;
const kFull = {
  name: "full",
  rounds: 5,
  large: 1024,
  upload: 512,
  huge: 2048,
  idle: 1000,
  requests: 50,
  clientMegabytes: 32,
  farMegabytes: 8,
  clients: [1, 2, 4, 8, 16, 32],
  fileKilobytes: [4, 64, 1024, 16 * 1024, 256 * 1024, 1024 * 1024],
};
const kQuick = {
  name: "quick",
  rounds: 1,
  large: 64,
  upload: 32,
  huge: 128,
  idle: 100,
  requests: 5,
  clientMegabytes: 4,
  farMegabytes: 1,
  clients: [1, 4, 16],
  fileKilobytes: [4, 1024, 64 * 1024],
};
const kListedFiles = 10_000;
const kZipFiles = 16;

// Random bytes: nothing on the way can do less work because of what they are.
function makeFile(file, bytes) {
  run("sh", ["-c", `head -c ${bytes} /dev/urandom >"$0"`, file]);
}

function makeFiles(folder, size) {
  fs.mkdirSync(path.join(folder, "list"), { recursive: true });
  fs.writeFileSync(path.join(folder, "status"), kStatusBody);
  for (let i = 0; i < kListedFiles; i += 1) {
    fs.writeFileSync(path.join(folder, "list", `file number ${i}.txt`), "x".repeat(i % 100));
  }
  makeFile(path.join(folder, "large.bin"), size.large * kMiB);
  makeFile(path.join(folder, "clients.bin"), size.clientMegabytes * kMiB);
  makeFile(path.join(folder, "far.bin"), size.farMegabytes * kMiB);
  makeFile(path.join(folder, "share.bin"), (size.large * kMiB) / 16);
  for (let i = 0; i < kZipFiles; i += 1) {
    fs.linkSync(path.join(folder, "share.bin"), path.join(folder, `zip${i}.bin`));
  }
  for (const kilobytes of size.fileKilobytes) {
    makeFile(path.join(folder, `${kilobytes}k.bin`), kilobytes * 1024);
  }
}

const kClientProgram = path.join(root, "build", "bench", "bench_client");

function client(...args) {
  return JSON.parse(run(kClientProgram, args.map(String)));
}

// A client that holds idle connections until it is told to end.
async function holdIdle(port, count) {
  const child = spawn(kClientProgram, ["idle", port, count].map(String), {
    stdio: ["pipe", "pipe", "ignore"],
  });
  const [line] = await new Promise((resolve, reject) => {
    child.stdout.once("data", (text) => resolve(String(text).split("\n")));
    child.once("error", reject);
  });
  const open = Number(line.split(" ")[1]);
  const ended = new Promise((resolve) => child.once("exit", resolve));
  return { open, end: () => (child.stdin.end(), ended) };
}

async function measureAll(size, { only, asAdministrator }, folder, started) {
  const files = path.join(folder, "files");
  fs.mkdirSync(files);
  console.log(`== files in ${folder}`);
  makeFiles(files, size);
  const certificate = makeCertificate(folder);

  const keep = (server) => (started.push(server), server);
  const harbinet = keep(await startProgram(folder, asAdministrator));
  const far = await openFarNetwork();
  if (far) started.push({ stop: far.end });
  const addresses = ["127.0.0.1", ...(far ? [kNear] : [])];
  const loop = keep(await startLoop(folder, harbinet.prefix, certificate, addresses));
  const nginx = keep(await startNginx(folder, certificate, addresses));
  const servers = { nginx, loop, harbinet };
  const context = { size, folder, ...servers, client, clientProgram: kClientProgram, holdIdle, far };

  const rows = [];
  const curves = [];
  const chosen = Object.entries(kMeasures).filter(([name]) => !only || only.includes(name));
  for (const [name, measure] of chosen) {
    console.log(`== ${name}`);
    const result = await measure(context);
    // Small sizes say nothing about the targets.
    const judged = (row) => ({
      client: kOwnClient,
      ...row,
      ...(size === kQuick && { met: null }),
    });
    rows.push(...(result.rows ?? []).map(judged));
    if (result.curve) curves.push(result.curve);
  }
  return { rows, curves, count: chosen.length };
}

async function main(args) {
  const size = args.quick ? kQuick : kFull;
  const only = args.only?.split(",");
  const base = fs.existsSync("/dev/shm") ? "/dev/shm" : "/tmp";
  const folder = fs.mkdtempSync(path.join(base, "harbinet-bench-"));
  const started = [];
  const cleanUp = async () => {
    for (const server of started.splice(0).reverse()) await server.stop();
    fs.rmSync(folder, { recursive: true, force: true, maxRetries: 20, retryDelay: 100 });
  };
  process.once("SIGINT", () => cleanUp().finally(() => process.exit(130)));
  try {
    const asAdministrator = args.admin;
    const { rows, curves, count } = await measureAll(size, { only, asAdministrator }, folder, started);
    printTable(rows);
    const target = size === kFull && !only ? "bench/results" : "build/bench/results";
    writeResults(path.join(root, target), size, rows, curves);
    console.log(`== written to ${target}`);
    // A measure that fails ends the run before this line.
    if (size === kQuick) console.log(`${count} passed, 0 failed`);
  } finally {
    await cleanUp();
  }
}

const options = {
  quick: { type: "boolean" },
  admin: { type: "boolean" },
  only: { type: "string" },
};
await main(parseArgs({ options }).values);
