# SPDX-License-Identifier: MIT
# 64-bit Windows from any Linux host: zig's clang + libc++ + UCRT import libraries.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_SYSTEM_VERSION 10.0)

get_filename_component(_zig_bin "${CMAKE_CURRENT_LIST_DIR}/../tools/zig/bin" ABSOLUTE)
set(CMAKE_C_COMPILER   "${_zig_bin}/zig-cc")
set(CMAKE_CXX_COMPILER "${_zig_bin}/zig-c++")
set(CMAKE_RC_COMPILER  "${_zig_bin}/zig-rc")
set(CMAKE_AR      "${_zig_bin}/zig-ar"      CACHE FILEPATH "" FORCE)
set(CMAKE_RANLIB  "${_zig_bin}/zig-ranlib"  CACHE FILEPATH "" FORCE)
set(CMAKE_DLLTOOL "${_zig_bin}/zig-dlltool" CACHE FILEPATH "" FORCE)
set(CMAKE_C_COMPILER_AR       "${_zig_bin}/zig-ar")
set(CMAKE_CXX_COMPILER_AR     "${_zig_bin}/zig-ar")
set(CMAKE_C_COMPILER_RANLIB   "${_zig_bin}/zig-ranlib")
set(CMAKE_CXX_COMPILER_RANLIB "${_zig_bin}/zig-ranlib")

# Without any -O zig turns UBSan on by itself; say no here and let a preset ask for it.
# Do not use -Os/MinSizeRel: zig builds a second full set of runtime libraries for it.
set(CMAKE_C_FLAGS_INIT   "-fno-sanitize=undefined")
set(CMAKE_CXX_FLAGS_INIT "-fno-sanitize=undefined")
foreach(_l C CXX)
  set(CMAKE_${_l}_FLAGS_DEBUG_INIT          "")
  set(CMAKE_${_l}_FLAGS_RELWITHDEBINFO_INIT "")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR "${_zig_bin}/wine-run")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
