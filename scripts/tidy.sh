#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs clang-tidy over the sources; without file names over all of them.
#
#   scripts/tidy.sh [--style] [file ...]
#
# --style: names, braces, agreement of declarations with definitions, and the headers of std:: names
# only.
#
# Needs and installs setup's "linux"; leaves build/linux-clang and, in the cache, what was clean.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux

checks=
if [ "${1-}" = --style ]; then
  shift
  checks='-*,readability-braces-around-statements,readability-identifier-naming'
  checks+=',readability-inconsistent-declaration-parameter-name,misc-include-cleaner'
fi
mkdir -p build/logs
log=build/logs/tidy-configure.log
cmake --preset linux-clang >"$log" 2>&1 || { tail -n 20 "$log" >&2; exit 1; }
exec python3 tools/tidy.py --checks="$checks" build/linux-clang "$@"
