#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the fuzzers and runs each for a while, from the checked-in inputs and a fixed seed. Goes on
# to the next after a finding; the input that shows it is kept in build/fuzz/found.
#
#   scripts/fuzz.sh [seconds for each; default 60]
#   scripts/fuzz.sh --runs <inputs for each>
#
# Needs and installs setup's "linux"; leaves build/fuzz and build/logs.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

if [ "${1:-}" = --runs ]; then
  limit=-runs=${2:?how many inputs for each}
  least=$2
else
  limit=-max_total_time=${1:-60}
  least=1
fi

scripts/setup.sh linux
mkdir -p build/logs build/fuzz/found
{ cmake --preset fuzz && cmake --build --preset fuzz -j "$(nproc)"; } >build/logs/fuzz-build.log 2>&1 ||
  { tail -n 40 build/logs/fuzz-build.log >&2; exit 1; }

failed=0
for target in document edit filer fields number chain dump errors; do
  fresh=build/fuzz/new-$target
  log=build/logs/fuzz-$target.log
  rm -rf "$fresh"
  mkdir -p "$fresh"
  status=0
  build/fuzz/bin/velta_fuzz_$target -seed=20261121 "$limit" -timeout=20 -rss_limit_mb=2048 \
    -dict=fuzz/xml.dict -artifact_prefix=build/fuzz/found/$target- -print_final_stats=1 \
    "$fresh" fuzz/corpus/$target >"$log" 2>&1 || status=$?
  inputs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  if [ "$status" = 0 ] && [ "${inputs:-0}" -ge "$least" ]; then
    printf 'fuzz: %s passed, %s inputs\n' "$target" "$inputs"
  else
    tail -n 40 "$log"
    printf 'fuzz: %s failed after %s inputs\n' "$target" "${inputs:-no}"
    failed=1
  fi
done
exit $failed
