#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes the reference of the public headers, with the guides, as HTML in build/docs. A warning is an
# error.
#
#   scripts/docs.sh
#
# Needs and installs setup's "docs"; leaves build/docs.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."

scripts/setup.sh docs
mkdir -p build/docs
doxygen docs/Doxyfile
printf 'build/docs/index.html\n'
