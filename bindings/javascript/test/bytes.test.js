// The law: the bytes depend on picture, sizes and rules alone. Held against the command line tool, and asked otherwise.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {after, before, describe, test} from 'node:test';

import {PNG} from 'pngjs';

import {published, runSelfTest} from '../selftest/selftest.js';
import {load} from '../src/index.js';
import {noise} from './pictures.js';

const tool = process.env.FOURTAP_TOOL;
const model = process.env.FOURTAP_MODEL;
// How many cases are drawn: of a seed, from a number on.
const numberIn = (variable, otherwise) => Number(process.env[variable] ?? otherwise);
const drawn = {seed: numberIn('FOURTAP_SEED', 1), first: numberIn('FOURTAP_FIRST', 0), cases: numberIn('FOURTAP_CASES', 40)};
const channels = {gray: 1, 'gray-alpha': 2, rgb: 3, rgba: 4};
const colourTypes = {gray: 0, 'gray-alpha': 4, rgb: 2, rgba: 6};

for (const vectors of [true, false]) {
  describe(vectors ? 'with vectors' : 'without vectors', () => {
    let library;
    let folder;
    before(async () => {
      library = await load({vectors});
      folder = mkdtempSync(join(tmpdir(), 'fourtapscale-'));
    });
    after(() => {
      library.close();
      rmSync(folder, {recursive: true});
    });

    test('the self-test gives the published digests', async () => {
      const kind = vectors ? 'simd128' : 'plain';
      const module = readFileSync(new URL(`../selftest/selftest-${kind}.wasm`, import.meta.url));
      const lines = [];
      let last = 0;
      const result = await runSelfTest(module, {
        say: (line) => lines.push(line),
        progress: (done, all) => assert.ok(last < (last = done) && done <= all),
      });
      assert.deepEqual(result, {agrees: true, ...published});
      assert.ok(lines.some((line) => line.includes(` ${vectors ? 'simd128' : 'c'} `)));
      assert.ok(last > 10000);
    });

    test('PNG files become what the tool makes of them', {skip: !tool && 'FOURTAP_TOOL names no tool'}, () => {
      const from = {width: 403, height: 301};
      for (const [layout, bytes] of Object.entries(channels)) {
        const data = noise(from.width * from.height * bytes, bytes);
        const [source, made] = [join(folder, 'source.png'), join(folder, 'made.png')];
        const png = new PNG(from);
        png.data = Buffer.from(data);
        const options = {colorType: colourTypes[layout], inputColorType: colourTypes[layout], inputHasAlpha: layout.endsWith('a')};
        writeFileSync(source, PNG.sync.write(png, options));
        for (const to of [{width: 611, height: 500}, {width: 40, height: 30}, {width: 300, height: 31}]) {
          execFileSync(tool, [source, made, '--force', '--size', `${to.width}x${to.height}!`]);
          const expected = PNG.sync.read(readFileSync(made)).data;
          const scaled = library.resize({data, ...from, layout}, to);
          for (let pixel = 0; pixel < to.width * to.height; ++pixel) {
            const [p, e] = [scaled.data.subarray(pixel * bytes), expected.subarray(pixel * 4, pixel * 4 + 4)];
            const rgba = bytes >= 3 ? [p[0], p[1], p[2], bytes === 4 ? p[3] : 255] : [p[0], p[0], p[0], bytes === 2 ? p[1] : 255];
            if (rgba.some((byte, i) => byte !== e[i])) {
              assert.fail(`${layout} to ${to.width}x${to.height}, pixel ${pixel}: ${rgba} instead of ${[...e]}`);
            }
          }
        }
      }
    });

    test('any case gives the bytes of the model', {skip: !model && 'FOURTAP_MODEL names no model'}, () => {
      // Of each layout: its name for the model, and bytes per pixel.
      const layouts = Object.entries({
        gray: ['Plane', 1], rgb: ['RGB24', 3], rgbx: ['RGB32', 4], uyvy: ['XYXY', 2], yuyv: ['YXYX', 2], uv: ['UV16', 2],
        'gray-alpha': ['100', 2], rgba: ['101', 4],
      });
      for (let number = drawn.first; number < drawn.first + drawn.cases; ++number) {
        const draws = new Uint32Array(noise(64, drawn.seed * 1000003 + number).buffer);
        let next = 0;
        const below = (n) => draws[next++] % n;
        const [layout, [name, bytes]] = layouts[below(layouts.length)];
        const unit = name.includes('XY') ? 2 : 1;
        const size = () => ({width: (1 + below(below(2) ? 60 : 12)) * unit, height: 1 + below(below(2) ? 60 : 12)});
        const [from, to] = [size(), size()];
        const wide = below(2);
        const data = noise(from.width * from.height * bytes, number);
        const numbers = [from.width, from.height, to.width, to.height, wide ? 0 : 1, 0].map(String);
        const whole = execFileSync(model, [name, ...numbers], {input: data});
        const x = below(to.width / unit) * unit;
        const y = below(to.height);
        const rect = {x, y, width: (1 + below((to.width - x) / unit)) * unit, height: 1 + below(to.height - y)};
        const expected = new Uint8ClampedArray(rect.width * rect.height * bytes);
        for (let line = 0; line < rect.height; ++line) {
          const at = ((y + line) * to.width + x) * bytes;
          expected.set(whole.subarray(at, at + rect.width * bytes), line * rect.width * bytes);
        }
        const options = {rect, reduction: wide ? 'wide' : 'four-taps'};
        const scaled = library.resize({data, ...from, layout}, to, options);
        const what = `${layout} ${numbers}, ${JSON.stringify(rect)}: FOURTAP_SEED=${drawn.seed} FOURTAP_FIRST=${number}`;
        assert.deepEqual(new Uint8ClampedArray(scaled.data), expected, what);
      }
    });

    test('rectangles, slices, strides and own memory give the same bytes', async () => {
      const sizes = [
        [{width: 97, height: 60}, {width: 60, height: 41}],
        [{width: 97, height: 60}, {width: 130, height: 90}],
        [{width: 300, height: 200}, {width: 17, height: 13}],
        [{width: 300, height: 20}, {width: 17, height: 40}],
        [{width: 64, height: 64}, {width: 64, height: 9}],
      ];
      for (const layout of ['gray', 'gray-alpha', 'rgb', 'bgrx', 'argb', 'rgba']) {
        for (const [from, to] of sizes) {
          const bytes = {gray: 1, 'gray-alpha': 2, rgb: 3}[layout] ?? 4;
          const data = noise(from.width * from.height * bytes);
          const whole = library.resize({data, ...from, layout}, to);
          assert.deepEqual([whole.width, whole.height, whole.layout], [to.width, to.height, layout]);
          const what = `${layout} ${from.width}x${from.height} to ${to.width}x${to.height}`;

          const stride = from.width * bytes + 5;
          const wide = new Uint8Array(stride * from.height);
          for (let y = 0; y < from.height; ++y) {
            wide.set(data.subarray(y * from.width * bytes, (y + 1) * from.width * bytes), y * stride);
          }
          const rect = {x: 3, y: 4, width: to.width - 7, height: to.height - 5};
          const outStride = rect.width * bytes + 3;
          const out = {data: new Uint8Array(outStride * rect.height + 9).fill(0x5a), stride: outStride};
          assert.equal(library.resize({data: wide, ...from, stride, layout}, to, {rect, out}), out);
          const expected = new Uint8Array(out.data.length).fill(0x5a);
          for (let y = 0; y < rect.height; ++y) {
            const at = ((rect.y + y) * to.width + rect.x) * bytes;
            expected.set(whole.data.subarray(at, at + rect.width * bytes), y * outStride);
          }
          assert.deepEqual(out.data, expected, `${what}: rectangle`);

          const scaler = new library.Scaler(from, to, {layout});
          for (const lines of [1, 7, 60]) {
            const made = [];
            const slices = [];
            for (let at = 0; at < data.length; at += lines * from.width * bytes) {
              slices.push(data.subarray(at, at + lines * from.width * bytes));
            }
            for await (const part of scaler.slices(slices)) made.push(...part);
            assert.deepEqual(new Uint8ClampedArray(made), whole.data, `${what}: slices of ${lines}`);
          }
          scaler.close();
        }
      }
    });

    test('alpha and reductions follow their rules', () => {
      const from = {width: 50, height: 40};
      const to = {width: 20, height: 10};
      const data = noise(from.width * from.height * 4);
      const image = {data, ...from, layout: 'rgba'};
      const dropped = library.resize(image, to, {alpha: 'drop'});
      assert.equal(dropped.layout, 'rgb');
      const rgb = data.filter((_, i) => i % 4 !== 3);
      assert.deepEqual(dropped.data, library.resize({data: rgb, ...from, layout: 'rgb'}, to).data);
      const opaque = data.map((byte, i) => (i % 4 === 3 ? 255 : byte));
      const onto = library.resize({...image, data: opaque}, to, {alpha: 'background', background: [9, 8, 7]});
      assert.deepEqual(onto.data, dropped.data);
      const clear = data.map((byte, i) => (i % 4 === 3 ? 0 : byte));
      const background = library.resize({...image, data: clear}, to, {alpha: 'background', background: [9, 8, 7]});
      assert.ok(background.data.every((byte, i) => byte === 9 - (i % 3)));
      assert.notDeepEqual(library.resize(image, to).data, library.resize(image, to, {alpha: 'straight'}).data);
      assert.notDeepEqual(library.resize(image, to).data, library.resize(image, to, {reduction: 'four-taps'}).data);
      // Alpha may come first, and colours in any order.
      const turned = (bytes, order) => bytes.map((_, i) => bytes[(i & ~3) + order[i & 3]]);
      const scaled = library.resize(image, to).data;
      for (const [layout, order] of [['argb', [3, 0, 1, 2]], ['bgra', [2, 1, 0, 3]], ['abgr', [3, 2, 1, 0]]]) {
        const made = library.resize({data: turned(data, order), ...from, layout}, to).data;
        assert.deepEqual(made, turned(scaled, order), layout);
      }
      assert.deepEqual(library.resize(image, {width: 25}), library.resize(image, {width: 25, height: 20}));
      assert.deepEqual(library.resize(image, {height: 20}), library.resize(image, {width: 25, height: 20}));
    });

    test('what resize keeps is of no effect', async () => {
      const data = noise(60 * 60 * 4);
      const of = (width, height, to, options) => [{data, width, height, layout: 'rgba'}, to, options];
      const calls = [
        of(60, 60, {width: 20, height: 20}),
        of(60, 50, {width: 20, height: 20}),
        of(50, 60, {width: 20, height: 20}),
        of(60, 60, {width: 20, height: 21}),
        of(60, 60, {width: 21, height: 20}),
        of(60, 60, {width: 20, height: 20}, {alpha: 'straight'}),
        of(60, 60, {width: 20, height: 20}, {reduction: 'four-taps'}),
        of(60, 60, {width: 20, height: 20}, {alpha: 'background', background: [1, 2, 3]}),
        of(60, 60, {width: 20, height: 20}, {alpha: 'background', background: [1, 2, 4]}),
      ];
      const expected = [];
      for (const call of calls) {
        const fresh = await load({vectors});
        expected.push(fresh.resize(...call).data);
        fresh.close();
      }
      for (const first of calls.keys()) {
        for (const [second, call] of calls.entries()) {
          library.resize(...calls[first]);
          assert.deepEqual(library.resize(...call).data, expected[second], `call ${second} after ${first}`);
        }
      }
    });

    test('frames are scaled plane by plane', async () => {
      const planes = {
        I420: [['gray', 1, 1], ['gray', 2, 2], ['gray', 2, 2]],
        I422: [['gray', 1, 1], ['gray', 2, 1], ['gray', 2, 1]],
        I444: [['gray', 1, 1], ['gray', 1, 1], ['gray', 1, 1]],
        NV12: [['gray', 1, 1], ['uv', 2, 2]],
        RGBA: [['rgba', 1, 1]],
        RGBX: [['rgbx', 1, 1]],
        BGRA: [['bgra', 1, 1]],
        BGRX: [['bgrx', 1, 1]],
      };
      const bytesOf = {gray: 1, uv: 2};
      const [from, to] = [{width: 101, height: 55}, {width: 64, height: 36}];
      const sizeOf = ({width, height}, [, columns, lines]) => ({width: Math.ceil(width / columns), height: Math.ceil(height / lines)});
      for (const [format, parts] of Object.entries(planes)) {
        const sources = parts.map((part, i) => {
          const size = sizeOf(from, part);
          return {data: noise(size.width * size.height * (bytesOf[part[0]] ?? 4), i), ...size, layout: part[0]};
        });
        const frame = {format, ...from, data: Buffer.concat(sources.map(({data}) => data))};
        const scaled = await library.resizeFrame(frame, to);
        const expected = Buffer.concat(
          sources.map((source, i) => Buffer.from(library.resize(source, sizeOf(to, parts[i])).data)),
        );
        assert.deepEqual([scaled.format, scaled.width, scaled.height], [format, to.width, to.height]);
        assert.deepEqual(Buffer.from(scaled.data), expected, format);
        const again = await library.resizeFrame(scaled, {width: 30});
        assert.deepEqual([again.width, again.height], [30, 17]);
      }
    });
  });
}
