// What is refused, in what words; and that memory comes back.
import assert from 'node:assert/strict';
import {after, before, describe, test} from 'node:test';

import {load} from '../src/index.js';
import {noise} from './pictures.js';

const from = {width: 20, height: 10};
const image = {data: noise(800), ...from, layout: 'rgba'};

describe('refusals', () => {
  let library;
  let scaler;
  before(async () => {
    library = await load();
    scaler = new library.Scaler(from, {width: 10, height: 5});
  });
  after(() => library.close());

  const resize = (given, size = {width: 5, height: 5}, options) => library.resize(given, size, options);
  const cases = [
    ['no picture', () => resize(null), TypeError, 'image: null given, expected an ImageData or {data, width, height, layout}'],
    ['no size', () => resize(image, 7), TypeError, 'size: 7 given, expected {width, height}'],
    ['an empty size', () => resize(image, {}), TypeError, 'size.width: undefined given, expected a number'],
    ['no width', () => resize(image, {width: 0, height: 5}), RangeError, 'size.width: 0 given, expected a whole number, 1 to 2147483647'],
    ['half a pixel', () => resize(image, {width: 5, height: 1.5}), RangeError, 'size.height: 1.5 given'],
    ['a width as text', () => resize({...image, width: '20'}), TypeError, 'image.width: "20" given, expected a number'],
    ['too few bytes', () => resize({...image, data: noise(799)}), RangeError, 'image.data: "799 bytes" given, expected at least 800: 10 lines of 80'],
    ['no bytes', () => resize({...image, data: [1, 2]}), TypeError, 'image.data: an array given, expected a Uint8Array, another view or a buffer'],
    ['a short stride', () => resize({...image, stride: 79}), RangeError, 'image.stride: 79 given, expected a whole number, 80 to'],
    ['an unknown layout', () => resize({...image, layout: 'cmyk'}), RangeError, 'layout: "cmyk" given, expected one of gray, rgb,'],
    ['odd pairs', () => resize({...image, layout: 'uyvy'}, {width: 5, height: 5}), RangeError, 'size.width: 5 given, expected an even number: in uyvy two pixels share chroma'],
    ['unknown alpha', () => resize(image, undefined, {alpha: 'blend'}), RangeError, 'alpha: "blend" given, expected one of multiply,'],
    ['no background', () => resize(image, undefined, {alpha: 'background'}), TypeError, 'background: undefined given'],
    ['a bright background', () => resize(image, undefined, {alpha: 'background', background: [256]}), RangeError, 'background[0]: 256 given, expected a whole number, 0 to 255'],
    ['an unknown reduction', () => resize(image, undefined, {reduction: true}), TypeError, 'reduction: true given'],
    ['a rectangle beside', () => resize(image, undefined, {rect: {x: 1, y: 0, width: 5, height: 5}}), RangeError, 'rect.x: 1 given, expected a whole number, 0 to 0'],
    ['little room', () => resize(image, undefined, {out: {data: noise(99)}}), RangeError, 'out.data: "99 bytes" given, expected at least 100'],
    ['its own memory', () => resize(image, undefined, {out: {data: image.data.subarray(700)}}), RangeError, 'out: "memory of the image" given'],
    ['a line of 2 GiB', () => resize({...image, height: 1}, {width: 0x7fffffff, height: 1}), RangeError, /given, expected lines below 2 GiB|memory: none for/],
    ['more than memory', () => resize(image, {width: 60000, height: 60000}), RangeError, 'memory: none for a picture of 14400000000 bytes'],
    ['a broken line', () => scaler.push(noise(81)), RangeError, 'lines: "81 bytes" given, expected lines of 80 bytes'],
    ['too many lines', () => scaler.push(noise(880)), RangeError, 'lines: "11 lines" given, expected at most 10, which are left of the picture'],
    ['vectors as text', () => load({vectors: 'yes'}), TypeError, 'vectors: "yes" given, expected true, false or "auto"'],
    ['no frame', () => library.resizeFrame(3, from), TypeError, 'frame: 3 given, expected a VideoFrame or {format, width, height, data}'],
    ['an unknown format', () => library.resizeFrame({...image, format: 'P010'}, from), RangeError, 'frame.format: "P010" given, expected one of I420,'],
    ['a plane beyond', () => library.resizeFrame({...image, format: 'RGBA', layout: [{offset: 801, stride: 80}]}, from), RangeError, 'frame.layout[0].offset: 801 given'],
    ['planes that are missing', () => library.resizeFrame({...image, format: 'I420', layout: []}, from), RangeError, 'frame.layout: "an array" given, expected {offset, stride} of each of 3 planes'],
  ];
  for (const [what, call, kind, text] of cases) {
    test(what, async () => {
      await assert.rejects(async () => call(), (error) => {
        assert.equal(error.constructor, kind, String(error));
        assert.ok(text instanceof RegExp ? text.test(error.message) : error.message.startsWith(text), error.message);
        return true;
      });
    });
  }

  test('a refusal changes nothing', () => {
    const out = {data: new Uint8Array(100).fill(7)};
    assert.throws(() => resize({...image, data: noise(10)}, undefined, {out}));
    assert.ok(out.data.every((byte) => byte === 7));
    scaler.push(image.data.subarray(0, 160));
    assert.throws(() => scaler.resize(image), /a frame is being pushed/);
    assert.throws(() => scaler.push(noise(720)), /at most 8/);
    const rest = scaler.push(image.data.subarray(160));
    assert.equal(scaler.linesWritten, 0);
    assert.ok(rest.length > 0);
    scaler.push(image.data.subarray(0, 80));
    scaler.reset();
    assert.deepEqual(scaler.push(image.data), scaler.resize(image).data);
  });

  test('memory grows with what is open, and goes with it', () => {
    const before = library.memoryBytes;
    const far = {width: 400000, height: 3};
    const open = [1, 2, 3].map(() => new library.Scaler(far, {width: 200000, height: 2}));
    const grown = library.memoryBytes;
    assert.ok(grown > 3 * open[0].bytes && grown > before + (16 << 20));
    for (const each of open) each.close();
    scaler.close();
    library.trim();
    assert.ok(library.memoryBytes <= before, `${library.memoryBytes} bytes are left of ${grown}`);
    assert.equal(open[0].closed, true);
    assert.throws(() => open[0].resize(image), /closed, expected one that is open/);
    open[0].close();
    assert.equal(resize(image).data.length, 100);
    for (let i = 0; i < 2000; ++i) resize(image, {width: 5 + (i % 50), height: 7});
    assert.ok(library.memoryBytes <= before + (1 << 20));
    const once = new library.Scaler(from, {width: 9});
    once[Symbol.dispose ?? Symbol.for('Symbol.dispose')]();
    assert.equal(once.closed, true);
  });

  test('a closed library says so', async () => {
    const other = await load();
    other.close();
    assert.throws(() => other.resize(image, from), /closed, expected an open one/);
    assert.throws(() => new other.Scaler(from, from), /closed, expected an open one/);
    await assert.rejects(other.resizeFrame(image, from), /closed, expected an open one/);
    assert.equal(other.memoryBytes, 0);
  });
});
