// One client of the soak test: it does what people, browsers and strangers do, one thing after the other, with pauses, as
// its random numbers say. It knows which files its folder must hold.
import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { once } from "node:events";
import net from "node:net";

import {
  buildRequest,
  collect,
  encode,
  headerValue,
  multipart,
  openTls,
  parseReply,
  program,
  writePieces,
} from "../support/client.mjs";
import { readZip } from "../support/zip_reader.mjs";
import { between, bytesFrom, randomFrom } from "./random.mjs";

const kLargestFile = 1_000_000;
const kMostFiles = 8;
const kPatience = 60_000;
const kLongestPause = 3000;

export const digestOf = (bytes) => createHash("sha256").update(bytes).digest("hex");

// The connection was never taken: the server is stopped. Nothing of the request has happened.
class ServerIsOff extends Error {}

export class Visitor {
  // `server.stops` counts how often the server was stopped, and `server.isOff` says whether it is now.
  constructor(number, seed, server) {
    this.random = randomFrom(seed);
    this.server = server;
    this.from = `127.0.2.${number}`;
    // Wrong PINs ban the address they come from.
    this.strangerFrom = `127.0.3.${number}`;
    this.folder = `soak/${number}`;
    this.files = new Map();
    this.counts = {};
    this.serial = 0;
  }

  async connect(from = this.from) {
    const { isOff, stops } = this.server;
    try {
      const transport = net.connect({ port: program.port, host: "127.0.0.1", localAddress: from });
      await once(transport, "connect");
      transport.on("error", () => {});
      const socket = await openTls({ socket: transport });
      // A TLS connection cannot be reset, but what it stands on can.
      socket.transport = transport;
      return socket;
    } catch (error) {
      if (isOff || this.server.stops !== stops) throw new ServerIsOff();
      throw error;
    }
  }

  async send(method, target, { from, body, headers, isPublic = false } = {}) {
    const cookie = isPublic ? undefined : this.cookie;
    const bytes = buildRequest(method, target, { body, headers, cookie });
    const socket = await this.connect(from);
    const answer = collect(socket, kPatience);
    writePieces(socket, bytes, this.chance(0.2) ? between(this.random, 500, 20_000) : bytes.length);
    return parseReply(await answer);
  }

  async expect(status, ...request) {
    const reply = await this.send(...request);
    const seen = `${request.slice(0, 2).join(" ")}: ${reply.bytes.subarray(0, 300)}`;
    assert.ok([status].flat().includes(reply.status), seen);
    return reply;
  }

  json(action, members, options) {
    return this.expect(200, "POST", action, { body: JSON.stringify(members), ...options });
  }

  chance(probability) {
    return this.random() < probability;
  }

  someFile() {
    const names = [...this.files.keys()];
    return names[between(this.random, 0, names.length - 1)];
  }

  newName(kind) {
    this.serial += 1;
    return `${kind} ${this.serial} ä.bin`;
  }

  async logIn() {
    const body = JSON.stringify({ code: program.masterPin });
    const reply = await this.expect(200, "POST", "/api/login", { body, isPublic: true });
    this.cookie = headerValue(reply, "Set-Cookie").split(";")[0];
  }

  async upload(target = `/upload?path=${encode(this.folder)}`, options = {}) {
    const name = this.newName("file");
    const data = bytesFrom(this.random, between(this.random, 0, kLargestFile));
    const body = multipart("XyZ", [{ filename: name, data }]);
    const headers = { "Content-Type": "multipart/form-data; boundary=XyZ" };
    await this.expect(200, "POST", target, { body, headers, ...options });
    this.files.set(name, digestOf(data));
  }

  async download() {
    const name = this.someFile();
    const reply = await this.expect(
      200,
      "GET",
      `/download?path=${encode(`${this.folder}/${name}`)}`,
    );
    assert.equal(digestOf(reply.body), this.files.get(name), name);
  }

  async list() {
    const reply = await this.expect(200, "GET", `/api/list?path=${encode(this.folder)}`);
    const names = JSON.parse(reply.body).items.map(({ name }) => name);
    assert.deepEqual(names.sort(), [...this.files.keys()].sort());
  }

  async archive() {
    const names = [...this.files.keys()].slice(0, 3);
    const body = JSON.stringify({ path: this.folder, names });
    const reply = await this.expect(200, "POST", "/api/zip", { body });
    const { locals } = readZip(reply.body);
    const expected = names.map((name) => [`${this.folder}/${name}`, this.files.get(name)]);
    assert.deepEqual(
      locals.map(({ name, data }) => [name, digestOf(data)]),
      expected,
    );
  }

  async remove() {
    const names = [...new Set([this.someFile(), this.someFile()])];
    await this.json("/api/delete_many", { path: this.folder, names });
    for (const name of names) this.files.delete(name);
  }

  async removeOne() {
    const name = this.someFile();
    await this.json("/api/delete", { path: this.folder, name });
    this.files.delete(name);
  }

  async makeAndRemoveFolder() {
    const name = this.newName(`folder of ${this.from}`);
    await this.json("/api/mkdir", { path: "soak/folders", name });
    await this.json("/api/rmdir", { path: "soak/folders", name });
  }

  async linkTo(path) {
    const reply = await this.expect(200, "GET", `/api/share?path=${encode(path)}`);
    return JSON.parse(reply.body).path;
  }

  async visitFileLink() {
    const name = this.someFile();
    const link = await this.linkTo(`${this.folder}/${name}`);
    const reply = await this.expect(200, "GET", link, { isPublic: true });
    assert.equal(digestOf(reply.body), this.files.get(name), name);
  }

  async visitFolderLink() {
    const link = await this.linkTo(this.folder);
    const asStranger = { isPublic: true };
    await this.expect(200, "GET", link, asStranger);
    await this.expect(200, "GET", `${link}/api/list`, asStranger);
    await this.upload(`${link}/upload`, asStranger);
    const name = this.someFile();
    const reply = await this.expect(
      200,
      "GET",
      `${link}/download?name=${encode(name)}`,
      asStranger,
    );
    assert.equal(digestOf(reply.body), this.files.get(name), name);
    await this.json(`${link}/api/delete`, { name }, asStranger);
    this.files.delete(name);
  }

  async guessPin() {
    const body = JSON.stringify({ code: program.pin === "000000" ? "000001" : "000000" });
    const options = { body, isPublic: true, from: this.strangerFrom };
    await this.expectOfStranger([401, 429], "POST", "/api/login", options);
  }

  async askForNothing() {
    const targets = [
      "/",
      "/api/status",
      "/auto",
      "/none",
      "/s/none",
      "/d/none",
      "/api/list?path=..",
    ];
    const target = targets[between(this.random, 0, targets.length - 1)];
    // An /auto without a PIN may end in a ban.
    const options = { isPublic: this.chance(0.5), from: this.strangerFrom };
    await this.expectOfStranger([200, 400, 401, 404, 410, 429], "GET", target, options);
  }

  // Who is banned, with a 429 at first, gets no reply to a PIN.
  async expectOfStranger(statuses, ...request) {
    const reply = await this.expect(this.wasBanned ? [0, ...statuses] : statuses, ...request);
    this.wasBanned ||= reply.status === 429;
  }

  // A body that ends in the middle, with a close or a reset.
  async breakOff() {
    const data = bytesFrom(this.random, between(this.random, 100_000, 500_000));
    const body = multipart("XyZ", [{ filename: `${this.from}.bin`, data }]);
    const headers = { "Content-Type": "multipart/form-data; boundary=XyZ" };
    const { cookie } = this;
    const form = buildRequest("POST", "/upload?path=soak/halves", { cookie, body, headers });
    const socket = await this.connect();
    await writePieces(socket, form.subarray(0, between(this.random, 1, form.length - 1)));
    await this.pause(0.2);
    this.leave(socket);
  }

  // A reply that nobody reads to its end. Of a file that nobody deletes: until the program notices, it keeps it open.
  async hangUp() {
    const socket = await this.connect();
    const target = "/download?path=soak/large.bin";
    socket.write(buildRequest("GET", target, { cookie: this.cookie }));
    await this.pause(0.1);
    this.leave(socket);
  }

  async sayNothing() {
    const socket = await this.connect();
    await this.pause(0.5);
    this.leave(socket);
  }

  leave(socket) {
    if (this.chance(0.5)) socket.transport.resetAndDestroy();
    else socket.destroy();
  }

  pause(share = 1) {
    const milliseconds = this.random() * kLongestPause * share;
    return new Promise((resolve) => setTimeout(resolve, milliseconds));
  }

  // What it can do now; files first, because most of the rest needs one.
  choices() {
    if (this.files.size === 0) return ["upload"];
    const more = [
      "download",
      "list",
      "archive",
      "removeOne",
      "makeAndRemoveFolder",
      "visitFileLink",
    ];
    const rude = ["guessPin", "askForNothing", "breakOff", "hangUp", "sayNothing", "logIn"];
    const room =
      this.files.size < kMostFiles ? ["upload", "upload", "visitFolderLink"] : ["remove"];
    return [...more, ...rude, ...room];
  }

  // One thing; false when the server is off.
  async act() {
    const choices = this.choices();
    const choice = this.cookie ? choices[between(this.random, 0, choices.length - 1)] : "logIn";
    try {
      await this[choice]();
    } catch (error) {
      if (error instanceof ServerIsOff) return false;
      error.message = `${this.from}, ${choice}: ${error.message}`;
      throw error;
    }
    this.counts[choice] = (this.counts[choice] ?? 0) + 1;
    return true;
  }
}
