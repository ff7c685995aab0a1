#!/usr/bin/env bash
# Configures and builds one tree. Usage: build.sh [DIR [extra cmake args...]]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-"$root/build"}
shift || true
cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" "$@" >/dev/null
cmake --build "$dir" --parallel "$(nproc)"
