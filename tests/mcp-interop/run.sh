#!/usr/bin/env bash
# Runs interop.mjs against a fresh velmora-server. Exit 77 (skipped) without Node or npm,
# or when the pinned clients cannot be installed (no registry).
# Usage: run.sh VELMORA_SERVER SOURCE_DIR WORK_DIR [-- COMMAND...]
# With a COMMAND, runs it instead, with VELMORA_MCP_CLIENTS naming the installed clients.
set -uo pipefail
server=$1 source=$2 work=$3
shift 3
command -v node >/dev/null && command -v npm >/dev/null || { echo "node or npm missing: skipped"; exit 77; }
mkdir -p "$work"
cp "$source/package.json" "$source/package-lock.json" "$source/interop.mjs" \
    "$source/call-tool.mjs" "$work/"
if ! cmp -s "$work/package-lock.json" "$work/node_modules/.velmora-lock"; then
    (cd "$work" && timeout 300 npm ci --no-audit --no-fund --loglevel=error) ||
        { echo "npm ci failed: skipped"; exit 77; }
    cp "$work/package-lock.json" "$work/node_modules/.velmora-lock"
fi

if [ "${1:-}" = "--" ]; then
    shift
    VELMORA_MCP_CLIENTS=$work exec "$@"
fi

db="$work/interop.db"
# The last run's port file would pass for this server's before the redirect empties it.
rm -f "$db" "$db-wal" "$db-shm" "$work/port"
token=$("$server" --db "$db" user add interop | grep -o 'vl-[A-Za-z0-9]*') || exit 1
"$server" --db "$db" serve --port 0 >"$work/port" &
pid=$!
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null' EXIT
for _ in $(seq 100); do
    [ -s "$work/port" ] && break
    sleep 0.1
done
port=$(head -n1 "$work/port")
[ -n "$port" ] || { echo "velmora-server did not start"; exit 1; }
cd "$work" && timeout 120 node interop.mjs "http://127.0.0.1:$port" "$token"
