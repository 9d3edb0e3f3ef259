// Many clients at once.

// Runs `work` for the numbers below `count`, `width` of them at a time.
export async function parallel(count, width, work) {
  let next = 0;
  const lane = async () => {
    while (next < count) await work(next++);
  };
  await Promise.all(Array.from({ length: width }, lane));
}
