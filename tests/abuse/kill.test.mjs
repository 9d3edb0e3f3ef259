// The program is ended from outside in the middle of an upload: the next start is a normal one.
// @program own
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { once } from "node:events";
import fs from "node:fs";
import path from "node:path";
import { test } from "node:test";

import { startHarbinet, root } from "../support/harbinet.mjs";
import {
  assertOk,
  buildRequest,
  collect,
  eventually,
  get,
  login,
  multipart,
  openTls,
  program,
  upload,
} from "../support/client.mjs";
import { scratchFolder } from "./attack.mjs";

const webRoot = scratchFolder();
const here = (name) => path.join(webRoot, name);
const data = Buffer.alloc(20_000_000, "k");

// Ends everything in the prefix at once, as a power cut would; what the program keeps is left as it lies.
async function kill(harbinet) {
  execFileSync(path.join(root, "scripts/wine"), [harbinet.prefix, "--kill"]);
  await harbinet.ended;
}

// The folder of the certificate and the registry, as the killed program left them.
function keptState(harbinet) {
  const copy = path.join(scratchFolder(), "prefix");
  fs.cpSync(harbinet.prefix, copy, { recursive: true, verbatimSymlinks: true });
  return copy;
}

test("killed in the middle of an upload, started again", { timeout: 180_000 }, async () => {
  const first = await startHarbinet({ webRoot, masterPin: program.masterPin });
  let kept;
  let certificate;
  program.attach(first);
  try {
    const cookie = await login();
    assertOk(await upload("/upload?path=", [{ filename: "whole", data: "whole" }], { cookie }));
    const body = multipart("x", [{ filename: "half", data }]);
    const headers = { "Content-Type": "a; boundary=x" };
    const form = buildRequest("POST", "/upload?path=", { cookie, body, headers });
    const sending = await openTls();
    const answer = collect(sending);
    sending.write(form.subarray(0, 10_000_000));
    await eventually(
      () => fs.existsSync(here("half")) && fs.statSync(here("half")).size > 1_000_000,
      "half of the file has arrived",
    );
    const idle = await openTls();
    certificate = fs.readFileSync(path.join(first.dataFolder, "server.crt"), "utf8");
    await kill(first);
    await answer;
    if (!idle.destroyed) await once(idle, "close");
    kept = keptState(first);
  } finally {
    await first.cleanUp();
  }

  const half = fs.statSync(here("half")).size;
  assert.ok(half > 1_000_000 && half < data.length, `${half} bytes of the file are there`);
  assert.equal(fs.readFileSync(here("whole"), "utf8"), "whole");

  const second = await startHarbinet({
    webRoot,
    masterPin: program.masterPin,
    prepare: (harbinet) => {
      fs.rmSync(harbinet.prefix, { recursive: true });
      fs.cpSync(kept, harbinet.prefix, { recursive: true, verbatimSymlinks: true });
    },
  });
  program.attach(second);
  try {
    const messages = await second.messages();
    assert.ok(messages.includes("SERVER  listening (HTTPS) on port 8443"), messages.join("\n"));
    assert.deepEqual(
      messages.filter((text) => /ERROR|failed/.test(text)),
      [],
    );
    // The certificate outlived the kill, so browsers see the one they know.
    const now = fs.readFileSync(path.join(second.dataFolder, "server.crt"), "utf8");
    assert.equal(now, certificate);
    const cookie = await login();
    const listing = JSON.parse((await get("/api/list?path=", { cookie })).body);
    assert.ok(JSON.stringify(listing).includes('"half"'));
    assertOk(await upload("/upload?path=", [{ filename: "half", data }], { cookie }));
    assert.ok(fs.readFileSync(here("half")).equals(data), "the file is whole after a new upload");
  } finally {
    await second.stop();
  }
});
