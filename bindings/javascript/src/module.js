// The WebAssembly modules: which one, from where, and their memory.

// A function with one instruction on vectors: valid where the set runs.
const vectorProbe = new Uint8Array([
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11,
]);

export const hasVectors = () => WebAssembly.validate(vectorProbe);

// Read by file name in node, fetched elsewhere.
async function read(url) {
  if (url.protocol === 'file:' && globalThis.process?.versions?.node) {
    const {readFile} = await import(/* webpackIgnore: true */ /* @vite-ignore */ 'node:fs/promises');
    return readFile(url);
  }
  const response = await fetch(url);
  if (!response.ok) throw new Error(`${url}: status ${response.status}, expected the module`);
  return response.arrayBuffer();
}

const addressOf = {
  simd128: () => new URL('../fourtapscale-simd128.wasm', import.meta.url),
  plain: () => new URL('../fourtapscale-plain.wasm', import.meta.url),
};
const compiled = {};

export async function compile(kind) {
  compiled[kind] ??= read(addressOf[kind]()).then((bytes) => WebAssembly.compile(bytes));
  try {
    return await compiled[kind];
  } catch (error) {
    delete compiled[kind];
    throw error;
  }
}

const stop = (name) => () => {
  throw new Error(`fourtapscale: ${name} called, expected no such call`);
};
// None of them is called: the library prints nothing and ends no program.
const nothing = {
  env: {emscripten_notify_memory_growth() {}},
  wasi_snapshot_preview1: Object.fromEntries(
    ['proc_exit', 'fd_close', 'fd_write', 'fd_seek'].map((name) => [name, stop(name)]),
  ),
};

// Memory is never given back by a module, only with it: one that grew is left to the collector when nothing lies in it
// any more, and the next use makes a new one.
const mostIdleBytes = 8 << 20;

export class Memory {
  #module;
  #exports;
  #used = 0;
  #bytes;
  #numbers;

  constructor(module, instance) {
    this.#module = module;
    this.#begin(instance);
  }

  static async of(module) {
    return new Memory(module, await WebAssembly.instantiate(module, nothing));
  }

  #begin(instance) {
    this.#exports = instance.exports;
    this.#exports._initialize();
  }

  get calls() {
    return this.#exports;
  }

  get size() {
    return this.#exports.memory.buffer.byteLength;
  }

  // As it lies there until the next allocation.
  get bytes() {
    if (this.#bytes?.buffer !== this.#exports.memory.buffer) this.#bytes = new Uint8Array(this.#exports.memory.buffer);
    return this.#bytes;
  }

  get numbers() {
    if (this.#numbers?.buffer !== this.#exports.memory.buffer) {
      this.#numbers = new Int32Array(this.#exports.memory.buffer);
    }
    return this.#numbers;
  }

  text(address) {
    const end = this.bytes.indexOf(0, address);
    return new TextDecoder().decode(this.bytes.slice(address, end));
  }

  // For a null-terminated name; the caller frees it.
  store(text) {
    const bytes = new TextEncoder().encode(`${text}\0`);
    const address = this.take(bytes.length);
    this.bytes.set(bytes, address);
    return address;
  }

  take(bytes) {
    const address = bytes > 0x7fffffff ? 0 : this.#exports.malloc(bytes) >>> 0;
    if (!address) throw new RangeError(`memory: none for ${bytes} bytes`);
    this.#used += 1;
    return address;
  }

  free(address) {
    this.#exports.free(address);
    this.release();
  }

  // For what the library allocates itself.
  hold() {
    this.#used += 1;
  }

  release() {
    this.#used -= 1;
    if (this.#used > 0 || this.size <= mostIdleBytes) return;
    try {
      this.#begin(new WebAssembly.Instance(this.#module, nothing));
    } catch (error) {
      // Old browsers refuse that on a page's main thread: the memory is kept there, and used again.
      if (!(error instanceof RangeError)) throw error;
    }
  }

  // What the last call refused.
  refusal(status) {
    const text = this.text(this.#exports.fourtap_error());
    return status === 3 ? new Error(text) : new RangeError(text);
  }

  call(name, ...rest) {
    const status = this.#exports[name](...rest);
    if (status !== 0) throw this.refusal(status);
  }
}
