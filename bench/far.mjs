// The same over a network of 20 ms round trip and 1 % loss, where clients wait for each other rather than for processors.
import { ab, curlDownload, curlUpload, serversOf, uploadFile } from "./clients.mjs";
import { kFarText, kNear } from "./network.mjs";
import { by, checked, formatMilliseconds, information, kOwnClient, medians } from "./rows.mjs";
import { run } from "./servers.mjs";

const kMiB = 1024 * 1024;

const formatRate = (rate) => `${rate.toFixed(2)} MB/s`;

function rowsOf(what, format, [own, bare, native], ratio = Number) {
  const text = `${what}, ${kFarText}`;
  return [
    information(text, format(own), `bare loop ${format(bare)}`, ratio(own) / ratio(bare)),
    information(text, format(own), `nginx ${format(native)}`, ratio(own) / ratio(native)),
  ];
}

const atFar = (context) => ({ through: context.far.through, host: kNear });

async function transfers(context, client, what, seconds) {
  const bytes = context.size.farMegabytes * kMiB;
  const tasks = serversOf(context).map((server) => () => bytes / 1e6 / seconds(server));
  const rates = await medians(context.size.rounds, tasks);
  return by(client, rowsOf(`${what}, ${context.size.farMegabytes} MiB`, formatRate, rates)).rows;
}

function latency(context, server) {
  const [target, headers] = server.status;
  const [first, ...rest] = [...context.far.through, context.clientProgram, "get"];
  const args = [server.port, target, 1, context.size.requests * 2, ...headers].map(String);
  const env = { ...process.env, BENCH_HOST: kNear };
  return checked(JSON.parse(run(first, [...rest, ...args], { env })));
}

async function far(context) {
  if (context.far === null) {
    console.log("== far network: left out (it needs the rights of root, and a namespace of the bench's own)");
    return { rows: [] };
  }
  const file = uploadFile(context, "far-upload.bin", context.size.farMegabytes * kMiB);
  const status = serversOf(context).map((server) => latency(context, server));
  const one = (server) => ab(server, context.size.requests, 1, atFar(context)).processing;
  const processing = await medians(1, serversOf(context).map((server) => () => one(server)));
  const both = ({ p50_ms: p50, p99_ms: p99 }) =>
    `${formatMilliseconds(p50)} / ${formatMilliseconds(p99)}`;
  const what = "/api/status, median above the handshake";
  return {
    rows: [
      ...by(kOwnClient, rowsOf("/api/status, p50 / p99", both, status, (value) => value.p50_ms)).rows,
      ...by("ab -c 1", rowsOf(what, formatMilliseconds, processing)).rows,
      ...(await transfers(context, "curl", "download", (server) =>
        curlDownload(server, "far.bin", atFar(context)),
      )),
      ...(await transfers(context, "curl -F", "upload (nginx: PUT)", (server) =>
        curlUpload(server, file, atFar(context)),
      )),
    ],
  };
}

export const kFarMeasures = { far };
