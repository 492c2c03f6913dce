#!/usr/bin/env python3
"""Turns Google Benchmark's JSON into one Markdown table: ours beside the peers.

How benchmarks are named, and therefore paired, stands in bench/CMakeLists.txt.
"""

import json
import os
import re
import sys

TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
STANDARD_KEYS = set("""
name family_index per_family_instance_index run_name run_type repetitions repetition_index threads
aggregate_name aggregate_unit iterations real_time cpu_time time_unit items_per_second
bytes_per_second label big_o rms error_occurred error_message
""".split())
# What Google Benchmark appends to a name and what says nothing about the work.
SETTING = re.compile(r"/(real_time|process_time|manual_time|min_time:[^/]*|min_warmup_time:[^/]*"
                     r"|iterations:\d+|repeats:\d+|threads:1)(?=/|$)")


def per_item(entry):
    """Nanoseconds of wall time for one item of work; an item is an iteration unless counted."""
    time = entry["real_time"] * TO_NS[entry["time_unit"]]
    rate = entry.get("items_per_second")
    if not rate:
        return time
    # The rate was taken over real time only where the benchmark asked for that.
    real = re.search(r"/(real|manual)_time", entry["run_name"])
    base = time if real else entry["cpu_time"] * TO_NS[entry["time_unit"]]
    return time / (rate * base * 1e-9)


def split_name(name):
    """(work, contender, size); a benchmark without a contender is ours and has no peer."""
    pieces = SETTING.sub("", name).split("/", 2)
    if len(pieces) == 1:
        pieces.append("ours")
    return (pieces + [""])[:3]


def readable(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def read(path, rows):
    """Adds the medians of one file to rows: (group, work, size) -> {contender: (ns, counters)}

    They come in the order in which the benchmarks were declared, whatever the order of the runs.
    """
    group = os.path.splitext(os.path.basename(path))[0]
    with open(path, encoding="utf-8") as file:
        content = file.read()
    if not content.strip():
        return None
    document = json.loads(content)
    declared = sorted(document["benchmarks"], key=lambda entry: (
        entry["family_index"], entry["per_family_instance_index"]))
    for entry in declared:
        if entry.get("error_occurred"):
            sys.exit(f"{path}: {entry['name']}: {entry.get('error_message')}")
        if entry["run_type"] == "aggregate" and entry["aggregate_name"] != "median":
            continue
        work, contender, size = split_name(entry["run_name"])
        counters = {key: value for key, value in entry.items() if key not in STANDARD_KEYS}
        rows.setdefault((group, work, size), {})[contender] = (per_item(entry), counters)
    return document["context"]


def row(key, contenders):
    group, work, size = key
    ours = contenders.get("ours")
    peers = [(name, value) for name, value in contenders.items() if name != "ours"]
    counters = [f"{name} {value:.4g}" for name, value in (ours[1] if ours else {}).items()]
    return [
        group, work, size, readable(ours[0]) if ours else "",
        "<br>".join(f"{name} {readable(value[0])}" for name, value in peers),
        "<br>".join(f"{ours[0] / value[0]:.2f}" for _, value in peers) if ours else "",
        ", ".join(counters)]


def machine(context):
    caches = ", ".join(f"L{cache['level']} {cache['size'] // 1024} KiB"
                       for cache in context.get("caches", []) if cache["type"] != "Instruction")
    model = ""
    if os.path.exists("/proc/cpuinfo"):
        with open("/proc/cpuinfo", encoding="utf-8") as file:
            names = re.findall(r"model name\s*:\s*(.*)", file.read())
        model = names[0] + ", " if names else ""
    return (f"{model}{context['num_cpus']} logical processors, {caches}; "
            f"{context['date'].split('T')[0]}.")


def main():
    rows, context = {}, None
    for path in sys.argv[1:]:
        context = read(path, rows) or context
    if context is None:
        sys.exit("no benchmark ran")
    print(machine(context))
    print("Times are medians for one item of work; a ratio below 1 means that ours is faster.\n")
    head = ["group", "work", "size", "ours", "peers", "ours/peer", "counters of ours"]
    print("| " + " | ".join(head) + " |")
    print("|---|---|---:|---:|---:|---:|---|")
    for key, contenders in rows.items():
        print("| " + " | ".join(row(key, contenders)) + " |")


if __name__ == "__main__":
    main()
