// How long one short request takes, alone and while others transfer: p50 and p99 of /api/status.
import { spawn } from "node:child_process";

import { curlUploadArguments, serversOf, uploadFile, urlOf } from "./clients.mjs";
import { by, checked, formatMilliseconds, information } from "./rows.mjs";

const kMiB = 1024 * 1024;
const kDownloads = 8;
const kUploads = 4;
const kSettleMilliseconds = 1000;
const kClient = "own client, load: curl";

const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

// curl over and over again, until it is ended; whole process groups, so that nothing stays.
function repeatCurl(args) {
  const loop = 'while :; do curl --insecure --silent --output /dev/null "$@"; done';
  const child = spawn("sh", ["-c", loop, "curl", ...args], { detached: true, stdio: "ignore" });
  const ended = new Promise((resolve) => child.once("exit", resolve));
  return async () => {
    process.kill(-child.pid, "SIGKILL");
    await ended;
  };
}

function startLoad(context, server) {
  const [target, headers] = server.file("large.bin");
  const download = [...headers.flatMap((line) => ["--header", line]), urlOf(server, target)];
  const loads = Array.from({ length: kDownloads }, () => repeatCurl(download));
  for (let i = 0; i < kUploads; i += 1) {
    const file = uploadFile(context, `load-${i}.bin`, 64 * kMiB);
    loads.push(repeatCurl(curlUploadArguments(server, file)));
  }
  return () => Promise.all(loads.map((end) => end()));
}

function latency(context, server) {
  const [target, headers] = server.status;
  const args = [server.port, target, 1, context.size.requests * 4, ...headers];
  return checked(context.client("get", ...args));
}

async function latencyBesideLoad(context, server) {
  const end = startLoad(context, server);
  try {
    await sleep(kSettleMilliseconds);
    return latency(context, server);
  } finally {
    await end();
  }
}

const text = ({ p50_ms: p50, p99_ms: p99 }) =>
  `${formatMilliseconds(p50)} / ${formatMilliseconds(p99)}`;

function rowsOf(what, [own, bare, native]) {
  return [
    information(what, text(own), `bare loop ${text(bare)}`, own.p50_ms / bare.p50_ms),
    information(what, text(own), `nginx ${text(native)}`, own.p50_ms / native.p50_ms),
  ];
}

async function measureLatency(context) {
  const alone = [];
  const beside = [];
  for (const server of serversOf(context)) {
    alone.push(latency(context, server));
    beside.push(await latencyBesideLoad(context, server));
  }
  const load = `${kDownloads} downloads and ${kUploads} uploads`;
  return by(kClient, [
    ...rowsOf("/api/status, p50 / p99, alone", alone),
    ...rowsOf(`/api/status, p50 / p99, beside ${load}`, beside),
  ]);
}

export const kLatencyMeasures = { latency: measureLatency };
