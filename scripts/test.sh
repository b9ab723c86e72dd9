#!/usr/bin/env bash
# The whole test run: native suites under AddressSanitizer and
# UndefinedBehaviorSanitizer, the concurrency suites under ThreadSanitizer,
# then the Windows build under Wine when scripts/windows-test.sh exists.
# Installs what is missing with apt. Run from anywhere, as root on a fresh
# Debian 12 machine.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
scripts/install-deps.sh
jobs=$(nproc)

echo "== native build, AddressSanitizer + UndefinedBehaviorSanitizer"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DFNX_SANITIZE=address,undefined \
  -DFNX_WERROR=ON -DFNX_BUILD_BENCH=ON
cmake --build build/asan -j "$jobs"
ctest --test-dir build/asan --output-on-failure -j "$jobs"

echo "== benchmarks, smoke mode"
if [ -d build/asan/bench ]; then
  for bench in build/asan/bench/*_bench; do
    [ -x "$bench" ] && "$bench" --smoke
  done
fi

echo "== concurrency suites, ThreadSanitizer (clang)"
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DFNX_SANITIZE=thread \
  -DCMAKE_CXX_COMPILER=clang++ -DFNX_WERROR=ON
cmake --build build/tsan -j "$jobs"
ctest --test-dir build/tsan --output-on-failure -L concurrency

echo "== fuzz targets under libFuzzer, 5 seconds each"
scripts/fuzz.sh 5

if [ -x scripts/windows-test.sh ]; then
  echo "== Windows build under Wine"
  scripts/windows-test.sh
fi
