#!/usr/bin/env python3
"""Prints a scenario step's latency beside a plain Control.Set's from the same run.

Reads Google Benchmark's JSON output of scenario_bench. Usage: scenario_report.py RESULTS.json
"""
import json
import sys


def main(path):
    with open(path) as f:
        run = {b["name"].split("/iterations")[0]: b for b in json.load(f)["benchmarks"]}["Scenario/step_to_handler"]
    print("Scenario steps (tvsimd on a private dbus-daemon) to a ValueHandler, 1,000 steps,")
    print("each followed by a plain Control.Set of the same path to the same handler")
    print(f"  {'figure':<48} {'p50 us':>8} {'p99 us':>8}")
    for prefix, label in (("", "step, from its due time (start = Play sent)"),
                          ("reply_", "step, from its due time (start = Play answered)"),
                          ("set_", "plain Control.Set, from its sending")):
        print(f"  {label:<48} {run[prefix + 'p50_us']:8.1f} {run[prefix + 'p99_us']:8.1f}")
    print(f"  the Play call's round trip: p50 {run['play_p50_us']:.1f} us; "
          f"step p50 at {run['p50_us'] / run['set_p50_us']:.2f}x the plain Set's")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
