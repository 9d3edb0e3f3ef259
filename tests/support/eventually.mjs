// Waiting for what another process does.
import { setTimeout as delay } from "node:timers/promises";

export { delay };

// Repeats `check` until it throws nothing and does not return false; its result. Afterwards the last error counts, or
// `what` says what did not happen. `timeout` in milliseconds.
export async function eventually(check, what = "", timeout = 10_000) {
  const end = Date.now() + timeout;
  for (;;) {
    let failure = new Error(`did not happen within ${timeout} ms: ${what}`);
    try {
      const result = await check();
      if (result !== false) return result;
    } catch (error) {
      failure = error;
    }
    if (Date.now() > end) throw failure;
    await delay(50);
  }
}
