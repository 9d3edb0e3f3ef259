// A Wine prefix as a PC on which setup and uninstall are tried: a netsh.exe that writes down what it is asked for, snapshots
// of files and registry, the program, and hands on the installer's pages. Needs DISPLAY; see scripts/with-display.
import { execFileSync, spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import {
  closeSync,
  copyFileSync,
  existsSync,
  mkdirSync,
  openSync,
  readFileSync,
  rmSync,
  statSync,
} from "node:fs";
import https from "node:https";
import path from "node:path";
import { setTimeout as delay } from "node:timers/promises";
import { fileURLToPath } from "node:url";

import { processesOf, threadsOf } from "../support/processes.mjs";
import { snapshotOf } from "./snapshot.mjs";

export const root = fileURLToPath(new URL("../../", import.meta.url));
const release = path.join(root, "build/release");
const scripts = path.join(root, "scripts");
const work = path.join(root, "build/installer-tests");
// Everything takes its time on a busy machine.
const kSeconds = 90;
const kMilliseconds = kSeconds * 1000;
const kAnswerSeconds = 20;
// A desktop that comes up does so in less, even on a busy machine.
const kDesktopSeconds = 30;
const kLookMilliseconds = 50;

const probe = path.join(release, "window_probe.exe");
const pagesHand = path.join(release, "setup_pages.exe");
// What Wine starts with the first program, and ends with the last one.
const kWinesOwn =
  /wineserver|explorer\.exe \/desktop|(services|winedevice|plugplay|svchost|rpcss|conhost)\.exe/i;

export const version = /VERSION ([\d.]+) /.exec(
  readFileSync(path.join(root, "CMakeLists.txt"), "utf8"),
)[1];
/** The version of the newer program that tests/installer/CMakeLists.txt builds. */
export const nextVersion = `${version.split(".")[0]}.9`;
export const programFolder = "C:\\Program Files\\Harbinet PRO";
export const appsKey =
  "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Harbinet PRO";

/** Compiles the installer of a program of the release build; its path. */
export function makeInstaller(program, itsVersion) {
  const env = { ...process.env, HARBINET_VERSION: itsVersion };
  // A folder of this process: another one may be running its installer just now.
  const own = path.join(work, `${process.pid}`);
  const content = path.join(own, `content-${itsVersion}`);
  const setup = path.join(own, `Harbinet-PRO-${itsVersion}-setup.exe`);
  mkdirSync(own, { recursive: true });
  process.once("exit", () => rmSync(own, { recursive: true, force: true }));
  execFileSync(path.join(scripts, "release/content"), [path.join(release, program), content], {
    env,
  });
  execFileSync(path.join(scripts, "release/installer"), [content, setup], {
    env,
    timeout: kMilliseconds,
  });
  return setup;
}

export class Machine {
  constructor(name) {
    this.prefix = path.join(root, "build/prefixes", `installer-${process.pid}-${name}`);
    this.driveC = path.join(this.prefix, "drive_c");
    mkdirSync(path.dirname(this.prefix), { recursive: true });
    execFileSync(path.join(scripts, "new-prefix"), [this.prefix], { timeout: kMilliseconds });
    copyFileSync(
      path.join(release, "netsh_recorder.exe"),
      path.join(this.driveC, "windows/system32/netsh.exe"),
    );
    // Wine takes its own programs first, wherever another one of that name lies.
    this.setRegistry("HKCU\\Software\\Wine\\DllOverrides", "netsh.exe", "native");
  }

  /** A path of the machine, as this one sees it. */
  host(windows) {
    return path.join(this.driveC, windows.slice(3).replaceAll("\\", "/"));
  }

  exists(windows) {
    return existsSync(this.host(windows));
  }

  // Switches the machine on, with somebody logged on for as long as it is: a program that does nothing. Without one, Wine's
  // server, services and desktop would go with the last program and come again with the next one, and a program that
  // starts in between waits for a desktop that has just gone.
  #switchOn() {
    for (let attempt = 1; this.user === undefined; attempt += 1) {
      this.user = spawn(path.join(scripts, "wine"), [this.prefix, probe, "serve"], {
        stdio: ["pipe", "ignore", "ignore"],
      });
      const { status, text } = this.#execute(kDesktopSeconds, [probe, "check-desktop"]);
      if (status === 0) return;
      const shown = `no desktop came up in ${kDesktopSeconds} s; there was\n${text}${this.describe()}`;
      // Once in a while the process behind Wine's desktop hangs at its start; then everything is started again.
      this.kill();
      if (attempt === 3) throw new Error(shown);
      console.log(`${shown}\nstarting Wine again`);
    }
  }

  // The file's place keeps Wine's services from holding a pipe open.
  #execute(seconds, words) {
    const log = `${this.prefix}.log`;
    const output = openSync(log, "w");
    const result = spawnSync(path.join(scripts, "wine"), [this.prefix, ...words], {
      stdio: ["ignore", output, output],
      timeout: seconds * 1000,
    });
    closeSync(output);
    return { status: result.status, text: readFileSync(log, "utf8").replaceAll("\r", "") };
  }

  /** Runs a program to its end, and with it everything that it started; its exit code. */
  run(...words) {
    const { status } = this.start(...words);
    this.idle();
    return status;
  }

  /** Runs a program to its end: its exit code, and what it wrote. */
  start(...words) {
    this.#switchOn();
    const result = this.#execute(kSeconds, words);
    if (result.status === null) throw this.#late(`the end of ${words.join(" ")}`, kSeconds);
    return result;
  }

  /** Starts a program and goes on; `ended()` is its exit code. */
  spawn(...words) {
    this.#switchOn();
    const child = spawn(path.join(scripts, "wine"), [this.prefix, ...words], { stdio: "ignore" });
    const code = once(child, "exit").then(([value]) => value);
    return { ended: () => this.#within(code, `the end of ${words.join(" ")}`) };
  }

  async #within(promise, what) {
    const timer = new AbortController();
    const late = delay(kMilliseconds, undefined, { signal: timer.signal }).then(
      () => {
        throw this.#late(what, kSeconds);
      },
      () => {},
    );
    try {
      return await Promise.race([promise, late]);
    } finally {
      timer.abort();
    }
  }

  #late(what, seconds) {
    return new Error(`waited ${seconds} s for ${what}; there is\n${this.describe()}`);
  }

  /** What runs on the machine, and what each thread of it waits for. */
  describe() {
    const lines = [];
    for (const { id, words } of processesOf(this.prefix)) {
      lines.push(`${id} ${words.join(" ").trim()}`);
      for (const { name, state, call, waitsIn } of threadsOf(id)) {
        lines.push(`    ${name} ${state} in call ${call}, ${waitsIn}`);
      }
    }
    return lines.join("\n");
  }

  // What runs beside Wine itself and the user who is logged on.
  #programs() {
    return processesOf(this.prefix).filter(
      ({ id, words }) => id !== this.user?.pid && !kWinesOwn.test(words.join(" ")),
    );
  }

  /** Until every program on the machine has ended. */
  idle() {
    const end = Date.now() + kMilliseconds;
    while (this.#programs().length > 0) {
      if (Date.now() > end) throw this.#late("the end of every program", kSeconds);
      Atomics.wait(new Int32Array(new SharedArrayBuffer(4)), 0, 0, kLookMilliseconds);
    }
  }

  /** Switches the machine off: its registry is written to the disk. */
  switchOff() {
    this.idle();
    this.user?.kill("SIGKILL");
    this.user = undefined;
    if (!this.#waitForServer()) throw this.#late("the machine to go off", kSeconds);
  }

  #waitForServer() {
    const { status } = spawnSync(path.join(scripts, "wine"), [this.prefix, "--wait"], {
      timeout: kMilliseconds,
    });
    return status === 0;
  }

  registry(key, name) {
    const { status, text } = this.start("reg", "query", key, "/v", name);
    return status === 0 ? / REG_\w+ +(.*)/.exec(text)?.[1].trim() : undefined;
  }

  setRegistry(key, name, value) {
    const { status, text } = this.start("reg", "add", key, "/v", name, "/d", value, "/f");
    if (status !== 0) throw new Error(`${name}: ${text}`);
  }

  /** What netsh.exe was asked for since the last call. */
  netsh() {
    const log = path.join(this.driveC, "netsh.log");
    const lines = existsSync(log) ? readFileSync(log, "utf8").trim().split(/\r?\n/) : [];
    this.netshSeen ??= 0;
    const fresh = lines.slice(this.netshSeen);
    this.netshSeen = lines.length;
    return fresh;
  }

  /** Every file, folder and registry value, as lines. Switches the machine off. */
  snapshot() {
    this.switchOff();
    return snapshotOf(this.prefix);
  }

  /** Starts the installed program as a user who is no administrator. */
  async startProgram(...args) {
    const launcher = path.join(release, "start_limited.exe");
    const program = this.spawn(launcher, `${programFolder}\\Harbinet.exe`, ...args);
    this.probe("wait-url", "90");
    return program;
  }

  probe(...words) {
    const { status, text } = this.start(probe, ...words);
    if (status !== 0) throw new Error(`window_probe ${words.join(" ")}: ${text}`);
    return text.trim();
  }

  pin() {
    return /\d{6}/.exec(this.probe("text", "1103"))[0];
  }

  /** A GET request to the program; status, headers and body. */
  request(target, headers = {}) {
    return new Promise((resolve, reject) => {
      const options = { host: "127.0.0.1", port: 8443, path: target, headers, agent: false };
      const timeout = kAnswerSeconds * 1000;
      const request = https
        .get({ ...options, timeout, rejectUnauthorized: false }, async (response) => {
          const chunks = [];
          for await (const chunk of response) chunks.push(chunk);
          resolve({
            ...response,
            status: response.statusCode,
            headers: response.headers,
            body: Buffer.concat(chunks).toString(),
          });
        })
        .on("timeout", () => request.destroy(this.#late(`a reply to ${target}`, kAnswerSeconds)))
        .on("error", reject);
    });
  }

  /** One command to the installer's pages; see setup_pages.cpp. Throws when it fails. */
  pages(...words) {
    const { status, text } = this.start(pagesHand, ...words);
    if (status !== 0) {
      const shown = this.start(pagesHand, "texts").text;
      throw new Error(`setup_pages ${words.join(" ")}: not there; shown is\n${shown}`);
    }
    return text.split("\n").filter((line) => line !== "");
  }

  /** A picture of the screen, in build/installer-tests. */
  picture(name) {
    mkdirSync(work, { recursive: true });
    const file = path.join(work, `${name}.png`);
    execFileSync("import", ["-window", "root", "-trim", file], { timeout: kMilliseconds });
    return statSync(file).size;
  }

  /** Ends what a test that failed has left open. */
  clear() {
    if (this.#programs().length > 0) this.kill();
  }

  /** Ends everything at once. */
  kill() {
    this.user = undefined;
    spawnSync(path.join(scripts, "wine"), [this.prefix, "--kill"], { timeout: kMilliseconds });
    if (this.#waitForServer()) return;
    for (const { id } of processesOf(this.prefix)) process.kill(id, "SIGKILL");
  }

  end() {
    this.kill();
    rmSync(this.prefix, { recursive: true, force: true });
    rmSync(`${this.prefix}.log`, { force: true });
  }
}
