#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs clang-tidy over the sources of a configured clang build.

    tools/tidy.py [--checks CHECKS] BUILD [SOURCE ...]

BUILD is the folder with compile_commands.json; without sources all of the project's that it names
are read, CHECKS are added to those of the `.clang-tidy` files. What was clean is not read again
before the source, a header of it or a setting changes: $VELTA_CACHE/tidy keeps an empty file for
each. Exit code 1 if there is a finding.

Of misc-include-cleaner only std:: names count: each file includes the header of every one in it, so
that none relies on what another C++ library's headers happen to include. A source may rely on its
own header, x.cpp on x.h, where that uses the same name. With this check headers are read too.
"""

import argparse
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
ROOMS = ("velta", "tests", "examples", "bench", "tools", "fuzz")
TIDY = "clang-tidy-19"
INCLUDES = "misc-include-cleaner"

FINDING = re.compile(r"^(/\S+?):\d+:\d+: (?:warning|error): .*\[[\w.,-]+\]$")
MISSING = re.compile(r"no header providing \"(std::[\w:]+)\" is directly included")
# What the check looks for in a header that has it only in another library.
OVERLOOKED = {"std::chrono::floor", "std::chrono::days", "std::ranges::lower_bound"}


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


def with_headers(jobs):
    """The jobs, and one for each of our headers, compiled as a source beside or above it is."""
    models = {}
    for job in jobs:
        for folder in job[0].parents:
            models.setdefault(folder, job)
    yield from jobs
    for name in output(["git", "ls-files", "*.h"], cwd=ROOT, text=True).split():
        header = ROOT / name
        # Those of Windows alone are in no command here, and some need what is included before them.
        if (header.relative_to(ROOT).parts[0] in ROOMS and "Windows" not in name
                and not name.startswith("tests/crossmodule/headers/")):
            source, words, folder = models[next(f for f in header.parents if f in models)]
            own = [str(header) if Path(folder, word).resolve() == source else word
                   for word in words]
            at = own.index(str(header))
            yield header, [*own[:at], "-x", "c++", *own[at:]], folder


def is_our_affair(path, text):
    """Whether a finding counts: see above."""
    if INCLUDES not in text:
        return True
    missing = MISSING.search(text)
    if not missing or missing[1] in OVERLOOKED:
        return False
    own = path.with_suffix(".h")
    return not (path.suffix == ".cpp" and own.exists()
                and re.search(rf"{missing[1]}\b", own.read_text(encoding="utf-8")))


def findings(text):
    """Those that count, each with the lines that show it."""
    kept, keep = [], True
    for line in text.splitlines(keepends=True):
        finding = FINDING.match(line)
        if finding:
            keep = is_our_affair(Path(finding[1]), line)
        if keep:
            kept.append(line)
    return "".join(kept)


class Tidy:
    def __init__(self, build, checks):
        self.command = [TIDY, "-p", str(build), "--quiet", "--extra-arg=-Wno-error",
                        "--extra-arg=-Wno-pragma-once-outside-header",
                        f"--checks={checks}"]
        self.version = output([TIDY, "--version"])
        self.known = Path(os.environ["VELTA_CACHE"], "tidy")
        self.known.mkdir(parents=True, exist_ok=True)

    def stamp(self, source, compiler, folder):
        """The file that says that this text was clean under these settings."""
        at = compiler.index("-o")
        words = [word for word in compiler[:at] + compiler[at + 2:] if word != "-c"]
        # With comments: some of them silence a check.
        text = output([*words, "-w", "-E", "-CC"], cwd=folder)
        own = source.with_suffix(".h")
        text += own.read_bytes() if own.exists() else b""
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
        ended = subprocess.run([*self.command, str(source)], cwd=ROOT, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, check=False)
        text = findings(ended.stdout.decode(errors="replace"))
        if not text and ended.returncode != 0:
            text = f"{source}: not read\n"
        sys.stdout.write(text)
        if not text:
            stamp.touch()
        return not text


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
    if INCLUDES in arguments.checks and not arguments.sources:
        jobs = list(with_headers(jobs))
    tidy = Tidy(arguments.build, arguments.checks)
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        findings = list(pool.map(tidy.is_clean, jobs)).count(False)
    print(f"{len(jobs)} sources, {findings} with findings")
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
