#!/bin/bash
# Fuzzes, each target for so many minutes on all processors: fuzz.sh [MINUTES [TARGET]...]
#   MINUTES  20, or a fraction of one such as 0.2; 10 unless told
#   TARGET   Scale, Checked, or a reader of files: BMP, JPEG, PNG, PNM, Video, WebP. All, unless told.
#
# Starts from the files in fuzz/ and from what earlier runs left in build/fuzz/corpus. What is found lies in build/fuzz.
# Appends a line for each target to build/fuzz-results.txt.
#
#   fuzz.sh --keep [TARGET]...   adds to fuzz/ the fewest files of earlier runs that reach what its own do not
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${testPackages[@]}" "${clangPackages[@]}"

keeps='' minutes=10
if [[ ${1:-} == --keep ]]; then
  keeps=1
  shift
elif (($#)); then
  minutes=$1
  shift
fi
[[ $minutes =~ ^[0-9]+(\.[0-9]+)?$ ]] || {
  echo "fuzz.sh: $minutes minutes given, expected a number" >&2
  exit 2
}
# A target's folder of files.
declare -A known=([Scale]=fuzz/corpus [Checked]=fuzz/calls)
for folder in fuzz/files/*; do known[${folder##*/}]=$folder; done
targets=("$@")
(($#)) || mapfile -t targets < <(printf '%s\n' "${!known[@]}" | sort)
for target in "${targets[@]}"; do
  [[ -n ${known[$target]:-} ]] || {
    echo "fuzz.sh: $target given, expected one of $(printf '%s\n' "${!known[@]}" | sort | paste -sd ' ')" >&2
    exit 2
  }
done

cmake --preset asan -B build/fuzz -DFOURTAP_BUILD_FUZZERS=ON -DFOURTAP_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all" >/dev/null
cmake --build build/fuzz --target "${targets[@]/#/Fuzz}" >build/fuzz.log || {
  cat build/fuzz.log
  exit 1
}

Fuzz() {
  local target=$1 seconds runs=0 edges=0 job jobs=() failed=
  local corpus=build/fuzz/corpus/Fuzz$target log=build/fuzz/$target
  seconds=$(awk -v minutes="$minutes" 'BEGIN { printf "%d", minutes * 60 + 0.5 }')
  mkdir -p "$corpus"
  for ((job = 1; job <= $(nproc); ++job)); do
    "build/fuzz/fuzz/Fuzz$target" -seed="$job" -max_total_time="$seconds" -rss_limit_mb=4096 -print_final_stats=1 \
      -artifact_prefix=build/fuzz/ "$corpus" "${known[$target]}" >"$log-$job.log" 2>&1 &
    jobs+=($!)
  done
  for job in "${!jobs[@]}"; do
    wait "${jobs[job]}" || failed=$log-$((job + 1)).log
  done
  [[ -z $failed ]] || {
    tail -n 40 "$failed"
    echo "fuzz.sh: $target: found something, as above" >&2
    exit 1
  }
  for job in "${!jobs[@]}"; do
    runs=$((runs + $(sed -n 's/^stat::number_of_executed_units: *//p' "$log-$((job + 1)).log")))
    edges=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log-$((job + 1)).log" | sort -n | tail -n 1)
  done
  echo "$(date -u '+%F %R') $(sed -n 's/^model name\s*: //p;T;q' /proc/cpuinfo): $target," \
    "$seconds s on ${#jobs[@]} processors, $runs inputs, $edges edges: nothing found" | tee -a build/fuzz-results.txt
}

for target in "${targets[@]}"; do
  if [[ -n $keeps ]]; then
    "build/fuzz/fuzz/Fuzz$target" -set_cover_merge=1 -rss_limit_mb=4096 "${known[$target]}" \
      "build/fuzz/corpus/Fuzz$target" 2>&1 | tail -n 1
  else
    Fuzz "$target"
  fi
done
