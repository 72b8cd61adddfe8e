#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the ratios that the benchmarks are about, as a table: ours, beside what, and the goal.

usage: bench/ratios.py RESULT.json...

Takes the JSON output of Google Benchmark. With repetitions the medians are compared, and all numbers
of one ratio come from the same run: absolute times say more of the machine than of the code.
"""

import json
import sys

# What is compared: (label, quantity, ours, peer, goal). A goal "<= 1.25" or ">= 0.95" is for
# ours / peer. The quantity "time" is the time of one iteration, "rate" the items per second.
RATIOS = [
    ("log write / floor on the monotonic clock, one thread", "time",
     "WriteBare/real_time/threads:1", "WriteFloor/real_time/threads:1", "<= 0.50"),
    ("log write / floor on the monotonic clock, two threads", "time",
     "WriteBare/real_time/threads:2", "WriteFloor/real_time/threads:2", "<= 0.65"),
    ("event through a flow point / log write", "time",
     "WriteThroughFlowPoint/real_time/threads:1", "WriteBare/real_time/threads:1", "<= 1.35"),
    ("spdlog's backtrace ring / log write", "time",
     "WriteSpdlogBacktrace/real_time/threads:1", "WriteBare/real_time/threads:1", ">= 30"),
    ("dumped records / fmt", "rate", "DumpRecords/manual_time", "FormatWithFmt", ""),
    ("dumped records / string streams", "rate", "DumpRecords/manual_time", "FormatWithStreams", ""),
    ("command, threads free / futex ping-pong", "time",
     "CommandVelta/shared/real_time", "CommandFutexFloor/shared/real_time", "<= 1.25"),
    ("command, threads free / Asio post and future", "time",
     "CommandVelta/shared/real_time", "CommandAsio/shared/real_time", "<= 1.10"),
    ("command, two cores / futex ping-pong", "time",
     "CommandVelta/two_cores/real_time", "CommandFutexFloor/two_cores/real_time", "<= 0.30"),
    ("command, four callers / Asio", "rate",
     "FourCallersVelta/real_time", "FourCallersAsio/real_time", ">= 1.15"),
    ("notifications, one producer / Asio post", "rate",
     "NotificationsVelta/1/real_time", "NotificationsAsio/1/real_time", ""),
    ("notifications, four producers / Asio post", "rate",
     "NotificationsVelta/4/real_time", "NotificationsAsio/4/real_time", ">= 1.00"),
    ("queue, one thread / mutex and deque", "rate",
     "OneThread<Fifo>", "OneThread<MutexDeque>", ">= 0.95"),
    ("queue, one to one / mutex and deque", "rate",
     "ToOneConsumer<Fifo>/1/real_time", "ToOneConsumer<MutexDeque>/1/real_time", ">= 0.95"),
    ("queue, four to one / mutex and deque", "rate",
     "ToOneConsumer<Fifo>/4/real_time", "ToOneConsumer<MutexDeque>/4/real_time", ">= 0.95"),
    ("one push of 100,000 / one of 1,000", "per item",
     "PushAtDepth/100000", "PushAtDepth/1000", "<= 2.00"),
    ("registry, an integer written / by hand", "time",
     "RegistryWriteIntVelta", "RegistryWriteIntByHand", "<= 1.15"),
    ("registry, a double written / by hand", "time",
     "RegistryWriteDoubleVelta", "RegistryWriteDoubleByHand", "<= 1.15"),
    ("registry, an integer read / by hand", "time",
     "RegistryReadIntVelta", "RegistryReadIntByHand", "<= 1.15"),
    ("registry, a double read / by hand", "time",
     "RegistryReadDoubleVelta", "RegistryReadDoubleByHand", "<= 1.15"),
    ("pugixml, wide / reading a manifest of 4 KB", "time",
     "ParsePugixml/0/real_time", "ParseVelta/0/real_time", ">= 1.20"),
    ("pugixml, wide / reading a project file of 25 KB", "time",
     "ParsePugixml/1/real_time", "ParseVelta/1/real_time", ">= 1.20"),
    ("pugixml, wide / reading a resource file of 275 KB", "time",
     "ParsePugixml/2/real_time", "ParseVelta/2/real_time", ">= 1.20"),
    ("pugixml, wide / reading prose of 0.5 MB", "time",
     "ParsePugixml/3/real_time", "ParseVelta/3/real_time", ">= 1.20"),
    ("pugixml, wide / reading records of 50 MB", "time",
     "ParsePugixml/4/real_time", "ParseVelta/4/real_time", ">= 1.20"),
    ("an edit at the end of 1,000,000 elements / of 1,000", "time",
     "AppendAtEnd/1000000/real_time", "AppendAtEnd/1000/real_time", "<= 1.50"),
    ("an edit in front of 1,000,000 elements / its moves", "time",
     "EditAtFront/1000000/real_time", "EditAtFrontMoves/1000000/real_time", "<= 2.00"),
]


def measurements(paths):
    """The results by name; medians where a benchmark was repeated."""
    results = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                if entry["run_type"] == "iteration" or entry.get("aggregate_name") == "median":
                    results[entry["run_name"]] = entry
    return results


def value(entry, quantity):
    if quantity == "time":
        return entry["real_time"]
    rate = entry["items_per_second"]
    return rate if quantity == "rate" else 1.0 / rate


def main(paths):
    results = measurements(paths)
    failed = 0
    print("| what | ratio | goal | |\n|---|---|---|---|")
    for label, quantity, ours, peer, goal in RATIOS:
        if ours not in results or peer not in results:
            continue
        ratio = value(results[ours], quantity) / value(results[peer], quantity)
        met = ""
        if goal:
            bound = float(goal.split()[1])
            reached = ratio <= bound if goal.startswith("<=") else ratio >= bound
            met = "met" if reached else "**missed**"
            failed += not reached
        print(f"| {label} | {ratio:.2f} | {goal} | {met} |")
    for name in ("NotificationsVelta/1/real_time", "NotificationsVelta/4/real_time"):
        if name in results:
            print(f"\n{name}: {results[name]['items_per_second'] / 1e6:.1f} million a second")
    if "DumpFullRing/real_time" in results:
        print(f"\nDumpRecords: {results['DumpRecords/manual_time']['items_per_second'] / 1e6:.1f}"
              " million a second (goal 2.0)")
        print(f"\nDumpFullRing: {results['DumpFullRing/real_time']['real_time']:.0f} ms"
              " (goal 150, of which 80 are prescribed pauses)")
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
