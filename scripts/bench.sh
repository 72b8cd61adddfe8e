#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and runs the benchmarks and prints their ratios. Best on an otherwise idle machine.
#
#   scripts/bench.sh [--keep|--check] [Google Benchmark options]
#
#   --keep    keeps the ratios in bench/last_ratios.json and draws the charts in docs/performance
#   --check   fails when a ratio is more than a quarter worse than the one kept
#
# Needs and installs setup's "bench"; leaves build/bench.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

kept=bench/last_ratios.json
judge=()
case ${1:-} in
  --keep)  judge=(--keep "$kept" --svg docs/performance); shift ;;
  --check) judge=(--check "$kept"); shift ;;
esac

scripts/setup.sh bench
bench/get_pugixml.sh
mkdir -p build
{ cmake --preset bench && cmake --build --preset bench; } >build/bench.log 2>&1 ||
  { tail -n 40 build/bench.log >&2; exit 1; }

results=()
for program in build/bench/bin/velta_bench_*; do
  result=build/bench/$(basename "$program").json
  printf 'bench: %s\n' "$(basename "$program")" >&2
  "$program" --benchmark_repetitions=5 --benchmark_min_time=0.2 \
    --benchmark_enable_random_interleaving=true --benchmark_out="$result" \
    --benchmark_out_format=json "$@" >"${result%.json}.txt" 2>&1 ||
    { tail -n 20 "${result%.json}.txt" >&2; exit 1; }
  results+=("$result")
done
# Debian's Python: another one would not find the packages of the set-up.
/usr/bin/python3 bench/ratios.py "${judge[@]}" "${results[@]}"
