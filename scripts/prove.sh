#!/bin/bash
# Runs the scalers over all that four bytes can be, on all processors: prove.sh [OPTION]...; --help says which.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages cmake g++ ninja-build
cmake -G Ninja -S . -B build/soak -DCMAKE_BUILD_TYPE=Release -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF \
  -DFOURTAP_BUILD_BENCH=OFF -DFOURTAP_BUILD_BINDINGS=OFF >/dev/null
cmake --build build/soak --target fourtap_prove >/dev/null
exec nice -n 19 build/soak/conformance/fourtap_prove "$@"
