#!/usr/bin/env bash
# Builds qvclip (release) and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target qvclip
qvclip=build/release/tools/qvclip/qvclip
"$qvclip" --version
"$qvclip" --help
