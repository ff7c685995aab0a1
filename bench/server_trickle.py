#!/usr/bin/env python3
"""velmora-server under slow clients: how long a normal request waits while many
connections trickle their headers in, one byte at a time.

    bench/server_trickle.py [--server build/server/velmora-server] [--trickle 100]
                            [--requests 300] [--seconds 20]

Starts its own server on a free loopback port with a private database, opens `--trickle`
connections that each send a request head one byte every 0.2 s (and open again when the
server closes them), then times `--requests` normal requests (`GET /api/store/version`
with a token, a new connection each) one after the other. Prints p50, p99 and the
slowest, in ms, and OVER TARGET when p99 is 100 ms or more. Everything goes to 127.0.0.1,
and the run stops by itself after `--seconds` at most.
"""

import argparse
import os
import socket
import subprocess
import sys
import tempfile
import threading
import time

TARGET_P99_MS = 100.0
HEAD = b"GET /api/store/version HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: " + b"a" * 4000


def trickler(port, stop):
    while not stop.is_set():
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=2) as s:
                for byte in HEAD:
                    if stop.wait(0.2):
                        return
                    s.sendall(bytes([byte]))
        except OSError:
            stop.wait(0.1)


def timed_request(port, token):
    start = time.perf_counter()
    with socket.create_connection(("127.0.0.1", port), timeout=5) as s:
        s.sendall(b"GET /api/store/version HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                  b"Authorization: Bearer " + token + b"\r\nConnection: close\r\n\r\n")
        reply = b""
        while True:
            chunk = s.recv(4096)
            if not chunk:
                break
            reply += chunk
    if not reply.startswith(b"HTTP/1.1 200"):
        raise RuntimeError("unexpected reply: %r" % reply[:80])
    return (time.perf_counter() - start) * 1000.0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--server", default="build/server/velmora-server")
    parser.add_argument("--trickle", type=int, default=100)
    parser.add_argument("--requests", type=int, default=300)
    parser.add_argument("--seconds", type=float, default=20.0)
    args = parser.parse_args()
    args.trickle = max(0, min(args.trickle, 1000))
    args.requests = max(1, min(args.requests, 10000))

    with tempfile.TemporaryDirectory() as folder:
        db = os.path.join(folder, "bench.db")
        token = subprocess.run([args.server, "--db", db, "user", "add", "bench"], check=True,
                               capture_output=True, timeout=10).stdout.strip()
        server = subprocess.Popen([args.server, "--db", db, "serve", "--port", "0"],
                                  stdout=subprocess.PIPE)
        stop = threading.Event()
        threads = []
        try:
            port = int(server.stdout.readline())
            threads = [threading.Thread(target=trickler, args=(port, stop), daemon=True)
                       for _ in range(args.trickle)]
            for thread in threads:
                thread.start()
            time.sleep(1.0)  # let every slow connection reach the server
            deadline = time.monotonic() + args.seconds
            times, failures = [], 0
            for _ in range(args.requests):
                if time.monotonic() > deadline:
                    break
                try:
                    times.append(timed_request(port, token))
                except (OSError, RuntimeError):
                    failures += 1
        finally:
            stop.set()
            for thread in threads:
                thread.join(timeout=2)
            server.terminate()
            server.wait(timeout=10)

    if not times:
        print("no request was answered (%d failed)" % failures)
        return 1
    times.sort()
    p50 = times[len(times) // 2]
    p99 = times[min(len(times) - 1, int(len(times) * 0.99))]
    print("%d trickling connections, %d requests answered, %d failed" %
          (args.trickle, len(times), failures))
    print("p50 %.1f ms, p99 %.1f ms%s, slowest %.1f ms" %
          (p50, p99, "  OVER TARGET (%.0f ms)" % TARGET_P99_MS if p99 >= TARGET_P99_MS
           else "", times[-1]))
    return 0


if __name__ == "__main__":
    sys.exit(main())
