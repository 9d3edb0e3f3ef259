// The three servers that are compared, each on a loopback port of its own: the program and the bare
// TLS loop in one Wine prefix, nginx natively. All serve the folder `files` below `folder`.
import { execFileSync, spawn } from "node:child_process";
import fs from "node:fs";
import https from "node:https";
import net from "node:net";
import path from "node:path";

import { root, startHarbinet, windowsPath } from "../tests/support/harbinet.mjs";

const kNginxPort = 18_444;
const kLoopPort = 18_443;
const kStartMilliseconds = 60_000;

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

async function mustBeFree(port) {
  if (await connects(port)) throw new Error(`port ${port} is taken`);
}


const kQuiet = { stdio: "ignore" };

export function run(command, args, options) {
  return execFileSync(command, args, { encoding: "utf8", ...options });
}

export const wineCommand = path.join(root, "scripts", "wine");
export const windowsProgram = (name) => path.join(root, "build", "release", `${name}.exe`);

export function makeCertificate(folder) {
  const files = {
    certificate: path.join(folder, "bench.crt"),
    key: path.join(folder, "bench.key"),
  };
  const curve = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"];
  const names = ["-subj", "/CN=bench", "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"];
  const out = ["-keyout", files.key, "-out", files.certificate, "-days", "30"];
  run("openssl", ["req", "-x509", ...curve, ...names, ...out], kQuiet);
  return files;
}

// `addresses` are those that it is reached at.
export async function startNginx(folder, { certificate, key }, addresses) {
  await mustBeFree(kNginxPort);
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
  types { text/html html; }
  default_type application/octet-stream;
  ${temporary.map((name) => `${name}_temp_path ${own}/${name};`).join(" ")}
  server {
    ${addresses.map((address) => `listen ${address}:${kNginxPort} ssl;`).join(" ")}
    ssl_certificate ${certificate};
    ssl_certificate_key ${key};
    root ${folder}/files;
    location /in/ {
      dav_methods PUT;
      create_full_put_path on;
      client_max_body_size 0;
    }
  }
}
`,
  );
  const nginx = fs.existsSync("/usr/sbin/nginx") ? "/usr/sbin/nginx" : "nginx";
  const log = path.join(own, "error.log");
  const child = spawn(nginx, ["-c", `${own}/nginx.conf`, "-e", log], kQuiet);
  await untilListening(kNginxPort);
  return {
    name: "nginx",
    port: kNginxPort,
    file: (name) => [name, []],
    // It takes no forms.
    uploadTo: (name) => [`in/${name}`, []],
    takesForms: false,
    status: ["status", []],
    stop: () => child.kill("SIGQUIT"),
  };
}

export async function startLoop(folder, prefix, { certificate, key }, addresses) {
  await mustBeFree(kLoopPort);
  const args = [certificate, key].map(windowsPath);
  const child = spawn(
    wineCommand,
    [
      prefix,
      windowsProgram("tls_loop"),
      ...args,
      String(kLoopPort),
      windowsPath(`${folder}/files`),
      addresses.length === 1 ? addresses[0] : "0.0.0.0",
    ],
    kQuiet,
  );
  await untilListening(kLoopPort);
  return {
    name: "bare loop",
    port: kLoopPort,
    pid: findProcess(prefix, "tls_loop"),
    file: (name) => [name, []],
    upload: ["upload.bin", []],
    uploadTo: (name) => [`in-${name}`, []],
    takesForms: true,
    status: ["status", []],
    stop: () => child.kill("SIGKILL"),
  };
}

const kMasterPin = "246810";

// The process of that Windows program in the prefix.
function findProcess(prefix, name) {
  for (const pid of fs.readdirSync("/proc").filter((entry) => /^\d+$/.test(entry))) {
    try {
      const [program] = fs.readFileSync(`/proc/${pid}/cmdline`, "utf8").split("\0");
      const environment = fs.readFileSync(`/proc/${pid}/environ`, "utf8").split("\0");
      const isInPrefix = environment.includes(`WINEPREFIX=${prefix}`);
      if (isInPrefix && program.endsWith(`${name}.exe`)) return Number(pid);
    } catch {
      // A process of somebody else, or one that has just ended.
    }
  }
  throw new Error(`${name} is not running`);
}

// The cookie of a new session.
function logIn(port) {
  const body = JSON.stringify({ code: kMasterPin });
  const options = { port, method: "POST", path: "/api/login", rejectUnauthorized: false };
  return new Promise((resolve, reject) => {
    const request = https.request({ ...options, headers: { "Content-Length": body.length } });
    request.once("error", reject).once("response", (reply) => {
      reply.resume();
      const [cookie] = reply.headers["set-cookie"] ?? [];
      if (cookie) resolve(cookie.split(";")[0]);
      else reject(new Error(`login failed: ${reply.statusCode}`));
    });
    request.end(body);
  });
}

// The program with a session. As administrator it listens on another port.
export async function startProgram(folder, asAdministrator) {
  let start;
  const program = await startHarbinet({
    webRoot: path.join(folder, "files"),
    masterPin: kMasterPin,
    admin: asAdministrator,
    waitFor: "nothing",
    prepare: () => {
      start = performance.now();
    },
  });
  const seconds = await untilListening(program.port, start);
  const cookie = [`Cookie: ${await logIn(program.port)}`];
  return {
    name: "Harbinet PRO",
    port: program.port,
    prefix: program.prefix,
    seconds,
    pid: findProcess(program.prefix, "Harbinet"),
    file: (name) => [`download?path=${name}`, cookie],
    upload: ["upload?path=", cookie],
    uploadTo: () => ["upload?path=up", cookie],
    takesForms: true,
    list: (name) => [`api/list?path=${name}`, cookie],
    zip: ["api/zip", cookie],
    status: ["api/status", []],
    stop: () => program.cleanUp(),
  };
}
