// What a client that gives up can still find out: how far its connection came, what waits at the listener, and what each
// thread of the program was doing.
import { execFileSync } from "node:child_process";

import { processOf, threadsOf } from "./processes.mjs";

// The calls that a thread of the program waits in; see asm/unistd_64.h.
const kCalls = {
  0: "read",
  1: "write",
  7: "poll",
  20: "writev",
  23: "select",
  35: "nanosleep",
  44: "sendto",
  45: "recvfrom",
  46: "sendmsg",
  47: "recvmsg",
  202: "futex",
  230: "clock_nanosleep",
  232: "epoll_wait",
  281: "epoll_pwait",
};
const kMostKinds = 30;

function sockets(...args) {
  try {
    const text = execFileSync("ss", ["-Hnt", ...args], { encoding: "utf8", timeout: 5000 });
    return text === "" ? "(none)" : text.trim().replace(/ +/g, " ");
  } catch (error) {
    return `(ss failed: ${error.message})`;
  }
}

function describeConnection(socket, port) {
  const local = socket.localPort;
  if (socket.connecting || local === undefined) return "TCP was not connected";
  const ends = `( sport = :${local} and dport = :${port} ) or ( sport = :${port} and dport = :${local} )`;
  const counts = `${socket.bytesWritten} bytes sent, ${socket.bytesRead} received`;
  return `TCP was connected (${counts}); the program's end names no process while it is not accepted:\n${sockets("-ap", ends)}`;
}

// Threads that do the same are one line.
function describeThreads(process) {
  const kinds = new Map();
  let threads;
  try {
    threads = threadsOf(process);
  } catch {
    return `the program (process ${process}) is gone`;
  }
  for (const { name, state, call, waitsIn } of threads) {
    const kind = `${name}: ${state}, in ${kCalls[call] ?? call}, waits in ${waitsIn}`;
    kinds.set(kind, (kinds.get(kind) ?? 0) + 1);
  }
  const lines = [...kinds].map(([kind, count]) => `${count} x ${kind}`).slice(0, kMostKinds);
  const seconds = threads.reduce((sum, { cpuSeconds }) => sum + cpuSeconds, 0);
  const head = `${threads.length} threads, which used ${seconds.toFixed(2)} s of processor time`;
  return [head, ...lines].join("\n");
}

// `socket` is the client's, `port` and `pid` are the program's; each part is left out when it is not given.
export function describeState({ socket, port, pid }) {
  const parts = [];
  if (socket) parts.push(describeConnection(socket, port));
  parts.push(
    `the listener (state, waiting for accept, room): ${sockets("-l", `sport = :${port}`)}`,
  );
  if (pid !== undefined) parts.push(describeThreads(pid));
  return parts.join("\n").replace(/^/gm, "  ");
}

// The same for a program that is known by its prefix, from before a client could connect.
export function describeProgram(port, prefix) {
  try {
    return describeState({ port, pid: processOf(prefix) });
  } catch (error) {
    return `  nothing is known of its process: ${error.message}`;
  }
}
