// Setup and uninstall from the first installation to the last trace, in the order of a program's life on one PC.
import assert from "node:assert/strict";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { after, before, test } from "node:test";

import { fixedVersion } from "../packaging/program_version.mjs";
import {
  Machine,
  appsKey,
  makeInstaller,
  nextVersion,
  programFolder,
  version,
} from "./machine.mjs";
import { difference } from "./snapshot.mjs";

const program = `${programFolder}\\Harbinet.exe`;
const uninstaller = `${programFolder}\\uninstall.exe`;
const startMenu = "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Harbinet PRO.lnk";
const desktop = "C:\\users\\Public\\Desktop\\Harbinet PRO.lnk";
const settings = "HKCU\\Software\\Harbinet PRO";
const run = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run";
const data = `C:\\users\\${process.env.USER ?? process.env.LOGNAME ?? "root"}\\AppData\\Local\\Harbinet`;

const deleteRules = `advfirewall firewall delete rule name=all dir=in program="${program}"`;
const addRule = `advfirewall firewall add rule name="Harbinet PRO" dir=in action=allow program="${program}" enable=yes profile=private,domain protocol=TCP remoteip=localsubnet`;

let machine;
let setup;
let nextSetup;
let fresh;

before(() => {
  setup = makeInstaller("Harbinet.exe", version);
  nextSetup = makeInstaller("Harbinet_next.exe", nextVersion);
  machine = new Machine("life");
  machine.run("cmd", "/c", "exit");
  fresh = machine.snapshot();
});
after(() => machine?.end());

const versionOf = (windows) => fixedVersion(readFileSync(machine.host(windows))).file;

test("a silent setup puts program, licences and Start menu entry in place and adds the firewall rule", () => {
  assert.equal(machine.run(setup, "/S"), 0);
  assert.deepEqual(machine.netsh(), [deleteRules, addRule]);
  for (const file of [
    program,
    uninstaller,
    startMenu,
    `${programFolder}\\licenses\\LICENSE-openssl.txt`,
  ]) {
    assert.ok(machine.exists(file), file);
  }
  assert.equal(machine.exists(desktop), false, "no desktop shortcut unless asked for");
  assert.equal(versionOf(program), `${version}.0.0`);
});

test("the entry in Apps names version, size, icon and both ways to uninstall", () => {
  const value = (name) => machine.registry(appsKey, name);
  assert.equal(value("DisplayName"), "Harbinet PRO");
  assert.equal(value("DisplayVersion"), version);
  assert.equal(value("DisplayIcon"), program);
  assert.equal(value("UninstallString"), `"${uninstaller}"`);
  assert.equal(value("QuietUninstallString"), `"${uninstaller}" /S`);
  assert.equal(value("Publisher"), "Harbinet");
  const kilobytes = Number(value("EstimatedSize"));
  assert.ok(kilobytes > 3000 && kilobytes < 6000, `${kilobytes} KB`);
});

test("the installed program serves a file to a browser that logs in", async () => {
  mkdirSync(machine.host(`${data}\\files`), { recursive: true });
  writeFileSync(machine.host(`${data}\\files\\mine.txt`), "my own file");
  const running = await machine.startProgram();
  const login = await machine.request(`/auto?pin=${machine.pin()}`);
  assert.equal(login.status, 200);
  const cookie = login.headers["set-cookie"][0].split(";")[0];
  const file = await machine.request("/download?path=mine.txt", { cookie });
  assert.equal(file.body, "my own file");
  machine.probe("close", "20");
  assert.equal(await running.ended(), 0);
  machine.idle();
});

test("an upgrade closes the running program, keeps settings and files, and does not ask for the choices again", async () => {
  const running = await machine.startProgram();
  const pin = machine.registry(settings, "MasterPin6");
  assert.match(pin, /^\d{6}$/);
  assert.equal(machine.run(nextSetup, "/S"), 0);
  assert.equal(await running.ended(), 0, "the program ended by itself");
  assert.equal(versionOf(program), `${nextVersion}.0.0`);
  assert.equal(machine.registry(appsKey, "DisplayVersion"), nextVersion);
  assert.equal(machine.registry(settings, "MasterPin6"), pin);
  assert.equal(readFileSync(machine.host(`${data}\\files\\mine.txt`), "utf8"), "my own file");
  assert.deepEqual(machine.netsh(), [deleteRules, addRule]);
});

test("a silent setup of an older version refuses, and replaces the newer one when told to", () => {
  assert.equal(machine.run(setup, "/S"), 2);
  assert.equal(versionOf(program), `${nextVersion}.0.0`);
  assert.deepEqual(machine.netsh(), []);
  assert.equal(machine.run(setup, "/S", "/DOWNGRADE=yes"), 0);
  assert.equal(versionOf(program), `${version}.0.0`);
  assert.deepEqual(machine.netsh(), [deleteRules, addRule]);
});

test("/FIREWALL=no takes the rule back, and the next setup remembers it", () => {
  assert.equal(machine.run(setup, "/S", "/FIREWALL=no", "/DESKTOP=yes"), 0);
  assert.deepEqual(machine.netsh(), [deleteRules]);
  assert.ok(machine.exists(desktop));
  assert.equal(machine.run(setup, "/S"), 0);
  assert.deepEqual(machine.netsh(), []);
  assert.ok(machine.exists(desktop), "the shortcut is remembered too");
  assert.equal(machine.run(setup, "/S", "/FIREWALL=yes", "/DESKTOP=no"), 0);
  assert.deepEqual(machine.netsh(), [deleteRules, addRule]);
  assert.equal(machine.exists(desktop), false);
});

test("uninstalling with the program running leaves nothing but the user's own data", async () => {
  machine.setRegistry(run, "Harbinet PRO", `"${program}" --autostart`);
  assert.equal(machine.registry(run, "Harbinet PRO"), `"${program}" --autostart`);
  const running = await machine.startProgram();
  assert.equal(machine.run(uninstaller, "/S"), 0);
  assert.equal(await running.ended(), 0);
  machine.idle();
  assert.deepEqual(machine.netsh(), [deleteRules]);

  const { added, missing } = difference(fresh, machine.snapshot());
  assert.deepEqual(
    missing.filter((line) => !isWines(line)),
    [],
  );
  assert.deepEqual(
    added.filter((line) => !isUsersOwn(line) && !isWines(line) && !isDeletedAtNextStart(line)),
    [],
  );
  for (const file of ["server.crt", "server.key", "server.ip", "files\\mine.txt"]) {
    assert.ok(machine.exists(`${data}\\${file}`), file);
  }
  assert.match(machine.registry(settings, "MasterPin6"), /^\d{6}$/);
});

// The data folder and the settings' key, to their exact names.
function isUsersOwn(line) {
  const folder = data.slice(3);
  return (
    [`${folder}\\`, `${folder}\\files\\`, `${folder}\\files\\mine.txt`].includes(line) ||
    /\\Local\\Harbinet\\server\.(crt|key|ip)$/.test(line) ||
    /^\[Software\\\\Harbinet PRO\](| "MasterPin6"="\d{6}")$/.test(line)
  );
}

// What Wine itself writes down when a program opens a window or a console for the first time: the screen, fonts that were
// installed since the prefix was made, the console's look.
function isWines(line) {
  return (
    /^\[System\\\\CurrentControlSet\\\\(Control\\\\Class|Enum\\\\DISPLAY)\\\\/.test(line) ||
    /^\[Console\]/.test(line) ||
    /^\[Software\\\\(Microsoft\\\\Windows( NT)?\\\\CurrentVersion|Wine)\\\\Fonts(\\\\External Fonts)?\]/.test(
      line,
    )
  );
}

// The running uninstaller cannot delete itself: the system does at its next start, as it was asked to.
function isDeletedAtNextStart(line) {
  return (
    /^users\\[^\\]+\\Temp\\~nsu\d*\.tmp\\(Un\.exe)?$/.test(line) ||
    /"PendingFileRenameOperations"=.*~nsu\d*\.tmp\\\\Un\.exe/.test(line)
  );
}
