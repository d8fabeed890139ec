#!/bin/bash
# Builds the library and its tool, draws test charts, and scales them up and down, for looking at.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${demoPackages[@]}"

build=build/demo
cmake --preset release -B "$build" -DFOURTAP_BUILD_TESTS=OFF -DFOURTAP_BUILD_BENCH=OFF
cmake --build "$build"

results=$build/pictures
rm -rf "$results"
mkdir -p "$results"
fourtap=$PWD/$build/tools/fourtap/fourtap
"$build/tools/chart/chart" "$results/chart.jpg"
"$build/tools/chart/chart" --cut-out "$results/cut-out.png"
cd "$results"

# Pictures side by side on white, each with a label above it: FILE LABEL...
Row() {
  local labelled=()
  while (($#)); do
    local name=labelled-$1.pnm
    "$fourtap" "$1" - --size 100% --format png | pngtopnm -quiet -mix -background=rgb:ff/ff/ff |
      pnmcat -topbottom -jleft -white <(pbmtext -builtin fixed "$2") - >"$name"
    labelled+=("$name")
    shift 2
  done
  pnmcat -leftright -jtop -white "${labelled[@]}"
  rm "${labelled[@]}"
}

for percent in 50 25; do "$fourtap" chart.jpg "chart-$percent.jpg" --size "$percent%"; done
"$fourtap" chart.jpg chart-25-one-step.jpg --size 25% --one-step
"$fourtap" chart.jpg chart-150-part.png --size 150% --rect 10,10,320,320
"$fourtap" cut-out.png cut-out-50.png --size 50%
"$fourtap" cut-out.png cut-out-50-straight.png --size 50% --alpha straight
"$fourtap" cut-out.png cut-out-200-part.png --size 200% --rect 480,380,320,200

pnmcat -topbottom -jleft -white \
  <(Row chart.jpg "640x480, JPEG" chart-50.jpg "50%" chart-25.jpg "25%" \
    chart-25-one-step.jpg "25% by four taps" chart-150-part.png "150%, part of it") \
  <(Row cut-out.png "640x480, PNG with alpha, on white" cut-out-50.png "50%" \
    cut-out-50-straight.png "50%, alpha straight: green fringes" cut-out-200-part.png "200%, part of it") |
  pnmtopng -quiet >side-by-side.png

echo
echo "The charts and what became of them, in $PWD:"
ls
echo "All in one picture: $PWD/side-by-side.png"
