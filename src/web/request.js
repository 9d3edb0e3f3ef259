// What the requests of the pages have in common.

import { megabytes } from "./size_text.js";
import { updateTransfer } from "./transfer_dialog.js";

export function isSuccess(status) {
  return status >= 200 && status <= 299;
}

// For requests whose progress shows. The promise is kept with the finished request whatever its
// status, and rejected only when no answer came: an upload has ended without one as well when a
// browser took its connection away while the phone slept.
export function sendRequest(request, body) {
  return new Promise((resolve, reject) => {
    request.addEventListener("load", () => resolve(request));
    for (const type of ["error", "abort", "timeout"]) {
      request.addEventListener(type, () => reject(new Error("Network error")));
    }
    request.send(body);
  });
}

// Shows "Uploading: 40%" and "2.0 / 5.0 MB", or "Uploading…" and "2.0 MB sent" while the total is
// unknown.
export function showProgress(target, label, done) {
  target.addEventListener("progress", (event) => {
    if (!event.lengthComputable || event.total === 0) {
      updateTransfer(0, `${label}…`, `${megabytes(event.loaded)} MB ${done}`);
      return;
    }
    const percentage = Math.round((event.loaded / event.total) * 100);
    const detail = `${megabytes(event.loaded)} / ${megabytes(event.total)} MB`;
    updateTransfer(percentage, `${label}: ${percentage}%`, detail);
  });
}

export function parseJson(text) {
  try {
    return { value: JSON.parse(text) };
  } catch {
    return null;
  }
}

export function jsonPost(members) {
  return {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify(members),
  };
}
