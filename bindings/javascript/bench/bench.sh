#!/bin/bash
# Times the package beside the library without WebAssembly, pica, sharp and the browser's own: bench.sh [ROUNDS]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=scripts/packages.sh
source ../../../scripts/packages.sh
command -v node >/dev/null || EnsurePackages nodejs
command -v npm >/dev/null || EnsurePackages npm
EnsurePackages "${javascriptPackages[@]}"
../build.sh >/dev/null
for folder in .. .; do (cd "$folder" && npm ci --no-audit --no-fund --loglevel=error >/dev/null); done

build=../../../build/javascript/native
cmake -G Ninja -S ../../.. -B "$build" -DCMAKE_BUILD_TYPE=Release -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF \
  -DFOURTAP_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target fourtapscale_static >/dev/null
cc -O2 -I../../../include native.c "$build/src/libfourtapscale.a" -lm -o "$build/native"
node bench.js "$build/native" "$(command -v chromium)" "$@"
