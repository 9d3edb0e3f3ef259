// The running program as the test files see it. run.mjs starts it, tells about it in the environment
// and takes requests for its window on a local socket.
import fs from "node:fs";
import net from "node:net";
import { once } from "node:events";
import path from "node:path";

const told = process.env.HARBINET_WIRE;
if (!told) throw new Error("start the wire tests with tests/wire/run.mjs");
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

// Wine's server keeps what the handles of all programs stand for, and is alone with this one program. Wine itself counts
// no handles (GetProcessHandleCount gives 0).
function findWineServer() {
  const prefix = `WINEPREFIX=${path.dirname(facts.driveC)}`;
  for (const id of fs.readdirSync("/proc").filter((name) => /^\d+$/.test(name))) {
    try {
      const isServer = /wineserver/.test(fs.readFileSync(`/proc/${id}/cmdline`, "utf8"));
      const environment = isServer ? fs.readFileSync(`/proc/${id}/environ`, "utf8") : "";
      if (environment.split("\0").includes(prefix)) return id;
    } catch {
      // It ended in between.
    }
  }
  throw new Error("Wine's server was not found");
}

let wineServer;

const statusOf = () => fs.readFileSync(`/proc/${facts.pid}/status`, "utf8");

export const program = {
  // port, pin, masterPin; root and driveC as paths here, windowsRoot as the program writes it.
  ...facts,

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
    const status = statusOf();
    wineServer ??= findWineServer();
    return {
      handles: fs.readdirSync(`/proc/${wineServer}/fd`).length,
      threads: Number(/^Threads:\s+(\d+)/m.exec(status)[1]),
      files: fs.readdirSync(`/proc/${facts.pid}/fd`).length,
      residentMegabytes: Math.round(Number(/^VmRSS:\s+(\d+)/m.exec(status)[1]) / 1024),
    };
  },

  // Processor time used since the start.
  cpuSeconds() {
    const fields = fs.readFileSync(`/proc/${facts.pid}/stat`, "utf8").split(") ")[1].split(" ");
    return (Number(fields[11]) + Number(fields[12])) / 100;
  },
};
