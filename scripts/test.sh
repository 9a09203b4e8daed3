#!/usr/bin/env bash
# Builds the project and runs every test: a normal build (with the install,
# embedding and workflow tests), a build under AddressSanitizer +
# UndefinedBehaviorSanitizer, the signal-processing tests again on the
# permissive FFT backend, and a Release build packed as a Debian package
# (installed and run where this runs as root). Warnings are errors here.
set -euo pipefail
cd "$(dirname "$0")/.."
JOBS="${JOBS:-$(nproc)}"

run_suite() {
  local dir="$1"; shift
  cmake -S . -B "$dir" -G Ninja -DORVANE_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j "$JOBS"
}

phase() { echo "== $* (at ${SECONDS} s)"; }
trap 'echo "== done in ${SECONDS} s"' EXIT

phase "normal build (FFTW backend)"
# The optimisation of a Release build (-O3, where GCC 12 warns falsely about
# some string joins, so the tests must build there too), with line tables
# (-g1): enough for the backtraces of a failing test, and a good deal faster to
# compile than full debug information.
run_suite build -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O3 -g1 -DNDEBUG"
ctest --test-dir build --output-on-failure -j "$JOBS"

phase "sanitizer build (ASan + UBSan)"
run_suite build-asan -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-g1" -DORVANE_SANITIZE=ON -DORVANE_BUILD_BENCHMARKS=OFF
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j "$JOBS"

phase "kissfft backend (signal-processing tests)"
cmake -S . -B build-kissfft -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVANE_WERROR=ON -DORVANE_FFT_BACKEND=KISSFFT -DORVANE_BUILD_BENCHMARKS=OFF \
  "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" >/dev/null
cmake --build build-kissfft -j "$JOBS" --target test_tonalith
ctest --test-dir build-kissfft --output-on-failure -L tonalith

phase "Release build and Debian package"
run_suite build-release -DCMAKE_BUILD_TYPE=Release -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_BENCHMARKS=OFF
bash scripts/package-test.sh build-release
