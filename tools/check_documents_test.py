#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows that check_documents.py finds what it is there to find."""

import tempfile
import unittest
from pathlib import Path

import check_documents

SOURCE = "int main() {\n  if (true) {\n    Work();\n  }\n}\n"
PRINTED = "% Construction for_object 00007FFC684F24E8\n    0.000398, -14\non Sat Nov  1 09:44:16 2026\n"


class Documents(unittest.TestCase):
    def problems(self, text):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "main.cpp").write_text(SOURCE, encoding="utf-8")
            (root / "page.md").write_text(text, encoding="utf-8")
            checker = check_documents.Checker(root, lambda words: PRINTED)
            return list(checker.check(root / "page.md"))

    def block(self, marker, text, language=""):
        return self.problems(f"{marker}\n\n```{language}\n{text}```\n")

    def test_what_agrees_passes(self):
        code = "<!-- code: main.cpp -->"
        self.assertEqual(self.block(code, SOURCE, "cpp"), [])
        self.assertEqual(self.block(code, "if (true) {\n  Work();\n}\n", "cpp"), [])
        self.assertEqual(self.block("<!-- output: program -->", PRINTED), [])
        self.assertEqual(self.block("<!-- output: program -->", "...\n    0.000398, -14\n...\n"), [])
        masked = PRINTED.replace("684F24E8", "00000000").replace("398", "1").replace("Sat", "Mon")
        self.assertEqual(self.block("<!-- output, numbers aside: program -->", masked), [])
        self.assertEqual(self.block("<!-- output on Windows: program -->", "not here\n"), [])
        self.assertEqual(self.problems("# A page\n[a](#a-page) [b](main.cpp) [c](https://x.test/)\n"), [])

    def test_what_differs_is_named_with_its_line(self):
        for marker, text, language, expected in [
            ("", "int a;\n", "cpp", "page.md:3: C++ without the source"),
            ("<!-- code: gone.cpp -->", "int a;\n", "cpp", "there is no gone.cpp"),
            ("<!-- code: main.cpp -->", "  Work();\n}\n}\n", "cpp", "does not stand in main.cpp"),
            ("<!-- code: main.cpp -->", "if (true) {\n}\n", "cpp", "does not stand in main.cpp"),
            ("<!-- codes: main.cpp -->", SOURCE, "cpp", "C++ without the source"),
            ("<!-- output main.cpp -->", SOURCE, "cpp", "not understood"),
            ("<!-- output: program -->", PRINTED + "more\n", "", "is not what program prints"),
            ("<!-- output: program -->", PRINTED.replace("398", "399"), "", "is not what"),
            ("<!-- output, numbers aside: program -->", "% Destruction\n...\n", "", "is not what"),
        ]:
            with self.subTest(marker=marker, text=text):
                found = self.block(marker, text, language)
                self.assertEqual(len(found), 1, found)
                self.assertIn(expected, found[0])

    def test_links_need_their_targets(self):
        self.assertEqual(self.problems("# A\n[a](gone.md)\n[b](#b)\n[c](main.cpp#c)\n`[d](d)`\n"), [
            "page.md:2: nothing is at gone.md", "page.md:3: nothing is at #b",
            "page.md:4: nothing is at main.cpp#c"])


if __name__ == "__main__":
    unittest.main()
