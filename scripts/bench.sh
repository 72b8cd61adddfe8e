#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and runs the benchmarks and prints their ratios. Best on an otherwise idle machine.
#
#   scripts/bench.sh [Google Benchmark options]
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

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
python3 bench/ratios.py "${results[@]}" || true  # a missed goal is named in the table
