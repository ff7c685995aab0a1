#!/usr/bin/env bash
# Runs one libFuzzer target. Usage: fuzz.sh TARGET SECONDS [libFuzzer flags...]
# Targets: wire_document proposal snapshot pending_op server_store server_smart_insert
# server_document server_proposal server_faults (tests/fuzz/FuzzEntries.cpp).
# libFuzzer needs clang (clang-14 and libclang-rt-14-dev on Debian), so the target is
# built in its own tree, build-fuzz, with ASan + UBSan and assertions on; the main build
# stays g++. The run starts from the checked-in corpus (tests/fuzz/corpus/TARGET) and keeps
# what it finds in build-fuzz/corpus/TARGET; a crash leaves its input in
# build-fuzz/crashes/ and fails the script. To keep a new input for the replay that every
# test run does, copy it into tests/fuzz/corpus/TARGET.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
target=${1:?usage: fuzz.sh TARGET SECONDS [libFuzzer flags...]}
seconds=${2:?usage: fuzz.sh TARGET SECONDS [libFuzzer flags...]}
shift 2
[ -d "$root/tests/fuzz/corpus/$target" ] || { echo "fuzz.sh: no target \"$target\"" >&2; exit 2; }
clang=$(command -v clang++-14 || command -v clang++ || true)
[ -n "$clang" ] || { echo "fuzz.sh: libFuzzer needs clang++ (apt-get install clang-14)" >&2; exit 2; }

dir="$root/build-fuzz"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_CXX_COMPILER="$clang" "${launcher[@]}" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g" \
    -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link -fsanitize-ignorelist=$root/tests/fuzz/ubsan-ignore.txt" -DVELMORA_SANITIZE=ON -DVELMORA_FUZZ=ON \
    -DVELMORA_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" --target velmora-fuzz

mkdir -p "$dir/corpus/$target" "$dir/crashes"
VELMORA_FUZZ_TARGET=$target QT_QPA_PLATFORM=offscreen \
    ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions="$root/tests/lsan.supp" \
    UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
    "$dir/tests/fuzz/velmora-fuzz" -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$dir/crashes/$target-" "$@" \
    "$dir/corpus/$target" "$root/tests/fuzz/corpus/$target"
