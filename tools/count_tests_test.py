#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows that count_tests.py takes for passed only what has passed."""

import contextlib
import io
import json
import subprocess
import tempfile
import unittest
from pathlib import Path
from unittest import mock
from xml.sax.saxutils import quoteattr

import count_tests

HEADER = "[==========] Running 1 test from 1 test suite.\n"
GOOD = {"status": "run", "output": HEADER}
PLAIN = {"status": "run"}  # not of GoogleTest: may have no word
LOUD = {"status": "fail", "output": HEADER}
SILENT = {"status": "fail"}
HUNG = {"status": "fail", "time": "300.01"}
DISABLED = {"status": "disabled", "output": "Disabled"}
SKIPPED = {"status": "notrun", "reason": "SKIP_RETURN_CODE=77", "output": HEADER}
NOT_STARTED = {"status": "notrun", "reason": "Unable to find executable"}
NO_FIXTURE = {"status": "notrun", "reason": "Fixture dependency failed", "output": "Failed: plain"}


def report(*cases):
    """What ctest writes of (name, what happened)."""
    text = '<?xml version="1.0" encoding="UTF-8"?>\n<testsuite name="(empty)">\n'
    for name, case in cases:
        reason = case.get("reason")
        text += (f'<testcase name="{name}" time="{case.get("time", "0.01")}"'
                 f' status="{case["status"]}">'
                 + (f"<skipped message={quoteattr(reason)}/>" if reason else "")
                 + f'<system-out>{case.get("output", "")}</system-out></testcase>\n')
    return text + "</testsuite>\n"


def listing(*tests):
    """What ctest prints of (name, words of its command)."""
    return json.dumps({"tests": [{"name": name, "command": ["program", *words]}
                                 for name, *words in tests]})


LISTING = listing(("A.One", "--gtest_filter=A.One"), ("plain",))
WHOLE = report(("A.One", GOOD), ("plain", PLAIN))


def one(case):
    return report(("A.One", case), ("plain", PLAIN))


class Counts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def count(self, first, again=None, status=0, listed=LISTING):
        """What is printed; a text of None is a file that is not there."""
        words = ["count_tests.py"]
        for name, text in [("listing", listed), ("first", first), ("again", again)]:
            path = self.folder / name
            path.unlink(missing_ok=True)
            if text is not None:
                path.write_text(text, encoding="utf-8")
            words.append(str(path))
        words.insert(2, str(status))
        printed, named = io.StringIO(), io.StringIO()
        with mock.patch("sys.argv", words), contextlib.redirect_stdout(printed), \
                contextlib.redirect_stderr(named):
            count_tests.main()
        self.named = named.getvalue()
        return printed.getvalue()

    def test_the_first_run(self):
        for what, expected, arguments in [
            ("all good", "2 0 0", {"first": WHOLE}),
            ("ctest ended badly all the same", "2 1 0", {"first": WHOLE, "status": 1}),
            ("no report", "0 2 0", {"first": None}),
            ("an empty file", "0 2 0", {"first": ""}),
            ("a report cut off", "0 2 0", {"first": WHOLE[:-5]}),
            ("a report of something else", "0 2 0", {"first": WHOLE.replace("status", "state")}),
            ("no test run", "0 2 0", {"first": report()}),
            ("one is not reported", "1 1 0", {"first": report(("A.One", GOOD))}),
            ("one is reported twice", "1 1 0",
             {"first": report(("A.One", SILENT), ("A.One", GOOD), ("plain", PLAIN))}),
            ("one is not listed", "2 1 0",
             {"first": report(("A.One", GOOD), ("B.Two", GOOD), ("plain", PLAIN))}),
            ("no listing", "0 2 0", {"first": WHOLE, "listed": None}),
            ("a listing cut off", "0 2 0", {"first": WHOLE, "listed": LISTING[:-1]}),
            ("nothing listed", "0 1 0", {"first": report(), "listed": listing()}),
            ("failed with a word", "1 1 0", {"first": one(LOUD)}),
            ("failed without one", "1 1 1", {"first": one(SILENT)}),
            ("timed out without one", "1 1 0", {"first": one(HUNG)}),
            ("disabled", "1 1 0", {"first": one(DISABLED)}),
            ("skipped", "1 1 0", {"first": one(SKIPPED)}),
            ("not started", "1 1 0", {"first": one(NOT_STARTED)}),
            ("its fixture did not begin", "0 2 2",
             {"first": report(("A.One", NO_FIXTURE), ("plain", SILENT))}),
            ("a filter that matches nothing", "1 1 0",
             {"first": one({"status": "run", "output": HEADER.replace("1", "0")})}),
            ("good without a word", "1 1 0", {"first": one(PLAIN)}),
        ]:
            with self.subTest(what):
                self.assertEqual(self.count(**arguments), expected + "\n", self.named)
                self.assertEqual(HEADER in self.named, what == "failed with a word")

    def test_the_repetition(self):
        for what, expected, arguments in [
            ("good", "2 0 0", {"first": one(SILENT), "again": report(("A.One", GOOD))}),
            ("good, with a fixture", "2 0 0", {"first": one(SILENT), "again": WHOLE}),
            ("good, ctest ended badly", "2 1 0",
             {"first": one(SILENT), "again": WHOLE, "status": 1}),
            ("no report", "1 1 1", {"first": one(SILENT), "again": None}),
            ("of other tests", "1 1 1",
             {"first": one(SILENT), "again": report(("plain", PLAIN))}),
            ("of unknown tests", "1 2 1", {"first": one(SILENT), "again": report(("B.Two", GOOD))}),
            ("failed with a word", "1 1 0",
             {"first": one(SILENT), "again": report(("A.One", LOUD))}),
            ("the fixture failed", "1 1 0", {"first": one(SILENT), "again": report(
                ("A.One", GOOD), ("plain", LOUD))}),
            ("cannot forgive a word", "1 1 0", {"first": one(LOUD), "again": WHOLE}),
        ]:
            with self.subTest(what):
                self.assertEqual(self.count(**arguments), expected + "\n", self.named)

    def test_what_ctest_itself_writes(self):
        (self.folder / "CMakeLists.txt").write_text("""
            cmake_minimum_required(VERSION 3.25)
            project(tests NONE)
            enable_testing()
            add_test(NAME good COMMAND true)
            add_test(NAME silent COMMAND false)
            add_test(NAME loud COMMAND sh -c "printf 'word \\\\001\\\\377'; exit 1")
            add_test(NAME slow COMMAND sh -c "echo word; exec sleep 60")
            add_test(NAME skipped COMMAND sh -c "exit 77")
            add_test(NAME disabled COMMAND true)
            add_test(NAME gone COMMAND ./gone)
            add_test(NAME user COMMAND true)
            add_test(NAME A.One COMMAND true --gtest_filter=A.One)
            set_tests_properties(slow PROPERTIES TIMEOUT 0.5)
            set_tests_properties(skipped PROPERTIES SKIP_RETURN_CODE 77)
            set_tests_properties(disabled PROPERTIES DISABLED ON)
            set_tests_properties(silent PROPERTIES FIXTURES_SETUP fixture)
            set_tests_properties(user PROPERTIES FIXTURES_REQUIRED fixture)
            """, encoding="utf-8")

        def run(*command):
            return subprocess.run(command, cwd=self.folder, capture_output=True, check=False).stdout

        run("cmake", ".")
        listed = run("ctest", "--show-only=json-v1").decode()
        run("ctest", "--output-junit", "junit.xml")
        text = (self.folder / "junit.xml").read_text(encoding="utf-8")
        self.assertEqual(self.count(text, status=8, listed=listed), "1 8 2\n")
        verdicts, quotes = self.named.split("----", 1)
        self.assertIn("slow:\nword\n", quotes)
        named = dict(line.split(": ", 1) for line in verdicts.splitlines()[-8:])
        self.assertEqual(named, {
            "A.One": "passed without its test", "disabled": "did not run: disabled",
            "gone": "did not run: Unable to find executable", "loud": "failed",
            "silent": count_tests.NEVER_BEGAN, "skipped": "did not run: SKIP_RETURN_CODE=77",
            "slow": "failed", "user": count_tests.NEVER_BEGAN})


if __name__ == "__main__":
    unittest.main()
