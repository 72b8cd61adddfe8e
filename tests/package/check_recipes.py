#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A dry run of the package managers' recipes, whose tools are not here.

    check_recipes.py ROOT CMAKE VERSION

Each is read and run with stand-ins for what its tool offers; that proves its syntax, that it builds
this project with options that exist, and that it names this project's version.
"""

import importlib.util
import json
import re
import subprocess
import sys
import tempfile
import types
import xml.etree.ElementTree as ElementTree
from pathlib import Path

VCPKG = """
foreach(command vcpkg_check_linkage vcpkg_cmake_install vcpkg_copy_pdbs vcpkg_cmake_config_fixup
                vcpkg_fixup_pkgconfig vcpkg_install_copyright vcpkg_cmake_configure)
  cmake_language(EVAL CODE "function(${command})\\n message(\\"${command} \\${ARGN}\\")\\nendfunction()")
endforeach()
set(CURRENT_PACKAGES_DIR "${CMAKE_CURRENT_LIST_DIR}")
include("${PORT}/portfile.cmake")
"""


class Settings(types.SimpleNamespace):
    def get_safe(self, name):
        return getattr(self, name, None)


def check_vcpkg(root, cmake, version):
    port = root / "packaging/vcpkg"
    manifest = json.loads((port / "vcpkg.json").read_text())
    assert manifest["version"] == version, "vcpkg.json names another version"
    with tempfile.TemporaryDirectory() as folder:
        script = Path(folder, "run.cmake")
        script.write_text(VCPKG)
        calls = subprocess.run([cmake, f"-DPORT={port}", "-P", script], check=True, text=True,
                               capture_output=True).stderr
    source = re.search(r"SOURCE_PATH;([^;]+)", calls)[1]
    assert Path(source, "CMakeLists.txt").samefile(root / "CMakeLists.txt"), source
    check_options(root, re.findall(r"-D(VELTA_\w+)=", calls))


def check_conan(root, version):
    tools = {}
    for name in ("conan", "conan.errors", "conan.tools", "conan.tools.build", "conan.tools.cmake",
                 "conan.tools.files"):
        tools[name] = sys.modules[name] = types.ModuleType(name)
    tools["conan"].ConanFile = object
    tools["conan.errors"].ConanInvalidConfiguration = ValueError
    toolchains = []

    class Tool:
        def __init__(self, *_):
            self.cache_variables = {}
            toolchains.append(self)

        def __getattr__(self, _):
            return lambda: None

    for name in ("CMake", "CMakeDeps", "CMakeToolchain"):
        setattr(tools["conan.tools.cmake"], name, Tool)
    tools["conan.tools.cmake"].cmake_layout = lambda _: None
    standards = []
    tools["conan.tools.build"].check_min_cppstd = lambda _, level: standards.append(level)
    copied = []
    tools["conan.tools.files"].copy = lambda _, pattern, source, __: copied.append((source, pattern))

    sys.dont_write_bytecode = True
    spec = importlib.util.spec_from_file_location("conanfile", root / "packaging/conan/conanfile.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    recipe = module.VeltaRecipe()
    recipe.export_sources_folder = "elsewhere"
    recipe.settings = Settings(os="Windows", arch="x86_64", compiler="msvc", build_type="Debug")
    recipe.cpp_info = types.SimpleNamespace(set_property=lambda *_: None)
    for step in ("set_version", "validate", "export_sources", "layout", "generate", "build",
                 "package", "package_info"):
        getattr(recipe, step)()
    assert recipe.version == version, recipe.version
    assert standards == [20], "the recipe does not ask for the language level"
    assert recipe.cpp_info.libs == ["veltad"], recipe.cpp_info.libs
    check_options(root, [name for tool in toolchains for name in tool.cache_variables])
    for source, pattern in copied:
        assert any(source.glob(pattern)), f"nothing is called {pattern}"


def check_options(root, names):
    known = re.findall(r"^option\((VELTA_\w+)", (root / "CMakeLists.txt").read_text(), re.M)
    assert names and set(names) <= set(known), names


def check_natvis(root):
    """The debugger ignores what it cannot evaluate: every field that it is told of must exist."""
    views = ElementTree.parse(root / "packaging/velta.natvis").getroot()
    headers = [p.read_text() for p in (root / "velta").rglob("*.h")]
    space = "{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}"
    types_seen = views.findall(f"{space}Type")
    assert types_seen, "natvis shows no type"
    words = (root / "velta/logging/internal/KLogWords.h").read_text()
    offset = re.search(r"return (\(.*\)) \* kPerRecord;", words)[1]
    offset = re.sub(r"(\d)U", r"\1", offset).replace("slot", "$i")
    nodes = [node.text for node in views.iter(f"{space}ValueNode") if "KLogRecord" in node.text]
    assert nodes and all(f"records + 5 * {offset})" in node for node in nodes), offset
    for view in types_seen:
        name = view.get("Name").split("<")[0].split("::")[-1]
        definition = re.compile(rf"\b(class|struct)\b[^;(]*\b{name}\b[^;]*{{")
        header = next((header for header in headers if definition.search(header)), None)
        assert header, f"there is no class {name}"
        for element in view.iter():
            expressions = re.findall(r"{([^}]*)}", element.text or "")
            if element.tag in (f"{space}Item", f"{space}ExpandedItem", f"{space}Size",
                               f"{space}ValueNode"):
                expressions = [element.text]
            for expression in expressions:
                assert not re.search(r"\w\(\)", expression), f"{name}: {expression} is a call"
                for field in re.findall(r"(?<![\w$.>])[A-Za-z]\w*", expression.removesuffix(",x")):
                    assert re.search(rf"\b{field}\b", header), f"{name} has no field {field}"


def main():
    root, cmake, version = Path(sys.argv[1]).resolve(), sys.argv[2], sys.argv[3]
    check_vcpkg(root, cmake, version)
    check_conan(root, version)
    check_natvis(root)


if __name__ == "__main__":
    main()
