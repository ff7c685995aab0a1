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
(cd "$root/build" && ctest --output-on-failure --timeout 300 -j "$(nproc)")

# The packages come from the tree just tested; CI, on its fresh machine, installs and runs them.
echo "== packages"
(cd "$root/build" && cpack -G DEB -B "$root/build/packages" >/dev/null)
if [ -n "${CI:-}" ]; then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo dpkg -i "$root"/build/packages/velmora_*.deb "$root"/build/packages/velmora-server_*.deb
    QT_QPA_PLATFORM=offscreen velmora --version
    velmora-server --help >/dev/null
fi

echo "== build (asan+ubsan)"
BUILD_TYPE=Debug "$root/scripts/build.sh" "$root/build-asan" -DVELMORA_WERROR=$werror -DVELMORA_SANITIZE=ON
echo "== tests (asan+ubsan)"
(cd "$root/build-asan" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
    ctest --output-on-failure --timeout 600 -LE nosan -j "$(nproc)")
