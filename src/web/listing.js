// Table rows are copies of the templates in the page. The controls of a row carry what they do in
// data-action and the name that they do it to, URI-encoded, in data-name; check boxes carry the
// plain name.

import { keepFocus } from "./focus_mark.js";
import { markupText } from "./markup_text.js";
import { RowGroups } from "./row_groups.js";
import { movesBetween } from "./row_order.js";
import { sizeText } from "./size_text.js";

// A folder of usual size is shown in one piece. The rest of a large one follows in pieces, so that
// the page can be used meanwhile.
const kFirstRows = 300;
const kMoreRows = 250;

export function copyTemplate(id) {
  return document.getElementById(id).content.firstElementChild.cloneNode(true);
}

function setName(label, name) {
  // Most names are no markup; not to start the parser for them saves half of the time.
  if (/[&<>"]/.test(name)) {
    label.innerHTML = markupText(name);
  } else {
    label.textContent = name;
  }
}

export function createRow(templateId, name) {
  const row = copyTemplate(templateId);
  setName(row.querySelector(".name"), name);
  const encoded = encodeURIComponent(name);
  for (const control of row.querySelectorAll("[data-action]")) {
    control.dataset.name = encoded;
    if (control.title !== "") {
      control.setAttribute("aria-label", `${control.title}: ${name}`);
    }
  }
  return row;
}

// A file's row can be selected.
export function createFileRow(name) {
  const row = createRow("fileRow", name);
  const checkBox = row.querySelector("input");
  checkBox.dataset.name = name;
  checkBox.setAttribute("aria-label", `Select ${name}`);
  return row;
}

// What makes two items of successive listings the same one: type and name. No listing should hold a
// name twice, but if one does, each gets its row.
function itemsByKey(items) {
  const byKey = new Map();
  for (const item of items) {
    let key = `${item.type}/${item.name}`;
    while (byKey.has(key)) {
      key += "/";
    }
    byKey.set(key, item);
  }
  return byKey;
}

// Runs task() soon, after the browser has handled what the user did meanwhile.
function soon(task) {
  const { port1, port2 } = new MessageChannel();
  port1.onmessage = task;
  port2.postMessage(null);
}

// Row and controls stay what they are, only their state follows the item.
function updateEntry(entry, item, isChecked) {
  const { row, checkBox } = entry;
  if (checkBox === null) {
    return;
  }
  if (entry.size !== item.size) {
    entry.size = item.size;
    row.querySelector(".sizeCell").textContent = sizeText(item.size);
  }
  const checked = isChecked(item.name);
  if (checkBox.checked !== checked) {
    checkBox.checked = checked;
  }
}

class Listing {
  constructor(body, makeRow, onRows) {
    this.body = body;
    this.groups = new RowGroups(body);
    this.makeRow = makeRow;
    this.onRows = onRows;
    // key: { key, name, row, checkBox, size } of every row in the body
    this.entries = new Map();
    // The entries in the order of the rows: asking the document takes longer.
    this.shown = [];
    // What is left to add, or null.
    this.additions = null;
  }

  makeEntry(key, item, isChecked) {
    const row = this.makeRow(item);
    const checkBox = row.querySelector("input");
    const entry = { key, name: item.name, row, checkBox, size: undefined };
    this.entries.set(key, entry);
    updateEntry(entry, item, isChecked);
    return entry;
  }

  removeAllBut(wanted) {
    this.shown = this.shown.filter((entry) => {
      const stays = wanted.has(entry.key);
      if (!stays) {
        this.groups.remove(entry.row);
        this.entries.delete(entry.key);
      }
      return stays;
    });
  }

  updateAndOrder(wanted, isChecked) {
    const ordered = [];
    for (const [key, item] of wanted) {
      const entry = this.entries.get(key);
      if (entry !== undefined) {
        updateEntry(entry, item, isChecked);
        ordered.push(entry);
      }
    }
    for (const i of movesBetween(this.shown, ordered)) {
      this.groups.place(ordered[i].row, ordered[i - 1]?.row ?? null);
    }
    this.shown = ordered;
  }

  // Adds one missing row with each step.
  *missingRows(wanted, isChecked) {
    let place = 0;
    for (const [key, item] of wanted) {
      if (!this.entries.has(key)) {
        const entry = this.makeEntry(key, item, isChecked);
        this.groups.place(entry.row, this.shown[place - 1]?.row ?? null);
        this.shown.splice(place, 0, entry);
        yield;
      }
      place += 1;
    }
  }

  // Adds up to `count` rows, and sees to it that the rest follows.
  add(count) {
    const { additions } = this;
    let isComplete = false;
    for (let i = 0; i < count && !isComplete; i += 1) {
      isComplete = additions.next().done;
    }
    this.groups.settle();
    if (isComplete) {
      this.additions = null;
      this.onRows(true);
      return;
    }
    soon(() => {
      if (this.additions === additions) {
        this.change(() => this.add(kMoreRows));
      }
    });
  }

  change(task) {
    keepFocus(this.body, () => this.shown.map(({ row }) => row), task);
  }

  show(items, isChecked) {
    const wanted = itemsByKey(items);
    this.change(() => {
      this.removeAllBut(wanted);
      this.updateAndOrder(wanted, isChecked);
      this.additions = this.missingRows(wanted, isChecked);
      this.onRows(false);
      this.add(kFirstRows);
    });
  }

  complete() {
    if (this.additions !== null) {
      this.add(Infinity);
    }
  }

  get length() {
    return this.shown.length;
  }

  checkedNames() {
    return this.shown.filter(({ checkBox }) => checkBox?.checked).map(({ name }) => name);
  }
}

// Gives a listing with show(items, isChecked), which fills the table body with the rows that makeRow(item) makes, and
// checks those whose isChecked(name) is true; complete(), which adds at once what is still to come of a large folder;
// length, the number of rows; and checkedNames(). Only rows that differ are touched: whatever the user is doing with the others goes on.
// onRows(isComplete) is called when rows have changed, and again when none is missing any more.
export function createListing(body, makeRow, onRows) {
  return new Listing(body, makeRow, onRows);
}

// Ends what the style sheet does while the first listing is on its way.
export function listingHasCome() {
  document.body.classList.remove("loading");
}

// Calls actions[data-action](name) for a click on a control anywhere in the table body.
export function installRowActions(rows, actions) {
  rows.addEventListener("click", (event) => {
    const control = event.target.closest("[data-action]");
    const action = actions[control?.dataset.action];
    if (action === undefined) {
      return;
    }
    if (control.matches("a")) {
      event.preventDefault();
    }
    action(decodeURIComponent(control.dataset.name ?? ""));
  });
}
