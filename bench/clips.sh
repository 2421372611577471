# Sourced by the compare scripts that time clips: where the clips go, how they are made (once),
# and the median of numbers read one per line. Expects $build (the build folder with qvclip).
runs=${RUNS:-7}
clips=${QV_BENCH_DIR:-/tmp/qvflts-bench}
qvclip="$build/tools/qvclip/qvclip"
mkdir -p "$clips"

synth() {  # name, options...: the clip's path, synthesized if it is not there yet
  local name=$1; shift
  [ -f "$clips/$name.MXF" ] || "$qvclip" synth --out "$clips" --name "$name" "$@" >/dev/null
  echo "$clips/$name.MXF"
}

median_of_lines() { sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }
