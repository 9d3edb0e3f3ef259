// A network that went away without a word leaves requests waiting for minutes, and a browser has
// only a few connections for each server. These give up first.

// Long enough for a disk that has to wake up before a folder can be read.
const kAnswerMs = 60000;
const kTickMs = 5000;
// Longer than the server waits for the next byte of an upload.
const kSilentTicks = 15;

// Runs ask(signal), which asks for something and reads the whole answer; the signal ends it when that
// takes too long.
export async function inTime(ask, controller = new AbortController()) {
  const timer = setTimeout(() => controller.abort(), kAnswerMs);
  try {
    return await ask(controller.signal);
  } finally {
    clearTimeout(timer);
  }
}

// Gives askAgain(name, ask), for what is asked for again and again; ask(signal) as above. Of those of
// one name that are on their way two go on: the first, which is answered soonest, and the last, which
// will know most. Those between them and those of other names end, for the sake of the connections.
export function createAsking() {
  let underWay = [];
  return async (name, ask) => {
    const first = underWay.find((one) => one.name === name);
    const last = { name, controller: new AbortController() };
    const ended = underWay.filter((one) => one !== first);
    underWay = first === undefined ? [last] : [first, last];
    for (const { controller } of ended) {
      controller.abort();
    }
    try {
      return await inTime(ask, last.controller);
    } finally {
      underWay = underWay.filter((one) => one !== last);
    }
  };
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
