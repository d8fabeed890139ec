#!/bin/bash
# Setting up where something is missing, or around this project: each says what it takes.
# Usage: setup.sh CMAKE GENERATOR CXX
set -euo pipefail
cmake=$1 generator=$2 cxx=$3
here=$(cd "$(dirname "$0")" && pwd)
source=$(cd "$here/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

Fail() {
  echo "setup.sh: $1" >&2
  exit 1
}

# A project around this one, in a folder with a blank.
configure=("$cmake" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx")
embedding="$scratch/an embedding build"
"${configure[@]}" -S "$here/embedded" -B "$embedding" -DFOURTAP="$source"
"$cmake" --build "$embedding" --target embedding
"$cmake" --install "$embedding" --prefix "$scratch/an installation"
rm -r "$embedding"
"$scratch/an installation/bin/embedding" || Fail "what was installed does not run"

# Without a package of the tool's.
for package in CLI11:libcli11-dev PNG:libpng-dev JPEG:libjpeg62-turbo-dev; do
  if "${configure[@]}" --fresh -S "$source" -B "$scratch/without" "-DCMAKE_DISABLE_FIND_PACKAGE_${package%:*}=ON" \
    -DFOURTAP_BUILD_TESTS=OFF -DFOURTAP_BUILD_BENCH=OFF >"$scratch/log" 2>&1; then
    Fail "it can be configured without ${package%:*}"
  fi
  tr -s '\n ' ' ' <"$scratch/log" | grep -q "package ${package#*:} (Debian)" || Fail "${package#*:} is not named"
done

# Without a network.
mkdir "$scratch/bin"
printf '#!/bin/sh\nseq 85\necho "E: No route to host"\nexit 100\n' >"$scratch/bin/apt-get"
# shellcheck disable=SC2016  # the script's own
printf '#!/bin/sh\n[ "$1" = env ] && shift\nexec "$@"\n' >"$scratch/bin/sudo"
printf '#!/bin/sh\nexit 1\n' >"$scratch/bin/dpkg-query"
chmod +x "$scratch/bin"/*
# shellcheck source=scripts/packages.sh
source "$source/scripts/packages.sh"
PATH=$scratch/bin:$PATH EnsurePackages one-package another >"$scratch/log" 2>&1 && Fail "packages are there without apt-get"
[[ $(<"$scratch/log") == *"E: No route to host"*"within reach, or to find: one-package another" ]] ||
  Fail "it says: $(<"$scratch/log")"
(($(wc -l <"$scratch/log") == 3)) || Fail "it says too much: $(<"$scratch/log")"
echo "All is said and done"
