# SPDX-License-Identifier: MIT
# As windows-zig.cmake, for ARM64. Nothing here can run its programs: there is no emulator.
include("${CMAKE_CURRENT_LIST_DIR}/windows-zig.cmake")
set(CMAKE_SYSTEM_PROCESSOR ARM64)
# A later target wins over the compiler script's own.
set(CMAKE_C_COMPILER_TARGET aarch64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-windows-gnu)
unset(CMAKE_CROSSCOMPILING_EMULATOR)
