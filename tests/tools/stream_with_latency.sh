#!/bin/sh
# zav-camera streaming from the real plug-in bundle, fed by zav-send's test pattern over loopback
# (1920x1080 scaled to the camera's 1280x720), as the demo runs them: the summary must count
# frames and carry the latency read from the pictures' send-time stamps.
# Usage: stream_with_latency.sh ZAV_SEND ZAV_CAMERA PLUGINS_DIR WORK_DIR
send=$1; camera=$2; plugins=$3; work=$4
rm -rf "$work" && mkdir -p "$work" || exit 1
# zav-send writes its sources line here and the receive library reads it from here.
export XDG_CONFIG_HOME="$work/config"
unset ZAV_SOURCES
"$send" --name "ZAV Virtual Input" --size 1920x1080 --rate 30 --format uyvy --no-dnssd --seconds 30 \
    >"$work/send.log" 2>&1 &
sender=$!
trap 'kill -TERM $sender 2>/dev/null; wait $sender' EXIT
tries=0
until grep -q "serving" "$work/send.log"; do
    tries=$((tries + 1))
    [ $tries -le 100 ] || { echo "zav-send did not start:"; cat "$work/send.log"; exit 1; }
    sleep 0.1
done
CMIO_DAL_PLUGIN_PATH=$plugins "$camera" stream --seconds 3 >"$work/stream.log" 2>&1
code=$?
cat "$work/stream.log"
[ $code -eq 0 ] || { echo "zav-camera exit code $code"; exit 1; }
summary=$(grep "^summary:" "$work/stream.log")
echo "$summary" | grep -Eq "frames [1-9][0-9]* " || { echo "no frames in the summary"; exit 1; }
echo "$summary" | grep -Eq "latency p50 [0-9]+\.[0-9] p99 [0-9]+\.[0-9] max [0-9]+\.[0-9] ms" ||
    { echo "no latency in the summary"; exit 1; }
