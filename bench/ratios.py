#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the ratios that the benchmarks are about, as a table: ours, beside what, and the goal.

Takes the JSON output of Google Benchmark. With repetitions the medians are compared, and all
numbers of one ratio come from the same run: absolute times say more of the machine than of the
code. A missed goal is named in the table; only what --check finds makes this fail.
"""

import argparse
import json
import math
import os
import sys
from collections import namedtuple

# What is compared: value(ours) / value(peer), and the goal for it, as "<= 1.25" or ">= 0.95".
# The quantity "time" is the time of one iteration, "rate" the items per second, "exponent" the
# power of n that the time of n items grows with, "bytes" a counter of the benchmark.
# A chart shows the rows of its area that have a name to be shown under.
Row = namedtuple("Row", "label quantity ours peer goal area bar", defaults=("", ""))

DOCUMENTS = ["a manifest of 4 KB", "a project file of 25 KB", "a resource file of 275 KB",
             "prose of 0.5 MB", "records of 50 MB"]
FILERS = [("Write", "written"), ("Read", "read")]
FILER_PEERS = [("pugixml by hand, wide", "Pugixml", ">= 1.20"),
               ("Boost.Serialization, wide", "Serialization", ">= 5.00"),
               ("Boost.PropertyTree, wide", "PropertyTree", ">= 5.00")]
FIELD_PEERS = [("cereal, narrow", "Cereal"), ("pugixml by hand, without types", "Pugixml")]

ROWS = [
    Row("log write / floor on the monotonic clock, one thread", "time",
        "WriteBare/real_time/threads:1", "WriteFloor/real_time/threads:1", "<= 0.50"),
    Row("log write / floor on the monotonic clock, two threads", "time",
        "WriteBare/real_time/threads:2", "WriteFloor/real_time/threads:2", "<= 0.65"),
    Row("event through a flow point / log write", "time",
        "WriteThroughFlowPoint/real_time/threads:1", "WriteBare/real_time/threads:1", "<= 1.35"),
    Row("spdlog's backtrace ring / log write", "time",
        "WriteSpdlogBacktrace/real_time/threads:1", "WriteBare/real_time/threads:1", ">= 30",
        "log", "an event, spdlog's backtrace"),
    Row("dumped records / fmt", "rate", "DumpRecords/manual_time", "FormatWithFmt", "",
        "log", "dumped records, fmt"),
    Row("dumped records / string streams", "rate", "DumpRecords/manual_time", "FormatWithStreams",
        "", "log", "dumped records, string streams"),
    Row("command, threads free / futex ping-pong", "time",
        "CommandVelta/shared/real_time", "CommandFutexFloor/shared/real_time", "<= 1.25"),
    Row("command, threads free / Asio post and future", "time",
        "CommandVelta/shared/real_time", "CommandAsio/shared/real_time", "<= 1.10"),
    Row("command, two cores / futex ping-pong", "time",
        "CommandVelta/two_cores/real_time", "CommandFutexFloor/two_cores/real_time", "<= 0.30"),
    Row("command, four callers / Asio", "rate",
        "FourCallersVelta/real_time", "FourCallersAsio/real_time", ">= 1.15",
        "commands", "commands, four callers, Asio"),
    Row("notifications, one producer / Asio post", "rate",
        "NotificationsVelta/1/real_time", "NotificationsAsio/1/real_time", "",
        "commands", "notifications, one producer, Asio"),
    Row("notifications, four producers / Asio post", "rate",
        "NotificationsVelta/4/real_time", "NotificationsAsio/4/real_time", ">= 1.00",
        "commands", "notifications, four producers, Asio"),
    Row("queue, one thread / mutex and deque", "rate",
        "OneThread<Fifo>", "OneThread<MutexDeque>", ">= 0.95",
        "commands", "queue, one thread, mutex and deque"),
    Row("queue, one to one / mutex and deque", "rate",
        "ToOneConsumer<Fifo>/1/real_time", "ToOneConsumer<MutexDeque>/1/real_time", ">= 0.95",
        "commands", "queue, one to one, mutex and deque"),
    Row("queue, four to one / mutex and deque", "rate",
        "ToOneConsumer<Fifo>/4/real_time", "ToOneConsumer<MutexDeque>/4/real_time", ">= 0.95",
        "commands", "queue, four to one, mutex and deque"),
    Row("one push of 100,000 / one of 1,000", "time per item",
        "PushAtDepth/100000", "PushAtDepth/1000", "<= 2.00"),
    Row("registry, an integer written / by hand", "time",
        "RegistryWriteIntVelta", "RegistryWriteIntByHand", "<= 1.15"),
    Row("registry, a double written / by hand", "time",
        "RegistryWriteDoubleVelta", "RegistryWriteDoubleByHand", "<= 1.15"),
    Row("registry, an integer read / by hand", "time",
        "RegistryReadIntVelta", "RegistryReadIntByHand", "<= 1.15"),
    Row("registry, a double read / by hand", "time",
        "RegistryReadDoubleVelta", "RegistryReadDoubleByHand", "<= 1.15"),
    *(Row(f"pugixml, wide / reading {document}", "time", f"ParsePugixml/{index}/real_time",
          f"ParseVelta/{index}/real_time", ">= 1.20", "xml", f"{document}, pugixml")
      for index, document in enumerate(DOCUMENTS)),
    *(Row(f"memory of {document} / the text and 48 bytes an element", "bytes",
          f"MemoryVelta/{index}/iterations:1", f"MemoryModel/{index}/iterations:1", "<= 1.10")
      for index, document in enumerate(DOCUMENTS)),
    *(Row(f"memory of {document} / pugixml, wide", "bytes",
          f"MemoryVelta/{index}/iterations:1", f"MemoryPugixml/{index}/iterations:1", "")
      for index, document in enumerate(DOCUMENTS)),
    Row("an edit at the end of 1,000,000 elements / of 1,000", "time",
        "AppendAtEnd/1000000/real_time", "AppendAtEnd/1000/real_time", "<= 1.50"),
    Row("an attribute set after 1,000 others / after 10", "time",
        "SetAttributeAfter/1000", "SetAttributeAfter/10", ""),
    *(Row(f"an edit in front of {count:,} elements / its moves", "time",
          f"EditAtFront/{count}/real_time", f"EditAtFrontMoves/{count}/real_time", "<= 2.00")
      for count in (1000, 1000000)),
    *(Row(f"{peer} / values {done} by the filers", "time", f"{what}<{name}>/10000",
          f"{what}<Filers>/10000", goal, "filers", f"{done}, {peer}")
      for what, done in FILERS for peer, name, goal in FILER_PEERS),
    Row("a value written inside 1,000 groups / inside one", "time",
        "WriteInside/1000", "WriteInside/1", "<= 4.00"),
    *(Row(f"growth of values {done}, 1,000 to 100,000", "exponent",
          f"{what}<Filers>/100000", f"{what}<Filers>/1000", "<= 1.05") for what, done in FILERS),
    *(Row(f"fields {done}, described / the calls by hand", "time", f"{what}Panels<Described>/300",
          f"{what}Panels<ByHand>/300", "<= 1.10") for what, done in FILERS),
    *(Row(f"{peer} / fields {done}, described", "time", f"{what}Panels<{name}>/300",
          f"{what}Panels<Described>/300", "", "filers", f"fields {done}, {peer}")
      for what, done in FILERS for peer, name in FIELD_PEERS),
    Row("ParseDouble of ordinary numbers / wcstod", "time",
        "ParseVelta/ordinary", "ParseRuntime/ordinary", "<= 0.35",
        "numbers", "read, ordinary, wcstod"),
    Row("ParseDouble of stored numbers / wcstod", "time",
        "ParseVelta/stored", "ParseRuntime/stored", "", "numbers", "read, as stored, wcstod"),
    Row("a double formatted / swprintf", "time", "FormatVelta", "FormatRuntime", "",
        "numbers", "written, swprintf"),
]

# Over the rows of a chart's area: (label, area, goal).
MEANS = [("pugixml, wide / reading, geometric mean", "xml", ">= 1.50")]

AREAS = {"log": "The event log", "commands": "Commands, notifications and queues",
         "xml": "Reading XML", "filers": "Values through the XML filers", "numbers": "Numbers"}


def measurements(paths):
    """The results by name; medians where a benchmark was repeated."""
    results = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                if entry["run_type"] == "iteration" or entry.get("aggregate_name") == "median":
                    results[entry["run_name"]] = entry
    return results


def ratio_of(row, results):
    ours, peer = results[row.ours], results[row.peer]
    if row.quantity == "rate":
        return ours["items_per_second"] / peer["items_per_second"]
    if row.quantity == "time per item":
        return peer["items_per_second"] / ours["items_per_second"]
    if row.quantity == "bytes":
        return ours["bytes"] / peer["bytes"]
    ratio = ours["real_time"] / peer["real_time"]
    if row.quantity == "exponent":
        items = int(row.ours.rsplit("/", 1)[1]) / int(row.peer.rsplit("/", 1)[1])
        return math.log(ratio) / math.log(items)
    return ratio


def compute(results):
    """(row, ratio) of all rows that were measured, a mean after the rows that it is of."""
    rows = [(row, ratio_of(row, results)) for row in ROWS
            if row.ours in results and row.peer in results]
    for label, area, goal in MEANS:
        of_area = [at for at, (row, _) in enumerate(rows) if row.area == area]
        if of_area:
            mean = math.exp(sum(math.log(rows[at][1]) for at in of_area) / len(of_area))
            rows.insert(of_area[-1] + 1, (Row(label, "", "", "", goal), mean))
    return rows


def more_is_better(row):
    """By the goal; rows without one compare rates, or what ours costs."""
    return row.goal.startswith(">=") if row.goal else row.quantity == "rate"


def is_met(row, ratio):
    bound = float(row.goal.split()[1])
    return ratio >= bound if more_is_better(row) else ratio <= bound


def print_table(rows, results):
    print("| what | ratio | goal | |\n|---|---|---|---|")
    for row, ratio in rows:
        met = ("met" if is_met(row, ratio) else "**missed**") if row.goal else ""
        print(f"| {row.label} | {ratio:.2f} | {row.goal} | {met} |")
    for name in ("NotificationsVelta/1/real_time", "NotificationsVelta/4/real_time"):
        if name in results:
            print(f"\n{name}: {results[name]['items_per_second'] / 1e6:.1f} million a second")
    if "DumpFullRing/real_time" in results:
        print(f"\nDumpRecords: {results['DumpRecords/manual_time']['items_per_second'] / 1e6:.1f}"
              " million a second (goal 2.0)")
        print(f"\nDumpFullRing: {results['DumpFullRing/real_time']['real_time']:.0f} ms"
              " (goal 150, of which 80 are prescribed pauses)")
    if "SetAttributeAfter/1000" in results:
        print("\nSetAttributeAfter/1000:"
              f" {results['SetAttributeAfter/1000']['real_time'] / 1e3:.1f} us")
    for name in ("Write<Filers>/10000", "Read<Filers>/10000"):
        if name in results:
            print(f"\n{name}: {1e9 / results[name]['items_per_second']:.0f} ns a value")


def worsened(rows, path, tolerance):
    """What has got worse than kept, as text. A ratio that is no longer measured is worse too."""
    with open(path, encoding="utf-8") as file:
        kept = json.load(file)
    now = {row.label: (row, ratio) for row, ratio in rows}
    for label, before in kept.items():
        if label not in now:
            yield f"{label}: {before:.2f} before, not measured now"
            continue
        row, ratio = now[label]
        worse = before / ratio if more_is_better(row) else ratio / before
        if worse > 1 + tolerance:
            yield f"{label}: {ratio:.2f}, {before:.2f} before"


def draw(rows, folder):
    """A chart for each area: how many times as fast as each peer."""
    import matplotlib  # only here: the table needs nothing but Python
    matplotlib.use("svg")
    matplotlib.rcParams["svg.hashsalt"] = "velta"  # the same names in the file every time
    from matplotlib import pyplot

    os.makedirs(folder, exist_ok=True)
    for area, title in AREAS.items():
        bars = [(row.bar, ratio if more_is_better(row) else 1 / ratio)
                for row, ratio in rows if row.area == area]
        if not bars:
            continue
        names, factors = zip(*reversed(bars))
        figure, axes = pyplot.subplots(figsize=(8, 0.8 + 0.4 * len(bars)))
        drawn = axes.barh(names, factors, color="#4477aa")
        axes.bar_label(drawn, fmt="%.1f", padding=3)
        axes.axvline(1, color="#cc3311", linewidth=1)
        axes.set_title(f"{title}: times as fast as the peer")
        axes.margins(x=0.12)
        axes.spines[["top", "right"]].set_visible(False)
        figure.savefig(os.path.join(folder, f"{area}.svg"), bbox_inches="tight",
                       metadata={"Date": None})
        pyplot.close(figure)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results", nargs="+", metavar="RESULT.json")
    parser.add_argument("--keep", metavar="FILE", help="write the ratios for a later --check")
    parser.add_argument("--check", metavar="FILE",
                        help="fail when a ratio is worse than the one kept there")
    parser.add_argument("--tolerance", type=float, default=0.25, metavar="PART",
                        help="how much worse is let pass (default: %(default)s)")
    parser.add_argument("--svg", metavar="FOLDER", help="draw a chart for each area")
    options = parser.parse_args()

    results = measurements(options.results)
    rows = compute(results)
    print_table(rows, results)
    worse = list(worsened(rows, options.check, options.tolerance)) if options.check else []
    for line in worse:
        print(f"worse: {line}", file=sys.stderr)
    if options.keep:
        with open(options.keep, "w", encoding="utf-8") as file:
            json.dump({row.label: round(ratio, 3) for row, ratio in rows}, file, indent=1)
            file.write("\n")
    if options.svg:
        draw(rows, options.svg)
    return 1 if worse else 0


if __name__ == "__main__":
    sys.exit(main())
