// Serves the page to this machine: serve.js [PORT]
import {createReadStream} from 'node:fs';
import {stat} from 'node:fs/promises';
import {createServer} from 'node:http';
import {extname, join, normalize} from 'node:path';
import {fileURLToPath} from 'node:url';

const root = fileURLToPath(new URL('..', import.meta.url));
const types = {
  '.html': 'text/html; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.wasm': 'application/wasm',
};
const served = /^\/(page|src|selftest|test)\/[\w.-]*$|^\/fourtapscale-\w+\.wasm$/;

async function answer(request, response) {
  const path = normalize(decodeURIComponent(new URL(request.url, 'http://localhost').pathname));
  if (path === '/') {
    response.writeHead(302, {location: '/page/'}).end();
    return;
  }
  const file = join(root, path.endsWith('/') ? `${path}index.html` : path);
  const found = served.test(path) && (await stat(file).catch(() => null))?.isFile();
  if (!found) {
    response.writeHead(404).end(`${path}: not here\n`);
    return;
  }
  response.writeHead(200, {'content-type': types[extname(file)] ?? 'application/octet-stream', 'cache-control': 'no-cache'});
  createReadStream(file).pipe(response);
}

export function serve(port = 0) {
  const server = createServer((request, response) => {
    answer(request, response).catch((error) => response.writeHead(400).end(`${error.message}\n`));
  });
  return new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', () => resolve({server, url: `http://localhost:${server.address().port}/page/`}));
  });
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const given = process.argv[2] ?? '8080';
  if (!/^\d+$/.test(given) || Number(given) > 65535) {
    console.error(`serve.js: port ${given} given, expected 0 to 65535`);
    process.exit(1);
  }
  try {
    const {url} = await serve(Number(given));
    console.log(`${url} (Ctrl+C ends it)`);
  } catch (error) {
    console.error(`serve.js: ${error.message}`);
    process.exit(1);
  }
}
