// The dialog that accompanies every transfer. Closing it never aborts the transfer: the functions
// below go on working on the hidden dialog.

import { focusAgain, focusMark } from "./focus_mark.js";

const dialog = document.getElementById("xferModal");
const bar = document.getElementById("xferBar");
const textLine = document.getElementById("xferText");
const detailLine = document.getElementById("xferDetail");
const closeButton = document.getElementById("xferClose");

// Older browsers know nothing of dialogs. There the attribute alone shows and hides the element.
const isModal = typeof dialog.showModal === "function";

let autoHideTimer = null;
let openerMark = null;

function cancelAutoHide() {
  clearTimeout(autoHideTimer);
  autoHideTimer = null;
}

function handleClosed() {
  cancelAutoHide();
  // A button that is no longer seen can keep the focus for a moment.
  if (dialog.contains(document.activeElement)) {
    document.activeElement.blur();
  }
  focusAgain(openerMark);
}

function open() {
  openerMark = focusMark();
  if (isModal) {
    dialog.showModal();
  } else {
    dialog.setAttribute("open", "");
    closeButton.focus();
  }
}

export function hideTransfer() {
  cancelAutoHide();
  if (isModal) {
    dialog.close();
  } else if (dialog.hasAttribute("open")) {
    dialog.removeAttribute("open");
    handleClosed();
  }
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
  if (!dialog.hasAttribute("open")) {
    open();
  }
}

export function finishTransfer(text, detail, delay = 1200) {
  updateTransfer(100, text, detail);
  cancelAutoHide();
  autoHideTimer = setTimeout(hideTransfer, delay);
}

// What a dialog does by itself: the focus stays inside, and the Escape key closes.
function installPlainDialog() {
  dialog.setAttribute("role", "dialog");
  dialog.setAttribute("aria-modal", "true");
  document.addEventListener("focusin", (event) => {
    if (dialog.hasAttribute("open") && !dialog.contains(event.target)) {
      closeButton.focus();
    }
  });
  document.addEventListener("keydown", (event) => {
    if (event.key === "Escape") {
      hideTransfer();
    } else if (event.key === "Tab" && dialog.hasAttribute("open")) {
      event.preventDefault();
      closeButton.focus();
    }
  });
}

export function installTransferDialog() {
  closeButton.addEventListener("click", hideTransfer);
  if (isModal) {
    // The Escape key closes the dialog without asking this script first. The event comes late: by then
    // the dialog can be open again.
    dialog.addEventListener("close", () => {
      if (!dialog.open) {
        handleClosed();
      }
    });
  } else {
    installPlainDialog();
  }
}
