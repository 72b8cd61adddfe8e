#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the rooms of velta/ depend on each other in one direction only.

    tools/check_layers.py ROOT [--objects LIST] [--graph]

Includes: every velta/ header exists, points downwards, and headers form no cycle; windows.h stands
in one file; public headers reach neither private headers nor windows.h. With --objects (a file that
names the rooms' object files, one a line) the symbols that one room's objects take from another's
are held against the same table. The four seams that go upwards are listed below and nowhere else.

docs/rooms.svg shows the rooms and what they include; --graph draws it again.
"""

import argparse
import fnmatch
import posixpath
import re
import subprocess
import sys
from collections import namedtuple
from pathlib import Path

import layer_graph

# A room may use the rooms on lower levels, and itself. "mstring" is the one header of text/ that
# the floor needs.
LEVELS = {
    "platform": 0,
    "mstring": 1,
    "logging": 2,
    "text": 2,
    "errors": 3,
    "xml": 3,
    "threads": 4,
    "serialisation": 4,
    "commands": 5,
    "settings": 5,
}
MSTRING = "velta/text/MString.h"

# Operations of text/ are instrumented like all others.
SIDEWAYS = [("velta/text/*.cpp", "logging")]

WINDOWS_H_OWNER = "velta/platform/internal/Win32.h"
SYSTEM_HEADERS = re.compile(r"(windows|winsock2?|ws2tcpip|objbase|process|winbase|winnt)\.h$", re.I)

# The first seam: logging/ declares the error side of MFlowPoint and links without it, so the floor
# stays the floor. (pattern of mangled names, the room that declares, the source that defines)
DEFINED_ELSEWHERE = [("_ZN10MFlowPoint*", "logging", "velta/errors/FlowPointErrors.cpp")]

# The others: `user` (a file pattern) may use of `room` what `only` names, a header where includes
# are allowed and a mangled name where symbols are.
Seam = namedtuple("Seam", "name user room only includes symbols")
SEAMS = [
    Seam("text raises through errors", "velta/text/*.cpp", "errors", "*", True, True),
    Seam("the cause chain is read by serialisation", "velta/errors/*.cpp", "serialisation",
         "*CauseChain*", False, True),
    Seam("errors write themselves through the filer interfaces", "velta/errors/*.cpp",
         "serialisation", "velta/serialisation/I*FilerTagged.h", True, False),
    Seam("the filer interfaces' own type records", "velta/errors/*.cpp", "serialisation",
         "_ZT[IVS]*FilerTagged*", False, True),
]

GRAPH = "docs/rooms.svg"

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def room_of(path):
    if path == MSTRING:
        return "mstring"
    return path.split("/")[1]


def is_header(path):
    return path.endswith(".h")


def is_private(path):
    return "/internal/" in path or "/posix/" in path


def may_use(user, room):
    own = room_of(user)
    if room == own or LEVELS[room] < LEVELS[own]:
        return True
    return any(fnmatch.fnmatchcase(user, pattern) and room == target for pattern, target in SIDEWAYS)


def seam_allows(user, room, what, kind):
    return any(fnmatch.fnmatchcase(user, seam.user) and seam.room == room and getattr(seam, kind)
               and fnmatch.fnmatchcase(what, seam.only) for seam in SEAMS)


def read_includes(root):
    """The include lines of every source below velta/: path -> [(line number, quote, name)]."""
    includes = {}
    for file in sorted((root / "velta").rglob("*")):
        if file.suffix not in (".h", ".cpp"):
            continue
        found = []
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if match:
                found.append((number, match.group(1), match.group(2)))
        includes[file.relative_to(root).as_posix()] = found
    return includes


def check_includes(root):
    includes = read_includes(root)
    problems = []
    for path, lines in includes.items():
        if path.split("/")[1] not in LEVELS:
            problems.append(f"{path}: the table has no room of this name")
            continue
        for number, quote, name in lines:
            where = f"{path}:{number}"
            if SYSTEM_HEADERS.match(name) and path != WINDOWS_H_OWNER:
                problems.append(f"{where}: {name} belongs in {WINDOWS_H_OWNER} only")
            if not name.startswith("velta/"):
                if quote == '"':
                    problems.append(f'{where}: "{name}" is not written from the source root')
                continue
            if name not in includes:
                problems.append(f"{where}: {name} does not exist")
                continue
            room = room_of(name)
            if not may_use(path, room) and not seam_allows(path, room, name, "includes"):
                problems.append(f"{where}: {room_of(path)} must not include {name}")
            if is_header(path) and not is_private(path) and is_private(name):
                problems.append(f"{where}: a public header includes the private {name}")
            if is_private(name) and "/posix/" in name and room_of(path) != "platform":
                problems.append(f"{where}: {name} is the platform's own")
    return problems + find_cycles(includes)


def graph(root):
    """What the rooms include, and the seams, as a picture."""
    edges = {(room_of(path), room_of(name)) for path, lines in read_includes(root).items()
             for _, _, name in lines if name.startswith("velta/")}
    edges = {(user, used) for user, used in edges if user != used}
    seams = {(user, used) for user, used in edges if LEVELS[user] < LEVELS[used]}
    defined = {(home, room_of(only)) for _, home, only in DEFINED_ELSEWHERE}
    return layer_graph.draw(LEVELS, edges - seams, seams | defined)


def find_cycles(includes):
    """Reports each header that reaches itself through headers, once per cycle."""
    problems, done, trail = [], set(), []

    def visit(path):
        if path in trail:
            problems.append("headers in a circle: " + " > ".join(trail[trail.index(path):] + [path]))
            return
        if path in done:
            return
        trail.append(path)
        for _, _, name in includes.get(path, []):
            if name in includes and is_header(name):
                visit(name)
        trail.pop()
        done.add(path)

    for path in includes:
        if is_header(path):
            visit(path)
    return problems


def source_of(object_path):
    """The source an object file was compiled from, as CMake names the two; None for others."""
    match = re.search(r"(velta/\w+)/CMakeFiles/velta_\w+\.dir/(.+)\.o(bj)?$", object_path)
    return posixpath.normpath(f"{match.group(1)}/{match.group(2)}") if match else None


def read_symbols(objects, nm="nm"):
    """source -> (defined, undefined); weak definitions belong to nobody."""
    symbols = {}
    for path in objects:
        source = source_of(path)
        if source is None:
            raise ValueError(f"{path} is not an object file of a room")
        output = subprocess.run([nm, "-g", path], check=True, capture_output=True, text=True).stdout
        defined, undefined = set(), set()
        for line in output.splitlines():
            kind, name = line.split()[-2:]
            if kind == "U":
                undefined.add(name)
            elif kind in "TDBRSG":
                defined.add(name)
        symbols[source] = (defined, undefined)
    return symbols


def check_symbols(symbols):
    owner = {name: source for source, (defined, _) in symbols.items() for name in defined}
    problems = []
    for source, (defined, undefined) in sorted(symbols.items()):
        for name in sorted(undefined):
            definer = owner.get(name)
            if definer is None:
                continue
            room = room_of(definer)
            if not may_use(source, room) and not seam_allows(source, room, name, "symbols"):
                problems.append(f"{source}: {room_of(source)} must not use {name} of {definer}")
        for pattern, home, only in DEFINED_ELSEWHERE:
            stray = [name for name in defined if fnmatch.fnmatchcase(name, pattern)]
            if stray and room_of(source) != home and source != only:
                problems.append(f"{source}: {stray[0]} is defined in {only} or in {home}/ only")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("root", type=Path)
    parser.add_argument("--objects", type=Path)
    parser.add_argument("--graph", action="store_true")
    arguments = parser.parse_args()

    problems = check_includes(arguments.root)
    picture = arguments.root / GRAPH
    if arguments.graph and not problems:
        picture.write_text(graph(arguments.root), encoding="utf-8")
    kept = picture.read_text(encoding="utf-8") if picture.is_file() else ""
    if not problems and kept != graph(arguments.root):
        problems.append(f"{GRAPH} is not what the rooms include: draw it with --graph")
    if arguments.objects:
        objects = arguments.objects.read_text(encoding="utf-8").split("\n")
        problems += check_symbols(read_symbols([path for path in objects if path]))
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
