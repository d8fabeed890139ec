// Times 1920x1080 to 1280x720: this package, the library without WebAssembly, pica and sharp, one after the other in each
// round; then in Chromium beside the browser's own. bench.js NATIVE CHROMIUM [ROUNDS]
import {spawn} from 'node:child_process';
import {cpus} from 'node:os';
import {createInterface} from 'node:readline';

import pica from 'pica';
import puppeteer from 'puppeteer-core';
import sharp from 'sharp';

import {serve} from '../page/serve.js';
import {load} from '../src/index.js';
import {noise} from '../test/pictures.js';

const [native, chromium, rounds = '10'] = process.argv.slice(2);
const from = {width: 1920, height: 1080};
const to = {width: 1280, height: 720};
const sse2 = 1;

const program = spawn(native, {stdio: ['pipe', 'pipe', 'inherit']});
const answers = createInterface({input: program.stdout})[Symbol.asyncIterator]();
async function ofNative(kind, set) {
  program.stdin.write(`${kind} ${set}\n`);
  const {value} = await answers.next();
  if (!/^[\d.]+$/.test(value)) throw new Error(`native: ${value}`);
  return Number(value);
}

// The least microseconds of processor time of five, all threads together.
async function timeOf(work) {
  let least = Infinity;
  for (let i = 0; i < 5; ++i) {
    const before = process.cpuUsage();
    await work();
    const {user, system} = process.cpuUsage(before);
    least = Math.min(least, user + system);
  }
  return least;
}

const gray = {data: noise(from.width * from.height), ...from, layout: 'gray'};
const rgba = {data: noise(from.width * from.height * 4), ...from, layout: 'rgba'};
const grayOut = {data: new Uint8Array(to.width * to.height)};
const rgbaOut = {data: new Uint8Array(to.width * to.height * 4)};
const [simd, plain] = [await load({vectors: true}), await load({vectors: false})];
const resizer = pica({features: ['wasm']});
sharp.concurrency(1);
sharp.cache(false);

const rows = [
  ['gray', 'fourtapscale', () => timeOf(() => simd.resize(gray, to, {out: grayOut}))],
  ['gray', 'fourtapscale, plain', () => timeOf(() => plain.resize(gray, to, {out: grayOut}))],
  ['gray', 'native SSE2', () => ofNative('gray', sse2)],
  ['RGBA, four channels alike', 'fourtapscale', () => timeOf(() => simd.resize(rgba, to, {out: rgbaOut, alpha: 'straight'}))],
  ['RGBA, four channels alike', 'native SSE2', () => ofNative('rgba', sse2)],
  ['RGBA, alpha work included', 'fourtapscale', () => timeOf(() => simd.resize(rgba, to, {out: rgbaOut}))],
  ['RGBA, alpha work included', 'fourtapscale, plain', () => timeOf(() => plain.resize(rgba, to, {out: rgbaOut}))],
  ['RGBA, alpha work included', 'native SSE2', () => ofNative('rgba-alpha', sse2)],
  ['RGBA, alpha work included', 'pica, lanczos2', () => timeOf(() => resizer.resizeBuffer({
    src: rgba.data, ...from, toWidth: to.width, toHeight: to.height, filter: 'lanczos2', alpha: true,
  }))],
  ['RGBA, alpha work included', 'sharp, cubic, one thread', () => timeOf(() =>
    sharp(rgba.data, {raw: {...from, channels: 4}}).resize(to.width, to.height, {kernel: 'cubic', fit: 'fill'}).raw().toBuffer())],
].map(([what, who, time]) => ({what, who, time, all: []}));

for (let round = -2; round < Number(rounds); ++round) {
  for (const row of rows) {
    const time = await row.time();
    if (round >= 0) row.all.push(time);
  }
}
program.stdin.end();

const least = (row) => Math.min(...row.all);
console.log(`node ${process.version}, ${cpus()[0].model.trim()}, least processor time of ${rounds} rounds of five\n`);
console.log('| 1920x1080 to 1280x720 | | ms | times |\n|---|---|---|---|');
for (const row of rows) {
  const ours = rows.find(({what}) => what === row.what);
  console.log(`| ${row.what} | ${row.who} | ${(least(row) / 1000).toFixed(2)} | ${(least(row) / least(ours)).toFixed(2)} |`);
}

const {server, url} = await serve();
const browser = await puppeteer.launch({executablePath: chromium, args: ['--no-sandbox']});
const page = await browser.newPage();
await page.goto(url);
const times = await page.evaluate(
  async (size, target, count) => {
    const {load: loadHere} = await import('../src/index.js');
    const library = await loadHere();
    const canvas = new OffscreenCanvas(size.width, size.height);
    const context = canvas.getContext('2d', {willReadFrequently: true});
    const image = new ImageData(size.width, size.height);
    for (let i = 0, state = 1; i < image.data.length; ++i) {
      state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
      image.data[i] = state >>> 24;
    }
    context.putImageData(image, 0, 0);
    const small = new OffscreenCanvas(target.width, target.height).getContext('2d', {willReadFrequently: true});
    small.imageSmoothingQuality = 'high';
    const read = () => small.getImageData(0, 0, target.width, target.height);
    const work = {
      fourtapscale: () => library.resize(image, target),
      'drawImage, "high"': () => {
        small.clearRect(0, 0, target.width, target.height);
        small.drawImage(canvas, 0, 0, target.width, target.height);
        read();
      },
      'createImageBitmap, "high"': async () => {
        const {width: resizeWidth, height: resizeHeight} = target;
        const bitmap = await createImageBitmap(image, {resizeWidth, resizeHeight, resizeQuality: 'high'});
        small.clearRect(0, 0, resizeWidth, resizeHeight);
        small.drawImage(bitmap, 0, 0);
        bitmap.close();
        read();
      },
    };
    const all = Object.fromEntries(Object.keys(work).map((name) => [name, Infinity]));
    for (let round = 0; round < count; ++round) {
      for (const [name, run] of Object.entries(work)) {
        const start = performance.now();
        await run();
        all[name] = Math.min(all[name], performance.now() - start);
      }
    }
    return all;
  },
  from, to, Number(rounds),
);
console.log(`\n${await browser.version()}, least time, bytes to bytes\n`);
console.log('| RGBA 1920x1080 to 1280x720 | ms | times |\n|---|---|---|');
for (const [name, time] of Object.entries(times)) {
  console.log(`| ${name} | ${time.toFixed(1)} | ${(time / times.fourtapscale).toFixed(2)} |`);
}
await browser.close();
server.closeAllConnections?.();
server.close();
