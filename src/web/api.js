// Calls of the file service that answer with JSON. A lost session leads to the login page.

import { jsonPost, parseJson } from "./request.js";

export function openLoginPage() {
  location.href = "/";
}

// Gives the answer's object, nothing after a 401, and fails with the server's message otherwise.
export async function callApi(address, options) {
  const response = await fetch(address, options);
  if (response.status === 401) {
    openLoginPage();
    return undefined;
  }
  const text = await response.text();
  const parsed = parseJson(text) ?? { value: { ok: false, error: "Bad JSON", raw: text } };
  if (!response.ok || parsed.value?.ok !== true) {
    throw new Error(parsed.value?.error || `HTTP ${response.status}`);
  }
  return parsed.value;
}

export function postJson(address, members) {
  return callApi(address, jsonPost(members));
}
