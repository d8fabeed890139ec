#!/bin/bash
# Makes the Debian packages of a release from what is committed, and what they link, in build/packages: release.sh
#   release.sh --reproduce   makes them twice, in folders of different names, and compares
#   release.sh --try         as root: installs each into a bare Debian of its own, and uses it there
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${releasePackages[@]}"
packages=$PWD/build/packages
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH

Fail() {
  echo "release.sh: $*" >&2
  exit 1
}

# Make FOLDER: the packages, from sources that are unpacked there.
Make() {
  rm -rf "$1"
  mkdir -p "$1/sources"
  git archive HEAD | tar -x -C "$1/sources"
  cmake -S "$1/sources" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_SKIP_RPATH=ON -DFOURTAP_BUILD_TESTS=OFF -DFOURTAP_BUILD_BENCH=OFF -DFOURTAP_BUILD_PYTHON=ON >"$1/log"
  cmake --build "$1/build" >>"$1/log"
  (cd "$1/build" && cpack) >>"$1/log" 2>&1
  mv "$1/build"/*.deb "$1"
}

# What each file of the packages was linked to, and what is in it beside this project's own code.
Linked() {
  local package file library multiarch
  multiarch=$(gcc -print-multiarch)
  for package in "$packages"/*.deb; do
    dpkg-deb -x "$package" "$packages/unpacked"
  done
  while IFS= read -r file; do
    echo "${file#"$packages/unpacked"}"
    while IFS= read -r library; do
      echo "  loads $library, of $(dpkg-query -W -f '${Package} ${Version}' "$(dpkg-query -S "/*lib/$multiarch/$library" 2>/dev/null |
        head -n 1 | cut -d : -f 1 || true)" 2>/dev/null || echo "libfourtapscale1, beside it")"
    done < <(objdump -p "$file" | awk '/NEEDED/ { print $2 }')
  done < <(find "$packages/unpacked" -type f \( -name '*.so*' -o -path '*/bin/*' \) | sort)
  echo "Compiled in, from headers: CLI11 in fourtap ($(dpkg-query -W -f '${Package} ${Version}' libcli11-dev), BSD-3-Clause);"
  echo "parts of GCC's C++ library in all but libfourtapscale.so ($(dpkg-query -W -f '${Package} ${Version}' libstdc++-12-dev), GPL with its runtime exception)"
  rm -r "$packages/unpacked"
}

# Bare FOLDER PACKAGE...: a bare Debian with these packages in it, of ours as files, and what they depend on.
Bare() {
  local root=$1 package wanted=()
  shift
  [[ -e $packages/bare.tar ]] || {
    debootstrap --variant=minbase bookworm "$packages/bare" >"$packages/debootstrap.log"
    tar -C "$packages/bare" -cf "$packages/bare.tar" .
    rm -r "$packages/bare"
  }
  rm -rf "$root"
  mkdir "$root"
  tar -C "$root" -xf "$packages/bare.tar"
  cp /etc/resolv.conf "$root/etc/"
  mkdir "$root/ours"
  cp "$packages"/*.deb "$root/ours"
  for package in "$@"; do
    if compgen -G "$root/ours/${package}_*.deb" >/dev/null; then
      wanted+=("/ours/${package}_${version}_$architecture.deb")
    else
      wanted+=("$package")
    fi
  done
  chroot "$root" apt-get update -qq
  chroot "$root" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${wanted[@]}" \
    >"$root.log" 2>&1 || Fail "$*: can't be installed: $(grep '^E:' "$root.log")"
}

# Try NAME PACKAGES COMMAND: the command, in a bare Debian with the packages, says that all is well.
Try() {
  local root=$packages/root-$1 wanted
  read -ra wanted <<<"$2"
  Bare "$root" "${wanted[@]}"
  cp -r tests/install "$root/ours/install"
  chroot "$root" bash -euo pipefail -c "$3" || Fail "$1: does not work where it is installed"
  chroot "$root" dpkg --audit | { ! grep .; } || Fail "$1: dpkg finds fault"
  echo "$1: installed with ${wanted[*]}, and works"
  rm -r "$root" "$root.log"
}

TryAll() {
  ((EUID == 0)) || Fail "--try changes its root, expected to be root"
  local version architecture selftest='^digest of all 1a4d311cb705f90c$'
  architecture=$(dpkg --print-architecture)
  version=$(dpkg-deb -f "$packages"/fourtap_*.deb Version)
  Try tool "libfourtapscale1 fourtap" "fourtap --selftest | grep -q '$selftest'
    { echo P6 640 480 255; head -c 921600 /dev/urandom; } >in.ppm
    fourtap in.ppm small.jpg --size 50% --quiet
    fourtap --info small.jpg | grep 320x240"
  Try development "libfourtapscale1 libfourtapscale-dev g++ pkg-config libc6-dev cmake ninja-build" "cd /ours/install
    read -ra flags <<<\"\$(pkg-config --cflags --libs fourtapscale)\"
    g++ -std=c++17 Consumer.cpp -o consumer \"\${flags[@]}\" && ./consumer
    cmake -G Ninja -S . -B build >/dev/null && cmake --build build >/dev/null && build/with_fourtapscale_static"
  Try python "python3-fourtapscale" "python3 -m fourtapscale --selftest | grep -q '$selftest'
    python3 -c 'import numpy, fourtapscale, importlib.metadata as m
print(fourtapscale.resize(numpy.zeros((480, 640, 3), numpy.uint8), (320, 240)).shape, m.version(\"fourtapscale\"))'"
  Try gstreamer "gstreamer1.0-fourtapscale gstreamer1.0-tools gstreamer1.0-plugins-base" "
    source='videotestsrc num-buffers=5 ! video/x-raw,format=NV12,width=640,height=480'
    gst-launch-1.0 -q \$source ! fourtapscale ! video/x-raw,width=320,height=240 ! filesink location=frames
    test \"\$(stat -c %s frames)\" = $((5 * 320 * 240 * 3 / 2))"
}

[[ -z $(git status --porcelain) ]] || echo "release.sh: takes what is committed, and leaves the rest out" >&2
case ${1:-} in
  "")
    Make "$packages"
    Linked >"$packages/linked.txt"
    cat "$packages/linked.txt"
    (cd "$packages" && sha256sum -- *.deb)
    ;;
  --reproduce)
    Make "$packages"
    Make "$PWD/build/the same packages once more"
    (cd "$packages" && sha256sum -- *.deb) | tee "$packages/sums"
    (cd "build/the same packages once more" && sha256sum --check --quiet "$packages/sums") || Fail "they differ"
    echo "Made twice in different folders, the packages are the same, byte by byte"
    rm -r "build/the same packages once more"
    ;;
  --try)
    [[ -n $(compgen -G "$packages/*.deb") ]] || Make "$packages"
    TryAll
    ;;
  *) Fail "$1: expected nothing, --reproduce or --try" ;;
esac
