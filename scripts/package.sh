#!/usr/bin/env bash
# Builds the Debian packages of the app and the server into DIR/packages (default build/).
# Usage: package.sh [DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-"$root/build"}
"$root/scripts/build.sh" "$dir"
(cd "$dir" && cpack -G DEB -B "$dir/packages" >/dev/null)
ls "$dir"/packages/*.deb
