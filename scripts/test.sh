#!/usr/bin/env bash
# Installs what is needed, builds and runs the whole test suite three times: a plain build with
# g++, an AddressSanitizer + UndefinedBehaviorSanitizer build and a ThreadSanitizer build, both
# with clang. Before them the pixel engine is built for aarch64 and tested under qemu-user; the
# plain run compares its pictures with the aarch64 build's. Everything must pass.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh
bash scripts/check-format.sh

jobs=$(nproc)
# Commands that build or run the test programs go through `runner` (test discovery runs them
# at build time too).
runner=()
run_suite() {
    local dir=$1; shift
    local start=$SECONDS
    echo "== configuring $dir"
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZAV_BUILD_BENCH=OFF "$@" >"$dir.configure.log" 2>&1 \
        || { cat "$dir.configure.log"; return 1; }
    echo "== building $dir"
    "${runner[@]}" cmake --build "$dir" -j "$jobs"
    echo "== testing $dir"
    "${runner[@]}" ctest --test-dir "$dir" --output-on-failure -j "$jobs" -LE stress
    # The stress and fault runs last, on their own, so that their time shows per configuration.
    local stress_start=$SECONDS
    "${runner[@]}" ctest --test-dir "$dir" --output-on-failure -j "$jobs" -L stress
    echo "== $dir stress runs took $((SECONDS - stress_start)) s"
    echo "== $dir passed in $((SECONDS - start)) s"
}

mkdir -p build
start=$SECONDS
bash scripts/test-arm64.sh build/arm64
echo "== build/arm64 passed in $((SECONDS - start)) s"
run_suite build/plain -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DZAV_PIXEL_HASHES_AARCH64="$root/build/arm64/pixel_hashes.txt"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite build/sanitize -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DZAV_SANITIZE=ON

# clang 14's ThreadSanitizer cannot place its shadow memory when the kernel randomises mmap
# addresses with more than 28 bits (newer kernels may use 32); without that randomisation it can.
if [[ $(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0) -gt 28 ]]; then
    runner=(setarch "$(uname -m)" --addr-no-randomize)
fi
# Any report fails the test that shows it; nothing of ours is suppressed (the file names the
# system libraries it covers and why).
TSAN_OPTIONS=halt_on_error=1:exitcode=66:second_deadlock_stack=1:suppressions=$root/tests/tsan_system_libraries.supp \
    run_suite build/tsan -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DZAV_SANITIZE_THREAD=ON
runner=()

# The fuzzers, 30 s each from their seed corpora (scripts/fuzz.sh runs them longer).
bash scripts/fuzz.sh --seconds 30
echo "== every configuration passed in $((SECONDS / 60)) min $((SECONDS % 60)) s"
