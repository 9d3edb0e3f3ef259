// The running program as the test files see it. run.mjs starts it, tells about it in the environment
// and takes requests for its window on a local socket.
import fs from "node:fs";
import net from "node:net";
import { once } from "node:events";
import path from "node:path";

import { cpuSecondsOf, processOf, resourcesOf, wineServerOf } from "./processes.mjs";

const told = process.env.HARBINET_PROGRAM;
if (!told) throw new Error("start these tests with tests/support/run.mjs");
const facts = JSON.parse(told);
let clockOffset = 0;

// One command to the program's window; the answer's text.
async function ask(...words) {
  const socket = net.connect(facts.controlSocket);
  const chunks = [];
  socket.on("data", (chunk) => chunks.push(chunk));
  socket.end(JSON.stringify(words));
  await once(socket, "close");
  const { ok, text } = JSON.parse(Buffer.concat(chunks).toString("utf8"));
  if (!ok) throw new Error(`the window did not do: ${words.join(" ")}`);
  return text;
}

let wineServer;

export const program = {
  // port, pin, masterPin; root and driveC as paths here, windowsRoot as the program writes it.
  ...facts,

  // Makes a program that the file has started by itself the one that is talked to.
  attach(harbinet) {
    program.port = harbinet.port;
    program.pid = processOf(harbinet.prefix);
    program.driveC = path.join(harbinet.prefix, "drive_c");
    wineServer = undefined;
  },

  // Lines of the event log, oldest first.
  logLines: async () => (await ask("log")).split(/\r?\n/).filter((line) => line !== ""),

  // Clicks a button of the main window and waits until it has acted.
  press: (id) => ask("press", String(id)),

  // Types over a control's text.
  setText: (id, text) => ask("set-text", String(id), text),

  // Opens a file so that nobody else can; the result lets go of it again.
  async lockFile(windowsPath) {
    await ask("lock", windowsPath);
    return () => ask("unlock");
  },

  // Moves the clock of a program that was started with one of its own (facts.clockFile), by whole seconds.
  advanceClock(seconds) {
    clockOffset += seconds;
    fs.writeFileSync(facts.clockFile, `${clockOffset < 0 ? "" : "+"}${clockOffset}`);
  },

  // What the program's clock shows, in milliseconds since 1970.
  now: () => Date.now() + clockOffset * 1000,

  // What the process holds.
  async resources() {
    wineServer ??= wineServerOf(path.dirname(program.driveC));
    return resourcesOf(program.pid, wineServer);
  },

  // Processor time used since the start.
  cpuSeconds: () => cpuSecondsOf(`/proc/${program.pid}`),
};
