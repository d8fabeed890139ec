// What the types must take, and what they must refuse: `npm run types` compiles it, nothing runs it.
import {hasVectors, load, type Scaled} from 'fourtapscale';

const library = await load({vectors: hasVectors()});
const pixels = new Uint8Array(16);

const ofImageData: ImageData = library.resize(new ImageData(2, 2), {width: 1});
const ofImage: Scaled = library.resize({data: pixels, width: 2, height: 2, layout: 'bgra'}, {width: 4, height: 4}, {
  alpha: 'background',
  background: [1, 2, 3],
  rect: {x: 0, y: 0, width: 2, height: 2},
});
const out = {data: new Uint8Array(64), stride: 16};
const ofOut: Uint8Array = library.resize({data: pixels.buffer, width: 2, height: 2}, {height: 4}, {out}).data;

const scaler = new library.Scaler({width: 2, height: 2}, {width: 4, height: 4}, {layout: 'gray', reduction: 'four-taps'});
const lines: Uint8ClampedArray = scaler.push(pixels);
for await (const part of scaler.slices([pixels])) part.fill(0);
scaler.close();

const frame = new VideoFrame(pixels, {format: 'NV12', codedWidth: 2, codedHeight: 2, timestamp: 0});
const ofFrame: VideoFrame = await library.resizeFrame(frame, {width: 4, height: 4});
const ofPlain: Uint8ClampedArray = (await library.resizeFrame({format: 'I420', width: 2, height: 2, data: pixels}, {width: 4})).data;
library.close();

// @ts-expect-error: a size has a width or a height
library.resize(ofImage, {});
// @ts-expect-error: no such layout
library.resize({data: pixels, width: 2, height: 2, layout: 'cmyk'}, {width: 4});
// @ts-expect-error: an array is no memory
library.resize({data: [1, 2, 3, 4], width: 1, height: 1}, {width: 4});
// @ts-expect-error: without alpha it is no ImageData any more
library.resize(ofImageData, {width: 4}, {alpha: 'drop'}).colorSpace;

export {lines, ofFrame, ofOut, ofPlain};
