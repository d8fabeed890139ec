#!/bin/bash
# Installs the scalers that Debian packages, builds the benchmark with them, times everything and draws the figures.
# Arguments go to the benchmark: --benchmark_filter=Plane, for instance. The tool's part is scripts/bench-tool.sh.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${benchPackages[@]}"

build=build/bench
cmake --preset release -B "$build" -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF
cmake --build "$build" --target fourtap_bench

results=$build/results
mkdir -p "$results"
lastCore=$(taskset -cp $$ | grep -o '[0-9]*$')
processor=$(lscpu | sed -n 's/^Model name: *//p')
echo
echo "ns per output pixel on one core; taps: wider than four where a scaler widens its kernel to shrink"
taskset -c "$lastCore" "$build/bench/fourtap_bench" --csv "$results/scalers.csv" "$@"
echo
echo "A picture of 80 megapixels made smaller, by the picture scaler and by steps of at most 2:1"
taskset -c "$lastCore" "$build/bench/fourtap_bench" --pictures-only --csv "$results/pictures.csv"
echo
echo "One frame in bands, not pinned"
"$build/bench/fourtap_bench" --threads-only --csv "$results/threads.csv"
/usr/bin/python3 bench/plot.py "$results/scalers.csv" "$results/scalers.svg" --title "One core of an $processor"


# Traceable: what was measured where, on top of the figures.
of=$results/$(tr -cs '[:alnum:]' - <<<"${processor,,}" | sed 's/-$//').csv
{
  echo "# processor: $processor (family $(lscpu | sed -n 's/^CPU family: *//p'), model $(lscpu | sed -n 's/^Model: *//p'))"
  echo "# compiler: $(c++ --version | head -n 1)"
  echo "# commit: $(git describe --always --dirty)"
  cat "$results/scalers.csv"
} >"$of"
echo
echo "As README has it; ${of##*/} is what bench/results keeps"
/usr/bin/python3 bench/table.py "$of"

echo
echo "The figures and their picture, in $PWD/$results:"
ls "$results"

echo
scripts/bench-tool.sh
