#!/usr/bin/env bash
# The app's start as a user starts it, repeatably: velmora-server with the demo account grown
# to N tasks, and the app run as scripts/run.sh runs it, with its token already in the keyring
# and its snapshot already on disk. Each run gets a fresh X server and D-Bus session (so a
# fresh keyring daemon over the same keyring files); a first, unmeasured run stores the token
# and writes the snapshot. Prints each run and the median and range of:
#   settled  process start to the moment the app's CPU goes quiet with its window mapped
#   PSS      proportional set size of the app and any process it started, once settled
#   CPU      the app's CPU time (every thread) up to settled
#   written  their private dirty pages: what they wrote themselves (heap, stacks, relocations)
# Usage: bench/peer-round.sh [--runs N] [--items N] [--build DIR] [-- app arguments]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"
runs=5
items=1000
while [ $# -gt 0 ]; do
    case "$1" in
    --runs) runs=$2; shift 2 ;;
    --items) items=$2; shift 2 ;;
    --build) build=$(cd "$2" && pwd); shift 2 ;;
    --) shift; break ;;
    *) echo "usage: $0 [--runs N] [--items N] [--build DIR] [-- app arguments]" >&2; exit 2 ;;
    esac
done
case "$runs$items" in *[!0-9]*) echo "--runs and --items take counts" >&2; exit 2 ;; esac
for tool in xvfb-run dbus-run-session gnome-keyring-daemon python3; do
    command -v "$tool" >/dev/null || { echo "$tool is missing" >&2; exit 1; }
done
server_bin="$build/server/velmora-server"
app_bin="$build/Velmora/velmora"
[ -x "$server_bin" ] && [ -x "$app_bin" ] || {
    echo "build velmora-server and velmora first (cmake --build build --target velmora-server velmora)" >&2
    exit 1
}

work=$(mktemp -d)
chmod 700 "$work"
server=
cleanup() {
    [ -n "$server" ] && kill "$server" 2>/dev/null && wait "$server" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

"$server_bin" --db "$work/demo.db" serve --demo --port 0 --token-file "$work/token" \
    --admin-file "$work/admin" >"$work/ports" &
server=$!
for _ in $(seq 100); do
    [ "$(wc -l <"$work/ports")" -ge 2 ] && break
    kill -0 "$server" 2>/dev/null || { echo "velmora-server did not start" >&2; exit 1; }
    sleep 0.1
done
port=$(sed -n 1p "$work/ports")
admin_port=$(sed -n 2p "$work/ports" | cut -d' ' -f2)

# The demo account's document, its tasks repeated up to N with fresh ids.
python3 - "$admin_port" "$work/admin" "$items" <<'EOF'
import json, sys, urllib.request
port, secret_file, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
secret = open(secret_file).read().strip()
url = f"http://127.0.0.1:{port}/admin/users/demo/document"
def call(method, body=None):
    request = urllib.request.Request(url, data=body, method=method,
                                     headers={"Authorization": "Bearer " + secret,
                                              "Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=30) as reply:
        return json.load(reply)
document = call("GET")["document"]
seed = document["items"]
# The copies leave the notes out: the admin listener takes 1 MiB (some 4,000 tasks) at most.
items = []
for i in range(count):
    item = dict(seed[i % len(seed)], id=f"bench-{i:06d}")
    if i >= len(seed):
        item.pop("note", None)
    items.append(item)
document["items"] = items
call("PUT", json.dumps(document, separators=(",", ":")).encode())
EOF

# One home for every run: the keyring files, the snapshot and the settings persist.
home="$work/home"
mkdir -p "$home"
cat >"$work/probe.py" <<'EOF'
# Inside a fresh X server and D-Bus session: unlock a keyring daemon, start the app, sample
# its CPU (every thread's schedstat, in ns) until it has been quiet for a while with its window
# mapped, read its PSS, then end it.
import os, signal, subprocess, sys, time
quiet_s, limit_s = 1.0, 60.0
# The unmeasured first run ends once the snapshot is on disk: its window may keep a caret
# blinking in the empty list's add row, which never lets the CPU go quiet.
until_file = os.environ.get("PROBE_UNTIL_FILE")
subprocess.run(["gnome-keyring-daemon", "--unlock", "--components=secrets", "--daemonize"],
               input=b"\n", stdout=subprocess.DEVNULL, check=True)

def cpu_ns(pid):
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/schedstat") as f:
                total += int(f.read().split()[0])
        except OSError:
            pass
    return total

def tree(pid):
    out = [pid]
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/children") as f:
                for child in f.read().split():
                    out += tree(int(child))
        except OSError:
            pass
    return out

def rollup_kib(pid, *names):
    total = 0
    with open(f"/proc/{pid}/smaps_rollup") as f:
        for line in f:
            if line.split(":")[0] in names:
                total += int(line.split()[1])
    return total

def mapped():
    listing = subprocess.run(["xwininfo", "-root", "-tree"], capture_output=True, text=True)
    return '"Velmora"' in listing.stdout

start = time.monotonic()
app = subprocess.Popen(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
last_cpu, last_busy, seen_window, settled, settled_cpu = 0, start, False, None, 0
while time.monotonic() - start < limit_s and app.poll() is None:
    time.sleep(0.005)
    now = time.monotonic()
    cpu = cpu_ns(app.pid)
    if cpu - last_cpu > 200_000:  # more than 0.2 ms of CPU since the last look
        last_busy = now
    last_cpu = cpu
    if not seen_window and now - last_busy > 0.2:
        seen_window = mapped()
    if seen_window and now - last_busy >= quiet_s:
        settled, settled_cpu = last_busy - start, cpu
        break
    if until_file and seen_window and os.path.exists(until_file) and now - start > 2.0:
        settled, settled_cpu = now - start, cpu
        break
# PSS shares a library's pages among every process mapping it, so it moves with whatever
# else runs on the machine; the pages the app wrote itself do not.
pids = tree(app.pid) if app.poll() is None else []
pss = sum(rollup_kib(pid, "Pss") for pid in pids)
written = sum(rollup_kib(pid, "Private_Dirty") for pid in pids)
app.send_signal(signal.SIGTERM)
try:
    app.wait(10)
except subprocess.TimeoutExpired:
    app.kill()
if settled is None:
    print("unsettled")
else:
    print(f"{settled * 1000:.0f} {pss / 1024:.1f} {settled_cpu / 1e6:.0f} {written / 1024:.1f}")
EOF

run_once() {
    HOME="$home" XDG_DATA_HOME="$home/.local/share" XDG_CONFIG_HOME="$home/.config" \
        XDG_CACHE_HOME="$home/.cache" \
        xvfb-run -a -s '-screen 0 1920x1080x24' dbus-run-session -- \
        python3 "$work/probe.py" "$app_bin" --server "http://127.0.0.1:$port/" \
        --token-file "$work/token" "$@" 2>/dev/null
}

echo "velmora: $items tasks, demo server on port $port, $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
first=$(PROBE_UNTIL_FILE="$home/.local/share/Velmora/server-override/offline-snapshot.json" \
    run_once "$@")
[ "$first" != unsettled ] || { echo "the first run did not settle" >&2; exit 1; }
echo "first run (stores the token, writes the snapshot): $first"
results=()
for i in $(seq "$runs"); do
    line=$(run_once "$@")
    read -r settled pss cpu written <<<"$line"
    echo "run $i: settled $settled ms, PSS $pss MiB, CPU $cpu ms, written $written MiB"
    [ "$line" != unsettled ] && results+=("$line")
done
[ ${#results[@]} -gt 0 ] || { echo "no run settled" >&2; exit 1; }
printf '%s\n' "${results[@]}" | python3 -c '
import statistics, sys
rows = [tuple(map(float, line.split())) for line in sys.stdin if line.strip()]
for index, (name, unit) in enumerate((("start -> settled", "ms"), ("PSS", "MiB"),
                                      ("CPU to settled", "ms"), ("written", "MiB"))):
    values = sorted(row[index] for row in rows)
    print(f"{name}: median {statistics.median(values):.1f} {unit}, "
          f"range {values[0]:.1f} - {values[-1]:.1f} {unit} ({len(values)} runs)")
'
