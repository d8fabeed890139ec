#!/bin/bash
# Whether all that the library writes follows from what it was given: every variant and the functions for C, under
# MemorySanitizer.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages cmake ninja-build "${clangPackages[@]}"
cmake -G Ninja -S . -B build/msan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS="-fsanitize=memory -fno-omit-frame-pointer" -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF \
  -DFOURTAP_BUILD_BENCH=OFF -DFOURTAP_BUILD_BINDINGS=OFF >/dev/null
cmake --build build/msan --target initialized >/dev/null
build/msan/conformance/initialized
