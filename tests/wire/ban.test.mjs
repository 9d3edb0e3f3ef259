// Wrong PINs, bans and the auto-login link. Every sequence comes from a loopback address of its own.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  assertJsonError,
  assertLogged,
  assertOk,
  assertReply,
  assertSilent,
  get,
  headerValue,
  kHtml,
  kJson,
  logMessages,
  login,
  post,
  postLogin,
  program,
} from "../support/client.mjs";

const wrong = ["000000", "111111", "222222"].find(
  (text) => ![program.masterPin, program.pin].includes(text),
);
const cookieLine =
  /^Set-Cookie: AUTH=[0-9a-f]{32}; Path=\/; Max-Age=28800; SameSite=Lax; Secure; HttpOnly$/;
const banText = "Too many attempts. IP blocked for 120 seconds.";

const card = (message) =>
  "<!doctype html><html><head><meta charset='utf-8'/>" +
  "<meta name='viewport' content='width=device-width, initial-scale=1'/>" +
  "<title>Harbinet PRO</title><style>" +
  "body{font-family:Segoe UI,system-ui,sans-serif;padding:22px;background:#fff;color:#111}" +
  ".card{max-width:520px;border:1px solid #ddd;border-radius:12px;padding:16px}" +
  ".err{color:#b00020;font-weight:600}" +
  "a{color:#0066cc;text-decoration:none} a:hover{text-decoration:underline}" +
  "</style></head><body><div class='card'><h2 style='margin:0 0 10px 0;'>Harbinet PRO</h2>" +
  `<div class='err'>${message}</div>` +
  "<div style='margin-top:12px;'><a href='/'>Back to login</a></div></div></body></html>";
const redirect =
  "<!doctype html><html><head><meta charset='utf-8'/>" +
  "<meta http-equiv='refresh' content='0; url=/'/></head><body></body></html>";

const auto = (query, from) => get(`/auto${query}`, { from });
const htmlError = (reply, status, message) =>
  assertReply(reply, status, "Error", kHtml, card(message));
const assertRedirect = (reply) => assertReply(reply, 200, "OK", kHtml, redirect, [cookieLine]);

async function failLogin(from) {
  assertJsonError(await postLogin(wrong, { from }), 401, "Wrong code");
}
async function failAuto(from) {
  htmlError(await auto(`?pin=${wrong}`, from), 401, "Invalid PIN.");
}
async function ban(from) {
  await failLogin(from);
  await failLogin(from);
  assertJsonError(await postLogin(wrong, { from }), 429, banText);
}

describe("three wrong codes", () => {
  const from = "127.0.0.50";
  test("give 401, 401 and 429", () => ban(from));

  test("are logged, the third with an alert", async () => {
    await assertLogged(`AUTH    failed login from ${from}`, 2);
    await assertLogged(`AUTH    >>>>>>  ALERT <<<<<<<  failed 3x => IP banned 2 min: ${from}`);
  });
  test("a further login gets no reply at all", async () => {
    assertSilent(await postLogin(wrong, { from }));
    const pattern = new RegExp(`^AUTH {4}blocked IP ${from} \\((1[01]\\d|120)s remaining\\)$`);
    await assertLogged(pattern);
  });
  test("the right PIN gets no reply either", async () => {
    assertSilent(await postLogin(program.pin, { from }));
    assertSilent(await postLogin(program.masterPin, { from }));
  });
  test("a malformed code gets no reply either", async () => {
    assertSilent(await postLogin("1", { from }));
    assertSilent(await post("/api/login", "", { from }));
  });
  test("/auto answers with the seconds that are left", async () => {
    const reply = await auto(`?pin=${program.pin}`, from);
    const seconds = Number(/blocked for (\d+) seconds/.exec(reply.body.toString())?.[1]);
    assert.ok(seconds > 60 && seconds <= 120, `${seconds} s`);
    htmlError(reply, 429, `Too many attempts. IP blocked for ${seconds} seconds.`);
    assert.equal(headerValue(reply, "Set-Cookie"), undefined);
    const pattern = new RegExp(`^AUTH {4}/auto blocked IP ${from} \\(\\d+s remaining\\)$`);
    await assertLogged(pattern);
  });
  test("the status and the login page are still served", async () => {
    assertOk(await get("/api/status", { from }), `{"running":true,"port":${program.port}}`);
    assertReply(await get("/", { from }), 200, "OK", kHtml);
  });
  test("a valid session still opens protected routes", async () => {
    const cookie = await login({ from: "127.0.0.51" });
    assertJsonError(await get("/api/list?path=..", { from, cookie }), 400, "Invalid path");
  });
  test("another address is not banned", async () => {
    assertReply(
      await postLogin(program.pin, { from: "127.0.0.51" }),
      200,
      "OK",
      kJson,
      '{"ok":true}',
      [cookieLine],
    );
  });
});

describe("three wrong links", () => {
  const from = "127.0.0.52";
  test("give 401, 401 and 429 as pages", async () => {
    await failAuto(from);
    await failAuto(from);
    htmlError(await auto(`?pin=${wrong}`, from), 429, banText);
  });
  test("are logged, each with its request", async () => {
    await assertLogged(`AUTH    request FROM ${from}`, 3);
    await assertLogged(`AUTH    /auto wrong PIN from ${from}`, 2);
    await assertLogged(`AUTH  >>>>>>  ALERT <<<<<<< /auto failed 3x => IP banned 2 min: ${from}`);
  });
  test("ban the login too", async () => {
    assertSilent(await postLogin(program.pin, { from }));
  });
  test("the request line is logged for a banned address as well", async () => {
    await auto("", from);
    await assertLogged(`AUTH    request FROM ${from}`, 4);
  });
});

describe("both ways count together", () => {
  test("login, link, login", async () => {
    const from = "127.0.0.53";
    await failLogin(from);
    await failAuto(from);
    assertJsonError(await postLogin(wrong, { from }), 429, banText);
  });
  test("login, login, link", async () => {
    const from = "127.0.0.54";
    await failLogin(from);
    await failLogin(from);
    htmlError(await auto(`?pin=${wrong}`, from), 429, banText);
  });
});

describe("a success in the middle of a count", () => {
  test("by login forgets the failures", async () => {
    const from = "127.0.0.55";
    await failLogin(from);
    await failLogin(from);
    await login({ from });
    await failLogin(from);
    await failLogin(from);
    assertJsonError(await postLogin(wrong, { from }), 429, banText);
  });
  test("by link forgets the failures", async () => {
    const from = "127.0.0.56";
    await failAuto(from);
    await failLogin(from);
    assertRedirect(await auto(`?pin=${program.pin}`, from));
    await failAuto(from);
    await failLogin(from);
    htmlError(await auto(`?pin=${wrong}`, from), 429, banText);
  });
});

describe("auto-login link", () => {
  const escaped = (text) => [...text].map((digit) => `%3${digit}`).join("");
  const accepted = [
    ["the current PIN", `?pin=${program.pin}`],
    ["the Master PIN", `?pin=${program.masterPin}`],
    ["a PIN in percent escapes", `?pin=${escaped(program.pin)}`],
    ["a PIN after other parameters", `?x=1&pin=${program.pin}&pin=1`],
  ];
  for (const [name, query] of accepted) {
    test(`${name} sets the cookie and leads to "/"`, async () => {
      const reply = await auto(query, "127.0.0.57");
      assertRedirect(reply);
      const cookie = headerValue(reply, "Set-Cookie").split(";")[0];
      assertJsonError(await get("/api/list?path=..", { cookie }), 400, "Invalid path");
    });
  }
  test("a success writes no line but the request", async () => {
    const from = "127.0.0.58";
    assertRedirect(await auto(`?pin=${program.pin}`, from));
    await assertLogged(`AUTH    request FROM ${from}`);
    const lines = (await logMessages()).filter((text) => text.includes(from));
    assert.deepEqual(lines, [`AUTH    request FROM ${from}`]);
  });

  const refused = [
    ["no pin", ""],
    ["an empty pin", "?pin="],
    ["a name in capitals", `?PIN=${program.pin}`],
    ["letters", "?pin=abc"],
    ["a blank behind the PIN", `?pin=${program.pin}+`],
    ["a digit more", `?pin=${program.pin}0`],
    ["a digit less", `?pin=${program.pin.slice(1)}`],
    ["a PIN and a NUL", `?pin=${program.pin}%00`],
    ["the PIN escaped twice", `?pin=${escaped(program.pin).replaceAll("%", "%25")}`],
  ];
  refused.forEach(([name, query], index) => {
    test(`${name} is a wrong PIN`, async () => {
      htmlError(await auto(query, `127.0.0.${60 + index}`), 401, "Invalid PIN.");
    });
  });
  test("text of any form counts towards a ban", async () => {
    const from = "127.0.0.70";
    htmlError(await auto("", from), 401, "Invalid PIN.");
    htmlError(await auto("?pin=x", from), 401, "Invalid PIN.");
    htmlError(await auto("?pin=", from), 429, banText);
  });
});

describe("addresses", () => {
  test("IPv6 loopback is an address of its own", async () => {
    const to = "::1";
    for (let attempt = 0; attempt < 2; attempt += 1) {
      assertJsonError(await postLogin(wrong, { to }), 401, "Wrong code");
    }
    assertJsonError(await postLogin(wrong, { to }), 429, banText);
    assertSilent(await postLogin(program.pin, { to }));
    await assertLogged("AUTH    >>>>>>  ALERT <<<<<<<  failed 3x => IP banned 2 min: ::1");
    await login({ from: "127.0.0.1" });
  });
  test("a mapped address and the plain one are the same client", async () => {
    const from = "127.0.0.71";
    await failLogin(from);
    await failLogin(from);
    const mapped = { from: `::ffff:${from}`, to: "::ffff:127.0.0.1" };
    assertJsonError(await postLogin(wrong, mapped), 429, banText);
    assertSilent(await postLogin(program.pin, { from }));
  });
  test("four failures at once ban once", async () => {
    const from = "127.0.0.72";
    const replies = await Promise.all([1, 2, 3, 4].map(() => postLogin(wrong, { from })));
    const statuses = replies.map((reply) => reply.status).sort();
    assert.equal(statuses.filter((status) => status === 429).length, 1);
    const alert = `AUTH    >>>>>>  ALERT <<<<<<<  failed 3x => IP banned 2 min: ${from}`;
    await assertLogged(alert);
    assert.equal((await logMessages()).filter((text) => text === alert).length, 1);
  });
});
