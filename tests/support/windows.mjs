// How the tests run the program's side on Windows itself: as wine.mjs does under Wine, but there is one user with one
// registry. So run_kit.exe /run must have put that user's settings aside. Not tried yet.

import { execFileSync, spawnSync } from "node:child_process";
import { mkdirSync, rmSync } from "node:fs";
import path from "node:path";

export const windowsPath = (folder) => folder;
export const hostPath = (windows) => windows;
export const commandLine = (_prefix, program, ...args) => [program, args];
export const dataFolder = () => path.join(process.env.LOCALAPPDATA, "Harbinet");
export const takePorts = async () => async () => {};

const reg = (...args) => execFileSync("reg", args, { stdio: "ignore" });

export async function newPrefix(prefix) {
  if (process.env.HARBINET_SETTINGS_KEPT !== "1")
    throw new Error("run the tests through run_kit.exe /run: they would change your settings");
  removePrefix(prefix);
  rmSync(dataFolder(), { recursive: true, force: true });
  reg("add", "HKCU\\Software\\Harbinet PRO", "/f");
  reg("delete", "HKCU\\Software\\Harbinet PRO", "/va", "/f");
  mkdirSync(path.dirname(prefix), { recursive: true });
}

export const removePrefix = (prefix) => rmSync(prefix, { recursive: true, force: true });

export async function endAll() {
  // Fails for what does not run.
  for (const program of ["Harbinet.exe", "window_probe.exe"])
    spawnSync("taskkill", ["/f", "/im", program]);
}

export function writeRegistry(_prefix, key, values) {
  for (const [name, value] of Object.entries(values)) {
    const type = typeof value === "number" ? "REG_DWORD" : "REG_SZ";
    reg("add", `HKCU\\${key}`, "/v", name, "/t", type, "/d", String(value), "/f");
  }
}
