#!/usr/bin/env bash
# Speed-up of `orvane clean --jobs 2` over `--jobs 1` on the real MGF runs,
# one input at a time.
#
#   bench/jobs_speedup.sh [DATA_DIR] [BUILD_DIR] [RUNS]
#        defaults: $ORVANE_DATA_DIR or ../shared/data, build, 10
#
# Cleans bsa/BSA1.mgf (1120 low-resolution spectra) and then
# yeast/SmallCalibratible_Yeast.mgf (118 high-resolution ones), each alone,
# on one job and on two. Runs every command RUNS times under hyperfine (or a
# plain loop without it) and prints, side by side from the same run, the mean
# wall time, the mean user+sys CPU time, the peak resident memory, the ratio
# of wall times, and whether both wrote the same bytes. The machine may be
# shared: user+sys tells whether the second core was really free.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
data=${1:-${ORVANE_DATA_DIR:-$root/../shared/data}}
build=${2:-$root/build}
runs=${3:-10}
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

# mean wall seconds, mean user+sys seconds and their spread of a command.
measure() {
  local cmd=$1
  if command -v hyperfine >/dev/null; then
    hyperfine --style none --warmup 2 --runs "$runs" --export-json "$work/h.json" "$cmd" >/dev/null
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

# Peak resident memory of one run, in MB.
peak() {
  /usr/bin/time -f "%M" bash -c "$1" 2>&1 >/dev/null | tail -1 | awk '{printf "%.1f", $1 / 1024}'
}

compare() {
  local label=$1 input=$2
  local one="$orvane clean -q --jobs 1 -o $work/one $input"
  local two="$orvane clean -q --jobs 2 -o $work/two $input"
  read -r w1 c1 s1 < <(measure "$one")
  read -r w2 c2 s2 < <(measure "$two")
  local m1 m2
  m1=$(peak "$one")
  m2=$(peak "$two")
  local same=yes
  diff -r "$work/one" "$work/two" >/dev/null || same=NO
  printf '%-7s jobs 1: %6.3f s (+-%.3f, cpu %6.3f s, %5s MB)  jobs 2: %6.3f s (+-%.3f, cpu %6.3f s, %5s MB)  speed-up %.2f  same bytes: %s\n' \
    "$label" "$w1" "$s1" "$c1" "$m1" "$w2" "$s2" "$c2" "$m2" "$(echo "$w1 / $w2" | bc -l)" "$same"
  rm -rf "$work/one" "$work/two"
}

echo "orvane clean, $runs runs each, $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
compare "BSA1" "$bsa"
compare "yeast" "$yeast"
