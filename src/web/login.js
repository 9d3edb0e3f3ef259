// The PIN is checked here only for its form, so that a typing slip never counts as a failed
// attempt.

const codeField = document.getElementById("code");
const message = document.getElementById("msg");

function parseAnswer(text) {
  try {
    return JSON.parse(text) ?? {};
  } catch {
    return { ok: false, error: text };
  }
}

async function sendCode(code) {
  const response = await fetch("/api/login", {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify({ code }),
  });
  const answer = parseAnswer(await response.text());
  if (!response.ok || answer.ok !== true) {
    message.textContent = answer.error || `HTTP ${response.status}`;
    return;
  }
  location.href = "/";
}

async function login() {
  const code = codeField.value.trim();
  message.textContent = "";
  if (!/^[0-9]{6}$/.test(code)) {
    message.textContent = "Enter 6 digits.";
    return;
  }
  try {
    await sendCode(code);
  } catch (error) {
    message.textContent = error.message || "Login failed";
  }
}

document.getElementById("loginBtn").addEventListener("click", login);
