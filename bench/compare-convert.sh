#!/usr/bin/env bash
# Frames per second of converting one 3840x2160 "YUY2" (yuyv422) frame to B, G, R, 0 through the
# whole matching image maker with its worker threads (MakerBench: a 3D LUT with Range709 or
# Range2020, the `x` tables, a file table) beside ffmpeg on the same frame with the same number of
# threads: `lut3d=interp=trilinear` with a 33-point cube (which includes ffmpeg's conversion to
# RGB and back to bgr0), and a plain `format=bgr0`. Prints medians of $RUNS runs and our/peer
# ratios; the goals are a ratio of at least 4 for the LUT, 1.5 for the `x` tables, and at least
# 60 frames/s for the file table.
# The peer's figure is wall time (-benchmark rtime) over $FRAMES repeats of the raw frame
# (-stream_loop; 5 × as many for the plain conversion), with -threads and -filter_threads set to
# the processor count; ours is the maker's wall time a frame. Both are wall times on purpose
# (threads are the point), so measure on a quiet machine: the script prints the load average
# before and after.
# Usage: bench/compare-convert.sh [build-dir] (default build/release; needs MakerBench, built
# with -DQV_BUILD_BENCH=ON)
set -euo pipefail
build=${1:-build/release}
frames=${FRAMES:-60}
threads=$(nproc)
source "$(dirname "$0")/clips.sh"
runs=${RUNS:-5}

raw="$clips/CONVERT2160YUY2.raw"
[ -f "$raw" ] || ffmpeg -v error -f lavfi -i testsrc2=size=3840x2160:rate=25 -frames:v 1 \
  -pix_fmt yuyv422 -f rawvideo "$raw"
cube="$clips/CONVERT33.cube"
# A 33-point cube that bends every channel (a gamma of 0.8 with a little crosstalk), so that the
# trilinear steps do real work; R varies fastest, as the format has it.
[ -f "$cube" ] || awk 'BEGIN {
  n = 33; print "LUT_3D_SIZE 33"
  for (b = 0; b < n; b++) for (g = 0; g < n; g++) for (r = 0; r < n; r++) {
    R = (r / 32) ^ 0.8; G = (g / 32) ^ 0.8; B = (b / 32) ^ 0.8
    printf "%.6f %.6f %.6f\n", 0.9 * R + 0.1 * G, 0.9 * G + 0.1 * B, 0.9 * B + 0.1 * R
  } }' >"$cube"

peer_fps() {  # frames filter: ffmpeg's frames a second over that many repeats of the frame
  local frames=$1 rtime; shift
  rtime=$(ffmpeg -nostdin -benchmark -threads "$threads" -filter_threads "$threads" \
    -stream_loop $((frames - 1)) -f rawvideo -pix_fmt yuyv422 -s 3840x2160 -i "$raw" \
    -vf "$1" -f null - 2>&1 | sed -n 's/.*rtime=\([0-9.]*\)s.*/\1/p')
  echo "$frames / $rtime" | bc -l
}

ours_fps() {  # case: the maker's frames a second (the processor's best kernel family)
  "$build/bench/MakerBench" --benchmark_filter="^BM_Maker/case:$1/isa:3/" \
    --benchmark_min_time=1 --benchmark_format=csv 2>/dev/null |
    awk -F, '/^"BM_Maker/ { print $7 }'
}

echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg); $threads threads; $runs runs"
# Each run times ours right beside the peer, so that a load that changes during the script treats
# both alike; the medians are over the runs.
declare -a lut_peer plain_peer lut2020 lut709 xtables file
for run in $(seq "$runs"); do
  lut_peer+=("$(peer_fps "$frames" "lut3d=file=$cube:interp=trilinear,format=bgr0")")
  lut2020+=("$(ours_fps 0)")
  lut709+=("$(ours_fps 1)")
  plain_peer+=("$(peer_fps $((frames * 5)) "format=bgr0")")  # fast: more frames
  xtables+=("$(ours_fps 2)")
  file+=("$(ours_fps 3)")
done
median() { printf '%s\n' "$@" | median_of_lines; }

printf '\n%-34s %10s %10s %8s\n' "2160p YUY2 -> BGR0, frames/s" "ours" "ffmpeg" "ours/ff"
row() {  # label ours peer
  if [ -n "$3" ]; then
    printf '%-34s %10.1f %10.1f %8.2f\n' "$1" "$2" "$3" "$(echo "$2 / $3" | bc -l)"
  else
    printf '%-34s %10.1f %10s %8s\n' "$1" "$2" "-" "-"
  fi
}
row "3D LUT, BT.2020, Range2020" "$(median "${lut2020[@]}")" "$(median "${lut_peer[@]}")"
row "3D LUT, BT.709, Range709" "$(median "${lut709[@]}")" "$(median "${lut_peer[@]}")"
row "x tables (no LUT)" "$(median "${xtables[@]}")" "$(median "${plain_peer[@]}")"
row "file table" "$(median "${file[@]}")" ""
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
