#!/usr/bin/env bash
# Builds the library in release mode and installs it with its headers and
# CMake package under PREFIX (default: ./out). Installs what is missing with apt.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
prefix=${PREFIX:-$top/out}
scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFNX_BUILD_TESTS=OFF
cmake --build build/release -j "$(nproc)"
cmake --install build/release --prefix "$prefix"
echo "installed into $prefix: find_package(fnx_dal_storage) gives fnx::dal_storage"
