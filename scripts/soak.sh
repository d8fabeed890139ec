#!/bin/bash
# Draws cases and runs them for so many hours on all processors: soak.sh [HOURS [SEED]]
#
# Any size, layout, set, rectangle, slicing, stride and alignment, through the scalers and the checked functions, on
# memory between protected pages. Without a seed it takes one that no run had before, most likely. Says what repeats the
# case that fails, if one does, and appends a line to build/soak-results.txt.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages cmake g++ ninja-build
hours=${1:-1}
seed=(${2:+--seed "$2"})
cmake -G Ninja -S . -B build/soak -DCMAKE_BUILD_TYPE=Release -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF \
  -DFOURTAP_BUILD_BENCH=OFF -DFOURTAP_BUILD_BINDINGS=OFF >/dev/null
cmake --build build/soak --target fourtap_soak >/dev/null
PATH=$PWD/build/soak/conformance:$PATH exec nice -n 19 fourtap_soak --hours "$hours" "${seed[@]}" \
  --results build/soak-results.txt
