#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs xmltool on files made here and compares what it says with what Python's own parser sees.

XMLTOOL_COMMAND holds the program, after an emulator and a "|" where there is one.
"""

import json
import os
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

COMMAND = os.environ["XMLTOOL_COMMAND"].split("|")

DOCUMENT = ('<?xml version="1.0"{}?>\n<!-- c --><r\u00fct a="1" b="&lt;\u00e9&#65;">x &amp; \u00fc'
            "<inner/>y<![CDATA[<raw>]]><inner k='\"'>z\n\u00ff</inner></r\u00fct>\n")


def elements(element, depth=0):
    """What the tool should print: own text without that of the children."""
    yield {"depth": depth, "name": element.tag, "attributes": [list(a) for a in element.items()],
           "data": (element.text or "") + "".join(child.tail or "" for child in element)}
    for child in element:
        yield from elements(child, depth + 1)


class XmlToolTest(unittest.TestCase):
    def run_tool(self, content, *options):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "document.xml"
            if content is not None:
                path.write_bytes(content)
            run = subprocess.run([*COMMAND, *options, path.name], cwd=folder, timeout=100,
                                 stdin=subprocess.DEVNULL, capture_output=True, check=False)
        lines = run.stdout.decode("utf-8").splitlines()
        return run.returncode, [json.loads(line) for line in lines], run.stderr.decode()

    def test_every_encoding_gives_the_same_elements(self):
        latin = ' encoding="iso-8859-1"'
        utf16 = DOCUMENT.format(' encoding="UTF-16"')
        files = [DOCUMENT.format("").encode("utf-8"), DOCUMENT.format("").encode("utf-8-sig"),
                 DOCUMENT.format(latin).encode("latin-1"), utf16.encode("utf-16"),
                 utf16.encode("utf-16-le"), b"\xfe\xff" + utf16.encode("utf-16-be")]
        expected = list(elements(ElementTree.fromstring(DOCUMENT.format(""))))
        for content in files:
            code, printed, errors = self.run_tool(content)
            self.assertEqual((code, errors), (0, ""))
            self.assertEqual(printed, expected)

    def test_ill_formed_is_told_with_its_place(self):
        code, _, errors = self.run_tool(b"<a>\n <b></a>", "--check")
        self.assertEqual(code, 1)
        self.assertEqual(errors.strip(), "document.xml:2:5: End tag 'a' at offset 8 does not match "
                                         "start tag 'b' at offset 5")

    def test_what_cannot_be_read_is_refused(self):
        for content in (b"<a>\xff</a>", b"<a>\xed\xa0\x80</a>", b"\xff\xfe<\0a\0/\0>", b"<a>\xc0\xaf</a>",
                        b"\xff\xfe\0\xd8", b'<?xml version="1.0" encoding="EBCDIC"?><a/>', None,
                        *(mark + "<a/>".encode(encoding) for encoding in ("utf-32-le", "utf-32-be")
                          for mark in ("\ufeff".encode(encoding), b""))):
            code, printed, errors = self.run_tool(content)
            self.assertEqual((code, printed), (2, []), content)
            self.assertTrue(errors.startswith("xmltool: "), errors)
        # Opens, but not a byte of it can be read.
        run = subprocess.run([*COMMAND, "/proc/self/mem"], capture_output=True, check=False)
        self.assertEqual((run.returncode, run.stdout), (2, b""))

    def test_a_deep_and_wide_document_is_streamed(self):
        count = 100_000
        content = b"<a>" * count + b"<b/>" * count + b"</a>" * count
        code, printed, _ = self.run_tool(content)
        self.assertEqual(code, 0)
        self.assertEqual(len(printed), 2 * count)
        self.assertEqual(printed[-1], {"depth": count, "name": "b", "attributes": [], "data": ""})


if __name__ == "__main__":
    unittest.main()
