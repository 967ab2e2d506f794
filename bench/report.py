#!/usr/bin/env python3
"""Prints the benchmark table: each figure beside its baseline from the same run.

Reads Google Benchmark's JSON output. With repetitions it uses the medians;
without, the single runs. Usage: report.py RESULTS.json
"""
import json
import sys

# Figure, baseline, bar: the most the figure's time may be as a multiple of
# the baseline's (None: reported, no bar).
TIME_PAIRS = [
    ("Logging/disabled_error_statement", "Logging/bare_level_check", 1.2),
    ("Logging/traced_empty_operation", "Logging/bare_base_name_and_two_checks", 1.2),
    ("Notify/int", "Notify/bare_handler_call", 2.0),
    ("Notify/int64", "Notify/bare_handler_call", 2.0),
    ("Notify/string15", "Notify/bare_handler_call", None),
    ("Notify/string16", "Notify/bare_handler_call", None),
    ("Notify/int_vector16", "Notify/bare_handler_call", None),
    ("Notify/string_vector16x15", "Notify/bare_handler_call", None),
    ("Notify/string_vector16x16", "Notify/bare_handler_call", None),
    ("Notify/int", "Notify/bare_handler_call_two_trace_guards", None),
    ("Notify/int64", "Notify/bare_handler_call_two_trace_guards", None),
    ("GetSet/accessor_get_int", "GetSet/model_object_get_int", 1.25),
    ("GetSet/accessor_get_string", "GetSet/model_object_get_string", 1.25),
    ("GetSet/accessor_set_int/process_time", "GetSet/model_object_set_int/process_time", 1.25),
    ("GetSet/accessor_set_string/process_time", "GetSet/model_object_set_string/process_time", 1.25),
    ("GetSet/accessor_get_int", "GetSet/model_object_type_and_get_int", None),
    ("GetSet/accessor_get_string", "GetSet/model_object_type_and_get_string", None),
    ("GetSet/accessor_set_int/process_time", "GetSet/model_object_type_and_set_int/process_time", None),
    ("GetSet/accessor_set_string/process_time", "GetSet/model_object_type_and_set_string/process_time", None),
    ("ValueObject/int_string_form", "ValueObject/int_to_chars", 3.0),
    ("ValueObject/double_string_form", "ValueObject/double_to_chars", 3.0),
    ("ValueObject/list16_copy", "ValueObject/string_vector16_copy", None),
    ("ValueObject/list16_move", "ValueObject/string_vector16_move", None),
]
SOURCE_SWITCH = ("SourceSwitch/library_request", "SourceSwitch/bare_round_trip")
CLIENTS = (1, 2, 4, 8)
# On one client's median latency: on a shared machine the mean (and so the
# request rate) is dominated by preemption from other programs. The other
# client counts are reported.
SOURCE_SWITCH_BAR = 1.2
NS_PER_UNIT = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(path):
    with open(path) as results:
        entries = json.load(results)["benchmarks"]
    runs = {}
    for entry in entries:
        if entry.get("run_type") == "aggregate":
            if entry.get("aggregate_name") == "median":
                runs[entry["run_name"]] = entry
        else:
            runs.setdefault(entry["run_name"], entry)
    return runs


def nanoseconds(run):
    # Benchmarks registered with UseRealTime are judged on wall-clock time, the others on CPU time
    # (of the whole process for those registered with MeasureProcessCPUTime).
    key = "real_time" if "/real_time" in run["run_name"] else "cpu_time"
    return run[key] * NS_PER_UNIT[run["time_unit"]]


def show_time(ns):
    if ns >= 1e6:
        return f"{ns / 1e6:.2f} ms"
    if ns >= 1e3:
        return f"{ns / 1e3:.2f} us"
    return f"{ns:.1f} ns"


def verdict(ratio, bar):
    if bar is None:
        return "-", "-"
    return f"<= {bar:g}x", "yes" if ratio <= bar else "NO"


def time_rows(runs):
    for figure, baseline, bar in TIME_PAIRS:
        if figure not in runs and baseline not in runs:
            continue  # filtered out
        if figure not in runs or baseline not in runs:
            yield [figure, "not run", baseline, "", "", "", ""]
            continue
        ratio = nanoseconds(runs[figure]) / nanoseconds(runs[baseline])
        yield [figure, show_time(nanoseconds(runs[figure])), baseline, show_time(nanoseconds(runs[baseline])),
               f"{ratio:.2f}x", *verdict(ratio, bar)]


def allocation_rows(runs):
    for name, run in sorted(runs.items()):
        if "allocs_bar" in run:
            allocs, bar = run["allocs"], run["allocs_bar"]
            yield [f"{name} allocations", f"{allocs:.2f}", "", "", "", f"<= {bar:g}",
                   "yes" if allocs <= bar + 0.005 else "NO"]


def source_switch_rows(runs):
    library, bare = SOURCE_SWITCH
    for clients in CLIENTS:
        suffix = f"/real_time/threads:{clients}"
        mine, theirs = runs.get(library + suffix), runs.get(bare + suffix)
        if mine is None and theirs is None:
            continue  # filtered out
        if mine is None or theirs is None:
            yield [library + suffix, "not run", bare + suffix, "", "", "", ""]
            continue
        label = f"source switch, {clients} client{'s' if clients > 1 else ''}"
        ratio = theirs["items_per_second"] / mine["items_per_second"]
        yield [f"{label}: requests/s", f"{mine['items_per_second']:.0f}", "bare round trip",
               f"{theirs['items_per_second']:.0f}", f"{ratio:.2f}x", "-", "-"]
        for counter in ("p50_us", "p99_us"):
            ratio = mine[counter] / theirs[counter]
            bar = SOURCE_SWITCH_BAR if clients == 1 and counter == "p50_us" else None
            yield [f"{label}: {counter[:3]}", f"{mine[counter]:.1f} us", "bare round trip",
                   f"{theirs[counter]:.1f} us", f"{ratio:.2f}x", *verdict(ratio, bar)]
        yield [f"{label}: allocations per request (client thread)", f"{mine['allocs']:.1f}", "bare round trip",
               f"{theirs['allocs']:.1f}", "", "-", "-"]


def print_table(rows):
    header = ["figure", "measured", "baseline", "baseline measured", "ratio", "bar", "met"]
    widths = [max(len(str(row[column])) for row in [header] + rows) for column in range(len(header))]

    def line(cells):
        return "| " + " | ".join(str(cell).ljust(width) for cell, width in zip(cells, widths)) + " |"

    print(line(header))
    print("|" + "|".join("-" * (width + 2) for width in widths) + "|")
    for row in rows:
        print(line(row))


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: report.py RESULTS.json")
    runs = load(sys.argv[1])
    rows = list(time_rows(runs)) + list(allocation_rows(runs)) + list(source_switch_rows(runs))
    print_table(rows)
    missed = sum(1 for row in rows if row[-1] == "NO")
    print(f"\n{len(rows)} rows, {missed} bar(s) missed")


if __name__ == "__main__":
    main()
