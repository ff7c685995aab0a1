#!/usr/bin/env bash
# Installs what is missing, builds, and starts the app.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" "$root/build"
exec "$root/build/Velmora/velmora" "$@"
