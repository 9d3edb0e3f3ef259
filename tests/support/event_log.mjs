// The program's event log: what stands in it by now, and what does not.
import assert from "node:assert/strict";

import { eventually } from "./eventually.mjs";
import { messageOf } from "./harbinet.mjs";
import { program } from "./program.mjs";
import { get } from "./requests.mjs";

// Messages of the program's log, oldest first, without their time stamps.
export async function logMessages() {
  return (await program.logLines()).map(messageOf);
}

// Waits until `message` (a text or a pattern) stands in the log at least `times` times.
export async function assertLogged(message, times = 1) {
  const fits = (text) => (message instanceof RegExp ? message.test(text) : text === message);
  await eventually(async () => {
    const messages = await logMessages();
    const newest = messages.slice(-12).join("\n");
    assert.ok(
      messages.filter(fits).length >= times,
      `not in the log: ${message}\nnewest lines:\n${newest}`,
    );
  });
}

let witnesses = 0;

// The log when everything before this call is in it: a line that was made later is there already.
export async function settledMessages() {
  witnesses += 1;
  const from = `127.1.${process.pid % 250}.${witnesses}`;
  await get("/auto", { from });
  await assertLogged(`AUTH    request FROM ${from}`);
  return logMessages();
}

export async function assertNotLogged(part) {
  assert.deepEqual(
    (await settledMessages()).filter((text) => text.includes(part)),
    [],
  );
}
