#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the fuzzers and runs each for a while, from the checked-in inputs and a fixed seed.
#
#   scripts/fuzz.sh [seconds for each; default 60]
#
# An input that breaks something is kept in build/fuzz/found.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

scripts/setup.sh linux
mkdir -p build/logs build/fuzz/found
{ cmake --preset fuzz && cmake --build --preset fuzz -j "$(nproc)"; } >build/logs/fuzz.log 2>&1 ||
  { tail -n 40 build/logs/fuzz.log >&2; exit 1; }

for target in document edit filer number chain; do
  fresh=build/fuzz/new-$target
  rm -rf "$fresh"
  mkdir -p "$fresh"
  printf 'fuzz: %s, %s s\n' "$target" "${1:-60}" >&2
  build/fuzz/bin/velta_fuzz_$target -seed=20261121 -max_total_time="${1:-60}" -timeout=20 \
    -rss_limit_mb=2048 -dict=fuzz/xml.dict -artifact_prefix=build/fuzz/found/$target- \
    -print_final_stats=1 "$fresh" fuzz/corpus/$target >build/logs/fuzz-$target.log 2>&1 ||
    { tail -n 40 build/logs/fuzz-$target.log >&2; exit 1; }
  grep -E 'stat::number_of_executed_units' build/logs/fuzz-$target.log >&2
done
