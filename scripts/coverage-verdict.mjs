// coverage-verdict.mjs SUMMARY.JSON ROOT MIN_BRANCH_PERCENT : judges what llvm-cov exported.
import fs from "node:fs";
import path from "node:path";

const [summaryFile, root, minimum] = process.argv.slice(2);
const { data } = JSON.parse(fs.readFileSync(summaryFile, "utf8"));
const files = data[0].files.map(({ filename, summary }) => ({
  name: path.relative(root, filename),
  folder: path.dirname(path.relative(root, filename)),
  ...summary,
}));

let passed = 0;
let failed = 0;
function judge(isGood, text) {
  console.log(`${isGood ? "good" : "BAD "} ${text}`);
  if (isGood) passed += 1;
  else failed += 1;
}

for (const { name, lines } of files) {
  judge(lines.covered === lines.count, `${name}: ${lines.covered} of ${lines.count} lines`);
}
for (const folder of new Set(files.map((file) => file.folder))) {
  const branches = files.filter((file) => file.folder === folder).map((file) => file.branches);
  const sum = (key) => branches.reduce((total, branch) => total + branch[key], 0);
  const percent = (100 * sum("covered")) / sum("count");
  judge(percent >= Number(minimum), `${folder}: ${percent.toFixed(1)} % of ${sum("count")} branches`);
}
console.log(`${passed} passed, ${failed} failed`);
process.exitCode = failed === 0 && passed > 0 ? 0 : 1;
