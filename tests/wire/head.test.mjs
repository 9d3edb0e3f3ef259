// Reading and parsing of request heads.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  assertJsonError,
  assertOk,
  assertPlain,
  assertReply,
  assertServed,
  assertSilent,
  assertUnauthorized,
  buildRequest,
  collect,
  delay,
  encode,
  freshFolder,
  get,
  kHtml,
  login,
  openTls,
  parseReply,
  postLogin,
  program,
  talk,
} from "../support/client.mjs";

const cookie = await login();
const running = `{"running":true,"port":${program.port}}`;
const folder = freshFolder("head");
folder.write("a.txt", "a");
const listing = '{"ok":true,"items":[{"name":"a.txt","type":"file","size":1}]}';

describe("request line", () => {
  const accepted = [
    ["three words", "GET /api/status HTTP/1.1\r\n\r\n"],
    ["more than one blank between the words", "GET   /api/status    HTTP/1.1\r\n\r\n"],
    ["tabs between the words", "GET\t/api/status\tHTTP/1.1\r\n\r\n"],
    ["blanks before the first word", "  GET /api/status HTTP/1.1\r\n\r\n"],
    ["a fourth word", "GET /api/status HTTP/1.1 more\r\n\r\n"],
    ["blanks at the end of the line", "GET /api/status HTTP/1.1  \r\n\r\n"],
    ["an unknown version", "GET /api/status HTTP/9.9\r\n\r\n"],
    ["a version that is any word", "GET /api/status x\r\n\r\n"],
    ["a line that ends with LF alone", "GET /api/status HTTP/1.1\nHost: x\r\n\r\n"],
    ["no header at all", "GET /api/status HTTP/1.0\r\n\r\n"],
    ["a query", "GET /api/status?x=1 HTTP/1.1\r\n\r\n"],
    ["an empty query", "GET /api/status? HTTP/1.1\r\n\r\n"],
  ];
  for (const [name, head] of accepted) {
    test(`${name}: is served`, async () => assertOk(await talk(head), running));
  }

  const refused = [
    ["two words", "GET /api/status\r\n\r\n"],
    ["one word", "GET\r\n\r\n"],
    ["no word", "\r\n\r\n"],
    ["only blanks", "   \t \r\n\r\n"],
    ["two words and the third on the next line", "GET /api/status\r\nHTTP/1.1\r\n\r\n"],
    ["two words before a lone LF", "GET /api/status\nHTTP/1.1\r\n\r\n"],
  ];
  for (const [name, head] of refused) {
    test(`${name}: 400 Bad Request in plain text`, async () => {
      assertPlain(await talk(head), 400, "Bad Request");
    });
  }

  const gated = [
    ["a method in lower case", "get /api/status HTTP/1.1\r\n\r\n"],
    ["an escaped path", "GET /api%2Fstatus HTTP/1.1\r\n\r\n"],
    ["an escaped letter in the path", "GET /api/statu%73 HTTP/1.1\r\n\r\n"],
    ["a whole address as the target", "GET https://localhost/api/status HTTP/1.1\r\n\r\n"],
    ["a fragment in the path", "GET /api/status#x HTTP/1.1\r\n\r\n"],
  ];
  for (const [name, head] of gated) {
    test(`${name}: is another route`, async () => assertUnauthorized(await talk(head)));
  }
});

describe("headers", () => {
  const list = (lines) => talk(`GET /api/list?path=head HTTP/1.1\r\n${lines}\r\n\r\n`);
  const accepted = [
    ["the name in lower case", `cookie: ${cookie}`],
    ["the name in upper case", `COOKIE: ${cookie}`],
    ["no blank after the colon", `Cookie:${cookie}`],
    ["blanks and tabs before the value", `Cookie: \t  ${cookie}`],
    ["a line without a colon before it", `no colon here\r\nCookie: ${cookie}`],
    ["a line with an empty name before it", `: x\r\nCookie: ${cookie}`],
    ["lines that end with LF alone", `Host: x\nCookie: ${cookie}\nX: y`],
    ["a second cookie header after it", `Cookie: ${cookie}\r\nCookie: AUTH=other`],
    ["a colon in the value", `X-A: b:c\r\nCookie: ${cookie}`],
  ];
  for (const [name, lines] of accepted) {
    test(`${name}: the cookie is read`, async () => assertOk(await list(lines), listing));
  }

  const unread = [
    ["a cookie header before it", `Cookie: AUTH=other\r\nCookie: ${cookie}`],
    ["a blank behind the value", `Cookie: ${cookie} `],
    ["a tab behind the value", `Cookie: ${cookie}\t`],
    ["a blank before the colon", `Cookie : ${cookie}`],
    ["a blank before the name", ` Cookie: ${cookie}`],
    ["an empty line of LF alone before it", `Host: x\n\nCookie: ${cookie}`],
    ["a value that is folded over two lines", `Cookie:\r\n ${cookie}`],
  ];
  for (const [name, lines] of unread) {
    test(`${name}: the cookie is not read`, async () => assertUnauthorized(await list(lines)));
  }

  test("10,000 headers are read to the last one", async () => {
    const many = Array.from({ length: 10_000 }, (_, index) => `X-${index}: ${index}`).join("\r\n");
    assertOk(await list(`${many}\r\nCookie: ${cookie}`), listing);
  });
});

describe("pieces", () => {
  for (const piece of [1, 7, 1000]) {
    test(`a request in pieces of ${piece} bytes is assembled`, async () => {
      const padding = { "X-Padding": "p".repeat(piece === 1 ? 100 : 3000) };
      const target = "/api/list?path=head";
      assertOk(await get(target, { cookie, headers: padding, piece }), listing);
    });
  }

  test("a head in two pieces with a pause between them is assembled", async () => {
    const socket = await openTls();
    const answer = collect(socket);
    socket.write("GET /api/status HTTP/1.1\r\n\r");
    await delay(300);
    socket.write("\n");
    assertOk(parseReply(await answer), running);
  });

  test("body bytes that come with the head count against the Content-Length", async () => {
    const head = 'POST /api/login HTTP/1.1\r\nContent-Length: 17\r\n\r\n{"code"';
    const socket = await openTls();
    const answer = collect(socket);
    socket.write(head);
    await delay(200);
    socket.write(':"12345x"}');
    assertJsonError(parseReply(await answer), 400, "Code must be 6 digits");
  });

  test("a second request on the same connection gets no reply", async () => {
    const one = buildRequest("GET", "/api/status");
    assertOk(await talk(Buffer.concat([one, one])), running);
  });
});

describe("size of the head", () => {
  const padded = (total, end) => {
    const start = "GET /api/status HTTP/1.1\r\nX: ";
    return start + "x".repeat(total - start.length - end.length) + end;
  };

  test("a head of exactly 1 MiB is served", async () => {
    assertOk(await talk(padded(1_048_576, "\r\n\r\n")), running);
  });

  test("1 MiB and one byte without an end is closed without a reply", async () => {
    assertSilent(await talk(padded(1_048_577, "x")));
    await assertServed();
  });

  test("a connection that is closed after half a head gets no reply", async () => {
    const socket = await openTls();
    const answer = collect(socket);
    socket.end("GET /api/status HTTP/1.1\r\nHost: x\r\n");
    assertSilent(parseReply(await answer));
    await assertServed();
  });
});

describe("query", () => {
  const queried = freshFolder("head-query");
  queried.makeFolder("a b");
  queried.makeFolder("J+K");
  queried.makeFolder("%4G");
  queried.makeFolder("end%4");
  queried.makeFolder("AJ");
  queried.makeFolder("a=b");
  queried.makeFolder("what");
  queried.makeFolder("ü");
  const empty = '{"ok":true,"items":[]}';
  const missing = '{"ok":false,"error":"Directory not found"}';
  const rows = [
    ["a plus sign is a blank", "path=head-query/a+b", empty],
    ["%20 is a blank", "path=head-query/a%20b", empty],
    ["%2B is a plus sign", "path=head-query/J%2BK", empty],
    ["hexadecimal digits of either case", "path=head-query/%41%4a", empty],
    ["%2f and %5C separate folders", "path=head-query%2fa%5C..", null],
    ["a percent sign without two digits stays", "path=head-query/%4G", empty],
    ["a percent sign at the end stays", "path=head-query/end%4", empty],
    ["UTF-8 in escapes", "path=head-query/%C3%BC", empty],
    ["UTF-8 as raw bytes", "path=head-query/ü", empty],
    [
      "the first of two items of one name counts",
      "path=head-query/what&path=head-query/none",
      empty,
    ],
    [
      "a longer name that begins alike is another item",
      "paths=head/none&path=head-query/what",
      empty,
    ],
    [
      "a longer name that ends alike is another item",
      "xpath=head-query/none&path=head-query/what",
      empty,
    ],
    ["an item without a value is passed over", "path&path=head-query/what", empty],
    ["empty items are passed over", "&&path=head-query/what&", empty],
    ["an equals sign in the value stays", "path=head-query/a=b", empty],
    ["the name is case-sensitive", "PATH=head/none&path=head-query/what", empty],
    ["an escaped name is another item", "p%61th=head/none&path=head-query/what", empty],
    [
      "an escaped ampersand is part of the value",
      "path=head-query/what%26path=head-query",
      missing,
    ],
    ["a second question mark is part of the value", "path=head-query/what?x", missing],
  ];
  for (const [name, query, body] of rows) {
    test(name, async () => {
      const reply = await get(`/api/list?${query}`, { cookie });
      if (body === null) assertJsonError(reply, 400, "Invalid path");
      else if (body === missing) assertJsonError(reply, 404, "Directory not found");
      else assertOk(reply, body);
    });
  }

  test('"/" with a query is "/"', async () => {
    const [plain, query] = [await get("/"), await get(`/?a=${encode("ü?/")}`)];
    assertReply(query, 200, "OK", kHtml, plain.body);
  });
});

test("a login in one record answers like one in many", async () => {
  const whole = await postLogin("12345", { from: "127.0.0.21" });
  const cut = await postLogin("12345", { from: "127.0.0.21", piece: 3 });
  assertJsonError(whole, 400, "Code must be 6 digits");
  assert.equal(cut.body.toString(), whole.body.toString());
});
