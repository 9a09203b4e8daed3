#!/usr/bin/env bash
# Runs one golden case of the command line and compares what it did with what
# the case expects.
#
#   run_case.sh ORVANE CASE_DIR [DATA_DIR [TOOLS_DIR]]
#
# A case folder holds:
#   cmd       the command line, run by bash in a scratch folder with $ORVANE
#             (the executable), $DATA (the shared data folder), $TOOLS
#             (the folder of the test tools, e.g. orvane-synth) and $SOURCE
#             (the repository, for its fixtures, read in place) set; inputs
#             are made there by `in/` (copied) and by `setup` (a bash script
#             run first; exit 77 skips the case, for data that is absent)
#   exit      the expected exit status
#   stderr    lines standard error must hold, each as a whole line (times
#             and rates read "T s" and "R spectra/s", without the number of
#             jobs); every error and warning line it holds must be among them
#   out/      the expected files the command leaves in the scratch folder's
#             out/ folder, byte for byte (the tree, nothing more, nothing less)
#   stdout    (optional) standard output, byte for byte
# Paths of the scratch folder in messages read as "WORK".
#
# ORVANE_GOLDEN_UPDATE=1 rewrites exit, stderr (its error and warning
# lines), stdout and out/ from what the command did, for a reviewed diff.
set -uo pipefail
ORVANE="$1"
CASE="$(cd "$2" && pwd)"
DATA="${3:-}"
TOOLS="${4:-}"
# The generator of damaged inputs the setups call.
HOSTILE="$(cd "$(dirname "$0")" && pwd)/hostile.py"
export ORVANE DATA TOOLS HOSTILE
export SOURCE="$(cd "$(dirname "$0")/../.." && pwd)"  # the repository root: inputs read in place
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/out"
[ -d "$CASE/in" ] && cp -r "$CASE/in/." "$work/"
cd "$work"
if [ -f "$CASE/setup" ]; then
  bash "$CASE/setup"
  rc=$?
  if [ "$rc" = 77 ]; then echo "skipped: $(basename "$CASE") needs what is not here"; exit 77; fi
  if [ "$rc" != 0 ]; then echo "setup failed ($rc)"; exit 1; fi
fi
bash "$CASE/cmd" >"$work/.stdout" 2>"$work/.stderr"
status=$?
sed -i "s|$work/||g; s|$work|WORK|g" "$work/.stderr" "$work/.stdout"
# Times and rates change from run to run, and the jobs from machine to machine.
sed -i -E 's/[0-9]+\.[0-9]+ s\b/T s/g; s/[0-9]+\.[0-9]+ (spectra|files)\/s(, [0-9]+ jobs)?/R \1\/s/g' "$work/.stderr"
messages() { grep -E '^orvane' "$1" || true; }

if [ "${ORVANE_GOLDEN_UPDATE:-}" = 1 ]; then
  echo "$status" >"$CASE/exit"
  messages "$work/.stderr" >"$CASE/stderr"
  [ -f "$CASE/stdout" ] && cp "$work/.stdout" "$CASE/stdout"
  rm -rf "$CASE/out"
  cp -r "$work/out" "$CASE/out"
  find "$CASE/out" -type d -empty -exec touch {}/.keep \;
  echo "updated $CASE"
  exit 0
fi

fail=0
say() { echo "$*"; fail=1; }
expected_status="$(cat "$CASE/exit")"
[ "$status" = "$expected_status" ] || say "exit status $status, expected $expected_status"
while IFS= read -r line; do
  grep -qxF -- "$line" "$work/.stderr" || say "standard error lacks: $line"
done <"$CASE/stderr"
while IFS= read -r line; do
  grep -qxF -- "$line" "$CASE/stderr" || say "unexpected message: $line"
done < <(messages "$work/.stderr" | grep -E '^orvane: (error|warning|file error):')
if [ -f "$CASE/stdout" ]; then
  cmp -s "$CASE/stdout" "$work/.stdout" || say "standard output differs: $(diff "$CASE/stdout" "$work/.stdout" | head -5)"
fi
expected_tree="$(cd "$CASE/out" && find . -type f ! -name .keep | sort)"
actual_tree="$(cd "$work/out" && find . -type f | sort)"
[ "$expected_tree" = "$actual_tree" ] || say "files left differ:
$(diff <(echo "$expected_tree") <(echo "$actual_tree"))"
while IFS= read -r f; do
  [ -n "$f" ] && [ -f "$work/out/$f" ] && ! cmp -s "$CASE/out/$f" "$work/out/$f" &&
    say "$f differs: $(diff "$CASE/out/$f" "$work/out/$f" | head -5)"
done <<<"$expected_tree"
if [ "$fail" != 0 ]; then
  echo "--- standard error was:"; cat "$work/.stderr"
fi
exit "$fail"
