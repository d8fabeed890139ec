// The page: pictures beside the browser's own, a loupe, and the proof.
import {published} from '../selftest/selftest.js';
import {hasVectors, load} from '../src/index.js';

const at = (id) => document.getElementById(id);
const library = await load().catch((error) => {
  complain(`The module can't be loaded: ${error.message}`);
  throw error;
});
const pictures = ['ours', 'theirs', 'difference'];
const canvas = Object.fromEntries(pictures.map((name) => [name, at(name)]));
const contexts = Object.fromEntries(
  pictures.map((name) => [name, canvas[name].getContext('2d', {willReadFrequently: true})]),
);
const sourceCanvas = document.createElement('canvas');
const sourceContext = sourceCanvas.getContext('2d', {willReadFrequently: true});
let source;
let stream;
const loupe = {x: 0, y: 0};
const loupePixels = 18;

function complain(text) {
  at('error').textContent = text;
  at('error').hidden = text === '';
}

// A new source, drawn by the browser at its own size.
function take(drawable, width, height) {
  if (width < 1 || height < 1) throw new RangeError('the picture is empty');
  sourceCanvas.width = width;
  sourceCanvas.height = height;
  sourceContext.drawImage(drawable, 0, 0);
  source = sourceContext.getImageData(0, 0, width, height);
}

function targetSize() {
  const percent = Number(at('size').value);
  const scaled = (length) => Math.max(1, Math.round((length * percent) / 100));
  return {width: scaled(source.width), height: scaled(source.height)};
}

async function digestOf(data) {
  // Pages that came by an insecure way have no digests.
  if (!globalThis.crypto?.subtle) return '';
  const bytes = new Uint8Array(await crypto.subtle.digest('SHA-256', data));
  return `SHA-256 ${Array.from(bytes.subarray(0, 16), (byte) => byte.toString(16).padStart(2, '0')).join('')}...`;
}

// The best of three: the first one may still be compiled while it runs.
function timed(work) {
  let best = Infinity;
  let result;
  for (let i = 0; i < (stream ? 1 : 3); ++i) {
    const start = performance.now();
    result = work();
    best = Math.min(best, performance.now() - start);
  }
  return [result, best];
}
const milliseconds = (time) => `${time.toFixed(time < 10 ? 2 : 1)} ms`;

let drawing = 0;
function draw() {
  if (!source) return;
  const {width, height} = targetSize();
  at('sizes').textContent = `${source.width} x ${source.height} to ${width} x ${height} (${at('size').value} %)`;
  const [ours, ourTime] = timed(() => library.resize(source, {width, height}));
  for (const name of pictures) {
    canvas[name].width = width;
    canvas[name].height = height;
  }
  contexts.ours.putImageData(ours, 0, 0);
  const [theirs, theirTime] = timed(() => {
    contexts.theirs.imageSmoothingEnabled = true;
    contexts.theirs.imageSmoothingQuality = 'high';
    contexts.theirs.drawImage(sourceCanvas, 0, 0, width, height);
    // Where drawing is put off, this waits for it.
    return contexts.theirs.getImageData(0, 0, width, height);
  });
  const difference = new ImageData(width, height);
  let most = 0;
  for (let i = 0; i < ours.data.length; ++i) {
    const distance = Math.abs(ours.data[i] - theirs.data[i]);
    if (distance > most) most = distance;
    difference.data[i] = i % 4 === 3 ? 255 : 8 * distance;
  }
  contexts.difference.putImageData(difference, 0, 0);
  at('ours-time').textContent = milliseconds(ourTime);
  at('theirs-time').textContent = milliseconds(theirTime);
  at('difference-most').textContent = `at most ${most} of 255`;
  const number = ++drawing;
  for (const [name, picture] of [['ours', ours], ['theirs', theirs]]) {
    digestOf(picture.data).then((text) => {
      if (number === drawing) at(`${name}-digest`).textContent = text;
    });
  }
  moveLoupe(loupe.x, loupe.y);
}

function redraw() {
  try {
    draw();
    complain('');
  } catch (error) {
    complain(error.message);
  }
}

function moveLoupe(x, y) {
  const {width, height} = canvas.ours;
  loupe.x = Math.min(Math.max(0, x), Math.max(0, width - loupePixels));
  loupe.y = Math.min(Math.max(0, y), Math.max(0, height - loupePixels));
  at('place').textContent = `${loupe.x}, ${loupe.y}`;
  for (const name of pictures) {
    const context = at(`${name}-loupe`).getContext('2d');
    context.imageSmoothingEnabled = false;
    context.clearRect(0, 0, 144, 144);
    context.drawImage(canvas[name], loupe.x, loupe.y, loupePixels, loupePixels, 0, 0, 144, 144);
  }
}

for (const name of pictures) {
  canvas[name].addEventListener('pointermove', ({offsetX, offsetY}) => {
    moveLoupe(Math.round(offsetX - loupePixels / 2), Math.round(offsetY - loupePixels / 2));
  });
  canvas[name].addEventListener('keydown', (event) => {
    const step = event.shiftKey ? 10 : 1;
    const moves = {ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step], ArrowDown: [0, step]};
    const move = moves[event.key];
    if (!move) return;
    event.preventDefault();
    moveLoupe(loupe.x + move[0], loupe.y + move[1]);
  });
}

// Rings that come closer and closer, fine lines, text, and half of it fading away.
function chart() {
  const [width, height] = [960, 640];
  const image = new ImageData(width, height);
  for (let y = 0; y < height; ++y) {
    for (let x = 0; x < width; ++x) {
      const ring = 127.5 + 127.5 * Math.cos(((x - 320) ** 2 + (y - 320) ** 2) / 420);
      const line = (x + (y >> 5)) % 2 ? 255 : 0;
      const grey = x < 640 ? ring : line;
      image.data.set([grey, x < 640 ? ring : 255 - line / 2, x < 640 ? 255 - ring / 2 : 96, 255], 4 * (y * width + x));
    }
  }
  sourceCanvas.width = width;
  sourceCanvas.height = height;
  sourceContext.putImageData(image, 0, 0);
  sourceContext.font = '600 34px system-ui, sans-serif';
  sourceContext.fillStyle = '#fff';
  sourceContext.fillRect(660, 40, 280, 110);
  sourceContext.fillStyle = '#123';
  sourceContext.fillText('FourTapScale', 672, 90);
  sourceContext.font = '18px system-ui, sans-serif';
  sourceContext.fillText('the quick brown fox jumps', 672, 128);
  source = sourceContext.getImageData(0, 0, width, height);
}

async function open(file) {
  stopCamera();
  try {
    const bitmap = await createImageBitmap(file).catch(() => {
      throw new TypeError(`${file.name}: can't be read, expected a picture that this browser knows`);
    });
    try {
      take(bitmap, bitmap.width, bitmap.height);
    } catch (error) {
      throw new RangeError(`${file.name}: ${bitmap.width} x ${bitmap.height} pixels, more than memory (${error.message})`);
    } finally {
      bitmap.close();
    }
    redraw();
  } catch (error) {
    complain(error.message);
  }
}

at('file').addEventListener('change', ({target}) => {
  if (target.files.length > 0) open(target.files[0]);
  target.value = '';
});
const drop = at('drop');
for (const kind of ['dragenter', 'dragover']) {
  addEventListener(kind, (event) => {
    event.preventDefault();
    drop.classList.add('over');
  });
}
addEventListener('dragleave', () => drop.classList.remove('over'));
addEventListener('drop', (event) => {
  event.preventDefault();
  drop.classList.remove('over');
  const file = event.dataTransfer?.files[0];
  if (file) open(file);
});
at('chart').addEventListener('click', () => {
  stopCamera();
  chart();
  redraw();
});
at('size').addEventListener('input', redraw);

const video = document.createElement('video');
video.muted = true;
video.playsInline = true;

function stopCamera() {
  stream?.getTracks().forEach((track) => track.stop());
  stream = undefined;
  at('camera').setAttribute('aria-pressed', 'false');
}

function nextFrame() {
  if (!stream) return;
  if (video.videoWidth > 0) {
    try {
      take(video, video.videoWidth, video.videoHeight);
      draw();
    } catch (error) {
      stopCamera();
      complain(error.message);
      return;
    }
  }
  if (video.requestVideoFrameCallback) video.requestVideoFrameCallback(nextFrame);
  else requestAnimationFrame(nextFrame);
}

at('camera').addEventListener('click', async () => {
  if (stream) {
    stopCamera();
    return;
  }
  try {
    if (!navigator.mediaDevices?.getUserMedia) throw new Error('this page has no way to it, expected https or localhost');
    stream = await navigator.mediaDevices.getUserMedia({video: {width: 1280, height: 720}});
    at('camera').setAttribute('aria-pressed', 'true');
    video.srcObject = stream;
    await video.play();
    complain('');
    nextFrame();
  } catch (error) {
    stopCamera();
    complain(`camera: ${error.message}`);
  }
});

function showProof({agrees, ...digests}) {
  const names = {digest: 'of the five first layouts', pictures: 'of pictures', all: 'of all layouts'};
  let equal = agrees;
  at('digests').replaceChildren(
    ...Object.entries(names).map(([key, name]) => {
      const row = document.createElement('tr');
      const isEqual = digests[key] === published[key];
      equal &&= isEqual;
      for (const text of [name, digests[key] ?? 'none', published[key]]) row.insertCell().textContent = text;
      row.cells[1].className = isEqual ? 'good' : 'bad';
      return row;
    }),
  );
  at('digests').parentElement.hidden = false;
  at('verdict').textContent = equal
    ? 'Equal: this browser gives the bytes that all others give.'
    : 'Not equal: something here computes otherwise. Please report it.';
  at('verdict').className = equal ? 'good' : 'bad';
}

at('prove').addEventListener('click', () => {
  const button = at('prove');
  const progress = at('progress');
  const lines = at('lines');
  button.disabled = true;
  progress.hidden = false;
  progress.value = 0;
  lines.textContent = at('verdict').textContent = '';
  lines.parentElement.hidden = false;
  const worker = new Worker(new URL('prove.js', import.meta.url), {type: 'module'});
  const end = () => {
    worker.terminate();
    button.disabled = false;
    progress.hidden = true;
  };
  worker.onerror = (event) => {
    complain(`self-test: ${event.message ?? 'could not start'}`);
    end();
  };
  worker.onmessage = ({data}) => {
    if (data.line) lines.textContent += `${data.line}\n`;
    if (data.done) progress.value = data.done / data.all;
    if (data.error) complain(`self-test: ${data.error}`);
    if (data.result) showProof(data.result);
    if (data.result || data.error) end();
  };
});

at('about').textContent = `FourTapScale ${library.version}, WebAssembly ${hasVectors() ? 'with' : 'without'} vectors.`;
chart();
redraw();
if ('serviceWorker' in navigator) navigator.serviceWorker.register('offline.js').catch(() => {});
