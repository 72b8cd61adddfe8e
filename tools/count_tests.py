#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts what a run of ctest has shown.

    tools/count_tests.py LISTING STATUS REPORT [AGAIN]

LISTING is what `ctest --show-only=json-v1` printed, REPORT what `ctest --output-junit` wrote, AGAIN
the report of one repetition of what failed, STATUS the exit code of the last of these runs.

Prints three numbers: passed, failed, and how many of the failed never began. A test has passed when
it is listed and ran to a good end; a GoogleTest program must also have found it. All else failed:
what was skipped, disabled, not started, not reported or not listed. A repetition forgives only what
never began. The failures are named on the standard error output.
"""

import argparse
import json
import sys
from pathlib import Path
from xml.etree import ElementTree

PASSED = "passed"
NEVER_BEGAN = "ended at once, without a word"
AT_ONCE_SECONDS = 30  # what takes longer hangs; every test's time-out is longer
NAMED = 20
QUOTED = 5
QUOTED_LINES = 60


def complain(text):
    print(text, file=sys.stderr)


def read_listing(path):
    """name -> whether a GoogleTest program is asked for it; empty when the listing is not whole."""
    try:
        tests = json.loads(path.read_text(encoding="utf-8"))["tests"]
        return {test["name"]: any(word.startswith("--gtest_filter=")
                                  for word in test.get("command", [])) for test in tests}
    except (OSError, ValueError, KeyError, TypeError) as error:
        complain(f"{path}: no listing of tests: {error!r}")
        return {}


def verdict(case, by_googletest):
    status = case.attrib["status"]
    output = case.findtext("system-out", "")
    if status == "run":
        # A filter that matches nothing passes, and so does a program that ends before it began.
        found = not by_googletest or "Running 1 test from 1 test suite." in output
        return PASSED if found else "passed without its test"
    if status == "fail":
        silent = not output and float(case.attrib["time"]) < AT_ONCE_SECONDS
        return NEVER_BEGAN if silent else "failed"
    reason = case.find("skipped")
    reason = status if reason is None else reason.get("message")
    # Repeated together with its fixture, and only if that never began either.
    return NEVER_BEGAN if reason == "Fixture dependency failed" else f"did not run: {reason}"


def read_report(path, listing):
    """name -> verdict; empty when the report is not whole."""
    verdicts = {}
    try:
        for case in ElementTree.parse(path).getroot().iter("testcase"):
            name = case.attrib["name"]
            verdicts[name] = ("reported twice" if name in verdicts else
                              "not listed" if name not in listing else
                              verdict(case, listing[name]))
        return verdicts
    except (OSError, ElementTree.ParseError, KeyError, ValueError) as error:
        complain(f"{path}: no report: {error!r}")
        return {}


def last_words(path, name):
    """The end of what the test printed."""
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        if case.get("name") == name:
            return "\n".join(case.findtext("system-out", "").splitlines()[-QUOTED_LINES:])
    return ""


def failures(listing, first, again, status):
    """name -> verdict of all that has not passed."""
    failed = {}
    for name in sorted({*listing, *first, *again}):
        shown = first.get(name, "not reported")
        if shown in (PASSED, NEVER_BEGAN):
            shown = again.get(name, shown)  # what passed at first may be a fixture's test
        if shown != PASSED:
            failed[name] = shown
    if not failed and (status != 0 or not listing):
        failed["ctest"] = f"ended with {status} after {len(listing)} tests"
    return failed


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("listing", type=Path)
    parser.add_argument("status", type=int)
    parser.add_argument("report", type=Path)
    parser.add_argument("again", type=Path, nargs="?")
    arguments = parser.parse_args()

    listing = read_listing(arguments.listing)
    first = read_report(arguments.report, listing)
    again = read_report(arguments.again, listing) if arguments.again else {}
    failed = failures(listing, first, again, arguments.status)
    for name, shown in list(failed.items())[:NAMED]:
        complain(f"{name}: {shown}")
    if len(failed) > NAMED:
        complain(f"and {len(failed) - NAMED} more")
    for name in [name for name, shown in failed.items() if shown == "failed"][:QUOTED]:
        report = arguments.again if name in again else arguments.report
        complain(f"---- {name}:\n{last_words(report, name)}")
    never_began = list(failed.values()).count(NEVER_BEGAN)
    print(len(listing.keys() - failed.keys()), len(failed), never_began)


if __name__ == "__main__":
    main()
