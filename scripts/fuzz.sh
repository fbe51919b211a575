#!/usr/bin/env bash
# Builds the libFuzzer fuzzers (clang-14, AddressSanitizer + UndefinedBehaviorSanitizer) in
# build/fuzz and runs each for a bounded time, starting from its committed seed corpus; what a
# run learns is kept in build/fuzz-run/<fuzzer> (never committed). Ends with one line per fuzzer:
# its executions and executions per second. Fails when a fuzzer finds a fault (the reproducer is
# written to build/fuzz-run/).
#
#   scripts/fuzz.sh [--seconds N] [FUZZER...]     default: 300 s each, every fuzzer
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

seconds=300
if [[ ${1:-} == --seconds ]]; then
    seconds=$2
    shift 2
fi

build=build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
    -DCMAKE_CXX_COMPILER=clang++-14 -DZAV_FUZZ=ON -DZAV_BUILD_TESTS=OFF -DZAV_BUILD_BENCH=OFF >"$build.configure.log" 2>&1 \
    || { cat "$build.configure.log"; exit 1; }
cmake --build "$build" -j "$(nproc)" --target fuzzers

fuzzers=("$@")
if [[ ${#fuzzers[@]} -eq 0 ]]; then
    for dir in fuzz/*/; do
        [[ -d $dir/corpus ]] && fuzzers+=("$(basename "$dir")")
    done
fi

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
summary=()
status=0
for name in "${fuzzers[@]}"; do
    work=build/fuzz-run/$name
    mkdir -p "$work"
    echo "== fuzz_$name for ${seconds}s"
    if "$build/bin/fuzz_$name" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="build/fuzz-run/$name-" \
        "$work" "fuzz/$name/corpus" >"$work.log" 2>&1; then
        result=ok
    else
        result=FAILED
        status=1
        tail -n 60 "$work.log"
    fi
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work.log" | tail -n 1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$work.log" | tail -n 1)
    summary+=("fuzz_$name: $result, ${runs:-?} executions, ${rate:-?} exec/s")
done
printf '%s\n' "${summary[@]}"
exit $status
