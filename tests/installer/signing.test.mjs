// What ./release --sign makes, with a certificate that lives as long as the test.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { copyFileSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import path from "node:path";
import { after, before, test } from "node:test";

import { Machine, programFolder, root, version } from "./machine.mjs";

const work = path.join(root, "build/signing-tests");
const dist = path.join(work, "dist");
const certificate = path.join(work, "certificate.pem");
const setup = path.join(dist, `Harbinet-PRO-${version}-setup.exe`);
const program = path.join(work, "Harbinet.exe");
let machine;

before(() => {
  rmSync(work, { recursive: true, force: true });
  mkdirSync(work, { recursive: true });
  const openssl = (...words) => execFileSync("openssl", words, { cwd: work, stdio: "pipe" });
  openssl(
    ...["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "3650"],
    ...["-subj", "/CN=Nobody in particular", "-addext", "extendedKeyUsage=codeSigning"],
    ...["-keyout", "key.pem", "-out", "certificate.pem"],
  );
  writeFileSync(path.join(work, "password"), "of no importance\n");
  openssl(
    ...["pkcs12", "-export", "-inkey", "key.pem", "-in", "certificate.pem", "-out", "key.p12"],
    ...["-passout", "file:password"],
  );
  const sign = path.join(work, "sign");
  const script = path.join(root, "scripts/release/sign");
  const words = [script, path.join(work, "key.p12"), path.join(work, "password"), ""];
  const quoted = words.map((word) => `"${word}"`).join(" ");
  // The certificate begins now, so the signature bears the present time.
  writeFileSync(sign, `#!/bin/sh\nSOURCE_DATE_EPOCH=$(date +%s) exec ${quoted} "$@"\n`, {
    mode: 0o755,
  });
  execFileSync(path.join(root, "scripts/release/pack"), [dist, "--sign", sign], {
    env: { ...process.env, HARBINET_COMMIT: "0".repeat(40) },
    stdio: "pipe",
  });
  const archive = path.join(dist, `Harbinet-PRO-${version}-portable.zip`);
  execFileSync("unzip", ["-q", "-o", archive, "Harbinet.exe", "-d", work]);
  machine = new Machine("signing");
});
after(() => machine?.end());

const isGenuine = (file) =>
  spawnSync("osslsigncode", ["verify", "-CAfile", certificate, "-in", file]).status === 0;

test("program, installer and the uninstaller that it writes bear a valid signature", () => {
  assert.ok(isGenuine(program), "program");
  assert.ok(isGenuine(setup), "installer");
  assert.equal(machine.run(setup, "/S", "/FIREWALL=no"), 0);
  assert.ok(isGenuine(machine.host(`${programFolder}\\uninstall.exe`)), "uninstaller");
  assert.ok(isGenuine(machine.host(`${programFolder}\\Harbinet.exe`)), "installed program");
});

test("a key without a password signs as well", () => {
  const openssl = (...words) => execFileSync("openssl", words, { cwd: work, stdio: "pipe" });
  openssl(
    ...["pkcs12", "-export", "-inkey", "key.pem", "-in", "certificate.pem", "-out", "open.p12"],
    ...["-passout", "pass:"],
  );
  const copy = path.join(work, "copy.exe");
  copyFileSync(path.join(root, "build/release/Harbinet.exe"), copy);
  assert.equal(isGenuine(copy), false);
  const words = [path.join(work, "open.p12"), "/dev/null", "", copy];
  execFileSync(path.join(root, "scripts/release/sign"), words, {
    env: { ...process.env, SOURCE_DATE_EPOCH: String(Math.floor(Date.now() / 1000)) },
  });
  assert.ok(isGenuine(copy));
});

test("a flipped bit anywhere in the program or the installer breaks the signature", () => {
  for (const file of [program, setup]) {
    const bytes = readFileSync(file);
    const changed = path.join(work, "changed.exe");
    for (const part of [0.2, 0.5, 0.8]) {
      copyFileSync(file, changed);
      const copy = Buffer.from(bytes);
      copy[Math.floor(bytes.length * part)] ^= 1;
      writeFileSync(changed, copy);
      assert.equal(isGenuine(changed), false, `${path.basename(file)} at ${part}`);
    }
  }
});

test("the signed program starts and serves", async () => {
  const running = await machine.startProgram();
  assert.equal((await machine.request("/api/status")).status, 200);
  machine.probe("close", "20");
  assert.equal(await running.ended(), 0);
});
