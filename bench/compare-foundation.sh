#!/usr/bin/env bash
# Runs the foundation benchmarks with their standard-library peers in the same run and prints the
# median time of ours against the peer's as a ratio (below 1: we are faster).
# Usage: bench/compare-foundation.sh [build-dir]   (default build/release)
set -euo pipefail
build=${1:-build/release}
reps=${REPS:-9}

medians() {
  "$build/bench/$1" --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true \
    --benchmark_format=csv 2>/dev/null |
    awk -F, '/_median"/ { gsub(/"/, "", $1); sub(/_median$/, "", $1); print $1, $3 }'
}

{ medians CUSharedPtrBench; medians CULogBench; } > /tmp/qv-foundation-bench.$$
ratio() {  # ours peer label
  awk -v ours="$1" -v peer="$2" -v label="$3" '
    $1 == ours { o = $2 } $1 == peer { p = $2 }
    END { printf "%-44s %9.2f ns  peer %9.2f ns  ratio %.3f\n", label, o, p, o / p }' \
    /tmp/qv-foundation-bench.$$
}
ratio BM_SharedPtrCopyDrop/threads:1 BM_StdSharedPtrCopyDrop/threads:1 "CUSharedPtr copy+drop vs std::shared_ptr"
ratio BM_SharedPtrCopyDrop/threads:2 BM_StdSharedPtrCopyDrop/threads:2 "  same, two threads on one object"
ratio BM_AutoLockOnMemberLock BM_StdLockGuardOnRecursiveMutex "CUAutoLock(member) vs std::lock_guard"
ratio BM_LogOff BM_LockAndPointerCopy "Log while off vs one lock + pointer copy"
ratio BM_LogOff BM_FormatOnly "Log while off vs formatting its arguments"
rm -f /tmp/qv-foundation-bench.$$
