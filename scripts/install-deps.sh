#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the benchmarks need.
# Run as root (or through sudo) on Debian bookworm.
set -euo pipefail
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
APT_OPTS=(-y -q -o DPkg::Lock::Timeout=600)
# A package run cut off halfway (a killed machine, a stopped job) leaves dpkg
# "interrupted", and apt then refuses every install until it is finished.
$SUDO dpkg --configure -a
$SUDO apt-get "${APT_OPTS[@]}" update
$SUDO apt-get "${APT_OPTS[@]}" install --no-install-recommends \
  build-essential cmake ninja-build pkg-config git \
  libgtest-dev libgmock-dev libbenchmark-dev \
  libboost-dev libcli11-dev \
  libfftw3-dev libkissfft-dev libeigen3-dev \
  libtomlplusplus-dev \
  libexpat1-dev zlib1g-dev \
  hyperfine
# Fuzzing (scripts/fuzz.sh): clang with libFuzzer and the sanitizer runtimes,
# and llvm-symbolizer for readable stacks.
$SUDO apt-get "${APT_OPTS[@]}" install --no-install-recommends \
  clang libclang-rt-dev llvm
# Benchmark packages: the search engine (and the Python its FDR helper runs on)
# of bench/search_gain.sh.
$SUDO apt-get "${APT_OPTS[@]}" install --no-install-recommends \
  comet-ms python3
# Packaging (cpack -G DEB finds the dependencies with dpkg-shlibdeps) and the
# workflow (Snakemake; its test is skipped where it is missing).
$SUDO apt-get "${APT_OPTS[@]}" install --no-install-recommends \
  dpkg-dev file snakemake
