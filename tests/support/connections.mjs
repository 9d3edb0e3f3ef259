// Connections to the running program, with or without TLS: what is sent stands to the byte, and what comes back is kept as
// it came. Who gives up says how far the connection and the program were.
import { once } from "node:events";
import net from "node:net";
import tls from "node:tls";

import { describeState } from "./diagnosis.mjs";
import { program } from "./program.mjs";

function gaveUp(what, socket) {
  return new Error(`${what}\n${describeState({ ...program, socket })}`);
}

// A TCP connection that says nothing.
export async function openIdle() {
  const socket = net.connect(program.port, "127.0.0.1");
  const connected = once(socket, "connect");
  const timer = setTimeout(
    () => socket.destroy(gaveUp("not connected within 20 s", socket)),
    20_000,
  );
  await connected.finally(() => clearTimeout(timer));
  socket.on("error", () => {});
  return socket;
}

// A connected TLS socket; `from` is the client's own loopback address. Errors after the handshake are
// left to whoever collects the reply.
export function openTls({ from, to = "127.0.0.1", ...options } = {}) {
  return new Promise((resolve, reject) => {
    const socket = tls.connect({
      host: to,
      port: program.port,
      localAddress: from,
      rejectUnauthorized: false,
      ...options,
    });
    socket.setNoDelay(true);
    const timer = setTimeout(
      () => socket.destroy(gaveUp("no handshake within 20 s", socket)),
      20_000,
    );
    socket.once("close", () => clearTimeout(timer));
    socket.once("secureConnect", () => {
      clearTimeout(timer);
      socket.off("error", reject);
      socket.on("error", () => {});
      resolve(socket);
    });
    socket.once("error", reject);
  });
}

// Everything the peer sends until the connection is closed, however it closes.
export function collect(socket, timeout = 20_000) {
  return new Promise((resolve, reject) => {
    const chunks = [];
    const timer = setTimeout(() => {
      const error = gaveUp(`no end of the connection within ${timeout} ms`, socket);
      socket.destroy();
      reject(error);
    }, timeout);
    socket.on("data", (chunk) => chunks.push(chunk));
    socket.on("close", () => {
      clearTimeout(timer);
      resolve(Buffer.concat(chunks));
    });
    if (socket.closed) socket.emit("close");
  });
}

// One TLS record for each piece. Stops quietly when the peer has closed.
export async function writePieces(socket, bytes, size = bytes.length) {
  for (let at = 0; at < bytes.length && !socket.destroyed; at += size) {
    await new Promise((resolve) => {
      socket.once("close", resolve);
      socket.write(bytes.subarray(at, at + size), () => {
        socket.off("close", resolve);
        resolve();
      });
    });
  }
}
