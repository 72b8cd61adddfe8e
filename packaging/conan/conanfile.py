# SPDX-License-Identifier: MIT
"""conan create packaging/conan -s compiler.cppstd=20"""
import re
from pathlib import Path

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy

SOURCES = Path(__file__).resolve().parents[2]


class VeltaRecipe(ConanFile):
    name = "velta"
    license = "MIT"
    description = "Application support framework for desktop software"
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"

    def set_version(self):
        project = (SOURCES / "CMakeLists.txt").read_text(encoding="utf-8")
        self.version = re.search(r"project\(velta VERSION ([0-9.]+)", project)[1]

    def validate(self):
        if (str(self.settings.os) not in ("Windows", "Linux") or
                str(self.settings.arch) not in ("x86_64", "armv8")):
            raise ConanInvalidConfiguration("Velta is for 64-bit Windows and Linux")
        # The generated target cannot ask for a language level, so the profile of a program must.
        check_min_cppstd(self, 20)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "LICENSE", "cmake/*", "packaging/*", "velta/*"):
            copy(self, pattern, SOURCES, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("TESTS", "EXAMPLES", "TOOLS"):
            toolchain.cache_variables[f"VELTA_{part}"] = False
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        debug = self.settings.get_safe("compiler") == "msvc" and self.settings.build_type == "Debug"
        self.cpp_info.libs = ["veltad" if debug else "velta"]
        self.cpp_info.set_property("cmake_file_name", "Velta")
        self.cpp_info.set_property("cmake_target_name", "Velta::velta")
