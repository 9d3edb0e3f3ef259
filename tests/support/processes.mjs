// The processes behind a program under Wine, as this machine numbers and counts them.
import fs from "node:fs";

const kTicksPerSecond = 100;

export const processIds = () => fs.readdirSync("/proc").filter((name) => /^\d+$/.test(name));

// Every process of that prefix: its number and the words of its command line.
export function processesOf(prefix) {
  const found = [];
  for (const id of processIds()) {
    try {
      const words = fs.readFileSync(`/proc/${id}/cmdline`, "utf8").split("\0");
      if (!words.some((word) => /wine|\.exe/i.test(word))) continue;
      const environment = fs.readFileSync(`/proc/${id}/environ`, "utf8").split("\0");
      if (!environment.includes(`WINEPREFIX=${prefix}`)) continue;
      found.push({ id: Number(id), words: words.filter((word) => word !== "") });
    } catch {
      // It ended in between.
    }
  }
  return found;
}

const findProcess = (prefix, fits) => processesOf(prefix).find(({ words }) => fits(words))?.id;

// The process of the program itself.
export function processOf(prefix) {
  const found = findProcess(
    prefix,
    (words) =>
      /[\\/]Harbinet\.exe$/.test(words.at(-1) ?? "") && !/start_limited|scripts/.test(words.join()),
  );
  if (found === undefined) throw new Error("the program's process was not found");
  return found;
}

// Wine's server keeps what the handles of all programs stand for, and is alone with this one program. Wine itself counts
// no handles (GetProcessHandleCount gives 0).
export function wineServerOf(prefix) {
  const found = findProcess(prefix, (words) => /wineserver/.test(words.join()));
  if (found === undefined) throw new Error("Wine's server was not found");
  return found;
}

// What the program holds: handles, threads, open files, and resident memory in KiB and, rounded, in MiB.
export function resourcesOf(program, wineServer) {
  const status = fs.readFileSync(`/proc/${program}/status`, "utf8");
  const residentKilobytes = Number(/^VmRSS:\s+(\d+)/m.exec(status)[1]);
  return {
    handles: fs.readdirSync(`/proc/${wineServer}/fd`).length,
    threads: Number(/^Threads:\s+(\d+)/m.exec(status)[1]),
    files: fs.readdirSync(`/proc/${program}/fd`).length,
    residentKilobytes,
    residentMegabytes: Math.round(residentKilobytes / 1024),
  };
}

// The fields of a process's or thread's "stat" from the third on: its state is field 0.
const statFields = (folder) =>
  fs.readFileSync(`${folder}/stat`, "utf8").split(") ").at(-1).split(" ");

// Processor time in seconds, of all threads together or of one.
export function cpuSecondsOf(folder) {
  const fields = statFields(folder);
  return (Number(fields[11]) + Number(fields[12])) / kTicksPerSecond;
}

// What one look at each thread shows: name, state, the system call it is in, and where in the kernel it waits.
export function threadsOf(process) {
  const threads = [];
  for (const id of fs.readdirSync(`/proc/${process}/task`)) {
    const folder = `/proc/${process}/task/${id}`;
    const read = (name) => fs.readFileSync(`${folder}/${name}`, "utf8").trim();
    try {
      threads.push({
        id: Number(id),
        name: read("comm"),
        state: statFields(folder)[0],
        call: read("syscall").split(" ")[0],
        waitsIn: read("wchan"),
        cpuSeconds: cpuSecondsOf(folder),
      });
    } catch {
      // It ended in between.
    }
  }
  return threads;
}
