#!/bin/bash
# Holds C++ files to the checks of .clang-tidy: tidy.sh [FOLDER]... ; all that are built, or those of them in a folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${testPackages[@]}" "${clangPackages[@]}" clang-tidy
cmake -G Ninja -S . -B build/tidy -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DFOURTAP_BUILD_BENCH=OFF -DFOURTAP_BUILD_BINDINGS=OFF \
  -DFOURTAP_BUILD_PYTHON=OFF >/dev/null
folders=("${@/#/$PWD/}")
# Each library is a compilation of its own; one of them is enough. What the build made itself is left out.
mapfile -t files < <(sed -nE 's/^ *"file": "(.*\.cpp)",?$/\1/p' build/tidy/compile_commands.json | sort -u |
  grep -vF "$PWD/build/" | grep -F "$(printf '%s/\n' "${folders[@]:-$PWD}")")
# What is wrong is said on stdout; on stderr clang-tidy counts what it leaves out.
if ! printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p build/tidy 2>build/tidy/counts.log; then
  echo "tidy.sh: expected none of the above" >&2
  exit 1
fi
echo "${#files[@]} files of ${*:-all but the benchmark and the bindings} are tidy"
