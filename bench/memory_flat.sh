#!/usr/bin/env bash
# Peak memory of `orvane clean` against the size of the MGF file: it should
# stay flat, since spectra are read, cleaned and written one at a time and
# parallel runs join their parts on disk.
#
#   bench/memory_flat.sh [BUILD_DIR] [FULL_SIZES_MB] [CONCAT_SIZES_MB] [JOBS]
#        defaults: build, "50 100 200", "100 400 1000", 1
#
# Makes synthetic MGF files with tests' orvane-synth (mgf-mb FILE MB), then
# prints the "Maximum resident set size" of /usr/bin/time -v for a full clean
# (default stages) at FULL_SIZES_MB, and for --skip-cleaning --merge-output
# (reading, concatenating and writing only) at CONCAT_SIZES_MB, where a full
# clean of a gigabyte would take too long on a small machine. The files live
# in a temporary folder ($TMPDIR) and are removed at the end.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
full=${2:-"50 100 200"}
concat=${3:-"100 400 1000"}
jobs=${4:-1}
orvane=$build/apps/orvane/orvane
synth=$build/tests/orvane-synth
for exe in "$orvane" "$synth"; do
  if [[ ! -x $exe ]]; then
    echo "missing $exe: build the targets orvane and orvane-synth first" >&2
    exit 1
  fi
done
if [[ ! -x /usr/bin/time ]]; then
  echo "skipped: /usr/bin/time is missing (apt-get install time)"
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run() {
  local label=$1 mb=$2; shift 2
  local input=$work/in-$mb.mgf
  [[ -f $input ]] || "$synth" mgf-mb "$input" "$mb" >/dev/null
  rm -rf "$work/out"
  /usr/bin/time -v "$orvane" clean -q --jobs "$jobs" -o "$work/out" "$@" "$input" 2>"$work/time.txt"
  local rss wall
  rss=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$work/time.txt")
  wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "$work/time.txt")
  printf '%-32s %6d MB input  peak RSS %7.1f MB  wall %s\n' "$label" "$mb" "$(echo "$rss / 1024" | bc -l)" "$wall"
  rm -rf "$work/out"
}

echo "orvane clean --jobs $jobs, peak resident memory by input size"
for mb in $full; do run "full clean" "$mb"; done
for mb in $concat; do run "--skip-cleaning --merge-output" "$mb" --skip-cleaning --merge-output; rm -f "$work/in-$mb.mgf"; done
