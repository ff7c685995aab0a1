#!/usr/bin/env bash
# The browser sign-in's start page in a real browser: it renders, logs nothing to the
# console, and the browser follows it through the finish page to velmora://auth?code=X.
# Usage: start_page_browser.sh VELMORA_SERVER. Exits 77 (skipped) without Chromium.
set -euo pipefail
server=$1
browser=$(command -v chromium || command -v chromium-browser || true)
[ -n "$browser" ] || { echo "no chromium: skipped"; exit 77; }

work=$(mktemp -d)
pid=""
cleanup() { [ -n "$pid" ] && kill "$pid" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT

"$server" --db :memory: serve --port 0 --admin-port 0 --auto-sign-in Ada >"$work/ports" 2>"$work/server.err" &
pid=$!
for _ in $(seq 100); do [ -s "$work/ports" ] && break; sleep 0.1; done
port=$(head -n 1 "$work/ports" | tr -d '[:space:]')
[[ "$port" =~ ^[0-9]+$ ]] || { echo "the server printed no port"; cat "$work/server.err"; exit 1; }

# The flags keep a root, GPU-less, offline machine's browser quiet and on loopback only.
timeout 60 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$work/profile" --enable-logging=stderr --v=0 \
    --log-net-log="$work/net.json" --virtual-time-budget=3000 \
    --dump-dom "http://127.0.0.1:$port/auth/app/start?provider=google&name=Test%20laptop" \
    >"$work/dom.html" 2>"$work/browser.err"

fail() { echo "FAIL: $1"; exit 1; }
grep -q '<html lang="en">' "$work/dom.html" || fail "the page has no language"
grep -q '<title>Signing in to Velmora' "$work/dom.html" || fail "the page has no title"
grep -q '<h1>Signing in to Velmora</h1>' "$work/dom.html" || fail "the heading did not render"
grep -q 'Test laptop' "$work/dom.html" || fail "the device name is not on the page"
if grep -E 'CONSOLE|Uncaught' "$work/browser.err"; then fail "the page wrote to the console"; fi
code=$(grep -o 'finish?code=[A-Za-z0-9]*' "$work/dom.html" | head -n 1 | cut -d= -f2)
[ -n "$code" ] || fail "the page offers no way on"
grep -q "velmora://auth?code=$code" "$work/net.json" || fail "the browser was not sent to velmora://auth?code=$code"
echo "1 passed, 0 failed"
