// The three ways to download from the file manager: one file, several files, several files as one
// ZIP.

import { openLoginPage } from "./api.js";
import { addDownloadFrame } from "./hidden_frame.js";
import { isSuccess, parseJson, sendRequest, showProgress } from "./request.js";
import { finishTransfer, showTransfer, updateTransfer } from "./transfer_dialog.js";

const kZipName = "download.zip";
const kFrameMs = 1500;
const kReleaseMs = 1500;

function downloadAddress(path) {
  return `/download?path=${encodeURIComponent(path)}`;
}

function wait(milliseconds) {
  return new Promise((resolve) => {
    setTimeout(resolve, milliseconds);
  });
}

export function downloadOne(name, path) {
  showTransfer("Download", "Starting download…", name);
  location.href = downloadAddress(path);
  finishTransfer("Download started.", name, 900);
}

// files: { name, path } of each.
export async function downloadAll(files) {
  const count = `${files.length} file(s)`;
  showTransfer("Download all", "Starting downloads…", count);
  for (const [i, file] of files.entries()) {
    const percentage = Math.round((i / files.length) * 100);
    updateTransfer(percentage, `Starting download ${i + 1}/${files.length}`, file.name);
    const frame = addDownloadFrame(downloadAddress(file.path));
    // Some browsers lose downloads that follow each other faster.
    await wait(kFrameMs);
    frame.remove();
  }
  finishTransfer("Downloads triggered.", count, 1200);
}

function saveZip(blob) {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(blob);
  link.download = kZipName;
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), kReleaseMs);
}

async function zipRefusal(request) {
  const answer = parseJson(await request.response.text());
  return answer?.value?.error || `ZIP failed (HTTP ${request.status})`;
}

async function showZipResult(request) {
  if (request.status === 401) {
    openLoginPage();
    return;
  }
  if (!isSuccess(request.status)) {
    updateTransfer(0, "Error", await zipRefusal(request));
    return;
  }
  updateTransfer(100, "ZIP created.", "Starting download…");
  saveZip(request.response);
  finishTransfer("Download started.", kZipName, 1000);
}

export async function downloadZip(path, names) {
  showTransfer("Download ZIP", "Preparing ZIP…", `${names.length} file(s)`);
  const request = new XMLHttpRequest();
  request.open("POST", "/api/zip");
  request.setRequestHeader("Content-Type", "application/json");
  request.responseType = "blob";
  showProgress(request, "Creating ZIP", "received");
  try {
    await sendRequest(request, JSON.stringify({ path, names }));
  } catch {
    updateTransfer(0, "Download error.", "Network error");
    return;
  }
  await showZipResult(request);
}
