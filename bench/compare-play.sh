#!/usr/bin/env bash
# Frames per second through the graph (qvclip play: the parser's video pin into a picture sink
# with no clock, as fast as it goes) beside `ffmpeg -c copy -f null` moving the same pictures of
# the same file. Prints medians and our/peer ratios.
# Usage: bench/compare-play.sh [build-dir] (default build/release; needs qvclip)
set -euo pipefail
build=${1:-build/release}
source "$(dirname "$0")/clips.sh"
echo "making clips in $clips (once) ..."
# Long-GOP pictures as a camera writes them, and intra pictures (much larger) of the same size.
gop=$(synth PLAY1080GOP --size 1920x1080 --gop 12 --frames 3000 --channels 2)
intra=$(synth PLAY1080I --codec mpeg2 --size 1920x1080 --gop 1 --frames 1500 --channels 2)

# Ours twice: the playing alone (the summary's figure, from Run to the end of the stream) and the
# whole process (start-up, opening the clip and building the graph included), which is what the
# peer's figure holds.
printf '\n%-24s %8s %12s %12s %12s %8s\n' "frames/s (median)" "frames" "ours: play" "ours: all" \
  "ffmpeg" "all/ffmpeg"
for clip in "$gop" "$intra"; do
  cat "$clip" >/dev/null  # into the page cache
  frames=$("$qvclip" info --json "$clip" | sed -n 's/.*"frameCount":\([0-9]*\).*/\1/p')
  ours=$(for _ in $(seq "$runs"); do
           "$qvclip" play --compressed --json "$clip" | sed -n 's/.*"fps":\([0-9.e+]*\).*/\1/p'
         done | median_of_lines)
  whole=$(for _ in $(seq "$runs"); do
            t0=$(date +%s%N); "$qvclip" play --compressed "$clip" >/dev/null; t1=$(date +%s%N)
            echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
          done | median_of_lines)
  peer=$(for _ in $(seq "$runs"); do
           t0=$(date +%s%N)
           ffmpeg -v error -i "$clip" -map 0:v -c copy -f null - >/dev/null 2>&1
           t1=$(date +%s%N)
           echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
         done | median_of_lines)
  printf '%-24s %8d %12.0f %12.0f %12.0f %8.2f\n' "$(basename "$clip")" "$frames" "$ours" \
    "$whole" "$peer" "$(echo "$whole / $peer" | bc -l)"
done
