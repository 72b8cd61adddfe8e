#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the documents with what they talk about: code with sources, output with programs.

    tools/check_documents.py ROOT [--bin FOLDER] [--suffix .exe] [--emulator PROGRAM]

A comment in front of a fenced block says where its text comes from:

    <!-- code: examples/quickstart/main.cpp -->       stands in that file, indentation aside
    <!-- output: guide_settings text -->              is all that the program prints
    <!-- output, numbers aside: guide_dump | velta-log errors -->   the same, numbers masked
    <!-- output on Windows: guide_window_messages -->  left alone where programs are built for Linux

A line "..." of an output stands for any number of lines; a program after "|" reads what the one in
front of it prints. Every block of C++ needs a comment, and
every relative link a target. Without --bin no program is run.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import textwrap
from pathlib import Path

MARKER = re.compile(r"^<!-- (code|output|output, numbers aside|output on Windows): (.+) -->$")
ANY_MARKER = re.compile(r"^<!-- *(code|output)\b")
FENCE = re.compile(r"^ {0,3}```(\w*)\s*$")
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")
DATE = re.compile(r"\b(Mon|Tue|Wed|Thu|Fri|Sat|Sun) [A-Z][a-z]{2} [ \d]\d [\d:]{8} \d{4}\b")
ADDRESS = re.compile(r"\b[0-9A-F]{16}\b")
NUMBER = re.compile(r"-?\d+(\.\d+)?")


def blocks(lines):
    """Yields (line number, marker or None, language, text) of every fenced block."""
    number, marker = 0, None
    while number < len(lines):
        line = lines[number]
        number += 1
        fence = FENCE.match(line)
        if not fence:
            marker = line if ANY_MARKER.match(line) else marker if not line.strip() else None
            continue
        start = number
        while number < len(lines) and lines[number].strip() != "```":
            number += 1
        yield start, marker, fence.group(1), "\n".join(lines[start:number]) + "\n"
        number, marker = number + 1, None


def mask(text):
    return re.sub(r" +", " ", NUMBER.sub("#", ADDRESS.sub("#", DATE.sub("#", text))))


def stands_in(shown, source):
    """Whether the lines stand in the source, one after the other, all indented by the same."""
    wanted = textwrap.dedent(shown).splitlines()
    lines = source.splitlines()
    for start in range(len(lines) - len(wanted) + 1):
        part = lines[start:start + len(wanted)]
        if part[0].strip() == wanted[0].strip() and \
                textwrap.dedent("\n".join(part)).splitlines() == wanted:
            return True
    return False


def agrees(shown, printed):
    """Whether the text is what was printed, "..." lines standing for whatever was there."""
    parts = re.split(r"(?m)^\.\.\.\n", shown)
    pattern = r"(?:.*\n)*?".join(re.escape(part) for part in parts)
    return re.fullmatch(pattern, printed) is not None


def anchor(heading):
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


class Checker:
    def __init__(self, root, run=None, on_windows=False):
        self.root = root
        self.on_windows = on_windows
        self.run = run  # programs -> what they print; None to leave the programs alone
        self.outputs = {}

    def check(self, document):
        lines = document.read_text(encoding="utf-8").splitlines()
        where = document.relative_to(self.root).as_posix()
        for number, marker, language, text in blocks(lines):
            problem = self.check_block(marker, language, text)
            if problem:
                yield f"{where}:{number}: {problem}"
        for number, target in self.links(lines):
            if not self.resolves(document, target):
                yield f"{where}:{number}: nothing is at {target}"

    def check_block(self, marker, language, text):
        if marker is None:
            return "C++ without the source it is from" if language == "cpp" else None
        match = MARKER.match(marker)
        if not match:
            return f"not understood: {marker}"
        kind, subject = match.groups()
        if kind == "code":
            source = self.root / subject
            if not source.is_file():
                return f"there is no {subject}"
            if not stands_in(text, source.read_text(encoding="utf-8")):
                return f"does not stand in {subject}"
            return None
        if self.run is None or kind == "output on Windows" and not self.on_windows:
            return None
        if subject not in self.outputs:
            self.outputs[subject] = self.run(subject)
        printed = self.outputs[subject]
        aside = kind == "output, numbers aside"
        same = agrees(mask(text), mask(printed)) if aside else agrees(text, printed)
        return None if same else f"is not what {subject} prints:\n{printed}"

    @staticmethod
    def links(lines):
        inside = False
        for number, line in enumerate(lines, 1):
            if line.lstrip().startswith("```"):
                inside = not inside
            elif not inside:
                for match in LINK.finditer(re.sub(r"`[^`]*`", "", line)):
                    if not re.match(r"[a-z]+:", match.group(1)):
                        yield number, match.group(1)

    @staticmethod
    def resolves(document, target):
        path, _, section = target.partition("#")
        file = document.parent / path if path else document
        if not file.exists():
            return False
        if not section:
            return True
        headings = re.findall(r"(?m)^#+ (.*)$", file.read_text(encoding="utf-8"))
        return section in map(anchor, headings)


def documents(root):
    for path in sorted(root.rglob("*.md")):
        parts = path.relative_to(root).parts
        if parts[0] != "build" and not any(part.startswith(".") for part in parts):
            yield path


def runner(folder, suffix, emulator):
    def run(commands):
        text = b""
        with tempfile.TemporaryDirectory() as scratch:
            environment = dict(os.environ, VELTA_REGISTRY=scratch)
            for name, *words in (command.split() for command in commands.split("|")):
                program = folder.resolve() / (name + suffix)
                if not program.is_file():
                    return f"(there is no {program.name})\n"
                done = subprocess.run(emulator + [str(program)] + words, cwd=scratch, input=text,
                                      stdout=subprocess.PIPE, timeout=60, check=False,
                                      env=environment)
                text = done.stdout.replace(b"\r\n", b"\n")
                if done.returncode != 0:
                    return f"{text.decode()}({name} ended with {done.returncode})\n"
        return text.decode("utf-8")
    return run


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("root", type=Path)
    parser.add_argument("--bin", type=Path)
    parser.add_argument("--suffix", default="")
    parser.add_argument("--emulator", action="append", default=[])
    arguments = parser.parse_args()

    run = runner(arguments.bin, arguments.suffix, arguments.emulator) if arguments.bin else None
    checker = Checker(arguments.root.resolve(), run, arguments.suffix == ".exe")
    found = False
    for document in documents(checker.root):
        for problem in checker.check(document):
            found = True
            print(problem)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
