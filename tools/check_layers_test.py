#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows that check_layers.py finds what it is there to find, and lets the seams pass."""

import tempfile
import unittest
from pathlib import Path

import check_layers
import layer_graph

CLEAN = {
    "velta/platform/Types.h": "#include <cstdint>",
    "velta/platform/internal/Win32.h": "#include <windows.h>",
    "velta/text/MString.h": '#include <string>\n#include "velta/platform/Types.h"',
    "velta/text/MString.cpp": '#include "velta/text/MString.h"\n#include "velta/logging/Log.h"',
    "velta/text/Number.cpp": '#include "velta/errors/MError.h"',
    "velta/logging/Log.h": '#include "velta/text/MString.h"',
    "velta/logging/Log.cpp": '#include "velta/platform/internal/Win32.h"',
    "velta/errors/MError.h": '#include "velta/logging/Log.h"',
    "velta/errors/MError.cpp": '#include "velta/serialisation/IInFilerTagged.h"',
    "velta/serialisation/IInFilerTagged.h": '#include "velta/text/MString.h"',
    "velta/serialisation/Xml.h": "",
    "velta/threads/Engine.h": '#include "velta/errors/MError.h"',
    "velta/commands/Command.cpp": '#include "velta/threads/Engine.h"',
}


class Includes(unittest.TestCase):
    def problems(self, files=None):
        with tempfile.TemporaryDirectory() as folder:
            for path, text in {**CLEAN, **(files or {})}.items():
                file = Path(folder, path)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(text + "\n", encoding="utf-8")
            return check_layers.check_includes(Path(folder))

    def test_the_seams_pass(self):
        self.assertEqual(self.problems(), [])

    def test_what_is_wrong_is_named_with_its_line(self):
        for path, text, expected in [
            ("velta/logging/Log.cpp", '\n#include "velta/errors/MError.h"',
             "velta/logging/Log.cpp:2: logging must not include velta/errors/MError.h"),
            ("velta/text/Number.h", '#include "velta/errors/MError.h"', "text must not include"),
            ("velta/text/Number.h", '#include "velta/logging/Log.h"', "text must not include"),
            ("velta/logging/Log.h", '#include "velta/text/Number.h"', "does not exist"),
            ("velta/errors/MError.h", '#include "velta/serialisation/IInFilerTagged.h"',
             "errors must not include"),
            ("velta/errors/MError.cpp", '#include "velta/serialisation/Xml.h"',
             "errors must not include velta/serialisation/Xml.h"),
            ("velta/threads/Engine.cpp", "#  include <Windows.h>", "Windows.h belongs in"),
            ("velta/threads/Engine.h", '#include "velta/platform/internal/Win32.h"',
             "a public header includes the private"),
            ("velta/threads/Engine.h", '#include "MError.h"', "not written from the source root"),
            ("velta/attic/Old.cpp", "", "no room of this name"),
        ]:
            with self.subTest(path=path, text=text):
                found = self.problems(files={path: text})
                self.assertEqual(len(found), 1, found)
                self.assertIn(expected, found[0])

    def test_headers_in_a_circle(self):
        found = self.problems(files={
            "velta/threads/A.h": '#include "velta/threads/B.h"',
            "velta/threads/B.h": '#include "velta/threads/A.h"',
        })
        self.assertEqual(found, ["headers in a circle: velta/threads/A.h > velta/threads/B.h"
                                 " > velta/threads/A.h"])


class Graph(unittest.TestCase):
    def test_shows_no_more_than_is_needed(self):
        chain = {("commands", "threads"), ("threads", "errors"), ("errors", "logging")}
        self.assertEqual(layer_graph.reduced(chain | {("commands", "logging")}), chain)


class Symbols(unittest.TestCase):
    RAISE = "_ZN10MFlowPoint5RaiseEPKw"

    def test_the_seams_pass(self):
        self.assertEqual(check_layers.check_symbols({
            "velta/errors/FlowPointErrors.cpp": ({self.RAISE}, {"_Z5ParsePKw"}),
            "velta/errors/MException.cpp": (set(), {"_Z14ReadCauseChainPKw"}),
            "velta/serialisation/CauseChain.cpp": ({"_Z14ReadCauseChainPKw"}, set()),
            "velta/text/Number.cpp": ({"_Z5ParsePKw"}, {self.RAISE, "_ZN4KLog5WriteEv"}),
            "velta/logging/KLog.cpp": ({"_ZN4KLog5WriteEv"}, {"malloc"}),
        }), [])

    def test_an_upward_symbol_is_named(self):
        self.assertEqual(check_layers.check_symbols({
            "velta/logging/KLog.cpp": (set(), {"_Z5ParsePKw"}),
            "velta/errors/MError.cpp": (set(), {"_Z7OpenXmlPKw"}),
            "velta/text/Number.cpp": ({"_Z5ParsePKw"}, set()),
            "velta/serialisation/Xml.cpp": ({"_Z7OpenXmlPKw"}, set()),
        }), [
            "velta/errors/MError.cpp: errors must not use _Z7OpenXmlPKw of"
            " velta/serialisation/Xml.cpp",
            "velta/logging/KLog.cpp: logging must not use _Z5ParsePKw of velta/text/Number.cpp",
        ])

    def test_the_flow_points_error_side_has_one_home(self):
        self.assertEqual(check_layers.check_symbols({
            "velta/threads/Engine.cpp": ({self.RAISE}, set()),
        }), [f"velta/threads/Engine.cpp: {self.RAISE} is defined in"
             " velta/errors/FlowPointErrors.cpp or in logging/ only"])

    def test_object_files_are_known_by_their_source(self):
        self.assertEqual(
            check_layers.source_of("/b/velta/platform/CMakeFiles/velta_platform.dir/./posix/Event.cpp.o"),
            "velta/platform/posix/Event.cpp")
        self.assertIsNone(check_layers.source_of("/b/tests/CMakeFiles/t.dir/a.cpp.o"))


if __name__ == "__main__":
    unittest.main()
