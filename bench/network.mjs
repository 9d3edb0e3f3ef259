// A second network namespace behind a link with delay and loss: `tc netem` between the ends of a veth pair where the
// kernel has it, else a program that passes packets on (link.cpp). Made inside the bench's own namespace.
import { execFileSync, spawn } from "node:child_process";
import fs from "node:fs";
import path from "node:path";

import { root } from "../tests/support/harbinet.mjs";

export const kNear = "10.77.0.1";
const kFar = "10.77.0.2";
const kDelayMilliseconds = 10;
const kLossPercent = 1;

const quietly = (...words) => execFileSync(words[0], words.slice(1), { stdio: "ignore" });

// A process that lives until its input ends; its first line of output says that it is ready.
async function startHolder(command, args) {
  const child = spawn(command, args, { stdio: ["pipe", "pipe", "inherit"] });
  const isReady = await new Promise((resolve) => {
    child.stdout.once("data", () => resolve(true));
    child.once("exit", () => resolve(false)).once("error", () => resolve(false));
  });
  if (!isReady) throw new Error(`${command} did not start`);
  const ended = new Promise((resolve) => child.once("exit", resolve));
  return { pid: child.pid, end: () => (child.stdin.end(), ended) };
}

const inside = ({ pid }) => ["nsenter", `--target=${pid}`, "--net"];

async function openNetem() {
  const holder = await startHolder("unshare", ["--net", "sh", "-c", "echo ready; exec cat"]);
  try {
    quietly("ip", "link", "add", "near", "type", "veth", "peer", "name", "far", "netns", `${holder.pid}`);
    for (const [where, name, address] of [
      [[], "near", kNear],
      [inside(holder), "far", kFar],
    ]) {
      const shape = ["delay", `${kDelayMilliseconds}ms`, "loss", `${kLossPercent}%`];
      quietly(...where, "tc", "qdisc", "add", "dev", name, "root", "netem", ...shape);
      // Packets of the size that a real network carries are what gets lost.
      quietly(...where, "ip", "link", "set", "dev", name, "gso_max_segs", "1");
      quietly(...where, "ip", "address", "add", `${address}/24`, "dev", name);
      quietly(...where, "ip", "link", "set", name, "up");
    }
    return { how: "tc netem", through: inside(holder), end: holder.end };
  } catch (error) {
    await holder.end();
    throw error;
  }
}

async function openLink() {
  const program = path.join(root, "build", "bench", "bench_link");
  const words = [kDelayMilliseconds, kLossPercent, kNear, kFar].map(String);
  const holder = await startHolder(program, words);
  return { how: "bench_link", through: inside(holder), end: holder.end };
}

// bench/bench tells which network it was started in.
const isOwnNamespace = () =>
  (process.env.BENCH_OUTER_NETWORK ?? "") !== "" &&
  process.env.BENCH_OUTER_NETWORK !== fs.readlinkSync("/proc/self/ns/net");

// {how, through, end}: `through` are the words that start a command in the far namespace. Null where no namespace can be
// made or the bench is not in one of its own.
export async function openFarNetwork() {
  if (!isOwnNamespace()) return null;
  try {
    return await openNetem();
  } catch {
    console.log("== far network: this kernel has no netem; packets go through bench_link instead");
  }
  return openLink().catch((error) => {
    console.log(`== far network: left out, ${error.message}`);
    return null;
  });
}

export const kFarText = `${2 * kDelayMilliseconds} ms round trip, ${kLossPercent} % loss`;
