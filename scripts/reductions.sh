#!/bin/bash
# Reduces two pictures with fourtap and with scalers that Debian packages, prints how near each comes to Pillow's
# Lanczos, and draws docs/reductions.svg and the pictures of docs/reductions.md. --before PATH: another fourtap to compare.
set -euo pipefail
before=()
if (($# == 2)) && [[ $1 == --before && -f $2 && -x $2 ]]; then
  before=(--before "$(realpath "$2")")
elif (($#)); then
  echo "$0: expected no arguments, or --before and the path of another fourtap" >&2
  exit 1
fi
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${reductionPackages[@]}"

build=build/demo  # which has the same tools
cmake --preset release -B "$build" -DFOURTAP_BUILD_TESTS=OFF -DFOURTAP_BUILD_BENCH=OFF
cmake --build "$build" --target fourtap chart

/usr/bin/python3 scripts/reductions.py --tools "$build/tools" --docs docs "${before[@]}"
