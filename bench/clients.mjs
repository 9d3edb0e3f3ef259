// Clients that people have, as they come: curl, wget and ab. Each row names its client.
import fs from "node:fs";
import path from "node:path";

import { atLeast, atMost, by, formatMilliseconds, formatRate, information, median, medians } from "./rows.mjs";
import { run } from "./servers.mjs";

const kMiB = 1024 * 1024;
export const kSmallUploadBytes = 2_000_000;
const kLoopback = "127.0.0.1";

export const urlOf = (server, target, host = kLoopback) => `https://${host}:${server.port}/${target}`;

const headerArguments = (headers) => headers.flatMap((header) => ["--header", header]);

// `through` starts the client somewhere else: the words before its name.
function runThrough(through, command, args, options) {
  const [first, ...rest] = [...through, command, ...args];
  return run(first, rest, { stdio: ["ignore", "pipe", "ignore"], ...options });
}

// Seconds from the first packet to the last. A reply other than 2xx throws.
function curlSeconds(through, args) {
  const words = ["--insecure", "--silent", "--fail", "--output", "/dev/null"];
  return Number(runThrough(through, "curl", [...words, "--write-out", "%{time_total}", ...args]));
}

export function curlDownload(server, name, { through = [], host } = {}) {
  const [target, headers] = server.file(name);
  return curlSeconds(through, [...headerArguments(headers), urlOf(server, target, host)]);
}

// The words with which curl sends `file`: as a form, or with PUT to a server that takes none.
export function curlUploadArguments(server, file, host) {
  const [target, headers] = server.uploadTo(path.basename(file));
  const body = server.takesForms ? ["--form", `file=@${file}`] : ["--upload-file", file];
  return [...headerArguments(headers), ...body, urlOf(server, target, host)];
}

export function curlUpload(server, file, { through = [], host } = {}) {
  return curlSeconds(through, curlUploadArguments(server, file, host));
}

function wgetSeconds(server, name) {
  const [target, headers] = server.file(name);
  const start = performance.now();
  const to = ["--quiet", "--no-check-certificate", "--output-document=/dev/null"];
  run("wget", [...to, ...headers.map((header) => `--header=${header}`), urlOf(server, target)]);
  return (performance.now() - start) / 1000;
}

// ab's own figures for /api/status: requests per second, and the medians in milliseconds of connecting (handshake
// included) and of what comes after it.
export function ab(server, count, clients, { through = [], host } = {}) {
  const args = ["-q", "-n", String(count), "-c", String(clients)];
  const text = runThrough(through, "ab", [...args, urlOf(server, server.status[0], host)]);
  const number = (pattern) => Number(pattern.exec(text)[1]);
  if (number(/^Failed requests:\s+(\d+)/m) > 0 || /Non-2xx/.test(text)) throw new Error(text);
  const medianOf = (line) =>
    number(new RegExp(`^${line}:\\s+[\\d.]+\\s+[\\d.]+\\s+[\\d.]+\\s+([\\d.]+)`, "m"));
  return {
    rate: number(/^Requests per second:\s+([\d.]+)/m),
    connect: medianOf("Connect"),
    processing: medianOf("Processing"),
  };
}

export const serversOf = ({ harbinet, loop, nginx }) => [harbinet, loop, nginx];

// One value for each server in turn, and the rows of the program against the other two.
async function compare(context, what, measure, format, against) {
  const tasks = serversOf(context).map((server) => () => measure(server));
  const [own, bare, native] = await medians(context.size.rounds, tasks);
  const text = format(own);
  return [
    information(what, text, `bare loop ${format(bare)}`, own / bare),
    against?.(what, text, `nginx ${format(native)}`, own / native) ??
      information(what, text, `nginx ${format(native)}`, own / native),
  ];
}

const perSecond = (value) => `${value.toFixed(0)} /s`;
const rateOf = (bytes, seconds) => bytes / 1e6 / seconds;

async function curlDown(context) {
  const bytes = context.size.large * kMiB;
  const rate = (server) => rateOf(bytes, curlDownload(server, "large.bin"));
  const what = `download, ${context.size.large} MiB`;
  const target = (...row) => atLeast(...row, 0.7);
  return by("curl", await compare(context, what, rate, formatRate, target));
}

async function wgetDown(context) {
  const bytes = context.size.large * kMiB;
  const rate = (server) => rateOf(bytes, wgetSeconds(server, "large.bin"));
  const what = `download, ${context.size.large} MiB`;
  return by("wget", await compare(context, what, rate, formatRate));
}

export function uploadFile(context, name, bytes) {
  const file = path.join(context.folder, name);
  if (!fs.existsSync(file)) {
    run("sh", ["-c", `head -c ${bytes} /dev/urandom >"$0"`, file]);
  }
  return file;
}

async function curlUp(context) {
  const bytes = context.size.upload * kMiB;
  const file = uploadFile(context, "large-upload.bin", bytes);
  const rate = (server) => rateOf(bytes, curlUpload(server, file));
  const what = `upload, ${context.size.upload} MiB (nginx: PUT)`;
  const rows = await compare(context, what, rate, formatRate);
  return by("curl -F", rows);
}

async function curlUpSmall(context) {
  const file = uploadFile(context, "small-upload.bin", kSmallUploadBytes);
  const time = (server) => curlUpload(server, file) * 1000;
  const what = "upload, 2 MB (nginx: PUT)";
  const tasks = serversOf(context).map((server) => () => time(server));
  const [own, bare, native] = await medians(context.size.rounds, tasks);
  const text = formatMilliseconds(own);
  return by("curl -F", [
    { ...atMost(what, text, "", own, 50), ratio: "", target: "<= 50 ms" },
    information(what, text, `bare loop ${formatMilliseconds(bare)}`, own / bare),
    information(what, text, `nginx ${formatMilliseconds(native)}`, own / native),
  ]);
}

async function abOne(context) {
  const count = context.size.requests * 2;
  const processing = [];
  const rate = (server) => {
    const result = ab(server, count, 1);
    if (server === context.harbinet) processing.push(result.processing);
    return result.rate;
  };
  const what = "/api/status, one after the other";
  const rows = await compare(context, what, rate, perSecond);
  const above = median(processing);
  const row = atMost(`${what}, median above the handshake`, `${above} ms`, "", above, 5);
  return by("ab -c 1", [...rows, { ...row, ratio: "", target: "<= 5 ms" }]);
}

async function abMany(context) {
  const rate = (server) => ab(server, context.size.requests * 16, 16).rate;
  return by("ab -c 16", await compare(context, "/api/status", rate, perSecond));
}

export const kClientMeasures = { curlDown, wgetDown, curlUp, curlUpSmall, abOne, abMany };
