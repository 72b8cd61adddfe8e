#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Plants faults in the waits, one at a time, and asks whether the simulation finds them.

    planted_faults.py ROOT COMPILER OBJECTS

OBJECTS names the object files of velta_posix_simulation, one a line. Each fault replaces a piece of
one source, which must stand there once.
"""

import subprocess
import sys
import tempfile
from pathlib import Path

# name, source, scenario, piece, replacement
FAULTS = [
    ("no look after the deadline", "Waits", "wait.deadline",
     "  if (Waiter::IsSatisfied(waiter->word.load(std::memory_order_acquire))) {\n"
     "    return true;\n  }\n", ""),
    ("look and mark in two steps", "Waits", "wait.automatic",
     "} while (!reference.object->word.compare_exchange_weak(word, word | kHasWaiters,\n"
     "                                                           std::memory_order_acquire));",
     "} while (reference.object->word.fetch_or(kHasWaiters, std::memory_order_acquire) == 0);"),
    ("one look at those before", "Waits", "wait.lowest",
     "FirstSignalled(handles, found) == found ? found : kContested", "found"),
    ("wake who is awake", "Dispatcher", "wait.automatic",
     "was == Waiter::kAsleep", "was == Waiter::kWaiting"),
    ("word before nodes", "Dispatcher", "wait.closed",
     "  RemoveNodes(waiter);\n"
     "  const std::uint32_t was = waiter->word.exchange(index, std::memory_order_acq_rel);\n",
     "  const std::uint32_t was = waiter->word.exchange(index, std::memory_order_acq_rel);\n"
     "  RemoveNodes(waiter);\n"),
    ("close with waiters listed", "Events", "wait.closed", "    AbandonNodes(object);\n", ""),
    ("end and close in two steps", "Threads", "wait.thread", "{\n      closed = (word & kOpen) == 0",
     "{\n      closed = (thread->word.load(std::memory_order_relaxed) & kOpen) == 0"),
    ("section forgets sleepers", "CriticalSection", "section.three",
     "compare_exchange_weak(seen, self | kSleepersBit", "compare_exchange_weak(seen, self"),
]


def find(root, compiler, objects, work, fault):
    """What is wrong with the search for this fault; "found" when nothing is."""
    _, name, scenario, piece, replacement = fault
    source = root / "velta/platform/posix" / f"{name}.cpp"
    text = source.read_text(encoding="utf-8")
    if text.count(piece) != 1:
        return f"stands {text.count(piece)} times in {source}"
    changed = work / f"{name}.cpp"
    changed.write_text(text.replace(piece, replacement), encoding="utf-8")
    program = work / "simulation"
    others = [file for file in objects if Path(file).name != f"{name}.cpp.o"]
    subprocess.run([compiler, "-std=c++20", "-O1", "-pthread", "-DVELTA_BUILDING",
                    "-DVELTA_ASSERTIONS", f"-I{root}/tests/simulation/posix/include", f"-I{root}",
                    str(changed), *others, "-o", str(program)], check=True)
    run = subprocess.run([str(program), "--scenario", scenario, "--schedules", "10000"],
                         capture_output=True, text=True, check=False)
    if run.returncode != 1 or " FAILED in schedule " not in run.stdout:
        return f"not found by {scenario}:\n{run.stdout}"
    print(run.stdout.splitlines()[-2].strip())
    return "found"


def main():
    root, compiler, objects = Path(sys.argv[1]), sys.argv[2], Path(sys.argv[3])
    results = []
    for fault in FAULTS:
        with tempfile.TemporaryDirectory() as work:
            results.append(find(root, compiler, objects.read_text(encoding="utf-8").split(),
                                Path(work), fault))
        print(f"{fault[0]}: {results[-1]}", flush=True)
    print(f"{results.count('found')} of {len(FAULTS)} planted faults found")
    sys.exit(0 if results.count("found") == len(FAULTS) else 1)


if __name__ == "__main__":
    main()
