#!/usr/bin/env bash
# Installs with apt what the native build and tests need, when missing.
# Usage: scripts/install-deps.sh [extra Debian packages...]
set -euo pipefail
packages=(cmake ninja-build g++ clang libgtest-dev libbenchmark-dev libcli11-dev "$@")
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
