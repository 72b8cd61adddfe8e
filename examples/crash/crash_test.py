# SPDX-License-Identifier: MIT
"""Crashes the host on purpose and reads what it has written."""

import os
import platform
import re
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

COMMAND = os.environ["CRASH_COMMAND"].split("|")
ON_WINDOWS = COMMAND[-1].endswith(".exe")
UNDER_WINE = ON_WINDOWS and len(COMMAND) > 1  # it passes on the low byte of the exit code


class Crashes(unittest.TestCase):
    def crash(self, kind):
        with tempfile.TemporaryDirectory() as folder:
            log = Path(folder, "crash.log")
            place = f"Z:{log}" if UNDER_WINE else str(log)
            run = subprocess.run(COMMAND + [kind, place], capture_output=True, text=True, timeout=60)
            if log.exists():
                errors = Path(folder, "crash.log.errors").read_text()
                self.assertIn("\ncode Crash.Execute:NoPlan\nparameter file\nvalue plan.xml\nend 1 of 1\n", errors)
            return run, log.read_text() if log.exists() else None

    def check(self, kind, windows_codes, signal_number):
        run, log = self.crash(kind)
        shown = re.search(r"crash: ended by 0x([0-9A-F]+)", run.stderr)
        self.assertTrue(shown, run.stderr)
        code = int(shown[1], 16)
        self.assertIn(code, windows_codes if ON_WINDOWS else [signal_number])
        ended = code & 0xFF if UNDER_WINE else code if ON_WINDOWS else -code
        self.assertEqual(run.returncode, ended, run.stderr)

        lines = [line for line in log.splitlines() if line.startswith("% ")]
        begun = [i for i, line in enumerate(lines)
                 if line.startswith("% Scope_push in_class Crash at Execute ")]
        self.assertEqual(len(begun), 1, log)
        self.assertIn("% Timing_point (", lines[-1])
        self.assertIn("in_class CrashReporter at OnUnhandledException", lines[-1])
        return lines[begun[0]:]

    def test_a_fault_leaves_the_log_with_the_command_under_way(self):
        rest = self.check("read", [0xC0000005], signal.SIGSEGV)
        self.assertFalse([line for line in rest if "Scope_pop in_class Crash " in line], rest)

    def test_so_does_an_exception_that_nobody_handles(self):
        # The compilers' own codes.
        self.check("throw", [0x20474343, 0xE06D7363], signal.SIGABRT)
        self.check("abort", [0x40000015], signal.SIGABRT)

    def test_a_second_thread_that_fails_waits_for_the_report(self):
        self.check("twice", [0xC0000005], signal.SIGSEGV)

    @unittest.skipUnless(platform.libc_ver()[0] == "glibc" and not ON_WINDOWS,
                         "this heap does not end the process")
    def test_a_heap_that_is_locked_and_damaged_does_not_keep_the_log_back(self):
        self.check("heap", [], signal.SIGABRT)

    def test_a_fault_in_a_static_destructor_finds_the_reporter_alive(self):
        self.check("exit", [0xC0000005], signal.SIGSEGV)

    def test_a_run_that_ends_well_reports_nothing(self):
        run, log = self.crash("nothing")
        self.assertEqual((run.returncode, run.stderr, log), (0, "", None))


if __name__ == "__main__":
    unittest.main()
