// The three servers that are compared, each on a loopback port of its own: the program and the bare
// TLS loop in one Wine prefix, nginx natively. All serve the folder `files` below `folder`.
import { execFileSync, spawn } from "node:child_process";
import fs from "node:fs";
import net from "node:net";
import path from "node:path";

import { startProgram } from "../tests/support/program.mjs";

const kNginxPort = 18_444;
const kLoopPort = 18_443;
const kStartMilliseconds = 60_000;

export const kRoot = path.resolve(import.meta.dirname, "..");
export const kStatusBody = '{"running":true,"port":8443}';

const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

function connects(port) {
  return new Promise((resolve) => {
    const socket = net.connect({ host: "127.0.0.1", port });
    socket.once("connect", () => resolve(true)).once("error", () => resolve(false));
    socket.once("connect", () => socket.destroy());
  });
}

// The seconds from `start` until the port answers.
export async function untilListening(port, start = performance.now()) {
  while (!(await connects(port))) {
    if (performance.now() - start > kStartMilliseconds) throw new Error(`nothing on port ${port}`);
    await sleep(2);
  }
  return (performance.now() - start) / 1000;
}

export const windowsPath = (file) => `Z:${file.replaceAll("/", "\\")}`;

export function run(command, args, options) {
  return execFileSync(command, args, { encoding: "utf8", ...options });
}

export const wineCommand = path.join(kRoot, "scripts", "wine");
export const windowsProgram = (name) => path.join(kRoot, "build", "release", `${name}.exe`);

export function makeCertificate(folder) {
  const files = { certificate: path.join(folder, "bench.crt"), key: path.join(folder, "bench.key") };
  const curve = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"];
  const names = ["-subj", "/CN=bench", "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"];
  const out = ["-keyout", files.key, "-out", files.certificate, "-days", "30"];
  run("openssl", ["req", "-x509", ...curve, ...names, ...out], { stdio: "ignore" });
  return files;
}

export async function startNginx(folder, { certificate, key }) {
  const own = path.join(folder, "nginx");
  fs.mkdirSync(own);
  const temporary = ["client_body", "proxy", "fastcgi", "uwsgi", "scgi"];
  const user = process.getuid() === 0 ? "user root;" : "";
  fs.writeFileSync(
    path.join(own, "nginx.conf"),
    `daemon off; ${user} worker_processes auto; pid ${own}/pid;
events { worker_connections 4096; }
http {
  access_log off;
  keepalive_timeout 0;
  ${temporary.map((name) => `${name}_temp_path ${own}/${name};`).join(" ")}
  server {
    listen 127.0.0.1:${kNginxPort} ssl;
    ssl_certificate ${certificate};
    ssl_certificate_key ${key};
    root ${folder}/files;
  }
}
`,
  );
  const nginx = fs.existsSync("/usr/sbin/nginx") ? "/usr/sbin/nginx" : "nginx";
  const log = path.join(own, "error.log");
  const child = spawn(nginx, ["-c", `${own}/nginx.conf`, "-e", log], { stdio: "ignore" });
  await untilListening(kNginxPort);
  return {
    name: "nginx",
    port: kNginxPort,
    file: (name) => [name, []],
    status: ["status", []],
    stop: () => child.kill("SIGQUIT"),
  };
}

export async function startLoop(folder, prefix, { certificate, key }) {
  const args = [certificate, key].map(windowsPath);
  const child = spawn(
    wineCommand,
    [prefix, windowsProgram("tls_loop"), ...args, String(kLoopPort), windowsPath(`${folder}/files`)],
    { stdio: "ignore" },
  );
  await untilListening(kLoopPort);
  return {
    name: "bare loop",
    port: kLoopPort,
    file: (name) => [name, []],
    upload: ["upload.bin", []],
    status: ["status", []],
    stop: () => child.kill("SIGKILL"),
  };
}

// The program with a session, and the process whose memory is measured.
export async function startHarbinet(folder, prefix) {
  const start = performance.now();
  const program = await startProgram({ prefix, root: path.join(folder, "files") });
  const seconds = (performance.now() - start) / 1000;
  const cookie = [`Cookie: ${await program.login()}`];
  return {
    name: "Harbinet",
    port: program.port,
    seconds,
    pid: program.pid,
    file: (name) => [`download?path=${name}`, cookie],
    upload: ["upload?path=", cookie],
    list: (name) => [`api/list?path=${name}`, cookie],
    zip: ["api/zip", cookie],
    status: ["api/status", []],
    stop: () => program.stop(),
  };
}
