#!/usr/bin/env bash
# DNS-SD for real, kept off every real network. Two network namespaces joined only by a veth pair,
# each with a private D-Bus and an avahi-daemon bound to its end of the pair: zav-send publishes its
# source in namespace A, and a receiver in namespace B finds it by name through DNS-SD, resolves it
# (libnss-mdns, through that namespace's daemon) and receives a frame. No avahi-daemon may run in
# the machine's own network namespace, before or after; none is ever started there.
# Usage: dnssd_netns_test.sh ZAV_SEND DNSSD_PROBE. Exit 77 (skipped) where namespaces cannot be made.
set -euo pipefail
send=$1
probe=$2

skip() {
    echo "SKIPPED: $*"
    exit 77
}
fail() {
    echo "FAILED: $*"
    exit 1
}

[[ $(id -u) -eq 0 ]] || skip "making network namespaces needs root"
for program in ip avahi-daemon dbus-daemon; do
    command -v "$program" >/dev/null || skip "$program is not installed (scripts/install-deps.sh installs it)"
done
compgen -G "/lib/*/libnss_mdns4_minimal.so.2" >/dev/null || compgen -G "/usr/lib/*/libnss_mdns4_minimal.so.2" >/dev/null \
    || skip "libnss-mdns is not installed (scripts/install-deps.sh installs it)"

own_netns=$(readlink /proc/self/ns/net)
daemons_in_own_namespace() {
    local pid
    for pid in $(pgrep -x avahi-daemon || true); do
        [[ $(readlink "/proc/$pid/ns/net" 2>/dev/null) == "$own_netns" ]] && echo "$pid"
    done
    return 0
}
[[ -z $(daemons_in_own_namespace) ]] || fail "an avahi-daemon already runs in the machine's own network namespace"

id=$$
ns_a=zavdnssdA$id
ns_b=zavdnssdB$id
veth_a=zva$id
veth_b=zvb$id
work=$(mktemp -d)
cleanup() {
    local ns
    for ns in "$ns_a" "$ns_b"; do
        if ip netns list | grep -qw "$ns"; then
            ip netns pids "$ns" | xargs -r kill -TERM 2>/dev/null || true
            sleep 0.3
            ip netns pids "$ns" | xargs -r kill -KILL 2>/dev/null || true
            ip netns del "$ns" || true
        fi
        rm -rf "/etc/netns/$ns"
    done
    rm -rf "$work"
}
trap cleanup EXIT

ip netns add "$ns_a" 2>/dev/null || skip "cannot make network namespaces here"
ip netns add "$ns_b"
ip link add "$veth_a" type veth peer name "$veth_b"
ip link set "$veth_a" netns "$ns_a"
ip link set "$veth_b" netns "$ns_b"
ip -n "$ns_a" addr add 10.231.77.1/24 dev "$veth_a"
ip -n "$ns_b" addr add 10.231.77.2/24 dev "$veth_b"
for ns in "$ns_a" "$ns_b"; do ip -n "$ns" link set lo up; done
ip -n "$ns_a" link set "$veth_a" up
ip -n "$ns_b" link set "$veth_b" up

# Per namespace: a D-Bus that only this test uses, and an avahi-daemon on the veth end only.
mkdir -p /run/avahi-daemon
for side in a b; do
    dir=$work/$side
    mkdir -p "$dir/config"
    veth=zv$side$id
    cat >"$dir/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=$dir/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
    cat >"$dir/avahi.conf" <<CONF
[server]
host-name=zav-dnssd-$side
use-ipv4=yes
use-ipv6=no
allow-interfaces=$veth
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-workstation=no
publish-hinfo=no
publish-addresses=yes
CONF
    # ip netns exec mounts /etc/netns/NS/* over /etc: .local names resolve through mDNS there.
    mkdir -p "/etc/netns/zavdnssd${side^^}$id"
    echo "hosts: files mdns4_minimal [NOTFOUND=return] dns" >"/etc/netns/zavdnssd${side^^}$id/nsswitch.conf"
done

# Runs a command in a namespace beside its own D-Bus and avahi-daemon, which end with it. The
# daemon's run folder is a tmpfs private to that mount namespace.
in_namespace() {
    local ns=$1 side=$2
    shift 2
    ip netns exec "$ns" env DBUS_SYSTEM_BUS_ADDRESS="unix:path=$work/$side/bus" XDG_CONFIG_HOME="$work/$side/config" \
        ZAV_SOURCES=/nonexistent/zav-sources bash -c '
        set -e
        mount -t tmpfs zav-avahi-run /run/avahi-daemon
        dbus-daemon --config-file="$0/bus.conf" --nofork --nopidfile & bus=$!
        for _ in $(seq 100); do [[ -S $0/bus ]] && break; sleep 0.05; done
        avahi-daemon -f "$0/avahi.conf" --no-drop-root --no-chroot --no-rlimits 2>"$0/avahi.log" & daemon=$!
        trap "kill $daemon $bus 2>/dev/null; wait; cat $0/avahi.log >&2" EXIT
        # The daemon probes its host name on the link before it serves: about a second.
        for _ in $(seq 200); do grep -q "Server startup complete" "$0/avahi.log" && break; sleep 0.05; done
        "${@:1}"' "$work/$side" "$@"
}

host=$(hostname | tr '[:lower:]' '[:upper:]')
name="$host (DNS-SD Test)"
in_namespace "$ns_a" a "$send" --name "DNS-SD Test" --size 64x16 --rate 30 --seconds 60 >"$work/send.log" 2>&1 &
sender=$!

status=0
in_namespace "$ns_b" b "$probe" "$name" ${ZAV_DNSSD_PROBE_SECONDS:-40} >"$work/probe.log" 2>&1 || status=$?
cat "$work/probe.log"
grep -q "DNS-SD published" "$work/send.log" || status=1
if [[ $status -ne 0 ]]; then
    echo "-- zav-send and namespace A:"
    cat "$work/send.log"
fi
kill -TERM "$sender" 2>/dev/null || true
wait "$sender" 2>/dev/null || true

cleanup
trap - EXIT
[[ -z $(daemons_in_own_namespace) ]] || fail "an avahi-daemon runs in the machine's own network namespace after the test"
[[ $status -eq 0 ]] || fail "the receiver in namespace B did not get the source published in namespace A"
echo "PASSED: found, resolved and received \"$name\" across the namespaces"
