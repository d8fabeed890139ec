// Pictures of one size and layout to another size, as often as wanted.
import {bytesOf, checkPairs, linesOf, rangeError, rectOf, typeError} from './arguments.js';

// What is under way at a time, in and out: few enough bytes for a processor's caches, and enough lines of a wide picture
// for whole blocks.
const stageBytes = 1 << 18;

export class PictureScaler {
  #memory;
  #rules;
  #from;
  #to;
  #addresses = [];
  #picture = 0;
  // The part that is made, and what it is made of.
  #out;
  #needed;
  #stageIn;
  #stageOut;
  #arguments;
  #linesIn;
  #linesOut;
  #taken = 0;
  #written = 0;
  #began = false;

  constructor(memory, rules, from, to) {
    this.#memory = memory;
    this.#rules = rules;
    this.#from = from;
    this.#to = to;
    checkPairs(rules, from, to, {x: 0, width: to.width});
    const lineIn = from.width * rules.bytesIn;
    const lineOut = to.width * rules.bytesOut;
    this.#linesIn = Math.max(1, Math.floor(stageBytes / lineIn));
    this.#linesOut = Math.max(1, Math.floor(stageBytes / lineOut));
    try {
      this.#arguments = this.#take(64);
      this.#open();
      this.#stageIn = this.#take(this.#linesIn * lineIn);
      this.#stageOut = this.#take(this.#linesOut * lineOut);
    } catch (error) {
      this.close();
      throw error;
    }
  }

  #take(bytes) {
    const address = this.#memory.take(bytes);
    this.#addresses.push(address);
    return address;
  }

  #open() {
    const {pixels, reduction, alpha, background} = this.#rules;
    const at = this.#arguments;
    this.#memory.numbers.set([0, pixels, reduction, alpha], at >> 2);
    this.#memory.bytes.set(background, at + 16);
    const {width: cxIn, height: cyIn} = this.#from;
    const {width: cxOut, height: cyOut} = this.#to;
    this.#memory.call('fourtap_picture_open', at, at + 4, cxIn, cyIn, cxOut, cyOut);
    this.#picture = this.#memory.numbers[at >> 2];
    this.#memory.hold();
  }

  get closed() {
    return this.#memory === undefined;
  }

  /** Bytes that it takes in the module's memory. */
  get bytes() {
    this.#checkOpen();
    const {bytesIn, bytesOut} = this.#rules;
    return (
      (this.#memory.calls.fourtap_picture_bytes(this.#picture) >>> 0) +
      this.#linesIn * this.#from.width * bytesIn +
      this.#linesOut * this.#to.width * bytesOut
    );
  }

  /** The instruction set in use, "simd128" or "c". */
  get set() {
    this.#checkOpen();
    const {calls} = this.#memory;
    return this.#memory.text(calls.fourtap_set_name(calls.fourtap_picture_set(this.#picture)));
  }

  /** The rectangle of the source that a rectangle of the output is made of. */
  needed(rect) {
    this.#checkOpen();
    const part = rectOf('rect', rect, this.#to);
    checkPairs(this.#rules, this.#from, this.#to, part);
    return this.#neededOf(part);
  }

  #neededOf({x, y, width, height}) {
    const at = this.#arguments >> 2;
    this.#memory.numbers.set([x, y, width, height], at);
    this.#memory.call('fourtap_picture_needed', this.#picture, 4 * at, 4 * at + 16);
    const [sx, sy, cx, cy] = this.#memory.numbers.subarray(at + 4, at + 8);
    return {x: sx, y: sy, width: cx, height: cy};
  }

  /**
   * Scales a picture.
   * @param image {data, stride}, whose lines lie `stride` bytes apart
   * @param rect the part of the output that is made; all of it if undefined
   * @param out {data, stride} to write to, or undefined for new memory
   */
  resize(image, {rect, out} = {}) {
    this.#checkOpen();
    if (this.#began) throw new RangeError('scaler: a frame is being pushed, expected all of it or reset() before');
    const {bytesIn, bytesOut, layoutOut} = this.#rules;
    const part = rectOf('rect', rect, this.#to);
    checkPairs(this.#rules, this.#from, this.#to, part);
    const source = linesOf('image', image, this.#from.width * bytesIn, this.#from.height);
    const lineBytes = part.width * bytesOut;
    const target = out
      ? linesOf('out', out, lineBytes, part.height)
      : {bytes: newBytes(lineBytes, part.height), stride: lineBytes};
    if (out && overlap(source.bytes, target.bytes)) {
      throw rangeError('out', 'memory of the image', 'memory of its own: the image is still read');
    }
    this.#begin(part);
    const {x, y, height} = this.#needed;
    this.#run(source.bytes, y * source.stride + x * bytesIn, source.stride, height, target.bytes, target.stride);
    this.#began = false;
    const data = out ? out.data : target.bytes;
    return {data, width: part.width, height: part.height, layout: layoutOut};
  }

  #begin(part) {
    this.#out = part;
    this.#needed = this.#neededOf(part);
    // Where #neededOf left the part.
    this.#memory.call('fourtap_picture_begin', this.#picture, this.#arguments);
    this.#taken = this.#written = 0;
    this.#began = true;
  }

  // Takes lines through the module's memory, a few at a time, and writes what they allow. Returns the lines written.
  #run(from, start, stride, count, to, step) {
    const {numbers, bytes, calls} = this.#memory;
    const lineIn = this.#needed.width * this.#rules.bytesIn;
    const lineOut = this.#out.width * this.#rules.bytesOut;
    const before = this.#written;
    const at = this.#arguments >> 2;
    // source, target: data, bytes, stride; then taken, written.
    const args = numbers.subarray(at, at + 8);
    for (let done = 0; done < count || this.#written < this.#out.height; ) {
      const lines = Math.min(this.#linesIn, count - done);
      copyLines(from, start + done * stride, stride, bytes, this.#stageIn, lineIn, lineIn, lines);
      let taken = 0;
      let written;
      do {
        const room = Math.min(this.#linesOut, this.#out.height - this.#written);
        args[0] = this.#stageIn + taken * lineIn;
        args[1] = (lines - taken) * lineIn;
        args[2] = lineIn;
        args[3] = this.#stageOut;
        args[4] = room * lineOut;
        args[5] = lineOut;
        const where = 4 * at;
        const status = calls.fourtap_picture_push(
          this.#picture, where, lines - taken, where + 24, where + 12, room, where + 28,
        );
        if (status !== 0) throw this.#memory.refusal(status);
        taken += args[6];
        written = args[7];
        copyLines(bytes, this.#stageOut, lineOut, to, (this.#written - before) * step, step, lineOut, written);
        this.#written += written;
      } while (taken < lines || written > 0);
      done += lines;
      if (lines === 0) break;
    }
    this.#taken += count;
    return this.#written - before;
  }

  /**
   * Takes the next lines of a picture, without gaps, and returns the output lines that they allow, as bytes: those that
   * lie between two calls are none's. After a picture's last line the next one begins.
   */
  push(lines) {
    this.#checkOpen();
    const bytes = bytesOf('lines', lines);
    const lineBytes = this.#from.width * this.#rules.bytesIn;
    const count = bytes.length / lineBytes;
    if (!Number.isInteger(count)) throw rangeError('lines', `${bytes.length} bytes`, `lines of ${lineBytes} bytes`);
    if (!this.#began) this.#begin(rectOf('rect', undefined, this.#to));
    const left = this.#from.height - this.#taken;
    if (count > left) throw rangeError('lines', `${count} lines`, `at most ${left}, which are left of the picture`);
    const lineOut = this.#to.width * this.#rules.bytesOut;
    const most = this.#mostWritten(count);
    const made = newBytes(lineOut, most);
    const written = this.#run(bytes, 0, lineBytes, count, made, lineOut);
    if (this.#taken === this.#from.height) this.#began = false;
    return made.subarray(0, written * lineOut);
  }

  // No more output lines can come of source lines up to the one that is taken last.
  #mostWritten(count) {
    const {height: cyIn} = this.#from;
    const {height: cyOut} = this.#to;
    const known = this.#taken + count;
    const most = known === cyIn ? cyOut : Math.min(cyOut, Math.ceil(((known + 1) * cyOut) / cyIn) + 1);
    return Math.max(0, most - this.#written);
  }

  /** Yields the output lines that each of some slices of a picture allows; slices may come asynchronously. */
  async *slices(source) {
    if (typeof source?.[Symbol.asyncIterator] !== 'function' && typeof source?.[Symbol.iterator] !== 'function') {
      throw typeError('source', source, 'something to iterate over, of lines');
    }
    for await (const lines of source) {
      const made = this.push(lines);
      if (made.length > 0) yield made;
    }
  }

  /** Lines of the output that a picture under way has given. */
  get linesWritten() {
    return this.#began ? this.#written : 0;
  }

  /** Gives up what is under way. */
  reset() {
    this.#checkOpen();
    this.#began = false;
    this.#taken = this.#written = 0;
  }

  /** Frees its memory; further calls are errors. */
  close() {
    const memory = this.#memory;
    if (!memory) return;
    this.#memory = undefined;
    for (const address of this.#addresses) if (address) memory.calls.free(address);
    const held = this.#addresses.length + (this.#picture ? 1 : 0);
    if (this.#picture) memory.calls.fourtap_picture_close(this.#picture);
    for (let i = 0; i < held; ++i) memory.release();
  }

  #checkOpen() {
    if (!this.#memory) throw new Error('scaler: closed, expected one that is open');
  }
}
PictureScaler.prototype[Symbol.dispose ?? Symbol.for('Symbol.dispose')] = PictureScaler.prototype.close;

export function newBytes(lineBytes, height) {
  try {
    return new Uint8ClampedArray(lineBytes * height);
  } catch {
    throw new RangeError(`memory: none for a picture of ${lineBytes * height} bytes`);
  }
}

function copyLines(from, start, stride, to, at, step, lineBytes, count) {
  if (stride === lineBytes && step === lineBytes) {
    if (count > 0) to.set(from.subarray(start, start + count * lineBytes), at);
    return;
  }
  for (let line = 0; line < count; ++line) {
    const first = start + line * stride;
    to.set(from.subarray(first, first + lineBytes), at + line * step);
  }
}

function overlap(a, b) {
  return a.buffer === b.buffer && a.byteOffset < b.byteOffset + b.length && b.byteOffset < a.byteOffset + a.length;
}
