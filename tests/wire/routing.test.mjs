// Which request reaches which route, with and without a session.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import {
  assertJsonError,
  assertNotFound,
  assertOk,
  assertPlain,
  assertReply,
  assertUnauthorized,
  get,
  kHtml,
  login,
  program,
  request,
} from "../support/client.mjs";

const cookie = await login();
const unknown = "ab".repeat(32);

describe("public routes", () => {
  test("GET /api/status tells state and port", async () => {
    assertOk(await get("/api/status"), `{"running":true,"port":${program.port}}`);
  });

  test("GET /api/status ignores a wrong cookie", async () => {
    const reply = await get("/api/status", { cookie: "AUTH=wrong" });
    assertOk(reply, `{"running":true,"port":${program.port}}`);
  });

  test("GET / without a session is the login page", async () => {
    const reply = await get("/");
    assertReply(reply, 200, "OK", kHtml);
    assert.match(reply.body.toString(), /\/api\/login/);
  });

  test("GET / with a session is the file manager page", async () => {
    const reply = await get("/", { cookie });
    assertReply(reply, 200, "OK", kHtml);
    assert.match(reply.body.toString(), /\/api\/list/);
    assert.doesNotMatch(reply.body.toString(), /\/api\/login/);
  });

  test("GET / with an unknown session is the login page", async () => {
    const [wrong, none] = [await get("/", { cookie: `AUTH=${"0".repeat(32)}` }), await get("/")];
    assert.ok(wrong.body.equals(none.body));
  });

  test("GET /d/ with an unknown token is gone", async () => {
    assertPlain(await get(`/d/${unknown}`), 410, "Gone", "Link expired or invalid");
  });

  test("GET /auto without a PIN is an HTML error", async () => {
    const reply = await get("/auto", { from: "127.0.0.31" });
    assert.equal(reply.statusLine, "HTTP/1.1 401 Error");
  });
});

describe("link paths", () => {
  const gone = (reply) => assertPlain(reply, 410, "Gone", "Link expired or invalid");
  const rows = [
    ["GET", "/s/", assertNotFound],
    ["GET", "/s/short", assertNotFound],
    ["GET", `/s/${"a".repeat(31)}`, assertNotFound],
    ["GET", `/s/${"a".repeat(32)}`, gone],
    ["GET", `/s/${"a".repeat(63)}`, gone],
    ["GET", `/s/${unknown}`, gone],
    ["GET", `/s/${unknown}/x`, gone],
    ["GET", `/s/${"a".repeat(10)}/${"a".repeat(21)}`, gone],
    ["GET", "/s", assertUnauthorized],
    ["GET", "/S/short", assertUnauthorized],
    ["POST", `/s/${unknown}`, assertUnauthorized],
    ["HEAD", `/s/${unknown}`, assertUnauthorized],
    ["GET", "/d/", gone],
    ["GET", "/d/x", gone],
    ["GET", `/d/${unknown}/api/list`, gone],
    ["GET", `/d/${unknown}/none`, gone],
    ["GET", "/d", assertUnauthorized],
    ["POST", "/d/", assertUnauthorized],
    ["POST", "/d/x", gone],
    ["POST", `/d/${unknown}/upload`, gone],
    ["POST", `/d/${unknown}/none`, gone],
    ["PUT", `/d/${unknown}/upload`, assertUnauthorized],
    ["DELETE", `/d/${unknown}`, assertUnauthorized],
  ];
  for (const [method, target, check] of rows) {
    const status = { assertNotFound: 404, assertUnauthorized: 401 }[check.name] ?? 410;
    test(`${method} ${target.slice(0, 24)} (${target.length} characters) gives ${status}`, async () => {
      check(await request(method, target));
    });
  }

  test("POST /d/ is too short for a link and ends in 404 with a session", async () => {
    assertNotFound(await request("POST", "/d/", { cookie }));
  });
});

// Everything behind the gate: 401 without a session whatever the method, and 404 with a session
// unless the method is the route's own.
describe("login gate", () => {
  const guarded = [
    ["GET", "/api/share"],
    ["GET", "/api/list"],
    ["GET", "/download"],
    ["POST", "/upload"],
    ["POST", "/api/mkdir"],
    ["POST", "/api/rmdir"],
    ["POST", "/api/delete"],
    ["POST", "/api/delete_many"],
    ["POST", "/api/zip"],
  ];
  for (const [method, target] of guarded) {
    const other = method === "GET" ? "POST" : "GET";
    test(`${method} ${target} without a session is unauthorized`, async () => {
      assertUnauthorized(await request(method, target));
    });
    test(`${method} ${target} with an unknown session is unauthorized`, async () => {
      assertUnauthorized(await request(method, target, { cookie: `AUTH=${"0".repeat(32)}` }));
    });
    test(`${other} ${target} without a session is unauthorized`, async () => {
      assertUnauthorized(await request(other, target));
    });
    test(`${other} ${target} with a session is not found`, async () => {
      assertNotFound(await request(other, target, { cookie }));
    });
  }

  const elsewhere = [
    ["GET", "/API/LIST"],
    ["GET", "/api/list/"],
    ["GET", "//"],
    ["GET", "/index.html"],
    ["GET", "/api"],
    ["GET", "/favicon.ico"],
    ["POST", "/"],
    ["HEAD", "/"],
    ["POST", "/auto"],
    ["POST", "/api/status"],
    ["GET", "/Auto"],
    ["OPTIONS", "*"],
    ["PUT", "/upload"],
    ["DELETE", "/api/delete"],
    ["GET", "/.."],
    ["GET", "/api/../api/status"],
    ["BREW", "/coffee"],
    ["GET", "no-slash"],
  ];
  for (const [method, target] of elsewhere) {
    test(`${method} ${target} is unauthorized, and not found with a session`, async () => {
      assertUnauthorized(await request(method, target));
      assertNotFound(await request(method, target, { cookie }));
    });
  }

  for (const method of ["GET", "PUT", "HEAD", "DELETE"]) {
    test(`${method} /api/login passes the gate and is not found`, async () => {
      assertNotFound(await request(method, "/api/login"));
      assertNotFound(await request(method, "/api/login", { cookie }));
    });
  }

  test("the gate comes before the checks of a route", async () => {
    assertUnauthorized(await get("/api/list?path=.."));
    assertJsonError(await get("/api/list?path=..", { cookie }), 400, "Invalid path");
  });

  test("an upload without a session gets its 401 although the body is still unread", async () => {
    const reply = await request("POST", "/upload", { body: Buffer.alloc(3_000_000, "x") });
    assertUnauthorized(reply);
  });
});
