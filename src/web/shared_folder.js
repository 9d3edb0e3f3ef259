// The page behind a folder link: lists, downloads, uploads and deletes the files of one folder. The
// link itself is the right to do so; every request goes to an address below the page's own.

import { installDropZone } from "./drop_zone.js";
import { clearPickedFiles, installFilePicker, pickedFiles } from "./file_label.js";
import { addDownloadFrame } from "./hidden_frame.js";
import { createFileRow, createListing, installRowActions, listingHasCome } from "./listing.js";
import { inTime } from "./patience.js";
import { isSuccess, jsonPost, parseJson } from "./request.js";
import { keepStill } from "./still_rows.js";
import {
  finishTransfer,
  installTransferDialog,
  showTransfer,
  updateTransfer,
} from "./transfer_dialog.js";
import { sendFiles } from "./upload.js";

const kRefreshMs = 5000;
const kFrameMs = 15000;
const kFrameStepMs = 200;

const base = location.pathname.replace(/\/+$/, "");
const rows = document.getElementById("rows");
const checkAll = document.getElementById("chkAll");
const downloadSelectedButton = document.getElementById("dlSelBtn");
const deleteSelectedButton = document.getElementById("delSelBtn");

const selection = new Set();
let isRefreshing = false;
let isUploading = false;

async function callFolder(address, options) {
  const response = await fetch(base + address, options);
  if (!response.ok) {
    throw new Error((await response.text()) || `HTTP ${response.status}`);
  }
  return response.json();
}

function downloadAddress(name) {
  return `${base}/download?name=${encodeURIComponent(name)}`;
}

function showSelection() {
  const boxes = listing.length;
  const checked = listing.checkedNames().length;
  document.getElementById("selInfo").textContent = `${selection.size} selected`;
  downloadSelectedButton.disabled = selection.size === 0;
  deleteSelectedButton.disabled = selection.size === 0;
  checkAll.checked = checked > 0 && checked === boxes;
  checkAll.indeterminate = checked > 0 && checked < boxes;
}

function rowOf(item) {
  return createFileRow(item.name);
}

const listing = createListing(rows, rowOf, showSelection);
const whenStill = keepStill(document.querySelector("main"));

function showItems(items) {
  const names = new Set(items.map((item) => item.name));
  for (const name of selection) {
    if (!names.has(name)) {
      selection.delete(name);
    }
  }
  const sized = items.map((item) => ({ ...item, size: item.size ?? 0 }));
  listing.show(sized, (name) => selection.has(name));
}

async function refresh() {
  if (isRefreshing || isUploading || document.visibilityState !== "visible") {
    return;
  }
  isRefreshing = true;
  try {
    const answer = await inTime((signal) => callFolder("/api/list", { signal }));
    whenStill(() => showItems(answer.items ?? []));
  } catch {
    // The next refresh tries again.
  } finally {
    isRefreshing = false;
  }
}

function setSelected(name, isSelected) {
  if (isSelected) {
    selection.add(name);
  } else {
    selection.delete(name);
  }
}

function selectAll() {
  const { checked } = checkAll;
  listing.complete();
  selection.clear();
  for (const box of rows.querySelectorAll("[data-filechk]")) {
    box.checked = checked;
    setSelected(box.dataset.name, checked);
  }
  showSelection();
}

// The selection is shown at once: during an upload no refresh does it.
async function deleteNamed(name) {
  await callFolder("/api/delete", jsonPost({ name }));
  selection.delete(name);
  showSelection();
}

async function deleteFile(name) {
  if (!confirm(`Delete file '${name}'?`)) {
    return;
  }
  try {
    await deleteNamed(name);
    await refresh();
  } catch (error) {
    alert(error.message || "Delete failed");
  }
}

function downloadFile(name) {
  showTransfer("Download", "Starting download…", name);
  location.href = downloadAddress(name);
  finishTransfer("Download started.", name, 900);
}

function downloadSelected() {
  if (selection.size === 0) {
    return;
  }
  const count = `${selection.size} file(s)`;
  showTransfer("Download", "Starting downloads…", count);
  for (const [idx, name] of Array.from(selection).entries()) {
    const frame = addDownloadFrame(downloadAddress(name));
    setTimeout(() => frame.remove(), kFrameMs + idx * kFrameStepMs);
  }
  finishTransfer("Downloads started.", count, 1100);
}

// True when the file was deleted; a failure is told in the dialog and counted by the caller.
async function deleteOneOf(name, i, n) {
  const percentage = Math.round(((i + 1) / n) * 100);
  const text = `Deleting: ${i + 1}/${n}`;
  try {
    await deleteNamed(name);
  } catch {
    updateTransfer(percentage, text, `FAILED: ${name}`);
    return false;
  }
  updateTransfer(percentage, text, name);
  return true;
}

async function deleteSelected() {
  const names = Array.from(selection);
  if (names.length === 0 || !confirm(`Delete ${names.length} selected file(s)?`)) {
    return;
  }
  showTransfer("Delete", "Deleting selected files…", `${names.length} file(s)`);
  let deleted = 0;
  for (const [i, name] of names.entries()) {
    deleted += (await deleteOneOf(name, i, names.length)) ? 1 : 0;
  }
  await refresh();
  const failed = names.length - deleted;
  if (failed === 0) {
    finishTransfer("Delete done.", `${deleted} file(s) deleted`, 1100);
  } else {
    finishTransfer("Delete finished with errors.", `${deleted} deleted, ${failed} failed`, 1600);
  }
}

// The detail to show when the upload was refused, or null. A body that is not JSON counts as
// success.
function uploadRefusal(request) {
  if (!isSuccess(request.status)) {
    return request.responseText || `HTTP ${request.status}`;
  }
  const answer = parseJson(request.responseText)?.value;
  return answer?.ok === false ? (answer.error ?? "") : null;
}

function showUploadResult(request) {
  const refusal = uploadRefusal(request);
  if (refusal !== null) {
    updateTransfer(0, "Upload failed.", refusal);
    return;
  }
  clearPickedFiles();
  updateTransfer(100, "Upload done.");
  // The upload still counts as running, so that this refresh is skipped: the new files appear with
  // the next one.
  refresh();
  finishTransfer("Upload done.", undefined, 900);
}

async function sendAndShow(files) {
  let request;
  try {
    request = await sendFiles(`${base}/upload`, files, "Upload");
  } catch {
    updateTransfer(0, "Upload error.", "Network error");
    return;
  }
  showUploadResult(request);
}

async function upload(files) {
  if (isUploading) {
    return;
  }
  if (files.length === 0) {
    showTransfer("Upload", "No files selected.");
    finishTransfer("Nothing to upload.", undefined, 900);
    return;
  }
  isUploading = true;
  try {
    await sendAndShow(files);
  } finally {
    isUploading = false;
  }
}

function installControls() {
  document.getElementById("uploadBtn").addEventListener("click", () => upload(pickedFiles()));
  downloadSelectedButton.addEventListener("click", downloadSelected);
  deleteSelectedButton.addEventListener("click", deleteSelected);
  checkAll.addEventListener("change", selectAll);
  rows.addEventListener("change", (event) => {
    setSelected(event.target.dataset.name, event.target.checked);
    showSelection();
  });
  installRowActions(rows, { downloadFile, deleteFile });
}

installTransferDialog();
installDropZone(upload);
installFilePicker();
installControls();
refresh().then(listingHasCome);
setInterval(refresh, kRefreshMs);
