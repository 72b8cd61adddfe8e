#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs clang-tidy over the sources; without file names over all of them.
#
#   scripts/tidy.sh [file ...]
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux
mkdir -p build
cmake --preset linux-clang >build/tidy-configure.log 2>&1 || { tail -n 20 build/tidy-configure.log >&2; exit 1; }
if [ $# -gt 0 ]; then
  exec clang-tidy-19 -p build/linux-clang --quiet "$@"
fi
# What the build compiles, less the test framework and the generated sources.
exec run-clang-tidy-19 -p build/linux-clang -quiet -j "$(nproc)" \
  "^$PWD/(velta|tests|examples|bench|tools)/.*\.cpp$"
