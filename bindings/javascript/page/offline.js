// Keeps the page for when there is no network: the newest there is, else what was kept.
const cacheName = 'fourtapscale';
const files = [
  './', 'page.css', 'page.js', 'prove.js',
  '../selftest/selftest.js', '../selftest/selftest-simd128.wasm', '../selftest/selftest-plain.wasm',
  '../src/index.js', '../src/arguments.js', '../src/frames.js', '../src/module.js', '../src/scaler.js',
  '../fourtapscale-simd128.wasm', '../fourtapscale-plain.wasm',
];

self.addEventListener('install', (event) => {
  event.waitUntil(caches.open(cacheName).then((cache) => cache.addAll(files)));
  self.skipWaiting();
});
self.addEventListener('activate', (event) => event.waitUntil(self.clients.claim()));
self.addEventListener('fetch', (event) => {
  if (event.request.method !== 'GET') return;
  event.respondWith(
    fetch(event.request)
      .then(async (response) => {
        if (response.ok) await (await caches.open(cacheName)).put(event.request, response.clone());
        return response;
      })
      .catch(async () => (await caches.match(event.request)) ?? Response.error()),
  );
});
