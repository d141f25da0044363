#!/usr/bin/env python3
"""ratios.py FOLDER: a table from the JSON reports of Google Benchmark in the folder. A measure "X/REST" is compared with
"peer/REST" of the same program: time and every counter that both have. Medians where a measure was repeated."""
import json
import pathlib
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# What Google Benchmark reports of every measure, and rates, where more is better, are not compared.
NOT_COUNTERS = {"repetitions", "repetition_index", "threads", "iterations", "real_time", "cpu_time", "family_index",
                "per_family_instance_index", "items_per_second", "bytes_per_second"}


def measures(report):
    """Name -> what was measured: "time" in nanoseconds, and the counters."""
    found = {}
    for run in json.loads(report.read_text())["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{report.stem}: {run['name']}: {run.get('error_message')}")
        single = run["run_type"] == "iteration" and run.get("repetitions", 1) == 1
        if not single and run.get("aggregate_name") != "median":
            continue
        values = {key: value for key, value in run.items() if isinstance(value, float) and key not in NOT_COUNTERS}
        found[run["run_name"]] = {"time": run["real_time"] * NANOSECONDS[run["time_unit"]], **values}
    return found


def amount(what, value):
    units = [("s", 1e9), ("ms", 1e6), ("us", 1e3), ("ns", 1)] if what == "time" else [("M", 1e6), ("k", 1e3), ("", 1)]
    unit, size = next(((u, s) for u, s in units if abs(value) >= s), units[-1])
    return f"{value / size:.3g} {unit}".rstrip()


def rows(name, found):
    for measure, ours in found.items():
        side, _, rest = measure.partition("/")
        if side == "peer":
            continue
        peer = found.get(f"peer/{rest}", {})
        for what, value in ours.items():
            other = peer.get(what)
            yield (name, measure, what, amount(what, value), amount(what, other) if other is not None else "",
                   f"{value / other:.2f}" if other else "")


def main():
    reports = sorted(pathlib.Path(sys.argv[1]).glob("*.json"))
    table = [("program", "measure", "what", "ours", "peer", "ours/peer")]
    for report in reports:
        table += rows(report.stem, measures(report))
    if len(table) == 1:
        sys.exit("no benchmark ran")
    widths = [max(len(row[i]) for row in table) for i in range(6)]
    for row in table:
        left = [text.ljust(width) for text, width in zip(row[:3], widths)]
        right = [text.rjust(width) for text, width in zip(row[3:], widths[3:])]
        print("  ".join(left + right).rstrip())


main()
