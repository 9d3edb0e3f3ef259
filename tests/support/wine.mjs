// How the tests run the program's side under Wine. windows.mjs has the same operations for Windows itself.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { appendFileSync, mkdirSync, rmSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

const scripts = fileURLToPath(new URL("../../scripts/", import.meta.url));

/** A path of this machine as the program under Wine sees it. */
export function windowsPath(folder) {
  return `Z:${folder.replaceAll("/", "\\")}`;
}

/** A path of the program as this machine sees it. */
export function hostPath(windows, prefix) {
  const rest = windows.slice(2).replaceAll("\\", "/");
  return /^z:/i.test(windows) ? rest : path.join(prefix, "drive_c", rest);
}

async function run(program, args, options = {}) {
  const child = spawn(program, args, { stdio: "ignore", ...options });
  const [code] = await once(child, "exit");
  return code;
}

/** The file and the arguments that run a Windows program in that prefix. */
export function commandLine(prefix, program, ...args) {
  return [path.join(scripts, "wine"), [prefix, program, ...args]];
}

/** Makes a fresh prefix: settings and files of nobody. */
export async function newPrefix(prefix) {
  if (!process.env.DISPLAY)
    throw new Error("no DISPLAY: run the tests through ./test or scripts/with-display");
  mkdirSync(path.dirname(prefix), { recursive: true });
  if ((await run(path.join(scripts, "new-prefix"), [prefix])) !== 0)
    throw new Error("no Wine prefix could be made");
}

/** Ends every program in the prefix. */
export async function endAll(prefix) {
  await run(path.join(scripts, "wine"), [prefix, "--kill"]);
  await run(path.join(scripts, "wine"), [prefix, "--wait"]);
}

export function removePrefix(prefix) {
  rmSync(prefix, { recursive: true, force: true });
}

/** The program's data folder, on this machine. */
export function dataFolder(prefix) {
  const user = process.env.USER ?? process.env.LOGNAME ?? "root";
  return path.join(prefix, "drive_c/users", user, "AppData/Local/Harbinet");
}

// The form of Wine's own registry files: characters beyond ASCII are written as \x and four hex digits.
function registryText(text) {
  let result = "";
  for (let index = 0; index < text.length; index += 1) {
    const unit = text.charCodeAt(index);
    if (unit === 0x5c || unit === 0x22) result += `\\${text[index]}`;
    else if (unit >= 0x20 && unit < 0x7f) result += text[index];
    else result += `\\x${unit.toString(16).padStart(4, "0")}`;
  }
  return `"${result}"`;
}

function registryValue(value) {
  return typeof value === "number"
    ? `dword:${value.toString(16).padStart(8, "0")}`
    : registryText(value);
}

/** Only while nothing runs in the prefix: the registry is read when the first program starts. */
export function writeRegistry(prefix, key, values) {
  const lines = Object.entries(values).map(
    ([name, value]) => `${registryText(name)}=${registryValue(value)}`,
  );
  appendFileSync(
    path.join(prefix, "user.reg"),
    `\n[${key.replaceAll("\\", "\\\\")}] 1\n${lines.join("\n")}\n`,
  );
}

/** Waits until no other test uses the program's ports; throws when something else does. The result gives them back. */
export async function takePorts() {
  const holder = spawn(
    path.join(scripts, "with-ports"),
    ["sh", "-c", "echo held; exec cat >/dev/null"],
    { stdio: ["pipe", "pipe", "pipe"] },
  );
  let complaint = "";
  holder.stderr.on("data", (data) => (complaint += data));
  const ended = once(holder, "close");
  const isHeld = await Promise.race([
    once(holder.stdout, "data").then(() => true),
    ended.then(() => false),
  ]);
  if (!isHeld) throw new Error(complaint.trim());
  return async () => {
    holder.stdin.end();
    await ended;
  };
}
