// POST /upload: the checks before the form is read, and the files that come out of it.
import assert from "node:assert/strict";
import { createHash, randomBytes } from "node:crypto";
import fs from "node:fs";
import { after, describe, test } from "node:test";

import { joinedPaths, refusedPaths } from "./paths.mjs";
import {
  assertJsonError,
  assertLogged,
  assertNotLogged,
  assertOk,
  buildRequest,
  collect,
  encode,
  freshFolder,
  login,
  multipart,
  openTls,
  parseReply,
  post,
  program,
  upload,
} from "../support/client.mjs";

const cookie = await login();
const folder = freshFolder("upload");
const target = "/upload?path=upload";
const send = (parts, options) => upload(target, parts, { cookie, ...options });
const file = (filename, data = "data") => ({ filename, data });
const uploadedLine = (name) => `UPLOAD  ${folder.windows}\\${name}`;

describe("order of the checks", () => {
  const chunked = "Chunked upload not supported (needs Content-Length)";
  const type = "multipart/form-data; boundary=x";
  // Every row breaks its own rule and all rules below it.
  const rows = [
    ["chunked", { "Transfer-Encoding": "chunked" }, "..", 411, chunked],
    ["CHUNKED in capitals", { "transfer-encoding": "CHUNKED" }, "..", 411, chunked],
    ["chunked among others", { "Transfer-Encoding": "gzip, Chunked" }, "upload", 411, chunked],
    ["a word that contains it", { "Transfer-Encoding": "xchunkedx" }, "upload", 411, chunked],
    ["a refused path", {}, "..", 400, "Invalid path"],
    ["no content type", {}, "upload", 400, "Missing multipart boundary"],
    [
      "a content type without a boundary",
      { "Content-Type": "multipart/form-data" },
      "upload",
      400,
      "Missing multipart boundary",
    ],
    ["no Content-Length", { "Content-Type": type }, "upload", 411, "Content-Length required"],
    [
      "an empty Content-Length",
      { "Content-Type": type, "Content-Length": "" },
      "upload",
      411,
      "Content-Length required",
    ],
  ];
  for (const [name, headers, path, status, message] of rows) {
    test(`${name}: ${status} ${message}`, async () => {
      const bytes = { "Content-Length": null, ...headers };
      const reply = await post(`/upload?path=${path}`, "", { cookie, headers: bytes });
      assertJsonError(reply, status, message);
    });
  }
  test("chunked is refused with a Content-Length too", async () => {
    const headers = { "Transfer-Encoding": "chunked" };
    assertJsonError(await send([file("chunked.txt")], { headers }), 411, chunked);
    assert.ok(!folder.has("chunked.txt"));
  });
  test("another transfer encoding is no reason to refuse", async () => {
    assertOk(await send([file("gzip.txt")], { headers: { "Transfer-Encoding": "gzip" } }));
  });
  for (const [name, path] of refusedPaths) {
    test(`${name} (${path}) as path: 400 Invalid path`, async () => {
      const reply = await upload(`/upload?path=${path}`, [file("x")], { cookie });
      assertJsonError(reply, 400, "Invalid path");
    });
  }
  // Where a colon may stand in a name, the folder is made below the web root.
  after(() =>
    ["C:", "Z:"].forEach((name) => {
      fs.rmSync(`${program.root}/${name}`, { recursive: true, force: true });
    }),
  );
  for (const [name, path] of joinedPaths.filter(([, text]) => /^(C|Z):/.test(text))) {
    test(`${name} (${path}) as path writes nothing outside`, async () => {
      await upload(`/upload?path=${path}`, [file("outside.txt")], { cookie });
      for (const place of ["", "windows", "Windows"]) {
        assert.ok(!fs.existsSync(`${program.driveC}/${place}/outside.txt`));
      }
    });
  }
});

describe("boundary", () => {
  const form = (boundary, name) => multipart(boundary, [file(name, name)]);
  const rows = [
    ["alone", "boundary=plain", "plain"],
    ["after other parameters", "multipart/form-data; charset=utf-8; boundary=plain", "plain"],
    ["in quotes", 'multipart/form-data; boundary="in quotes"', "in quotes"],
    ["with a quote only in front", 'multipart/form-data; boundary="front', "front"],
    ["with a quote only behind", 'multipart/form-data; boundary=behind"', "behind"],
    ["with the parameter in capitals", "multipart/form-data; BOUNDARY=MixedCase", "MixedCase"],
    ["in mixed case", "multipart/form-data; boundary=aBcDeF", "aBcDeF"],
    ["with a parameter behind it", "multipart/form-data; boundary=a; charset=x", "a; charset=x"],
    ["in quotes with a parameter behind it", 'boundary="a"; x=y', 'a"; x=y'],
    ["with another content type", "text/plain; boundary=plain", "plain"],
    ["of many dashes", "boundary=----------------------1", "----------------------1"],
    ["with a blank behind it", "boundary=blank ", "blank "],
    ["of one character", "boundary=b", "b"],
    ["of 70 characters", `boundary=${"z".repeat(70)}`, "z".repeat(70)],
    ["of 1,000 characters", `boundary=${"z".repeat(1000)}`, "z".repeat(1000)],
  ];
  rows.forEach(([name, contentType, boundary], index) => {
    test(`${name} is taken as sent`, async () => {
      const filename = `boundary${index}.txt`;
      assertOk(await send([], { contentType, body: form(boundary, filename) }));
      assert.equal(folder.read(filename).toString(), filename);
    });
  });
  test("another case in the body is not the boundary", async () => {
    const body = form("ABCDEF", "case.txt");
    assertJsonError(await send([], { boundary: "abcdef", body }), 400, "Upload aborted");
    assert.ok(!folder.has("case.txt"));
  });
});

describe("files", () => {
  for (const size of [0, 1, 2, 2047, 2048, 65_535, 65_536, 65_537, 262_144, 1_048_577]) {
    test(`${size} bytes are stored unchanged`, async () => {
      const data = randomBytes(size);
      assertOk(await send([file(`u${size}.bin`, data)]));
      assert.ok(folder.read(`u${size}.bin`).equals(data));
    });
  }
  test("300 MB are stored with the right SHA-256", { timeout: 60_000 }, async () => {
    const block = randomBytes(3_000_000);
    const [head, tail] = splitForm("300.bin");
    const hash = createHash("sha256");
    const socket = await openTls();
    const answer = collect(socket, 60_000);
    const headers = {
      "Content-Type": "multipart/form-data; boundary=big",
      "Content-Length": head.length + 300_000_000 + tail.length,
    };
    socket.write(buildRequest("POST", target, { cookie, headers }));
    socket.write(head);
    for (let part = 0; part < 100; part += 1) {
      block.writeUInt32LE(part);
      hash.update(block);
      await new Promise((resolve) => {
        socket.write(Buffer.from(block), resolve);
      });
    }
    socket.write(tail);
    assertOk(parseReply(await answer));
    const stored = createHash("sha256").update(folder.read("300.bin")).digest("hex");
    assert.equal(stored, hash.digest("hex"));
    fs.rmSync(folder.at("300.bin"));
  });
  test("several files in one form, each logged", async () => {
    assertOk(await send([file("f1", "one"), file("f2", "two"), file("f3", "")]));
    assert.deepEqual(
      ["f1", "f2", "f3"].map((name) => `${folder.read(name)}`),
      ["one", "two", ""],
    );
    for (const name of ["f1", "f2", "f3"]) await assertLogged(uploadedLine(name));
  });
  test("a text field between files is skipped", async () => {
    const fields = [{ name: "a", data: "text" }, file("g1", "1"), { name: "b" }, file("g2", "2")];
    assertOk(await send(fields));
    assert.deepEqual(
      ["g1", "g2"].map((name) => `${folder.read(name)}`),
      ["1", "2"],
    );
  });
  test("a form with only text fields stores nothing", async () => {
    const before = folder.names();
    assertOk(await send([{ name: "a", data: "x".repeat(200_000) }]));
    assert.deepEqual(folder.names(), before);
  });
  test("a form without any part is a success", async () => assertOk(await send([])));
  test("an existing file is replaced, also by a shorter one", async () => {
    folder.write("replaced", "a long old content");
    assertOk(await send([file("replaced", "new")]));
    assert.equal(`${folder.read("replaced")}`, "new");
  });
  test("two parts of one name leave the second", async () => {
    assertOk(await send([file("same", "the first"), file("same", "2nd")]));
    assert.equal(`${folder.read("same")}`, "2nd");
    await assertLogged(uploadedLine("same"), 2);
  });
  test("a missing target folder is made with its parents", async () => {
    assertOk(await upload("/upload?path=upload/new/deep", [file("in")], { cookie }));
    assert.ok(folder.has("new/deep/in"));
  });
  test("without a path files go to the web root", async () => {
    const root = freshFolder("upload-root-check");
    assertOk(await upload("/upload", [file("upload-root.txt", "r")], { cookie }));
    assert.equal(`${fs.readFileSync(`${root.here}/../upload-root.txt`)}`, "r");
    fs.rmSync(`${root.here}/../upload-root.txt`);
  });
});

function splitForm(filename) {
  const form = multipart("big", [file(filename, "\0SPLIT\0")]);
  const at = form.indexOf("\0SPLIT\0");
  return [form.subarray(0, at), form.subarray(at + 7)];
}

describe("file names", () => {
  const rows = [
    ["blank in.txt", "blank in.txt"],
    ["ümlaut.txt", "ümlaut.txt"],
    ["🎉.txt", "🎉.txt"],
    ["C:\\x\\a.txt", "C__x_a.txt"],
    ["a/b/c.txt", "a_b_c.txt"],
    ["../up.txt", ".._up.txt"],
    ["..\\up.txt", ".._up.txt"],
    ["what?.txt", "what_.txt"],
    ["a*b.txt", "a_b.txt"],
    ["<tag>.txt", "_tag_.txt"],
    ["a|b.txt", "a_b.txt"],
    ["stream.txt:s", "stream.txt_s"],
    ["/", "_"],
    ["quote'.txt", "quote'.txt"],
    ["percent%2e.txt", "percent%2e.txt"],
    ["semi;colon.txt", "semi;colon.txt"],
    [".hidden", ".hidden"],
    ["a..b", "a..b"],
    [`${"n".repeat(150)}.txt`, `${"n".repeat(150)}.txt`],
  ];
  for (const [sent, stored] of rows) {
    test(`${sent.slice(0, 20)} is stored as ${stored.slice(0, 20)}`, async () => {
      fs.rmSync(folder.at(stored), { force: true });
      assertOk(await send([file(sent, sent)]));
      assert.equal(`${folder.read(stored)}`, sent);
      await assertLogged(uploadedLine(stored));
    });
  }

  const heads = [
    ["FileName in mixed case", 'Content-Disposition: form-data; FileName="h0"', "h0"],
    ["a file name alone", 'filename="h1"', "h1"],
    ["the disposition as second line", 'X: y\r\nContent-Disposition: x; filename="h2"', "h2"],
    ["the first of two", 'a; filename="h3"; filename="other"', "h3"],
    ["after an extended one", `a; filename*=UTF-8''other; filename="h4"`, "h4"],
    ["a name with capitals kept", 'a; filename="H5 Capital"', "H5 Capital"],
    ["up to the first quote", 'a; filename="h6"rest"', "h6"],
    ["in another header", 'X-Note: filename="h7"', "h7"],
  ];
  for (const [name, head, stored] of heads) {
    test(`${name} names the file`, async () => {
      assertOk(await send([{ head, data: name }]));
      assert.equal(`${folder.read(stored)}`, name);
    });
  }

  const nameless = [
    ["an extended name only", "a; filename*=UTF-8''extended"],
    ["no quotes", "a; filename=bare"],
    ["an empty name", 'a; filename=""'],
    ["no closing quote", 'a; filename="open'],
    ["a blank before the quote", 'a; filename= "x"'],
    ["no file name", "Content-Type: text/plain"],
    ["an apostrophe for quotes", "a; filename='x'"],
    ["a short header block", "a"],
  ];
  for (const [name, head] of nameless) {
    test(`${name}: the part is no file`, async () => {
      const before = folder.names();
      assertOk(await send([{ head, data: "discarded" }]));
      assert.deepEqual(folder.names(), before);
    });
  }

  test("a part without any header line holds up the form until it ends", async () => {
    const body = "--XyZboundary\r\n\r\ndata\r\n--XyZboundary--\r\n";
    assertJsonError(await send([], { body }), 400, "Upload aborted");
  });
  test("a name of 255 characters is stored or refused, and never shortened", async () => {
    const name = `${"q".repeat(251)}.txt`;
    const before = folder.names();
    const reply = await send([file(name, "long")]);
    if (reply.status === 200) {
      assertOk(reply);
      assert.equal(`${folder.read(name)}`, "long");
    } else {
      assertJsonError(reply, 400, "Failed to write file");
      assert.deepEqual(folder.names(), before);
    }
  });
  test("a name that cannot be created fails and is not logged", async () => {
    folder.makeFolder("is a folder");
    const reply = await send([file("before", "b"), file("is a folder"), file("after")]);
    assertJsonError(reply, 400, "Failed to write file");
    assert.equal(`${folder.read("before")}`, "b");
    assert.ok(!folder.has("after"));
    await assertNotLogged(uploadedLine("is a folder"));
  });
  for (const name of [".", ".."]) {
    test(`the name ${name} fails`, async () => {
      assertJsonError(await send([file(name)]), 400, "Failed to write file");
    });
  }
  test("a target that is a file fails", async () => {
    folder.write("a file");
    const reply = await upload(`/upload?path=upload/${encode("a file")}`, [file("x")], { cookie });
    assertJsonError(reply, 400, "Failed to write file");
  });
});
