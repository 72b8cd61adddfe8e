#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows that check_words.py finds the words that are out, and nothing else."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import check_words


class Words(unittest.TestCase):
    def run_on(self, text):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder, "room", "Source.cpp")
            file.parent.mkdir()
            file.write_text(text, encoding="utf-8")
            with contextlib.redirect_stdout(io.StringIO()) as output:
                code = check_words.main([folder])
            return code, output.getvalue().replace(file.as_posix(), "FILE")

    def test_each_word_is_found_with_its_line_and_the_word_to_use(self):
        for text, found in (("// Behind it.", "Behind"), ("hands it on", "hands it on"),
                            ("void ReadSlowly();", "Slowly"), ("MilestoneReached", "Milestone"),
                            ("RunUntold()", "Untold"), ("its owner and his", "his")):
            code, output = self.run_on("first line\n" + text + "\n")
            self.assertEqual(code, 1)
            self.assertTrue(output.startswith(f'FILE:2: "{found}": write "'), output)

    def test_other_words_pass(self):
        text = "This, the handson, heat and history; a slowly growing text, and an old one told.\n"
        self.assertEqual(self.run_on(text), (0, "words: nothing found\n"))

    def test_nothing_to_check_is_a_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            with contextlib.redirect_stdout(io.StringIO()):
                self.assertEqual(check_words.main([folder, folder + "/missing"]), 1)


if __name__ == "__main__":
    unittest.main()
