#!/bin/bash
# Builds everything and runs every test.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
EnsurePackages "${testPackages[@]}"
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$(nproc)}
cmake --workflow --preset test
