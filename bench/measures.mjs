// What is measured, in the order of the table. Each measure gives rows {what, value, against, target,
// met}; two give a curve for the plot as well. All numbers are medians over the rounds.
import fs from "node:fs";

import { windowsPath } from "../tests/support/harbinet.mjs";
import { kBrowserMeasures } from "./browser.mjs";
import { kClientMeasures } from "./clients.mjs";
import { kFarMeasures } from "./far.mjs";
import { kLatencyMeasures } from "./latency.mjs";
import {
  atLeast,
  atMost,
  checked,
  formatRate,
  information,
  medians,
  megabytesPerSecond,
} from "./rows.mjs";
import { run, windowsProgram, wineCommand } from "./servers.mjs";

const kMiB = 1024 * 1024;
const kManyClients = 16;
const kListing = "list";

function fetch(context, server, name, clients = 1, count = 1) {
  const [target, headers] = server.file(name);
  return checked(context.client("get", server.port, target, clients, count, ...headers));
}

async function download(context) {
  const { size, nginx, loop, harbinet } = context;
  const servers = [harbinet, loop, nginx];
  const rates = await medians(
    size.rounds,
    servers.map((server) => () => megabytesPerSecond(fetch(context, server, "large.bin"))),
  );
  const what = `download, 1 client, ${size.large} MiB`;
  const [own, bare, native] = rates;
  return {
    rows: [
      atLeast(what, formatRate(own), `bare loop ${formatRate(bare)}`, own / bare, 0.9),
      atLeast(what, formatRate(own), `nginx ${formatRate(native)}`, own / native, 0.8),
      information(
        "yardstick: bare loop against nginx",
        formatRate(bare),
        `nginx ${formatRate(native)}`,
        bare / native,
      ),
    ],
  };
}

async function downloadMany(context) {
  const { size, nginx, loop, harbinet } = context;
  const one = () => megabytesPerSecond(fetch(context, harbinet, "large.bin"));
  const many = (server) => () =>
    megabytesPerSecond(fetch(context, server, "share.bin", kManyClients));
  const [single, own, bare, native] = await medians(size.rounds, [
    one,
    many(harbinet),
    many(loop),
    many(nginx),
  ]);
  const what = `download, ${kManyClients} clients, ${size.large} MiB in total`;
  return {
    rows: [
      atLeast(what, formatRate(own), `1 client ${formatRate(single)}`, own / single, 0.95),
      information(what, formatRate(own), `bare loop ${formatRate(bare)}`, own / bare),
      information(what, formatRate(own), `nginx ${formatRate(native)}`, own / native),
    ],
  };
}

async function upload(context) {
  const { size, loop, harbinet, client } = context;
  const tasks = [harbinet, loop].map((server) => () => {
    const [target, headers] = server.upload;
    const outcome = client("post", server.port, target, size.upload * kMiB, ...headers);
    fs.rmSync(`${context.folder}/files/upload.bin`);
    return megabytesPerSecond(checked(outcome));
  });
  const [own, bare] = await medians(size.rounds, tasks);
  return {
    rows: [
      atLeast(
        `upload, 1 client, ${size.upload} MiB multipart`,
        formatRate(own),
        `bare loop ${formatRate(bare)}`,
        own / bare,
        0.8,
      ),
    ],
  };
}

async function requests(context) {
  const { size, nginx, loop, harbinet, client } = context;
  const tasks = [harbinet, loop, nginx].map((server) => () => {
    const [target, headers] = server.status;
    const args = [server.port, target, kManyClients, size.requests, ...headers];
    const outcome = checked(client("get", ...args));
    return outcome.requests / outcome.seconds;
  });
  const [own, bare, native] = await medians(size.rounds, tasks);
  const what = `requests, /api/status, ${kManyClients} clients, new connection each`;
  const perSecond = (rate) => `${rate.toFixed(0)} /s`;
  return {
    rows: [
      atLeast(what, perSecond(own), `bare loop ${perSecond(bare)}`, own / bare, 0.9),
      information(what, perSecond(own), `nginx ${perSecond(native)}`, own / native),
    ],
  };
}

async function listing(context) {
  const { size, harbinet, client, folder } = context;
  const request = () => {
    const [target, headers] = harbinet.list(kListing);
    return checked(client("get", harbinet.port, target, 1, 1, ...headers)).seconds * 1000;
  };
  // The first walk of a process pays for its start.
  const walk = () => {
    const args = [
      harbinet.prefix,
      windowsProgram("list_loop"),
      windowsPath(`${folder}/files/${kListing}`),
      "3",
    ];
    const [, second, third] = run(wineCommand, args).trim().split(/\s+/).map(Number);
    return (second + third) / 2 / 1000;
  };
  const [own, bare] = await medians(size.rounds, [request, walk]);
  const text = (milliseconds) => `${milliseconds.toFixed(1)} ms`;
  const what = "listing of 10,000 files, whole request";
  return { rows: [atMost(what, text(own), `bare loop ${text(bare)}`, own / bare, 1.5)] };
}

function status(pid, field) {
  const text = fs.readFileSync(`/proc/${pid}/status`, "utf8");
  return (Number(new RegExp(`^${field}:\\s+(\\d+) kB`, "m").exec(text)[1]) * 1024) / kMiB;
}

// The peak of the resident memory while `work` runs, and what it was before, in MiB.
function peakDuring(pid, work) {
  const before = status(pid, "VmRSS");
  fs.writeFileSync(`/proc/${pid}/clear_refs`, "5");
  const result = work();
  return { result, before, peak: status(pid, "VmHWM") };
}

async function zip(context) {
  const { size, harbinet, client } = context;
  const names = Array.from({ length: 16 }, (_, index) => `zip${index}.bin`);
  const body = JSON.stringify({ path: "", names });
  const peaks = [];
  const pack = () => {
    const [target, headers] = harbinet.zip;
    const { result, peak } = peakDuring(harbinet.pid, () =>
      checked(client("json", harbinet.port, target, body, ...headers)),
    );
    peaks.push(peak);
    return result.seconds;
  };
  const plain = () => fetch(context, harbinet, "large.bin").seconds;
  const [own, bare] = await medians(size.rounds, [pack, plain]);
  const seconds = (value) => `${value.toFixed(2)} s`;
  const what = `ZIP of ${size.large} MiB`;
  const peak = Math.max(...peaks);
  return {
    rows: [
      atMost(what, seconds(own), `plain download ${seconds(bare)}`, own / bare, 2.2),
      atMost(
        `${what}, peak memory`,
        `${peak.toFixed(0)} MiB`,
        `selection ${size.large} MiB`,
        peak / size.large,
        1.15,
      ),
    ],
  };
}

function memoryRow(what, before, value, target) {
  return {
    what,
    value: `+${(value - before).toFixed(1)} MiB`,
    against: `start ${before.toFixed(1)} MiB`,
    ratio: "",
    target: `<= +${target} MB`,
    met: ((value - before) * kMiB) / 1e6 <= target,
  };
}

// The resident memory before and while a client holds idle connections, in MiB.
async function idleMemory(context, server) {
  const { size, holdIdle } = context;
  const before = status(server.pid, "VmRSS");
  const held = await holdIdle(server.port, size.idle);
  const during = status(server.pid, "VmRSS");
  await held.end();
  if (held.open !== size.idle) throw new Error(`only ${held.open} idle connections`);
  return [before, during];
}

async function idle(context) {
  const [before, during] = await idleMemory(context, context.harbinet);
  const [bareBefore, bareDuring] = await idleMemory(context, context.loop);
  const what = `memory, ${context.size.idle} idle connections`;
  const own = memoryRow(what, before, during, 150);
  const bare = `bare loop +${(bareDuring - bareBefore).toFixed(0)} MiB`;
  const ratio = (during - before) / (bareDuring - bareBefore);
  return { rows: [own, information(what, own.value, bare, ratio)] };
}

function transferMemory(context) {
  const { size, harbinet, client, folder } = context;
  const [target, headers] = harbinet.upload;
  const name = `${folder}/files/upload.bin`;
  const up = peakDuring(harbinet.pid, () =>
    checked(client("post", harbinet.port, target, size.huge * kMiB, ...headers)),
  );
  const down = peakDuring(harbinet.pid, () => fetch(context, harbinet, "upload.bin"));
  fs.rmSync(name);
  return {
    rows: [
      memoryRow(`memory, upload of ${size.huge} MiB`, up.before, up.peak, 8),
      memoryRow(`memory, download of ${size.huge} MiB`, down.before, down.peak, 8),
    ],
  };
}

function startUp(context) {
  const text = `${(context.harbinet.seconds * 1000).toFixed(0)} ms`;
  return { rows: [information("from start to listening", text)] };
}

// Throughput of each server over `points`; `take` gives the arguments of a fetch.
async function curve(context, title, label, points, take) {
  const servers = [context.harbinet, context.loop, context.nginx];
  const rows = [];
  for (const point of points) {
    const rate = (server) => megabytesPerSecond(fetch(context, server, ...take(point)));
    const tasks = servers.map((server) => () => rate(server));
    rows.push([point, ...(await medians(context.size.rounds, tasks))]);
  }
  return { curve: { title, label, names: servers.map((server) => server.name), rows } };
}

const kCurveBytes = 16 * kMiB;

const overFileSize = (context) =>
  curve(context, "1 client", "file size in KiB", context.size.fileKilobytes, (kilobytes) => [
    `${kilobytes}k.bin`,
    1,
    Math.min(50, Math.max(1, Math.floor(kCurveBytes / 1024 / kilobytes))),
  ]);

const overClients = (context) =>
  curve(
    context,
    `${context.size.clientMegabytes} MiB for each client`,
    "clients",
    context.size.clients,
    (clients) => ["clients.bin", clients],
  );

// Start-up and idle memory come first: later measures leave freed memory with the process.
export const kMeasures = {
  startUp,
  idle,
  transferMemory,
  download,
  downloadMany,
  upload,
  requests,
  listing,
  zip,
  overFileSize,
  overClients,
  ...kClientMeasures,
  ...kBrowserMeasures,
  ...kLatencyMeasures,
  ...kFarMeasures,
};
