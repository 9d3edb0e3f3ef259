// test-runner.mjs [LAYER...] : runs the layers of tests/layers, all that are not on demand or those that are named. What
// ./test does once the machine is set up.
import { spawn } from "node:child_process";
import { once } from "node:events";
import fs from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

const root = fileURLToPath(new URL("..", import.meta.url));
const kFailure = /^ *not ok |: Failure$|^\[ {2}FAILED {2}\]|^Harbinet.exe (ended|crashed)/;
const kFailureLines = 25;
const kShownFailureLines = 200;
const kShownEndLines = 30;
const kEndings = { SIGINT: 130, SIGTERM: 143 };

function readLayers() {
  const lines = fs.readFileSync(path.join(root, "tests/layers"), "utf8").split("\n");
  return lines
    .filter((line) => line !== "" && !line.startsWith("#"))
    .map((line) => {
      const [name, when, needs, network, command, shows] = line
        .split("|")
        .map((cell) => cell.trim());
      return { name, when, needs: needs === "-" ? [] : needs.split(","), network, command, shows };
    });
}

const total = { passed: 0, failed: 0 };
let isFinished = false;
let running;

// A process group of its own, so that the end of this program can end all of it.
async function run(command, stdio) {
  running = spawn(command[0], command.slice(1), { cwd: root, stdio, detached: true });
  const [code] = await once(running, "exit");
  running = undefined;
  return code;
}

// The last line of a layer; one that stops early, or that tests nothing, has failed.
function verdictOf(log, code) {
  const [, passed, failed] = /(?:^|\n)(\d+) passed, (\d+) failed\n$/.exec(log) ?? [null, 0, 0];
  const verdict = { passed: Number(passed), failed: Number(failed) };
  if (verdict.failed === 0 && (code !== 0 || verdict.passed === 0)) verdict.failed = 1;
  return verdict;
}

// The lines that tell of a failure, in the words of TAP and of GoogleTest, each with those that follow it.
function failuresIn(lines) {
  const shown = [];
  let left = 0;
  lines.forEach((line, index) => {
    if (kFailure.test(line)) left = kFailureLines;
    if (left > 0) shown.push(`${index + 1}: ${line}`);
    left -= 1;
  });
  return shown.slice(0, kShownFailureLines);
}

function showFailures(name, log) {
  const lines = log.trimEnd().split("\n");
  const show = (title, text) => {
    console.log(`   --- ${title} build/logs/${name}.log`);
    for (const line of text) console.log(`   | ${line}`);
  };
  show("failures in", failuresIn(lines));
  show("the end of", lines.slice(-kShownEndLines));
}

const made = new Set();

async function prepare(needs) {
  for (const need of needs.filter((one) => !made.has(one))) {
    if ((await run(["scripts/prepare", need], ["ignore", "inherit", "inherit"])) !== 0)
      return false;
    made.add(need);
  }
  return true;
}

async function runLayer({ name, needs, network, command, shows }) {
  if (!(await prepare(needs))) {
    console.log(`   ${name}: not run`);
    total.failed += 1;
    return;
  }
  console.log(`== ${name}: ${shows}`);
  const start = Date.now();
  const file = path.join(root, "build/logs", `${name}.log`);
  const output = fs.openSync(file, "w");
  const words = [...(network === "own" ? ["scripts/own-network"] : []), ...command.split(" ")];
  const code = await run(words, ["ignore", output, output]);
  fs.closeSync(output);
  // Some tests print bytes that are no text.
  const log = fs.readFileSync(file, "latin1");
  const { passed, failed } = verdictOf(log, code);
  total.passed += passed;
  total.failed += failed;
  const seconds = Math.round((Date.now() - start) / 1000);
  console.log(`   ${name}: ${passed} passed, ${failed} failed (${seconds} s)`);
  if (failed > 0) showFailures(name, fs.readFileSync(file, "utf8"));
}

// The sum is the last line even when somebody presses Ctrl-C.
process.on("exit", () => {
  if (!isFinished) total.failed += 1;
  console.log(`${total.passed} passed, ${total.failed} failed`);
});
for (const [signal, code] of Object.entries(kEndings)) {
  process.on(signal, async () => {
    if (running) {
      const ended = once(running, "exit");
      process.kill(-running.pid, signal);
      await ended;
    }
    process.exit(code);
  });
}

const start = Date.now();
const layers = readLayers();
const names = process.argv.slice(2);
const chosen =
  names.length === 0
    ? layers.filter(({ when }) => when === "always")
    : names.map((name) => layers.find((layer) => layer.name === name));
for (const layer of chosen) await runLayer(layer);
const seconds = Math.round((Date.now() - start) / 1000);
console.log(`== finished in ${Math.floor(seconds / 60)} min ${seconds % 60} s`);
isFinished = true;
process.exitCode = total.failed === 0 && total.passed > 0 ? 0 : 1;
