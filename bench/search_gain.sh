#!/usr/bin/env bash
# What cleaning does to a database search: Comet on the real runs of shared/data,
# before and after `orvane clean`.
#
#   bench/search_gain.sh [BUILD_DIR]                  default: build
#
# Runs: yeast (118 high-resolution HCD spectra, SmallYeast.fasta,
# comet_highres.params) and BSA1 (1120 low-resolution ion-trap spectra,
# 18Protein_SoCe_Tr_detergents_trace.fasta, comet_bsa_lowres.params).
# Each run comes in two forms: "mgf", the MGF msconvert made (shared as is), and
# "mzML", the mzML converted by `orvane convert --to mgf`. Each form is searched
# as it is ("input"), then cleaned with the defaults, with every preset
# `orvane params --list-presets` names (if this orvane has presets) and with the
# configurations of EXTRA_CONFIGS, and each cleaned MGF is searched again.
# Bad spectra (DIR/badspectra/) are not searched.
#
# The table (Markdown, on standard output) has one row per run, form and
# cleaning: spectra and peak lines in the searched MGF, Comet CPU seconds (user +
# sys, all threads), target PSMs with e-value < 0.01 and target PSMs at 1% FDR
# (q = decoys / targets, bench/comet_fdr.py). Counts carry their ratio to the
# row's input (the uncleaned MGF of the same run and form) in brackets.
# Progress goes to standard error.
#
# Environment:
#   ORVANE_DATA_DIR  the data folder (default: shared/data next to the repository)
#   EXTRA_CONFIGS    more cleanings, "label:options;label:options", e.g.
#                    EXTRA_CONFIGS="nodeiso:--no-deisotope --no-deconvolute;noise:--remove-noise"
#                    (options are split at blanks)
#   COMET            the Comet binary (default: comet-ms, Debian's package)
#   COMET_THREADS    Comet's num_threads (default 2; 0 lets Comet count the cores)
#   KEEP_WORK=1      keep the work folder (MGF files, Comet results and logs)
#
# Exits 1 after the table when a row could not be made (its cells show what failed).
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
build=${1:-$root/build}
orvane=$build/apps/orvane/orvane
data=${ORVANE_DATA_DIR:-$root/../shared/data}
comet=${COMET:-comet-ms}
threads=${COMET_THREADS:-2}
fdr_tool=$here/comet_fdr.py

die() { echo "search_gain: $*" >&2; exit 1; }
[[ -x $orvane ]] || die "missing $orvane: build the target orvane first"
command -v "$comet" >/dev/null || die "no $comet: install comet-ms (scripts/install-deps.sh)"
command -v python3 >/dev/null || die "no python3"
[[ -d $data ]] || die "no data folder $data (set ORVANE_DATA_DIR)"

# label|file stem (without .mzML/.mgf)|database|Comet params
runs=(
  "yeast|yeast/SmallCalibratible_Yeast|yeast/SmallYeast.fasta|comet/comet_highres.params"
  "BSA1|bsa/BSA1|bsa/18Protein_SoCe_Tr_detergents_trace.fasta|comet/comet_bsa_lowres.params"
)

work=$(mktemp -d)
if [[ ${KEEP_WORK:-0} == 1 ]]; then
  trap 'echo "work folder kept: $work" >&2' EXIT
else
  trap 'rm -rf "$work"' EXIT
fi
# A private copy, so that a rebuild during the run cannot mix two versions in one table.
cp "$build/apps/orvane/orvane" "$work/orvane"
orvane=$work/orvane
echo "$("$orvane" --version 2>/dev/null | head -1), built $(date -r "$build/apps/orvane/orvane" '+%F %T')" >&2
rows=$work/rows.tsv
: >"$rows"
start=$SECONDS

# The cleanings, "label|options"; the defaults first.
configs=("defaults|")
if "$orvane" params --list-presets >"$work/presets" 2>/dev/null; then
  while read -r name _; do
    [[ $name =~ ^[A-Za-z0-9_.-]+$ ]] || continue
    configs+=("preset $name|--preset $name")
  done <"$work/presets"
else
  echo "orvane params --list-presets failed: no presets to compare" >&2
fi
if [[ -n ${EXTRA_CONFIGS:-} ]]; then
  IFS=';' read -ra extra <<<"$EXTRA_CONFIGS"
  for c in "${extra[@]}"; do
    [[ -n ${c// /} ]] || continue
    [[ $c == *:* ]] || die "EXTRA_CONFIGS entry without label: '$c' (want label:options)"
    configs+=("${c%%:*}|${c#*:}")
  done
fi

# comet_params SRC FASTA OUT: the params with our database and plain-text output only.
comet_params() {
  local src=$1 fasta=$2 out=$3 kv key
  local settings=(
    "database_name=$fasta" "decoy_search=1" "num_threads=$threads"
    "output_txtfile=1" "output_sqtfile=0" "output_sqtstream=0"
    "output_pepxmlfile=0" "output_percolatorfile=0"
    "print_expect_score=1" "num_output_lines=1"
  )
  cp "$src" "$out"
  for kv in "${settings[@]}"; do
    key=${kv%%=*}
    grep -q "^${key}[[:space:]]*=" "$out" || die "$src has no $key line"
    sed -i "s|^${key}[[:space:]]*=.*|$key = ${kv#*=}|" "$out"
  done
}

# mgf_counts MGF: "spectra peaks" (BEGIN IONS blocks, peak lines inside them)
mgf_counts() {
  awk '/^BEGIN IONS/ { s++; blk = 1; next }
       /^END IONS/   { blk = 0; next }
       blk && !/=/ && $1 ~ /^[0-9.]/ { p++ }
       END { print s + 0, p + 0 }' "$1"
}

# search MGF PARAMS BASE PREFIX: Comet writes BASE.txt; sets cpu, by_ev, by_fdr.
search() {
  local mgf=$1 params=$2 base=$3 prefix=$4
  local TIMEFORMAT='%U %S'
  if ! { time "$comet" -P"$params" -N"$base" "$mgf" >"$base.log" 2>&1; } 2>"$base.time" \
    || [[ ! -f $base.txt ]]; then
    echo "  Comet failed on $mgf (log: $base.log):" >&2
    tail -5 "$base.log" >&2
    return 1
  fi
  cpu=$(awk '{ printf "%.2f", $1 + $2 }' "$base.time")
  read -r by_ev by_fdr < <(python3 "$fdr_tool" --decoy-prefix "$prefix" "$base.txt")
}

problems=0
# row RUN FORM CONFIG MGF PARAMS BASE PREFIX: count, search, append to the table.
row() {
  local run=$1 form=$2 config=$3 mgf=$4 params=$5 base=$6 prefix=$7 spectra peaks
  read -r spectra peaks < <(mgf_counts "$mgf")
  cpu=0 by_ev=0 by_fdr=0
  if ((spectra > 0)); then
    echo "  searching $config: $spectra spectra" >&2
    if ! search "$mgf" "$params" "$base" "$prefix"; then
      problems=$((problems + 1))
      printf '%s\t%s\t%s\t%s\t%s\tfailed\t-\t-\n' "$run" "$form" "$config" "$spectra" "$peaks" >>"$rows"
      return
    fi
  fi
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' \
    "$run" "$form" "$config" "$spectra" "$peaks" "$cpu" "$by_ev" "$by_fdr" >>"$rows"
}

failed_row() { # RUN FORM CONFIG WHAT
  problems=$((problems + 1))
  printf '%s\t%s\t%s\t%s\t-\t-\t-\t-\n' "$1" "$2" "$3" "$4 failed" >>"$rows"
}

for r in "${runs[@]}"; do
  IFS='|' read -r run stem fasta params <<<"$r"
  name=$(basename "$stem")
  for f in "$stem.mgf" "$stem.mzML" "$fasta" "$params"; do
    [[ -f $data/$f ]] || die "missing $data/$f (set ORVANE_DATA_DIR)"
  done
  rdir=$work/$run
  mkdir -p "$rdir"
  comet_params "$data/$params" "$(cd "$(dirname "$data/$fasta")" && pwd)/$(basename "$fasta")" \
    "$rdir/comet.params"
  prefix=$(sed -n 's/^decoy_prefix[[:space:]]*=[[:space:]]*\([^[:space:]#]*\).*/\1/p' \
    "$rdir/comet.params")
  prefix=${prefix:-DECOY_}

  for form in mgf mzML; do
    fdir=$rdir/$form
    mkdir -p "$fdir"
    echo "[$run $form]" >&2
    if [[ $form == mgf ]]; then
      input=$data/$stem.mgf
    else
      echo "  orvane convert --to mgf $name.mzML" >&2
      if ! "$orvane" convert --to mgf -o "$fdir/input" "$data/$stem.mzML" \
        >"$fdir/convert.log" 2>&1 || [[ ! -f $fdir/input/$name.mgf ]]; then
        echo "  conversion failed:" >&2
        tail -5 "$fdir/convert.log" >&2
        failed_row "$run" "$form" input convert
        continue
      fi
      input=$fdir/input/$name.mgf
    fi
    row "$run" "$form" input "$input" "$rdir/comet.params" "$fdir/input_search" "$prefix"

    i=0
    for c in "${configs[@]}"; do
      i=$((i + 1))
      label=${c%%|*}
      opts=${c#*|}
      out=$fdir/clean$i
      echo "  orvane clean ${opts:-(defaults)}" >&2
      # shellcheck disable=SC2086 # options are meant to split at blanks
      if ! "$orvane" clean -q $opts -o "$out" "$input" >"$fdir/clean$i.log" 2>&1 \
        || [[ ! -f $out/${name}_c.mgf ]]; then
        echo "  cleaning failed:" >&2
        tail -5 "$fdir/clean$i.log" >&2
        failed_row "$run" "$form" "$label" clean
        continue
      fi
      row "$run" "$form" "$label" "$out/${name}_c.mgf" "$rdir/comet.params" \
        "$fdir/clean${i}_search" "$prefix"
    done
  done
done

# The table: counts with their ratio to the input row of the same run and form.
awk -F'\t' '
  function cell(v, base) {
    if (v !~ /^[0-9.]+$/) return v
    if (base !~ /^[0-9.]+$/ || base + 0 == 0) return v " (-)"
    return sprintf("%s (%.2f)", v, v / base)
  }
  {
    n++
    if ($3 == "input") for (k = 4; k <= 8; k++) inp[$1, $2, k] = $k
    c[n, 1] = $1; c[n, 2] = $2; c[n, 3] = $3
    c[n, 4] = cell($4, inp[$1, $2, 4]); c[n, 5] = cell($5, inp[$1, $2, 5])
    c[n, 6] = $6
    c[n, 7] = cell($7, inp[$1, $2, 7]); c[n, 8] = cell($8, inp[$1, $2, 8])
  }
  END {
    split("run|form|cleaning|spectra|peaks|Comet CPU s|targets e<0.01|targets 1% FDR", h, "|")
    for (k = 1; k <= 8; k++) { w[k] = length(h[k]); for (i = 1; i <= n; i++) if (length(c[i, k]) > w[k]) w[k] = length(c[i, k]) }
    line = "|"; for (k = 1; k <= 8; k++) line = line sprintf(" %-" w[k] "s |", h[k]); print line
    line = "|"
    for (k = 1; k <= 8; k++) {
      d = ""; for (j = 0; j < w[k] - 1; j++) d = d "-"
      line = line (k <= 3 ? " " d "- |" : " " d ": |")
    }
    print line
    for (i = 1; i <= n; i++) {
      line = "|"
      for (k = 1; k <= 8; k++) line = line sprintf(" %" (k <= 3 ? "-" : "") w[k] "s |", c[i, k])
      print line
    }
  }' "$rows"

echo "search_gain: $(( $(wc -l <"$rows") )) rows in $((SECONDS - start)) s, $problems with problems" >&2
((problems == 0)) || exit 1
