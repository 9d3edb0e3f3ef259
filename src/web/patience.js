// A network that went away without a word leaves requests waiting for minutes, and a browser has
// only a few connections for each server. These give up first.

const kAnswerMs = 15000;
const kTickMs = 5000;
// Longer than the server waits for the next byte of an upload.
const kSilentTicks = 15;

// As fetch(), for requests that are answered at once: fails when no answer has begun in time.
export async function fetchInTime(address, options) {
  const controller = new AbortController();
  const timer = setTimeout(() => controller.abort(), kAnswerMs);
  try {
    return await fetch(address, { ...options, signal: controller.signal });
  } finally {
    clearTimeout(timer);
  }
}

// Aborts an XMLHttpRequest that sends a body when nothing has moved for a while. Ticks are counted,
// not time: while a phone sleeps, nothing ticks.
export function abortWhenSilent(request) {
  let ticks = 0;
  const timer = setInterval(() => {
    ticks += 1;
    if (ticks >= kSilentTicks) {
      request.abort();
    }
  }, kTickMs);
  request.upload.addEventListener("progress", () => {
    ticks = 0;
  });
  request.addEventListener("loadend", () => clearInterval(timer));
}
