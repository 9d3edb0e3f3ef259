// Gives the focus back after the control that had it went away for a while, or for good.

function isFocusLost() {
  return document.activeElement === null || document.activeElement === document.body;
}

// Names the control by what it does, so that its successor can be found when it was made anew.
function selectorOf({ id, dataset }) {
  if (id) {
    return `#${CSS.escape(id)}`;
  }
  const { action, name } = dataset;
  if (action === undefined) {
    return null;
  }
  const nameMark = name === undefined ? "" : `[data-name="${CSS.escape(name)}"]`;
  return `[data-action="${CSS.escape(action)}"]${nameMark}`;
}

function focusOn(element) {
  element?.focus({ preventScroll: true });
}

function selectAllBox() {
  return document.querySelector("thead input");
}

// Remembers the control that has the focus; null when none has it.
export function focusMark() {
  const element = document.activeElement;
  return isFocusLost() ? null : { element, selector: selectorOf(element) };
}

function successorOf({ element, selector }) {
  if (element.isConnected || selector === null) {
    return element;
  }
  return document.querySelector(selector);
}

// A control that is gone or disabled leaves the focus to the box above the listing.
export function focusAgain(mark) {
  if (mark !== null && isFocusLost()) {
    focusOn(successorOf(mark));
    if (isFocusLost()) {
      focusOn(selectAllBox());
    }
  }
}

// Of the row that took the place of a removed one: the control that does the same, or else any.
function controlInPlaceOf({ dataset }, row) {
  const same = `[data-action="${CSS.escape(dataset.action ?? "")}"]`;
  return row?.querySelector(same) ?? row?.querySelector("[data-action]");
}

// Runs change(), which moves and removes rows of the table body. A control in them that had the
// focus keeps it; the control of a row that went hands it on to the row that follows.
// rows() gives them in their order.
export function keepFocus(body, rows, change) {
  const element = document.activeElement;
  const index = body.contains(element) ? rows().indexOf(element.closest("tr")) : null;
  change();
  if (index === null || !isFocusLost()) {
    return;
  }
  focusOn(successorOf({ element, selector: selectorOf(element) }));
  if (isFocusLost()) {
    const left = rows();
    focusOn(controlInPlaceOf(element, left[Math.min(index, left.length - 1)]));
  }
  if (isFocusLost()) {
    focusOn(selectAllBox());
  }
}

// The folder that the focus was in is no longer shown: it goes to the first link of the new one.
export function focusFirstRow(body) {
  if (isFocusLost() || body.contains(document.activeElement)) {
    (body.querySelector("a") ?? body.querySelector("[data-action]") ?? selectAllBox()).focus();
  }
}
