#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the host on files made here and compares what it says with what Python counts.

HOST_COMMAND holds the program, after an emulator and a "|" where there is one.
"""

import os
import re
import subprocess
import tempfile
import unittest
import zlib
from pathlib import Path

COMMAND = os.environ["HOST_COMMAND"].split("|")
DEBUG_DUMP = Path("/tmp/DebugDump.log")

STOPPED = "MCommandProcessor.ExecuteSynchronously:ProcessorStopped"


class HostTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def run_host(self, *arguments, **options):
        environment = dict(os.environ, LC_ALL="C.UTF-8",
                           VELTA_REGISTRY=str(self.folder / "registry"))
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        run = subprocess.run([*COMMAND, *arguments], cwd=self.folder, env=environment,
                             stdin=subprocess.DEVNULL, timeout=100, check=False, **options)
        decode = lambda text: (text or b"").decode("utf-8").replace("\r\n", "\n").replace("\\", "/")
        return run.returncode, decode(run.stdout), decode(run.stderr)

    def rows(self, output):
        """The results as (name, bytes, lines, words, checksum)."""
        table, summary, *_ = output.split("\n\n")
        heading, *lines = table.split("\n")
        self.assertEqual(heading.split(), ["bytes", "lines", "words", "crc-32", "file"])
        cells = [re.fullmatch(r" *(\d+) +(\d+) +(\d+)  ([0-9a-f]{8})  (.*)", line).groups()
                 for line in lines]
        return [(name, int(size), int(breaks), int(words), int(checksum, 16))
                for size, breaks, words, checksum, name in cells], self.summary(summary)

    def summary(self, text):
        return dict(re.split(r"  +|(?<=after the stop) ", line, maxsplit=1)
                    for line in text.strip().split("\n"))

    def expected(self, name):
        content = (self.folder / name).read_bytes()
        return name, len(content), content.count(b"\n"), len(content.split()), zlib.crc32(content)

    def test_counts_and_checksums(self):
        # A word across the blocks it is read in; two notifications besides the final one.
        self.write("tree/large", b"a word " * (9 * 1024 * 1024 // 7))
        self.write("tree/empty", b"")
        self.write("tree/below/deeper/file.txt", b"one two\nthree\tfour\r\nfive")
        self.write("tree/f\u00fcnf \u0444\u0430\u0439\u043b \u20ac.txt", "gr\u00fc\u00df".encode())
        self.write("alone", bytes(range(256)) * 3)

        code, output, errors = self.run_host("alone", "tree", "--threads", "3")

        self.assertEqual((code, errors), (0, ""))
        rows, summary = self.rows(output)
        expected = [self.expected(name) for name in (
            "alone", "tree/below/deeper/file.txt", "tree/empty",
            "tree/f\u00fcnf \u0444\u0430\u0439\u043b \u20ac.txt", "tree/large")]
        self.assertEqual(rows, expected)
        self.assertEqual([int(summary[name]) for name in ("bytes", "lines", "words")],
                         [sum(row[i] for row in expected) for i in (1, 2, 3)])
        self.assertEqual((summary["counted"], summary["failed"]), ("5", "0"))
        # 5 files, 2 parts of the large one, and the last one of all.
        self.assertEqual(summary["notifications"], "8 delivered")
        self.assertRegex(summary["hooks"], r"^start once, exit once, idle (once|\d+ times)$")
        self.assertEqual(summary["flush"], "returned while the callers were at work")
        stop = re.fullmatch(r"with 3 queued: (\d) run by it, (\d) refused", summary["stop"])
        run_at_stop, refused = map(int, stop.groups())
        self.assertEqual(run_at_stop + refused, 3)
        # 5 files, 3 folders, and what the stop found queued.
        self.assertEqual(summary["commands"], f"{8 + run_at_stop} run")
        self.assertEqual(summary["after the stop"], f"refused, {STOPPED}")

    def test_order_is_that_of_names_for_any_number_of_threads(self):
        for i in range(300):
            self.write(f"many/{i % 7}/{i * 7919 % 1000}", b"x " * i)
        names = sorted(path.relative_to(self.folder).as_posix()
                       for path in (self.folder / "many").rglob("*") if path.is_file())
        code, output, _ = self.run_host("--threads", "64", "--", "many")
        self.assertEqual(code, 0)
        self.assertEqual(self.rows(output)[0], [self.expected(name) for name in names])

    def test_missing_file_fails_alone(self):
        self.write("present", b"1\n")
        code, output, errors = self.run_host("missing", "present")
        self.assertEqual(code, 1)
        self.assertRegex(errors, r"""\Amissing failed:
  CountFile\.Execute:FileNotCounted file=missing
  caused by InputFile\.InputFile:OpenFailed errno=2 errorMessage=".+"
\Z""")
        rows, summary = self.rows(output)
        self.assertEqual(rows, [self.expected("present")])
        self.assertEqual((summary["counted"], summary["failed"]), ("1", "1"))

    def test_file_that_cannot_be_read(self):
        code, _, errors = self.run_host("/proc/self/mem")
        self.assertEqual(code, 1)
        self.assertIn("caused by InputFile.ReadBlock:ReadFailed errno=5 ", errors)

    def test_link_that_leads_nowhere(self):
        self.write("tree/file", b"1\n")
        (self.folder / "tree/away").symlink_to("nowhere")
        code, output, errors = self.run_host("tree")
        self.assertEqual(code, 1)
        self.assertTrue(errors.startswith("tree/away failed:\n"), errors)
        self.assertEqual(self.rows(output)[0], [self.expected("tree/file")])

    def test_link_that_leads_in_a_circle(self):
        self.write("tree/file", b"1\n")
        (self.folder / "tree/circle").symlink_to(".")
        code, output, errors = self.run_host("tree")
        self.assertEqual((code, errors), (0, ""))
        self.assertEqual(self.rows(output)[0], [self.expected("tree/file")])

    def test_bad_arguments(self):
        self.write("file", b"")
        for arguments, message in (
                ((), "no files or folders are named"),
                (("--threads",), "--threads needs a value"),
                (("--threads", "65", "file"), '--threads takes a number from 1 to 64, not "65"'),
                (("--threads", "4x", "file"), '--threads takes a number from 1 to 64, not "4x"'),
                (("--registry", "--settings", "s", "file"),
                 "--settings and --registry exclude each other"),
                (("--loud", "file"), 'unknown option "--loud"')):
            with self.subTest(arguments=arguments):
                code, output, errors = self.run_host(*arguments)
                self.assertEqual((code, output), (2, ""))
                self.assertTrue(errors.startswith(f"host: {message}\nusage: host "), errors)

    def test_quiet_prints_failures_only(self):
        self.write("file", b"1\n")
        code, output, errors = self.run_host("--quiet", "file", "missing")
        self.assertEqual((code, output), (1, ""))
        self.assertTrue(errors.startswith("missing failed:\n"), errors)

    def test_log_names_all_that_is_registered(self):
        for i in range(50):
            self.write(f"tree/{i}", b"1\n")
        code, output, _ = self.run_host("--log", "events.log", "tree", "missing")
        self.assertEqual(code, 1)
        self.assertIn("\nevent log       events.log\n", output)
        log = (self.folder / "events.log").read_text("utf-8")
        self.assertTrue(log.startswith("%% Reference time: "), log[:100])
        events = [line for line in log.split("\n") if line.startswith("% ")]
        named = re.compile(r"% (\w+)( \S+| \(\d+, \d+\)| to \w+)? in_class (\S+) at (~?\w+)"
                           r" for_object [0-9A-F]{16} \((.*)\) in_thread \d+ \((.*)\)")
        for line in events:
            match = named.fullmatch(line)
            self.assertIsNotNone(match, line)
            self.assertNotIn("unknown", match.group(1, 3, 4, 6), line)
            if match[1] in ("Root_error", "Cascade_error"):
                self.assertNotEqual(match[2], " (unknown)", line)
        for part in ("in_class MDesyncEventScheduler at ScheduleDesyncEvent for_object ",
                     "State_change to Running in_class MEngineThread at ChangeState ",
                     "in_class ProgressMade at Fire for_object ",
                     "Root_error OpenFailed in_class InputFile at InputFile ",
                     "Cascade_error FileNotCounted in_class CountFile at Execute ",
                     "(file processor) in_thread ", "(Main thread)", "(Caller 1)",
                     "(Command processor thread)", "(Scheduler thread)"):
            self.assertTrue(any(part in line for line in events), part)
        errors = (self.folder / "events.log.errors").read_text("utf-8")
        self.assertRegex(errors, r"\ncode InputFile\.InputFile:OpenFailed\nparameter errno\nvalue 2\n")
        self.assertRegex(errors, r"\ncode CountFile\.Execute:FileNotCounted\nparameter file\nvalue missing\n")
        # Each file's command, once each.
        begun = sum("Scope_push in_class CountFile at Execute " in line for line in events)
        self.assertEqual(begun, 51)

    def test_debug_dump_holds_what_the_log_does_not(self):
        self.write("file", b"1\n")
        for log, counting in (((), self.assertIn), (("--log", "events.log"), self.assertNotIn)):
            self.run_host(*log, "file")
            dump = DEBUG_DUMP.read_text("utf-8")
            counting("in_class CountFile at Execute", dump)
            self.assertIn("Destruction in_class MCommandProcessor at ~MCommandProcessor", dump)
            errors = DEBUG_DUMP.with_name(DEBUG_DUMP.name + ".errors")
            self.assertEqual(errors.read_text("utf-8").split()[0], "velta-errors")

    def test_log_that_cannot_be_written(self):
        self.write("file", b"1\n")
        code, output, errors = self.run_host("--log", "missing/events.log", "file")
        self.assertEqual((code, output), (2, ""))
        self.assertRegex(errors, r"^host: cannot write the event log to missing/events.log: .+\n$")

    def test_output_that_cannot_be_written(self):
        self.write("file", b"1\n")
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.run_host("file", stdout=full)[0], 1)
            self.assertEqual(self.run_host("--log", "/dev/full", "file")[0], 1)

    def callers(self, output):
        return re.search(r"\nstop +with (\d+) queued", output)[1]

    def settings(self):
        return (self.folder / "settings.xml").read_bytes()

    def check_memory(self, *option):
        """What one run stores, the next one uses and shows."""
        present, gone = "f\u00fcnf & \u20ac.txt", "gone & \u20ac"
        self.write(present, b"one two\n")
        self.run_host(*option, "--threads", "7", "--no-quiet", gone, present)
        code, output, errors = self.run_host(*option, present)
        self.assertEqual((code, errors, self.callers(output)), (0, "", "7"))
        results, *failure = output.split("\n\n")[2].rstrip("\n").split("\nlast failure\n")
        last_run = self.summary(results)
        self.assertRegex(last_run.pop("last run"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertRegex(last_run.pop("seconds"), r"^\d+(\.\d+)?$")
        self.assertEqual(last_run, {"counted": "1", "failed": "1", "bytes": "8", "lines": "1",
                                    "words": "2"})
        self.assertRegex(failure[0], f"""\\A  CountFile.Execute:FileNotCounted file="{gone}"
  caused by InputFile.InputFile:OpenFailed errno=2 errorMessage=".+"\\Z""")
        for quiet in (("--quiet",), ()):
            self.assertEqual(self.run_host(*option, *quiet, present), (0, "", ""))
        output = self.run_host(*option, "--threads", "2", "--no-quiet", present)[1]
        self.assertEqual(self.callers(output), "2")
        self.assertNotIn("last failure", output)

    def test_memory_in_a_file(self):
        self.check_memory("--settings", "settings.xml")
        self.assertEqual([path.name for path in self.folder.glob("settings*")], ["settings.xml"])

    def test_memory_in_the_registry(self):
        self.check_memory("--registry")

    def test_settings_that_cannot_be_used_are_left_alone(self):
        self.write("file", b"1\n")
        self.run_host("--settings", "settings.xml", "file")
        written = self.settings()
        for content, error in (
                (b"", 'IllFormed file=FILE messages="Empty document"'),
                (written.replace(b"</Settings>", b"</Set>"),
                 "IllFormed column=1 file=FILE line=7 messages=\"End tag 'Set' at offset "
                 f"{written.index(b'</Settings>')} does not match start tag 'Settings' "),
                (written + b"\xff", f"NotText encoding=UTF-8 file=FILE offset={len(written)}\n"),
                (written.replace(b"urn:velta:host", b"urn:else"),
                 "OtherNamespace column=1 file=FILE line=2 messages=\"Namespace is not 'urn:velta:host'\" "),
                (written.replace(b"HostMemory", b"Memory"),
                 "OtherRoot column=1 file=FILE line=2 messages=\"Root element is not 'HostMemory'\" ")):
            with self.subTest(error=error):
                self.write("settings.xml", content)
                code, output, errors = self.run_host("--settings", "settings.xml", "file")
                self.assertEqual((code, self.rows(output)[0]), (1, [self.expected("file")]))
                self.assertRegex(
                    errors, r"\Athe settings in settings.xml cannot be used and are left as they are:"
                    r"\n  \w+\.\w+:" + re.escape(error).replace("FILE", r"\S+settings\.xml"))
                self.assertEqual(self.settings(), content)

    def test_single_values_that_cannot_be_used(self):
        self.write("file", b"1\n")
        self.run_host("--settings", "settings.xml", "--threads", "9", "file")
        written = self.settings()
        for old, new, fault, field, threads in (
                (b'<Threads type="uint">9', b'<Threads type="uint">65', "NotAllowed",
                 "Settings/Threads", "4"),
                (b'<Quiet type="bool">', b'<Quiet type="string">', "Unreadable",
                 "Settings/Quiet", "9"),
                (b'<Bytes type="string">2', b'<Bytes type="string">2x', "Unreadable",
                 "LastRun/Item0/Bytes", "9")):
            with self.subTest(new=new):
                self.write("settings.xml", written.replace(old, new))
                code, output, errors = self.run_host("--settings", "settings.xml", "file")
                self.assertEqual((code, self.callers(output)), (0, threads))
                self.assertRegex(
                    errors, r"\Aa setting in settings.xml cannot be used and has its default:\n"
                    rf"  Fields\.Read:{fault} .*field=\"?HostMemory/{field}\"? line=\d+.*\n\Z")
                self.assertEqual(self.run_host("--settings", "settings.xml", "file")[2], "")

    def test_settings_that_cannot_be_written(self):
        self.write("file", b"1\n")
        code, output, errors = self.run_host("--settings", "missing/settings.xml", "file")
        self.assertEqual((code, self.rows(output)[0]), (1, [self.expected("file")]))
        self.assertRegex(errors, r"^the settings in missing/settings.xml could not be replaced:\n"
                                 r"  MSettingsFile.SaveBytes:CreateFailed file=\S+ stored=old winErrorCode=\d ")

    def test_settings_that_do_not_fit_on_the_disk(self):
        import resource
        self.write("file", b"1\n")
        self.run_host("--settings", "settings.xml", "file")
        written = self.settings()
        code, _, errors = self.run_host(
            "--settings", "settings.xml", "--threads", "2", "file", restore_signals=False,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100)))
        self.assertEqual(code, 1)
        self.assertRegex(errors, r"MSettingsFile.SaveBytes:WriteFailed file=\S+ stored=old "
                                 r"winErrorCode=223 ")
        self.assertEqual(self.settings(), written)
        self.assertEqual([path.name for path in self.folder.glob("settings*")], ["settings.xml"])

    def test_progress_is_gone_before_the_results(self):
        import pty
        self.write("file", b"1 2\n")
        ours, theirs = pty.openpty()
        code, _, errors = self.run_host("file", "missing", stdout=theirs)
        os.close(theirs)
        shown = b""
        try:
            while block := os.read(ours, 65536):
                shown += block
        except OSError:
            pass  # how a terminal ends
        os.close(ours)
        self.assertEqual(code, 1)
        *drawn, results = shown.decode().replace("\r\n", "\n").split("\r")
        self.assertRegex(drawn[1], r"^1 of 2 files, [04] bytes$")
        self.assertEqual(drawn[-1].strip(" "), "", drawn)
        self.assertEqual(self.rows(results)[0], [self.expected("file")])
        self.assertTrue(errors.startswith("missing failed:\n"), errors)


if __name__ == "__main__":
    unittest.main()
