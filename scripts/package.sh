#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the archives that are handed out: a ZIP for Windows, a tarball for Linux.
#
#   scripts/package.sh [linux|windows]     default: both
#
# Needs and installs setup's part for the platform; leaves build/packages and the builds.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

case ${1:-both} in
  linux|windows) platforms=("$1") ;;
  both)          platforms=(linux windows) ;;
  *) echo "usage: scripts/package.sh [linux|windows]" >&2; exit 2 ;;
esac
mkdir -p build/logs build/packages
for platform in "${platforms[@]}"; do
  scripts/setup.sh "$platform"
  log=build/logs/package-$platform.log
  { cmake --preset "$platform" && cmake --build --preset "$platform" --target velta velta-log &&
    (cd build/packages && cpack --config "../$platform/CPackConfig.cmake")
  } >"$log" 2>&1 || { tail -n 40 "$log" >&2; exit 1; }
done
ls build/packages/*.zip build/packages/*.tar.gz 2>/dev/null
