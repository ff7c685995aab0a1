#!/usr/bin/env bash
# Installs what is missing, builds, and starts the app on a local demo server, which stops
# when the app quits. The demo account's token goes through a private file, never argv.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" "$root/build"

data="${XDG_DATA_HOME:-$HOME/.local/share}/velmora-server"
mkdir -p "$data"
chmod 700 "$data"
token_file="$data/demo-token"
port_file=$(mktemp)
"$root/build/server/velmora-server" --db "$data/demo.db" serve --demo --port 0 \
    --token-file "$token_file" >"$port_file" &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; rm -f "$port_file"' EXIT

# The first line the server prints is its port.
for _ in $(seq 100); do
    [ -s "$port_file" ] && break
    kill -0 "$server" 2>/dev/null || { echo "velmora-server did not start" >&2; exit 1; }
    sleep 0.1
done
port=$(head -n 1 "$port_file")
[ -n "$port" ] || { echo "velmora-server did not report its port" >&2; exit 1; }

"$root/build/Velmora/velmora" --server "http://127.0.0.1:$port/" --token-file "$token_file" "$@"
