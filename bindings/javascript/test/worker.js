// What a worker makes of what it is sent.
import {load} from '../src/index.js';

onmessage = async ({data: {image, size}}) => {
  const library = await load();
  postMessage(library.resize(image, size).data);
  library.close();
};
