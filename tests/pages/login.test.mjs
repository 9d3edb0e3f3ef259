import assert from "node:assert/strict";
import { pageTest, kPhone, sizeOf, styleOf, useWorld, world } from "./world.mjs";

useWorld();

const kLogin = { session: false };
// Browsers write every refused request to the console.
const kRefused = { ...kLogin, problems: /Failed to load resource/ };

async function openLogin(page) {
  await page.goto(`${world.program.origin}/`);
}

function loginRequests(page) {
  const requests = [];
  page.on("request", (request) => {
    if (request.url().endsWith("/api/login")) {
      requests.push(request);
    }
  });
  return requests;
}

async function answerLogin(page, answer) {
  await page.route("**/api/login", (route) => route.fulfill(answer));
}

async function tryCode(page, code) {
  await page.locator("#code").evaluate((field, value) => {
    field.value = value;
  }, code);
  await page.getByRole("button", { name: "Login", exact: true }).click();
}

function message(page) {
  return page.locator("#msg").textContent();
}

pageTest("the login page has its title, heading, prompt and button", kLogin, async ({ page }) => {
  await openLogin(page);
  assert.equal(await page.title(), "HTTPS Harbinet PRO - Login");
  assert.equal(await page.locator("h2").textContent(), "HTTPS Harbinet PRO");
  assert.equal(await page.getByText("Enter PIN", { exact: true }).count(), 1);
  assert.equal(await page.getByRole("button").textContent(), "Login");
});

pageTest("the viewport is as wide as the device", kLogin, async ({ page }) => {
  await openLogin(page);
  const content = await page.locator('meta[name="viewport"]').getAttribute("content");
  assert.equal(content, "width=device-width, initial-scale=1");
});

pageTest("the PIN field is masked, numeric and six characters long", kLogin, async ({ page }) => {
  await openLogin(page);
  const field = page.locator("#code");
  assert.equal(await field.getAttribute("type"), "password");
  assert.equal(await field.getAttribute("inputmode"), "numeric");
  assert.equal(await field.getAttribute("maxlength"), "6");
  assert.equal(await field.getAttribute("placeholder"), "6 digits");
});

pageTest("the PIN field has a label", kLogin, async ({ page }) => {
  await openLogin(page);
  assert.equal(await page.getByLabel("Enter PIN").getAttribute("id"), "code");
});

pageTest("the card, heading and prompt have their measures", kLogin, async ({ page }) => {
  await openLogin(page);
  assert.deepEqual(
    await styleOf(page.locator(".card"), "max-width", "border", "border-radius", "padding"),
    ["520px", "1px solid rgb(221, 221, 221)", "12px", "16px"],
  );
  assert.equal((await sizeOf(page.locator(".card")))[0], 520);
  assert.deepEqual(await styleOf(page.locator("h2"), "margin"), ["0px 0px 10px"]);
  assert.deepEqual(await styleOf(page.getByText("Enter PIN"), "margin-bottom"), ["12px"]);
});

pageTest("the PIN field has its measures", kLogin, async ({ page }) => {
  await openLogin(page);
  assert.deepEqual(
    await styleOf(
      page.locator("#code"),
      "width",
      "font-size",
      "padding",
      "border-radius",
      "border-color",
    ),
    ["220px", "16px", "10px 12px", "10px", "rgb(187, 187, 187)"],
  );
});

pageTest("the Login button has its measures and lights up", kLogin, async ({ page }) => {
  await openLogin(page);
  const button = page.getByRole("button");
  assert.deepEqual(
    await styleOf(
      button,
      "font-size",
      "padding",
      "border-radius",
      "border-color",
      "background-color",
    ),
    ["16px", "10px 14px", "10px", "rgb(187, 187, 187)", "rgb(247, 247, 247)"],
  );
  await button.hover();
  await page.waitForFunction(
    () =>
      getComputedStyle(document.querySelector("button")).backgroundColor === "rgb(239, 239, 239)",
  );
});

pageTest("the login page has its font, padding and colours", kLogin, async ({ page }) => {
  await openLogin(page);
  const values = await styleOf(
    page.locator("body"),
    "font-family",
    "padding",
    "background-color",
    "color",
  );
  assert.deepEqual(values, [
    '"Segoe UI", system-ui, sans-serif',
    "22px",
    "rgb(255, 255, 255)",
    "rgb(17, 17, 17)",
  ]);
});

pageTest("the message is empty at load, and red and bold", kLogin, async ({ page }) => {
  await openLogin(page);
  assert.equal(await message(page), "");
  const line = page.locator("#msg.err");
  assert.deepEqual(await styleOf(line, "color", "font-weight", "margin-top"), [
    "rgb(176, 0, 32)",
    "600",
    "12px",
  ]);
  assert.equal(await line.getAttribute("role"), "alert");
});

for (const [what, code] of [
  ["nothing", ""],
  ["five digits", "12345"],
  ["letters", "12a456"],
  ["blanks inside the digits", "12 456"],
  ["seven digits", "1234567"],
  ["full-width digits", "１２３４５６"],
]) {
  pageTest(`${what} asks for six digits without a request`, kLogin, async ({ page }) => {
    await openLogin(page);
    const requests = loginRequests(page);
    await tryCode(page, code);
    assert.equal(await message(page), "Enter 6 digits.");
    assert.equal(await page.locator("#code").inputValue(), code);
    assert.equal(requests.length, 0);
  });
}

pageTest("the field stops at six typed characters", kLogin, async ({ page }) => {
  await openLogin(page);
  await page.locator("#code").pressSequentially("1234567");
  assert.equal(await page.locator("#code").inputValue(), "123456");
});

pageTest(
  "blanks around six digits are removed before they are sent",
  kRefused,
  async ({ page }) => {
    await openLogin(page);
    await answerLogin(page, { status: 401, json: { ok: false, error: "Wrong code" } });
    const requests = loginRequests(page);
    await tryCode(page, "  654321 ");
    await page.getByText("Wrong code").waitFor();
    assert.equal(requests.length, 1);
    assert.equal(requests[0].method(), "POST");
    assert.equal(requests[0].headers()["content-type"], "application/json");
    assert.deepEqual(requests[0].postDataJSON(), { code: "654321" });
  },
);

pageTest("Enter in the field does not submit", kLogin, async ({ page }) => {
  await openLogin(page);
  const requests = loginRequests(page);
  await page.locator("#code").fill("123456");
  await page.locator("#code").press("Enter");
  await page.evaluate(() => fetch("/api/status"));
  assert.equal(requests.length, 0);
  assert.equal(await message(page), "");
  assert.equal(await page.locator("form").count(), 0);
});

pageTest("the Login button is reached and pressed with the keyboard", kLogin, async ({ page }) => {
  await openLogin(page);
  await page.locator("#code").focus();
  await page.keyboard.press("Tab");
  await page.keyboard.press("Enter");
  assert.equal(await message(page), "Enter 6 digits.");
});

pageTest("a new attempt clears the old message first", kLogin, async ({ page }) => {
  await openLogin(page);
  await tryCode(page, "1");
  await page.route("**/api/login", () => {});
  await tryCode(page, "123456");
  assert.equal(await message(page), "");
});

for (const [what, answer, shown] of [
  ["an error text", { status: 429, json: { ok: false, error: "Too many" } }, "Too many"],
  ["an empty error", { status: 500, json: { ok: false, error: "" } }, "HTTP 500"],
  ["no error member", { status: 403, json: { ok: false } }, "HTTP 403"],
  ["a success status that is not ok", { status: 200, json: { ok: false } }, "HTTP 200"],
  ["a failure status that says ok", { status: 500, json: { ok: true } }, "HTTP 500"],
  ["an answer that is not JSON", { status: 502, body: "Bad <b>gateway</b>" }, "Bad <b>gateway</b>"],
  ["an empty answer", { status: 503, body: "" }, "HTTP 503"],
  ["the answer null", { status: 200, body: "null" }, "HTTP 200"],
]) {
  pageTest(`${what} is shown as "${shown}"`, kRefused, async ({ page }) => {
    await openLogin(page);
    await answerLogin(page, answer);
    await tryCode(page, "123456");
    await page.waitForFunction(() => document.getElementById("msg").textContent !== "");
    assert.equal(await message(page), shown);
    assert.equal(await page.locator("#code").inputValue(), "123456");
  });
}

pageTest("a network failure shows its own message", kRefused, async ({ page }) => {
  await openLogin(page);
  await page.route("**/api/login", (route) => route.abort());
  await tryCode(page, "123456");
  await page.getByText("Failed to fetch", { exact: true }).waitFor();
});

pageTest(
  'a network failure without a message shows "Login failed"',
  {
    ...kLogin,
    init: () => {
      globalThis.fetch = () => Promise.reject(new Error(""));
    },
  },
  async ({ page }) => {
    await openLogin(page);
    await tryCode(page, "123456");
    await page.getByText("Login failed", { exact: true }).waitFor();
  },
);

pageTest(
  "the program's answer to a wrong PIN is shown, and the right PIN then opens the file manager",
  { ...kLogin, problems: /status of 401/ },
  async ({ page, context }) => {
    await openLogin(page);
    await tryCode(page, world.program.pin === "000000" ? "000001" : "000000");
    await page.getByText("Wrong code", { exact: true }).waitFor();
    await tryCode(page, ` ${world.program.pin} `);
    await page.waitForURL(`${world.program.origin}/`);
    await page.locator("#rows").waitFor({ state: "attached" });
    assert.equal(await page.title(), "Harbinet PRO - File Manager");
    const cookie = (await context.cookies()).find(({ name }) => name === "AUTH");
    assert.equal(cookie.httpOnly, true);
    assert.equal(cookie.secure, true);
  },
);

pageTest(
  "the login page fits a phone without sideways scrolling",
  { ...kLogin, context: kPhone },
  async ({ page }) => {
    await openLogin(page);
    await page.getByRole("button", { name: "Login" }).tap();
    assert.equal(await message(page), "Enter 6 digits.");
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390);
    assert.ok((await sizeOf(page.locator(".card")))[0] <= 390 - 44);
  },
);
