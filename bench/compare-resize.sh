#!/usr/bin/env bash
# Frames per second of reducing one 3840x2160 frame to 1920x1080 and 960x540, "YUY2" and "BGR4",
# by our nearest-neighbour resize (ResizeBench) beside ffmpeg's `scale=W:H:flags=neighbor` on the
# same frame (yuyv422 and bgr0 from testsrc2) in the same run. Prints medians and our/peer ratios;
# the goal is a ratio of at least 1.5 on every row.
# The peer's per-frame figure: ffmpeg reads the raw frame $frames times (-stream_loop) once through
# the null filter and once through the scaler; the difference of the two user CPU times
# (-benchmark utime) is what the scaler costs, so reading the file (system time) and passing
# frames on does not count against it. Ours is Google Benchmark's CPU time a frame. CPU times, not
# wall times: on a shared machine whose load changes during the run, wall-time differences even
# come out negative.
# Usage: bench/compare-resize.sh [build-dir] (default build/release; needs ResizeBench, built
# with -DQV_BUILD_BENCH=ON)
set -euo pipefail
build=${1:-build/release}
frames=${FRAMES:-300}
source "$(dirname "$0")/clips.sh"

declare -A pixfmt=([YUY2]=yuyv422 [BGR4]=bgr0)
for format in YUY2 BGR4; do  # the frames, once
  raw="$clips/RESIZE2160$format.raw"
  [ -f "$raw" ] || ffmpeg -v error -f lavfi -i testsrc2=size=3840x2160:rate=25 -frames:v 1 \
    -pix_fmt "${pixfmt[$format]}" -f rawvideo "$raw"
done

cputime() {  # format filter: ffmpeg's user CPU time over $frames frames
  ffmpeg -nostdin -benchmark -stream_loop $((frames - 1)) -f rawvideo \
    -pix_fmt "${pixfmt[$1]}" -s 3840x2160 -i "$clips/RESIZE2160$1.raw" -vf "$2" -f null - 2>&1 |
    sed -n 's/.*utime=\([0-9.]*\)s.*/\1/p'
}

ours_fps() {  # format width height: our frames a second, from one short benchmark run
  local arg=$([ "$1" = BGR4 ] && echo 1 || echo 0)
  "$build/bench/ResizeBench" --benchmark_filter="^BM_Resize/bgr4:$arg/w:$2/h:$3\$" \
    --benchmark_min_time=0.5 --benchmark_format=csv 2>/dev/null |
    awk -F, '/^"BM_Resize/ { print $7 }'
}

# Each repetition times ours right beside the peer, so that a machine whose load changes during
# the run treats both alike; the medians are over the repetitions.
printf '%-24s %12s %12s %9s\n' "frames/s (median of $runs)" "ours" "ffmpeg" "ours/ff"
for format in YUY2 BGR4; do
  for size in 1920x1080 960x540; do
    w=${size%x*} h=${size#*x}
    pairs=$(for _ in $(seq "$runs"); do
              base=$(cputime "$format" null)
              scaled=$(cputime "$format" "scale=$w:$h:flags=neighbor")
              echo "$(ours_fps "$format" "$w" "$h") $(echo "$frames / ($scaled - $base)" | bc -l)"
            done)
    mine=$(cut -d' ' -f1 <<<"$pairs" | median_of_lines)
    peer=$(cut -d' ' -f2 <<<"$pairs" | median_of_lines)
    printf '%-24s %12.1f %12.1f %9.2f\n' "$format 2160p -> ${h}p" "$mine" "$peer" \
      "$(echo "$mine / $peer" | bc -l)"
  done
done
