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
  readdirSync,
  rmSync,
  statSync,
} from "node:fs";
import https from "node:https";
import path from "node:path";
import { fileURLToPath } from "node:url";

export const root = fileURLToPath(new URL("../../", import.meta.url));
const release = path.join(root, "build/release");
const scripts = path.join(root, "scripts");
const work = path.join(root, "build/installer-tests");
// Everything takes its time on a busy machine.
const kSeconds = 90;

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
  execFileSync(path.join(scripts, "release/installer"), [content, setup], { env });
  return setup;
}

function* filesBelow(folder, prefix = "") {
  for (const entry of readdirSync(folder, { withFileTypes: true })) {
    const name = `${prefix}${entry.name}`;
    yield entry.isDirectory() ? `${name}\\` : name;
    if (entry.isDirectory()) yield* filesBelow(path.join(folder, entry.name), `${name}\\`);
  }
}

// Wine's own record of the registry, without the times of its keys.
function registryValues(file) {
  let key = "";
  const values = [];
  for (const line of readFileSync(file, "utf8").split("\n")) {
    if (line.startsWith("[")) {
      key = line.replace(/ \d+$/, "");
      values.push(key);
    } else if (/^["@]/.test(line)) {
      values.push(`${key} ${line}`);
    }
  }
  return values;
}

export class Machine {
  constructor(name) {
    this.prefix = path.join(root, "build/prefixes", `installer-${process.pid}-${name}`);
    this.driveC = path.join(this.prefix, "drive_c");
    mkdirSync(path.dirname(this.prefix), { recursive: true });
    execFileSync(path.join(scripts, "new-prefix"), [this.prefix]);
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

  /** Runs a program to its end, and with it everything that it started; its exit code. */
  run(...words) {
    const { status, error } = this.start(...words);
    if (error) throw error;
    this.wait();
    return status;
  }

  /** Runs a program to its end; what it wrote. The file's place keeps Wine's services from holding a pipe open. */
  start(...words) {
    const log = `${this.prefix}.log`;
    const output = openSync(log, "w");
    const result = spawnSync(path.join(scripts, "wine"), [this.prefix, ...words], {
      stdio: ["ignore", output, output],
      timeout: kSeconds * 1000,
    });
    closeSync(output);
    return { ...result, text: readFileSync(log, "utf8").replaceAll("\r", "") };
  }

  /** Starts a program and goes on; `ended` is its exit code. */
  spawn(...words) {
    const child = spawn(path.join(scripts, "wine"), [this.prefix, ...words], { stdio: "ignore" });
    return { ended: once(child, "exit").then(([code]) => code) };
  }

  /** Until everything on the machine has ended, and its registry is written to the disk. */
  wait() {
    const { status } = spawnSync(path.join(scripts, "wine"), [this.prefix, "--wait"], {
      timeout: kSeconds * 1000,
    });
    if (status !== 0) throw new Error("something on the machine does not end");
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

  /** Every file, folder and registry value, as lines. Only while nothing runs. */
  snapshot() {
    const lines = [...filesBelow(this.driveC)].filter((name) => name !== "netsh.log");
    for (const file of ["system.reg", "user.reg"]) {
      lines.push(...registryValues(path.join(this.prefix, file)));
    }
    return new Set(lines);
  }

  /** Starts the installed program as a user who is no administrator. */
  async startProgram(...args) {
    const launcher = path.join(release, "start_limited.exe");
    const program = this.spawn(launcher, `${programFolder}\\Harbinet.exe`, ...args);
    this.probe("wait-url", "90");
    return program;
  }

  probe(...words) {
    const { status, text } = this.start(path.join(release, "window_probe.exe"), ...words);
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
      https
        .get({ ...options, rejectUnauthorized: false }, async (response) => {
          const chunks = [];
          for await (const chunk of response) chunks.push(chunk);
          resolve({
            ...response,
            status: response.statusCode,
            headers: response.headers,
            body: Buffer.concat(chunks).toString(),
          });
        })
        .on("error", reject);
    });
  }

  /** One command to the installer's pages; see setup_pages.cpp. Throws when it fails. */
  pages(...words) {
    const { status, text } = this.start(path.join(release, "setup_pages.exe"), ...words);
    if (status !== 0) {
      const shown = this.start(path.join(release, "setup_pages.exe"), "texts").text;
      throw new Error(`setup_pages ${words.join(" ")}: not there; shown is\n${shown}`);
    }
    return text.trim().split("\n");
  }

  /** A picture of the screen, in build/installer-tests. */
  picture(name) {
    mkdirSync(work, { recursive: true });
    const file = path.join(work, `${name}.png`);
    execFileSync("import", ["-window", "root", "-trim", file]);
    return statSync(file).size;
  }

  /** Ends whatever still runs. */
  kill() {
    spawnSync(path.join(scripts, "wine"), [this.prefix, "--kill"]);
    spawnSync(path.join(scripts, "wine"), [this.prefix, "--wait"]);
  }

  end() {
    this.kill();
    rmSync(this.prefix, { recursive: true, force: true });
    rmSync(`${this.prefix}.log`, { force: true });
  }
}

/** What was added to and what is missing in `after`. */
export function difference(before, after) {
  return {
    added: [...after].filter((line) => !before.has(line)),
    missing: [...before].filter((line) => !after.has(line)),
  };
}
