#!/usr/bin/env bash
# Peak memory of `orvane clean` against the size of the MGF file: it stays
# flat, since spectra are read, cleaned and written a few at a time, however
# many jobs clean them.
#
#   bench/memory_flat.sh [BUILD_DIR] [SIZES_MB] [JOBS]
#        defaults: build, "50 200 1000", 2
#
# Makes synthetic MGF files with the tests' orvane-synth (mgf-mb FILE MB),
# cleans each with the default stages and prints the "Maximum resident set
# size" of /usr/bin/time, the wall time and the rate. A gigabyte takes some
# minutes on two cores. The files live in a temporary folder ($TMPDIR) and
# go at the end.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
sizes=${2:-"50 200 1000"}
jobs=${3:-2}
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

echo "orvane clean --jobs $jobs, peak resident memory by input size ($(nproc) cores)"
for mb in $sizes; do
  input=$work/in-$mb.mgf
  "$synth" mgf-mb "$input" "$mb" >/dev/null
  /usr/bin/time -f "%M %e" "$orvane" clean -q --jobs "$jobs" -o "$work/out" "$input" 2>"$work/time.txt"
  read -r rss wall < <(tail -1 "$work/time.txt")
  printf '%6d MB input  peak RSS %7.1f MB  wall %8.1f s  %6.2f MB/s\n' "$mb" "$(echo "$rss / 1024" | bc -l)" \
    "$wall" "$(echo "$mb / $wall" | bc -l)"
  rm -rf "$work/out" "$input"
done
