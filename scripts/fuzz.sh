#!/usr/bin/env bash
# Runs each libFuzzer target for a bounded time over its seed corpus
# (fuzz/corpus/<target>) and a working corpus in build/fuzz/corpus/<target>.
#   scripts/fuzz.sh [seconds per target] [target...]
# Default: 600 seconds, every target. A finding stops its target, leaves the
# input as build/fuzz/crash-* and makes the script fail; the last line of each
# run (executions and time) is printed and kept in build/fuzz/logs.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
seconds=${1:-600}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(location_fuzz tape_location_fuzz dirfile_fuzz tape_reader_fuzz)

cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
  -DFNX_BUILD_FUZZ=ON -DFNX_BUILD_TESTS=OFF -DFNX_SANITIZE=address,undefined -DFNX_WERROR=ON >/dev/null
cmake --build build/fuzz -j "$(nproc)" --target "${targets[@]}"
mkdir -p build/fuzz/logs
status=0
for target in "${targets[@]}"; do
  mkdir -p "build/fuzz/corpus/$target"
  log="build/fuzz/logs/$target.log"
  max_len=4096
  [ "$target" = tape_reader_fuzz ] && max_len=81920  # cartridge images: the seeds of a short run are 69632 bytes
  if build/fuzz/fuzz/"$target" -max_total_time="$seconds" -max_len=$max_len -timeout=30 -print_final_stats=1 \
      -artifact_prefix=build/fuzz/ "build/fuzz/corpus/$target" "fuzz/corpus/$target" >"$log" 2>&1; then
    echo "$target: $(grep -E '^Done [0-9]+ runs' "$log" || tail -n 1 "$log")"
  else
    echo "$target: FINDING, see $log"
    grep -E '^==[0-9]+==ERROR|SUMMARY|^Done' "$log" || tail -n 20 "$log"
    status=1
  fi
done
exit $status
