# Sourced by the scripts: which Debian packages each one needs, and their installation.
# shellcheck shell=bash disable=SC2034  # the lists are read where this file is sourced

buildPackages=(cmake g++ ninja-build libcli11-dev libjpeg62-turbo-dev libpng-dev libwebp-dev scdoc zlib1g-dev)
demoPackages=("${buildPackages[@]}" netpbm)
testPackages=("${buildPackages[@]}" libbenchmark-dev libgtest-dev pkg-config python3 python3-dev python3-numpy
  python3-pil python3-pytest)
benchPackages=("${buildPackages[@]}" libbenchmark-dev libgstreamer-plugins-base1.0-dev libopencv-imgproc-dev
  libswscale-dev libyuv-dev libzimg-dev pkg-config python3-matplotlib)
gstreamerPackages=("${buildPackages[@]}" gstreamer1.0-plugins-base gstreamer1.0-tools libgstreamer1.0-dev
  libgstreamer-plugins-base1.0-dev pkg-config)
releasePackages=("${gstreamerPackages[@]}" binutils debootstrap dpkg-dev git python3-dev python3-numpy)
reductionPackages=("${buildPackages[@]}" imagemagick libvips-tools python3-numpy python3-pil)
toolBenchPackages=("${buildPackages[@]}" ffmpeg fonts-dejavu-core imagemagick libvips-tools netpbm python3-pil)
clangPackages=(clang libclang-rt-14-dev)
# What else the Python package works with, and is built and checked by.
pythonPackages=(mypy python3-dask python3-distributed python3-hypothesis python3-opencv python3-pip python3-setuptools
  python3-venv python3-wheel python3-zarr)
# Its optimizer needs node-acorn, whatever node runs it.
wasmPackages=(emscripten node-acorn)
javascriptPackages=("${buildPackages[@]}" "${wasmPackages[@]}" chromium)
everywherePackages=("${testPackages[@]}" g++-aarch64-linux-gnu g++-riscv64-linux-gnu g++-s390x-linux-gnu
  libsimde-dev qemu-user "${wasmPackages[@]}")
# Of other processors, for unpacking: what the tests link there, and the tool's tests.
foreignPackages=(libgtest-dev)
foreignToolPackages=(libcli11-dev libjpeg62-turbo-dev libpng-dev libwebp-dev zlib1g-dev)
ciPackages=("${testPackages[@]}" "${clangPackages[@]}" "${everywherePackages[@]}" "${gstreamerPackages[@]}"
  "${pythonPackages[@]}" clang-format clang-tidy libglib2.0-dev shellcheck valgrind)

# The packages among the arguments that are not installed.
ListMissing() {
  local package
  for package in "$@"; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || echo "$package"
  done
}

# Installs what is missing, as root or through sudo.
EnsurePackages() {
  local missing sudo=()
  mapfile -t missing < <(ListMissing "$@")
  ((${#missing[@]})) || return 0
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "$0: can't install packages without root or sudo; expected to find: ${missing[*]}" >&2
      return 1
    fi
    sudo=(sudo)
  fi
  echo "Installing ${missing[*]}"
  local said
  said=$({
    "${sudo[@]}" apt-get update -qq &&
      "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
  } 2>&1) || {
    # Of the many lines that apt-get may say, the last error tells most.
    grep '^E:' <<<"$said" | tail -n 1 >&2
    echo "$0: apt-get can't install packages; expected its sources to be within reach, or to find: ${missing[*]}" >&2
    return 1
  }
}
