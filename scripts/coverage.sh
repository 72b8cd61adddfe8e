#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Which lines and branches of the library the tests run: build/coverage/index.html, and a summary.
# Fails below 90 percent of the lines outside platform/, whose other half only Windows runs.
#
# Needs and installs setup's "linux"; leaves build/coverage and build/logs.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux

mkdir -p build/logs
{ cmake --preset coverage && cmake --build --preset coverage -j "$(nproc)"; } \
  >build/logs/coverage.log 2>&1 || { tail -n 40 build/logs/coverage.log >&2; exit 1; }
find build/coverage -name '*.gcda' -delete
ctest --preset coverage >build/logs/coverage-tests.log 2>&1 ||
  { tail -n 40 build/logs/coverage-tests.log >&2; exit 1; }
# An exception's edge out of every call is no decision of ours.
exec gcovr --root . --filter velta/ --exclude velta/platform/ --exclude-throw-branches \
  --exclude-unreachable-branches --print-summary --html-details build/coverage/index.html \
  --txt build/coverage/lines.txt --fail-under-line 90 -j "$(nproc)" build/coverage
