#!/usr/bin/env bash
# Frames per second of decoding through the graph (qvclip play --decode-only: parser -> movie
# decode filter -> picture sink with no clock) beside `ffmpeg -threads 0 -i F -f null -` decoding the same file,
# on 1080p and 2160p long-GOP H.264 and HEVC clips. Prints medians and our/peer ratios; the goal
# is a ratio of at least 0.95 on every clip. Our pictures leave the decoder as 4:2:2 "YUY2", a
# conversion that ffmpeg's null output does not make; the second peer column makes ffmpeg convert
# the same way (-pix_fmt yuyv422), for the ratio of like work.
# Usage: bench/compare-decode.sh [build-dir] (default build/release; needs qvclip)
set -euo pipefail
build=${1:-build/release}
source "$(dirname "$0")/clips.sh"
echo "making clips in $clips (once) ..."
# Grain makes the pictures cost what camera footage costs to decode (about 50 Mbit/s at 1080p25,
# 200 Mbit/s at 2160p25); the grain level is in the names, so that clips made otherwise are not
# taken from the cache. Synthesizing them all takes a few minutes, once.
common=(--gop 12 --grain 12 --channels 0)
list=(
  "$(synth DEC1080G12AVC --size 1920x1080 --frames 600 "${common[@]}")"
  "$(synth DEC1080G12HEVC --codec hevc --size 1920x1080 --frames 600 "${common[@]}")"
  "$(synth DEC2160G12AVC --size 3840x2160 --frames 120 "${common[@]}")"
  "$(synth DEC2160G12HEVC --codec hevc --size 3840x2160 --frames 120 "${common[@]}")"
)

for clip in "${list[@]}"; do
  frames=$("$qvclip" info --json "$clip" | sed -n 's/.*"frameCount":\([0-9]*\).*/\1/p')
  printf '%-20s %11d bytes a frame\n' "$(basename "$clip")" $(($(stat -c %s "$clip") / frames))
done

printf '\n%-20s %7s %11s %11s %11s %11s %9s %9s\n' "decoded frames/s" "frames" "ours: play" \
  "ours: all" "ffmpeg" "ff+yuyv422" "all/ff" "all/ff+cv"
for clip in "${list[@]}"; do
  cat "$clip" >/dev/null  # into the page cache
  # H.264 comes in clips of listed member files, HEVC in lone files.
  case "$clip" in *AVC.MXF) given=(--members "$clip") ;; *) given=("$clip") ;; esac
  frames=$("$qvclip" info --json "$clip" | sed -n 's/.*"frameCount":\([0-9]*\).*/\1/p')
  ours=$(for _ in $(seq "$runs"); do
           "$qvclip" play --decode-only --json "${given[@]}" | sed -n 's/.*"fps":\([0-9.e+]*\).*/\1/p'
         done | median_of_lines)
  whole=$(for _ in $(seq "$runs"); do
            t0=$(date +%s%N); "$qvclip" play --decode-only "${given[@]}" >/dev/null; t1=$(date +%s%N)
            echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
          done | median_of_lines)
  peer=$(for _ in $(seq "$runs"); do
           t0=$(date +%s%N)
           ffmpeg -v error -threads 0 -i "$clip" -map 0:v -f null - >/dev/null 2>&1
           t1=$(date +%s%N)
           echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
         done | median_of_lines)
  converting=$(for _ in $(seq "$runs"); do
                 t0=$(date +%s%N)
                 ffmpeg -v error -threads 0 -i "$clip" -map 0:v -pix_fmt yuyv422 -f null - \
                   >/dev/null 2>&1
                 t1=$(date +%s%N)
                 echo "$frames / (($t1 - $t0) / 1000000000)" | bc -l
               done | median_of_lines)
  printf '%-20s %7d %11.1f %11.1f %11.1f %11.1f %9.2f %9.2f\n' "$(basename "$clip")" "$frames" \
    "$ours" "$whole" "$peer" "$converting" "$(echo "$whole / $peer" | bc -l)" \
    "$(echo "$whole / $converting" | bc -l)"
done
