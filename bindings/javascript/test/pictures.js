// Pictures for the tests: noise, drawn alike everywhere.
export function noise(bytes, seed = 1) {
  const data = new Uint8Array(bytes);
  let state = seed >>> 0;
  for (let i = 0; i < bytes; ++i) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    data[i] = state >>> 24;
  }
  return data;
}

// FNV-1a of 64 bits, as the library's digests are.
export function digest(data) {
  let hash = 0xcbf29ce484222325n;
  for (const byte of data) hash = BigInt.asUintN(64, (hash ^ BigInt(byte)) * 0x100000001b3n);
  return hash.toString(16).padStart(16, '0');
}
