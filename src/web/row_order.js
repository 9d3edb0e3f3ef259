// Puts a list into a given order with as few moves as can be.

// Gives the indexes of a longest rising run (not necessarily of neighbours) in a list of different
// numbers, in O(n log n): `tails` ends, for each length, the run with the smallest last number.
function longestRise(numbers) {
  const tails = [];
  const before = [];
  for (const [i, number] of numbers.entries()) {
    let low = 0;
    let high = tails.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (numbers[tails[middle]] < number) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    before[i] = tails[low - 1];
    tails[low] = i;
  }
  const indexes = [];
  for (let i = tails[tails.length - 1]; i !== undefined; i = before[i]) {
    indexes.push(i);
  }
  return indexes.reverse();
}

// Gives the indexes of those in `wanted`, from the first on, that are to move behind the one before them. Both lists hold
// the same, in different orders.
export function movesBetween(present, wanted) {
  if (wanted.every((one, i) => one === present[i])) {
    return [];
  }
  const places = new Map(present.map((one, i) => [one, i]));
  const kept = new Set(longestRise(wanted.map((one) => places.get(one))));
  return Array.from(wanted.keys()).filter((i) => !kept.has(i));
}
