#!/bin/bash
# Builds the modules of the npm package, with vectors and without, and lays them beside its sources: build.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=scripts/packages.sh
source ../../scripts/packages.sh
EnsurePackages "${wasmPackages[@]}" cmake ninja-build

# Debian's emscripten finds its optimizer's parser there.
export NODE_PATH=/usr/share/nodejs
root=../../build/javascript
for kind in simd128:wasm32 plain:other; do
  name=${kind%:*} processor=${kind#*:}
  cmake -G Ninja -S . -B "$root/$name" -DCMAKE_BUILD_TYPE=Release "-DFOURTAP_PROCESSOR=$processor" \
    -DCMAKE_TOOLCHAIN_FILE=/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake >/dev/null
  cmake --build "$root/$name" --target module selftest_module
  cp "$root/$name/fourtapscale.wasm" "fourtapscale-$name.wasm"
  cp "$root/$name/selftest.wasm" "selftest/selftest-$name.wasm"
done
cp ../../LICENSE .
for module in fourtapscale-*.wasm; do
  printf '%s: %d bytes, %d compressed\n' "$module" "$(stat -c %s "$module")" "$(gzip -9c "$module" | wc -c)"
done
