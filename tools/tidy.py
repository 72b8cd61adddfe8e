#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs clang-tidy over the sources of a configured clang build.

    tools/tidy.py [--checks CHECKS] BUILD [SOURCE ...]

BUILD is the folder with compile_commands.json; without sources all of the project's that it names
are read, CHECKS are added to those of the `.clang-tidy` files. What was clean is not read again
before the source, a header of it or a setting changes: $VELTA_CACHE/tidy keeps an empty file for
each. Exit code 1 if there is a finding.
"""

import argparse
import hashlib
import json
import os
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
ROOMS = ("velta", "tests", "examples", "bench", "tools", "fuzz")
TIDY = "clang-tidy-19"


def output(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, **options).stdout


def sources(build, named):
    """(source, words of its compiler's command, folder) of all that are to be read."""
    wanted = {str(Path(name).resolve()) for name in named}
    for entry in json.loads((build / "compile_commands.json").read_text(encoding="utf-8")):
        source = Path(entry["directory"], entry["file"]).resolve()
        ours = source.is_relative_to(ROOT) and source.relative_to(ROOT).parts[0] in ROOMS
        if str(source) in wanted or (ours and not wanted):
            yield source, shlex.split(entry["command"]), entry["directory"]


class Tidy:
    def __init__(self, build, checks):
        self.command = [TIDY, "-p", str(build), "--quiet", "--extra-arg=-Wno-error",
                        f"--checks={checks}"]
        self.version = output([TIDY, "--version"])
        self.known = Path(os.environ["VELTA_CACHE"], "tidy")
        self.known.mkdir(parents=True, exist_ok=True)

    def stamp(self, source, compiler, folder):
        """The file that says that this text was clean under these settings."""
        at = compiler.index("-o")
        words = [word for word in compiler[:at] + compiler[at + 2:] if word != "-c"]
        # With comments: some of them silence a check.
        text = output([*words, "-E", "-CC"], cwd=folder)
        settings = output([*self.command, "--dump-config", str(source)], cwd=ROOT)
        digest = hashlib.sha256()
        for part in (self.version, settings, text):
            digest.update(hashlib.sha256(part.replace(os.fsencode(ROOT), b"")).digest())
        return self.known / digest.hexdigest()

    def is_clean(self, job):
        source, compiler, folder = job
        stamp = self.stamp(source, compiler, folder)
        if stamp.exists():
            return True
        ended = subprocess.run([*self.command, "--warnings-as-errors=*", str(source)], cwd=ROOT,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        if ended.returncode == 0:
            stamp.touch()
        else:
            sys.stdout.write(ended.stdout.decode(errors="replace") or f"{source}: not read\n")
        return ended.returncode == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("--checks", default="")
    parser.add_argument("sources", nargs="*")
    arguments = parser.parse_args()

    jobs = list({job[0]: job for job in sources(arguments.build, arguments.sources)}.values())
    if not jobs:
        sys.exit("no source is read")
    tidy = Tidy(arguments.build, arguments.checks)
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        findings = list(pool.map(tidy.is_clean, jobs)).count(False)
    print(f"{len(jobs)} sources, {findings} with findings")
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
