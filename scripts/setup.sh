#!/usr/bin/env bash
# Installs the Debian packages listed in packages.txt (skipped when all are present).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t pkgs < <(grep -v -E '^\s*(#|$)' "$here/packages.txt")

missing=()
for p in "${pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
# Node and npm run the MCP interop test's clients; a machine's own Node (as from NodeSource,
# which brings its npm) is kept, so they are asked for only when the commands are missing.
command -v node >/dev/null && command -v npm >/dev/null || missing+=(nodejs npm)
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
    sudo="sudo"
fi
echo "setup: installing ${missing[*]}"
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
