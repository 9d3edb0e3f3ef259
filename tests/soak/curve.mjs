// What the program holds over time: samples, their picture, and whether they are flat.
import { execFileSync } from "node:child_process";
import fs from "node:fs";

const kCurves = [
  { key: "residentMegabytes", title: "resident memory, MiB" },
  { key: "handles", title: "handles" },
  { key: "threads", title: "threads" },
];

export class Curve {
  constructor(resources) {
    this.resources = resources;
    this.start = Date.now();
    this.samples = [];
  }

  // `isQuiet`: no client is there.
  async take(isQuiet = false) {
    const sample = {
      minute: (Date.now() - this.start) / 60_000,
      isQuiet,
      ...(await this.resources()),
    };
    this.samples.push(sample);
    return sample;
  }

  quietAfter(minutes) {
    return this.samples.filter(({ minute, isQuiet }) => isQuiet && minute >= minutes);
  }

  // Writes NAME.tsv and NAME.png. Lines are samples under load, points those without a client.
  draw(name) {
    const row = ({ minute, isQuiet, ...held }) =>
      [minute.toFixed(3), ...kCurves.map(({ key }) => held[key]), Number(isQuiet)].join("\t");
    fs.writeFileSync(`${name}.tsv`, `${this.samples.map(row).join("\n")}\n`);
    const plots = kCurves.map(({ title }, index) => {
      const column = index + 2;
      return `set ylabel "${title}"
        plot "${name}.tsv" using 1:${column} with lines title "with 64 clients", \\
             "" using 1:($5 == 1 ? $${column} : NaN) with points pointtype 7 title "without a client"`;
    });
    const script = `set terminal pngcairo size 1000,900
      set output "${name}.png"
      set multiplot layout 3,1
      set xlabel "minutes"
      set yrange [0:*]
      set key above
      ${plots.join("\n")}
      unset multiplot`;
    execFileSync("gnuplot", [], { input: script, timeout: 60_000 });
  }
}
