// Share links: making them, and what their holders may do.
import assert from "node:assert/strict";
import fs from "node:fs";
import { describe, test } from "node:test";

import { joinedPaths, refusedPaths } from "./paths.mjs";
import {
  assertAttachment,
  assertJsonError,
  assertLogged,
  assertNotFound,
  assertOk,
  assertPlain,
  assertReply,
  assertUnauthorized,
  encode,
  freshFolder,
  get,
  kHtml,
  kJson,
  login,
  post,
  postJson,
  program,
  request,
  talk,
  upload,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("share");
const share = (target, options) => get(`/api/share?path=${target}`, { cookie, ...options });
const gone = (reply) => assertPlain(reply, 410, "Gone", "Link expired or invalid");

async function linkOf(target) {
  const reply = await share(target);
  assert.equal(reply.status, 200, `${reply.bytes}`);
  return JSON.parse(reply.body).path;
}
const fileLink = (name) => linkOf(`share/${encode(name)}`);

folder.write("a.txt", "shared content");
folder.makeFolder("open/sub");

describe("/api/share", () => {
  const shape = (kind, letter, host) =>
    new RegExp(
      `^\\{"ok":true,"path":"(/${letter}/[0-9a-f]{64})","url":"https://${host}\\1",` +
        `"kind":"${kind}","ttlSeconds":86400\\}$`,
    );

  test("a file gives a file link", async () => {
    const reply = await share("share/a.txt");
    assertOk(reply, reply.body.toString());
    assert.match(reply.body.toString(), shape("file", "s", `127.0.0.1:${program.port}`));
  });
  test("a folder gives a folder link", async () => {
    const reply = await share("share/open");
    assertOk(reply, reply.body.toString());
    assert.match(reply.body.toString(), shape("dir", "d", `127.0.0.1:${program.port}`));
  });
  test("the host is taken as it was sent", async () => {
    const reply = await share("share/a.txt", { headers: { Host: "ü.example:1" } });
    assert.match(reply.body.toString(), shape("file", "s", "ü.example:1"));
  });
  test("the host is escaped for JSON", async () => {
    const reply = await share("share/a.txt", { headers: { Host: 'a"b\\c' } });
    assert.match(reply.body.toString(), /"url":"https:\/\/a\\"b\\\\c\/s\//);
  });
  const hostless = [
    ["no host", ""],
    ["an empty host", "Host:\r\n"],
  ];
  for (const [name, line] of hostless) {
    test(`${name} gives an empty url`, async () => {
      const reply = await talk(
        `GET /api/share?path=share/a.txt HTTP/1.1\r\n${line}Cookie: ${cookie}\r\n\r\n`,
      );
      assert.match(
        reply.body.toString(),
        /^\{"ok":true,"path":"\/s\/[0-9a-f]{64}","url":"","kind"/,
      );
    });
  }
  test("two links to one file differ and both work", async () => {
    const links = [await fileLink("a.txt"), await fileLink("a.txt")];
    assert.notEqual(links[0], links[1]);
    for (const link of links) assertAttachment(await get(link), "a.txt", "shared content");
  });
  const rootPaths = [
    ["no path", "/api/share"],
    ["an empty path", "/api/share?path="],
    ["a slash", "/api/share?path=/"],
    ["a backslash", "/api/share?path=%5C"],
  ];
  for (const [name, target] of rootPaths) {
    test(`${name} is the web root and cannot be shared`, async () => {
      assertJsonError(await get(target, { cookie }), 500, "Failed to create token");
    });
  }
  for (const [name, target] of refusedPaths) {
    test(`${name} (${target}): 400 Invalid path`, async () => {
      assertJsonError(await share(target), 400, "Invalid path");
    });
  }
  for (const [name, target] of joinedPaths.slice(0, 6)) {
    test(`${name} (${target}): 404 below the web root`, async () => {
      assertJsonError(await share(target), 404, "Not found");
    });
  }
  test("a missing path is not found", async () => {
    assertJsonError(await share("share/none"), 404, "Not found");
  });
});

describe("file link", () => {
  test("downloads without a session and is logged", async () => {
    assertAttachment(await get(await fileLink("a.txt")), "a.txt", "shared content");
    await assertLogged(`SHAREDL ${folder.windows}\\a.txt`);
  });
  for (const name of ["with blank.txt", "ümlaut 🎉.txt", "empty"]) {
    test(`${name} has its name in the head`, async () => {
      folder.write(name, name === "empty" ? "" : name);
      assertAttachment(await get(await fileLink(name)), name, name === "empty" ? "" : name);
    });
  }
  test("a query behind the token is not part of it", async () => {
    assertAttachment(await get(`${await fileLink("a.txt")}?x=1`), "a.txt", "shared content");
  });
  test("the path is kept as it was shared, with backslashes and slashes in front", async () => {
    assertAttachment(await get(await linkOf("%5C/share%5Ca.txt")), "a.txt", "shared content");
  });
  const altered = [
    ["a slash behind it", (link) => `${link}/`],
    ["a digit more", (link) => `${link}0`],
    ["a digit less", (link) => link.slice(0, -1)],
    ["capitals", (link) => `/s/${link.slice(3).toUpperCase()}`],
    ["the way of a folder link", (link) => link.replace("/s/", "/d/")],
    ["the listing of a folder link", (link) => `${link.replace("/s/", "/d/")}/api/list`],
  ];
  for (const [name, alter] of altered) {
    test(`with ${name} it is gone`, async () => gone(await get(alter(await fileLink("a.txt")))));
  }
  test("a file deleted after sharing is not found", async () => {
    folder.write("deleted", "x");
    const link = await fileLink("deleted");
    fs.rmSync(folder.at("deleted"));
    assertNotFound(await get(link));
  });
  test("a file that became a folder is not found", async () => {
    folder.write("turned", "x");
    const link = await fileLink("turned");
    fs.rmSync(folder.at("turned"));
    folder.makeFolder("turned");
    assertNotFound(await get(link));
  });
  test("a file changed after sharing is sent as it is now", async () => {
    folder.write("changed", "old");
    const link = await fileLink("changed");
    folder.write("changed", "newer");
    assertAttachment(await get(link), "changed", "newer");
  });
});

const open = await linkOf("share/open");
folder.write("open/b.txt", "bee");
const at = (...parts) => folder.at("open", ...parts);

describe("folder link", () => {
  test("opens the shared folder page", async () => {
    const page = await get(open);
    assertReply(page, 200, "OK", kHtml);
    assert.notEqual(page.body.toString(), (await get("/")).body.toString());
    assertReply(await get(`${open}/`), 200, "OK", kHtml, page.body);
    assertReply(await get(`${open}?x=1`), 200, "OK", kHtml, page.body);
  });
  test("as a file link it is gone", async () => gone(await get(open.replace("/d/", "/s/"))));
  const others = [
    ["GET", "/none"],
    ["GET", "/api/list/"],
    ["GET", "/API/LIST"],
    ["GET", "/api/delete"],
    ["GET", "/upload"],
    ["GET", "//"],
    ["GET", "/api/zip"],
    ["POST", ""],
    ["POST", "/"],
    ["POST", "/api/list"],
    ["POST", "/download"],
    ["POST", "/api/mkdir"],
    ["POST", "/none"],
  ];
  for (const [method, sub] of others) {
    test(`${method} "${sub}" is not found`, async () => {
      assertNotFound(await request(method, open + sub));
    });
  }
  for (const method of ["PUT", "HEAD", "DELETE"]) {
    test(`${method} is unauthorized`, async () => assertUnauthorized(await request(method, open)));
  }
});

describe("shared listing", () => {
  test("holds files only, without a type", async () => {
    assertOk(await get(`${open}/api/list`), '{"ok":true,"items":[{"name":"b.txt","size":3}]}');
  });
  test("ignores a path in the query", async () => {
    const reply = await get(`${open}/api/list?path=..`);
    assertOk(reply, '{"ok":true,"items":[{"name":"b.txt","size":3}]}');
  });
  test("of an empty folder has no items", async () => {
    assertOk(await get(`${await linkOf("share/open/sub")}/api/list`), '{"ok":true,"items":[]}');
  });
  test("of a removed folder is an error with its own reason", async () => {
    folder.makeFolder("removed");
    const link = await linkOf("share/removed");
    fs.rmdirSync(folder.at("removed"));
    assertJsonError(await get(`${link}/api/list`), 404, "Directory not found", "Not Found");
    assertReply(await get(link), 200, "OK", kHtml);
  });
  test("writes sizes of 64 bits and raw UTF-8", async () => {
    folder.makeFolder("sizes");
    folder.write("sizes/ü.bin");
    fs.truncateSync(folder.at("sizes/ü.bin"), 5_000_000_000);
    assertOk(
      await get(`${await linkOf("share/sizes")}/api/list`),
      '{"ok":true,"items":[{"name":"ü.bin","size":5000000000}]}',
    );
  });
});

const badNames = [
  ["no name", ""],
  ["an empty name", "name="],
  ["two dots", "name=.."],
  ["a parent", "name=..%2Fa.txt"],
  ["a parent with a backslash", "name=..%5Ca.txt"],
  ["a slash", "name=sub%2Fx"],
  ["a backslash", "name=sub%5Cx"],
  ["two dots inside", "name=a..b"],
  ["a full path", "name=C:%5CWindows"],
  ["a server share", "name=%5C%5Cs%5Cx"],
];

describe("shared download", () => {
  test("sends a file and is logged", async () => {
    assertAttachment(await get(`${open}/download?name=b.txt`), "b.txt", "bee");
    await assertLogged(`SHDIRDL ${folder.windows}\\open\\b.txt`);
  });
  test("keeps the name as the client wrote it", async () => {
    assertAttachment(await get(`${open}/download?name=B.TXT`), "B.TXT", "bee");
  });
  test("decodes blanks and umlauts", async () => {
    fs.writeFileSync(at("ü b.txt"), "u");
    assertAttachment(await get(`${open}/download?name=%C3%BC+b.txt`), "ü b.txt", "u");
    fs.rmSync(at("ü b.txt"));
  });
  for (const [name, query] of badNames) {
    test(`${name}: 400 Invalid name in plain text`, async () => {
      const reply = await get(`${open}/download?${query}`);
      assertPlain(reply, 400, "Bad Request", "Invalid name");
    });
  }
  for (const [name, query] of [
    ["a missing file", "name=none"],
    ["a folder", "name=sub"],
    ["a dot", "name=."],
    ["a path instead of a name", "name=none&path=b.txt"],
  ]) {
    test(`${name}: 404 in plain text`, async () => {
      assertNotFound(await get(`${open}/download?${query}`));
    });
  }
});

describe("shared delete", () => {
  const remove = (name, link = open) => postJson(`${link}/api/delete`, { name });
  test("deletes a file and is logged", async () => {
    fs.writeFileSync(at("gone.txt"), "x");
    assertOk(await remove("gone.txt"));
    assert.ok(!fs.existsSync(at("gone.txt")));
    await assertLogged(`SHDIRDEL ${folder.windows}\\open\\gone.txt`);
  });
  for (const [name, query] of badNames) {
    test(`${name}: 400 Invalid name`, async () => {
      const value = decodeURIComponent(query.replace("name=", ""));
      assertJsonError(await remove(value), 400, "Invalid name", "Bad Request");
    });
  }
  test("a missing file is not found", async () => {
    assertJsonError(await remove("none"), 404, "Not found", "Not Found");
  });
  test("a folder is never deleted", async () => {
    const message = "Directories cannot be deleted here";
    assertJsonError(await remove("sub"), 400, message, "Bad Request");
    assertJsonError(await remove("."), 400, message, "Bad Request");
    assert.ok(fs.existsSync(at("sub")));
  });
  test("a read-only file stays", async () => {
    fs.writeFileSync(at("fixed"), "x", { mode: 0o444 });
    assertJsonError(await remove("fixed"), 400, "Failed to delete", "Bad Request");
    assert.ok(fs.existsSync(at("fixed")));
    fs.chmodSync(at("fixed"), 0o644);
    fs.rmSync(at("fixed"));
  });
  test("a body that is no JSON has no name", async () => {
    const reply = await post(`${open}/api/delete`, "name=b.txt");
    assertJsonError(reply, 400, "Invalid name", "Bad Request");
  });
});

describe("shared upload", () => {
  const send = (parts, options) => upload(`${open}/upload`, parts, options);
  test("stores a file and is logged", async () => {
    assertReply(
      await send([{ filename: "up ü.txt", data: "up" }]),
      200,
      "OK",
      kJson,
      '{"ok":true}',
    );
    assert.equal(fs.readFileSync(at("up ü.txt"), "utf8"), "up");
    await assertLogged(`UPLOAD  ${folder.windows}\\open\\up ü.txt`);
  });
  test("a path in the query or the name leads nowhere else", async () => {
    assertOk(await upload(`${open}/upload?path=share`, [{ filename: "../stay.txt", data: "s" }]));
    assert.equal(fs.readFileSync(at(".._stay.txt"), "utf8"), "s");
    assert.ok(!folder.has("stay.txt"));
  });
  const type = "multipart/form-data; boundary=x";
  const rows = [
    [
      "chunked",
      { "Transfer-Encoding": "Chunked" },
      411,
      "Length Required",
      "Chunked upload not supported",
    ],
    ["no boundary", {}, 400, "Bad Request", "Missing multipart boundary"],
    [
      "no Content-Length",
      { "Content-Type": type },
      411,
      "Length Required",
      "Content-Length required",
    ],
    [
      "an empty Content-Length",
      { "Content-Type": type, "Content-Length": "" },
      411,
      "Length Required",
      "Content-Length required",
    ],
    [
      "an empty body",
      { "Content-Type": type, "Content-Length": "0" },
      400,
      "Bad Request",
      "Upload aborted",
    ],
  ];
  for (const [name, headers, status, reason, text] of rows) {
    test(`${name}: ${status} ${text}`, async () => {
      const all = { "Content-Length": null, ...headers };
      assertPlain(await post(`${open}/upload`, "", { headers: all }), status, reason, text);
    });
  }
  test("a file that cannot be created: 400 in plain text", async () => {
    const reply = await send([{ filename: "sub" }]);
    assertPlain(reply, 400, "Bad Request", "Failed to write file");
  });
  test("a removed folder is made again", async () => {
    folder.makeFolder("again");
    const link = await linkOf("share/again");
    fs.rmdirSync(folder.at("again"));
    assertOk(await upload(`${link}/upload`, [{ filename: "in", data: "i" }]));
    assert.equal(`${folder.read("again/in")}`, "i");
  });
  test("an unknown link is gone before anything is read", async () => {
    gone(await upload(`/d/${"0".repeat(64)}/upload`, [{ filename: "x" }]));
  });
});
