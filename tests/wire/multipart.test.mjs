// How a form's bytes become files: pieces, near-boundaries, preambles, and forms that end early.
import assert from "node:assert/strict";
import { randomBytes } from "node:crypto";
import fs from "node:fs";
import { describe, test } from "node:test";

import {
  assertJsonError,
  assertLogged,
  assertOk,
  assertServed,
  buildRequest,
  collect,
  delay,
  freshFolder,
  login,
  multipart,
  openTls,
  parseReply,
  upload,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("multipart");
const boundary = "XyZboundary";
const target = "/upload?path=multipart";
const send = (parts, options) => upload(target, parts, { cookie, boundary, ...options });
const stored = (name) => folder.read(name).toString("latin1");

// Opens an upload that announces `length` bytes and sends `pieces` with pauses between them.
async function dribble(length, pieces, pause = 60) {
  const headers = {
    "Content-Type": `multipart/form-data; boundary=${boundary}`,
    "Content-Length": length,
  };
  const socket = await openTls();
  const answer = collect(socket);
  socket.write(buildRequest("POST", target, { cookie, headers }));
  for (const piece of pieces) {
    await delay(pause);
    if (!socket.destroyed) socket.write(piece);
  }
  return { socket, answer };
}

describe("pieces", () => {
  const tricky = `\r\n--XyZboundar\r\n--XyZ\r\n-\r\r\n\n--XyZboundary\r--${"\r\n".repeat(9)}-`;
  for (const piece of [1, 7, 1000, 65_536]) {
    test(`pieces of ${piece} bytes give the same files`, async () => {
      const random = randomBytes(piece === 1 ? 500 : 20_000);
      const parts = [
        { filename: `r${piece}`, data: random },
        { name: "field", data: "text" },
        { filename: `t${piece}`, data: tricky },
        { filename: `e${piece}` },
      ];
      assertOk(await send(parts, { piece }));
      assert.ok(folder.read(`r${piece}`).equals(random));
      assert.equal(stored(`t${piece}`), tricky);
      assert.equal(stored(`e${piece}`), "");
    });
  }

  test("a delimiter is recognised wherever it is split", async () => {
    const form = multipart(boundary, [{ filename: "split", data: "content" }]);
    const at = form.indexOf(`\r\n--${boundary}--`);
    for (let cut = at - 1; cut <= at + boundary.length + 6; cut += 3) {
      fs.rmSync(folder.at("split"), { force: true });
      const pieces = [form.subarray(0, cut), form.subarray(cut)];
      const { answer } = await dribble(form.length, pieces, 20);
      assertOk(parseReply(await answer));
      assert.equal(stored("split"), "content", `split at ${cut - at}`);
    }
  });

  test("data is written while the form still comes in", async () => {
    const head = multipart(boundary, [{ filename: "early", data: "" }], { closing: "" });
    const data = Buffer.alloc(200_000, "d");
    const first = Buffer.concat([head.subarray(0, head.length - 2), data]);
    const rest = `\r\n--${boundary}--\r\n`;
    const { socket, answer } = await dribble(first.length + rest.length, [first]);
    for (let attempt = 0; attempt < 50 && !folder.has("early"); attempt += 1) await delay(50);
    await assertLogged(`UPLOAD  ${folder.windows}\\early`);
    socket.write(rest);
    assertOk(parseReply(await answer));
    assert.equal(folder.read("early").length, data.length);
  });
});

describe("data that looks like a boundary", () => {
  const rows = [
    ["the boundary without dashes", boundary],
    ["the delimiter without a line break", `x--${boundary}`],
    ["the delimiter after LF alone", `x\n--${boundary}\nx`],
    ["the delimiter after CR alone", `x\r--${boundary}\rx`],
    ["a delimiter that lacks its last letter", `x\r\n--${boundary.slice(0, -1)}\r\nx`],
    ["a delimiter in another case", `x\r\n--${boundary.toUpperCase()}\r\nx`],
    ["line breaks at the end", "x\r\n\r\n"],
    ["CR at the end", "x\r"],
    ["nothing but dashes", "-".repeat(5000)],
    ["10,000 near-delimiters", `\r\n--${boundary.slice(0, -1)}`.repeat(10_000)],
    ["the delimiter at its start", `--${boundary}--\r\nx`],
  ];
  rows.forEach(([name, data], index) => {
    test(`${name} is data`, async () => {
      assertOk(await send([{ filename: `near${index}`, data }]));
      assert.equal(stored(`near${index}`), data);
    });
  });

  test("a longer word that begins with the delimiter ends the part", async () => {
    const body = multipart(boundary, [
      { filename: "long", data: `a\r\n--${boundary}more\r\n\r\nb` },
    ]);
    assertOk(await send([], { body }));
    assert.equal(stored("long"), "a");
  });

  test(
    "30 MB of near-delimiters cost no more time than other data",
    { timeout: 60_000 },
    async () => {
      const near = Buffer.from(`\r\n--${boundary.slice(0, -1)}`);
      const data = Buffer.alloc(30_000_000, near);
      const start = Date.now();
      assertOk(await send([{ filename: "near", data }], { timeout: 60_000 }));
      assert.ok(Date.now() - start < 20_000, `${Date.now() - start} ms`);
      assert.ok(folder.read("near").equals(data));
      fs.rmSync(folder.at("near"));
    },
  );
});

describe("preamble", () => {
  const rows = [
    ["a line", "This is a form.\r\n"],
    ["several lines", "one\r\ntwo\r\n\r\nthree\r\n"],
    ["20,000 bytes", `${"p".repeat(20_000)}\r\n`],
    ["the boundary without dashes", `${boundary}\r\n`],
    ["one byte", "x\r\n"],
  ];
  rows.forEach(([name, preamble], index) => {
    for (const piece of [undefined, 7]) {
      const how = piece ? `in pieces of ${piece}` : "in one piece";
      test(`${name} ${how} is skipped`, async () => {
        const filename = `pre${index}${piece ?? ""}`;
        assertOk(await send([{ filename, data: name }], { shape: { preamble }, piece }));
        assert.equal(stored(filename), name);
      });
    }
  });

  test("a preamble in a read of its own is skipped", async () => {
    const form = multipart(boundary, [{ filename: "own-read", data: "data" }]);
    const preamble = Buffer.from("a preamble that is longer than the delimiter\r\n");
    const pieces = [preamble, form];
    const { answer } = await dribble(preamble.length + form.length, pieces, 200);
    assertOk(parseReply(await answer));
    assert.equal(stored("own-read"), "data");
  });

  test("a line break in front of the first delimiter ends the upload", async () => {
    const reply = await send([{ filename: "break" }], { shape: { preamble: "\r\n" } });
    // Either way is fair; waiting for ever is not.
    if (reply.status === 200) assertOk(reply);
    else assertJsonError(reply, 400, "Upload aborted");
  });
});

describe("end of the form", () => {
  test("the reply comes at the closing delimiter, whatever the length promises", async () => {
    const form = multipart(boundary, [{ filename: "promised", data: "d" }], {
      closing: `--${boundary}--\r\n`,
    });
    const start = Date.now();
    const { answer } = await dribble(form.length + 1_000_000, [form]);
    assertOk(parseReply(await answer));
    assert.ok(Date.now() - start < 5000);
    assert.equal(stored("promised"), "d");
  });
  test("bytes after the closing delimiter are ignored", async () => {
    const closing = `--${boundary}--\r\n--${boundary}\r\na; filename="epilogue"\r\n\r\nx\r\n`;
    assertOk(await send([{ filename: "closed" }], { shape: { closing } }));
    assert.ok(folder.has("closed") && !folder.has("epilogue"));
  });
  test("a closing delimiter without a line break is enough", async () => {
    assertOk(
      await send([{ filename: "bare", data: "b" }], { shape: { closing: `--${boundary}--` } }),
    );
    assert.equal(stored("bare"), "b");
  });

  const whole = multipart(boundary, [{ filename: "cut", data: "some data" }]);
  const ends = [
    ["an empty body", ""],
    ["no delimiter at all", "just text, and no end of it"],
    ["half the first delimiter", `--${boundary.slice(0, 4)}`],
    ["the first delimiter alone", `--${boundary}`],
    ["half a header block", `--${boundary}\r\nContent-Disposition: form`],
    ["a header block and no data", `--${boundary}\r\na; filename="cut"\r\n\r\n`],
    ["data without a closing delimiter", whole.subarray(0, whole.length - boundary.length - 8)],
    ["half the closing delimiter", whole.subarray(0, whole.length - 8)],
    ["a line break, then the delimiter, then nothing", `\r\n--${boundary}`],
  ];
  for (const [name, body] of ends) {
    test(`${name}: the upload is aborted at once`, async () => {
      const start = Date.now();
      assertJsonError(await send([], { body }), 400, "Upload aborted");
      assert.ok(Date.now() - start < 5000);
      await assertServed();
    });
  }
  test("a closing delimiter beyond the announced length is not read", async () => {
    const form = multipart(boundary, [{ filename: "beyond", data: "x".repeat(5000) }]);
    const { answer } = await dribble(1000, [form]);
    assertJsonError(parseReply(await answer), 400, "Upload aborted");
  });
  test("a connection that ends in a part: aborted, and the part stays", async () => {
    const form = multipart(boundary, [
      { filename: "first", data: "whole" },
      { filename: "partial", data: "p".repeat(100_000) },
    ]);
    const { socket, answer } = await dribble(form.length, [form.subarray(0, form.length - 1000)]);
    socket.end();
    const reply = parseReply(await answer);
    if (!reply.silent) assertJsonError(reply, 400, "Upload aborted");
    assert.equal(stored("first"), "whole");
    const { length } = folder.read("partial");
    assert.ok(length > 90_000 && length < 100_000, `${length} bytes`);
    await assertServed();
  });
});

describe("header blocks", () => {
  test("a header block of 10 MiB is read in linear time", { timeout: 60_000 }, async () => {
    const head = `X: ${"h".repeat(10_485_760)}\r\na; filename="huge-head"`;
    const start = Date.now();
    assertOk(await send([{ head, data: "d" }], { timeout: 60_000 }));
    assert.ok(Date.now() - start < 15_000, `${Date.now() - start} ms`);
    assert.equal(stored("huge-head"), "d");
  });
  test("300 small parts are all stored", { timeout: 60_000 }, async () => {
    const parts = Array.from({ length: 300 }, (_, index) => ({
      filename: `many${index}`,
      data: `${index}`,
    }));
    assertOk(await send(parts, { timeout: 60_000 }));
    for (let index = 0; index < 300; index += 1) assert.equal(stored(`many${index}`), `${index}`);
  });
});
