#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Puts the sources of pugixml, a benchmark's peer, into the cache: Debian's package is built for
# narrow characters, and the comparison is with the wide ones. Quiet when they are there.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh
target=$VELTA_CACHE/pugixml
if [ -e "$target/src/pugixml.cpp" ]; then exit 0; fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{lists/partial,cache/archives/partial,sources.d}
# The sources come from where this machine's packages come from.
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources}; do
  [ -e "$list" ] || continue
  sed 's/^Types:.*/Types: deb-src/; s/^deb /deb-src /' "$list" >"$work/sources.d/$(basename "$list")"
done
apt=(-qq -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$work/sources.d"
     -o "Dir::State::lists=$work/lists" -o "Dir::Cache=$work/cache" -o APT::Sandbox::User=root)
apt-get "${apt[@]}" update
(cd "$work" && apt-get "${apt[@]}" source --download-only pugixml)
mkdir "$work/sources"
tar -xf "$work"/pugixml_*.orig.tar.gz -C "$work/sources" --strip-components=1
rm -rf "$target"
mv "$work/sources" "$target"
