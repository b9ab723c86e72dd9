#!/usr/bin/env bash
# The main job: builds and installs the library and the fnxdal tool (see
# scripts/build.sh), then runs `fnxdal demo`, a tour of the whole road of a
# document on disk and on a virtual tape drive. Installs what is missing with
# apt. Extra arguments go to the demo (e.g. --dir DIR).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
prefix=${PREFIX:-$top/out}
PREFIX=$prefix scripts/build.sh
"$prefix/bin/fnxdal" demo "$@"
