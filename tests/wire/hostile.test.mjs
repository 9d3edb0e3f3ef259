// Clients that send what no browser sends. After each of them the next client is served at once.
import assert from "node:assert/strict";
import net from "node:net";
import { afterEach, describe, test } from "node:test";
import tls from "node:tls";

import {
  assertJsonError,
  assertLogged,
  assertOk,
  assertPlain,
  assertServed,
  assertSilent,
  assertUnauthorized,
  buildRequest,
  collect,
  delay,
  freshFolder,
  get,
  login,
  settledMessages,
  multipart,
  once,
  openTls,
  parseReply,
  post,
  program,
  talk,
  upload,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("hostile");
folder.write("a.txt", "harmless");
const started = Date.now();

afterEach(assertServed);

// Waiting clients, opened now and looked at by the last test.
const silences = [
  ["a client that connects and says nothing", await openPlain()],
  ["a client that ends its handshake and says nothing", await openTls()],
  ["a client that sends half a head", await openTls()],
  ["a client that drips one byte a second", await openTls()],
];
silences[2][1].write("GET /api/status HTTP/1.1\r\nX: ");
const drip = setInterval(() => silences[3][1].write("G"), 1000);
const closings = silences.map(([, socket]) => {
  socket.on("error", () => {});
  socket.resume();
  return once(socket, "close").then(() => Date.now() - started);
});

async function openPlain() {
  const socket = net.connect({ host: "127.0.0.1", port: program.port });
  await once(socket, "connect");
  socket.on("error", () => {});
  return socket;
}

// Sends bytes without TLS and waits for the end.
async function plain(bytes, finish = "end") {
  const socket = await openPlain();
  const answer = collect(socket);
  socket.write(bytes);
  if (finish) socket[finish]();
  return answer;
}

describe("no TLS", () => {
  const noises = [
    ["plain HTTP", "GET / HTTP/1.1\r\nHost: x\r\n\r\n", null],
    ["plain HTTP from a client that leaves", "GET / HTTP/1.1\r\nHost: x\r\n\r\n", "end"],
    ["zeros", Buffer.alloc(10_000), "end"],
    ["other bytes", Buffer.alloc(10_000, 0xff), "end"],
    ["text", "SSH-2.0-x\r\n", "end"],
    ["the start of a handshake", Buffer.from("16030100f5010000f1030300", "hex"), "end"],
    ["a record that is too long", Buffer.from("160301ffff", "hex"), "end"],
    ["a handshake of an unknown version", Buffer.from("160300000401000000", "hex"), "end"],
    ["nothing", "", "end"],
  ];
  for (const [name, bytes, finish] of noises) {
    test(`${name}: no HTTP reply`, async () => {
      assert.ok(!(await plain(bytes, finish)).includes("HTTP/1.1"));
    });
  }
  test("plain HTTP leaves a line in the log", async () => {
    await assertLogged("TLS     handshake failed");
    await assertLogged(/^TLS: error:[0-9A-F]+:.*http request/);
  });
  test("TLS 1.1 is refused, 1.2 and 1.3 are not", async () => {
    const options = (version) => ({
      minVersion: version,
      maxVersion: version,
      ciphers: "DEFAULT@SECLEVEL=0",
    });
    await assert.rejects(openTls(options("TLSv1.1")));
    for (const version of ["TLSv1.2", "TLSv1.3"]) {
      const socket = await openTls(options(version));
      assert.equal(socket.getProtocol(), version);
      socket.destroy();
    }
  });
  test("a client that leaves after its handshake leaves no line", async () => {
    const count = async () => {
      await delay(300);
      const messages = await settledMessages();
      return messages.filter((text) => text === "TLS     handshake failed").length;
    };
    const before = await count();
    (await openTls()).destroy();
    (await openPlain()).destroy();
    assert.equal(await count(), before);
  });
});

describe("bytes that do not belong there", () => {
  const heads = [
    ["NUL in the path", "GET /api/sta\0tus HTTP/1.1\r\n\r\n", assertUnauthorized],
    ["NUL behind the path", "GET /api/status\0 HTTP/1.1\r\n\r\n", assertUnauthorized],
    ["NUL before the method", "\0GET /api/status HTTP/1.1\r\n\r\n", assertUnauthorized],
    ["a control byte in the path", "GET /\x01\x02\x1f HTTP/1.1\r\n\r\n", assertUnauthorized],
    ["DEL in the path", "GET /\x7f HTTP/1.1\r\n\r\n", assertUnauthorized],
    ["only NUL bytes", "\0\0\0\0\r\n\r\n", (reply) => assertPlain(reply, 400, "Bad Request")],
    ["a NUL in a header name", "GET /api/list HTTP/1.1\r\nCoo\0kie: x\r\n\r\n", assertUnauthorized],
    [
      "a NUL in a header value",
      `GET /api/list HTTP/1.1\r\nCookie: ${cookie}\0\r\n\r\n`,
      assertUnauthorized,
    ],
    [
      "control bytes in a header",
      "GET /api/list HTTP/1.1\r\n\x01: \x02\x03\r\n\r\n",
      assertUnauthorized,
    ],
    [
      "high bytes in a header",
      Buffer.from("GET /api/list HTTP/1.1\r\n\xff: \xfe\r\n\r\n", "latin1"),
      assertUnauthorized,
    ],
    ["a path of 500,000 bytes", `GET /${"p".repeat(500_000)} HTTP/1.1\r\n\r\n`, assertUnauthorized],
    [
      "500,000 parameters",
      `GET /api/list?${"&".repeat(500_000)} HTTP/1.1\r\n\r\n`,
      assertUnauthorized,
    ],
    [
      "a header line of 900,000 bytes",
      `GET /x HTTP/1.1\r\nX: ${"y".repeat(900_000)}\r\n\r\n`,
      assertUnauthorized,
    ],
    [
      "400,000 empty header names",
      `GET /x HTTP/1.1\r\n${":\r\n".repeat(300_000)}\r\n`,
      assertUnauthorized,
    ],
    ["colons only", "GET /x HTTP/1.1\r\n::::\r\n\r\n", assertUnauthorized],
    ["a lone CR in the request line", "GET\r/x\rHTTP/1.1\r\n\r\n", assertUnauthorized],
  ];
  for (const [name, head, check] of heads) {
    test(`${name}: an ordinary reply`, async () => check(await talk(head)));
  }

  const paths = [
    ["NUL", "%00"],
    ["NUL behind a name", "hostile%00"],
    ["control bytes", "%01%02%1F"],
    ["a line break", "a%0D%0AX:y"],
    ["invalid UTF-8", "%FF%FE%80"],
    ["a lone high surrogate", "%ED%A0%80"],
    ["a lone low surrogate", "%ED%B0%80"],
    ["a code point that is too high", "%F4%90%80%80"],
    ["a wildcard", "*"],
    ["quotes", "%22%22"],
    ["angle brackets", "%3C%3E"],
    ["a pipe", "%7C"],
  ];
  for (const [name, path] of paths) {
    test(`a path of ${name} is answered`, async () => {
      const statuses = [200, 400, 404];
      for (const route of ["/api/list", "/download", "/api/share"]) {
        const reply = await get(`${route}?path=${path}`, { cookie });
        assert.ok(statuses.includes(reply.status), `${route}: ${reply.statusLine}`);
        assert.ok(reply.lines.length <= 6);
      }
    });
  }
});

describe("names that are no UTF-8", () => {
  const names = [
    ["bytes that never occur", [0xff, 0xfe]],
    ["a cut sequence", [0xe2, 0x82]],
    ["an overlong slash", [0xc0, 0xaf]],
    ["a high surrogate", [0xed, 0xa0, 0x80]],
    ["a low surrogate", [0xed, 0xb0, 0x80]],
    ["a code point that is too high", [0xf4, 0x90, 0x80, 0x80]],
  ];
  names.forEach(([name, bytes], index) => {
    const text = (before, after) =>
      Buffer.concat([before, bytes, after].map((x) => Buffer.from(x)));
    test(`an upload named by ${name} is stored with replacement characters`, async () => {
      const { relative, names: stored } = freshFolder(`hostile/utf8-${index}`);
      const head = text('a; filename="', '.txt"');
      assertOk(await upload(`/upload?path=${relative}`, [{ head, data: "x" }], { cookie }));
      assert.match(stored().join("/"), /^\ufffd+\.txt$/);
      const listing = await get(`/api/list?path=${relative}`, { cookie });
      assert.match(JSON.parse(listing.body).items[0].name, /^\ufffd+\.txt$/);
    });
    test(`${name} in JSON is a name of nothing`, async () => {
      const one = text('{"path":"hostile","name":"', '"}');
      const many = text('{"path":"hostile","names":["', '"]}');
      assertJsonError(await post("/api/delete", one, { cookie }), 400, "Failed to delete");
      assertOk(
        await post("/api/delete_many", many, { cookie }),
        '{"ok":true,"deleted":0,"failed":1}',
      );
      assertJsonError(await post("/api/zip", many, { cookie }), 400, "No readable files to zip.");
    });
  });
  test("a NUL ends the name of an upload or refuses it", async () => {
    const { relative, names: stored } = freshFolder("hostile/zero");
    const parts = [{ filename: "a\0../../b.txt", data: "x" }];
    const reply = await upload(`/upload?path=${relative}`, parts, { cookie });
    if (reply.status === 200) assert.deepEqual(stored(), ["a"]);
    else assertJsonError(reply, 400, "Failed to write file");
  });
});

describe("lengths", () => {
  const lengths = [
    ["empty", ""],
    ["negative", "-1"],
    ["text", "abc"],
    ["2^64", "18446744073709551616"],
    ["2^64 - 1", "18446744073709551615"],
    ["30 digits", "9".repeat(30)],
    ["a plus sign", "+5"],
    ["hexadecimal", "0x10"],
    ["10 GiB", "10737418240"],
    ["a fraction", "1.5"],
  ];
  const routes = ["/api/login", "/api/mkdir", "/api/delete_many", "/api/zip"];
  for (const [name, length] of lengths) {
    test(`a Content-Length that is ${name} is answered when the client has ended`, async () => {
      for (const route of routes) {
        const socket = await openTls();
        const answer = collect(socket);
        const headers = { "Content-Length": length };
        socket.end(buildRequest("POST", route, { cookie, headers, body: '{"x":"y"}' }));
        const reply = parseReply(await answer);
        assertJsonError(
          reply,
          400,
          {
            "/api/login": "Code must be 6 digits",
            "/api/mkdir": "Missing name",
            "/api/delete_many": "Missing names[]",
            "/api/zip": "Missing names[]",
          }[route],
        );
      }
    });
  }
  for (const [name, length] of lengths.filter(([, text]) => /^-?\d{2,}|^-1/.test(text))) {
    test(`an upload whose Content-Length is ${name} ends with its form`, async () => {
      const headers = { "Content-Length": length };
      const parts = [{ filename: "length.txt", data: name }];
      assertOk(await upload("/upload?path=hostile", parts, { cookie, headers }));
      assert.equal(`${folder.read("length.txt")}`, name);
    });
  }
  test("a login that announces 10 GiB is refused after 64 KiB of it", async () => {
    const headers = { "Content-Length": 10_737_418_240 };
    const body = " ".repeat(200_000);
    const reply = await post("/api/login", body, { headers });
    assertJsonError(reply, 400, "Code must be 6 digits");
  });
  for (const boundary of ["", "b".repeat(10_000)]) {
    test(`a boundary of ${boundary.length} bytes ends like any other`, async () => {
      const parts = [{ filename: `b${boundary.length}`, data: "bounded" }];
      assertOk(await upload("/upload?path=hostile", parts, { cookie, boundary }));
      assert.equal(`${folder.read(`b${boundary.length}`)}`, "bounded");
    });
  }
  test("deeply nested JSON is answered", async () => {
    const body = '{"names":'.repeat(20_000) + "[".repeat(100_000);
    assertJsonError(await post("/api/zip", body, { cookie }), 400, "Missing names[]");
  });
  test("half a million quotes in JSON are answered", async () => {
    const body = `{"names":[${'""'.repeat(250_000)}`;
    const reply = await post("/api/delete_many", body, { cookie, timeout: 60_000 });
    assertOk(reply, '{"ok":true,"deleted":0,"failed":250000}');
  });
});

describe("resets", () => {
  const request = buildRequest("GET", "/download?path=hostile/large.bin", { cookie });
  const body = multipart("x", [{ filename: "reset.bin", data: Buffer.alloc(500_000, "r") }]);
  const form = buildRequest("POST", "/upload?path=hostile", {
    cookie,
    body,
    headers: { "Content-Type": "multipart/form-data; boundary=x" },
  });
  const zip = buildRequest("POST", "/api/zip", {
    cookie,
    body: '{"path":"hostile","names":["large.bin"]}',
  });
  const phases = [
    ["a login body", buildRequest("POST", "/api/login", { body: '{"code":"12' }).subarray(0, -5)],
    ["the request line", Buffer.from("GET /api")],
    ["the headers", Buffer.from("GET /api/status HTTP/1.1\r\nHost: x\r\n")],
    ["the wait for the reply", request],
    ["the head of a part", form.subarray(0, form.indexOf("filename"))],
    ["the data of a part", form.subarray(0, 300_000)],
    ["the closing delimiter", form.subarray(0, -6)],
    ["the building of an archive", zip],
    ["a JSON body", zip.subarray(0, -10)],
  ];
  test("files for them are there", () => folder.write("large.bin", Buffer.alloc(30_000_000)));
  for (const [name, bytes] of phases) {
    for (const how of ["resetAndDestroy", "destroy"]) {
      test(`${how === "destroy" ? "a close" : "a reset"} in ${name}`, async () => {
        const plainSocket = await openPlain();
        const socket = tls.connect({ socket: plainSocket, rejectUnauthorized: false });
        socket.on("error", () => {});
        await once(socket, "secureConnect");
        await new Promise((resolve) => {
          socket.write(bytes, resolve);
        });
        plainSocket[how]();
        socket.destroy();
      });
    }
  }
  test("a reset right after connecting", async () => (await openPlain()).resetAndDestroy());
  test("a reset in the middle of the handshake", async () => {
    const socket = await openPlain();
    socket.write(Buffer.from("16030100f5010000f1030300", "hex"));
    await delay(50);
    socket.resetAndDestroy();
  });
  test("a reset in the middle of a download", async () => {
    const plainSocket = await openPlain();
    const socket = tls.connect({ socket: plainSocket, rejectUnauthorized: false });
    socket.on("error", () => {});
    socket.write(request);
    await once(socket, "data");
    plainSocket.resetAndDestroy();
  });
});

describe("waiting clients", () => {
  test("none of them has kept another from being served", assertServed);
  silences.forEach(([name], index) => {
    test(`${name} is closed after 30 s`, { timeout: 60_000 }, async () => {
      const milliseconds = await closings[index];
      if (index === silences.length - 1) clearInterval(drip);
      assert.ok(milliseconds > 25_000 && milliseconds < 45_000, `${milliseconds} ms`);
    });
  });
});

test("a closed connection without a request gets no reply", async () => {
  const socket = await openTls();
  const answer = collect(socket);
  socket.end();
  assertSilent(parseReply(await answer));
});
