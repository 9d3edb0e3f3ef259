// Table rows are copies of the templates in the page. The controls of a row carry what they do in
// data-action and the name that they do it to, URI-encoded, in data-name; check boxes carry the
// plain name.

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

export function fillCheckBox(row, name, isChecked) {
  const checkBox = row.querySelector("input");
  checkBox.dataset.name = name;
  checkBox.checked = isChecked;
  checkBox.setAttribute("aria-label", `Select ${name}`);
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
