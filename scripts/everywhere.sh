#!/bin/bash
# Runs the self-test on every kind of processor that the library is written for, and the tests of those sets that few
# machines have, emulated where this machine is another one: everywhere.sh [--self-test-only]
#
# Says a line for each processor: the sets that ran, the cases that agree, the digests. Ends with status 0 only if
# all digests are one and all tests pass.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh

withTests=yes
case ${1-} in
  '') ;;
  --self-test-only) withTests= ;;
  *)
    echo "everywhere.sh: $1 given, expected --self-test-only or nothing" >&2
    exit 1
    ;;
esac
if [[ $(uname -m) != x86_64 ]]; then
  echo "everywhere.sh: this machine is $(uname -m), expected x86_64, from which the others are compiled for" >&2
  exit 1
fi
EnsurePackages "${everywherePackages[@]}"
started=$SECONDS
root=$PWD/build/everywhere
mkdir -p "$root"
rm -rf "$root/results"
mkdir "$root/results"

Step() { printf '\n== %s (after %d s)\n' "$*" $((SECONDS - started)); }

# Unpacks packages of another architecture, and nothing else, into a folder: the system's own are left alone.
# UnpackForeign ARCHITECTURE FOLDER PACKAGE...
UnpackForeign() {
  local architecture=$1 folder=$2 package options
  shift 2
  [[ -e $folder/complete-$# ]] && return
  rm -rf "$folder" && mkdir -p "$folder"/{apt/lists/partial,apt/cache/archives/partial,packages,sysroot}
  : >"$folder/apt/status"
  options=(-qq -o "Dir::State=$folder/apt" -o "Dir::State::Lists=$folder/apt/lists" -o "Dir::Cache=$folder/apt/cache"
    -o "Dir::State::Status=$folder/apt/status" -o "APT::Architecture=$architecture"
    -o "APT::Architectures=$architecture" -o APT::Sandbox::User= -o Acquire::Languages=none)
  apt-get "${options[@]}" update
  (cd "$folder/packages" && apt-get "${options[@]}" download "$@")
  for package in "$folder"/packages/*.deb; do dpkg-deb -x "$package" "$folder/sysroot"; done
  # Static libraries only: then nothing has to be found at run time.
  rm -f "$folder"/sysroot/usr/lib/*/*.so
  rm -rf "$folder/apt" "$folder/packages"
  : >"$folder/complete-$#"
}

# Configures build/everywhere/NAME: Configure NAME OPTION...
Configure() {
  local name=$1
  shift
  cmake -G Ninja -S . -B "$root/$name" -DCMAKE_BUILD_TYPE=Release -DFOURTAP_BUILD_BENCH=OFF "$@" \
    >"$root/results/$name.configured" 2>&1 || { cat "$root/results/$name.configured" && false; }
}

# The same for another processor: ConfigureForeign PROCESSOR TRIPLET EMULATOR OPTION...
ConfigureForeign() {
  local processor=$1 triplet=$2 emulator=$3 sysroot=$root/packages-$1/sysroot
  shift 3
  Configure "$processor" -DCMAKE_SYSTEM_NAME=Linux "-DCMAKE_SYSTEM_PROCESSOR=$processor" \
    "-DCMAKE_C_COMPILER=$triplet-gcc" "-DCMAKE_CXX_COMPILER=$triplet-g++" \
    "-DCMAKE_CROSSCOMPILING_EMULATOR=$emulator;-L;/usr/$triplet" "-DCMAKE_FIND_ROOT_PATH=$sysroot" \
    -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY \
    -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY \
    "-DCMAKE_CXX_FLAGS=-isystem $sysroot/usr/include/$triplet ${foreignFlags-}" "$@"
}

Build() { cmake --build "$root/$1" --target "${@:2}" >"$root/results/$1.built" || { sed -n '/FAILED/,$p' "$root/results/$1.built" && false; }; }

# Waits until fewer than so many jobs are under way as there are processors.
AwaitSlot() { while (($(jobs -rp | wc -l) >= $(nproc))); do wait -n || true; done; }

# The self-test in the background: SelfTest "PROCESSOR" SET COMMAND...; that set must have run.
count=10
SelfTest() {
  AwaitSlot
  local result=$root/results/$((++count))
  printf '%s\n%s\n' "$1" "$2" >"$result.what"
  shift 2
  ("$@" >"$result.said" 2>"$result.err" && : >"$result.passed") &
}

# Tests in the background, which leave their log where they fail: RunTests "NAME" COMMAND...
RunTests() {
  AwaitSlot
  local result=$root/results/$((++count))
  echo "$1" >"$result.tests"
  shift
  ("$@" >"$result.said" 2>&1 && : >"$result.passed") &
}

testsOff=(-DFOURTAP_BUILD_TOOL=OFF -DFOURTAP_BUILD_TESTS=OFF)
testsAlone=("${testsOff[@]}")
testTargets=()
foreignTestTargets=()
toolToo=("${testsOff[@]}")
aarch64Target=selftest
if [[ $withTests ]]; then
  testsAlone=(-DFOURTAP_BUILD_TOOL=OFF)
  testTargets=(ScalerTest UnitTest)
  foreignTestTargets=(UnitTest)
  toolToo=()
  aarch64Target=all
  Step "Packages of other processors"
  UnpackForeign arm64 "$root/packages-aarch64" "${foreignPackages[@]}" "${foreignToolPackages[@]}"
  UnpackForeign s390x "$root/packages-s390x" "${foreignPackages[@]}"
fi

Step "x86-64"
Configure x86_64 "${testsOff[@]}"
Build x86_64 selftest
onX86="$root/x86_64/conformance/selftest"
base=$("$onX86" | awk '$2 ~ /^(sse2|avx2|avx512)$/ && /agree$/ { widest = $2 } END { print widest }')
SelfTest "x86-64, this machine" "$base" "$onX86"
SelfTest "x86-64, the oldest (Opteron_G1)" sse2 qemu-x86_64 -cpu Opteron_G1 "$onX86"
SelfTest "x86-64, Haswell" avx2 qemu-x86_64 -cpu Haswell "$onX86"

Step "x86-64, AVX-512 made of AVX2"
withAvx2=()
grep -qw avx2 /proc/cpuinfo || withAvx2=(qemu-x86_64 -cpu Haswell)
Configure simde -DFOURTAP_PROCESSOR=simde "${testsAlone[@]}"
Build simde selftest "${testTargets[@]}"
SelfTest "x86-64, AVX-512 by SIMDe" avx512 "${withAvx2[@]}" "$root/simde/conformance/selftest"
if [[ $withTests ]]; then
  RunTests "AVX-512 by SIMDe: scalers" "${withAvx2[@]}" "$root/simde/tests/ScalerTest" --gtest_filter='*_avx512*:GatherSchemes*'
  RunTests "AVX-512 by SIMDe: vertical filter" "${withAvx2[@]}" "$root/simde/tests/UnitTest" --gtest_filter='VertFilter*'
fi

Step "riscv64 and s390x"
ConfigureForeign riscv64 riscv64-linux-gnu qemu-riscv64 "${testsOff[@]}"
Build riscv64 selftest
SelfTest "riscv64" c qemu-riscv64 -L /usr/riscv64-linux-gnu "$root/riscv64/conformance/selftest"
# g++ 12 for this processor takes the tests to write beside a vector.
foreignFlags=-Wno-stringop-overflow ConfigureForeign s390x s390x-linux-gnu qemu-s390x "${testsAlone[@]}"
Build s390x selftest "${foreignTestTargets[@]}"
onS390x=(qemu-s390x -L /usr/s390x-linux-gnu)
SelfTest "s390x, big-endian" c "${onS390x[@]}" "$root/s390x/conformance/selftest"
if [[ $withTests ]]; then
  RunTests "s390x: unit tests" "${onS390x[@]}" "$root/s390x/tests/UnitTest"
fi

Step "WebAssembly"
# Debian's emscripten finds its optimizer's parser there.
export NODE_PATH=/usr/share/nodejs
for kind in wasm32 other; do
  Configure "emscripten-$kind" "${testsOff[@]}" "-DFOURTAP_PROCESSOR=$kind" \
    -DCMAKE_TOOLCHAIN_FILE=/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake
  Build "emscripten-$kind" selftest
done
SelfTest "WebAssembly" simd128 node "$root/emscripten-wasm32/conformance/selftest.js"
SelfTest "WebAssembly without vectors" c node "$root/emscripten-other/conformance/selftest.js"

Step "aarch64"
ConfigureForeign aarch64 aarch64-linux-gnu "qemu-aarch64;-cpu;max" "${toolToo[@]}"
Build aarch64 "$aarch64Target" selftest
onAarch64=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
SelfTest "aarch64 with dot products" neon "${onAarch64[@]}" -cpu max "$root/aarch64/conformance/selftest"
SelfTest "aarch64 without (cortex-a72)" neon "${onAarch64[@]}" -cpu cortex-a72 "$root/aarch64/conformance/selftest"
if [[ $withTests ]]; then
  RunTests "aarch64 without dot products: scalers" \
    "${onAarch64[@]}" -cpu cortex-a72 "$root/aarch64/tests/ScalerTest" --gtest_filter='*_neon*:GatherSchemes*'
  # Without what takes longest, what the plain set does here as on this machine, what reads damaged and odd files, and
  # what looks at the memory and the signals of a process, which are the emulator's.
  RunTests "aarch64 with dot products: library, C, tool" ctest --test-dir "$root/aarch64" -j "$(nproc)" \
    --output-on-failure -LE 'docs|install' \
    -E '_c$|ToolVideo.(Raw|Rect)|EveryRatio|Tool(Hostile|Chart)|Memory|TurningTakes|ToolWebp.(Files|Damaged|Lossless)|ToolBatch.Png|Exif|Upright|ToolCommand.Corpus'
fi
wait

Step "Everywhere"
status=0
digests=
for result in "$root"/results/*.said; do
  result=${result%.said}
  if [[ -e $result.tests ]]; then
    if [[ -e $result.passed ]]; then
      printf '%-38s tests passed: %s\n' "$(<"$result.tests")" \
        "$(sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?\..*/\1/p; s/.*tests passed.* out of ([0-9]+)$/\1, less what is left out/p' "$result.said")"
    else
      grep -vE '^\[ (RUN|      OK) |Passed ' "$result.said" >&2 || true
      echo "everywhere.sh: tests failed: $(<"$result.tests")" >&2
      status=1
    fi
    continue
  fi
  { read -r what && read -r expectedSet; } <"$result.what"
  sets=$(awk '/cases agree$/ { if (!($2 in seen)) printf "%s ", $2; seen[$2] }' "$result.said")
  cases=$(awk '/cases agree$/ { cases += $3 } END { print cases + 0 }' "$result.said")
  said=$(awk '/^digest/ { printf " %s", $NF }' "$result.said")
  printf '%-38s %-27s %7d cases %s\n' "$what" "$sets" "$cases" "$said"
  if [[ ! -e $result.passed || " $sets" != *" $expectedSet "* ]]; then
    echo "everywhere.sh: $what: expected that $expectedSet runs and that all cases agree; it said:" >&2
    cat "$result.said" "$result.err" >&2
    status=1
  fi
  digests+=$said$'\n'
done
if (($(sort -u <<<"${digests%$'\n'}" | wc -l) != 1)) || [[ $digests != *[0-9a-f]* ]]; then
  echo "everywhere.sh: expected the same digests on all processors" >&2
  status=1
fi
((status == 0)) && echo "All digests are one, after $((SECONDS - started)) s"
exit "$status"
