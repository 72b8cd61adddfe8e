#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Commands, notifications, settings and dumps at full rate, all at once; fails when anything is lost
# or memory grows.
#
#   scripts/soak.sh [seconds; default 600] [linux|windows]
#
# Threads and commands on the simulated platform: every schedule with up to two preemptions, then ten
# million with seeds that begin at the time of day. Takes about an hour on two idle cores.
#
#   scripts/soak.sh simulation
#
# A process that saves is killed a thousand times; VELTA_SEED repeats what a run printed.
#
#   scripts/soak.sh settings [kills; default 1000] [linux|windows]
#
# Needs and installs setup's part for the platform; leaves the build and build/logs.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

build() {  # build PRESET TARGET
  scripts/setup.sh "$1"
  mkdir -p build/logs
  { cmake --preset "$1" && cmake --build --preset "$1" --target "$2"; } \
    >build/logs/soak.log 2>&1 || { tail -n 40 build/logs/soak.log >&2; exit 1; }
}

simulate() {  # simulate OPTION...: what fails is printed whole, the rest is counted
  local status=0 logs=build/logs/simulation
  rm -rf "$logs" && mkdir "$logs"
  xargs -a "$scenarios" -P "$(nproc)" -I{} \
    sh -c 'build/linux/bin/velta_simulation --scenario "$@" >build/logs/simulation/"$1"' sh {} "$@" ||
    status=$?
  cat "$logs"/* | grep -vE 'schedules, [0-9]+ steps each|^1 scenarios' || true
  cat "$logs"/* | awk '/steps each/ { sum += $2 } END { printf "%d schedules: ", sum }'
  echo "$*"
  return "$status"
}

if [ "${1:-}" = simulation ]; then
  build linux velta_simulation
  scenarios=build/logs/scenarios.txt
  build/linux/bin/velta_simulation --mode list | grep -v '^planted\.' >"$scenarios"
  each=$((5000000 / $(wc -l <"$scenarios") + 1))
  seed=$(date +%s)
  failed=0
  simulate --mode exhaustive --preemptions 2 --schedules 100000 || failed=1  # 20 times as many
  simulate --mode random --schedules "$each" --seed "$seed" || failed=1
  simulate --mode pct --schedules "$each" --seed "$seed" || failed=1
  exit "$failed"
fi

run() {  # run PLATFORM PROGRAM ARGUMENT...
  local program=$2
  case $1 in
    linux)   exec build/linux/bin/"$program" "${@:3}" ;;
    windows) exec tools/zig/bin/wine-run build/windows/bin/"$program".exe "${@:3}" ;;
  esac
}

if [ "${1:-}" = settings ]; then
  build "${3:-linux}" velta_settings_tests
  export VELTA_KILLS=${2:-1000}
  run "${3:-linux}" velta_settings_tests --gtest_filter='*.AWriterThatIsKilled*'
fi

platform=${2:-linux}
build "$platform" velta_soak
export VELTA_REGISTRY=$PWD/build/soak-registry
run "$platform" velta_soak "${1:-600}"
