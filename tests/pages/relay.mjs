// A relay in front of the program that does to a connection what networks do: hold it up in the middle, and cut it.

import net from "node:net";

class Connection {
  constructor(client, port, relay) {
    this.client = client;
    this.program = net.connect(port, "127.0.0.1");
    this.sent = 0;
    client.on("data", (bytes) => {
      this.sent += bytes.length;
      const isTaken = this.program.write(bytes);
      if (this.sent > relay.limit) {
        relay.hold(this);
      } else if (!isTaken) {
        client.pause();
      }
    });
    this.program.on("drain", () => {
      if (!relay.held.has(this)) client.resume();
    });
    this.answered = 0;
    this.program.on("data", (bytes) => {
      this.answered += bytes.length;
      const isTaken = client.write(bytes);
      if (this.answered > relay.answerLimit || !isTaken) this.program.pause();
    });
    client.on("drain", () => {
      if (this.answered <= relay.answerLimit) this.program.resume();
    });
    this.program.on("end", () => client.end());
    client.on("end", () => this.program.end());
    for (const socket of [client, this.program]) {
      socket.on("error", () => this.cut());
      socket.on("close", () => this.cut());
    }
  }

  cut() {
    this.client.destroy();
    this.program.destroy();
  }
}

class Relay {
  constructor(port) {
    this.limit = Infinity;
    // Each connection over which so many bytes have come from the program stands still from there on.
    this.answerLimit = Infinity;
    this.held = new Set();
    this.connections = new Set();
    this.server = net.createServer((client) => {
      const connection = new Connection(client, port, this);
      this.connections.add(connection);
      client.on("close", () => this.connections.delete(connection));
    });
  }

  async start() {
    await new Promise((resolve) => {
      this.server.listen(0, "127.0.0.1", resolve);
    });
    this.origin = `https://127.0.0.1:${this.server.address().port}`;
  }

  // Each connection that carries more than so many bytes to the program stands still from there on. The promise is kept
  // with the first one.
  holdBehind(bytes) {
    this.limit = bytes;
    return new Promise((resolve) => {
      this.hold = (connection) => {
        connection.client.pause();
        this.held.add(connection);
        resolve();
      };
    });
  }

  letGo() {
    this.limit = Infinity;
    const held = Array.from(this.held);
    this.held.clear();
    for (const { client } of held) client.resume();
  }

  cutHeld() {
    this.limit = Infinity;
    for (const connection of this.held) connection.cut();
    this.held.clear();
  }

  // Kept when the program has closed the connections that stand still.
  async programClosed() {
    await Promise.all(
      Array.from(this.held, ({ program }) =>
        program.destroyed ? null : new Promise((resolve) => program.once("close", resolve)),
      ),
    );
    this.cutHeld();
  }

  async stop() {
    for (const connection of this.connections) connection.cut();
    await new Promise((resolve) => {
      this.server.close(resolve);
    });
  }
}

// Runs body(relay) with a relay to that port of this machine.
export async function withRelay(port, body) {
  const relay = new Relay(port);
  await relay.start();
  try {
    await body(relay);
  } finally {
    await relay.stop();
  }
}
