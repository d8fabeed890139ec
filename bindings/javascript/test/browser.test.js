// The module and the page in Chromium, headless, with a camera that is none.
import assert from 'node:assert/strict';
import {mkdirSync, mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {after, before, describe, test} from 'node:test';

import {PNG} from 'pngjs';
import puppeteer from 'puppeteer-core';

import {serve} from '../page/serve.js';
import {published} from '../selftest/selftest.js';
import {load} from '../src/index.js';
import {noise} from './pictures.js';

const chromium = process.env.FOURTAP_CHROMIUM;
const shots = process.env.FOURTAP_SCREENSHOTS;

describe('in Chromium', {skip: !chromium && 'FOURTAP_CHROMIUM names no browser'}, () => {
  let browser;
  let server;
  let url;
  let page;
  let folder;
  let library;
  const faults = [];

  const newPage = async (address = url) => {
    const made = await browser.newPage();
    made.on('pageerror', (error) => faults.push(error.message));
    made.on('console', (message) => message.type() === 'error' && faults.push(message.text()));
    if (address) await open(made, address);
    return made;
  };
  const open = async (which, address) => {
    await which.goto(address);
    await which.waitForFunction(() => document.getElementById('about').textContent !== '');
  };
  const textOf = (id) => page.$eval(`#${id}`, (element) => element.textContent);
  const errorIs = (pattern) =>
    page.waitForFunction((text) => new RegExp(text).test(document.getElementById('error').textContent), {}, pattern);
  const shoot = async (name) => {
    if (shots) await page.screenshot({path: join(shots, `${name}.png`), fullPage: true});
  };

  before(async () => {
    ({server, url} = await serve());
    browser = await puppeteer.launch({
      executablePath: chromium,
      args: ['--no-sandbox', '--use-fake-device-for-media-stream', '--use-fake-ui-for-media-stream'],
    });
    folder = mkdtempSync(join(tmpdir(), 'fourtapscale-'));
    if (shots) mkdirSync(shots, {recursive: true});
    library = await load();
    page = await newPage();
  });
  after(async () => {
    await browser?.close();
    server?.closeAllConnections?.();
    server?.close();
    if (folder) rmSync(folder, {recursive: true});
  });

  test('page and worker give the bytes that node gives', async () => {
    const from = {width: 211, height: 150};
    for (const size of [{width: 300, height: 207}, {width: 21, height: 15}]) {
      for (const vectors of [true, false]) {
        const data = noise(from.width * from.height * 4);
        const expected = [...library.resize({data, ...from}, size).data];
        const [asImageData, ofWorker] = await page.evaluate(
          async (bytes, {width, height}, to, withVectors) => {
            const {load: loadHere} = await import('../src/index.js');
            const here = await loadHere({vectors: withVectors});
            const image = new ImageData(new Uint8ClampedArray(bytes), width, height);
            const scaled = here.resize(image, to);
            if (!(scaled instanceof ImageData)) throw new Error('expected an ImageData');
            here.close();
            const worker = new Worker('../test/worker.js', {type: 'module'});
            const answer = new Promise((resolve, reject) => {
              worker.onmessage = (event) => resolve(event.data);
              worker.onerror = reject;
            });
            worker.postMessage({image: {data: image.data, width, height, layout: 'rgba'}, size: to});
            const ofIt = await answer;
            worker.terminate();
            return [[...scaled.data], [...ofIt]];
          },
          [...data], from, size, vectors,
        );
        assert.deepEqual(asImageData, expected);
        assert.deepEqual(ofWorker, expected);
      }
    }
  });

  test('frames of WebCodecs are scaled in their own formats', async () => {
    const from = {width: 98, height: 54};
    const to = {width: 64, height: 40};
    for (const [format, bytes] of [['I420', 1.5], ['NV12', 1.5], ['RGBA', 4], ['RGBX', 4], ['BGRA', 4]]) {
      const data = noise(from.width * from.height * bytes);
      const expected = await library.resizeFrame({format, ...from, data}, to);
      const made = await page.evaluate(
        async (content, {width, height}, size, kind) => {
          const {load: loadHere} = await import('../src/index.js');
          const here = await loadHere();
          const init = {
            format: kind, codedWidth: width, codedHeight: height, timestamp: 1234, duration: 40,
            displayWidth: 2 * width, displayHeight: height,
          };
          const frame = new VideoFrame(new Uint8Array(content), init);
          const scaled = await here.resizeFrame(frame, size);
          const copy = new Uint8Array(scaled.allocationSize());
          await scaled.copyTo(copy);
          const all = {
            format: scaled.format, width: scaled.codedWidth, height: scaled.codedHeight,
            timestamp: scaled.timestamp, duration: scaled.duration, bytes: [...copy],
            display: [scaled.displayWidth, scaled.displayHeight],
          };
          frame.close();
          scaled.close();
          const closed = await here.resizeFrame(frame, size).catch((error) => error.message);
          here.close();
          return {...all, closed};
        },
        [...data], from, to, format,
      );
      const {bytes: content, closed, ...facts} = made;
      assert.deepEqual(facts, {format, ...to, timestamp: 1234, duration: 40, display: [2 * to.width, to.height]});
      assert.deepEqual(content, [...expected.data], format);
      assert.equal(closed, 'frame: closed, expected an open one');
    }
  });

  test('the page proves the law, by keyboard', async () => {
    await page.focus('#prove');
    await page.keyboard.press('Enter');
    await page.waitForFunction(() => document.getElementById('verdict').textContent !== '', {timeout: 120000});
    assert.match(await textOf('verdict'), /^Equal/);
    const rows = await page.$$eval('#digests tr', (all) => all.map((row) => row.cells[1].textContent));
    assert.deepEqual(rows, Object.values(published));
    assert.match(await textOf('lines'), /simd128 +2000 cases agree/);
    await shoot('proof');
  });

  test('a chosen picture is scaled, by slider and keyboard, and looked at by loupe', async () => {
    const png = new PNG({width: 300, height: 200});
    png.data = Buffer.from(noise(300 * 200 * 4).map((byte, i) => (i % 4 === 3 ? 255 : byte)));
    const file = join(folder, 'noise.png');
    writeFileSync(file, PNG.sync.write(png));
    await (await page.$('#file')).uploadFile(file);
    await page.waitForFunction(() => document.getElementById('sizes').textContent.startsWith('300 x 200 to 120 x 80'));
    await page.focus('#size');
    await page.keyboard.press('ArrowLeft');
    assert.match(await textOf('sizes'), /300 x 200 to 117 x 78 \(39 %\)/);
    const expected = library.resize({data: png.data, width: 300, height: 200}, {width: 117, height: 78});
    const shown = await page.$eval('#ours', (canvas) => [...canvas.getContext('2d').getImageData(0, 0, 117, 78).data]);
    assert.deepEqual(shown, [...expected.data]);
    await page.focus('#ours');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('ArrowDown');
    assert.equal(await textOf('place'), '1, 1');
    for (const id of ['ours-time', 'theirs-time']) assert.match(await textOf(id), /^[\d.]+ ms$/);
    assert.match(await textOf('difference-most'), /^at most \d+ of 255$/);
  });

  test('a picture that is dropped is taken', async () => {
    const png = new PNG({width: 64, height: 48});
    png.data = Buffer.from(noise(64 * 48 * 4));
    await page.evaluate((content) => {
      const dataTransfer = new DataTransfer();
      dataTransfer.items.add(new File([new Uint8Array(content)], 'dropped.png', {type: 'image/png'}));
      document.body.dispatchEvent(new DragEvent('drop', {dataTransfer, bubbles: true, cancelable: true}));
    }, [...PNG.sync.write(png)]);
    await page.waitForFunction(() => document.getElementById('sizes').textContent.startsWith('64 x 48 to '));
  });

  test('broken files and pictures beyond memory are said in a line', async () => {
    const broken = join(folder, 'broken.png');
    writeFileSync(broken, noise(100));
    await (await page.$('#file')).uploadFile(broken);
    await errorIs("^broken.png: can't be read, expected a picture");
    await page.click('#chart');
    await page.waitForFunction(() => document.getElementById('error').hidden);
    const refusal = await page.evaluate(async () => {
      const {load: loadHere} = await import('../src/index.js');
      const here = await loadHere();
      const image = {data: new Uint8Array(4), width: 1, height: 1};
      try {
        here.resize(image, {width: 100000, height: 100000});
        return 'none';
      } catch (error) {
        return [error.constructor.name, error.message, here.resize(image, {width: 2, height: 2}).data.length];
      }
    });
    assert.deepEqual(refusal, ['RangeError', 'memory: none for a picture of 40000000000 bytes', 16]);
  });

  test('the camera is scaled as it runs', async () => {
    await page.click('#camera');
    await page.waitForFunction(() => /^(1280 x 720|640 x 480) to /.test(document.getElementById('sizes').textContent));
    const before = await textOf('ours-digest');
    await page.waitForFunction((old) => document.getElementById('ours-digest').textContent !== old, {}, before);
    await shoot('camera');
    await page.click('#camera');
    assert.equal(await page.$eval('#camera', (button) => button.getAttribute('aria-pressed')), 'false');
  });

  test('without vectors the plain module is loaded', async () => {
    const old = await newPage(null);
    await old.evaluateOnNewDocument(() => (WebAssembly.validate = () => false));
    const asked = [];
    old.on('request', (request) => asked.push(request.url().split('/').pop()));
    await open(old, url);
    assert.match(await old.$eval('#about', (element) => element.textContent), /without vectors/);
    assert.ok(asked.includes('fourtapscale-plain.wasm') && !asked.includes('fourtapscale-simd128.wasm'));
    await old.close();
  });

  test('a module that does not come is said in a line', async () => {
    const context = await browser.createBrowserContext();
    const lost = await context.newPage();
    await lost.setRequestInterception(true);
    lost.on('request', (request) => (request.url().endsWith('.wasm') ? request.abort() : request.continue()));
    await lost.goto(url);
    await lost.waitForFunction(() => !document.getElementById('error').hidden);
    assert.match(await lost.$eval('#error', (element) => element.textContent), /^The module can't be loaded: /);
    await context.close();
  });

  test('it fits a phone, in light and dark, and works offline', async () => {
    await page.setViewport({width: 360, height: 740});
    for (const scheme of ['light', 'dark']) {
      await page.emulateMediaFeatures([{name: 'prefers-color-scheme', value: scheme}]);
      assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'no scrolling sideways');
      const [paper, ink] = await page.evaluate(() => {
        const {backgroundColor, color} = getComputedStyle(document.body);
        return [backgroundColor, color].map((text) => Number(text.match(/\d+/)[0]));
      });
      assert.ok(scheme === 'light' ? paper > 200 && ink < 60 : paper < 60 && ink > 200, `${scheme}: ${ink} on ${paper}`);
      await shoot(`phone-${scheme}`);
    }
    await page.evaluate(() => navigator.serviceWorker.ready.then(() => true));
    server.closeAllConnections?.();
    await new Promise((resolve) => server.close(resolve));
    await open(page, url);
    await page.click('#prove');
    await page.waitForFunction(() => document.getElementById('verdict').textContent !== '', {timeout: 120000});
    assert.match(await textOf('verdict'), /^Equal/);
    assert.deepEqual(faults.filter((text) => !/ERR_CONNECTION_REFUSED/.test(text)), []);
  });
});
