#!/usr/bin/env bash
# Builds qvclip (release) and runs the main job on a sample clip it synthesizes into demo-out/:
# the clip is written, inspected (facts, index rows, per-frame timecode and metadata) and played
# through the filter graph, as fast as possible and then a second of it in real time.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target qvclip
qvclip=build/release/tools/qvclip/qvclip
"$qvclip" --version
echo "sample clip:"
"$qvclip" synth --out demo-out --name A001C001 --codec hevc --frames 50 --size 1280x720 --channels 4
"$qvclip" info demo-out/A001C001.MXF
"$qvclip" frames demo-out/A001C001.MXF --count 5
"$qvclip" meta demo-out/A001C001.MXF --count 2
"$qvclip" play demo-out/A001C001.MXF
"$qvclip" play demo-out/A001C001.MXF --from 20 --count 25 --realtime --events demo-out/play.jsonl
