// Uninstall never deletes what somebody published, wherever it lies, and asks before it takes away settings and certificate.
import assert from "node:assert/strict";
import { mkdirSync, writeFileSync } from "node:fs";
import { after, before, beforeEach, test } from "node:test";

import { Machine, makeInstaller, programFolder, version } from "./machine.mjs";

const user = process.env.USER ?? process.env.LOGNAME ?? "root";
const local = `C:\\users\\${user}\\AppData\\Local`;
const data = `${local}\\Harbinet`;
const settings = "HKCU\\Software\\Harbinet PRO";
const run = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run";
const certificate = ["server.crt", "server.key", "server.ip"].map((name) => `${data}\\${name}`);

let machine;
let setup;

before(() => {
  setup = makeInstaller("Harbinet.exe", version);
  machine = new Machine("data");
});
after(() => machine?.end());

function write(windows) {
  const file = machine.host(windows);
  mkdirSync(file.slice(0, file.lastIndexOf("/")), { recursive: true });
  writeFileSync(file, "somebody's own");
}

// An installed program that has been used: certificate, Master PIN, one published file.
function install(published) {
  assert.equal(machine.run(setup, "/S", "/FIREWALL=no"), 0);
  for (const file of certificate) write(file);
  machine.setRegistry(settings, "MasterPin6", "123456");
  if (published) machine.setRegistry(settings, "WebRootPath", published);
}

function uninstall(...switches) {
  assert.equal(machine.run(`${programFolder}\\uninstall.exe`, "/S", ...switches), 0);
}

const left = (files) => files.filter((file) => machine.exists(file));

beforeEach(() => machine.start("reg", "delete", settings, "/f"));

test("settings and certificate stay unless their removal is asked for", () => {
  install("C:\\published");
  uninstall();
  assert.deepEqual(left(certificate), certificate);
  assert.equal(machine.registry(settings, "MasterPin6"), "123456");
  assert.equal(machine.registry(settings, "WebRootPath"), "C:\\published");
});

test("asked to, it removes the certificate and the settings, and leaves the default published folder inside the data folder", () => {
  write(`${data}\\files\\photo.jpg`);
  install();
  uninstall("/SETTINGS=remove");
  assert.deepEqual(left(certificate), []);
  assert.equal(machine.registry(settings, "MasterPin6"), undefined);
  assert.ok(machine.exists(`${data}\\files\\photo.jpg`));
});

test("a default published folder that is empty stays too", () => {
  machine.start("cmd", "/c", "del", `${data}\\files\\photo.jpg`);
  install();
  uninstall("/SETTINGS=remove");
  assert.deepEqual(left(certificate), []);
  assert.ok(machine.exists(`${data}\\files`));
  machine.start("cmd", "/c", "rmdir", `${data}\\files`);
});

test("a published folder elsewhere stays, and the empty data folder goes", () => {
  write("C:\\published\\sub\\letter.txt");
  install("C:\\published");
  uninstall("/SETTINGS=remove");
  assert.ok(machine.exists("C:\\published\\sub\\letter.txt"));
  assert.equal(machine.exists(data), false);
});

for (const [what, published] of [
  ["is the data folder itself", data],
  ["is named in other letters and with a backslash at its end", `${data.toUpperCase()}\\`],
  ["lies above the data folder", local],
  ["is a whole drive", "C:\\"],
]) {
  test(`nothing in the data folder is deleted when the published folder ${what}`, () => {
    install(published);
    uninstall("/SETTINGS=remove");
    assert.deepEqual(left(certificate), certificate);
    assert.equal(machine.registry(settings, "WebRootPath"), undefined);
  });
}

test("a folder whose name only begins like the data folder's does not count as published around it", () => {
  install(`${local}\\Harb`);
  uninstall("/SETTINGS=remove");
  assert.deepEqual(left(certificate), []);
});

test("files that somebody put into the program's folder stay", () => {
  install(programFolder);
  write(`${programFolder}\\upload.txt`);
  write(`${programFolder}\\licenses\\notes.txt`);
  uninstall("/SETTINGS=remove");
  assert.ok(machine.exists(`${programFolder}\\upload.txt`));
  assert.ok(machine.exists(`${programFolder}\\licenses\\notes.txt`));
  assert.equal(machine.exists(`${programFolder}\\Harbinet.exe`), false);
  machine.start("cmd", "/c", "rmdir", "/s", "/q", programFolder);
});

test("the autostart entry of another copy stays", () => {
  const other = '"C:\\portable\\Harbinet.exe" --autostart';
  install();
  machine.setRegistry(run, "Harbinet PRO", other);
  uninstall("/SETTINGS=remove");
  assert.equal(machine.registry(run, "Harbinet PRO"), other);
});

test("it uninstalls from the folder that was chosen", () => {
  assert.equal(machine.run(setup, "/S", "/FIREWALL=no", "/D=C:\\Tools\\Harbinet"), 0);
  // A second setup replaces it there, whatever it is told.
  assert.equal(machine.run(setup, "/S", "/D=C:\\Elsewhere"), 0);
  assert.equal(machine.exists("C:\\Elsewhere"), false);
  assert.ok(machine.exists("C:\\Tools\\Harbinet\\Harbinet.exe"));
  assert.equal(machine.run("C:\\Tools\\Harbinet\\uninstall.exe", "/S"), 0);
  assert.equal(machine.exists("C:\\Tools\\Harbinet"), false);
});
