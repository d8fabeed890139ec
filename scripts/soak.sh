#!/bin/bash
# Draws cases and runs them for so many hours on all processors: soak.sh [HOURS [SEED]]
#
# Any size, layout, set, rectangle, slicing, stride and alignment, through the scalers and the checked functions, on
# memory between protected pages. Without a seed it takes one that no run had before, most likely. Says what repeats the
# case that fails, if one does, and appends a line to build/soak-results.txt.
#
# Or so many cases from the outside: soak.sh --through tool|python|gstreamer|javascript [CASES [SEED]]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
results=build/soak-results.txt

# The cases after one that was drawn, as the environment's FOURTAP_... say.
RunThrough() {
  case $1 in
    tool) ctest --test-dir build/release -R '^ToolRandom' --output-on-failure ;;
    python) ctest --test-dir build/release -R '^Python.Property' --output-on-failure ;;
    gstreamer) ctest --test-dir build/release -R '^RandomFrames' --output-on-failure ;;
    javascript) (cd bindings/javascript && node --test --test-name-pattern='any case' test/bytes.test.js) ;;
  esac
}

if [[ ${1:-} == --through ]]; then
  what=${2:-} cases=${3:-10000} seed=${4:-$((RANDOM * 32768 + RANDOM))}
  [[ $what =~ ^(tool|python|gstreamer|javascript)$ && $cases =~ ^[1-9][0-9]*$ && $seed =~ ^[0-9]+$ ]] || {
    echo "soak.sh: --through ${*:2} given, expected tool, python, gstreamer or javascript, a number and a seed" >&2
    exit 2
  }
  EnsurePackages "${testPackages[@]}"
  mkdir -p build
  cmake --preset release >/dev/null
  cmake --build --preset release >build/soak.log
  if [[ $what == javascript ]]; then
    EnsurePackages "${javascriptPackages[@]}"
    bindings/javascript/build.sh >build/soak.log
    (cd bindings/javascript && npm ci --no-audit --no-fund --loglevel=error >/dev/null)
    FOURTAP_MODEL=$PWD/build/release/tests/tool/model_frame
    export FOURTAP_MODEL
  fi
  export FOURTAP_SEED=$seed FOURTAP_FIRST FOURTAP_CASES
  SECONDS=0
  # In parts that no test's limit of time ends.
  for ((FOURTAP_FIRST = 0; FOURTAP_FIRST < cases; FOURTAP_FIRST += 250)); do
    FOURTAP_CASES=$((cases - FOURTAP_FIRST < 250 ? cases - FOURTAP_FIRST : 250))
    RunThrough "$what" >build/soak.log || {
      cat build/soak.log
      exit 1
    }
    printf '\r%12d cases agree after %d s' $((FOURTAP_FIRST + FOURTAP_CASES)) "$SECONDS"
  done
  printf '\n%s %s: seed %d, %d cases through %s in %d s: all agree\n' "$(date -u '+%F %R')" \
    "$(sed -n 's/^model name\s*: //p;T;q' /proc/cpuinfo)" "$seed" "$cases" "$what" "$SECONDS" | tee -a "$results"
  exit
fi

EnsurePackages cmake g++ ninja-build
hours=${1:-1}
seed=(${2:+--seed "$2"})
cmake -G Ninja -S . -B build/soak -DCMAKE_BUILD_TYPE=Release -DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF \
  -DFOURTAP_BUILD_BENCH=OFF -DFOURTAP_BUILD_BINDINGS=OFF >/dev/null
cmake --build build/soak --target fourtap_soak >/dev/null
PATH=$PWD/build/soak/conformance:$PATH exec nice -n 19 fourtap_soak --hours "$hours" "${seed[@]}" --results "$results"
