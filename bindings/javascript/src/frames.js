// Frames of several planes, as WebCodecs has them.
import {bytesOf, quote, rangeError, rulesOf, sizeOf, targetSizeOf, typeError, whole} from './arguments.js';
import {newBytes} from './scaler.js';

// By the names of WebCodecs: the library's name, and the layouts of the planes.
const formats = {
  I420: {name: 'i420', layouts: ['gray', 'gray', 'gray']},
  I422: {name: 'i422', layouts: ['gray', 'gray', 'gray']},
  I444: {name: 'i444', layouts: ['gray', 'gray', 'gray']},
  NV12: {name: 'nv12', layouts: ['gray', 'uv']},
  RGBA: {name: 'rgba', layouts: ['rgba']},
  RGBX: {name: 'rgbx', layouts: ['rgbx']},
  BGRA: {name: 'bgra', layouts: ['bgra']},
  BGRX: {name: 'bgrx', layouts: ['bgrx']},
};

export function formatOf(name) {
  const names = Object.keys(formats).join(', ');
  if (typeof name !== 'string') throw typeError('frame.format', name, `one of ${names}`);
  if (!Object.hasOwn(formats, name)) throw rangeError('frame.format', name, `one of ${names}`);
  return formats[name];
}

// What each plane of a frame measures, in its own pixels.
export function planeSizes(memory, format, {width, height}) {
  const name = memory.store(format.name);
  const sizes = memory.take(8);
  try {
    const found = memory.calls.fourtap_format_named(name);
    return format.layouts.map((layout, plane) => {
      memory.call('fourtap_plane_size', found, plane, width, height, sizes, sizes + 4);
      const [planeWidth, planeHeight] = memory.numbers.subarray(sizes >> 2, (sizes >> 2) + 2);
      return {width: planeWidth, height: planeHeight, layout};
    });
  } finally {
    memory.free(name);
    memory.free(sizes);
  }
}

// Planes without gaps, one after the other.
export function tightly(planes) {
  let offset = 0;
  const layout = planes.map(({width, height, layout: name}) => {
    const stride = width * rulesOf(name).bytesIn;
    const place = {offset, stride};
    offset += stride * height;
    return place;
  });
  return {layout, bytes: offset};
}

const isVideoFrame = (frame) => typeof VideoFrame === 'function' && frame instanceof VideoFrame;

// A frame's format, size and bytes, with where its planes lie among them.
export async function read(memory, frame) {
  if (typeof frame !== 'object' || frame === null) {
    throw typeError('frame', frame, 'a VideoFrame or {format, width, height, data}');
  }
  if (isVideoFrame(frame)) {
    if (frame.format === null && frame.codedWidth === 0) throw new TypeError('frame: closed, expected an open one');
    const format = formatOf(frame.format);
    const {width, height} = frame.visibleRect;
    const data = new Uint8Array(frame.allocationSize());
    return {format, width, height, data, layout: await frame.copyTo(data)};
  }
  const format = formatOf(frame.format);
  const size = sizeOf('frame', frame);
  const tight = tightly(planeSizes(memory, format, size));
  const layout = frame.layout ?? tight.layout;
  if (!Array.isArray(layout) || layout.length !== format.layouts.length) {
    throw rangeError('frame.layout', quote(layout), `{offset, stride} of each of ${format.layouts.length} planes`);
  }
  layout.forEach(({offset, stride}, i) => {
    whole(`frame.layout[${i}].offset`, offset, 0);
    whole(`frame.layout[${i}].stride`, stride, 1);
  });
  return {format, ...size, data: bytesOf('frame.data', frame.data), layout};
}

// Each plane by a scaler of its own, which `scalerFor` knows.
export function scale(memory, source, size, scalerFor) {
  const to = targetSizeOf('size', size, source);
  const planesIn = planeSizes(memory, source.format, source);
  const planesOut = planeSizes(memory, source.format, to);
  const {layout, bytes} = tightly(planesOut);
  const data = newBytes(bytes, 1);
  planesIn.forEach((plane, i) => {
    const {offset, stride} = source.layout[i];
    if (offset > source.data.length) {
      throw rangeError(`frame.layout[${i}].offset`, offset, `at most the ${source.data.length} bytes of frame.data`);
    }
    const image = {data: source.data.subarray(offset), stride};
    const out = {data: data.subarray(layout[i].offset), stride: layout[i].stride};
    scalerFor(plane.layout, plane, planesOut[i]).resize(image, {out});
  });
  return {data, ...to, layout};
}

// A frame like the one that was read.
export function like(frame, {data, width, height, layout}) {
  if (!isVideoFrame(frame)) return {format: frame.format, width, height, data, layout};
  const {format, timestamp, duration, colorSpace, visibleRect, displayWidth, displayHeight, rotation, flip} = frame;
  const init = {
    format,
    codedWidth: width,
    codedHeight: height,
    timestamp,
    layout,
    colorSpace,
    // The pixels' shape stays what it is.
    displayWidth: Math.max(1, Math.round((width * displayWidth) / visibleRect.width)),
    displayHeight: Math.max(1, Math.round((height * displayHeight) / visibleRect.height)),
  };
  for (const [name, value] of Object.entries({duration, rotation, flip})) if (value) init[name] = value;
  return new VideoFrame(data, init);
}
