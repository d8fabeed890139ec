// The same where there are no types of pages.
import {load} from 'fourtapscale';

const library = await load();
const scaled = library.resize({data: new Uint8Array(4), width: 1, height: 1}, {width: 4});
const frame = await library.resizeFrame({format: 'NV12', width: 2, height: 2, data: scaled.data}, {width: 4});
const stride: number = frame.layout[0].stride;
library[Symbol.dispose]();

// @ts-expect-error: what comes out is no ImageData here
scaled.colorSpace;

export {stride};
