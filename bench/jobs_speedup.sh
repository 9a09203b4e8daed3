#!/usr/bin/env bash
# Speed-up of `orvane clean --jobs 2` over `--jobs 1` on the real MGF runs.
#
#   bench/jobs_speedup.sh [DATA_DIR] [BUILD_DIR] [RUNS]
#        defaults: $ORVANE_DATA_DIR or ../shared/data, build, 5
#
# Cleans bsa/BSA1.mgf and yeast/SmallCalibratible_Yeast.mgf in one run, once
# on one engine and once on two (with two inputs each engine takes a file;
# the larger file decides the wall time), and once BSA1.mgf alone, which two
# engines clean as two parts of the file. Runs each command RUNS times under
# hyperfine (or a plain loop without it) and prints the mean wall time, the
# mean user+sys CPU time, and the ratio of wall times. It checks that both
# runs wrote the same bytes. The machine may be shared: look at user+sys to
# see whether the second core was really free.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
data=${1:-${ORVANE_DATA_DIR:-$root/../shared/data}}
build=${2:-$root/build}
runs=${3:-5}
orvane=$build/apps/orvane/orvane
if [[ ! -x $orvane ]]; then
  echo "missing $orvane: build the target orvane first" >&2
  exit 1
fi
bsa=$data/bsa/BSA1.mgf
yeast=$data/yeast/SmallCalibratible_Yeast.mgf
if [[ ! -f $bsa || ! -f $yeast ]]; then
  echo "skipped: no real data under $data (give the folder or set ORVANE_DATA_DIR)"
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# mean wall seconds and mean user+sys seconds of a command, RUNS runs.
measure() {
  local cmd=$1
  if command -v hyperfine >/dev/null; then
    hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/h.json" "$cmd" >/dev/null
    python3 - "$work/h.json" <<'PY'
import json, sys
r = json.load(open(sys.argv[1]))["results"][0]
print(f'{r["mean"]:.3f} {r["user"] + r["system"]:.3f} {r["stddev"] or 0:.3f}')
PY
  else
    local wall=0 cpu=0
    for _ in $(seq "$runs"); do
      local out
      out=$( { /usr/bin/time -f "%e %U %S" bash -c "$cmd" >/dev/null; } 2>&1 | tail -1)
      wall=$(echo "$wall + $(echo "$out" | cut -d' ' -f1)" | bc -l)
      cpu=$(echo "$cpu + $(echo "$out" | cut -d' ' -f2) + $(echo "$out" | cut -d' ' -f3)" | bc -l)
    done
    printf '%.3f %.3f 0\n' "$(echo "$wall / $runs" | bc -l)" "$(echo "$cpu / $runs" | bc -l)"
  fi
}

compare() {
  local label=$1; shift
  local one="$orvane clean -q --jobs 1 -o $work/one $*"
  local two="$orvane clean -q --jobs 2 -o $work/two $*"
  read -r w1 c1 s1 < <(measure "$one")
  read -r w2 c2 s2 < <(measure "$two")
  local same=yes
  diff -r "$work/one" "$work/two" >/dev/null || same=NO
  printf '%-28s jobs 1: %7.3f s (+-%.3f, user+sys %7.3f s)  jobs 2: %7.3f s (+-%.3f, user+sys %7.3f s)  speed-up %.2f  same bytes: %s\n' \
    "$label" "$w1" "$s1" "$c1" "$w2" "$s2" "$c2" "$(echo "$w1 / $w2" | bc -l)" "$same"
  rm -rf "$work/one" "$work/two"
}

echo "orvane clean, $runs runs each, $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
compare "BSA1 + yeast (two files)" "$bsa" "$yeast"
compare "BSA1 alone (two parts)" "$bsa"
