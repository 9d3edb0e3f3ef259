// The pages of setup and uninstall as somebody sees them, and their pictures in build/installer-tests.
import assert from "node:assert/strict";
import { after, afterEach, before, test } from "node:test";

import {
  Machine,
  appsKey,
  makeInstaller,
  nextVersion,
  programFolder,
  version,
} from "./machine.mjs";

const program = `${programFolder}\\Harbinet.exe`;
let machine;
let setup;
let nextSetup;

before(() => {
  setup = makeInstaller("Harbinet.exe", version);
  nextSetup = makeInstaller("Harbinet_next.exe", nextVersion);
  machine = new Machine("pages");
});
// A test that fails leaves its pages open.
afterEach(() => machine.clear());
after(() => machine?.end());

// Waits for the page that shows `text`, and takes its picture; nothing on it may be cut off.
function page(text, name) {
  machine.pages("wait", text);
  assert.ok(machine.picture(name) > 3000, `picture of ${name}`);
  assert.deepEqual(machine.pages("cut"), [], name);
}

// Each item's description is shown when it is selected, whole; with pictures. The item that is selected at first comes last.
function assertDescribed(descriptions, name) {
  for (const [index, [item, description]] of Object.entries(descriptions).entries()) {
    machine.pages("select", item);
    page(description, `${name}-${index + 1}`);
  }
}

test("setup asks for the licence, offers the firewall rule checked and the shortcut unchecked, and starts the program", async () => {
  const running = machine.spawn(setup);
  page("Please review the license", "english-1-licence");
  assert.ok(machine.pages("texts").some((text) => text.startsWith("MIT License")));
  machine.pages("press", "I Agree");

  page("Choose which features", "english-2-components");
  assert.deepEqual(machine.pages("items"), [
    "x Harbinet PRO",
    "x Allow other devices",
    "- Desktop shortcut",
  ]);
  assertDescribed(
    {
      "Allow other devices": "Adds a rule to the Windows firewall",
      "Desktop shortcut": "Puts a shortcut on the desktop",
      "Harbinet PRO": "The program and its entry",
    },
    "english-2-components",
  );
  machine.pages("toggle", "Desktop shortcut");
  assert.equal(machine.pages("items")[2], "x Desktop shortcut");
  machine.pages("toggle", "Allow other devices");
  assert.equal(machine.pages("items")[1], "- Allow other devices");
  machine.pages("press", "Next >");

  page("Choose the folder", "english-3-folder");
  assert.ok(machine.pages("texts").includes(programFolder));
  machine.pages("press", "Install");

  page("Start Harbinet PRO now", "english-4-finish");
  machine.pages("toggle", "Start Harbinet PRO now");
  machine.pages("press", "Finish");
  assert.equal(await running.ended(), 0);
  machine.idle();
  assert.ok(machine.exists(program));
  assert.ok(machine.exists("C:\\users\\Public\\Desktop\\Harbinet PRO.lnk"));
  assert.deepEqual(machine.netsh(), [], "no firewall rule: its box was cleared");
});

test("an older setup asks before it replaces a newer version; no is the first answer", async () => {
  assert.equal(machine.run(nextSetup, "/S"), 0);
  for (const [language, question, name] of [
    ["1033", `A newer version of Harbinet PRO (${nextVersion}) is installed.`, "english"],
    ["1031", `Eine neuere Version von Harbinet PRO (${nextVersion}) ist installiert.`, "german"],
  ]) {
    const running = machine.spawn(setup, `/LANG=${language}`);
    page(question, `${name}-5-downgrade`);
    // Windows' own word, in Windows' language.
    machine.pages("press", "No");
    assert.equal(await running.ended(), 2);
    machine.idle();
  }
  assert.equal(machine.registry(appsKey, "DisplayVersion"), nextVersion);
});

test("setup says that the program runs, and leaves everything as it is when that is cancelled", async () => {
  const running = await machine.startProgram();
  const installing = machine.spawn(nextSetup, "/LANG=1033");
  for (const [text, button] of [
    ["Please review the license", "I Agree"],
    ["Choose which features", "Install"],
  ]) {
    machine.pages("wait", text);
    machine.pages("press", button);
  }
  page("Harbinet PRO is running", "english-6-running");
  machine.pages("press", "Cancel");
  assert.equal(await installing.ended(), 1);
  assert.match(machine.pin(), /^\d{6}$/, "the program still runs");
  machine.probe("close", "20");
  assert.equal(await running.ended(), 0);
  machine.idle();
});

test("uninstall offers to keep settings and certificate, which is the first choice", async () => {
  // It copies itself to a temporary folder and goes on there.
  machine.spawn(`${programFolder}\\uninstall.exe`);
  page("will be uninstalled from the following folder", "english-7-uninstall");
  machine.pages("press", "Next >");
  page("Choose which features", "english-8-uninstall-components");
  assert.deepEqual(machine.pages("items"), ["x Harbinet PRO", "- Settings and certificate"]);
  assertDescribed(
    {
      "Settings and certificate": "The Master PIN, the choice of folder",
      "Harbinet PRO": "The program, its shortcuts, its firewall rule",
    },
    "english-8-uninstall-components",
  );
  assert.ok(!machine.pages("texts").some((text) => text.startsWith("Space required")));
  machine.pages("press", "Uninstall");
  page("Uninstallation Complete", "english-9-uninstalled");
  machine.pages("press", "Close");
  machine.idle();
  assert.equal(machine.exists(program), false);
});

test("setup is German where Windows is", async () => {
  const running = machine.spawn(setup, "/LANG=1031");
  page("Bitte lesen Sie die Lizenzbedingungen", "german-1-licence");
  machine.pages("press", "Annehmen");
  page("Wählen Sie die Komponenten", "german-2-components");
  assert.deepEqual(machine.pages("items"), [
    "x Harbinet PRO",
    "x Andere Geräte zulassen",
    "- Desktop-Verknüpfung",
  ]);
  assertDescribed(
    {
      "Andere Geräte zulassen": "Trägt eine Regel in die Windows-Firewall ein",
      "Desktop-Verknüpfung": "Legt eine Verknüpfung auf den Desktop",
      "Harbinet PRO": "Das Programm und sein Eintrag",
    },
    "german-2-components",
  );
  machine.pages("press", "Weiter >");
  page("Wählen Sie das Verzeichnis", "german-3-folder");
  machine.pages("press", "Installieren");
  page("Harbinet PRO jetzt starten", "german-4-finish");
  machine.pages("press", "Fertigstellen");
  assert.equal(await running.ended(), 0);
  // The program, which the desktop started, serves.
  machine.probe("wait-url", "40");
  machine.probe("close", "20");
  machine.idle();
});

test("uninstall is German too; a running program is closed when that is agreed to", async () => {
  const running = await machine.startProgram();
  machine.spawn(`${programFolder}\\uninstall.exe`, "/LANG=1031");
  page("aus dem unten angegebenen Verzeichnis entfernt", "german-7-uninstall");
  machine.pages("press", "Weiter >");
  page("Wählen Sie die Komponenten", "german-8-uninstall-components");
  assert.deepEqual(machine.pages("items"), ["x Harbinet PRO", "- Einstellungen, Zertifikat"]);
  assertDescribed(
    {
      "Einstellungen, Zertifikat": "Die Master-PIN, die Wahl des Ordners",
      "Harbinet PRO": "Das Programm, seine Verknüpfungen",
    },
    "german-8-uninstall-components",
  );
  machine.pages("press", "Deinstallieren");
  page("Harbinet PRO läuft. Es wird jetzt geschlossen", "german-6-running");
  machine.pages("press", "OK");
  assert.equal(await running.ended(), 0);
  page("Die Deinstallation ist vollständig", "german-9-uninstalled");
  machine.pages("press", "Beenden");
  machine.idle();
  assert.equal(machine.exists(program), false);
});
