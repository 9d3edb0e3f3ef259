// Chromium, through the page: from the click until the file is there. The program has its own page; the other servers
// get one with the same two actions.
import fs from "node:fs";
import path from "node:path";
import { launchChromium } from "../tests/pages/chromium.mjs";

import { serversOf, uploadFile, urlOf } from "./clients.mjs";
import { by, information, medians } from "./rows.mjs";

const kMiB = 1024 * 1024;
const kLongMilliseconds = 180_000;

// What the plain servers publish in place of a file manager.
function plainPage(server) {
  const [target] = server.uploadTo("browser.bin");
  const request = server.takesForms
    ? "const body = new FormData(); body.append('file', file); const method = 'POST';"
    : "const body = file; const method = 'PUT';";
  return `<!doctype html><html><head><title>bench</title></head><body>
<a id="down" href="large.bin">large.bin</a>
<input id="files" type="file"><button id="up">Upload</button><p id="text"></p>
<script>
document.getElementById("up").onclick = async () => {
  const file = document.getElementById("files").files[0];
  ${request}
  const reply = await fetch("${target}", { method, body });
  document.getElementById("text").textContent = reply.ok ? "Upload done." : "failed";
};
</script></body></html>`;
}

const kProgramPage = {
  name: "",
  download: (page) =>
    page
      .locator("#rows tr")
      .filter({ has: page.getByText("large.bin", { exact: true }) })
      .getByTitle("Download this file"),
  upload: (page) => page.locator("#uploadBtn"),
  text: "xferText",
};

const kPlainPage = {
  download: (page) => page.locator("#down"),
  upload: (page) => page.locator("#up"),
  text: "text",
};

function pageOf(context, server) {
  if (server === context.harbinet) return kProgramPage;
  const name = `${server.takesForms ? "form" : "put"}.html`;
  fs.writeFileSync(path.join(context.folder, "files", name), plainPage(server));
  return { ...kPlainPage, name };
}

async function downloadSeconds(page, { download }) {
  const button = download(page);
  await button.waitFor();
  const start = performance.now();
  const [file] = await Promise.all([page.waitForEvent("download"), button.click()]);
  await file.path();
  const seconds = (performance.now() - start) / 1000;
  await file.delete();
  return seconds;
}

async function uploadSeconds(page, { upload, text }, file) {
  await page.locator("#files").setInputFiles(file);
  const start = performance.now();
  await upload(page).click();
  await page.waitForFunction(
    (id) => document.getElementById(id).textContent === "Upload done.",
    text,
  );
  return (performance.now() - start) / 1000;
}

// Seconds of `act` in a page of each server, with a fresh context for each.
async function inBrowser(context, act) {
  const browser = await launchChromium({ downloadsPath: context.folder });
  try {
    const tasks = serversOf(context).map((server) => async () => {
      const tab = await browser.newContext({ ignoreHTTPSErrors: true });
      tab.setDefaultTimeout(kLongMilliseconds);
      for (const header of server.file("")[1]) {
        const [name, value] = header.replace("Cookie: ", "").split("=");
        await tab.addCookies([{ name, value, url: urlOf(server, "") }]);
      }
      const page = await tab.newPage();
      const kind = pageOf(context, server);
      await page.goto(urlOf(server, kind.name));
      const seconds = await act(page, kind);
      await tab.close();
      return seconds;
    });
    return await medians(context.size.rounds, tasks);
  } finally {
    await browser.close();
  }
}

function rowsOf(what, [own, bare, native]) {
  const text = (seconds) => `${seconds.toFixed(2)} s`;
  return by("Chromium", [
    information(what, text(own), `bare loop ${text(bare)}`, own / bare),
    information(what, text(own), `nginx ${text(native)}`, own / native),
  ]);
}

async function chromiumDown(context) {
  const seconds = await inBrowser(context, downloadSeconds);
  return rowsOf(`download through the page, ${context.size.large} MiB, click to done`, seconds);
}

async function chromiumUp(context) {
  const file = uploadFile(context, "large-upload.bin", context.size.upload * kMiB);
  const seconds = await inBrowser(context, (page, kind) => uploadSeconds(page, kind, file));
  const what = `upload through the page, ${context.size.upload} MiB, click to done (nginx: PUT)`;
  return rowsOf(what, seconds);
}

export const kBrowserMeasures = { chromiumDown, chromiumUp };
