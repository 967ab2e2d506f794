#!/usr/bin/env python3
"""Prints the remote platform's figures beside their baselines from the same run.

Reads Google Benchmark's JSON output of remote_bench. Usage: remote_report.py RESULTS.json
"""
import json
import sys


def main(path):
    with open(path) as f:
        runs = {b["name"].split("/iterations")[0]: b for b in json.load(f)["benchmarks"]}

    def get(name, counter):
        return runs[name][counter] if name in runs and counter in runs[name] else float("nan")

    ok = True
    print("Remote platform (tvsimd on a private dbus-daemon)")
    p50, bare = get("Remote/get_int", "p50_us"), get("Remote/get_int", "bare_p50_us")
    met = p50 <= 1.2 * bare
    ok &= met
    print(f"  getValue int p50 {p50:.1f} us  vs bare sd-bus call {bare:.1f} us (interleaved)  "
          f"ratio {p50 / bare:.2f}  bar 1.2  {'met' if met else 'MISSED'}")
    print(f"    p99 {get('Remote/get_int', 'p99_us'):.1f} us vs {get('Remote/get_int', 'bare_p99_us'):.1f} us")
    for name, label in (("Remote/notify_20k/0", "remote observer"), ("Remote/bare_notify_20k/1", "bare sd-bus")):
        rate, lost, disorder = get(name, "changes_per_s"), get(name, "lost"), get(name, "out_of_order")
        met = rate >= 19900 and lost == 0 and disorder == 0
        ok &= met or label != "remote observer"
        print(f"  notifications to a {label}: {rate:.0f}/s for 5 s, lost {lost:.0f}, out of order {disorder:.0f}, "
              f"latency p50 {get(name, 'p50_us') / 1000:.2f} ms p99 {get(name, 'p99_us') / 1000:.2f} ms"
              + (f"  {'met' if met else 'MISSED'}" if label == "remote observer" else ""))
    for processes in (4, 1):
        name = f"Remote/source_switch_x1000/{processes}"
        unanswered = get(name, "unanswered")
        ok &= unanswered == 0
        print(f"  source switch, {processes} process(es) x 1000: {get(name, 'requests_per_s'):.0f} requests/s, "
              f"unanswered {unanswered:.0f}")
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
