#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs velta-log on dumps that the library wrote and on what damage makes of them.

VELTA_LOG_COMMAND and VELTA_LOG_FILL hold the programs; an emulator and a "|" may stand before
each. VELTA_LOG_MEASURE is set where the cost of a full log is to be judged.
"""

import collections
import json
import os
import random
import re
import select
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

import jsonschema

COMMAND = os.environ["VELTA_LOG_COMMAND"].split("|")
FILL = os.environ["VELTA_LOG_FILL"].split("|")
EMULATED = len(COMMAND) > 1
HERE = Path(__file__).parent
FOLDER = tempfile.TemporaryDirectory()

RECORD = re.compile(rb"% (\w+|unknown event)(.*?) in_class (.*?) at (.*?) for_object ([0-9A-F]{16}) "
                    rb"\((.*)\) in_thread (-?\d+) \((.*)\)\n    (-?\d+)\.(\d{6}), (-?\d+), .*\n")


def tool(*arguments, stdin=None):
    run = subprocess.run([*COMMAND, *arguments], cwd=FOLDER.name, input=stdin, timeout=100,
                         stdin=subprocess.DEVNULL if stdin is None else None,
                         capture_output=True, check=False)
    return run.returncode, run.stdout, run.stderr.decode().replace("\r\n", "\n")


def fill(name, records, threads):
    subprocess.run([*FILL, name, str(records), str(threads)], cwd=FOLDER.name, timeout=100,
                   stdin=subprocess.DEVNULL, check=True)
    return (Path(FOLDER.name) / name).read_bytes()


def summary(dump):
    code, output, errors = tool("summary", "--json", stdin=dump)
    return code, json.loads(output), errors


def head(dump):
    """The header lines, and the records of two lines each."""
    lines = dump.splitlines(keepends=True)
    return b"".join(lines[:2]), [b"".join(lines[i:i + 2]) for i in range(2, len(lines), 2)]


def made(seconds, code, operation, value1=0, thread="T", key=2):
    event, subject = {-7: ("Scope_push", ""), -8: ("Scope_pop", ""), -105: ("Root_error", " Late")}[code]
    return (f"% {event}{subject} in_class C at {operation} for_object 0000000000000001 (unknown) "
            f"in_thread 7 ({thread})\n    {seconds:.6f}, {code}, {value1}, 0, 1, {key}, 1, 7\n"
            ).encode("latin-1")


class VeltaLogTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dump = fill("whole.log", 3000, 3)   # 142 parts a thread: errors, no ring round
        cls.small = fill("small.log", 40, 1)
        cls.header, cls.records = head(cls.dump)

    def check_balance(self, dump):
        code, output, errors = tool("trace", stdin=dump)
        self.assertEqual((code, errors), (0, ""))
        trace = json.loads(output)
        open_scopes = collections.defaultdict(list)
        times = {}
        spans = collections.Counter()
        for event in trace["traceEvents"]:
            thread = event["tid"]
            if event["ph"] in "BE":
                self.assertGreaterEqual(event["ts"], times.get(thread, event["ts"]))
                times[thread] = event["ts"]
            if event["ph"] == "B":
                open_scopes[thread].append(event["name"])
            elif event["ph"] == "E":
                self.assertEqual(event["name"], open_scopes[thread].pop())
            elif event["ph"] in "be":
                spans[event["id"], event["name"]] += 1 if event["ph"] == "b" else -1
        self.assertFalse(any(open_scopes.values()))
        self.assertFalse(any(spans.values()))
        return trace

    def test_summary_counts_what_the_dump_says(self):
        code, found, errors = summary(self.dump)
        self.assertEqual((code, errors), (0, ""))
        records = RECORD.findall(self.dump)
        self.assertEqual(found["records"], len(records))
        self.assertEqual(found["events"], collections.Counter(r[0].decode() for r in records))
        self.assertEqual({thread["id"]: (thread["name"], thread["records"])
                          for thread in found["threads"]},
                         {int(r[6]): (r[7].decode(), sum(s[6] == r[6] for s in records))
                          for r in records})
        operations = {(o["class"], o["operation"]): o for o in found["operations"]}
        self.assertEqual({name: o["records"] for name, o in operations.items()},
                         collections.Counter((r[2].decode(), r[3].decode()) for r in records))
        work = operations["Station", "Work"]
        self.assertEqual((work["scopes"], work["durationUs"]["count"]), (426, 426))
        self.assertLessEqual(work["durationUs"]["p50"], work["durationUs"]["p90"])
        self.assertLessEqual(work["durationUs"]["p99"], work["durationUs"]["max"])
        measure = operations["Part<int>", "Measure"]
        self.assertEqual((measure["errors"], measure["selfUs"]), (6, measure["totalUs"]))
        # All that Station does happens inside Run, so its class takes that long and no longer.
        station = next(c for c in found["classes"] if c["class"] == "Station")
        self.assertEqual(station["totalUs"], operations["Station", "Run"]["totalUs"])
        self.assertEqual(station["selfUs"] + measure["selfUs"], station["totalUs"])
        self.assertEqual([(e["event"], e["count"]) for e in found["errors"]],
                         [("Root_error", 6), ("Dismissed_error", 6)])
        self.assertEqual((found["neverClosed"], found["neverOpened"]), ([], 0))

    def test_states_are_told_with_their_names_in_utf8(self):
        # On one thread: threads that share a flow point may log each other's object.
        states, = summary(fill("one.log", 1000, 1))[1]["states"]
        self.assertEqual(states["name"], "Station at Line 1")
        working = "Working at half-past \u00fc"
        self.assertEqual([span["state"] for span in states["history"]],
                         [working, "Cleaning", working, "Cleaning", working, "Done"])
        for before, after in zip(states["history"], states["history"][1:]):
            self.assertEqual(before["endUs"], after["beginUs"])

    def test_trace_is_valid_and_tells_every_event(self):
        trace = self.check_balance(self.dump)
        jsonschema.validate(trace, json.loads((HERE / "trace.schema.json").read_text()))
        phases = collections.Counter(event["ph"] for event in trace["traceEvents"])
        events = summary(self.dump)[1]["events"]
        self.assertEqual(phases["B"], events["Scope_push"])
        self.assertEqual(phases["i"], sum(events.values()) - 2 * phases["B"])
        self.assertEqual(phases["b"], events["State_change"])
        self.assertEqual({e["args"]["name"] for e in trace["traceEvents"] if e["ph"] == "M"},
                         {"Line 1", "Line 2", "Line 3"})

    def test_scopes_that_lost_an_end(self):
        middle = len(self.records) // 2
        self.check_balance(self.header + b"".join(self.records[middle:]))
        self.check_balance(self.header + b"".join(self.records[:middle]))
        pops = [i for i, record in enumerate(self.records) if b"Scope_pop in_class Part" in record]
        lost = self.header + b"".join(r for i, r in enumerate(self.records) if i not in pops[:5])
        found = summary(lost)[1]
        self.assertEqual([(s["class"], s["operation"]) for s in found["neverClosed"]],
                         [("Part<int>", "Measure")] * 5)
        self.check_balance(lost)
        stray = made(0, -7, "A") + made(1, -8, "B") + made(2, -8, "A")
        self.assertEqual(summary(self.header + stray)[1]["strayExits"], 1)

    def test_errors_are_told_with_the_scopes_around_them(self):
        code, output, _ = tool("errors", "--json", "whole.log")
        errors = [json.loads(line) for line in output.splitlines()]
        self.assertEqual((code, len(errors)), (0, 12))
        raised = [e for e in errors if e["event"] == "Root_error"]
        dismissed = [e for e in errors if e["event"] == "Dismissed_error"]
        self.assertEqual({tuple(e["scopes"]) for e in raised},
                         {("Station.Run", "Station.Work", "Part<int>.Measure")})
        self.assertEqual({(tuple(e["scopes"]), e["after"]) for e in dismissed},
                         {(("Station.Run", "Station.Work"), "Part<int>.Measure:TooLarge")})
        text = tool("errors", "whole.log")[1].decode()
        self.assertEqual(text.count("  Root_error  Part<int>.Measure:TooLarge\n"), 6)

    def test_errors_have_their_parameters(self):
        wanted = {"file": "C:\\parts\n\u00fc.xml", "number": "49"}
        for command in (("errors", "--json"), ("jsonl",)):
            code, output, errors = tool(*command, "whole.log")
            self.assertEqual((code, errors), (0, ""))
            found = [json.loads(line) for line in output.splitlines()]
            self.assertEqual({line["event"] for line in found if "parameters" in line}, {"Root_error"})
            self.assertEqual(sorted(line["parameters"]["number"] for line in found if "parameters" in line),
                             ["49"] * 3 + ["99"] * 3)
            self.assertIn(wanted, [line.get("parameters") for line in found])
        self.assertIn("    with   file = C:\\parts%{a}\u00fc.xml\n    with   number = 49\n    line ",
                      tool("errors", "whole.log")[1].decode())
        self.assertIn('["file","C:\\u005cparts%{a}\u00fc.xml","number","49"]',
                      tool("view", "whole.log")[1].decode())
        # Named, and without a name beside it; for a dump that lost what is before the first error.
        lost = self.header + b"".join(self.records[len(self.records) // 2:])
        output = tool("errors", "--json", "--errors", "whole.log.errors", stdin=lost)[1]
        found = [json.loads(line) for line in output.splitlines()]
        self.assertEqual(sum("parameters" in line for line in found), 6)
        for error in found:
            if error.get("inDump") is False:
                self.assertEqual((error["code"], error["line"] > 0), ("Part<int>.Measure:TooLarge", True))

    def test_errors_of_one_moment_are_told_apart_by_the_numbers_of_their_records(self):
        error = ("error {0}\nrecord {1} -105 0 1 2\ntime 5000000\nthread 7\nline 0\n"
                 "object 0000000000000001\nclass C\noperation A\ncode {2}\nparameter n\nvalue {0}\n")

        def told(records, errors, dump_records=None):
            header = b"%% Reference time: 0.000000 is wrong.\n%%\n"
            Path(FOLDER.name, "moment.errors").write_text(
                "velta-errors 1\nmade 0\nfrequency 1000000\nstart 0\n" +
                "".join(error.format(i, record, code) for i, (record, code) in enumerate(errors)) +
                f"end {len(errors)} of 9\n", newline="\n")
            output = tool("errors", "--json", "--errors", "moment.errors", stdin=header + records)
            self.assertEqual((output[0], output[2]), (0, ""))
            return [line.get("parameters", {}).get("n") for line in map(json.loads, output[1].splitlines())]

        late = made(5, -105, "A")
        other = made(5, -7, "B", 1)
        right = "C.A:Late"
        # The ring has gone round: the numbers are ahead of the places.
        self.assertEqual(told(other + late + late + late, [(2**31 - 1, right), (1, right)]),
                         ["0", None, "1"])
        self.assertEqual(told(late, [(4, right), (4, right)]), ["1"])  # what came later knows more
        self.assertEqual(told(late, [(4, "C.A:TooLate")]), [None, "0"])
        self.assertEqual(told(made(5.1, -105, "A"), [(4, right)]), [None, "0"])

    def test_damaged_errors_cost_no_more_than_the_error_they_hit(self):
        whole = (Path(FOLDER.name) / "whole.log.errors").read_bytes()
        first, second = whole.index(b"error 1\n"), whole.index(b"error 2\n")

        def replaced(old, new):
            return whole[:first] + whole[first:second].replace(old, new, 1) + whole[second:]

        stands, unknown = "not the line of an error that must stand here", "no errors of a version"
        cases = [
            (replaced(b"\nthread ", b"\nfred "), 5, stands),
            (replaced(b"\nvalue ", b"\nvalue \xff"), 5, stands),
            (replaced(b"\nvalue ", b"\nvalue \x1b"), 5, stands),
            (replaced(b"\nvalue ", b"\nvalue %{110000}"), 5, stands),
            (replaced(b"\ntime ", b"\ntime 99999999999999999999"), 5, stands),
            (replaced(b"\ntime ", b"\n"), 5, stands),
            (replaced(b"\nobject 0", b"\nobject "), 5, stands),
            (replaced(b"\nvalue ", b"\nvalue " + b"x" * 20000), 5, "a line longer than any"),
            (whole[:first], 1, "the errors end without an end"),
            (whole[:first - 1], 0, "the errors end without an end"),
            (whole[:first] + whole[second:], 5, "not as many errors as the end says"),
            (whole + b"x\n", 6, "something after the end"),
            (whole.replace(b"errors 1", b"errors 2", 1), 0, unknown),
            (whole.replace(b"frequency ", b"frequency -", 1), 0, unknown),
            (self.dump, 0, unknown), (b"\0" * 40000, 0, "a line longer than any"),
            (b"", 0, "the errors end without an end"),
            (re.sub(rb"made (\d+)", lambda m: b"made %d" % (int(m[1]) + 1), whole), 0, "errors of another run"),
        ]
        for content, known, problem in cases:
            Path(FOLDER.name, "hit.errors").write_bytes(content)
            code, output, errors = tool("errors", "--errors", "hit.errors", stdin=self.dump)
            self.assertEqual((code, output.count(b"with   number")), (1, known), problem)
            self.assertRegex(errors, rf"^velta-log: hit.errors:\d+: {problem}")
        self.assertEqual(tool("errors", "--errors", "missing", stdin=self.dump)[0], 2)
        Path(FOLDER.name, "hit.errors").write_bytes(whole.replace(b"\n", b"\r\n"))
        self.assertEqual(tool("errors", "--errors", "hit.errors", stdin=self.dump),
                         tool("errors", "whole.log"))

    def test_recursion_in_which_each_step_fails_costs_no_square(self):
        depth = 20000
        dump = self.header + b"".join(made(0, -7, "Step", i) for i in range(depth)) + b"".join(
            made(1, -105, "Step") + made(1, -8, "Step", i) for i in reversed(range(depth)))
        code, output, _ = tool("errors", stdin=dump)
        self.assertEqual((code, output.count(b"Root_error")), (0, depth))
        self.assertLess(len(output), 20_000_000)
        self.assertIn(b" C.Step > ... 19984 more > C.Step", output)
        first = json.loads(tool("errors", "--json", stdin=dump)[1].splitlines()[0])
        self.assertEqual((first["scopes"], first["scopesLeftOut"]), (["C.Step"] * 16, 19984))

    def test_threads_of_one_name_are_told_apart(self):
        dump = self.dump.replace(b"(Line 2)", b"(Line 1)")
        ids = {int(r[6]) for r in RECORD.findall(dump) if r[7] == b"Line 1"}
        errors = tool("errors", stdin=dump)[1].decode()
        self.assertEqual(set(re.findall(r", (Line \d.*)", errors)),
                         {f"Line 1 ({i})" for i in ids} | {"Line 3"})
        lines = tool("errors", "--json", stdin=dump)[1].splitlines()
        self.assertEqual({json.loads(line)["threadName"] for line in lines}, {"Line 1", "Line 3"})

    def test_sums_of_damaged_times_end_where_64_bits_do(self):
        end = 1e11
        dump = self.header + (made(-end, -7, "Long") + made(end, -8, "Long")) * 60
        operation, = summary(dump)[1]["operations"]
        self.assertEqual((operation["totalUs"], operation["selfUs"]), (2**63 - 1, 2**63 - 1))
        dump = self.header + made(-end, -7, "Outer") + dump[len(self.header):] + made(end, -8, "Outer")
        outer = next(o for o in summary(dump)[1]["operations"] if o["operation"] == "Outer")
        self.assertEqual(outer["selfUs"], 0)

    def test_json_lines_hold_every_record(self):
        code, output, _ = tool("jsonl", "whole.log")
        lines = [json.loads(line) for line in output.splitlines()]
        self.assertEqual(code, 0)
        self.assertEqual(
            [(line["event"], line["class"], line["operation"], line["object"], line["thread"],
              line["timeUs"]) for line in lines],
            [(r[0].decode(), r[2].decode(), r[3].decode(), r[4].decode(), int(r[6]),
              int(r[8]) * 1000000 + int(r[9])) for r in RECORD.findall(self.dump)])
        self.assertEqual({line["level"] for line in lines}, {"debug", "error", "info", "warning"})

    @unittest.skipUnless(shutil.which("lnav"), "lnav is not installed")
    def test_lnav_reads_the_json_lines(self):
        formats = Path(FOLDER.name) / "lnav" / "formats" / "installed"
        formats.mkdir(parents=True)
        shutil.copy(HERE.parent / "velta_log.lnav.json", formats)
        self.assertEqual(tool("jsonl", "whole.log", "-o", "whole.jsonl")[0], 0)
        query = ";SELECT class, operation, log_level, count(*) AS n FROM velta_log GROUP BY 1, 2, 3"
        run = subprocess.run(["lnav", "-n", "-I", formats.parent.parent, "-c", query,
                              "-c", ":write-json-to -", "whole.jsonl"],
                             cwd=FOLDER.name, env=dict(os.environ, HOME=FOLDER.name), timeout=60,
                             stdin=subprocess.DEVNULL, capture_output=True, check=True)
        self.assertIn({"class": "Part<int>", "operation": "Measure", "log_level": "error", "n": 6},
                      json.loads(run.stdout))

    def test_diff_tells_what_only_one_run_does(self):
        self.assertEqual(tool("diff", "whole.log", "whole.log")[:2], (0, b""))
        code, output, _ = tool("diff", "whole.log", "small.log")
        self.assertEqual(code, 0)
        sections = dict(re.findall(r"^(\S.*)\n((?:  .*\n)+)", output.decode().replace("\r", ""), re.M))
        self.assertIn("Line 3", sections["Threads of the first only"])
        self.assertIn("Root_error Part<int>.Measure:TooLarge", sections["Events of the first only"])
        self.assertIn("Scope_push Station.Run", sections["More or less often"])
        self.assertNotIn("Events of the second only", sections)

    def test_line_ends_and_a_second_dump(self):
        _, plain, _ = summary(self.dump)
        self.assertEqual(summary(self.dump.replace(b"\n", b"\r\n")), (0, plain, ""))
        # A later dump of the same process has its own reference; here half a second earlier.
        later = re.sub(rb"time: -0\.(\d{6})", lambda m: b"time: -0.%06d" % (int(m[1]) + 500000),
                       self.header) + self.records[0]
        code, both, errors = summary(self.header + self.records[0] + later)
        self.assertEqual((code, errors, both["endUs"] - both["beginUs"]), (0, "", 500000))
        # The header of an empty log tells the seconds since the machine started.
        start, empty = (re.sub(rb"time: -0\.\d+", b"time: " + seconds, self.header)
                        for seconds in (b"0.000000", b"864000.250000"))
        self.assertEqual(summary(empty), summary(start))
        self.assertEqual(summary(empty + self.dump), (0, plain, ""))

    def test_line_breaks_in_names_cost_no_record(self):
        for name, shown in (("\u4e0a\u4f20\u7ebf\u7a0b", "\ufffd \xbf\ufffd"), ("\u010a\r\u010a", "\ufffd" * 3),
                            ("\u040a\u0425\u0420x", "\ufffd% x"), ("\u010a" + 4 * "\u0120" + "0.", "\ufffd    0.")):
            name = "".join(chr(ord(character) & 0xFF) for character in name)  # as the log cuts it
            dump = self.header + made(0, -7, name, 0, name) + made(1, -8, name, 0, name)
            for text in (dump, dump.replace(b"\n", b"\r\n")):
                code, found, errors = summary(text)
                self.assertEqual((code, errors, found["records"]), (0, "", 2))
                self.assertEqual((found["threads"][0]["name"], found["operations"][0]["operation"]),
                                 (shown, shown))
        # What a hole in the file brings together is no record.
        first, second = made(0, -7, "A"), made(0, -7, "B")
        code, found, _ = summary(self.header + first[:first.index(b", ")] + second[20:])
        self.assertEqual((code, found["records"]), (1, 0))

    def test_points_without_a_name_keep_their_numbers_but_for_other_runs(self):
        timing = made(0, -7, "A", key=-7).replace(b"Scope_push", b"Timing_point (0, 0)").replace(
            b" at A", b" at_point -7").replace(b", -7, 0", b", 0, 0", 1)
        dump = self.header + timing + made(0, -7, "(unknown)", key=5) + made(0, -7, "(unknown)", key=6)
        Path(FOLDER.name, "unnamed.log").write_bytes(dump)
        self.assertEqual({o["operation"] for o in summary(dump)[1]["operations"]},
                         {"point -7", "point 5", "point 6"})
        other = re.sub(rb"-?\d(?=, 1, 7\n)", b"9", dump.replace(b"at_point -7", b"at_point 9"))
        self.assertEqual(tool("diff", "unnamed.log", "-", stdin=other)[:2], (0, b""))

    def test_a_dump_cut_anywhere_is_read_as_far_as_it_goes(self):
        header, records = head(self.small)
        ends = [len(header)]
        for record in records:
            ends.append(ends[-1] + len(record))
        for cut in range(len(header), len(self.small), 331 if EMULATED else 17):
            whole = sum(end - 1 <= cut for end in ends[1:])  # the last line break may be missing
            code, found, errors = summary(self.small[:cut])
            self.assertEqual(found["records"], whole, cut)
            if cut in ends or cut + 1 in ends:
                self.assertEqual((code, errors), (0, ""), cut)
            else:
                line = self.small[:cut].rstrip(b"\n").count(b"\n") + 1
                self.assertEqual(code, 1, cut)
                self.assertRegex(errors, rf"standard input:{line}: \w")

    def test_damage_costs_no_more_than_the_records_it_hits(self):
        number = random.Random(7)
        for _ in range(3 if EMULATED else 40):
            lines = self.small.splitlines(keepends=True)
            hit = set(number.sample(range(2, len(lines)), 4))
            for i in hit:
                lines[i] = number.choice([
                    b"", b"\n", b"\0\xff\n", lines[i].replace(b",", b";").replace(b"in_", b"on_"),
                    number.randbytes(300).replace(b"\n", b"") + b"\n", b"% \n", b"    0.000000, 1\n"])
            code, found, errors = summary(b"".join(lines))
            self.assertEqual(code, 1, lines)
            self.assertEqual(found["records"], len(lines[2:]) // 2 - len({i // 2 for i in hit}))
            self.assertIn("standard input:", errors)

    def test_what_is_no_dump(self):
        number = random.Random(11)
        for content in (b"", b"\n", b"%% Reference time: \n", number.randbytes(100000),
                        b"%" * 5_000_000, b"% \n    \n" * 1000):
            code, found, errors = summary(content)
            self.assertEqual((code, found["records"]), (1, 0))
            self.assertRegex(errors, r"^velta-log: standard input:\d+: ")
        self.assertEqual(summary(self.header)[:2][0], 0)  # of an empty log
        for command in ("summary", "trace", "view", "errors", "jsonl"):
            self.assertEqual(tool(command, stdin=self.header)[0], 0)
            self.assertEqual(tool(command, stdin=self.dump[:-200])[0], 1)

    def test_exit_codes_tell_arguments_from_damage(self):
        for arguments in ((), ("frob",), ("summary", "--rows", "x"), ("diff", "whole.log"),
                          ("summary", "missing.log"), ("summary", "."),
                          ("summary", "whole.log", "-o", "missing/out")):
            code, output, errors = tool(*arguments)
            self.assertEqual((code, output), (2, b""), arguments)
            self.assertNotEqual(errors, "", arguments)
        self.assertEqual(tool("--help")[0], 0)

    @unittest.skipIf(EMULATED, "needs a terminal")
    def test_a_terminal_is_told_how_far_a_long_input_is(self):
        terminal, shown = os.openpty()
        self.addCleanup(os.close, terminal)
        with subprocess.Popen([*COMMAND, "summary"], stdin=subprocess.PIPE, stderr=shown,
                              stdout=subprocess.DEVNULL) as run:
            os.close(shown)
            deadline = time.monotonic() + 60
            while not select.select([terminal], [], [], 0)[0] and time.monotonic() < deadline:
                run.stdin.write(self.small)
            run.stdin.close()
            self.assertEqual(run.wait(60), 0)
        text = os.read(terminal, 4096).decode()
        self.assertRegex(text, r"^(\rreading: \d+ MB *)+\r +\r$")  # drawn, and gone in the end

    @unittest.skipUnless(os.environ.get("VELTA_LOG_MEASURE"), "an instrumented or foreign program")
    def test_full_log_costs_less_than_a_second_and_three_times_its_size(self):
        size = len(fill("full.log", 140000, 4))
        self.assertEqual(len(re.findall(rb"^% ", (Path(FOLDER.name) / "full.log").read_bytes(),
                                        re.M)), 131072)
        child = os.posix_spawn(COMMAND[0], [COMMAND[0], "summary", f"{FOLDER.name}/full.log", "-o",
                                            os.devnull], os.environ)
        _, status, usage = os.wait4(child, 0)
        self.assertEqual(status, 0)
        self.assertLess(usage.ru_utime + usage.ru_stime, 1.0)
        self.assertLess(usage.ru_maxrss * 1024, 3 * size)


if __name__ == "__main__":
    unittest.main()
