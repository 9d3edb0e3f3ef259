// The file manager: shows one folder of the web root at a time and works on it.

import { callApi, openLoginPage, postJson } from "./api.js";
import { downloadAll, downloadOne, downloadZip } from "./download.js";
import { installDropZone } from "./drop_zone.js";
import { clearPickedFiles, installFilePicker, pickedFiles } from "./file_label.js";
import { focusFirstRow } from "./focus_mark.js";
import {
  copyTemplate,
  createFileRow,
  createListing,
  createRow,
  installRowActions,
  listingHasCome,
} from "./listing.js";
import { createAsking } from "./patience.js";
import { isSuccess, parseJson } from "./request.js";
import { shareItem } from "./share.js";
import { keepStill } from "./still_rows.js";
import { finishTransfer, installTransferDialog, updateTransfer } from "./transfer_dialog.js";
import { sendFiles } from "./upload.js";

const kRefreshMs = 5000;

const rows = document.getElementById("rows");
const selectAll = document.getElementById("selAll");
const folderName = document.getElementById("mkdirName");

let currentPath = "";
let currentItems = [];
// The folder that the rows came from. It differs from the current path while a listing is on its
// way, and a row's action must still reach the item that the user sees.
let shownPath = "";
let refreshesStarted = 0;
let refreshShown = 0;
// True from a click that leads into another folder until that folder is shown.
let isEntering = false;

const whenStill = keepStill(document.querySelector("main"));
const askAgain = createAsking();

function pathOf(name) {
  return shownPath === "" ? name : `${shownPath}/${name}`;
}

function isEveryFileSelected() {
  return rows.querySelector(".itemSel") !== null && !rows.querySelector(".itemSel:not(:checked)");
}

function rowOf(item) {
  switch (item.type) {
    case "up":
      return copyTemplate("upRow");
    case "dir":
      return createRow("folderRow", item.name);
    default:
      return createFileRow(item.name);
  }
}

const listing = createListing(rows, rowOf, (isComplete) => {
  selectAll.checked = isComplete && isEveryFileSelected();
});

function showItems() {
  const checkedNames = new Set(listing.checkedNames());
  const upItems = shownPath === "" ? [] : [{ type: "up" }];
  listing.show([...upItems, ...currentItems], (name) => checkedNames.has(name));
}

// Each name is a text of its own, so that those written from right to left keep their places.
function showPath(path) {
  const line = document.getElementById("path");
  if (line.textContent === `/${path}`) {
    return;
  }
  line.textContent = "";
  for (const name of path.split("/")) {
    const part = document.createElement("bdi");
    part.textContent = name;
    line.append("/", part);
  }
}

async function refresh() {
  refreshesStarted += 1;
  const order = refreshesStarted;
  const path = currentPath;
  showPath(path);
  selectAll.checked = false;
  const address = `/api/list?path=${encodeURIComponent(path)}`;
  const answer = await askAgain(path, (signal) => callApi(address, { signal }));
  if (answer === undefined) {
    return;
  }
  whenStill(() => {
    // An answer can be overtaken: by a later one, or by a click that enters another folder.
    if (order < refreshShown || path !== currentPath) {
      return;
    }
    refreshShown = order;
    shownPath = path;
    currentItems = answer.items ?? [];
    showItems();
    if (isEntering) {
      isEntering = false;
      focusFirstRow(rows);
    }
  });
}

// A list, create, remove or delete call that fails shows nothing and leaves the listing alone; that
// is meant.
function silently(task) {
  return async (...values) => {
    try {
      await task(...values);
    } catch {
      // Nothing to show.
    }
  };
}

const refreshSilently = silently(refresh);

async function changeAndRefresh(address, members) {
  const answer = await postJson(address, { path: shownPath, ...members });
  if (answer !== undefined) {
    await refresh();
  }
}

function goTo(path) {
  currentPath = path;
  isEntering = true;
  refreshSilently();
}

function goUp() {
  const segments = currentPath.split("/").filter((segment) => segment !== "");
  goTo(segments.slice(0, -1).join("/"));
}

async function createFolder() {
  const name = folderName.value.trim();
  if (name === "") {
    return;
  }
  const answer = await postJson("/api/mkdir", { path: currentPath, name });
  if (answer !== undefined) {
    folderName.value = "";
    await refresh();
  }
}

async function removeFolder(name) {
  if (confirm(`Delete folder '${name}'? (must be empty)`)) {
    await changeAndRefresh("/api/rmdir", { name });
  }
}

async function deleteFile(name) {
  if (confirm(`Delete file '${name}'?`)) {
    await changeAndRefresh("/api/delete", { name });
  }
}

// Calls task(names) with the checked names, if there are any.
function withSelection(task) {
  return () => {
    const names = listing.checkedNames();
    if (names.length === 0) {
      alert("No files selected.");
      return undefined;
    }
    return task(names);
  };
}

async function deleteSelected(names) {
  if (confirm(`Delete ${names.length} file(s)?`)) {
    await changeAndRefresh("/api/delete_many", { names });
  }
}

// The detail to show when the upload was refused, or null. A body that is not JSON counts as
// success.
function uploadRefusal(request) {
  if (!isSuccess(request.status)) {
    return `HTTP ${request.status}`;
  }
  const answer = parseJson(request.responseText);
  if (answer === null || answer.value?.ok === true) {
    return null;
  }
  return answer.value?.error ?? "";
}

function showUploadResult(request, onSuccess) {
  if (request.status === 401) {
    openLoginPage();
    return;
  }
  const refusal = uploadRefusal(request);
  if (refusal !== null) {
    updateTransfer(0, "Upload failed.", refusal);
    return;
  }
  updateTransfer(100, "Upload done.");
  onSuccess();
  refreshSilently();
  finishTransfer("Upload done.", "", 900);
}

async function upload(files, title, onSuccess) {
  if (files.length === 0) {
    return;
  }
  const address = `/upload?path=${encodeURIComponent(currentPath)}`;
  let request;
  try {
    request = await sendFiles(address, files, title);
  } catch {
    updateTransfer(0, "Upload error.", "Network error");
    return;
  }
  showUploadResult(request, onSuccess);
}

function onClick(id, task) {
  document.getElementById(id).addEventListener("click", task);
}

function installControls() {
  onClick("uploadBtn", () => upload(pickedFiles(), "Upload", clearPickedFiles));
  onClick(
    "zipBtn",
    withSelection((names) => downloadZip(shownPath, names)),
  );
  onClick(
    "downloadAllBtn",
    withSelection((names) => downloadAll(names.map((name) => ({ name, path: pathOf(name) })))),
  );
  onClick("deleteSelectedBtn", silently(withSelection(deleteSelected)));
  onClick("mkdirBtn", silently(createFolder));
  selectAll.addEventListener("change", () => {
    const { checked } = selectAll;
    listing.complete();
    for (const box of [selectAll, ...rows.querySelectorAll(".itemSel")]) {
      box.checked = checked;
    }
  });
  installRowActions(rows, {
    goUp,
    enterFolder: (name) => goTo(pathOf(name)),
    removeFolder: silently(removeFolder),
    deleteFile: silently(deleteFile),
    downloadFile: (name) => downloadOne(name, pathOf(name)),
    shareFile: (name) => shareItem(pathOf(name), "file"),
    shareFolder: (name) => shareItem(pathOf(name), "folder"),
  });
}

document.getElementById("proto").textContent = location.protocol === "https:" ? "HTTPS" : "HTTP";
installTransferDialog();
installDropZone((files) => upload(files, "Upload (Drag & Drop)", () => {}));
installFilePicker();
installControls();
refreshSilently().then(listingHasCome);
setInterval(() => {
  if (document.visibilityState === "visible") {
    refreshSilently();
  }
}, kRefreshMs);
