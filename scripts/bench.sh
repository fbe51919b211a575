#!/usr/bin/env bash
# Builds the pixel benchmarks in Release, runs them (five repetitions, medians) and prints for
# each operation our time beside the fastest peer and the memcpy floor.
# Extra arguments go to the benchmark program (for example --benchmark_filter=bgra).
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh

dir=build/bench
mkdir -p build
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZAV_BUILD_TESTS=OFF >"$dir.configure.log" 2>&1 \
    || { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir" -j "$(nproc)" --target pixel_bench

json="$dir/pixel_bench.json"
"$dir/bin/pixel_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    --benchmark_out="$json" --benchmark_out_format=json "$@"
echo
python3 bench/ratio_table.py "$json"
echo
echo "(the same from CPU time: python3 bench/ratio_table.py --cpu $json)"
