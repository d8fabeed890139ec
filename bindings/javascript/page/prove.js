// The worker that runs the self-test.
import {moduleName, runSelfTest} from '../selftest/selftest.js';

try {
  const response = await fetch(new URL(`../selftest/${moduleName()}`, import.meta.url));
  if (!response.ok) throw new Error(`${response.url}: status ${response.status}, expected the module`);
  const result = await runSelfTest(await response.arrayBuffer(), {
    say: (line) => postMessage({line}),
    progress: (done, all) => postMessage({done, all}),
  });
  postMessage({result});
} catch (error) {
  postMessage({error: error.message});
}
