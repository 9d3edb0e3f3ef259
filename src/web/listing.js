// Table rows are copies of the templates in the page. The controls of a row carry what they do in
// data-action and the name that they do it to, URI-encoded, in data-name; check boxes carry the
// plain name.

import { keepFocus } from "./focus_mark.js";
import { markupText } from "./markup_text.js";
import { orderRows } from "./row_order.js";
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
    this.makeRow = makeRow;
    this.onRows = onRows;
    // key: { row, checkBox, size } of every row in the body
    this.entries = new Map();
    // What is left to add, or null.
    this.additions = null;
  }

  addEntry(key, item, isChecked) {
    const row = this.makeRow(item);
    const entry = { row, checkBox: row.querySelector("input"), size: undefined };
    this.entries.set(key, entry);
    updateEntry(entry, item, isChecked);
    return row;
  }

  removeAllBut(wanted) {
    for (const [key, { row }] of this.entries) {
      if (!wanted.has(key)) {
        row.remove();
        this.entries.delete(key);
      }
    }
  }

  updateAndOrder(wanted, isChecked) {
    const rows = [];
    for (const [key, item] of wanted) {
      const entry = this.entries.get(key);
      if (entry !== undefined) {
        updateEntry(entry, item, isChecked);
        rows.push(entry.row);
      }
    }
    orderRows(this.body, rows);
  }

  // Adds one missing row with each step.
  *missingRows(wanted, isChecked) {
    let next = this.body.rows[0] ?? null;
    for (const [key, item] of wanted) {
      const entry = this.entries.get(key);
      if (entry === undefined) {
        this.body.insertBefore(this.addEntry(key, item, isChecked), next);
        yield;
      } else {
        next = entry.row.nextElementSibling;
      }
    }
  }

  // Adds up to `count` rows, and sees to it that the rest follows.
  add(count) {
    const { additions } = this;
    for (let i = 0; i < count; i += 1) {
      if (additions.next().done) {
        this.additions = null;
        this.onRows(true);
        return;
      }
    }
    soon(() => {
      if (this.additions === additions) {
        this.add(kMoreRows);
      }
    });
  }

  show(items, isChecked) {
    const wanted = itemsByKey(items);
    keepFocus(this.body, () => {
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
}

// Gives show(items, isChecked), which fills the table body with the rows that makeRow(item) makes,
// and checks those whose isChecked(name) is true, and complete(), which adds at once what is still
// to come of a large folder. Only rows that differ are touched: whatever the user is doing with the
// others goes on. onRows(isComplete) is called when rows have changed, and again when none is missing any more.
export function createListing(body, makeRow, onRows) {
  const listing = new Listing(body, makeRow, onRows);
  return {
    show: (items, isChecked) => listing.show(items, isChecked),
    complete: () => listing.complete(),
  };
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
