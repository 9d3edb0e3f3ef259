// Table rows are copies of the templates in the page. The controls of a row carry what they do in
// data-action and the name that they do it to, URI-encoded, in data-name; check boxes carry the
// plain name.

import { focusAgain, focusMark } from "./focus_mark.js";
import { markupText } from "./markup_text.js";

export function copyTemplate(id) {
  return document.getElementById(id).content.firstElementChild.cloneNode(true);
}

export function fillRow(row, name) {
  const label = row.querySelector(".name");
  label.innerHTML = markupText(name);
  for (const control of row.querySelectorAll("[data-action]")) {
    control.dataset.name = encodeURIComponent(name);
  }
  for (const button of row.querySelectorAll("button")) {
    button.setAttribute("aria-label", `${button.title}: ${name}`);
  }
  return row;
}

export function fillCheckBox(row, name) {
  const checkBox = row.querySelector("input");
  checkBox.dataset.name = name;
  checkBox.setAttribute("aria-label", `Select ${name}`);
}

function replaceRows(body, rows) {
  const isSame = rows.length === body.rows.length && rows.every((row, i) => row === body.rows[i]);
  if (isSame) {
    return;
  }
  const fragment = document.createDocumentFragment();
  for (const row of rows) {
    fragment.append(row);
  }
  const mark = focusMark(document.activeElement);
  body.replaceChildren(fragment);
  focusAgain(mark);
}

// Gives show(items, isChecked): it fills the table body with the rows that makeRow(item) makes, and
// checks those whose isChecked(name) is true. An item that stays as it is keeps its row: making
// thousands of rows anew with every refresh would hold up the page.
export function createListing(body, makeRow) {
  let rowOfItem = new Map();
  return (items, isChecked) => {
    const known = rowOfItem;
    rowOfItem = new Map();
    for (const item of items) {
      const key = JSON.stringify(item);
      const row = known.get(key) ?? makeRow(item);
      rowOfItem.set(key, row);
      const checkBox = row.querySelector("input");
      if (checkBox !== null) {
        checkBox.checked = isChecked(item.name);
      }
    }
    replaceRows(body, Array.from(rowOfItem.values()));
  };
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
