#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs cppcheck over the library, the examples, the tools and their tests.
#
# Needs and installs setup's "linux"; leaves nothing.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux

# Left out, and why:
#   duplInheritedMember  each class has a class record of its own under the one name
#   cppcheckError        the tool gives up on a loop that is in order
#   internalAstError     it does not read HANDLE{nullptr} in a list
#   legacyUninitvar      it does not know what std::to_chars writes
#   nullPointer          what crashes on purpose
#   zerodivcond          it does not see that raising an error does not return
# With the assertions: it takes what they state for granted after them.
exec cppcheck --enable=warning,performance,portability --std=c++20 --language=c++ --quiet \
  --library=googletest -DVELTA_BUILDING -DVELTA_ASSERTIONS -D__GNUC__=12 -D__GLIBCXX__ -D_GLIBCXX_USE_CXX11_ABI=1 \
  -I. -j "$(nproc)" --error-exitcode=1 \
  --suppress=duplInheritedMember --suppress=cppcheckError:velta/serialisation/MTypedPtrArray.h \
  --suppress=internalAstError:tests/platform/WaitTests.cpp \
  --suppress=legacyUninitvar:tools/velta-log/JsonWriter.h \
  --suppress=legacyUninitvar:tools/velta-log/JsonWriter.cpp \
  --suppress=nullPointer:examples/crash/main.cpp \
  --suppress=zerodivcond:examples/quickstart/main.cpp --inline-suppr \
  velta examples tools tests
