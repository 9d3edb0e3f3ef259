// The table in Markdown and the plot.
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

const kHeadings = ["measure", "client", "Harbinet PRO", "against", "ratio", "target", "met"];

const metText = (met) => (met === null ? "" : met ? "yes" : "**no**");

export function tableLines(rows) {
  const cells = rows.map((row) => [
    row.what,
    row.client,
    row.value,
    row.against,
    row.ratio,
    row.target,
    metText(row.met),
  ]);
  const widths = kHeadings.map((heading, column) =>
    Math.max(heading.length, ...cells.map((line) => line[column].length)),
  );
  const join = (line) => `| ${line.map((text, i) => text.padEnd(widths[i])).join(" | ")} |`;
  return [join(kHeadings), join(widths.map((width) => "-".repeat(width))), ...cells.map(join)];
}

export function printTable(rows) {
  console.log(`\n${tableLines(rows).join("\n")}\n`);
}

function plotScript(folder, curves) {
  const lines = [
    "set terminal pngcairo size 1200,500 font 'Liberation Sans,11'",
    `set output '${path.join(folder, "throughput.png")}'`,
    `set multiplot layout 1,${curves.length} title 'Download throughput over TLS'`,
    "set logscale x 2; set grid; set key bottom right; set yrange [0:*]; set ylabel 'MB/s'",
  ];
  curves.forEach(({ title, label, names, rows }, index) => {
    const data = rows.map((row) => row.join(" ")).join("\n");
    lines.push(`$data${index} << EOD\n${data}\nEOD`, `set title '${title}'; set xlabel '${label}'`);
    const series = names.map(
      (name, column) => `$data${index} using 1:${column + 2} with linespoints lw 2 title '${name}'`,
    );
    const ticks = rows.map(([x]) => `"${x}" ${x}`).join(", ");
    lines.push(`set xtics (${ticks}) font ",9"`, `plot ${series.join(", ")}`);
  });
  return lines.join("\n");
}

function curveLines({ title, label, names, rows }) {
  const line = (cells) => `| ${cells.join(" | ")} |`;
  const numbers = rows.map(([x, ...rates]) => line([x, ...rates.map((rate) => rate.toFixed(0))]));
  const head = [line([label, ...names]), line(["--:", ...names.map(() => "--:")])];
  return ["", `Download in MB/s, ${title}:`, "", ...head, ...numbers];
}

export function writeResults(folder, size, rows, curves) {
  fs.mkdirSync(folder, { recursive: true });
  const machine = `${os.cpus().length} x ${os.cpus()[0].model.trim()}`;
  const about = `Medians of ${size.rounds} rounds, the servers taking turns, on one machine (${machine}).`;
  const plot = curves.length > 0 ? ["", "![Throughput](throughput.png)"] : [];
  const lines = ["# Measurements", "", about, "", ...tableLines(rows)];
  const text = [...lines, ...curves.flatMap(curveLines), ...plot, ""].join("\n");
  fs.writeFileSync(path.join(folder, "table.md"), text);
  if (curves.length > 0) execFileSync("gnuplot", { input: plotScript(folder, curves) });
}
