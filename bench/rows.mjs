// Rows of the table, and what all measures do to get a number: take turns, take the median.
export const kOwnClient = "own client";

export const formatRate = (rate) => `${rate.toFixed(0)} MB/s`;
export const formatMilliseconds = (value) => `${value.toFixed(value < 10 ? 1 : 0)} ms`;
const formatRatio = (ratio) => ratio.toFixed(2);

export function median(numbers) {
  const sorted = [...numbers].sort((a, b) => a - b);
  const middle = Math.floor(sorted.length / 2);
  return sorted.length % 2 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

// Runs every task once per round, in turns, so that whatever else the machine does meets all of them.
// The medians of the results, in the order of the tasks.
export async function medians(rounds, tasks) {
  const results = tasks.map(() => []);
  for (let round = 0; round < rounds; round += 1) {
    for (const [index, task] of tasks.entries()) results[index].push(await task());
  }
  return results.map(median);
}

// The rows as measured with that client.
export const by = (client, rows) => ({ rows: rows.map((row) => ({ client, ...row })) });

export function checked(outcome) {
  if (outcome.failed > 0 || outcome.requests === 0) {
    throw new Error(`a request failed: ${JSON.stringify(outcome)}`);
  }
  return outcome;
}

export function atLeast(what, value, against, ratio, target) {
  return {
    what,
    value,
    against,
    ratio: formatRatio(ratio),
    target: `>= ${target}`,
    met: ratio >= target,
  };
}

export function atMost(what, value, against, ratio, target) {
  return {
    what,
    value,
    against,
    ratio: formatRatio(ratio),
    target: `<= ${target}`,
    met: ratio <= target,
  };
}

export function information(what, value, against = "", ratio = null) {
  return {
    what,
    value,
    against,
    ratio: ratio === null ? "" : formatRatio(ratio),
    target: "",
    met: null,
  };
}

export const megabytesPerSecond = (outcome) => outcome.bytes / 1e6 / outcome.seconds;
