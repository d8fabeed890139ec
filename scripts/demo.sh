#!/bin/bash
# Builds the library and its tool, draws a test chart, and scales it up and down, for looking at.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${demoPackages[@]}"

build=build/demo
cmake --preset release -B "$build" -DFOURTAP_BUILD_TESTS=OFF -DFOURTAP_BUILD_BENCH=OFF
cmake --build "$build"

results=$build/pictures
mkdir -p "$results"
"$build/tools/chart/chart" "$results/chart.bmp"

# Each picture with its size above it.
labelled=()
AddLabelled() {
  local picture=$results/$1.bmp label=$2
  bmptopnm -quiet "$picture" | pnmtopng -quiet >"$results/$1.png"
  pnmcat -topbottom -jleft -white <(pbmtext -builtin fixed "$label") <(bmptopnm -quiet "$picture") \
    >"$results/$1.labelled"
  labelled+=("$results/$1.labelled")
}
AddLabelled chart "640x480: the chart itself"
for size in 320x240 427x320 640x480 960x720; do
  "$build/tools/fourtap/fourtap" "$results/chart.bmp" "$results/scaled-$size.bmp" --size "$size"
  AddLabelled "scaled-$size" "scaled to $size"
done
pnmcat -leftright -jtop -white "${labelled[@]}" | pnmtopng -quiet >"$results/side-by-side.png"
rm "${labelled[@]}"

echo
echo "The chart and what became of it, as BMP and PNG files, in $PWD/$results:"
ls "$results"
echo "All in one picture: $PWD/$results/side-by-side.png"
