#!/bin/sh
# Installs a build into a scratch prefix, moves that elsewhere, and uses it from outside through the CMake package and
# through pkg-config, each with the shared and with the static library.
# Usage: run.sh CMAKE GENERATOR CXX BUILD_DIR LIBDIR BINDIR     the last two relative to the prefix
set -eu

cmake=$1 generator=$2 cxx=$3 build=$4 libDir=$5 binDir=$6
source=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset LD_LIBRARY_PATH
prefix=$scratch/moved

"$cmake" --install "$build" --prefix "$scratch/installed" > "$scratch/install.log"
mv "$scratch/installed" "$prefix"

# run shared|static PROGRAM [ARGUMENT...]
run() {
  kind=$1
  shift
  needs=$(readelf -d "$1" | grep -c 'NEEDED.*\[libfourtapscale\.so\.1\]' || true)
  case $kind$needs in
    shared1 | static0) ;;
    *)
      echo "run.sh: ${1#"$scratch/"} is not linked with the $kind library" >&2
      exit 1
      ;;
  esac
  "$@"
  echo "ran ${1#"$scratch/"}"
}

"$cmake" -S "$source" -B "$scratch/outside" -G "$generator" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix"
"$cmake" --build "$scratch/outside"
run shared "$scratch/outside/with_fourtapscale"
run static "$scratch/outside/with_fourtapscale_static"

export PKG_CONFIG_PATH="$prefix/$libDir/pkgconfig"
libraryPath=$(pkg-config --variable=libdir fourtapscale)
# shellcheck disable=SC2046  # the flags are words
"$cxx" "$source/Consumer.cpp" -o "$scratch/with_pkg_config" \
  $(pkg-config --cflags --libs fourtapscale) -Wl,-rpath,"$libraryPath"
# shellcheck disable=SC2046
"$cxx" "$source/Consumer.cpp" -o "$scratch/with_pkg_config_static" \
  $(pkg-config --static --cflags --libs fourtapscale) -static
run shared "$scratch/with_pkg_config"
run static "$scratch/with_pkg_config_static"

if [ -e "$prefix/$binDir/fourtap" ]; then
  run shared "$prefix/$binDir/fourtap" --version
fi
