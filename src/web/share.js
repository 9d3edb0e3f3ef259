// Makes a share link, puts it on the clipboard and shows it.

import { callApi } from "./api.js";

const kPrompts = {
  file: "Share this URL for a direct download without PIN registration (copied if possible):",
  folder: "Share this URL for direct access (copied if possible):",
};

function linkOf(answer) {
  const link = answer.path ? location.origin + answer.path : answer.url;
  if (!link) {
    throw new Error("No URL returned");
  }
  return link;
}

async function copyText(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // The prompt shows the link in any case.
  }
}

export async function shareItem(path, kind) {
  try {
    const answer = await callApi(`/api/share?path=${encodeURIComponent(path)}`);
    if (answer === undefined) {
      return;
    }
    const link = linkOf(answer);
    await copyText(link);
    prompt(kPrompts[kind], link);
  } catch (error) {
    alert(error.message || "Failed to create share link");
  }
}
