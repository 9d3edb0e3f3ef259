// TLS scanners: nothing is found but what every self-signed certificate of a private network has.
import assert from "node:assert/strict";
import fs from "node:fs";
import path from "node:path";
import { test } from "node:test";

import { assertServed, program } from "../support/client.mjs";
import { runTool, scratchFolder } from "./attack.mjs";

const target = `127.0.0.1:${program.port}`;
// The name that every certificate of the program bears; the address in it is that of the machine's network.
const namedTarget = `localhost:${program.port}`;

// What may be found, with its reason; all else is a failure, however mild.
const kExpected = {
  cert_chain_of_trust: "nobody but the program has signed the certificate",
  cert_validityPeriod: "nobody but its user has to trust it, and a change would alarm the browser",
  cert_revocation: "nobody could revoke it",
  cert_serialNumberLen: "one issuer for each certificate, so 31 bits tell them apart",
  cipherlist_AVERAGE:
    "OpenSSL's default list keeps CBC ciphers for TLS 1.2 clients that know no other",
  LUCKY13: "follows from these ciphers; OpenSSL checks their padding in constant time",
  sessionresumption_ticket:
    "a check that fails where the scanner's client, which has nothing to say, has gone before its ticket comes",
  engine_problem: "about the scanner's own OpenSSL, not about the server",
};

test("testssl finds nothing above the self-signed certificate", { timeout: 920_000 }, async () => {
  const report = path.join(scratchFolder(), "report.json");
  // Protocols, ciphers, certificate, and the known attacks. The exit code counts findings.
  const args = ["-p", "-s", "-S", "-U", "--quiet", "--color", "0", "--warnings", "off"];
  const rest = ["--ip", "127.0.0.1", "--nodns", "none", "--jsonfile", report, namedTarget];
  const anyCode = Array.from({ length: 256 }, (_, code) => code);
  await runTool("testssl", [...args, ...rest], { seconds: 900, codes: anyCode });
  const findings = JSON.parse(fs.readFileSync(report, "utf8"));
  const found = (id) => findings.find((finding) => finding.id === id)?.finding ?? "missing";
  for (const old of ["SSLv2", "SSLv3", "TLS1", "TLS1_1"]) assert.match(found(old), /^not offered/);
  assert.match(found("TLS1_2"), /^offered/);
  assert.match(found("TLS1_3"), /^offered/);
  for (const attack of ["heartbleed", "CCS", "ROBOT", "CRIME_TLS", "secure_client_renego"]) {
    assert.match(found(attack), /^(not vulnerable|no |not )/, attack);
  }
  const bad = findings.filter(({ severity }) => !["OK", "INFO", "DEBUG"].includes(severity));
  console.log(bad.map((one) => `# ${one.severity} ${one.id}: ${one.finding}`).join("\n"));
  const unexpected = bad.filter(({ id }) => !(id in kExpected));
  assert.deepEqual(unexpected, []);
  await assertServed();
});

// The attributes of every element of that name.
function elements(xml, name) {
  return [...xml.matchAll(new RegExp(`<${name} ([^>]*)>`, "g"))].map(([, text]) =>
    Object.fromEntries(
      [...text.matchAll(/(\w+)="([^"]*)"/g)].map(([, key, value]) => [key, value]),
    ),
  );
}

test("sslscan sees TLS 1.2 and 1.3 with strong ciphers only", { timeout: 120_000 }, async () => {
  const report = path.join(scratchFolder(), "report.xml");
  await runTool("sslscan", ["--no-colour", `--xml=${report}`, target]);
  const xml = fs.readFileSync(report, "utf8");

  const protocols = elements(xml, "protocol").filter(({ enabled }) => enabled === "1");
  const versions = protocols.map(({ type, version }) => `${type} ${version}`);
  assert.deepEqual(versions.sort(), ["tls 1.2", "tls 1.3"]);

  const ciphers = elements(xml, "cipher");
  assert.ok(ciphers.length >= 3, xml);
  for (const cipher of ciphers) {
    assert.match(cipher.sslversion, /^TLSv1\.[23]$/);
    assert.ok(Number(cipher.bits) >= 128, cipher.cipher);
    assert.doesNotMatch(cipher.cipher, /NULL|EXP|RC4|DES|MD5|anon|ADH|AECDH/);
    assert.ok(["strong", "acceptable"].includes(cipher.strength), `${cipher.cipher}: weak`);
  }

  // Missing where the scanner's own OpenSSL knows no compression; testssl asks in its own words.
  for (const { supported } of elements(xml, "compression")) assert.equal(supported, "0");
  const heartbleed = elements(xml, "heartbleed").map(({ vulnerable }) => vulnerable);
  assert.ok(heartbleed.length > 0);
  for (const vulnerable of heartbleed) assert.equal(vulnerable, "0");
  // Renegotiation that is not bound to the first handshake must not be offered.
  for (const { supported, secure } of elements(xml, "renegotiation")) {
    assert.ok(supported === "0" || secure === "1");
  }
  await assertServed();
});
