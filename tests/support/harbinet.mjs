// Runs the real Harbinet.exe for a test: with settings and files of its own, as a user who is no administrator unless asked
// otherwise, and with hands on its windows. Under Wine it needs DISPLAY; see scripts/with-display.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { closeSync, existsSync, openSync, readFileSync, rmSync } from "node:fs";
import https from "node:https";
import path from "node:path";
import { createInterface } from "node:readline";
import { setTimeout as delay } from "node:timers/promises";
import { fileURLToPath } from "node:url";

import { describeProgram } from "./diagnosis.mjs";

export const root = fileURLToPath(new URL("../../", import.meta.url));
const release = path.join(root, process.env.HARBINET_BUILD ?? "build/release");
const prefixes = path.join(root, "build/prefixes");

const kSettingsKey = "Software\\Harbinet PRO";
const kStartSeconds = 40;
const kStopSeconds = 20;

/** The ids of the main window's controls and commands that tests use. */
export const ids = {
  server: 1001,
  status: 1002,
  logs: 1003,
  explorer: 1004,
  copy: 1010,
  autostart: 1011,
  browser: 1012,
  webRootPicker: 1013,
  back: 1014,
  addresses: 1015,
  url: 1102,
  pin: 1103,
  drive: 1104,
  masterPin: 1111,
  webRoot: 1112,
  statusText: 1201,
};

// The two ways to run it have the same operations.
const system =
  process.platform === "win32" ? await import("./windows.mjs") : await import("./wine.mjs");
export const { windowsPath, hostPath } = system;

/** A line of the event log without its time stamp and the two blanks after it. */
export function messageOf(line) {
  return line.replace(/^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} {2}/, "");
}

/** Talks to window_probe.exe, which looks at the program's windows. Answers come one after the other. */
class Probe {
  constructor(prefix) {
    const probe = path.join(release, "window_probe.exe");
    this.child = spawn(...system.commandLine(prefix, probe, "serve"), {
      stdio: ["pipe", "pipe", "ignore"],
    });
    this.child.stdin.on("error", () => {});
    this.lines = createInterface({ input: this.child.stdout, crlfDelay: Infinity })[
      Symbol.asyncIterator
    ]();
    this.last = Promise.resolve();
  }

  ask(...words) {
    const answer = this.last.then(() => this.exchange(words));
    this.last = answer.catch(() => {});
    return answer;
  }

  async exchange(words) {
    this.child.stdin.write(`${words.join("\t")}\n`);
    const answer = [];
    for (;;) {
      const { value, done } = await this.lines.next();
      if (done) throw new Error(`window_probe ended at "${words.join(" ")}"`);
      if (value === ".") return answer.join("\n");
      if (value === "!") throw new Error(`window_probe: "${words.join(" ")}" failed`);
      answer.push(value);
    }
  }

  async end() {
    if (this.child.exitCode !== null) return;
    const ended = once(this.child, "exit");
    this.child.stdin.end();
    await ended;
  }
}

// Wine's own services keep the standard handles of the first program in the prefix. That is the
// probe, so that a service which stumbles is not taken for the program. Once in a while the process
// behind Wine's desktop hangs at its start; then everything in the prefix is started again.
async function startProbe(prefix) {
  for (let attempt = 1; ; attempt += 1) {
    const probe = new Probe(prefix);
    try {
      await probe.ask("check-desktop");
      return probe;
    } catch (error) {
      await system.endAll(prefix);
      if (attempt === 3) throw error;
    }
  }
}

export class Harbinet {
  /** What startHarbinet fills in. */
  constructor(prefix, admin) {
    this.prefix = prefix;
    this.isAdmin = admin;
    this.port = admin ? 443 : 8443;
    this.host = "127.0.0.1";
    this.origin = admin ? `https://${this.host}` : `https://${this.host}:${this.port}`;
  }

  /** The folder with server.crt, server.key and server.ip, on this machine. */
  get dataFolder() {
    return system.dataFolder(this.prefix);
  }

  /** The text of a main window control. */
  text(id) {
    return this.probe.ask("text", id);
  }

  setText(id, text) {
    return this.probe.ask("set-text", id, text);
  }

  /** Clicks a button, and returns when its action is done. */
  press(id) {
    return this.probe.ask("press", id);
  }

  /** Sends a menu command, and returns when its action is done. */
  command(id) {
    return this.probe.ask("command", id);
  }

  post(message, wparam = 0, lparam = 0) {
    return this.probe.ask("post", message, wparam, lparam);
  }

  title() {
    return this.probe.ask("title");
  }

  /** The address that the window shows, "-" while the server is stopped. */
  async url() {
    return (await this.text(ids.url)).replace(/^URL: {5}/, "");
  }

  /** The current six-digit PIN. */
  async pin() {
    return (await this.text(ids.pin)).replace(/^PIN: {6}/, "");
  }

  /** The published folder as the program names it. */
  webRootText() {
    return this.text(ids.webRoot);
  }

  /** All lines of the event log, oldest first, with their time stamps. */
  async log() {
    const lines = (await this.probe.ask("log")).split("\n");
    while (lines.at(-1) === "") lines.pop();
    return lines;
  }

  /** The same lines without time stamp and its two blanks. */
  async messages() {
    return (await this.log()).map(messageOf);
  }

  /** The first message after the first `from` ones that fits (a text or a pattern); waits for it. */
  async waitForMessage(wanted, { from = 0, seconds = 10 } = {}) {
    const fits =
      typeof wanted === "string" ? (line) => line === wanted : (line) => wanted.test(line);
    const end = Date.now() + seconds * 1000;
    for (;;) {
      const messages = await this.messages();
      const found = messages.slice(from).find(fits);
      if (found !== undefined) return found;
      if (Date.now() > end) throw new Error(`no log line ${wanted} in:\n${messages.join("\n")}`);
      await delay(50);
    }
  }

  /** What the program and Wine wrote to the standard outputs so far. */
  errorOutput() {
    return readFileSync(`${this.prefix}.log`, "utf8");
  }

  /** Starts the program in its prefix; once more when it has ended. */
  launch({ args = [], env = {} } = {}) {
    // Files, not pipes: programs keep the standard handles of their starter for as long as they live.
    const output = openSync(`${this.prefix}.log`, "a");
    const launcher = this.isAdmin ? [] : [path.join(release, "start_limited.exe")];
    const program = spawn(
      ...system.commandLine(this.prefix, ...launcher, path.join(release, "Harbinet.exe"), ...args),
      { env: { ...process.env, ...env }, stdio: ["ignore", output, output] },
    );
    closeSync(output);
    this.ended = once(program, "exit").then(([code]) => code);
  }

  /** Closes the window and waits for the end of the process: its exit code, and how long that took. */
  async close() {
    const start = performance.now();
    const code = Number(await this.probe.ask("close", kStopSeconds));
    return { code, milliseconds: Math.round(performance.now() - start) };
  }

  /** Closes the window, waits for the process and cleans up. Throws when it did not end well. */
  async stop() {
    let code;
    try {
      ({ code } = await this.close());
      await this.ended;
    } finally {
      await this.cleanUp();
    }
    if (code !== 0) throw new Error(`Harbinet.exe ended with code ${code}\n${this.output}`);
    if (/Unhandled/.test(this.output)) throw new Error(`Harbinet.exe crashed:\n${this.output}`);
  }

  /** Ends everything in the prefix at once and removes it, however the program is. */
  async cleanUp() {
    await system.endAll(this.prefix);
    await this.probe?.end().catch(() => {});
    this.output = existsSync(`${this.prefix}.log`) ? this.errorOutput() : "";
    system.removePrefix(this.prefix);
    rmSync(`${this.prefix}.log`, { force: true });
    await this.releasePorts?.();
    this.releasePorts = undefined;
  }

  statusCode() {
    return new Promise((resolve) => {
      const options = {
        host: this.host,
        port: this.port,
        path: "/api/status",
        rejectUnauthorized: false,
        timeout: 2000,
      };
      const request = https.get(options, (response) => {
        response.resume();
        resolve(response.statusCode);
      });
      request.on("timeout", () => request.destroy());
      request.on("error", () => resolve(undefined));
    });
  }

  async waitForServer() {
    const end = Date.now() + kStartSeconds * 1000;
    while ((await this.statusCode()) !== 200) {
      if (Date.now() > end) {
        const state = describeProgram(this.port, this.prefix);
        const messages = (await this.messages()).join("\n");
        throw new Error(`the server does not answer:\n${state}\n${messages}`);
      }
      await delay(50);
    }
  }
}

let started = 0;

/**
 * Starts the program and waits until it serves.
 *
 * webRoot      folder on this machine to publish; without it the program's own
 * masterPin    six digits, put into the registry before the start
 * registry     more values for the program's registry key, text or number by name
 * admin        with administrator rights, on port 443
 * args         command line
 * env          more environment for the program and for Wine's server
 * prepare      async function (harbinet), called before the program starts: harbinet.prefix and .dataFolder exist
 * waitFor      'server' (default), 'window', or 'nothing'
 */
export async function startHarbinet({
  webRoot,
  masterPin,
  registry = {},
  admin = false,
  args = [],
  env = {},
  prepare,
  waitFor = "server",
} = {}) {
  started += 1;
  const prefix = path.join(prefixes, `program-${process.pid}-${started}`);
  const harbinet = new Harbinet(prefix, admin);
  try {
    harbinet.releasePorts = await system.takePorts();
    await system.newPrefix(prefix);
    const settings = { ...registry };
    if (webRoot !== undefined) settings.WebRootPath = windowsPath(webRoot);
    if (masterPin !== undefined) settings.MasterPin6 = masterPin;
    if (Object.keys(settings).length > 0) system.writeRegistry(prefix, kSettingsKey, settings);
    await prepare?.(harbinet);

    harbinet.probe = await startProbe(prefix);

    harbinet.launch({ args, env });
    if (waitFor !== "nothing") await harbinet.probe.ask("wait-window", kStartSeconds);
    if (waitFor === "server") await harbinet.waitForServer();
    return harbinet;
  } catch (error) {
    await harbinet.cleanUp();
    if (harbinet.output) error.message += `\n${harbinet.output}`;
    throw error;
  }
}
