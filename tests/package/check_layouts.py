#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares how the public classes lie in memory on another processor with how they lie on x64.

    check_layouts.py COMPILER TARGET KNOWN ROOT HEADER

The compiler is a clang for Windows, which tells both layouts of what the header includes. KNOWN
lists the classes (see list_interface.py); its sizes are Linux's.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

# They hold something aligned for any type, and `long double` has 16 bytes on x64 only; in Visual
# C++'s ABI it has 8 on both.
WIDER_ON_X64 = {"MMutexWinImp", "Velta::Libraries::GenericGuard"}


def layouts(compiler, target, root, header):
    with tempfile.TemporaryDirectory() as work:
        source = Path(work, "all.cpp")
        source.write_text(f'#include "{header}"\n')
        told = subprocess.run(
            [compiler, f"--target={target}", "-std=c++20", f"-I{root}", "-fno-sanitize=undefined",
             "-Xclang", "-fdump-record-layouts-complete", "-c", source, "-o", Path(work, "all.o")],
            capture_output=True, text=True, check=True).stdout
    found = {}
    for layout in told.split("*** Dumping AST Record Layout\n")[1:]:
        name = re.match(r" *0 \| (?:class|struct) (\S+)", layout)
        if name:
            found[name[1]] = layout.strip()
    return found


def main():
    compiler, target, known, root, header = sys.argv[1:]
    there = layouts(compiler, target, root, header)
    here = layouts(compiler, "x86_64-windows-gnu", root, header)
    names = re.findall(r"^(\S+)$", Path(known).read_text(encoding="utf-8"), re.M)
    missing = [name for name in names if name not in here]
    assert len(missing) * 4 < len(names), f"nothing is told of {missing}"
    changed = {name for name in names if here.get(name) != there.get(name)}
    for name in sorted(changed ^ WIDER_ON_X64):
        print(f"{here.get(name)}\n--- on {target}:\n{there.get(name)}\n")
    assert changed == WIDER_ON_X64, sorted(changed)
    print(f"{len(names) - len(missing)} classes; not told: {missing}")


if __name__ == "__main__":
    main()
