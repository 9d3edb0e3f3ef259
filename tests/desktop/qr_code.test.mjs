// The QR code in a picture of the screen leads to where the window says: read with zbarimg.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdtemp, rm } from "node:fs/promises";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { setTimeout as delay } from "node:timers/promises";
import { promisify } from "node:util";

import { ids, startHarbinet } from "../support/harbinet.mjs";

const run = promisify(execFile);
const kReadSeconds = 10;

/** Every QR code that is on the screen now. */
async function readScreen() {
  const folder = await mkdtemp(path.join(os.tmpdir(), "harbinet-screen-"));
  const picture = path.join(folder, "screen.png");
  try {
    await run("import", ["-window", "root", picture], { timeout: 20_000 });
    const { stdout } = await run("zbarimg", ["--quiet", "--raw", picture]).catch(() => ({
      stdout: "",
    }));
    return stdout.split("\n").filter((line) => line !== "");
  } finally {
    await rm(folder, { recursive: true });
  }
}

// The picture may be taken before the window was painted again.
async function expectCode(link) {
  const end = Date.now() + kReadSeconds * 1000;
  let codes = await readScreen();
  while (codes.join() !== link && Date.now() < end) {
    await delay(100);
    codes = await readScreen();
  }
  assert.deepEqual(codes, [link]);
}

for (const admin of [false, true]) {
  const who = admin ? "an administrator" : "a user";

  test(`the QR code of ${who}`, async (t) => {
    let harbinet;
    let url;
    let pin;

    before(async () => {
      harbinet = await startHarbinet({ admin });
      await harbinet.probe.ask("wait-url", kReadSeconds);
      url = await harbinet.url();
      pin = await harbinet.pin();
    });
    after(() => harbinet.stop());

    await t.test("is the auto-login link while the server runs", async () => {
      assert.match(url, admin ? /^https:\/\/[^:]+\/$/ : /^https:\/\/[^:]+:8443\/$/);
      await expectCode(`${url}auto?pin=${pin}`);
    });

    await t.test("is the same link while the server is stopped", async () => {
      await harbinet.press(ids.server);
      assert.equal(await harbinet.url(), "-");
      await expectCode(`${url}auto?pin=${pin}`);
      await harbinet.press(ids.server);
      await harbinet.probe.ask("wait-url", kReadSeconds);
    });

    await t.test("follows the chosen address", async () => {
      const chosen = await harbinet.probe.ask("select", ids.addresses, 1);
      const port = admin ? "" : ":8443";
      await expectCode(`https://${chosen}${port}/auto?pin=${pin}`);
    });

    await t.test('is back at the automatic address after "(auto)"', async () => {
      assert.equal(await harbinet.probe.ask("select", ids.addresses, 0), "(auto)");
      await expectCode(`${url}auto?pin=${pin}`);
    });

    await t.test("stays readable with the status panel", async () => {
      await harbinet.press(ids.status);
      await expectCode(`${url}auto?pin=${pin}`);
    });
  });
}
