#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the C++ lines that are not blank, folder by folder, and the tests' share.

    tools/count_lines.py
"""

import subprocess
from collections import Counter
from pathlib import Path, PurePath

ROOT = Path(__file__).resolve().parents[1]
SUFFIXES = {".h", ".cpp"}


def is_test(path):
    return "tests" in path.parts or path.stem.endswith(("_test", "Test", "Tests"))


def main():
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True,
                           text=True).stdout.split("\0")
    code, tests = Counter(), Counter()
    for path in (PurePath(name) for name in files if PurePath(name).suffix in SUFFIXES):
        lines = (ROOT / path).read_text(encoding="utf-8").splitlines()
        counter = tests if is_test(path) else code
        counter["/".join(path.parts[:-1][:2])] += sum(not line.isspace() for line in lines if line)
    for name, counter in (("code", code), ("tests", tests)):
        for folder, lines in sorted(counter.items()):
            print(f"{lines:7} {folder}")
        print(f"{counter.total():7} {name}\n")
    print(f"tests: {100 * tests.total() / code.total():.0f} % of the other code")


if __name__ == "__main__":
    main()
