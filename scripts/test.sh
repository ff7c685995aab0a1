#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test twice: in the normal build and
# under AddressSanitizer + UndefinedBehaviorSanitizer. Exits non-zero if anything fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"

werror=OFF
[ -n "${CI:-}" ] && werror=ON

echo "== build"
"$root/scripts/build.sh" "$root/build" -DVELMORA_WERROR=$werror
echo "== tests"
(cd "$root/build" && ctest --output-on-failure --timeout 300)

echo "== build (asan+ubsan)"
BUILD_TYPE=Debug "$root/scripts/build.sh" "$root/build-asan" -DVELMORA_WERROR=$werror -DVELMORA_SANITIZE=ON
echo "== tests (asan+ubsan)"
(cd "$root/build-asan" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
    ctest --output-on-failure --timeout 600 -LE nosan)
