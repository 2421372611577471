#!/usr/bin/env bash
# Builds qvclip (release) and runs the main job on a sample clip it synthesizes into demo-out/:
# a 1080p long-GOP clip with four sound channels, timecode and camera metadata is written,
# inspected (facts, index rows, per-frame timecode and metadata) and played through the whole
# filter graph — decoded, converted, sound folded down with levels, timecode and metadata —
# writing a contact sheet, the sound as WAV and every event as JSON lines; then two seconds of it
# in real time, at half size.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target qvclip
qvclip=build/release/tools/qvclip/qvclip
"$qvclip" --version
echo "sample clip:"
"$qvclip" synth --out demo-out --name A001C001 --codec hevc --frames 100 --size 1920x1080 \
  --gop 12 --channels 4 --bits 24 --timecode 10:00:00:00
"$qvclip" info demo-out/A001C001.MXF
"$qvclip" frames demo-out/A001C001.MXF --count 5
"$qvclip" meta demo-out/A001C001.MXF --count 2
"$qvclip" play demo-out/A001C001.MXF --contact-sheet demo-out/contact-sheet.png \
  --wav demo-out/A001C001.wav --events demo-out/play.jsonl
"$qvclip" play demo-out/A001C001.MXF --from 10:00:01:00 --count 50 --realtime --scale 1 \
  --events demo-out/realtime.jsonl
