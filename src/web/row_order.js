// Puts the rows of a table body into a given order with as few moves as can be.

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

function isOrdered(body, rows) {
  let next = body.firstElementChild;
  return rows.every((row) => {
    const isNext = row === next;
    next = isNext ? row.nextElementSibling : null;
    return isNext;
  });
}

// rows: every row of the body, in the order that they are to have.
export function orderRows(body, rows) {
  if (isOrdered(body, rows)) {
    return;
  }
  const places = new Map(Array.from(body.rows, (row, i) => [row, i]));
  const kept = new Set(longestRise(rows.map((row) => places.get(row))).map((i) => rows[i]));
  let next = null;
  for (const row of rows.slice().reverse()) {
    if (!kept.has(row)) {
      body.insertBefore(row, next);
    }
    next = row;
  }
}
