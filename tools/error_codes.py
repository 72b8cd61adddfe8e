#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Finds every error code that the library raises, and holds docs/error-codes.md against them.

    tools/error_codes.py ROOT [--list]

Reads velta/ in the one form in which errors are raised here: a function has a static flow point, or
takes one as a parameter and is called with one. A condition that is handed on as a variable is each
literal of the file that looks like one and is not another's. --list prints code and parameters, one error a line.
Whatever raises in another form is a finding, so that none is overlooked. Exits with 1 when there is
a finding, or when a code is missing in the document or stands there without a source.
"""

import argparse
import re
import sys
from pathlib import Path

DOCUMENT = "docs/error-codes.md"
# The flow point itself, which raises what it is told to.
OWN = ("velta/errors/", "velta/logging/")

RAISES = r"(?:Raise|RaiseFromException|MakeRootError|MakeCascadeError)"
ANY_SITE = re.compile(rf"(?:\.|->){RAISES}\s*\(")
SITE = re.compile(rf"\bpoint(?:\.At\(\w+\))?\.({RAISES[3:-1]})\(")
ARRAY = re.compile(r'\bwchar_t (?:\w+::)?(\w+)\[\] = L"(\w+)"')
POINT = re.compile(r'\bstatic MFlowPoint point\((\w+),\s*(?:(\w+)|L"([^"]*)")\)')
HELPER = re.compile(r"\b(\w+)\([^(){};]*\bMFlowPoint& point\b[^;{]*\{")
ADDED = re.compile(r'\.AddParameter\(L"(\w+)"')
LITERAL = re.compile(r'L"(\w+)"')
FREE = re.compile(r'L"([A-Z][a-z]\w*)"')
ADDER = re.compile(r"\b(\w+)\(MError& \w+[^;{]*\{")
NAME = re.compile(r"\b(\w+)\([^;{}]*\)[^;{}]*\{")
CODE = re.compile(r"`([A-Z]\w*\.~?\w+:[A-Z]\w*)`")


def without_comments(text):
    def keep(match):
        return match[0] if match[0].startswith('"') else re.sub(r"[^\n]", " ", match[0])
    return re.sub(r'"(?:\\.|[^"\\\n])*"|//[^\n]*|/\*.*?\*/', keep, text, flags=re.S)


def arguments(text, begin):
    """What stands in the brackets that were opened before `begin`; all if they are not closed."""
    depth = 1
    for token in re.compile(r'"(?:\\.|[^"\\\n])*"|[()]').finditer(text, begin):
        depth += {"(": 1, ")": -1}.get(token[0], 0)
        if depth == 0:
            return text[begin:token.start()]
    return text[begin:]


def functions(text):
    """The parts that end with a bracket in the first column: functions, and whole classes."""
    return re.split(r"(?m)(?<=^\})", text)


class Sources:
    def __init__(self):
        self.findings = []
        self.raised = []   # (place, condition, parameters); a place is (class, operation), or a helper's name
        self.bodies = []   # (place or None, text)

    def read(self, name, text):
        text = without_comments(text)
        arrays = dict(ARRAY.findall(text))
        self.adders = {adder[1]: ADDED.findall(body) for body in functions(text)
                       if (adder := ADDER.search(body))}
        self.known = len(self.raised)  # by the files before
        self.unnamed = []  # (the body's text or None, helper, parameters), conditions in variables
        sites = 0
        for body in functions(text):
            helper = HELPER.search(body)
            point = POINT.search(body)
            if len(POINT.findall(body)) + len(HELPER.findall(body)) > 1:
                self.findings.append(f"{name}: two places where one is expected")
            place = None
            if point:
                array, again, literal = point.groups()
                operation = literal if literal is not None else arrays.get(again)
                place = (arrays.get(array), operation)
                if None in place:
                    self.findings.append(f"{name}: the names of a flow point are not in the file")
                    continue
            elif helper:
                place = helper[1]
            self.bodies.append((place, body))
            found = list(SITE.finditer(body))
            sites += len(found)
            for site in found:
                self.take(name, place, body, site)
        self.take_unnamed(text, arrays)
        if len(POINT.findall(text)) != len(re.findall(r"\bMFlowPoint \w+\(", text)):
            self.findings.append(f"{name}: a flow point is made in a form that is not known here")
        if sites != len(ANY_SITE.findall(text)):
            self.findings.append(f"{name}: an error is raised in a form that is not known here")

    def take(self, name, place, body, site):
        given = arguments(body, site.end())
        words = LITERAL.findall(given)
        handed_on = site[1] != "RaiseFromException" and re.match(r"\w+,", given)
        if not words or (place is None and not handed_on):
            self.findings.append(f"{name}: an error without a place or a name: {site[0]}")
            return
        in_list = re.findall(r'\{\s*L"(\w+)"', given)
        parameters = in_list or words[0 if handed_on else 1:]
        if "LastError(" in given:
            parameters = [*parameters, "winErrorCode", "winErrorMessage"]
        if site[1] == "RaiseFromException":
            parameters = ["errorMessage", *parameters]
        elif site[1].startswith("Make"):
            rest = body[site.end():]
            following = SITE.search(rest)
            parameters += ADDED.findall(rest[:following.start() if following else None])
            for adder, added in self.adders.items():
                if re.search(rf"\b{adder}\(", rest):
                    parameters += added
        if handed_on:
            own = FREE.findall(body[:site.start()])
            self.unnamed.append((body if own else None, place, tuple(parameters)))
        else:
            self.raised.append((place, words[0], tuple(parameters)))

    def take_unnamed(self, text, arrays):
        """The conditions that are variables where they are raised."""
        named = {condition for _, condition, _ in self.raised[self.known:]}
        named |= {arrays.get(array) for array, _, _ in POINT.findall(text)}
        named |= {literal for _, _, literal in POINT.findall(text)}
        within = {body for body, _, _ in self.unnamed if body}
        for body, helper, parameters in self.unnamed:
            for place, where in self.bodies_of(text):
                if (where == body) if body else (where not in within):
                    for condition in sorted(set(FREE.findall(where)) - named):
                        self.raised.append((helper if body else place, condition, parameters))

    def bodies_of(self, text):
        """The functions of a file, each with its place, or its name where it has no flow point."""
        known = dict(map(reversed, self.bodies))
        for body in functions(text):
            name = NAME.search(body)
            place = known.get(body)
            yield place if isinstance(place, tuple) else name and name[1], body

    def places(self, helper, seen=()):
        """Whose flow points reach a helper."""
        call = re.compile(rf"\b{helper}\b[^;(){{}}]*\([^;{{]*\b(?:point|save)\b")
        for place, body in self.bodies:
            if place == helper or place is None or place in seen or not call.search(body):
                continue
            if isinstance(place, tuple):
                yield place
            else:
                yield from self.places(place, (*seen, helper))

    def codes(self):
        """A dictionary from each code to all its parameters."""
        codes = {}
        for place, condition, parameters in self.raised:
            places = [place] if isinstance(place, tuple) else set(self.places(place))
            if not places:
                self.findings.append(f"{place}: nobody calls it, so {condition} has no place")
            for class_name, operation in places:
                codes.setdefault(f"{class_name}.{operation}:{condition}", set()).update(parameters)
        return codes


def collect(root):
    sources = Sources()
    for file in sorted([*(root / "velta").rglob("*.cpp"), *(root / "velta").rglob("*.h")]):
        name = file.relative_to(root).as_posix()
        if not name.startswith(OWN):
            sources.read(name, file.read_text(encoding="utf-8"))
    return sources


def documented(text):
    """The codes of the tables' first columns, with the parameters of the second."""
    found = {}
    for line in text.splitlines():
        if line.startswith("| `"):
            cells = line.split("|")
            for code in CODE.findall(cells[1]):
                found[code] = set(re.findall(r"`(\w+)`", cells[2]))
    return found


def check(codes, text):
    known = documented(text)
    for code in sorted(codes.keys() - known.keys()):
        yield f"{code} is raised and not documented"
    for code in sorted(known.keys() - codes.keys()):
        yield f"{code} is documented and not raised"
    for code in sorted(codes.keys() & known.keys()):
        if codes[code] != known[code]:
            yield f"{code} has the parameters {sorted(codes[code])}"


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("root", type=Path)
    parser.add_argument("--list", action="store_true")
    options = parser.parse_args()

    sources = collect(options.root)
    codes = sources.codes()
    if options.list:
        for code in sorted(codes):
            print(code, *sorted(codes[code]))
        problems = sources.findings
    else:
        text = (options.root / DOCUMENT).read_text(encoding="utf-8")
        problems = [*sources.findings, *check(codes, text)]
    for problem in problems:
        print(problem, file=sys.stderr if options.list else sys.stdout)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
