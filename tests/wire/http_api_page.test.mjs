// Every example of docs/http-api.md, in its order, by the shell that a reader would use: what it prints is what the page says.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath } from "node:url";

import { program } from "../support/program.mjs";

const page = fs.readFileSync(
  fileURLToPath(new URL("../../docs/http-api.md", import.meta.url)),
  "utf8",
);
const work = fs.mkdtempSync(path.join(os.tmpdir(), "http-api-"));
after(() => fs.rmSync(work, { recursive: true }));

// Each example with what the page shows below it.
const examples = [
  ...page.matchAll(/^```sh\n(.*?)^```$(?:\n+```(?:json|text)\n(.*?)^```$)?/gms),
].map(([, script, shown]) => ({ script, shown: shown?.trim() }));
let results;

before(() => {
  const user = process.env.USER ?? process.env.LOGNAME ?? "root";
  const data = path.join(program.driveC, "users", user, "AppData/Local/Harbinet");
  fs.copyFileSync(path.join(data, "server.crt"), path.join(work, "server.crt"));
  // The reader's address and PIN; "localhost" is one of the certificate's names.
  const mine = { pc: `https://localhost:${program.port}`, pin: program.masterPin };
  const script = examples
    .map((example) =>
      example.script.replace(/^(pc|pin)=\S+/gm, (_, name) => `${name}=${mine[name]}`),
    )
    .map((text, index) => `${text}\nprintf '\\n=== %s\\n' ${index} >&3\n`);
  const { stdout, stderr } = spawnSync("bash", ["-c", `exec 3>&1\n${script.join("")}`], {
    cwd: work,
    encoding: "utf8",
    timeout: 120_000,
  });
  assert.equal(stderr, "");
  results = stdout.split(/\n=== \d+\n/);
});

test("the page has an example for every endpoint of the route table", () => {
  const routes = fs.readFileSync(
    fileURLToPath(new URL("../../src/routes.cpp", import.meta.url)),
    "utf8",
  );
  const paths = [...routes.matchAll(/\{k(?:Get|Post), k(?:Exact|Prefix), "([^"]+)"/g)].map(
    ([, route]) => route,
  );
  assert.ok(paths.length >= 16);
  // The links' paths come out of the replies.
  const scripts = examples.map(({ script }) => script).join("\n");
  for (const route of paths.filter((name) => !["/s/", "/d/"].includes(name))) {
    assert.ok(scripts.includes(`$pc${route}`), route);
  }
  assert.match(scripts, /"\$pc\$link"/);
  assert.match(scripts, /"\$pc\$folder\/upload"/);
});

for (const [index, { script, shown }] of examples.entries()) {
  const title = script.trim().split("\n").at(-1);
  test(`example ${index + 1} prints what the page shows: ${title}`, () => {
    const printed = results[index].trim();
    const pattern = (shown ?? "")
      .split("…")
      .map((piece) => piece.replace(/[.*+?^${}()|[\]\\]/g, "\\$&"))
      .join("[^\\n]+");
    assert.match(printed, new RegExp(`^${pattern}$`));
  });
}
