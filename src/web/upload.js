// Sends files as one multipart form and shows how far it is.

import { abortWhenSilent } from "./patience.js";
import { sendRequest, showProgress } from "./request.js";
import { megabytes, totalSize } from "./size_text.js";
import { showTransfer } from "./transfer_dialog.js";

function formOf(files) {
  const form = new FormData();
  for (const file of files) {
    form.append("files", file, file.name);
  }
  return form;
}

export function sendFiles(address, files, title) {
  const detail = `${files.length} file(s), ${megabytes(totalSize(files))} MB`;
  showTransfer(title, "Preparing upload…", detail);
  const request = new XMLHttpRequest();
  request.open("POST", address);
  showProgress(request.upload, "Uploading", "sent");
  abortWhenSilent(request);
  return sendRequest(request, formOf(files));
}
