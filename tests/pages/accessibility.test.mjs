// The pages for everybody: axe-core on every state, the work with the keyboard alone, and what a screen reader is told.

import assert from "node:assert/strict";
import fs from "node:fs";
import { createRequire } from "node:module";
import { pick, select, upload } from "./transfer_probe.mjs";
import {
  eventually,
  openFileManager,
  openSharedFolder,
  pageTest,
  kPhone,
  picked,
  rootNames,
  useWorld,
  waitForRows,
  waitForTransfer,
  world,
} from "./world.mjs";

useWorld();

const kAxe = fs.readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

// What the pages' own design decides, with its values: these colours, and on one page the level of the heading, stay.
const kDesigned = {
  "color-contrast": [
    ["#uploadTitle", "#ffffff on #66b2ff"],
    ["#dropTitle", "#ffffff on #66b2ff"],
    ["#downloadTitle", "#ffffff on #66b2ff"],
    ["#path", "#777777 on #ffffff"],
    ["bdi", "#777777 on #ffffff"],
    [".bar + main + footer", "#aaaaaa on #ffffff"],
    ["footer", "#aaaaaa on #ffffff"],
    ["footer", "#aaaaaa on #f7f7f7"],
  ],
};
const kDesignedOn = {
  ...Object.fromEntries(["file manager", "shared folder"].map((name) => [name, kDesigned])),
  "login page": {
    ...kDesigned,
    "page-has-heading-one": [["html", "the heading is of the second level"]],
  },
};

function isDesigned(name, rule, node) {
  const [target] = node.target;
  const colours = node.any.find(({ id }) => id === "color-contrast")?.data;
  return (kDesignedOn[name][rule] ?? []).some(([selector, value]) => {
    const isElement = target === selector || target.split(/[ >]+/).at(-1).startsWith(selector);
    return isElement && (!colours || value === `${colours.fgColor} on ${colours.bgColor}`);
  });
}

async function assertNoViolation(page, name) {
  await page.evaluate(kAxe);
  const { violations, passes } = await page.evaluate(() => globalThis.axe.run());
  assert.ok(passes.length > 10, `${passes.length} rules passed`);
  const found = violations.flatMap(({ id, nodes }) =>
    nodes
      .filter((node) => !isDesigned(name, id, node))
      .map((node) => `${id}: ${node.target.join(" ")}: ${node.failureSummary}`),
  );
  assert.deepEqual(found, []);
}

const kFiles = { "a.txt": "alpha", "b.txt": "beta", "Photos/c.txt": "c", "S/one.txt": "1" };
const kMany = Object.fromEntries(
  Array.from({ length: 300 }, (_, i) => [`S/file ${i}.txt`, String(i)]),
);
const kForever = () => {};

const openLogin = (page) => page.goto(`${world.program.origin}/`);
const openShared = (page) => openSharedFolder(page, "S");

async function openInner(page) {
  await openFileManager(page);
  await page.getByRole("link", { name: "S", exact: true }).click();
  await page.getByText("..", { exact: true }).waitFor();
}

// page, state, files, session, how to get there
const kStates = [
  ["login page", "as it opens", kFiles, false, openLogin],
  [
    "login page",
    "with an error",
    kFiles,
    false,
    async (page) => {
      await openLogin(page);
      await page.getByRole("button", { name: "Login" }).click();
    },
  ],
  ["file manager", "without a file", {}, true, openFileManager],
  ["file manager", "with a few files", kFiles, true, openFileManager],
  [
    "file manager",
    "with 300 rows below a folder",
    kMany,
    true,
    async (page) => {
      await openInner(page);
      await page.locator("#rows tr").nth(300).waitFor();
    },
  ],
  [
    "file manager",
    "with a selection and picked files",
    kFiles,
    true,
    async (page) => {
      await openFileManager(page);
      await page.locator("#selAll").check();
      await pick(page, picked("one.txt"), picked("two.txt"));
    },
  ],
  [
    "file manager",
    "with the transfer dialog",
    kFiles,
    true,
    async (page) => {
      await openFileManager(page);
      await select(page, "a.txt");
      await page.route("**/api/zip", kForever);
      await page.locator("#zipBtn").click();
    },
  ],
  [
    "file manager",
    "with a failed upload",
    kFiles,
    true,
    async (page) => {
      await openFileManager(page);
      await page.route("**/upload**", (route) => route.abort());
      await pick(page, picked("one.txt"));
      await upload(page);
      await waitForTransfer(page, "Upload error.");
    },
  ],
  ["shared folder", "without a file", { "S/": null }, false, openShared],
  ["shared folder", "with 300 rows", kMany, false, openShared],
  [
    "shared folder",
    "with a selection",
    kFiles,
    false,
    async (page) => {
      await openShared(page);
      await page.locator("#chkAll").check();
    },
  ],
  [
    "shared folder",
    "with a failed upload",
    kFiles,
    false,
    async (page) => {
      await openShared(page);
      await page.route("**/upload", (route) => route.fulfill({ status: 400, body: "Disk full" }));
      await pick(page, picked("one.txt"));
      await upload(page);
      await waitForTransfer(page, "Upload failed.");
    },
  ],
];

for (const [name, state, files, session, open] of kStates) {
  pageTest(
    `axe finds nothing wrong with the ${name} ${state}, wide or narrow`,
    { files, session, problems: /Failed to load resource/ },
    async ({ page }) => {
      await open(page);
      await assertNoViolation(page, name);
      await page.setViewportSize(kPhone.viewport);
      await assertNoViolation(page, name);
    },
  );
}

// Presses Tab until the control with that role and name has the focus, as somebody without a mouse does.
async function tabTo(page, role, name) {
  const wanted = page.getByRole(role, { name, exact: true });
  for (let i = 0; i < 80; i += 1) {
    if ((await wanted.and(page.locator(":focus")).count()) === 1) {
      return;
    }
    await page.keyboard.press("Tab");
  }
  assert.fail(`${role} "${name}" is not reached with the Tab key`);
}

async function use(page, role, name, key) {
  await tabTo(page, role, name);
  await page.keyboard.press(key);
}

// The names of the files that the page downloads from now on.
function watchDownloads(page) {
  const names = [];
  page.on("download", (download) => names.push(download.suggestedFilename()));
  return names;
}

function isHidden(page) {
  return page.locator("#xferModal").waitFor({ state: "hidden" });
}

pageTest(
  "the keyboard alone logs in and does everything in the file manager",
  { session: false, files: kFiles },
  async ({ page, dialogs }) => {
    await openLogin(page);
    await tabTo(page, "textbox", "Enter PIN");
    await page.keyboard.type(world.program.pin);
    await use(page, "button", "Login", "Enter");
    await waitForRows(page, ["Photos", "S", "a.txt", "b.txt"]);

    await tabTo(page, "textbox", "New folder name");
    await page.keyboard.type("Made");
    await use(page, "button", "Create folder", "Enter");
    await waitForRows(page, ["Made", "Photos", "S", "a.txt", "b.txt"]);
    await use(page, "link", "Photos", "Enter");
    await waitForRows(page, ["c.txt"]);
    await page.keyboard.press("Enter");
    await waitForRows(page, ["Made", "Photos", "S", "a.txt", "b.txt"]);
    await use(page, "button", "Delete this directory permanently: Made", "Enter");
    await waitForRows(page, ["Photos", "S", "a.txt", "b.txt"]);

    await use(page, "button", "Create a direct download link: a.txt", "Enter");
    await eventually(() => assert.equal(dialogs.seen.at(-1).type, "prompt"));
    const one = page.waitForEvent("download");
    await use(page, "button", "Download this file: a.txt", "Enter");
    assert.equal(fs.readFileSync(await (await one).path(), "utf8"), "alpha");
    await page.keyboard.press("Escape");
    await isHidden(page);

    await use(page, "button", "Create a direct link for this folder: S", "Enter");
    await eventually(() => assert.match(dialogs.seen.at(-1).value, /\/d\/[0-9a-f]+$/));

    await use(page, "checkbox", "Select a.txt", " ");
    await use(page, "checkbox", "Select b.txt", " ");
    const zip = page.waitForEvent("download");
    await use(page, "button", "Download ZIP", "Enter");
    await (await zip).path();
    await isHidden(page);
    await use(page, "checkbox", "Select b.txt", " ");
    // If the listing was refreshed while both were checked, this box is, too, until the next refresh.
    const all = page.getByRole("checkbox", { name: "Select all files" });
    await eventually(async () => assert.equal(await all.isChecked(), false));
    await use(page, "checkbox", "Select all files", " ");
    const both = watchDownloads(page);
    await use(page, "button", "Download all", "Enter");
    await eventually(() => assert.deepEqual(both.sort(), ["a.txt", "b.txt"]));
    await isHidden(page);
    await use(page, "button", "Delete all selected files permanently", "Enter");
    await waitForRows(page, ["Photos", "S"]);
    assert.deepEqual(rootNames(), ["Photos", "S"]);

    const chooser = page.waitForEvent("filechooser");
    await use(page, "button", "Choose files", "Enter");
    await (await chooser).setFiles([picked("new.txt", "new")]);
    await use(page, "button", "Upload", "Enter");
    await waitForRows(page, ["Photos", "S", "new.txt"]);
  },
);

pageTest(
  "the keyboard alone does everything in a shared folder",
  { session: false, files: { "S/a.txt": "alpha", "S/b.txt": "beta", "S/c.txt": "gamma" } },
  async ({ page }) => {
    await openShared(page);
    await waitForRows(page, ["a.txt", "b.txt", "c.txt"]);
    const one = page.waitForEvent("download");
    await use(page, "button", "Download: a.txt", "Enter");
    assert.equal(fs.readFileSync(await (await one).path(), "utf8"), "alpha");
    await isHidden(page);
    await use(page, "button", "Delete: a.txt", "Enter");
    await waitForRows(page, ["b.txt", "c.txt"]);
    await use(page, "checkbox", "Select all files", " ");
    const both = watchDownloads(page);
    await use(page, "button", "Download selected", "Enter");
    await eventually(() => assert.deepEqual(both.sort(), ["b.txt", "c.txt"]));
    await isHidden(page);
    await use(page, "button", "Delete selected", "Enter");
    await waitForRows(page, []);
    await isHidden(page);
    const chooser = page.waitForEvent("filechooser");
    await use(page, "button", "Choose files", "Enter");
    await (await chooser).setFiles([picked("new.txt", "new")]);
    await use(page, "button", "Upload", "Enter");
    await waitForTransfer(page, "Upload done.");
    assert.deepEqual(rootNames("S"), ["new.txt"]);
  },
);

// The accessibility tree as Chromium gives it to screen readers: "role name" of every node that is not ignored.
async function tellAll(page) {
  const session = await page.context().newCDPSession(page);
  const { nodes } = await session.send("Accessibility.getFullAXTree");
  await session.detach();
  const silent = new Set(["none", "generic", "StaticText", "InlineTextBox", "LineBreak"]);
  return nodes
    .filter(({ ignored, role }) => !ignored && !silent.has(role.value))
    .map(({ role, name, properties = [] }) => {
      const checked = properties.find((property) => property.name === "checked")?.value.value;
      const state =
        checked === undefined ? "" : ` (${checked === "true" ? "checked" : "unchecked"})`;
      return `${role.value} ${name?.value ?? ""}${state}`.replaceAll(/ +/g, " ").trim();
    });
}

async function assertTold(page, expected) {
  await eventually(async () => {
    const told = await tellAll(page);
    const missing = expected.filter((line) => !told.includes(line));
    assert.deepEqual(missing, [], `among:\n${told.join("\n")}`);
  });
}

pageTest(
  "a screen reader is told how to log in, open a folder, select two files and take the ZIP",
  { session: false, files: { "Trip/a.txt": "a", "Trip/b.txt": "b" } },
  async ({ page }) => {
    await openLogin(page);
    await assertTold(page, [
      "RootWebArea HTTPS Harbinet PRO - Login",
      "main",
      "heading HTTPS Harbinet PRO",
      "textbox Enter PIN",
      "button Login",
    ]);
    await page.getByRole("button", { name: "Login" }).click();
    await assertTold(page, ["alert"]);
    await page.getByLabel("Enter PIN").fill(world.program.pin);
    await page.getByRole("button", { name: "Login" }).click();
    await waitForRows(page, ["Trip"]);
    await assertTold(page, [
      "RootWebArea Harbinet PRO - File Manager",
      "banner",
      "heading HTTPS Harbinet PRO",
      "region Upload - Explorer",
      "region Upload - Drag & Drop",
      "region Download Files",
      "button Choose files",
      "button Upload",
      "button Delete all selected files permanently",
      "table",
      "columnheader Name",
      "columnheader Size",
      "columnheader Actions",
      "checkbox Select all files (unchecked)",
      "link Trip",
      "button Delete this directory permanently: Trip",
      "button Create a direct link for this folder: Trip",
      "textbox New folder name",
      "button Create folder",
      "contentinfo",
    ]);
    await page.getByRole("link", { name: "Trip", exact: true }).click();
    await waitForRows(page, ["a.txt", "b.txt"]);
    await assertTold(page, [
      "link .. (parent folder)",
      "checkbox Select a.txt (unchecked)",
      "button Download this file: a.txt",
      "button Delete this file permanently: a.txt",
      "button Create a direct download link: b.txt",
    ]);
    await page.getByRole("checkbox", { name: "Select a.txt" }).check();
    await page.getByRole("checkbox", { name: "Select b.txt" }).check();
    await assertTold(page, [
      "checkbox Select a.txt (checked)",
      "checkbox Select b.txt (checked)",
      "button Download ZIP",
    ]);
    await page.route("**/api/zip", kForever);
    await page.getByRole("button", { name: "Download ZIP" }).click();
    await assertTold(page, [
      "dialog Download ZIP",
      "progressbar Download ZIP",
      "status",
      "button Close",
    ]);
    const told = await tellAll(page);
    assert.ok(!told.includes("button Upload"), "what lies under the dialog is not told");
  },
);
