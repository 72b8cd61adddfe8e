#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Commands, notifications, settings and dumps at full rate, all at once; fails when anything is lost
# or memory grows.
#
#   scripts/soak.sh [seconds; default 600] [linux|windows]
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
seconds=${1:-600}
platform=${2:-linux}

scripts/setup.sh "$platform"
mkdir -p build/logs
{ cmake --preset "$platform" && cmake --build --preset "$platform" --target velta_soak; } \
  >build/logs/soak.log 2>&1 || { tail -n 40 build/logs/soak.log >&2; exit 1; }
export VELTA_REGISTRY=$PWD/build/soak-registry
case $platform in
  linux)   exec build/linux/bin/velta_soak "$seconds" ;;
  windows) exec tools/zig/bin/wine-run build/windows/bin/velta_soak.exe "$seconds" ;;
esac
