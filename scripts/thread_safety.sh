#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Has clang hold the library's sources against what they declare of locks
# (velta/platform/ThreadSafety.h), and shows that it would find a missing one.
#
# Needs and installs setup's "linux"; leaves nothing.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux

check=(clang++-19 -fsyntax-only -std=c++20 -I. -DVELTA_BUILDING -DVELTA_ASSERTIONS
       -Wthread-safety -Wthread-safety-beta)
find velta -name '*.cpp' ! -name '*Windows.cpp' -print0 |
  xargs -0 -n 4 -P "$(nproc)" "${check[@]}" -Werror
"${check[@]}" -Xclang -verify -Xclang -verify-ignore-unexpected=note \
  tests/threads/MissingLocks.cpp
