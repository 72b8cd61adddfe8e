#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Formats the C++ files of the tree; with --check only says which would change.
#
#   scripts/format.sh [--check]
#
# Needs and installs setup's "linux"; leaves the sources formatted.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
scripts/setup.sh linux
case ${1:-} in
  "")      mode=(-i) ;;
  --check) mode=(--dry-run --Werror) ;;
  *) echo "usage: scripts/format.sh [--check]" >&2; exit 2 ;;
esac
mapfile -d '' -t sources < <(git ls-files -z --cached --others --exclude-standard -- '*.h' '*.cpp')
if [ "${#sources[@]}" = 0 ]; then
  echo "scripts/format.sh: git lists no sources" >&2
  exit 1
fi
clang-format-19 "${mode[@]}" "${sources[@]}"
