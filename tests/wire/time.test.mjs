// What ends after a time: bans, the memory of failures, sessions and share links. The program runs with a clock that
// these tests move.
// @program movable-clock
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  assertAttachment,
  assertJsonError,
  assertLogged,
  assertPlain,
  assertSilent,
  assertUnauthorized,
  freshFolder,
  get,
  headerValue,
  login,
  postLogin,
  program,
} from "../support/client.mjs";

const wrong = program.pin === "000000" ? "111111" : "000000";
const folder = freshFolder("time");
folder.write("a.txt", "shared");

const fails = async (from, status = 401) => {
  const message = status === 401 ? "Wrong code" : "Too many attempts. IP blocked for 120 seconds.";
  assertJsonError(await postLogin(wrong, { from }), status, message);
};
async function ban(from) {
  await fails(from);
  await fails(from);
  await fails(from, 429);
}

test("the Date of a reply follows the clock", async () => {
  program.advanceClock(1000);
  const date = Date.parse(headerValue(await get("/api/status"), "Date"));
  assert.ok(Math.abs(date - Date.now() - 1_000_000) < 5000);
});

describe("a ban", () => {
  test("lasts 120 seconds and counts them down", async () => {
    const from = "127.0.0.101";
    await ban(from);
    program.advanceClock(60);
    const page = (await get("/auto", { from })).body.toString();
    const left = Number(/blocked for (\d+) seconds/.exec(page)[1]);
    assert.ok(left >= 55 && left <= 60, page);
    program.advanceClock(55);
    assertSilent(await postLogin(program.pin, { from }));
    program.advanceClock(6);
    assert.equal((await postLogin(program.pin, { from })).status, 200);
  });

  test("is followed by a count that starts again", async () => {
    const from = "127.0.0.102";
    await ban(from);
    program.advanceClock(121);
    await ban(from);
    assertSilent(await postLogin(program.pin, { from }));
  });

  test("is not made longer by further attempts", async () => {
    const from = "127.0.0.103";
    await ban(from);
    program.advanceClock(100);
    assertSilent(await postLogin(wrong, { from }));
    program.advanceClock(21);
    await fails(from);
  });
});

describe("failures", () => {
  test("are remembered for ten minutes", async () => {
    const from = "127.0.0.104";
    await fails(from);
    await fails(from);
    program.advanceClock(600);
    await fails(from, 429);
  });

  test("are remembered for 890 seconds after the last one", async () => {
    const from = "127.0.0.105";
    await fails(from);
    program.advanceClock(890);
    await fails(from);
    program.advanceClock(890);
    await fails(from, 429);
  });

  test("are forgotten after 901 seconds", async () => {
    const from = "127.0.0.106";
    await fails(from);
    await fails(from);
    program.advanceClock(901);
    await fails(from);
    await fails(from);
    await fails(from, 429);
    await assertLogged(`AUTH    failed login from ${from}`, 4);
  });
});

describe("a session", () => {
  const opens = async (cookie) =>
    assertJsonError(await get("/api/list?path=..", { cookie }), 400, "Invalid path");

  test("ends 8 hours after the login, used or not", async () => {
    const cookie = await login();
    const unused = await login();
    await opens(cookie);
    program.advanceClock(28_790);
    await opens(cookie);
    program.advanceClock(11);
    for (const ended of [cookie, unused]) {
      assertUnauthorized(await get("/api/list?path=..", { cookie: ended }));
      const page = await get("/", { cookie: ended });
      assert.ok(page.body.equals((await get("/")).body), "the login page is shown again");
    }
  });

  test("that is newer outlives an older one", async () => {
    const older = await login();
    program.advanceClock(14_400);
    const newer = await login();
    program.advanceClock(14_401);
    assertUnauthorized(await get("/api/list?path=..", { cookie: older }));
    await opens(newer);
  });
});

describe("a share link", () => {
  test("ends 24 hours after it was made, and for good", async () => {
    const cookie = await login();
    const reply = await get("/api/share?path=time/a.txt", { cookie });
    const link = JSON.parse(reply.body).path;
    program.advanceClock(86_390);
    assertAttachment(await get(link), "a.txt", "shared");
    program.advanceClock(11);
    const gone = (answer) => assertPlain(answer, 410, "Gone", "Link expired or invalid");
    gone(await get(link));
    program.advanceClock(-86_000);
    gone(await get(link));
  });

  test("to a folder ends with everything in it", async () => {
    const cookie = await login();
    const link = JSON.parse((await get("/api/share?path=time", { cookie })).body).path;
    program.advanceClock(86_401);
    for (const sub of ["", "/", "/api/list", "/download?name=a.txt"]) {
      assertPlain(await get(link + sub), 410, "Gone", "Link expired or invalid");
    }
  });
});
