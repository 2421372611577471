#!/usr/bin/env bash
# Real-time play of 10-second clips at 1080p and 2160p (long-GOP HEVC and H.264, four 24-bit sound
# channels): qvclip play --realtime runs the whole graph against the clock. Prints, per clip and
# as medians of the runs, the wall time against the clip's 10 seconds, the frames rendered and
# dropped, the seconds of sound the sink took, and how many quality messages and frame jumps the
# events file holds. When decoding or converting cannot keep up, frames are dropped through the
# quality path while sound goes on; the run must still end on time (within a second).
# Usage: bench/realtime-play.sh [build-dir] (default build/release; needs qvclip)
set -euo pipefail
build=${1:-build/release}
RUNS=${RUNS:-3}
source "$(dirname "$0")/clips.sh"
echo "making clips in $clips (once) ..."
common=(--frames 250 --gop 12 --grain 12 --channels 4 --bits 24)
list=(
  "$(synth RT1080HEVC --codec hevc --size 1920x1080 "${common[@]}")"
  "$(synth RT2160HEVC --codec hevc --size 3840x2160 "${common[@]}")"
  "$(synth RT2160AVC --size 3840x2160 "${common[@]}")"
)
printf '%-16s %9s %9s %8s %9s %9s %6s\n' clip "wall s" rendered dropped "sound s" quality jumps
for clip in "${list[@]}"; do
  cat "$clip" >/dev/null
  case "$clip" in *AVC.MXF) given=(--members "$clip") ;; *) given=("$clip") ;; esac
  rows=$(for _ in $(seq "$runs"); do
    events=$(mktemp)
    t0=$(date +%s%N)
    summary=$("$qvclip" play --realtime --json --events "$events" "${given[@]}")
    t1=$(date +%s%N)
    wall=$(echo "($t1 - $t0) / 1000000000" | bc -l)
    rendered=$(sed -n 's/.*"rendered":\([0-9]*\).*/\1/p' <<<"$summary")
    dropped=$(sed -n 's/.*"dropped":\([0-9]*\).*/\1/p' <<<"$summary")
    sound=$(sed -n 's/.*"soundSeconds":\([0-9.e+]*\).*/\1/p' <<<"$summary")
    quality=$(grep -c '"event":"quality"' "$events" || true)
    jumps=$(grep -c '"event":"jump"' "$events" || true)
    rm -f "$events"
    echo "$wall $rendered $dropped $sound $quality $jumps"
  done)
  median() { awk -v c="$1" '{ print $c }' <<<"$rows" | median_of_lines; }
  printf '%-16s %9.2f %9d %8d %9.2f %9d %6d\n' "$(basename "$clip" .MXF)" "$(median 1)" \
    "$(median 2)" "$(median 3)" "$(median 4)" "$(median 5)" "$(median 6)"
done
