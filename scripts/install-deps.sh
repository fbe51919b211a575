#!/usr/bin/env bash
# Installs, with apt-get, everything the build, the tests and the benchmarks need on Debian 12.
# Idempotent: packages already present are left alone and no package list is fetched then.
set -euo pipefail

packages=(
    cmake ninja-build pkg-config g++ clang-14 clang-format-14 lld-14 llvm-14 libclang-rt-14-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libyuv-dev libplist-dev libsimde-dev
    libswscale-dev libavutil-dev
    libavahi-compat-libdnssd-dev libpng-dev
    python3
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=()
[[ $(id -u) -eq 0 ]] || sudo=(sudo)
echo "install-deps: installing ${missing[*]}"
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
