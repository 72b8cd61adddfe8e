#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks at the Windows programs and libraries of a build, without running them.

    check_images.py BIN MACHINE

Each must be for the machine, as its file's header has it (0x8664, 0xAA64), and need no libraries
but the system's and those beside it.
"""

import re
import subprocess
import sys
from pathlib import Path

SYSTEM = re.compile(
    r"(api-ms-win-crt-\w+-l1-1-0|kernel32|ntdll|user32|advapi32|ole32|dbghelp)\.dll")


def main():
    folder, machine = Path(sys.argv[1]), int(sys.argv[2], 16)
    images = sorted(path for path in folder.iterdir() if path.suffix in (".dll", ".exe"))
    beside = {path.name.lower() for path in images}
    assert "velta.dll" in beside, f"no library in {folder}"
    faults = []
    for image in images:
        read = subprocess.run(["llvm-readobj-19", "--file-headers", "--coff-imports", image],
                              capture_output=True, text=True, check=True).stdout
        found = int(re.search(r"Machine: \w+ \(0x(\w+)\)", read)[1], 16)
        if found != machine:
            faults.append(f"{image.name} is for machine {found:#x}")
        imported = re.findall(r"^Import {\n  Name: (\S+)$", read, re.M)
        if not imported:
            faults.append(f"{image.name} imports nothing")
        faults += [f"{image.name} needs {name}" for name in imported
                   if not SYSTEM.fullmatch(name.lower()) and name.lower() not in beside]
    assert not faults, "\n".join(faults)
    print(f"{len(images)} images")


if __name__ == "__main__":
    main()
