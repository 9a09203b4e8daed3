#!/usr/bin/env bash
# MGF throughput of the orvane host against cat, and its peak memory on two
# file sizes (reading streams, so memory must not grow with the file).
#
#   bench/mgf_throughput.sh [BUILD_DIR] [MB]      defaults: build, 100
#
# Needs the benchmarks built (-DORVANE_BUILD_BENCHMARKS=ON): bench/mgf_io_bench
# generates the synthetic MGF files (msconvert-style blocks). Reading is
# `orvane info` (every block through ImportMgf), reading and writing is
# `orvane convert --to mgf` (every block through ImportMgf and ExportMgf);
# they are set against `cat FILE >/dev/null` and `cat FILE >COPY`. Each command
# runs 3 times; the best wall time counts. CPU is user + system time of that
# run, which is what matters on a busy machine.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
mb=${2:-100}
orvane=$build/apps/orvane/orvane
gen=$build/bench/mgf_io_bench
for exe in "$orvane" "$gen"; do
  if [[ ! -x $exe ]]; then
    echo "missing $exe: build with -DORVANE_BUILD_BENCHMARKS=ON (targets orvane, mgf_io_bench)" >&2
    exit 1
  fi
done
if [[ ! -x /usr/bin/time ]]; then
  echo "needs /usr/bin/time (GNU time) for the peak memory" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
small_mb=$(( mb / 4 > 0 ? mb / 4 : 1 ))
"$gen" --generate "$work/big.mgf" "$mb"
"$gen" --generate "$work/small.mgf" "$small_mb"
big_bytes=$(stat -c %s "$work/big.mgf")

# measure STDOUT_FILE CMD...: sets wall (s), cpu (s) and rss (KB) of the best of 3 runs.
measure() {
  local out=$1
  shift
  wall=""
  for _ in 1 2 3; do
    rm -rf "$work/out" "$work/copy.mgf"
    local start end w
    start=$(date +%s%N)
    /usr/bin/time -f "%U %S %M" -o "$work/time" "$@" >"$out" 2>"$work/err" || {
      echo "failed: $*" >&2
      cat "$work/err" >&2
      exit 1
    }
    end=$(date +%s%N)
    w=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", (b - a) / 1e9 }')
    if [[ -z $wall ]] || awk -v a="$w" -v b="$wall" 'BEGIN { exit !(a < b) }'; then
      wall=$w
      read -r user sys rss <"$work/time"
      cpu=$(awk -v u="$user" -v s="$sys" 'BEGIN { printf "%.2f", u + s }')
    fi
  done
}

rss_of() {  # rss_of FILE CMD-with-FILE...: peak RSS in KB of one run
  /usr/bin/time -f "%M" -o "$work/time" "$@" >/dev/null 2>"$work/err"
  cat "$work/time"
}

row() {  # row NAME BASE_WALL
  awk -v n="$1" -v w="$wall" -v c="$cpu" -v bytes="$big_bytes" -v base="$2" -v r="$rss" \
    'BEGIN { mb = bytes / 1048576; printf "%-36s %8.3f %8.1f %8.2f %7.2f %9.1f\n", n, w, mb / w, w / base, c, r / 1024 }'
}

spectra=$("$orvane" info "$work/big.mgf" | awk -F'\t' '{ sub("spectra=", "", $2); print $2 }')
printf "MGF throughput on a %s MB synthetic file (%s bytes, %s spectra)\n\n" "$mb" "$big_bytes" "$spectra"
printf "%-36s %8s %8s %8s %7s %9s\n" "command" "wall s" "MB/s" "x cat" "cpu s" "RSS MB"

measure /dev/null cat "$work/big.mgf"
cat_read=$wall
row "cat FILE >/dev/null" "$cat_read"
for dialect in modern classic; do
  measure /dev/null "$orvane" info --mgf-dialect "$dialect" "$work/big.mgf"
  row "orvane info ($dialect)" "$cat_read"
done

measure "$work/copy.mgf" cat "$work/big.mgf"
cat_copy=$wall
row "cat FILE >COPY" "$cat_copy"
for dialect in modern classic; do
  measure /dev/null "$orvane" convert --to mgf --mgf-dialect "$dialect" -o "$work/out" "$work/big.mgf"
  row "orvane convert --to mgf ($dialect)" "$cat_copy"
done

printf "\nPeak memory (RSS) against file size: streaming keeps it flat\n"
printf "%-36s %12s %12s\n" "command" "${small_mb} MB file" "${mb} MB file"
for kind in info convert; do
  for size in small big; do
    if [[ $kind == info ]]; then
      r=$(rss_of "$orvane" info "$work/$size.mgf")
    else
      rm -rf "$work/out"
      r=$(rss_of "$orvane" convert --to mgf -o "$work/out" "$work/$size.mgf")
    fi
    eval "rss_$size=$r"
  done
  awk -v n="orvane $kind" -v a="$rss_small" -v b="$rss_big" \
    'BEGIN { printf "%-36s %9.1f MB %9.1f MB\n", n, a / 1024, b / 1024 }'
done
