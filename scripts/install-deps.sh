#!/usr/bin/env bash
# Installs, with apt-get, everything the build, the tests and the benchmarks need on Debian 12.
# Idempotent: packages already present are left alone and no package list is fetched then.
set -euo pipefail

packages=(
    cmake ninja-build pkg-config g++ clang-14 clang-format-14 lld-14 llvm-14 libclang-rt-14-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libyuv-dev libplist-dev libsimde-dev
    libswscale-dev libavutil-dev
    libavahi-compat-libdnssd-dev
    gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    avahi-daemon libnss-mdns dbus iproute2
    libpng-dev
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
# No service may start during the installation: avahi-daemon is only ever run by the DNS-SD test,
# inside network namespaces of its own. A policy-rc.d that refuses every start is in place while
# apt-get runs (unless the machine already has one), and there is no systemd here to start it.
policy=/usr/sbin/policy-rc.d
if [[ ! -e $policy ]]; then
    printf '#!/bin/sh\n# Set by ZAV Video install-deps.sh while it installs packages: no service starts.\nexit 101\n' \
        | "${sudo[@]}" tee "$policy" >/dev/null
    "${sudo[@]}" chmod 755 "$policy"
    trap '"${sudo[@]}" rm -f "$policy"' EXIT
fi
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
