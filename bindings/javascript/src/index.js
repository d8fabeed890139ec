// Scales pictures and video frames, to the same bytes in every browser.
import {imageOf, rulesOf, sizeOf, targetSizeOf, typeError} from './arguments.js';
import * as frames from './frames.js';
import {Memory, compile, hasVectors} from './module.js';
import {PictureScaler} from './scaler.js';

// Scalers of the last sizes are kept: making one takes as long as scaling a small picture.
const mostKept = 4;

class FourTapScale {
  #memory;
  #kept = new Map();
  #version;

  constructor(memory) {
    this.#memory = memory;
    const number = memory.calls.fourtap_version();
    this.#version = [Math.trunc(number / 10000), Math.trunc(number / 100) % 100, number % 100].join('.');
    const library = this;
    this.Scaler = class Scaler extends PictureScaler {
      constructor(sourceSize, size, {layout = 'rgba', ...options} = {}) {
        library.#checkOpen();
        const from = sizeOf('sourceSize', sourceSize);
        super(library.#memory, rulesOf(layout, options), from, targetSizeOf('size', size, from));
      }
    };
  }

  #checkOpen() {
    if (!this.#memory) throw new Error('fourtapscale: closed, expected an open one');
  }

  get version() {
    return this.#version;
  }

  get memoryBytes() {
    return this.#memory ? this.#memory.size : 0;
  }

  #scalerFor(rules, from, to) {
    const {layout, alpha, reduction, background} = rules;
    const key = [layout, alpha, reduction, background, from.width, from.height, to.width, to.height].join();
    let scaler = this.#kept.get(key);
    if (scaler) {
      this.#kept.delete(key);
    } else {
      for (const [oldest, old] of this.#kept) {
        if (this.#kept.size < mostKept) break;
        this.#kept.delete(oldest);
        old.close();
      }
      scaler = new PictureScaler(this.#memory, rules, from, to);
    }
    this.#kept.set(key, scaler);
    return scaler;
  }

  resize(image, size, {rect, out, ...options} = {}) {
    this.#checkOpen();
    const from = imageOf('image', image);
    const isImageData = typeof ImageData === 'function' && image instanceof ImageData;
    const rules = rulesOf(isImageData ? 'rgba' : (image.layout ?? 'rgba'), options);
    const to = targetSizeOf('size', size, from);
    const made = this.#scalerFor(rules, from, to).resize(from, {rect, out});
    if (out) return out;
    return isImageData && made.layout === 'rgba' ? new ImageData(made.data, made.width, made.height) : made;
  }

  async resizeFrame(frame, size, options = {}) {
    this.#checkOpen();
    const source = await frames.read(this.#memory, frame);
    this.#checkOpen();
    const scaled = frames.scale(this.#memory, source, size, (layout, from, to) =>
      this.#scalerFor(rulesOf(layout, options), from, to),
    );
    return frames.like(frame, scaled);
  }

  // Frees what resize keeps for the next call.
  trim() {
    for (const scaler of this.#kept.values()) scaler.close();
    this.#kept.clear();
  }

  close() {
    this.trim();
    this.#memory = undefined;
  }
}
FourTapScale.prototype[Symbol.dispose ?? Symbol.for('Symbol.dispose')] = FourTapScale.prototype.close;

export {hasVectors};

export async function load({vectors = 'auto'} = {}) {
  if (vectors !== 'auto' && typeof vectors !== 'boolean') throw typeError('vectors', vectors, 'true, false or "auto"');
  const kind = (vectors === 'auto' ? hasVectors() : vectors) ? 'simd128' : 'plain';
  return new FourTapScale(await Memory.of(await compile(kind)));
}
