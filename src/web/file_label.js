// Keeps the text beside the "Choose files" button in step with the hidden file input.

import { megabytes, totalSize } from "./size_text.js";

function labelText(files) {
  if (files.length === 0) {
    return "No files selected";
  }
  if (files.length === 1) {
    return files[0].name;
  }
  return `${files.length} files selected (${megabytes(totalSize(files))} MB)`;
}

const fileInput = document.getElementById("files");
const fileLabel = document.getElementById("fileLabel");

function updateFileLabel() {
  const text = labelText(fileInput.files);
  fileLabel.firstElementChild.textContent = text;
  fileLabel.title = text;
}

export function pickedFiles() {
  return Array.from(fileInput.files);
}

export function clearPickedFiles() {
  fileInput.value = "";
  updateFileLabel();
}

export function installFilePicker() {
  document.getElementById("pickBtn").addEventListener("click", () => fileInput.click());
  fileInput.addEventListener("change", updateFileLabel);
  updateFileLabel();
}
