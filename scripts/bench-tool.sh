#!/bin/bash
# Times fourtap beside the tools that Debian packages, on the same files in one run: wall time, processor time, memory
# and the results' sizes. What it prints last is README's table. Arguments go to bench/tool.py: --rounds 9, for instance.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${toolBenchPackages[@]}"

build=build/demo  # which has the same tools
cmake --preset release -B "$build" -DFOURTAP_BUILD_TESTS=OFF -DFOURTAP_BUILD_BENCH=OFF
cmake --build "$build" --target fourtap chart

results=build/bench/results
mkdir -p "$results"
processor=$(lscpu | sed -n 's/^Model name: *//p')
/usr/bin/python3 bench/tool.py --tools "$build/tools" --pictures build/bench/pictures --csv "$results/tool-rows.csv" "$@"

of=$results/tool-$(tr -cs '[:alnum:]' - <<<"${processor,,}" | sed 's/-$//').csv
{
  echo "# processor: $processor, $(nproc) processors"
  echo "# peers: $(vips --version), $(/usr/bin/convert --version | sed -n 's/^Version: \(ImageMagick [^ ]*\).*/\1/p')," \
    "$(ffmpeg -version | sed -n '1s/ Copyright.*//p'), netpbm $(dpkg-query -W -f '${Version}' netpbm)"
  echo "# commit: $(git describe --always --dirty)"
  cat "$results/tool-rows.csv"
} >"$of"
echo
echo "As README has it; ${of##*/} is what bench/results keeps"
/usr/bin/python3 bench/tool.py --table "$of"
