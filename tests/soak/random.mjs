// Numbers that look random and come again with their seed.

// The generator's state is 32 bits; the result lies in [0, 1).
export function randomFrom(seed) {
  let state = seed >>> 0;
  return () => {
    state = (state + 0x6d2b79f5) >>> 0;
    let mixed = Math.imul(state ^ (state >>> 15), state | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) / 2 ** 32;
  };
}

export const between = (random, low, high) => low + Math.floor(random() * (high - low + 1));

// That many bytes; every call of the generator gives four of them.
export function bytesFrom(random, length) {
  const words = new Uint32Array(Math.ceil(length / 4));
  for (let index = 0; index < words.length; index += 1) words[index] = random() * 2 ** 32;
  return Buffer.from(words.buffer, 0, length);
}
