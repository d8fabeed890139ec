// What callers hand over, looked at before anything is done: a TypeError or a RangeError names the argument, what it was
// and what was expected.

// The pixels of fourtap.h. `opaque`: the layout that is left when alpha is dropped, or laid onto a colour.
const layouts = {
  gray: {pixels: 0, bytes: 1},
  rgb: {pixels: 1, bytes: 3},
  bgr: {pixels: 1, bytes: 3},
  rgbx: {pixels: 2, bytes: 4},
  bgrx: {pixels: 2, bytes: 4},
  uyvy: {pixels: 3, bytes: 2, pairs: true},
  vyuy: {pixels: 3, bytes: 2, pairs: true},
  yuyv: {pixels: 4, bytes: 2, pairs: true},
  yvyu: {pixels: 4, bytes: 2, pairs: true},
  uv: {pixels: 5, bytes: 2},
  'gray-alpha': {pixels: 100, bytes: 2, opaque: 'gray'},
  rgba: {pixels: 101, bytes: 4, opaque: 'rgb'},
  bgra: {pixels: 101, bytes: 4, opaque: 'bgr'},
  argb: {pixels: 102, bytes: 4, opaque: 'rgb'},
  abgr: {pixels: 102, bytes: 4, opaque: 'bgr'},
};
const alphaRules = ['multiply', 'straight', 'drop', 'background'];
const reductions = ['wide', 'four-taps'];
const most = 0x7fffffff;

export const quote = (value) => {
  if (typeof value === 'string') return JSON.stringify(value.length > 40 ? `${value.slice(0, 40)}...` : value);
  if (typeof value === 'object' && value !== null) return Array.isArray(value) ? 'an array' : 'an object';
  return typeof value === 'function' ? 'a function' : String(value);
};

export function typeError(name, value, expected) {
  return new TypeError(`${name}: ${quote(value)} given, expected ${expected}`);
}

export function rangeError(name, value, expected) {
  return new RangeError(`${name}: ${quote(value)} given, expected ${expected}`);
}

function record(name, value, expected) {
  if (typeof value !== 'object' || value === null) throw typeError(name, value, expected);
  return value;
}

export function whole(name, value, least, greatest = most) {
  if (typeof value !== 'number') throw typeError(name, value, 'a number');
  if (!Number.isInteger(value) || value < least || value > greatest) {
    throw rangeError(name, value, `a whole number, ${least} to ${greatest}`);
  }
  return value;
}

function oneOf(name, value, names) {
  if (typeof value !== 'string') throw typeError(name, value, `one of ${names.join(', ')}`);
  const number = names.indexOf(value);
  if (number < 0) throw rangeError(name, value, `one of ${names.join(', ')}`);
  return number;
}

export function sizeOf(name, size) {
  record(name, size, '{width, height}');
  return {width: whole(`${name}.width`, size.width, 1), height: whole(`${name}.height`, size.height, 1)};
}

// The same, where one of both may be missing: it follows from the other and the proportions of `from`.
export function targetSizeOf(name, size, from) {
  record(name, size, '{width, height}');
  const {width, height} = size;
  if (width === undefined && height !== undefined) {
    const y = whole(`${name}.height`, height, 1);
    return {width: Math.max(1, Math.round((from.width * y) / from.height)), height: y};
  }
  if (height === undefined && width !== undefined) {
    const x = whole(`${name}.width`, width, 1);
    return {width: x, height: Math.max(1, Math.round((from.height * x) / from.width))};
  }
  return sizeOf(name, size);
}

export function rectOf(name, rect, size) {
  if (rect === undefined) return {x: 0, y: 0, width: size.width, height: size.height};
  record(name, rect, '{x, y, width, height}');
  const width = whole(`${name}.width`, rect.width, 1, size.width);
  const height = whole(`${name}.height`, rect.height, 1, size.height);
  const x = whole(`${name}.x`, rect.x, 0, size.width - width);
  const y = whole(`${name}.y`, rect.y, 0, size.height - height);
  return {x, y, width, height};
}

// The bytes of a view or a buffer, as they lie there.
export function bytesOf(name, data) {
  if (ArrayBuffer.isView(data)) return new Uint8Array(data.buffer, data.byteOffset, data.byteLength);
  const isBuffer = data instanceof ArrayBuffer || Object.prototype.toString.call(data) === '[object SharedArrayBuffer]';
  if (isBuffer) return new Uint8Array(data);
  throw typeError(name, data, 'a Uint8Array, another view or a buffer');
}

// Lines of `lineBytes` each, `stride` bytes apart.
export function linesOf(name, {data, stride}, lineBytes, height) {
  const bytes = bytesOf(`${name}.data`, data);
  const step = stride === undefined ? lineBytes : whole(`${name}.stride`, stride, lineBytes);
  const needed = step * (height - 1) + lineBytes;
  if (bytes.length < needed) {
    throw rangeError(`${name}.data`, `${bytes.length} bytes`, `at least ${needed}: ${height} lines of ${lineBytes}`);
  }
  return {bytes, stride: step};
}

export function imageOf(name, image) {
  record(name, image, 'an ImageData or {data, width, height, layout}');
  return {...sizeOf(name, image), data: image.data, stride: image.stride};
}

// Layout and rules, from an image's layout and the options.
export function rulesOf(layout, {alpha = 'multiply', reduction = 'wide', background} = {}) {
  oneOf('layout', layout, Object.keys(layouts));
  const {pixels, bytes, pairs = false, opaque} = layouts[layout];
  const alphaRule = oneOf('alpha', alpha, alphaRules);
  const colour = [0, 0, 0];
  if (alpha === 'background') {
    if (!Array.isArray(background)) throw typeError('background', background, 'an array of 1 or 3 bytes');
    if (background.length !== 1 && background.length !== 3) {
      throw rangeError('background', `${background.length} bytes`, '1 for gray or 3, in the order of the colours');
    }
    background.forEach((byte, i) => (colour[i] = whole(`background[${i}]`, byte, 0, 255)));
  }
  const losesAlpha = opaque !== undefined && alphaRule >= 2;
  return {
    layout,
    layoutOut: losesAlpha ? opaque : layout,
    pixels,
    bytesIn: bytes,
    bytesOut: losesAlpha ? layouts[opaque].bytes : bytes,
    pairs,
    alpha: alphaRule,
    reduction: oneOf('reduction', reduction, reductions),
    background: colour,
  };
}

// Two pixels share chroma: whole pairs only, unless the height alone changes.
export function checkPairs(rules, from, to, rect) {
  if (!rules.pairs || (from.width === to.width && from.height !== to.height)) return;
  const even = {'image.width': from.width, 'size.width': to.width, 'rect.x': rect.x, 'rect.width': rect.width};
  for (const [name, value] of Object.entries(even)) {
    if (value % 2 !== 0) throw rangeError(name, value, `an even number: in ${rules.layout} two pixels share chroma`);
  }
}
