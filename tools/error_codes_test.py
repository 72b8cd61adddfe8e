#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tries error_codes.py on sources and documents that it must and must not accept."""

import unittest

from error_codes import Sources, check

SOURCE = """
const wchar_t ClassName[] = L"Job";

// point.Raise(L"Commented");
void Fail(MFlowPoint& point, int how) {
  if (how == 0) {
    point.Raise(L"None");
  }
  MError error = point.MakeRootError(L"Made");
  error.AddParameter(L"errno", how);
  point.Throw(error);
}

void Job::Run() {
  static MFlowPoint point(ClassName, L"Run");
  Fail(point.At(this), 1);
  point.At(this).Raise(L"Late", {{L"file", Name("(\\"")}, {L"ms", 5}});
}

Job::Job() {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).RaiseFromException(cause, L"Bad", L"name", text);
}
"""
CODES = {"Job.Run:None": set(), "Job.Run:Made": {"errno"}, "Job.Run:Late": {"file", "ms"},
         "Job.Job:Bad": {"errorMessage", "name"}}
DOCUMENT = """
| `Job.Run:None` | | why |
| `Job.Run:Made` | `errno` | why |
| `Job.Run:Late` | `file`, `ms` | why |
| `Job.Job:Bad` | `errorMessage`, `name` | why, see `Other.Code:Here` |
"""


def collect(text):
    sources = Sources()
    sources.read("job.cpp", text)
    return sources.codes(), sources.findings


class ErrorCodes(unittest.TestCase):
    def test_codes_are_found_with_their_parameters(self):
        self.assertEqual(collect(SOURCE), (CODES, []))

    def test_other_forms_are_findings(self):
        for old, new in (("point.At(this).Raise(L", "places[0].Raise(L"), ('L"Late", ', "name, "),
                         ("static MFlowPoint point(ClassName, L", "static MFlowPoint place(ClassName, L"),
                         ("(ClassName, L", "(OtherName, L"), ("  Fail(point.At(this), 1);", ""),
                         ("}\n\nJob::Job", "\nJob::Job"), ("\n  static MFlowPoint point(ClassName, C", "\n  // C")):
            text = SOURCE.replace(old, new, 1) if old != 'L"Late", ' else SOURCE.replace(
                'L"Late", {{L"file", Name("(\\"")}, {L"ms", 5}}', "name")
            self.assertNotEqual(text, SOURCE)
            self.assertTrue(collect(text)[1], new)

    def test_document_and_sources_agree(self):
        self.assertEqual(list(check(CODES, DOCUMENT)), [])
        for old, new in (("| `Job.Run:None` | | why |", ""), ("Run:None", "Run:Gone"), ("`ms`", "`us`")):
            self.assertTrue(list(check(CODES, DOCUMENT.replace(old, new))), old)


if __name__ == "__main__":
    unittest.main()
