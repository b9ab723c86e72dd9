#!/usr/bin/env bash
# The Windows build: cross-compiles dal_storage.dll and the suites with
# mingw-w64 (build/windows) and runs everything ctest holds under Wine, in a
# Wine prefix of its own inside the build directory. Installs mingw-w64 and
# Wine with apt when missing. Run from anywhere, as root on Debian 12.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
scripts/install-deps.sh mingw-w64 wine wine64 googletest
jobs=$(nproc)
build=build/windows

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DFNX_WERROR=ON \
  -DCMAKE_TOOLCHAIN_FILE="$top/cmake/mingw-w64-x86_64.cmake"
cmake --build "$build" -j "$jobs"

export WINEPREFIX="$top/$build/wineprefix"
export WINEDEBUG=-all
if [ ! -f "$WINEPREFIX/.initialised" ]; then
  echo "initialising the Wine prefix $WINEPREFIX (once, about half a minute)"
  # No Mono or Gecko: nothing here needs them, and their installers would ask.
  WINEDLLOVERRIDES="mscoree,mshtml=" wineboot -i
  touch "$WINEPREFIX/.initialised"
fi

start=$(date +%s)
ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 900
echo "Windows suites under Wine: $(( $(date +%s) - start )) s"
