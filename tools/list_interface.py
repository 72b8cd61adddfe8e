#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lists the binary interface of a built library, for comparison with the one kept.

    tools/list_interface.py exports LIBRARY [--compare FILE | --keep FILE]
    tools/list_interface.py classes LIBRARY ROOT [--compare FILE | --keep FILE]

exports: the names that a program can link, as they read in C++, from a .so or a .dll.
classes: of every class in a public header its size, its virtual functions in slot order and its
fields with their offsets, from the debug information of a .so built with it.
"""

import argparse
import difflib
import re
import subprocess
import sys
from pathlib import Path

# The runtime's own spelling of what is a plain string to the reader, so that one list does for all.
SPELLINGS = [
    (re.compile(r"\bstd::(__1|__cxx11)::"), "std::"),
    (re.compile(r"\bstd::(__fs::filesystem|filesystem::__cxx11)::"), "std::filesystem::"),
    (re.compile(r"std::basic_string(_view)?<(wchar_t|char), std::char_traits<\2> ?"
                r"(, std::allocator<\2> ?)?>"),
     lambda m: "std::" + ("w" if m[2] == "wchar_t" else "") + "string" + (m[1] or "")),
    (re.compile(r"std::basic_ostream<char, std::char_traits<char> ?>"), "std::ostream"),
    (re.compile(r", std::default_delete<[^<>]*> ?>"), ">"),
    (re.compile(r"\[abi:\w+\]"), ""),
    # What has 64 bits is `long` on one platform only.
    (re.compile(r"\bunsigned long( long)?\b"), "uint64"),
    (re.compile(r"\blong( long)?\b"), "int64"),
]


def exports(library):
    if library.suffix == ".dll":
        output = run("llvm-readobj-19", "--coff-exports", library)
        names = re.findall(r"^\s*Name: (\S+)$", output, re.M)
    else:
        # Weak symbols are the runtime's templates.
        names = re.findall(r"^\S+ [TDRB] (\S+)$", run("nm", "-D", "--defined-only", library), re.M)
    plain = subprocess.run(["c++filt"], input="\n".join(names), capture_output=True, text=True,
                           check=True).stdout.splitlines()
    listed = set()
    for name in plain:
        for pattern, spelling in SPELLINGS:
            name = pattern.sub(spelling, name)
        # The tables of classes are exported on one platform only, and have their own list.
        if not name.startswith(("std::", "typeinfo ", "vtable ", "velta_is_built_for_")):
            listed.add(name)
    return sorted(listed)


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          check=True).stdout


class Classes:
    """Reads the classes of the public headers below `root`/velta from DWARF."""

    def __init__(self, library, root):
        from elftools.elf.elffile import ELFFile
        # A compiler cache may hand out an object that was built in another checkout.
        rooms = "|".join(path.name for path in (root / "velta").iterdir() if path.is_dir())
        self.public = re.compile(rf"/velta/({rooms})/\w+\.h$")
        self.found = {}
        with open(library, "rb") as file:
            for unit in ELFFile(file).get_dwarf_info().iter_CUs():
                self.files = self.file_names(unit)
                self.visit(unit.get_top_DIE(), "")

    @staticmethod
    def file_names(unit):
        program = unit.dwarfinfo.line_program_for_CU(unit)
        top = unit.get_top_DIE()
        directory = top.attributes["DW_AT_comp_dir"].value.decode()
        folders = [name.decode() for name in program["include_directory"]]
        names = []
        for entry in program["file_entry"]:
            folder = Path(directory, folders[entry.dir_index])
            names.append(str(Path(*folder.parts, entry.name.decode()).resolve()))
        return names

    def visit(self, die, scope):
        for child in die.iter_children():
            name = text(child, "DW_AT_name")
            if child.tag == "DW_TAG_namespace":
                self.visit(child, f"{scope}{name}::")
            elif child.tag in ("DW_TAG_class_type", "DW_TAG_structure_type"):
                if name and "DW_AT_declaration" not in child.attributes:
                    if self.is_public(child):
                        self.found.setdefault(scope + name, self.describe(child))
                    self.visit(child, f"{scope}{name}::")

    def is_public(self, die):
        file = die.attributes.get("DW_AT_decl_file")
        return file is not None and bool(self.public.search(self.files[file.value]))

    def describe(self, die):
        lines = [f"  size {number(die, 'DW_AT_byte_size')}"]
        slots = []
        for child in die.iter_children():
            if child.tag == "DW_TAG_inheritance":
                offset = number(child, "DW_AT_data_member_location")
                lines.append(f"  base at {offset}: {type_name(child)}")
            elif child.tag == "DW_TAG_subprogram" and "DW_AT_vtable_elem_location" in child.attributes:
                slots.append((slot(child), text(child, "DW_AT_name")))
        lines += [f"  slot {index}: {name}" for index, name in sorted(slots)]
        for child in die.iter_children():
            if child.tag == "DW_TAG_member" and "DW_AT_data_member_location" in child.attributes:
                offset = number(child, "DW_AT_data_member_location")
                lines.append(f"  field at {offset}: {text(child, 'DW_AT_name') or '(unnamed)'}")
        return lines

    def lines(self):
        for name in sorted(self.found):
            yield name
            yield from self.found[name]


def text(die, attribute):
    value = die.attributes.get(attribute)
    return value.value.decode() if value else ""


def number(die, attribute):
    value = die.attributes.get(attribute)
    return value.value if value else 0


def type_name(die):
    return text(die.get_DIE_from_attribute("DW_AT_type"), "DW_AT_name")


def slot(die):
    """A slot is written as an expression: push a constant."""
    expression = die.attributes["DW_AT_vtable_elem_location"].value
    assert expression[0] == 0x10, "not DW_OP_constu"
    value = 0
    for position, byte in enumerate(expression[1:]):
        value |= (byte & 0x7F) << 7 * position
    return value


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("what", choices=["exports", "classes"])
    parser.add_argument("library", type=Path)
    parser.add_argument("root", type=Path, nargs="?")
    parser.add_argument("--compare", type=Path)
    parser.add_argument("--keep", type=Path)
    options = parser.parse_args()
    if options.what == "exports":
        lines = exports(options.library)
    else:
        lines = list(Classes(options.library, options.root.resolve()).lines())
    if not lines:
        sys.exit(f"{options.library} shows nothing of its interface")
    if options.keep:
        options.keep.write_text("\n".join(lines) + "\n")
    elif options.compare:
        kept = options.compare.read_text().splitlines()
        changes = list(difflib.unified_diff(kept, lines, str(options.compare), str(options.library),
                                            lineterm="", n=2))
        if changes:
            print("\n".join(changes))
            sys.exit("the binary interface has changed; where that is meant, keep it with --keep")
    else:
        print("\n".join(lines))


if __name__ == "__main__":
    main()
