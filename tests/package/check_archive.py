#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the archive that is handed out, and the part that a program needs at run time, and compares
what they hold with what users are told.

    check_archive.py ROOT CMAKE BUILD CONFIG LIBRARY

LIBRARY is the name of the file that users link.
"""

import subprocess
import sys
import tarfile
import tempfile
import zipfile
from pathlib import Path

RUNTIME = {
    "windows": ["bin/velta.dll", "share/doc/velta/LICENSE"],
    "linux": ["lib/libvelta.so.0.1", "lib/libvelta.so.0.1.0", "share/doc/velta/LICENSE"],
}
BESIDES = {
    "windows": ["bin/velta-log.exe", "bin/velta.pdb", "share/velta/velta.natvis"],
    "linux": ["bin/velta-log", "lib/pkgconfig/velta.pc"],
}
PACKAGE = "lib/cmake/Velta/Velta"


def names_in(archive):
    if archive.suffix == ".zip":
        with zipfile.ZipFile(archive) as opened:
            names = opened.namelist()
    else:
        with tarfile.open(archive) as opened:
            names = [member.name for member in opened if not member.isdir()]
    return [name.split("/", 1)[1] for name in names if not name.endswith("/")]


def main():
    root, cmake, build, config = Path(sys.argv[1]), sys.argv[2], Path(sys.argv[3]), sys.argv[4]
    headers = [path.relative_to(root) for path in (root / "velta").rglob("*.h")]
    public = [f"include/{path.as_posix()}" for path in headers
              if not {"internal", "posix"} & set(path.parts)]
    package = [f"{PACKAGE}{part}.cmake"
               for part in ("Config", "ConfigVersion", "Targets", f"Targets-{config.lower()}")]
    with tempfile.TemporaryDirectory() as work:
        subprocess.run([Path(cmake).with_name("cpack"), "--config", build / "CPackConfig.cmake", "-C", config,
                        "-B", work], check=True)
        archive = next(path for path in Path(work).iterdir() if path.suffix in (".zip", ".gz"))
        platform = "windows" if archive.suffix == ".zip" else "linux"
        compare(names_in(archive), RUNTIME[platform] + BESIDES[platform] + public + package
                + [f"lib/{sys.argv[5]}"])

        runtime = Path(work, "runtime")
        subprocess.run([cmake, "--install", build, "--config", config, "--component", "runtime", "--prefix", runtime],
                       check=True)
        compare([path.relative_to(runtime).as_posix() for path in runtime.rglob("*")
                 if not path.is_dir()], RUNTIME[platform])


def compare(found, expected):
    missing, surplus = sorted(set(expected) - set(found)), sorted(set(found) - set(expected))
    assert not missing and not surplus, f"missing: {missing}, not expected: {surplus}"


if __name__ == "__main__":
    main()
