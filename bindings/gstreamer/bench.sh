#!/bin/bash
# Builds the element and times it next to videoscale with as many taps, frame by frame, in one run: the table of README.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${gstreamerPackages[@]}"

build=build/bench
cmake --preset release -B "$build" -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target fourtap_gstreamer_bench
lastCore=$(taskset -cp $$ | grep -o '[0-9]*$')
echo
echo "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1), one core, processor time, minima"
echo
GST_REGISTRY=$PWD/$build/gstreamer-registry.bin taskset -c "$lastCore" \
  "$build/bindings/gstreamer/bench/fourtap_gstreamer_bench"
