// Runs the library's self-test, 16000 cases by every set in a module of its own. In a page it belongs in a worker: it takes seconds.
import {hasVectors} from '../src/index.js';

export const published = {
  digest: '429570acda699749',
  pictures: '15dbbb59afe30d7d',
  all: '1a4d311cb705f90c',
};

/**
 * @param module the bytes of selftest-simd128.wasm or selftest-plain.wasm, or a promise of a response
 * @param say gets each line
 * @param progress gets how many cases of all are done
 * @returns whether all agree, and the digests
 */
export async function runSelfTest(module, {say = () => {}, progress = () => {}} = {}) {
  const lines = [];
  let memory;
  const nothing = () => 0;
  const imports = {
    host: {
      say(address, length) {
        const line = new TextDecoder().decode(new Uint8Array(memory.buffer, address, length));
        lines.push(line);
        say(line);
      },
      progress,
    },
    env: {emscripten_notify_memory_growth() {}},
    wasi_snapshot_preview1: new Proxy({}, {get: () => nothing}),
  };
  const {instance} = await WebAssembly.instantiate(module, imports);
  memory = instance.exports.memory;
  instance.exports._initialize();
  const agrees = instance.exports.run_self_test() !== 0;
  const digestOf = (name) => lines.find((line) => line.startsWith(`${name} `))?.slice(name.length + 1);
  return {
    agrees,
    digest: digestOf('digest'),
    pictures: digestOf('digest of pictures'),
    all: digestOf('digest of all'),
  };
}

export const moduleName = () => `selftest-${hasVectors() ? 'simd128' : 'plain'}.wasm`;
