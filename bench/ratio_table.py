#!/usr/bin/env python3
"""Prints, for each benchmarked operation, our median time beside the fastest peer's and the
memcpy floor's.

Benchmarks are named "<operation>/<implementation>": "ours" is this project, "memcpy_floor" the
floor of the same bytes, a name ending in "_bound" a lower bound of the work itself (printed on
its own, beside the fastest peer), anything else a peer. Reads Google Benchmark's JSON output; with
repetitions it uses the median aggregate, otherwise the single run. Wall-clock time by default;
--cpu uses the process's CPU time instead, which a busy shared machine disturbs less.
"""
import argparse
import json


def medians(report, field):
    times = {}
    single = {}
    for b in report.get("benchmarks", []):
        name = b.get("run_name", b["name"])
        if "/" not in name:
            continue
        t = b[field] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b.get("time_unit", "ns")]
        if b.get("run_type") == "aggregate":
            if b.get("aggregate_name") == "median":
                times[name] = t
        else:
            single.setdefault(name, t)
    for name, t in single.items():
        times.setdefault(name, t)
    return times


def is_reference(name):
    """Our own time, the floor and lower bounds: everything that is not a peer."""
    return name in ("ours", "memcpy_floor") or name.endswith("_bound")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("json", help="Google Benchmark JSON output")
    parser.add_argument("--cpu", action="store_true", help="use CPU time rather than wall-clock time")
    args = parser.parse_args()
    with open(args.json) as f:
        times = medians(json.load(f), "cpu_time" if args.cpu else "real_time")

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
        peers = {k: v for k, v in impls.items() if not is_reference(k)}
        floor = impls.get("memcpy_floor")
        peer_name, peer = min(peers.items(), key=lambda kv: kv[1]) if peers else ("-", None)
        ratio_peer = f"{ours / peer:10.2f}" if peer else f"{'-':>10}"
        ratio_floor = f"{ours / floor:11.2f}" if floor else f"{'-':>11}"
        peer_ms = f"{peer * 1e3:9.3f}" if peer else f"{'-':>9}"
        print(f"{operation:<34} {ours * 1e3:9.3f} {peer_name:<34} {peer_ms} {ratio_peer} {ratio_floor}")

    print()
    print("ours / each peer")
    for operation in sorted(operations):
        impls = operations[operation]
        ours = impls.get("ours")
        if ours is None:
            continue
        for name, t in sorted(impls.items()):
            if is_reference(name):
                continue
            print(f"  {operation:<34} {name:<34} {t * 1e3:9.3f} ms   ours/peer {ours / t:7.2f}")

    bounds = [(op, name, t) for op, impls in sorted(operations.items()) for name, t in sorted(impls.items())
              if name.endswith("_bound") and "ours" in impls]
    if bounds:
        print()
        print("lower bounds (the work every implementation with our bytes must do, timed without ordering constraints)")
        for operation, name, t in bounds:
            impls = operations[operation]
            peers = [v for k, v in impls.items() if not is_reference(k)]
            versus_peer = f"   bound/fastest peer {t / min(peers):7.2f}" if peers else ""
            print(f"  {operation:<34} {name:<34} {t * 1e3:9.3f} ms   ours/bound {impls['ours'] / t:7.2f}{versus_peer}")


if __name__ == "__main__":
    main()
