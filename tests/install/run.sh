#!/bin/sh
# Installs a build into a scratch prefix, moves that elsewhere, and uses it from outside through the CMake package and
# through pkg-config, each with the shared and with the static library, in C++ and in C.
# Usage: run.sh CMAKE GENERATOR CC CXX BUILD_DIR LIBDIR BINDIR     the last two relative to the prefix
set -eu

cmake=$1 generator=$2 cc=$3 cxx=$4 build=$5 libDir=$6 binDir=$7
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
"$cmake" -S "$source/c" -B "$scratch/outside_c" -G "$generator" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$prefix"
for outside in outside outside_c; do
  "$cmake" --build "$scratch/$outside"
  run shared "$scratch/$outside/with_fourtapscale"
  run static "$scratch/$outside/with_fourtapscale_static"
done

export PKG_CONFIG_PATH="$prefix/$libDir/pkgconfig"
libraryPath=$(pkg-config --variable=libdir fourtapscale)
# with_pkg_config OUTPUT COMPILER ARGUMENT...
with_pkg_config() {
  output=$scratch/$1
  shift
  # shellcheck disable=SC2046  # the flags are words
  "$@" -o "$output" $(pkg-config --cflags --libs fourtapscale) -Wl,-rpath,"$libraryPath"
  # shellcheck disable=SC2046
  "$@" -o "${output}_static" $(pkg-config --static --cflags --libs fourtapscale) -static
  run shared "$output"
  run static "${output}_static"
}
with_pkg_config in_cxx "$cxx" -std=c++17 "$source/Consumer.cpp"
with_pkg_config in_c "$cc" -std=c99 "$source/c/Consumer.c"

if [ -e "$prefix/$binDir/fourtap" ]; then
  run shared "$prefix/$binDir/fourtap" --version
fi

plugIns=$prefix/$libDir/gstreamer-1.0
if [ -e "$plugIns" ] && command -v gst-inspect-1.0 > /dev/null; then
  GST_REGISTRY="$scratch/registry" GST_PLUGIN_PATH="$plugIns" gst-inspect-1.0 fourtapscale > "$scratch/inspected"
  echo "found the GStreamer element"
fi

# Into the system, as a package is made: the loader looks there by itself. And out again.
fail() {
  echo "run.sh: $1" >&2
  exit 1
}
[ -s "$prefix/share/doc/FourTapScale/LICENSE" ] || fail "the licence is not installed"
export DESTDIR="$scratch/staged"
"$cmake" --install "$build" --prefix /usr > "$scratch/staged.log"
if [ -e "$DESTDIR/usr/$binDir/fourtap" ] && readelf -d "$DESTDIR/usr/$binDir/fourtap" | grep -q RUNPATH; then
  fail "the tool has a RUNPATH where it needs none"
fi
"$cmake" -D MANIFEST="$build/install_manifest.txt" -P "$source/../../cmake/Uninstall.cmake" > "$scratch/uninstall.log"
[ -z "$(find "$DESTDIR" -type f -o -type l -o -iname 'fourtap*')" ] || fail "something stays when it is uninstalled"
unset DESTDIR
