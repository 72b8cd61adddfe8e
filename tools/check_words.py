#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Finds words that this project does not use, and names the one to use instead.

    tools/check_words.py PATH...      files, or folders with all their sources, documents and scripts

The words that it does use are in CONTRIBUTING.md. Exits with 1 when there is a finding.
"""

import re
import sys
from pathlib import Path

SUFFIXES = {".h", ".cpp", ".md", ".py", ".txt", ".cmake", ".sh", ".natvis"}

# (what is out, what to write): whole words whatever their case, or a part of an identifier.
WORDS = [
    (r"(?<!left )(?<!leaves )\bbehind\b", "after"),
    (r"\banew\b", "again"),
    (r"\bhe\b|\bhim\b|\bhis\b", "it, its"),
    (r"\bhands?\s+((it|this|that|them)\s+)?on\b", "passes on"),
    (r"\bhears?\s+of\b", "receives"),
    (r"\bfor\s+want\s+of\b", "without"),
    (r"\bowed\b", "deferred"),
    (r"goodbye", "destruction"),
    (r"milestone", "the name of what is waited for"),
    (r"surround", "wrap"),
]
IDENTIFIERS = [
    (r"Admits?(?![a-z])", "Matches"),
    (r"Behind(?![a-z])", "After"),
    (r"Owed(?![a-z])", "Deferred"),
    (r"Slowly(?![a-z])", "SlowPath"),
    (r"Teller(?![a-z])", "IdentifyingRecord"),
    (r"(Untold|Told)(?![a-z])", "WithStatus, WithoutStatus"),
]
PATTERNS = [(re.compile(out, re.I), use) for out, use in WORDS]
PATTERNS += [(re.compile(out), use) for out, use in IDENTIFIERS]

# (the end of a path, a line that may keep its words): quoted output, names that others gave.
EXCEPTIONS = [
    ("tools/check_words.py", re.compile("")),
    ("tools/check_words_test.py", re.compile("")),
]


def files_of(path):
    if path.is_file():
        return [path]
    return sorted(file for file in path.rglob("*") if file.is_file() and file.suffix in SUFFIXES)


def is_excepted(file, line):
    return any(file.resolve().as_posix().endswith("/" + end) and allowed.search(line)
               for end, allowed in EXCEPTIONS)


def check(file):
    """The findings of one file, as lines of text."""
    findings = []
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
        for pattern, use in PATTERNS:
            match = pattern.search(line)
            if match and not is_excepted(file, line):
                findings.append(f"{file.as_posix()}:{number}: \"{match[0]}\": write \"{use}\"")
    return findings


def main(arguments):
    if not arguments:
        print(__doc__.split("\n\n")[1].strip(), file=sys.stderr)
        return 2
    findings = []
    for path in map(Path, arguments):
        files = files_of(path)
        if not files:
            findings.append(f"{path.as_posix()}: nothing to check there")
        for file in files:
            findings += check(file)
    print("\n".join(findings) or "words: nothing found")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
