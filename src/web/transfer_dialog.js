// The dialog that accompanies every transfer. Closing it never aborts the transfer: the functions
// below go on working on the hidden dialog.

import { focusAgain, focusMark } from "./focus_mark.js";

const dialog = document.getElementById("xferModal");
const bar = document.getElementById("xferBar");
const textLine = document.getElementById("xferText");
const detailLine = document.getElementById("xferDetail");

let autoHideTimer = null;
let openerMark = null;

function cancelAutoHide() {
  clearTimeout(autoHideTimer);
  autoHideTimer = null;
}

export function hideTransfer() {
  cancelAutoHide();
  dialog.close();
}

export function updateTransfer(percentage, text, detail) {
  if (typeof percentage === "number") {
    bar.value = Math.min(100, Math.max(0, percentage));
  }
  if (text !== undefined) {
    textLine.textContent = text;
  }
  if (detail !== undefined) {
    detailLine.textContent = detail;
  }
}

export function showTransfer(title, text = "", detail = "") {
  cancelAutoHide();
  document.getElementById("xferTitle").textContent = title || "Transfer";
  updateTransfer(0, text, detail);
  if (!dialog.open) {
    openerMark = focusMark(document.activeElement);
    dialog.showModal();
  }
}

export function finishTransfer(text, detail, delay = 1200) {
  updateTransfer(100, text, detail);
  cancelAutoHide();
  autoHideTimer = setTimeout(hideTransfer, delay);
}

export function installTransferDialog() {
  document.getElementById("xferClose").addEventListener("click", hideTransfer);
  // The Escape key closes the dialog without asking this script first.
  dialog.addEventListener("close", () => {
    cancelAutoHide();
    focusAgain(openerMark);
  });
}
