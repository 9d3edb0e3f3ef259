// Load generators with a new connection for each request: no request may fail. The tools differ in what a closed
// connection means to them. ab opens one connection for each request and counts every reply that is short, late or not
// 2xx. wrk and h2load are made for connections that stay: told "Connection: close", wrk opens the next one as soon as a
// reply is complete and counts a close only as a read error when it comes inside a reply, so its socket errors must be
// none as well. h2load sends one request on each connection here (as many clients as requests, for the same reason).
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import { assertServed, freshFolder, login } from "../support/client.mjs";
import { assertReturnedTo, origin, runTool, settled } from "./attack.mjs";

const cookie = await login();
const folder = freshFolder("load-tools");
folder.write("small.bin", Buffer.alloc(10_000, "s"));

const kTargets = [
  { what: "the status", path: "/api/status" },
  { what: "a small download", path: "/download?path=load-tools/small.bin" },
];
const kTest = { timeout: 180_000 };

const number = (pattern, output) => {
  const found = pattern.exec(output);
  assert.ok(found, `not in the output: ${pattern}\n${output}`);
  return Number(found[1]);
};

describe("load with closing connections", () => {
  let before;
  test("before", async () => {
    await assertServed();
    before = await settled();
  });

  for (const { what, path } of kTargets) {
    const url = `${origin}${path}`;
    test(`ab: ${what}`, kTest, async () => {
      const output = await runTool("ab", ["-q", "-n", "800", "-c", "16", "-C", cookie, url]);
      assert.equal(number(/^Complete requests:\s+(\d+)/m, output), 800);
      assert.equal(number(/^Failed requests:\s+(\d+)/m, output), 0, output);
      assert.doesNotMatch(output, /Non-2xx responses|Write errors:\s+[1-9]/);
      console.log(`# ab ${path}: ${number(/^Requests per second:\s+([\d.]+)/m, output)}/s`);
    });

    test(`wrk: ${what}`, kTest, async () => {
      const headers = ["-H", "Connection: close", "-H", `Cookie: ${cookie}`];
      const output = await runTool("wrk", ["-t", "1", "-c", "16", "-d", "5s", ...headers, url]);
      assert.ok(number(/(\d+) requests in/, output) > 50, output);
      assert.doesNotMatch(output, /Socket errors|Non-2xx or 3xx responses/);
      console.log(`# wrk ${path}: ${number(/^Requests\/sec:\s+([\d.]+)/m, output)}/s`);
    });

    test(`h2load: ${what}`, kTest, async () => {
      const args = ["--h1", "-n", "400", "-c", "400", "-r", "60", "-H", `Cookie: ${cookie}`, url];
      const output = await runTool("h2load", args);
      assert.equal(number(/(\d+) succeeded/, output), 400, output);
      assert.equal(number(/(\d+) failed/, output), 0, output);
      assert.equal(number(/(\d+) 2xx/, output), 400, output);
    });
  }

  test("threads, handles and memory return", kTest, async () => {
    await assertServed();
    await assertReturnedTo(before);
  });
});
