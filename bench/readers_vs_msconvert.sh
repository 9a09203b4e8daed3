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
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# A large run made from BSA1.mzML: its spectra COPIES times over, with new ids
# and an index of their offsets, as msconvert needs one to read a large file
# in reasonable time (about 14 MB a copy; the default 8 gives about 110 MB).
make_large() {
  python3 - "$1" "$2" "${COPIES:-8}" <<'PY'
import re, sys
src, out, copies = sys.argv[1], sys.argv[2], int(sys.argv[3])
text = open(src, encoding="utf-8").read()
text = text[text.index("<mzML"):text.index("</mzML>") + len("</mzML>")]
head_end = text.index(">", text.index("<spectrumList")) + 1
tail_start = text.index("</spectrumList>")
head, body, tail = text[:head_end], text[head_end:tail_start], text[tail_start:]
parts = re.split(r'(?=<spectrum )', body)
data = bytearray(b'<?xml version="1.0" encoding="utf-8"?>\n<indexedmzML xmlns="http://psi.hupo.org/ms/mzml">\n')
data += head.encode()
offsets = []
for k in range(copies):
    for part in parts:
        m = re.match(r'<spectrum [^>]*id="spectrum=(\d+)"', part)
        if m:
            new_id = "spectrum=%d" % (int(m.group(1)) + 100000 * k)
            part = part.replace(m.group(0), m.group(0).replace("spectrum=" + m.group(1), new_id), 1)
            offsets.append((new_id, len(data)))
        data += part.encode()
data += tail.encode() + b"\n"
index_at = len(data)
data += b'<indexList count="1">\n<index name="spectrum">\n'
for ident, at in offsets:
    data += b'<offset idRef="%s">%d</offset>\n' % (ident.encode(), at)
data += b'</index>\n</indexList>\n<indexListOffset>%d</indexListOffset>\n</indexedmzML>\n' % index_at
open(out, "wb").write(data)
PY
}

files=("$@")
if [ ${#files[@]} -eq 0 ]; then
  for f in "$data/bsa/BSA1.mzML" "$data/yeast/SmallCalibratible_Yeast.mzML" \
           "$data/mzxml/BSA_min_21.mzXML"; do
    [ -f "$f" ] && files+=("$f")
  done
  if [ -f "$data/bsa/BSA1.mzML" ] && command -v python3 >/dev/null; then
    make_large "$data/bsa/BSA1.mzML" "$tmp/BSA1_large.mzML"
    files+=("$tmp/BSA1_large.mzML")
  fi
fi
if [ ${#files[@]} -eq 0 ]; then
  echo "no input files (data folder $data missing): skipped"
  exit 0
fi

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
echo "ratio = orvane time / msconvert time (below 1: orvane is faster); both write one block"
echo "per MS/MS scan (orv_blk = msc_blk)."
