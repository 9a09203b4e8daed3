#!/usr/bin/env bash
# Fuzzes the readers (MGF, DTA, mzML/mzXML, peak-array decoding), the presets
# file and the cleaning pipeline with libFuzzer, everything built by clang
# with AddressSanitizer and UndefinedBehaviorSanitizer in build-fuzz/.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     (default: 60 s, every target)
#
# Runs each target for SECONDS, two at a time (FUZZ_PARALLEL=N for N), on a working corpus in
# build-fuzz/corpus/<name> seeded from fuzz/corpus/<name> and
# fuzz/regressions/<name>. Prints per target the executions made and whether
# it found something; exits non-zero on any crash, leak, out-of-memory or
# timeout, naming the input that caused it (build-fuzz/artifacts/<name>/).
# To keep such an input as a test: minimize it with
#   build-fuzz/fuzz/<name>_fuzz -minimize_crash=1 -runs=10000 -exact_artifact_path=OUT INPUT
# and store OUT as fuzz/regressions/<name>/<what-it-does>.
set -euo pipefail
cd "$(dirname "$0")/.."

SECONDS_PER_TARGET="${1:-60}"
shift || true
TARGETS=("$@")
[ ${#TARGETS[@]} -gt 0 ] || TARGETS=(mgf dta mzml decode presets clean)
BUILD=build-fuzz
PARALLEL="${FUZZ_PARALLEL:-2}"  # targets at a time
# Longest input per target: a few spectra (readers), one spectrum of a few
# thousand peaks (clean), a presets file.
declare -A MAX_LEN=([mgf]=16384 [dta]=4096 [mzml]=32768 [decode]=8192 [presets]=4096 [clean]=32768)
# Seconds one input may take: a wide spectrum at a fine grid step takes
# seconds of cleaning under the sanitizers.
declare -A TIMEOUT=([clean]=60)

CC=clang CXX=clang++ cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DORVANE_FUZZ=ON -DORVANE_WERROR=OFF -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$BUILD" -j "$PARALLEL" --target "${TARGETS[@]/%/_fuzz}"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

run_target() {
  local name=$1
  local corpus="$BUILD/corpus/$name" artifacts="$BUILD/artifacts/$name"
  mkdir -p "$corpus" "$artifacts"
  local args=("$corpus" "fuzz/corpus/$name")
  [ -d "fuzz/regressions/$name" ] && args+=("fuzz/regressions/$name")
  [ -f "fuzz/$name.dict" ] && args+=("-dict=fuzz/$name.dict")
  "$BUILD/fuzz/${name}_fuzz" "${args[@]}" -max_total_time="$SECONDS_PER_TARGET" \
    -rss_limit_mb=2048 -timeout="${TIMEOUT[$name]:-10}" -max_len="${MAX_LEN[$name]:-8192}" \
    -artifact_prefix="$artifacts/" -print_final_stats=1 >"$BUILD/logs/$name.log" 2>&1
}

mkdir -p "$BUILD/logs"
rm -f "$BUILD"/logs/*.log "$BUILD"/logs/*.rc
for name in "${TARGETS[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$PARALLEL" ]; do wait -n || true; done
  echo "== fuzzing $name for ${SECONDS_PER_TARGET}s"
  ( rc=0; run_target "$name" || rc=$?; echo "$rc" >"$BUILD/logs/$name.rc" ) &
done
wait

failed=0
echo
for name in "${TARGETS[@]}"; do
  log="$BUILD/logs/$name.log"
  rc=$(cat "$BUILD/logs/$name.rc" 2>/dev/null || echo 1)
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  [ -n "$execs" ] || execs=$(sed -n 's/^#\([0-9]*\)\t.*/\1/p' "$log" | tail -1)
  if [ "$rc" -eq 0 ]; then
    printf '%-8s %10s executions, nothing found\n' "$name" "${execs:-?}"
    continue
  fi
  failed=1
  what=$(grep -m1 -oE 'ERROR: (libFuzzer|AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer): [a-z-]+|runtime error: .*' "$log" || echo "exit status $rc")
  artifact=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -1)
  printf '%-8s %10s executions, FOUND: %s\n' "$name" "${execs:-?}" "$what"
  printf '         input: %s\n         log:   %s\n' "${artifact:-none written}" "$log"
  # The top of the stack, without the frames of the fuzzer and the sanitizers.
  grep -E '^ *#[0-9]+ ' "$log" | grep -vE ' in (fuzzer::|__sanitizer|__asan|__lsan|__interceptor)' |
    head -10 | sed 's/^/         /' || true
done
exit "$failed"
