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
    print("Remote platform (tvsimd on a private dbus-daemon), through the library's accessors,")
    print("each beside bare sd-bus calls from the same run, interleaved call by call")
    print(f"  {'figure':<24} {'p50 us':>8} {'p90 us':>8} {'bare p50':>9} {'bare p90':>9} {'ratio':>6}  bar 1.2")
    for name, label in (("accessor_get_int", "getValue int"), ("accessor_set_int", "setValue int"),
                        ("accessor_get_string", "getValue string"), ("accessor_set_string", "setValue string"),
                        ("accessor_notify_int", "Set -> ValueHandler int")):
        run = "Remote/" + name
        p50, bare = get(run, "p50_us"), get(run, "bare_p50_us")
        met = p50 <= 1.2 * bare
        ok &= met
        print(f"  {label:<24} {p50:8.1f} {get(run, 'p90_us'):8.1f} {bare:9.1f} {get(run, 'bare_p90_us'):9.1f} "
              f"{p50 / bare:5.2f}x  {'met' if met else 'MISSED'}")
    run = "Remote/accessor_notify_int"
    handoff = get(run, "handoff_p50_us")
    print(f"    the same Set to a bare receiver that hands each value to a second thread, as the platform must: "
          f"p50 {handoff:.1f} us, p90 {get(run, 'handoff_p90_us'):.1f} us; the ValueHandler is at "
          f"{get(run, 'p50_us') / handoff:.2f}x that")
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
