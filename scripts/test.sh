#!/bin/bash
# Builds everything and runs every test: test.sh [release|clang|asan|tsan]. The last line says what ran and what did not.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
preset=${1:-release}
if [[ $preset == release ]]; then
  EnsurePackages "${testPackages[@]}"
else
  EnsurePackages "${testPackages[@]}" "${clangPackages[@]}"
fi
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$(nproc)}

results=build/$preset/test-results.xml
rm -f "$results"
status=0
cmake --workflow --preset "$preset" || status=$?
if [[ -e $results ]]; then
  /usr/bin/python3 scripts/what_ran.py "$preset" "$results" || status=$?
fi
exit "$status"
