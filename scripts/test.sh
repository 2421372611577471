#!/usr/bin/env bash
# Builds qvflts and runs its tests. With CI=true: warnings are errors, and the release, asan
# (address + undefined behaviour) and tsan (threaded tests) builds all run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

presets=(release)
if [ "${CI:-}" = "true" ]; then
  presets=(release asan tsan)
  export QV_WERROR=ON
  export QV_REQUIRE_ORACLES=1  # a test that compares with ffprobe and friends fails without them
fi
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"

for preset in "${presets[@]}"; do
  echo "== $preset =="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
