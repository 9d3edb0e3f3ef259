// What eyes and devices that differ need: contrast, sizes, blanks, other directions of writing, zoom, forced colours,
// less motion.

import assert from "node:assert/strict";
import fs from "node:fs";
import { pick, select } from "./transfer_probe.mjs";
import {
  kDesktop,
  openFileManager,
  openSharedFolder,
  pageTest,
  kPhone,
  picked,
  rootPath,
  rowOf,
  transfer,
  useWorld,
  waitForRows,
  world,
} from "./world.mjs";
import { sticksOut } from "./visitor_checks.mjs";

useWorld();

const kFiles = { "a.txt": "alpha", "Photos/c.txt": "c" };
const kView = { files: kFiles };
const kForever = () => {};
const kSmallPhone = { ...kPhone, viewport: { width: 360, height: 740 } };

const openLogin = (page) => page.goto(`${world.program.origin}/`);
const openPhotos = (page) => openSharedFolder(page, "Photos");
const kPages = [
  ["login page", openLogin, false],
  ["file manager", openFileManager, true],
  ["shared folder", openPhotos, false],
];

// The focused control, the colour of its ring, and the colours that the ring may lie on: those of the control itself
// and of what is around it.
function ringOfFocused() {
  const shades = [];
  const focused = document.activeElement;
  for (let element = focused; element !== null; element = element.parentElement) {
    const { backgroundColor } = getComputedStyle(element);
    if (!/, 0\)$/.test(backgroundColor)) {
      shades.push(backgroundColor);
    }
  }
  const { outlineColor, outlineStyle, outlineWidth } = getComputedStyle(focused);
  return {
    control: focused === document.body ? null : focused.outerHTML.slice(0, 80),
    ring: outlineColor,
    line: `${outlineStyle} ${outlineWidth}`,
    shades: shades.length === 0 ? ["rgb(255, 255, 255)"] : shades.slice(0, 2),
  };
}

function luminance(colour) {
  const parts = colour.match(/\d+/g).slice(0, 3);
  const [red, green, blue] = parts.map((part) => {
    const value = part / 255;
    return value <= 0.03928 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}

function contrast(one, two) {
  const [dark, light] = [luminance(one), luminance(two)].sort((a, b) => a - b);
  return (light + 0.05) / (dark + 0.05);
}

for (const [name, open, session] of kPages) {
  pageTest(
    `the focus ring is seen on every control of the ${name}`,
    { ...kView, session },
    async ({ page }) => {
      await open(page);
      if (name !== "login page") {
        await page.locator("#rows tr").first().waitFor();
      }
      const seen = new Set();
      for (let i = 0; i < 30; i += 1) {
        await page.keyboard.press("Tab");
        const { control, ring, line, shades } = await page.evaluate(ringOfFocused);
        if (control === null) {
          break;
        }
        seen.add(control);
        assert.equal(line, "solid 2px", control);
        for (const shade of shades) {
          const ratio = contrast(ring, shade);
          assert.ok(ratio >= 3, `${control}: ${ring} on ${shade}: ${ratio}`);
        }
      }
      assert.ok(seen.size >= 2, `${seen.size} controls`);
    },
  );
}

pageTest("the focus ring is seen on the head of the table", kView, async ({ page }) => {
  await openFileManager(page);
  await page.locator("#deleteSelectedBtn").focus();
  await page.keyboard.press("Tab");
  const { control, ring, shades } = await page.evaluate(ringOfFocused);
  assert.match(control, /selAll/);
  assert.equal(shades[0], "rgb(204, 204, 204)");
  assert.ok(contrast(ring, shades[0]) >= 3);
});

for (const [device, context] of [
  ["a phone", kPhone],
  ["a tablet", { ...kPhone, viewport: { width: 1024, height: 768 } }],
]) {
  for (const [name, open, session] of kPages) {
    pageTest(
      `no field of the ${name} makes ${device} zoom in`,
      { ...kView, session, context },
      async ({ page }) => {
        await open(page);
        const sizes = await page
          .locator("input:not([type=checkbox]):not([type=file])")
          .evaluateAll((fields) =>
            fields.map((field) => parseFloat(getComputedStyle(field).fontSize)),
          );
        assert.ok(
          sizes.every((size) => size >= 16),
          sizes.join(),
        );
      },
    );
  }
}

pageTest(
  "two blanks in a name are seen as two",
  { files: { "a  b.txt": "1", "d  e/x": "2" } },
  async ({ page }) => {
    await openFileManager(page);
    await waitForRows(page, ["a  b.txt", "d  e"]);
    const shown = (selector) => page.locator(selector).evaluate((element) => element.innerText);
    assert.match(await shown("#rows"), /a {2}b\.txt/);
    assert.match(await shown("#rows"), /d {2}e/);
    await pick(page, picked("f  g.txt"));
    assert.equal(await shown("#fileLabel"), "f  g.txt");
    await page.route("**/download**", (route) => route.fulfill({ status: 204 }));
    await rowOf(page, "a  b.txt").getByTitle("Download this file").click();
    assert.equal(await shown("#xferDetail"), "a  b.txt");
    await page.locator("#xferModal").waitFor({ state: "hidden" });
    await page.getByRole("link", { name: "d  e" }).click();
    await waitForRows(page, ["x"]);
    assert.equal(await shown("#path"), "/d  e");
    await openSharedFolder(page, "d  e");
  },
);

pageTest(
  "two blanks in a shared name are seen as two",
  { session: false, files: { "S/a  b.txt": "1" } },
  async ({ page }) => {
    await openSharedFolder(page, "S");
    await waitForRows(page, ["a  b.txt"]);
    assert.match(await page.locator("#rows").evaluate((rows) => rows.innerText), /a {2}b\.txt/);
  },
);

pageTest("the file manager has one heading of the first level", kView, async ({ page }) => {
  await openFileManager(page);
  const heading = page.getByRole("heading", { level: 1 });
  assert.equal(await heading.count(), 1);
  assert.equal(await heading.textContent(), "HTTPS Harbinet PRO");
  const names = ["font-size", "font-weight", "margin"];
  const style = await heading.evaluate(
    (element, wanted) =>
      wanted.map((property) => getComputedStyle(element).getPropertyValue(property)),
    names,
  );
  assert.deepEqual(style, ["16px", "400", "0px"]);
});

async function openTransfer(page) {
  await openFileManager(page);
  await select(page, "a.txt");
  await page.route("**/api/zip", kForever);
  await page.locator("#zipBtn").click();
  assert.equal((await transfer(page)).open, true);
}

// The colours across the middle of the progress bar, each once, from left to right.
async function coloursOfBar(page) {
  await page.locator("#xferBar").evaluate((bar) => {
    bar.value = 50;
  });
  const place = await page.locator("#xferBar").boundingBox();
  const clip = { x: place.x - 4, y: place.y + 8, width: place.width + 8, height: 1 };
  const picture = (await page.screenshot({ clip })).toString("base64");
  return page.evaluate(async (data) => {
    const image = new Image();
    image.src = `data:image/png;base64,${data}`;
    await image.decode();
    const canvas = document.createElement("canvas");
    canvas.width = image.width;
    canvas.height = 1;
    const painter = canvas.getContext("2d");
    painter.drawImage(image, 0, 0);
    const colours = [];
    for (let x = 0; x < image.width; x += 1) {
      const colour = painter.getImageData(x, 0, 1, 1).data.slice(0, 3).join();
      if (colour !== colours.at(-1)) {
        colours.push(colour);
      }
    }
    return colours;
  }, picture);
}

for (const colorScheme of ["light", "dark"]) {
  pageTest(`the progress bar is seen in forced ${colorScheme} colours`, kView, async ({ page }) => {
    await page.emulateMedia({ forcedColors: "active", reducedMotion: "reduce", colorScheme });
    await openTransfer(page);
    const colours = await coloursOfBar(page);
    // Outside, edge, done, to do, edge, outside.
    assert.equal(colours.length, 6, colours.join(" | "));
    const [outside, edge, done, left] = colours.map((colour) => `rgb(${colour})`);
    assert.ok(contrast(edge, outside) >= 3, `edge ${edge} on ${outside}`);
    assert.ok(contrast(done, left) >= 3, `done ${done} on ${left}`);
  });
}

// The transitions that the style sheet asks for, where its conditions are met.
function transitions() {
  const found = [];
  const visit = (rules) => {
    for (const rule of rules) {
      if (rule.media !== undefined && matchMedia(rule.conditionText).matches) {
        visit(rule.cssRules);
      } else if (rule.style?.transitionDuration) {
        found.push(`${rule.selectorText} ${rule.style.transitionDuration}`);
      }
    }
  };
  for (const { cssRules } of document.styleSheets) {
    visit(cssRules);
  }
  return found;
}

pageTest("nothing moves by itself where less motion is wanted", kView, async ({ page }) => {
  await openFileManager(page);
  const bar = "#xferBar::-webkit-progress-value";
  assert.deepEqual(await page.evaluate(transitions), [`${bar} 150ms`]);
  await page.emulateMedia({ reducedMotion: "reduce" });
  assert.deepEqual(await page.evaluate(transitions), [`${bar} 150ms`, `${bar} 0s`]);
});

const kOdd = {
  "Folder/": null,
  [`${"W".repeat(251)}.txt`]: "long",
  "שלום עולם - مرحبا 123.txt": "right to left",
  "\u{1f469}\u200d\u{1f469}\u200d\u{1f467}\u200d\u{1f466} \u{1f3f3}\ufe0f\u200d\u{1f308} \u{1f44d}\u{1f3fd}.txt":
    "emoji",
  [`z${"\u0351\u036b\u0343\u036a\u0302".repeat(10)}algo e\u0301.txt`]: "combining marks",
};

// Of all texts for a size these two are among the widest.
const kWideSizes = { "disk.iso": 1073636966, "notes.pdf": 248115 };

// Makes files of those sizes without writing as much.
function makeWide(folder) {
  for (const [name, size] of Object.entries(kWideSizes)) {
    fs.writeFileSync(rootPath(folder, name), "");
    fs.truncateSync(rootPath(folder, name), size);
  }
}

function sizesShown(page) {
  return page.locator("#rows .sizeCell").allTextContents();
}

for (const [device, context] of [
  ["at 360 px", kSmallPhone],
  ["at 600 px", { viewport: { width: 600, height: 800 } }],
  ["at 601 px", { viewport: { width: 601, height: 800 } }],
  ["on a tablet held upright", { ...kPhone, viewport: { width: 768, height: 1024 } }],
  ["at twice the size", { viewport: { width: 640, height: 400 }, deviceScaleFactor: 2 }],
  ["on a desktop", kDesktop],
]) {
  pageTest(
    `the oddest names fit into the file manager ${device}`,
    { files: kOdd, context },
    async ({ page }) => {
      makeWide("");
      await openFileManager(page);
      await waitForRows(
        page,
        [...Object.keys(kOdd), ...Object.keys(kWideSizes)].map((name) => name.replace("/", "")),
      );
      const sizes = await sizesShown(page);
      assert.ok(sizes.includes("1023.9 MB") && sizes.includes("242.3 KB"), sizes.join());
      assert.equal(
        await page.evaluate(() => document.documentElement.scrollWidth),
        context.viewport.width,
      );
      assert.deepEqual(await page.evaluate(sticksOut), []);
      // A name in the other direction does not change the places of the cells.
      const lefts = await page
        .locator("#rows .name")
        .evaluateAll((names) => names.map((name) => name.getBoundingClientRect().left));
      assert.equal(new Set(lefts).size, 1, lefts.join());
    },
  );

  pageTest(
    `the oddest names fit into the shared folder ${device}`,
    {
      session: false,
      context,
      files: Object.fromEntries(Object.entries(kOdd).map(([name, text]) => [`S/${name}`, text])),
    },
    async ({ page }) => {
      makeWide("S");
      await openSharedFolder(page, "S");
      const sizes = await sizesShown(page);
      assert.ok(sizes.includes("1023.9 MB") && sizes.includes("242.3 KB"), sizes.join());
      assert.equal(
        await page.evaluate(() => document.documentElement.scrollWidth),
        context.viewport.width,
      );
      assert.deepEqual(await page.evaluate(sticksOut), []);
    },
  );
}

pageTest(
  "a path of names from right to left keeps its order",
  { files: { "אב/גד/x": "x" } },
  async ({ page }) => {
    await openFileManager(page);
    await page.getByRole("link", { name: "אב" }).click();
    await page.getByRole("link", { name: "גד" }).click();
    await waitForRows(page, ["x"]);
    assert.equal(await page.locator("#path").textContent(), "/אב/גד");
    const lefts = await page
      .locator("#path bdi")
      .evaluateAll((parts) => parts.map((part) => part.getBoundingClientRect().left));
    assert.ok(lefts[0] < lefts[1], lefts.join());
  },
);

for (const [name, open, session] of kPages) {
  pageTest(
    `the ${name} comes with one request, below 40 KB, and nothing jumps`,
    { ...kView, session },
    async ({ page }) => {
      const requests = [];
      page.on("request", (request) => {
        if (!request.url().startsWith("data:")) {
          requests.push(request);
        }
      });
      await page.addInitScript(() => {
        globalThis.jumps = [];
        new PerformanceObserver((list) => {
          for (const { value, sources } of list.getEntries()) {
            globalThis.jumps.push([value, ...sources.map(({ node }) => node?.nodeName)]);
          }
        }).observe({ type: "layout-shift", buffered: true });
      });
      await open(page);
      if (name !== "login page") {
        await page.locator("#rows tr").first().waitFor();
      }
      await page.evaluate(
        () => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve))),
      );
      const addresses = requests.map((request) => new URL(request.url()).pathname);
      assert.equal(
        addresses.filter((address) => !address.endsWith("/api/list")).length,
        1,
        addresses.join(),
      );
      const size = (await (await requests[0].response()).body()).length;
      assert.ok(size > 2000 && size < 40000, `${size} bytes`);
      assert.deepEqual(await page.evaluate(() => globalThis.jumps), []);
      assert.equal(await page.locator("body").isVisible(), true);
    },
  );
}

pageTest(
  "what stands below a listing that does not come is shown all the same",
  kView,
  async ({ page }) => {
    await page.route("**/api/list**", kForever);
    await openLogin(page);
    await page.locator("#mkdirName").waitFor({ state: "visible" });
  },
);
