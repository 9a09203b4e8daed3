#!/usr/bin/env bash
# Time and memory of `orvane convert --to mgf` against `msconvert --mgf`
# (ProteoWizard, Debian package libpwiz-tools) on the same mzML/mzXML files,
# run side by side, with the ratio of their times. Skips cleanly when
# msconvert or the data is missing.
#
#   bench/readers_vs_msconvert.sh [FILE.mzML|FILE.mzXML|FILE.mzML.gz ...]
#
# ORVANE: the orvane binary (default build/apps/orvane/orvane); RUNS: timed
# runs per command, the best one counts (default 3).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
orvane=${ORVANE:-$root/build/apps/orvane/orvane}
runs=${RUNS:-3}
data=${ORVANE_DATA_DIR:-$root/../shared/data}

if ! command -v msconvert >/dev/null 2>&1; then
  echo "msconvert not found (apt-get install libpwiz-tools): skipped"
  exit 0
fi
if [ ! -x "$orvane" ]; then
  echo "orvane binary not found at $orvane (build it, or set ORVANE): skipped"
  exit 0
fi
files=("$@")
if [ ${#files[@]} -eq 0 ]; then
  for f in "$data/bsa/BSA1.mzML" "$data/yeast/SmallCalibratible_Yeast.mzML" \
           "$data/mzxml/BSA_min_21.mzXML"; do
    [ -f "$f" ] && files+=("$f")
  done
fi
if [ ${#files[@]} -eq 0 ]; then
  echo "no input files (data folder $data missing): skipped"
  exit 0
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Best wall time (s) and largest resident memory (MB) of RUNS runs of a command.
measure() {
  local best="" mem=0 t m
  for _ in $(seq "$runs"); do
    rm -rf "$tmp/out" && mkdir -p "$tmp/out"
    /usr/bin/time -f "%e %M" -o "$tmp/time" "$@" >/dev/null 2>"$tmp/err" || {
      echo "failed: $*" >&2
      cat "$tmp/err" >&2
      return 1
    }
    read -r t m < "$tmp/time"
    if [ -z "$best" ] || awk "BEGIN{exit !($t < $best)}"; then best=$t; fi
    if [ "$m" -gt "$mem" ]; then mem=$m; fi
  done
  echo "$best $((mem / 1024))"
}

printf "%-36s %9s %9s %7s %8s %8s %9s %9s\n" file orvane_s msconv_s ratio orv_MB msc_MB orv_blk msc_blk
for f in "${files[@]}"; do
  read -r ot om < <(measure "$orvane" convert --to mgf -o "$tmp/out" "$f")
  oblocks=$(cat "$tmp"/out/*.mgf | grep -c "BEGIN IONS" || true)
  read -r mt mm < <(measure msconvert --mgf -o "$tmp/out" "$f")
  mblocks=$(cat "$tmp"/out/*.mgf | grep -c "BEGIN IONS" || true)
  ratio=$(awk "BEGIN{ if ($mt > 0) printf \"%.2f\", $ot / $mt; else print \"-\" }")
  printf "%-36s %9s %9s %7s %8s %8s %9s %9s\n" "$(basename "$f")" "$ot" "$mt" "$ratio" "$om" "$mm" \
    "$oblocks" "$mblocks"
done
echo "ratio = orvane time / msconvert time (below 1: orvane is faster). orvane writes each"
echo "spectrum of a multiply charged precursor twice, as charge 2 and 3 (orv_blk = 2 x msc_blk)."
