#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Breaks the sources one small change at a time and asks whether a test notices.

    tools/mutate.py --room ROOM [--count N] [--seed N] [--file SOURCE ...]

Works on a copy of the checkout in build/mutation. Every mutant is one changed comparison, operator,
constant, condition or order of two statements. A mutant that no test notices is printed with its
line; the exit code says whether there was one. Mutants that do not compile are not counted.
"""

import argparse
import os
import random
import re
import shutil
import signal
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
WORK = ROOT / "build/mutation"
SIMULATED = ("threads", "commands")  # rooms that also have the simulation for a test
TIMEOUT_SECONDS = 240  # a mutant may hang: that is noticed too

REPLACEMENTS = [
    (r"==", "!="), (r"!=", "=="), (r"<=", "<"), (r">=", ">"),
    (r"(?<![<\-])<(?![<=])(?= )", "<="), (r"(?<![>\-])>(?![>=])(?= )", ">="),
    (r"&&", "||"), (r"\|\|", "&&"), (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r"(?<= )\+(?= )", "-"), (r"(?<= )-(?= )", "+"), (r"\+\+", "--"), (r"\+=", "-="),
    (r"(?<![\w.])0(?![\w.])", "1"), (r"(?<![\w.])1(?![\w.])", "2"), (r"(?<=\()!(?=\w)", ""),
    (r"\bbreak;", ""), (r"\bcontinue;", ""),
]
STATEMENT = re.compile(r"^\s+[\w:.>\-]+(\(|\s[+\-|&]?=\s|\+\+).*;$")
NOT_CODE = re.compile(r"^\s*(//|#|static_assert|template|using|case|enum)|operator|__asm|LINE")


def mutants(source):
    """Every (line number, changed lines, description) that the file allows."""
    lines = source.read_text().splitlines()
    for number, line in enumerate(lines):
        if NOT_CODE.search(line):
            continue
        code = line.split("//")[0]
        for pattern, replacement in REPLACEMENTS:
            for match in re.finditer(pattern, code):
                if '"' in code[:match.start()]:
                    continue
                changed = code[:match.start()] + replacement + code[match.end():]
                yield number, [changed], f"{line.strip()}  ->  {changed.strip()}"
        if STATEMENT.match(code):
            yield number, [""], f"{line.strip()}  ->  (left out)"
            if number + 1 < len(lines) and STATEMENT.match(lines[number + 1]):
                yield number, [lines[number + 1], line], f"{line.strip()}  <->  the next line"


class Checkout:
    """A copy whose build folder keeps what a mutant does not touch."""

    def __init__(self, room):
        files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True,
                               text=True).stdout.split("\0")
        for name in filter(None, files):
            copy = WORK / name
            if not copy.exists() or copy.read_bytes() != (ROOT / name).read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, copy)
        rooms = f"{room};simulation" if room in SIMULATED else room  # a tenth of its schedules
        self.run(["cmake", "--preset", "linux", "-DVELTA_EXAMPLES=OFF", "-DVELTA_TOOLS=OFF",
                  "-DVELTA_WERROR=OFF", f"-DVELTA_TEST_ROOMS={rooms}",
                  "-DVELTA_SIMULATION_SCHEDULES=100"])
        if not self.builds() or not self.passes():
            sys.exit("the tests fail before anything is changed")

    @staticmethod
    def run(command):
        environment = dict(os.environ, CCACHE_BASEDIR=str(WORK), CCACHE_NOHASHDIR="1")
        with subprocess.Popen(command, cwd=WORK, env=environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, start_new_session=True) as process:
            try:
                return process.wait(TIMEOUT_SECONDS) == 0
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)  # with the tests that it has started
                return False

    def builds(self):
        return self.run(["cmake", "--build", "build/linux"])

    def passes(self):
        return self.run(["ctest", "--test-dir", "build/linux", "-j", str(os.cpu_count()),
                         "--stop-on-failure", "--timeout", "60", "-E", "^(layers|Fuzz)"])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--room", required=True)
    parser.add_argument("--count", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--file", type=Path, nargs="*")
    options = parser.parse_args()

    sources = options.file or sorted((ROOT / "velta" / options.room).rglob("*.cpp"))
    candidates = [(source.resolve().relative_to(ROOT), *mutant)
                  for source in sources for mutant in mutants(source)]
    random.Random(options.seed).shuffle(candidates)
    checkout = Checkout(options.room)
    noticed, survivors = 0, []
    for source, number, changed, description in candidates:
        if noticed + len(survivors) == options.count:
            break
        file = WORK / source
        original = file.read_text()
        lines = original.splitlines()
        lines[number:number + len(changed)] = changed
        file.write_text("\n".join(lines) + "\n")
        try:
            if checkout.builds():
                if checkout.passes():
                    survivors.append(f"{source}:{number + 1}: {description}")
                    print("survived ", survivors[-1], flush=True)
                else:
                    noticed += 1
        finally:
            file.write_text(original)
    print(f"{options.room}: {noticed} of {noticed + len(survivors)} mutants noticed", flush=True)
    sys.exit(1 if survivors else 0)


if __name__ == "__main__":
    main()
