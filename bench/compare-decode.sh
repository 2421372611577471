#!/usr/bin/env bash
# Frames per second of decoding through the graph (qvclip play: parser -> movie decode filter ->
# picture sink with no clock) beside `ffmpeg -threads 0 -i F -f null -` decoding the same file,
# on 1080p and 2160p long-GOP H.264 and HEVC clips. Prints medians and our/peer ratios; the goal
# is a ratio of at least 0.95 on every clip.
# Usage: bench/compare-decode.sh [build-dir] (default build/release; needs qvclip)
set -euo pipefail
build=${1:-build/release}
source "$(dirname "$0")/clips.sh"
echo "making clips in $clips (once) ..."
list=(
  "$(synth DEC1080AVC --size 1920x1080 --gop 12 --frames 600 --channels 0)"
  "$(synth DEC1080HEVC --codec hevc --size 1920x1080 --gop 12 --frames 600 --channels 0)"
  "$(synth DEC2160AVC --size 3840x2160 --gop 12 --frames 240 --channels 0)"
  "$(synth DEC2160HEVC --codec hevc --size 3840x2160 --gop 12 --frames 240 --channels 0)"
)

printf '\n%-20s %8s %12s %12s %12s %8s\n' "decoded frames/s" "frames" "ours: play" "ours: all" \
  "ffmpeg" "all/ffmpeg"
for clip in "${list[@]}"; do
  cat "$clip" >/dev/null  # into the page cache
  frames=$("$qvclip" info --json "$clip" | sed -n 's/.*"frameCount":\([0-9]*\).*/\1/p')
  ours=$(for _ in $(seq "$runs"); do
           "$qvclip" play --json "$clip" | sed -n 's/.*"fps":\([0-9.e+]*\).*/\1/p'
         done | median_of_lines)
  whole=$(for _ in $(seq "$runs"); do
            t0=$(date +%s%N); "$qvclip" play "$clip" >/dev/null; t1=$(date +%s%N)
            echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
          done | median_of_lines)
  peer=$(for _ in $(seq "$runs"); do
           t0=$(date +%s%N)
           ffmpeg -v error -threads 0 -i "$clip" -map 0:v -f null - >/dev/null 2>&1
           t1=$(date +%s%N)
           echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
         done | median_of_lines)
  printf '%-20s %8d %12.1f %12.1f %12.1f %8.2f\n' "$(basename "$clip")" "$frames" "$ours" \
    "$whole" "$peer" "$(echo "$whole / $peer" | bc -l)"
done
