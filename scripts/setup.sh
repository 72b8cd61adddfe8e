#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what the builds and tests need; quiet when nothing is missing.
#
#   scripts/setup.sh [linux|windows|bench|all]     default: all
#
# Debian's packages are pinned by the release they come from (and by the major version in their
# names where Debian ships several); the Windows compiler is pinned by its lock file.
set -euo pipefail
source "$(dirname -- "${BASH_SOURCE[0]}")/env.sh"

what=${1:-all}
linux=(g++ cmake ninja-build ccache googletest libgtest-dev libgmock-dev locales libcli11-dev
       clang-19 clang-format-19 clang-tidy-19 libclang-rt-19-dev python3)
windows=(cmake ninja-build googletest npm wine wine64 llvm-19 libcli11-dev)
bench=(libbenchmark-dev libspdlog-dev libboost-dev)
case $what in
  linux)   wanted=("${linux[@]}") ;;
  windows) wanted=("${windows[@]}") ;;
  bench)   wanted=("${linux[@]}" "${bench[@]}") ;;
  all)     wanted=("${linux[@]}" "${windows[@]}" "${bench[@]}") ;;
  *) echo "usage: scripts/setup.sh [linux|windows|bench|all]" >&2; exit 2 ;;
esac

say() { printf 'setup: %s\n' "$*" >&2; }

missing=()
for package in "${wanted[@]}"; do
  # npm may come with another Node.js installation than Debian's.
  if [ "$package" = npm ] && command -v npm >/dev/null; then continue; fi
  dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
    missing+=("$package")
done
if [ "${#missing[@]}" -gt 0 ]; then
  say "installing ${missing[*]}"
  as_root=()
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >"${TMPDIR:-/tmp}/velta-setup-apt.log" 2>&1 ||
    { tail -n 20 "${TMPDIR:-/tmp}/velta-setup-apt.log" >&2; exit 1; }
fi

# The tests write numbers under a locale whose decimal separator is a comma.
if [ "$what" != windows ] && ! locale -a 2>/dev/null | grep -qix 'de_DE.utf8'; then
  say "generating the locale de_DE.UTF-8"
  if [ "$(id -u)" = 0 ]; then localedef -i de_DE -f UTF-8 de_DE.UTF-8
  else sudo localedef -i de_DE -f UTF-8 de_DE.UTF-8; fi
fi

if [ "$what" = windows ] || [ "$what" = all ]; then
  if [ ! -x "$ZIG" ]; then
    say "installing the Windows compiler (about 400 MB)"
    mkdir -p "$VELTA_ZIG_HOME"
    cp "$VELTA_ROOT"/tools/zig/package.json "$VELTA_ROOT"/tools/zig/package-lock.json "$VELTA_ZIG_HOME"
    npm ci --silent --no-audit --no-fund --prefix "$VELTA_ZIG_HOME"
  fi
  # Compiled once per machine; later builds find the runtimes in the shared cache.
  if [ ! -e "$VELTA_CACHE/zig-runtime-ready" ]; then
    say "compiling the Windows C++ runtime once (about five minutes)"
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    printf '#include <iostream>\nint main() { try { throw 1; } catch (int) { std::cout << 1; } }\n' >"$work/a.cpp"
    "$VELTA_ROOT/tools/zig/bin/zig-c++" -O2 -fno-sanitize=undefined "$work/a.cpp" -o "$work/a.exe"
    touch "$VELTA_CACHE/zig-runtime-ready"
  fi
fi
