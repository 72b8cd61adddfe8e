#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs scripts/test.sh and scripts/fuzz.sh over tools that fail in every way, and one that works.

The scripts run in a folder of their own. Every tool they call is the stub below, which notes its
step and does what this test has laid down for it: <step>.out is printed, or is the report that
ctest writes, <step>.exit is the exit code.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
from count_tests_test import LISTING, LOUD, NOT_STARTED, PLAIN, SILENT, WHOLE, one, report

STUB = """#!/bin/sh
step=$(basename "$0")
for last; do :; done
case "$step $*" in
  ctest*--show-only*) step=$2-list ;;
  ctest*--rerun-failed*) step=$2-again ;;
  ctest*) step=$2-tests ;;
  cmake*--build*) step=$3-build ;;
  cmake*--fresh*) step=$2-configure; mkdir -p "build/$2" ;;
esac
echo "$step" >>"$STEPS/done"
out=$STEPS/$step.out
case $step in
  *-list) cp "$STEPS/discovered" "build/$2/program[1]_tests.cmake"; cat "$out" ;;
  *-tests|*-again) if [ -f "$out" ]; then cp "$out" "$last"; fi ;;
  *) if [ -f "$out" ]; then cat "$out"; fi ;;
esac
if [ -n "$GTEST_FILTER" ]; then exit 9; fi
if [ -f "$STEPS/$step.exit" ]; then exit "$(cat "$STEPS/$step.exit")"; fi
"""
STUBS = ["bin/cmake", "bin/ctest", "scripts/setup.sh", "scripts/format.sh", "scripts/cppcheck.sh",
         "scripts/msvc_dialect.sh", "scripts/docs.sh", "scripts/fuzz.sh",
         "scripts/thread_safety.sh", "scripts/tidy.sh", "scripts/workflows.sh",
         "tools/zig/bin/wine-session"]
PRESETS = ["linux", "asan", "tsan", "windows", "windows-shared", "windows-msvc-abi", "linux-arm64",
           "windows-arm64"]
FUZZED = "".join(f"fuzz: {name} passed, 20000 inputs\n" for name in ("document", "edit", "filer"))


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)

    def write(self, path, text, executable=False):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.unlink(missing_ok=True)
        file.write_text(text, encoding="utf-8")
        if executable:
            file.chmod(0o755)

    def fresh(self, copied, steps):
        """The scripts, stubs around them, and what the steps do; a text of None takes it away."""
        for path in self.root.iterdir():
            shutil.rmtree(path)
        for path in STUBS:
            self.write(path, STUB, executable=True)
        for path in [*copied, "scripts/env.sh"]:
            self.write(path, (ROOT / path).read_text(encoding="utf-8"), executable=True)
        (self.root / "bin/python3").symlink_to(sys.executable)
        self.write("tools/check_layers.py", "")
        self.write("tools/check_words.py", "")
        files = {"steps/discovered": "add_test(A.One)\n", "steps/fuzz.sh.out": FUZZED}
        for preset in PRESETS:
            files[f"steps/{preset}-list.out"] = LISTING
            files[f"steps/{preset}-tests.out"] = WHOLE
            # Of an earlier run, and not to be taken for this one's.
            files[f"build/{preset}/gone[1]_tests.cmake"] = "set(gone_TESTS)\n"
            for name, text in [("tests.json", LISTING), ("tests.xml", WHOLE), ("again.xml", WHOLE)]:
                files[f"build/logs/{preset}-{name}"] = text
        for path, text in {**files, **steps}.items():
            if text is None:
                (self.root / path).unlink(missing_ok=True)
            else:
                self.write(path, text)

    def run_script(self, *command, **environment):
        path = f"{self.root}/bin:{os.environ['PATH']}"
        ended = subprocess.run(
            command, cwd=self.root, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True, timeout=60, check=False,
            env={**os.environ, "PATH": path, "STEPS": f"{self.root}/steps", **environment})
        self.output = ended.stdout
        return ended.returncode


class Gate(Folder):
    def gate(self, what, steps, **environment):
        """Exit code, last line, and the steps that were done."""
        self.fresh(["scripts/test.sh", "tools/count_tests.py"], steps)
        status = self.run_script("scripts/test.sh", what, **environment)
        return (status, self.output.splitlines()[-1],
                (self.root / "steps/done").read_text(encoding="utf-8").split())

    def test_everything_passes(self):
        status, last, done = self.gate("all", {}, GTEST_FILTER="A.*")
        self.assertEqual((status, last), (0, "24 passed, 0 failed"), self.output)
        self.assertEqual([step for step in done if step.endswith("-tests")],
                         [f"{preset}-tests" for preset in PRESETS if "arm64" not in preset])

    def test_what_fails_is_counted_and_the_next_configuration_runs(self):
        for what, expected, steps in [
            ("no report", "4 passed, 2 failed", {"tests.out": None}),
            ("an empty report", "4 passed, 2 failed", {"tests.out": ""}),
            ("a report cut off", "4 passed, 2 failed", {"tests.out": WHOLE[:-5]}),
            ("ctest crashed", "4 passed, 2 failed", {"tests.out": None, "tests.exit": "139"}),
            ("ctest crashed after the report", "6 passed, 1 failed", {"tests.exit": "139"}),
            ("no test run", "4 passed, 2 failed", {"tests.out": report(), "tests.exit": "8"}),
            ("a test failed, and must not be repeated", "5 passed, 1 failed",
             {"tests.out": one(LOUD), "tests.exit": "8", "again.out": WHOLE}),
            ("a test could not be started", "5 passed, 1 failed",
             {"tests.out": one(NOT_STARTED), "tests.exit": "8", "again.out": WHOLE}),
            ("the repetition has no report", "5 passed, 1 failed", {"tests.out": one(SILENT)}),
            ("the repetition crashed", "6 passed, 1 failed",
             {"tests.out": one(SILENT), "again.out": WHOLE, "again.exit": "139"}),
            ("the repetition is of other tests", "5 passed, 1 failed",
             {"tests.out": one(SILENT), "again.out": report(("plain", PLAIN))}),
            ("the repetition fails", "5 passed, 1 failed",
             {"tests.out": one(SILENT), "again.out": one(LOUD), "again.exit": "8"}),
            ("a program crashed when asked what it has", "4 passed, 1 failed",
             {"list.out": "", "list.exit": "8"}),
            ("the listing is cut off", "4 passed, 2 failed", {"list.out": LISTING[:-1]}),
            ("not configured", "4 passed, 1 failed", {"configure.exit": "1"}),
            ("not built", "4 passed, 1 failed", {"build.exit": "1"}),
        ]:
            with self.subTest(what):
                status, last, done = self.gate(
                    "windows", {f"steps/windows-{name}": text for name, text in steps.items()})
                self.assertEqual((status, last), (1, expected), self.output)
                self.assertIn("windows-shared-tests", done)
                self.assertEqual("windows-again" in done, "repetition" in what)

    def test_what_every_configuration_needs(self):
        for what, expected, steps in [
            ("set-up", "6 passed, 1 failed", {"steps/setup.sh.exit": "1"}),
            ("wine", "0 passed, 3 failed", {"steps/wine-session.exit": "1"}),
            ("a program with no tests", "0 passed, 3 failed", {"steps/discovered": "set(tests)\n"}),
            ("no count", "0 passed, 3 failed", {"tools/count_tests.py": None}),
            ("a senseless count", "0 passed, 3 failed",
             {"tools/count_tests.py": "print('a[0', 1)"}),
        ]:
            with self.subTest(what):
                status, last, done = self.gate("windows", steps)
                self.assertEqual((status, last), (1, expected), self.output)
                self.assertIn("windows-shared-configure", done)

    def test_a_silent_start_is_repeated_under_wine_only(self):
        for what, preset, expected, repeated in [
                ("windows", "windows", "6 passed, 0 failed", True),
                ("linux", "linux", "1 passed, 1 failed", False),
                ("arm64", "windows-arm64", "3 passed, 1 failed", False)]:
            steps = {f"steps/{preset}-tests.out": one(SILENT), f"steps/{preset}-tests.exit": "8",
                     f"steps/{preset}-again.out": WHOLE}
            status, last, done = self.gate(what, steps)
            self.assertEqual((status, last), (0 if repeated else 1, expected), self.output)
            self.assertEqual(f"{preset}-again" in done, repeated)
            self.assertEqual("wine-session" in done, what == "windows")

    def test_the_steps_beside_the_configurations(self):
        for what, expected, steps in [
            ("scripts are gone", "22 passed, 2 failed",
             {"scripts/cppcheck.sh": None, "tools/check_layers.py": None}),
            ("no fuzzer built", "21 passed, 1 failed",
             {"steps/fuzz.sh.out": None, "steps/fuzz.sh.exit": "1"}),
            ("nothing fuzzed", "21 passed, 1 failed", {"steps/fuzz.sh.out": None}),
            ("fuzzing broke off", "24 passed, 1 failed", {"steps/fuzz.sh.exit": "1"}),
            ("a finding", "24 passed, 1 failed",
             {"steps/fuzz.sh.out": FUZZED + "fuzz: chain failed\n", "steps/fuzz.sh.exit": "1"}),
        ]:
            with self.subTest(what):
                status, last, done = self.gate("all", steps)
                self.assertEqual((status, last), (1, expected), self.output)
                self.assertTrue({"windows-shared-tests", "fuzz.sh"} <= set(done), done)


class Fuzz(Folder):
    def test_a_fuzzer_must_have_tried_what_was_asked(self):
        self.fresh(["scripts/fuzz.sh"], {})
        for name, script in [("document", "echo stat::number_of_executed_units: 300"),
                             ("edit", "echo stat::number_of_executed_units: 299"),
                             ("filer", "echo stat::number_of_executed_units: 300; exit 1"),
                             ("number", "true")]:  # and of chain there is no program
            self.write(f"build/fuzz/bin/velta_fuzz_{name}", f"#!/bin/sh\n{script}\n", True)
        self.assertEqual(self.run_script("scripts/fuzz.sh", "--runs", "300"), 1, self.output)
        self.assertEqual(re.findall(r"fuzz: (\w+) (\w+)", self.output), [
            ("document", "passed"), ("edit", "failed"), ("filer", "failed"), ("fields", "failed"),
            ("number", "failed"), ("chain", "failed"), ("dump", "failed"), ("errors", "failed")])


if __name__ == "__main__":
    unittest.main()
