#!/usr/bin/env bash
# Installs what is needed, builds and runs the whole test suite twice: a plain build with g++
# and an AddressSanitizer + UndefinedBehaviorSanitizer build with clang. Both must pass.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh
bash scripts/check-format.sh

jobs=$(nproc)
run_suite() {
    local dir=$1; shift
    echo "== configuring $dir"
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZAV_BUILD_BENCH=OFF "$@" >"$dir.configure.log" 2>&1 \
        || { cat "$dir.configure.log"; return 1; }
    echo "== building $dir"
    cmake --build "$dir" -j "$jobs"
    echo "== testing $dir"
    ctest --test-dir "$dir" --output-on-failure -j "$jobs"
}

mkdir -p build
run_suite build/plain -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite build/sanitize -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DZAV_SANITIZE=ON

# The fuzzers, 30 s each from their seed corpora (scripts/fuzz.sh runs them longer).
bash scripts/fuzz.sh --seconds 30
