#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints what one more struct of thirty fields costs: seconds to compile, bytes of code.

    bench/describe_cost.py [--rounds N]

Each way of writing it to XML and reading it back is compiled with 2 structs and with 10, in turns; the
table has the median of the differences, an eighth each, and what the headers alone take. Needs
setup's "bench" and bench/get_pugixml.sh.
"""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
CACHE = Path(os.environ.get("VELTA_CACHE", Path.home() / ".cache/velta"))
FEW, MANY = 2, 10

TYPES = [("bool", "Bool", "false", "as_bool()")] * 6 + [
    ("std::int32_t", "Int", "0", "as_int()")] * 8 + [
    ("std::uint32_t", "UnsignedInt", "0u", "as_uint()")] * 6 + [
    ("double", "Double", "0.0", "as_double()")] * 5 + [
    ("std::wstring", "String", "{}", "get()")] * 5
FIELDS = [(f"field{i}", f"Field{i}", *kind) for i, kind in enumerate(TYPES)]


def members(text="std::wstring"):
    return "".join(f"  {kind if kind != 'std::wstring' else text} {name}{{}};\n"
                   for name, _, kind, *_ in FIELDS)


def described(n):
    fields = "".join(f'    field(L"{tag}", &S{n}::{name});\n' for name, tag, *_ in FIELDS)
    return (f"struct S{n} {{\n{members()}  static void Describe(auto& field) {{\n{fields}  }}\n}};\n"
            f"void Save(IOutFilerTagged& filer, const S{n}& s) {{ WriteFields(filer, s); }}\n"
            f"void Load(IInFilerTagged& filer, S{n}& s) {{ ReadFields(filer, s); }}\n")


def by_hand(n):
    write = " && ".join(f'filer.Write{op}(L"{tag}", s.{name})' for name, tag, _, op, *_ in FIELDS)
    read = "".join(f'  (void)filer.Read{op}(L"{tag}", &s.{name}, {default});\n'
                   for name, tag, _, op, default, _ in FIELDS)
    return (f"struct S{n} {{\n{members()}}};\n"
            f"bool Save(IOutFilerTagged& filer, const S{n}& s) {{\n  return {write};\n}}\n"
            f"void Load(IInFilerTagged& filer, S{n}& s) {{\n{read}}}\n")


def pugixml(n):
    def value(name, kind):
        return f"s.{name}" + (".c_str()" if kind == "std::wstring" else "")
    write = "".join(f'  group.append_child(L"{tag}").text().set({value(name, kind)});\n'
                    for name, tag, kind, *_ in FIELDS)
    read = "".join(f'  s.{name} = group.child(L"{tag}").text().{get};\n'
                   for name, tag, _, _, _, get in FIELDS)
    return (f"struct S{n} {{\n{members()}}};\n"
            f"void Save(pugi::xml_node group, const S{n}& s) {{\n{write}}}\n"
            f"void Load(pugi::xml_node group, S{n}& s) {{\n{read}}}\n")


def cereal(n):
    fields = ", ".join(f'cereal::make_nvp("{tag}", {name})' for name, tag, *_ in FIELDS)
    return (f"struct S{n} {{\n{members('std::string')}  template <class A>\n"
            f"  void serialize(A& archive) {{ archive({fields}); }}\n}};\n"
            f"void Save(cereal::XMLOutputArchive& archive, const S{n}& s) {{ archive(s); }}\n"
            f"void Load(cereal::XMLInputArchive& archive, S{n}& s) {{ archive(s); }}\n")


FILERS = ['"velta/serialisation/IInFilerTagged.h"', '"velta/serialisation/IOutFilerTagged.h"']
WAYS = {
    "described": (described, ['"velta/serialisation/Described.h"']),
    "the filers' calls by hand": (by_hand, FILERS),
    "cereal": (cereal, ["<cereal/archives/xml.hpp>", "<cereal/types/string.hpp>"]),
    "pugixml by hand, wide": (pugixml, ["<pugixml.hpp>"]),
}


def compiled(folder, includes, structs):
    """(seconds, bytes of code) of a file with these structs."""
    source, result = folder / "source.cpp", folder / "source.o"
    source.write_text("".join(f"#include {name}\n" for name in includes)
                      + "#include <cstdint>\n#include <string>\n" + structs)
    began = time.monotonic()
    subprocess.run(["g++", "-std=c++20", "-O2", "-DPUGIXML_WCHAR_MODE", f"-I{ROOT}",
                    f"-I{CACHE}/pugixml/src", "-c", str(source), "-o", str(result)], check=True)
    seconds = time.monotonic() - began
    size = subprocess.run(["size", str(result)], check=True, capture_output=True, text=True)
    return seconds, int(size.stdout.splitlines()[1].split()[0])


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=5)
    rounds = parser.parse_args(arguments).rounds
    results = {way: [] for way in WAYS}
    with tempfile.TemporaryDirectory() as name:
        for _ in range(rounds):
            for way, (make, includes) in WAYS.items():
                sizes = [compiled(Path(name), includes, "".join(map(make, range(count))))
                         for count in (0, FEW, MANY)]
                (empty, _), (few, few_bytes), (many, many_bytes) = sizes
                results[way].append((empty, (many - few) / (MANY - FEW),
                                     (many_bytes - few_bytes) / (MANY - FEW)))
    print("| thirty fields, written and read | headers | a struct | code of a struct |")
    print("|---|---|---|---|")
    for way, rows in results.items():
        headers, seconds, size = (statistics.median(column) for column in zip(*rows))
        print(f"| {way} | {headers:.2f} s | {seconds:.2f} s | {size / 1024:.1f} KB |")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
