#!/usr/bin/env bash
# The whole chain on one machine: a network source (zav-send, moving test pattern) under the name
# the plug-in looks for, the plug-in loaded by the DAL system from a folder of the build tree, and
# zav-camera as the application that streams from "ZAV Video". Installs what it needs, builds,
# streams for about ten seconds with live status, writes a PNG snapshot and a short Y4M clip, then
# stops the source and prints where the files are and a summary.
#
# Discovery goes through a sources file in the build tree (XDG_CONFIG_HOME points there, so the
# user's own files are left alone); no mDNS daemon is started and nothing is published.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh

build=build/demo
mkdir -p build
echo "== building ($build)"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZAV_BUILD_TESTS=OFF -DZAV_BUILD_BENCH=OFF \
    >"$build.configure.log" 2>&1 || { cat "$build.configure.log"; exit 1; }
cmake --build "$build" -j "$(nproc)"

bin=$root/$build/bin
for tool in zav-send zav-camera; do
    [[ -x $bin/$tool ]] || { echo "demo: $bin/$tool was not built" >&2; exit 1; }
done
# The bundle the build lays out (not the copy an earlier run made in demo-plugins/).
bundle=$root/$build/plugins/ZAVVirtualCamera.plugin
[[ -d $bundle ]] || { echo "demo: the plug-in bundle was not built" >&2; exit 1; }

# The DAL system looks in the folders of CMIO_DAL_PLUGIN_PATH: a folder that holds only our bundle.
plugins=$root/$build/demo-plugins
out=$root/$build/demo-out
rm -rf "$plugins" "$out"
mkdir -p "$plugins" "$out"
cp -R "$bundle" "$plugins/"
export CMIO_DAL_PLUGIN_PATH=$plugins
export XDG_CONFIG_HOME=$root/$build/demo-config
unset ZAV_SOURCES

# The plug-in receives the source named after this machine: upper-cased host name + " (ZAV Virtual Input)".
echo "== starting the source"
# 1920x1080, so that the camera's pictures (1280x720 unless asked otherwise) are scaled on the way.
"$bin/zav-send" --name "ZAV Virtual Input" --size 1920x1080 --rate 30 --format uyvy --no-dnssd \
    >"$out/zav-send.log" 2>&1 &
sender=$!
stop_sender() {
    if kill -0 "$sender" 2>/dev/null; then
        kill -TERM "$sender"
        wait "$sender" || true
    fi
}
trap stop_sender EXIT
for _ in $(seq 100); do
    grep -q "serving" "$out/zav-send.log" 2>/dev/null && break
    sleep 0.1
done
head -n 2 "$out/zav-send.log"

echo "== streaming from \"ZAV Video\" for ten seconds"
"$bin/zav-camera" stream --seconds 10 2>&1 | tee "$out/stream.log"
echo "== a short Y4M clip and a snapshot"
"$bin/zav-camera" stream --seconds 2 --size 640x360 --y4m "$out/clip.y4m" >"$out/clip.log" 2>&1
"$bin/zav-camera" snapshot "$out/snapshot.png" >"$out/snapshot.log" 2>&1

stop_sender
trap - EXIT
echo
echo "== summary"
tail -n 3 "$out/stream.log"
echo "source: $(tail -n 2 "$out/zav-send.log" | head -n 1)"
echo "files:"
echo "  snapshot  $out/snapshot.png"
echo "  clip      $out/clip.y4m"
echo "  logs      $out/"
