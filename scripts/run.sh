#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the example host, and velta-log for its dump, and runs the host; without arguments on this
# repository's own files.
#
#   scripts/run.sh [--windows] [host arguments]
#
# Needs and installs setup's part for the platform; leaves the build and build/host-events.log.
set -euo pipefail
here=$PWD
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
root=$PWD
source scripts/env.sh

platform=linux
host=("$root/build/linux/bin/host")
if [ "${1:-}" = --windows ]; then
  shift
  platform=windows
  host=("$root/tools/zig/bin/wine-run" "$root/build/windows/bin/host.exe")
fi
scripts/setup.sh "$platform"

mkdir -p build/logs
log=build/logs/run-$platform.log
if ! { cmake --preset "$platform" && cmake --build --preset "$platform" -j "$(nproc)" --target host velta-log; } \
    >"$log" 2>&1 </dev/null; then
  tail -n 60 "$log" >&2
  exit 1
fi

if [ $# = 0 ]; then
  set -- --log build/host-events.log README.md velta tests examples cmake scripts
else
  cd "$here"  # paths on the command line are the caller's
fi
exec "${host[@]}" "$@"
