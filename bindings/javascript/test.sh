#!/bin/bash
# Builds the package and tests it, in node and in Chromium: test.sh. Where there is no toolchain, no node or no browser,
# and none can be installed, it says what is left out, and that is no fault. Its last line says what ran.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
# shellcheck source=scripts/packages.sh
source ../../scripts/packages.sh

LeaveOut() {
  echo "javascript: left out: $*"
  exit 0
}
# Debian's nodejs and npm exclude those from elsewhere, so they are for where there are none.
command -v node >/dev/null || EnsurePackages nodejs || LeaveOut "all of it, without node"
command -v npm >/dev/null || EnsurePackages npm || LeaveOut "all of it, without npm"
EnsurePackages "${javascriptPackages[@]}" || LeaveOut "all of it, without emscripten or Chromium"
major=$(node -p 'process.versions.node.split(".")[0]')
((major >= 18)) || LeaveOut "all of it: node is $(node --version), expected 18 or later"

./build.sh
npm ci --no-audit --no-fund --loglevel=error || LeaveOut "the tests: npm's registry is out of reach"

# What a user gets, and nothing else; small enough for a page.
expected=$(printf '%s\n' LICENSE README.md fourtapscale-{plain,simd128}.wasm package.json src/{arguments,frames,index,module,scaler}.js src/index.d.ts | sort)
packed=$(npm pack --dry-run --json --loglevel=error | node -e '
  let text = "";
  process.stdin.on("data", (part) => (text += part)).on("end", () => {
    for (const {path} of JSON.parse(text)[0].files) console.log(path);
  });' | sort)
if [[ $packed != "$expected" ]]; then
  echo "test.sh: npm pack holds other files than expected:" >&2
  diff <(echo "$expected") <(echo "$packed") >&2 || true
  exit 1
fi
for module in fourtapscale-*.wasm; do
  if (($(gzip -9c "$module" | wc -c) > 150000)); then
    echo "test.sh: $module: expected at most 150000 bytes, compressed" >&2
    exit 1
  fi
done

tool=../../build/release/tools/fourtap/fourtap
model=../../build/release/tests/tool/model_frame
if [[ ! -x $tool || ! -x $model ]]; then
  cmake --preset release -S ../.. >/dev/null
  cmake --build ../../build/release --target fourtap model_frame
fi
npm run types --loglevel=error
log=../../build/javascript/tests.log
FOURTAP_TOOL=$(realpath "$tool") FOURTAP_MODEL=$(realpath "$model") FOURTAP_CHROMIUM=$(command -v chromium) npm test --loglevel=error 2>&1 | tee "$log"
sed -nE 's/^[^ ]+ (pass|skipped) ([0-9]+)$/\2 \1/p' "$log" | paste -sd ' ' |
  sed -E "s/^([0-9]+) pass ([0-9]+) skipped$/javascript: \1 tests passed, \2 left out; node $(node --version), $(chromium --version | sed 's/ *built.*//')/"
