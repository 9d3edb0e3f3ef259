// Login with a PIN, the session cookie, and what the log says about it.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  assertJsonError,
  assertLogged,
  assertOk,
  assertReply,
  assertServed,
  assertUnauthorized,
  get,
  kJson,
  headerValue,
  login,
  post,
  postLogin,
  program,
  talk,
} from "../support/client.mjs";

const from = "127.0.0.40";
const cookiePattern =
  /^Set-Cookie: AUTH=[0-9a-f]{32}; Path=\/; Max-Age=28800; SameSite=Lax; Secure; HttpOnly$/;
const accepted = (reply) => assertReply(reply, 200, "OK", kJson, '{"ok":true}', [cookiePattern]);
const malformed = (reply) => assertJsonError(reply, 400, "Code must be 6 digits");
const pin = program.masterPin;

describe("codes", () => {
  test("the current PIN is accepted", async () => accepted(await postLogin(program.pin, { from })));

  test("the Master PIN is accepted", async () => {
    assert.notEqual(pin, program.pin);
    accepted(await postLogin(pin, { from }));
  });

  test("a success is logged with the address", async () => {
    accepted(await postLogin(pin, { from: "127.0.0.41" }));
    await assertLogged("AUTH    success from 127.0.0.41 (session issued)");
  });

  const bodies = [
    ["other members before it", `{"user":"x","code":"${pin}"}`],
    ["a nested object", `{"a":{"code":"${pin}"}}`],
    ["the first of two", `{"code":"${pin}","code":"000000"}`],
    ["white space before the value", `{"code":\r\n\t "${pin}"}`],
    ["white space before the colon", `{"code"  :"${pin}"}`],
    ["text between key and colon", `{"code" x y :"${pin}"}`],
    ["no closing quote", `{"code":"${pin}`],
    ["no braces", `"code":"${pin}"`],
    ["escapes that stand for themselves", `{"code":"${[...pin].map((d) => `\\${d}`).join("")}"}`],
    ["a key inside a string before it", `{"a":"\\"code\\"","code":"${pin}"}`],
    ["the key as a value before it", `{"a":"code","code":"${pin}"}`],
    ["text after it", `{"code":"${pin}"} and more`],
  ];
  for (const [name, body] of bodies) {
    test(`a body with ${name} is accepted`, async () => {
      accepted(await post("/api/login", body, { from }));
    });
  }

  const refused = [
    ["five digits", '{"code":"12345"}'],
    ["seven digits", '{"code":"1234567"}'],
    ["five digits and a letter", '{"code":"12345a"}'],
    ["six blanks", '{"code":"      "}'],
    ["a minus sign", '{"code":"-12345"}'],
    ["digits of another script", '{"code":"١٢٣"}'],
    ["a Unicode escape", `{"code":"\\u003${pin[0]}${pin.slice(1)}"}`],
    ["a line feed escape", '{"code":"\\n12345"}'],
    ["a bare number", '{"code":123456}'],
    ["an array", `{"code":["${pin}"]}`],
    ["null", '{"code":null}'],
    ["an empty string", '{"code":""}'],
    ["no member code", `{"Code":"${pin}"}`],
    ["an empty body", ""],
    ["a key without a colon", '{"code"}'],
    ["a form instead of JSON", `code=${pin}`],
    ["a leading blank", `{"code":" ${pin}"}`],
    ["a NUL byte in the code", '{"code":"12345\0"}'],
  ];
  for (const [name, body] of refused) {
    test(`${name}: 400, and no failure is counted`, async () => {
      for (let attempt = 0; attempt < 3; attempt += 1) {
        malformed(await post("/api/login", body, { from: "127.0.0.42" }));
      }
      accepted(await postLogin(pin, { from: "127.0.0.42" }));
    });
  }

  test("a wrong code is a 401 and is logged", async () => {
    assertJsonError(await postLogin(wrongPin(), { from: "127.0.0.43" }), 401, "Wrong code");
    await assertLogged("AUTH    failed login from 127.0.0.43");
  });
});

function wrongPin() {
  return ["000000", "111111", "222222"].find((text) => ![pin, program.pin].includes(text));
}

describe("length of the body", () => {
  const body = JSON.stringify({ code: pin });
  const send = (lengthLine, text = body) =>
    talk(`POST /api/login HTTP/1.1\r\n${lengthLine}\r\n${text}`, { from });

  test("a body without a Content-Length is read as far as it came with the head", async () => {
    accepted(await send(""));
  });
  test("a body longer than its Content-Length is read as far as it came", async () => {
    accepted(await send("Content-Length: 3\r\n"));
  });
  test("a Content-Length with text behind its digits is read by its digits", async () => {
    accepted(await send(`Content-Length: ${body.length}abc\r\n`));
  });
  test("a Content-Length that is text counts as 0", async () => {
    accepted(await send("Content-Length: abc\r\n"));
  });
  test("the first of two Content-Length headers counts", async () => {
    accepted(await send(`Content-Length: ${body.length}\r\nContent-Length: 999999\r\n`));
  });
  for (const piece of [1, 7]) {
    test(`a body in pieces of ${piece} bytes is assembled`, async () => {
      accepted(await postLogin(pin, { from, piece }));
    });
  }
  test("a body of 64 KiB is read", async () => {
    const long = body.padStart(65_536);
    accepted(await post("/api/login", long, { from }));
  });
  test("a longer body is refused like any other wrong code", async () => {
    malformed(await post("/api/login", body.padStart(65_537 + body.length), { from }));
    await assertServed();
  });
});

describe("cookie", async () => {
  const token = (await login({ from })).slice("AUTH=".length);
  const list = (cookie, headers) => get("/api/list?path=none", { cookie, headers });
  const valid = (reply) => assertJsonError(reply, 404, "Directory not found");

  const rows = [
    ["alone", `AUTH=${token}`, valid],
    ["after another item", `foo=1; AUTH=${token}`, valid],
    ["after another item without a blank", `foo=1;AUTH=${token}`, valid],
    ["before another item", `AUTH=${token}; foo=1`, valid],
    ["before a semicolon", `AUTH=${token};`, valid],
    ["after semicolons and blanks", `;; ; AUTH=${token}`, valid],
    ["after an item without a value", `foo; AUTH=${token}`, valid],
    ["first of two", `AUTH=${token}; AUTH=x`, valid],
    ["second of two", `AUTH=x; AUTH=${token}`, assertUnauthorized],
    ["with a longer name", `XAUTH=${token}`, assertUnauthorized],
    ["with a name in lower case", `auth=${token}`, assertUnauthorized],
    ["with a blank before the equals sign", `AUTH =${token}`, assertUnauthorized],
    ["with a blank before the token", `AUTH= ${token}`, assertUnauthorized],
    ["in quotes", `AUTH="${token}"`, assertUnauthorized],
    ["empty", "AUTH=", assertUnauthorized],
    ["cut short", `AUTH=${token.slice(0, 31)}`, assertUnauthorized],
    ["with a digit more", `AUTH=${token}0`, assertUnauthorized],
    ["in capitals", `AUTH=${token.toUpperCase()}`, assertUnauthorized],
    ["with a comma behind it", `AUTH=${token},foo=1`, assertUnauthorized],
  ];
  for (const [name, cookie, check] of rows) {
    const verdict = check === valid ? "is taken" : "is refused";
    test(`a token ${name} ${verdict}`, async () => check(await list(cookie)));
  }

  test("a token in another header is refused", async () => {
    assertUnauthorized(await list(undefined, { Authorization: `AUTH=${token}` }));
  });
  test("every login issues a token of its own and all of them stay valid", async () => {
    const cookies = [await login({ from }), await login({ from }), await login({ from })];
    assert.equal(new Set(cookies).size, 3);
    for (const cookie of [...cookies, `AUTH=${token}`]) valid(await list(cookie));
  });
  test("a session serves another address too", async () => {
    valid(await get("/api/list?path=none", { cookie: `AUTH=${token}`, from: "127.0.0.44" }));
  });
  test("an error reply sets no cookie", async () => {
    const reply = await postLogin("12345", { from });
    assert.equal(headerValue(reply, "Set-Cookie"), undefined);
  });
  test('a session opens "/" and a listing answers in JSON', async () => {
    const reply = await get("/api/list?path=", { cookie: `AUTH=${token}` });
    assertOk(reply, reply.body.toString());
    assert.match(reply.body.toString(), /^\{"ok":true,"items":\[/);
  });
});
