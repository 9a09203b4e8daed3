#!/usr/bin/env bash
# Speed of `orvane clean` on the real MGF runs of shared/data, stage by stage.
#
#   bench/clean_bench.sh [BUILD_DIR] [RUNS]        defaults: build, 3
#
# For each input (bsa/BSA1.mgf: 1120 low-resolution ion-trap spectra;
# yeast/SmallCalibratible_Yeast.mgf: 118 high-resolution HCD spectra) it cleans
# the file with each pipeline stage switched on alone, with the defaults, and
# with --skip-cleaning (reading and writing only), and prints spectra per
# second of the run as the host reports it (engine time, without process
# start), the best of RUNS runs, the cost relative to --skip-cleaning, and how
# many spectra came out bad. "resampling only" is the part every run pays:
# the working copy, the 0.05 grid and the fold. Runs use one engine
# (--jobs 1), so the figures are those of the pipeline itself; the speed-up of
# several engines has a benchmark of its own.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
runs=${2:-3}
orvane=$build/apps/orvane/orvane
data=${ORVANE_DATA_DIR:-$root/../shared/data}
if [[ ! -x $orvane ]]; then
  echo "missing $orvane: build the target orvane first" >&2
  exit 1
fi

inputs=()
for f in bsa/BSA1.mgf yeast/SmallCalibratible_Yeast.mgf; do
  [[ -f $data/$f ]] && inputs+=("$data/$f")
done
if [[ ${#inputs[@]} -eq 0 ]]; then
  echo "no real data under $data (set ORVANE_DATA_DIR)" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

off="--no-deisotope --no-deconvolute --no-remove-noise --no-check-seq-tags --no-merge-peaks"
configs=(
  "skip cleaning (I/O)|--skip-cleaning"
  "resampling only|$off"
  "de-isotoping, strict|$off --deisotope"
  "de-isotoping, soft|$off --deisotope --soft-bad-spectra"
  "deconvolution|$off --deconvolute"
  "noise removal|$off --remove-noise"
  "sequence tags|$off --check-seq-tags"
  "peak merging|$off --merge-peaks"
  "defaults|"
)

# run INPUT ARGS: best engine time (s) over the runs -> $best, spectra -> $spectra, bad -> $bad
run() {
  local input=$1 args=$2
  best=""
  for ((i = 0; i < runs; i++)); do
    rm -rf "$work/out"
    # shellcheck disable=SC2086
    "$orvane" clean --jobs 1 $args -o "$work/out" "$input" 2>"$work/err" || {
      echo "failed: orvane clean $args $input" >&2
      cat "$work/err" >&2
      exit 1
    }
    local line t
    line=$(grep "finished:" "$work/err")
    spectra=$(sed -E 's/.*finished: ([0-9]+) spectra.*/\1/' <<<"$line")
    t=$(sed -E 's/.* in ([0-9.]+) s .*/\1/' <<<"$line")
    if [[ -z $best ]] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
  done
  bad=0
  for f in "$work"/out/badspectra/*.mgf; do
    [[ -f $f ]] || continue
    bad=$((bad + $(grep -c '^BEGIN IONS' "$f" || true)))
  done
}

for input in "${inputs[@]}"; do
  echo "== $(basename "$input")"
  printf "%-24s %9s %12s %9s %6s\n" "stage" "seconds" "spectra/s" "x I/O" "bad"
  io=""
  for config in "${configs[@]}"; do
    name=${config%%|*}
    args=${config#*|}
    run "$input" "$args"
    [[ -z $io ]] && io=$best
    awk -v n="$name" -v t="$best" -v s="$spectra" -v io="$io" -v bad="$bad" 'BEGIN {
      rate = t > 0 ? s / t : 0; ratio = io > 0 ? t / io : 0
      printf "%-24s %9.3f %12.1f %9.1f %6d\n", n, t, rate, ratio, bad }'
  done
  echo
done
