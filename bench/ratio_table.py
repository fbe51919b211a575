#!/usr/bin/env python3
"""Prints, for each benchmarked operation, our median time beside the fastest peer's and the
memcpy floor's.

Benchmarks are named "<operation>/<implementation>": "ours" is this project, "memcpy_floor" the
floor of the same bytes, anything else a peer. Reads Google Benchmark's JSON output; with
repetitions it uses the median aggregate, otherwise the single run.
"""
import json
import sys


def medians(report):
    times = {}
    single = {}
    for b in report.get("benchmarks", []):
        name = b.get("run_name", b["name"])
        if "/" not in name:
            continue
        t = b["real_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b.get("time_unit", "ns")]
        if b.get("run_type") == "aggregate":
            if b.get("aggregate_name") == "median":
                times[name] = t
        else:
            single.setdefault(name, t)
    for name, t in single.items():
        times.setdefault(name, t)
    return times


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: ratio_table.py BENCHMARK_JSON")
    with open(sys.argv[1]) as f:
        times = medians(json.load(f))

    operations = {}
    for name, t in times.items():
        operation, implementation = name.split("/", 1)
        operations.setdefault(operation, {})[implementation] = t

    header = f"{'operation':<34} {'ours ms':>9} {'fastest peer':<34} {'peer ms':>9} {'ours/peer':>10} {'ours/floor':>11}"
    print(header)
    print("-" * len(header))
    for operation in sorted(operations):
        impls = operations[operation]
        ours = impls.get("ours")
        if ours is None:
            continue
        peers = {k: v for k, v in impls.items() if k not in ("ours", "memcpy_floor")}
        floor = impls.get("memcpy_floor")
        peer_name, peer = min(peers.items(), key=lambda kv: kv[1]) if peers else ("-", None)
        ratio_peer = f"{ours / peer:10.2f}" if peer else f"{'-':>10}"
        ratio_floor = f"{ours / floor:11.2f}" if floor else f"{'-':>11}"
        peer_ms = f"{peer * 1e3:9.3f}" if peer else f"{'-':>9}"
        print(f"{operation:<34} {ours * 1e3:9.3f} {peer_name:<34} {peer_ms} {ratio_peer} {ratio_floor}")


if __name__ == "__main__":
    main()
