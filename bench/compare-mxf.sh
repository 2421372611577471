#!/usr/bin/env bash
# Opening clips and reading their pictures through MXFStream, beside the peers on the same files:
# ffprobe for opening, `cat` (the raw read from the page cache) and `ffmpeg -c copy -f null` (a
# demuxer moving the same packets) for reading. Prints medians and our/peer ratios.
# Usage: bench/compare-mxf.sh [build-dir] (default build/release; needs qvclip and MXFStreamBench)
set -euo pipefail
build=${1:-build/release}
source "$(dirname "$0")/clips.sh"
echo "making clips in $clips (once) ..."
min1=$(synth OPEN1MIN --size 64x64 --frames 1500 --channels 0)
hour2=$(synth OPEN2HOUR --size 64x64 --frames 180000 --channels 0)
# Intra MPEG-2 at a fine quantiser: large pictures, as a camera writes them.
# Intra MPEG-2 at a fine quantiser gives large pictures, as a camera writes them; the files are
# large enough (hundreds of MB) that the peers' start-up does not count.
hd=$(synth READ1080 --codec mpeg2 --size 1920x1080 --gop 1 --frames 2500 --channels 2)
uhd=$(synth READ2160 --codec mpeg2 --size 3840x2160 --gop 1 --frames 1000 --channels 2)

# Median wall time in seconds of a command, over $runs runs.
median() {
  for _ in $(seq "$runs"); do
    local t0 t1
    t0=$(date +%s%N); "$@" >/dev/null 2>&1; t1=$(date +%s%N)
    echo $(( t1 - t0 ))
  done | sort -n | awk '{ a[NR] = $1 } END { printf "%.6f\n", a[int((NR + 1) / 2)] / 1e9 }'
}
# Our medians, in seconds per iteration, from the benchmark's CSV.
ours=$("$build/bench/MXFStreamBench" "$min1" "$hour2" "$hd" "$uhd" --benchmark_repetitions="$runs" \
  --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null |
  awk -F, '/_median"/ { gsub(/"/, "", $1); sub(/_median$/, "", $1); sub(/\/real_time$/, "", $1);
         scale = ($5 == "ms") ? 1e-3 : ($5 == "us") ? 1e-6 : ($5 == "ns") ? 1e-9 : 1;
         printf "%s %.12f\n", $1, $3 * scale }')
our() { echo "$ours" | awk -v n="$1" '$1 == n { print $2 }'; }

printf '\n%-34s %14s %14s %8s\n' "opening (median)" "ours" "ffprobe" "ratio"
for clip in "$min1" "$hour2"; do
  name=$(basename "$clip")
  o=$(our "Open/$name"); f=$(our "OpenAndFirstPicture/$name")
  p=$(median ffprobe -v error -show_format -show_streams "$clip")
  printf '%-34s %12.3f ms %12.3f ms %8.4f\n' "$name open" "$(echo "$o * 1000" | bc -l)" \
    "$(echo "$p * 1000" | bc -l)" "$(echo "$o / $p" | bc -l)"
  printf '%-34s %12.3f ms\n' "$name open + first picture" "$(echo "$f * 1000" | bc -l)"
done

printf '\n%-34s %14s %14s %14s %9s %9s\n' "reading pictures (median)" "ours" "cat" "ffmpeg" "vs cat" "vs ffmpeg"
for clip in "$hd" "$uhd"; do
  name=$(basename "$clip")
  size=$(stat -c %s "$clip")
  cat "$clip" >/dev/null  # into the page cache
  o=$(our "ReadPictures/$name")
  c=$(median cat "$clip")
  f=$(median ffmpeg -v error -i "$clip" -map 0:v -c copy -f null -)
  # Picture bytes: what both we and ffmpeg move; cat moves the whole file.
  pictures=$(ffprobe -v error -select_streams v -show_entries packet=size -of csv=p=0 "$clip" |
             awk '{ s += $1 } END { print s }')
  printf '%-34s %11.2f GB/s %11.2f GB/s %11.2f GB/s %9.2f %9.2f\n' "$name" \
    "$(echo "$pictures / $o / 1000000000" | bc -l)" "$(echo "$size / $c / 1000000000" | bc -l)" \
    "$(echo "$pictures / $f / 1000000000" | bc -l)" \
    "$(echo "($pictures / $o) / ($size / $c)" | bc -l)" "$(echo "$f / $o" | bc -l)"
done
