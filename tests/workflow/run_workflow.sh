#!/usr/bin/env bash
# Runs workflows/Snakefile with two cores on the bundled example (an MGF run
# and an mzML run), then, where Comet and the shared data are there, on the
# yeast run with its search, and checks the summary tables.
#
#   run_workflow.sh ORVANE SOURCE_DIR [DATA_DIR]
set -euo pipefail
command -v snakemake >/dev/null || { echo "skipped: snakemake is not installed"; exit 77; }
orvane=$(realpath "$1")
source=$(realpath "$2")
data=$(realpath -m "${3:-/nonexistent}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run() {  # run RUNS OUT [CONFIG...]
  local runs=$1 out=$2
  shift 2
  snakemake -s "$source/workflows/Snakefile" --profile "$source/workflows/profiles/local" --cores 2 \
    --directory "$work" --quiet --config runs="$runs" out="$out" orvane="$orvane" "$@" >"$work/snakemake.log" 2>&1 \
    || { tail -30 "$work/snakemake.log"; exit 1; }
}

mkdir "$work/runs"
cp "$source/examples/sample.mgf" "$source/tests/readers/fixtures/yeast_plain.mzML" "$work/runs/"
run "$work/runs" "$work/results"
cat "$work/results/summary.tsv"
# Every run cleaned, with its log; no search asked for.
[[ $(awk -F'\t' 'NR > 1 && $2 > 0 && $4 > 0 && $5 < $3 && $6 == "-"' "$work/results/summary.tsv" | wc -l) == 2 ]]
[[ -s $work/results/logs/sample.log && -s $work/results/logs/yeast_plain.log ]]

if command -v comet-ms >/dev/null && [[ -f $data/yeast/SmallCalibratible_Yeast.mgf ]]; then
  mkdir "$work/yeast"
  cp "$data/yeast/SmallCalibratible_Yeast.mgf" "$work/yeast/"
  run "$work/yeast" "$work/yeast-results" comet_params="$data/comet/comet_highres.params" \
    database="$data/yeast/SmallYeast.fasta"
  cat "$work/yeast-results/summary.tsv"
  # Both searches found targets.
  [[ $(awk -F'\t' 'NR == 2 && $6 > 20 && $7 > 20' "$work/yeast-results/summary.tsv" | wc -l) == 1 ]]
fi
echo "workflow: done"
