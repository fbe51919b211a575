#!/usr/bin/env bash
# Builds the pixel engine, its tests and the hashing program for aarch64 (Debian's cross g++,
# SIMDe for the vector code, GoogleTest from Debian's sources) and runs them under qemu-user.
# Leaves the aarch64 program's hashes in <build dir>/pixel_hashes.txt, which the plain x86_64
# run compares with its own. Usage: scripts/test-arm64.sh [build dir, default build/arm64]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
dir=${1:-build/arm64}
sysroot=/usr/aarch64-linux-gnu
jobs=$(nproc)

mkdir -p "$(dirname "$dir")"
rm -f "$dir/pixel_hashes.txt"
echo "== configuring $dir"
cmake -S tests/pixel_identity/cross -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    --toolchain "$root/cmake/aarch64-linux-gnu.cmake" >"$dir.configure.log" 2>&1 \
    || { cat "$dir.configure.log"; exit 1; }
echo "== building $dir"
cmake --build "$dir" -j "$jobs"
echo "== testing $dir (under qemu-user)"
ctest --test-dir "$dir" --output-on-failure -j "$jobs" --timeout 600
qemu-aarch64 -L "$sysroot" "$dir/bin/pixel_hashes" >"$dir/pixel_hashes.txt.part"
mv "$dir/pixel_hashes.txt.part" "$dir/pixel_hashes.txt"
echo "== $dir: $(wc -l <"$dir/pixel_hashes.txt") aarch64 hashes in $dir/pixel_hashes.txt"
