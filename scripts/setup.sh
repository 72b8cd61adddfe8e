#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what the builds and tests need; quiet when nothing is missing.
#
#   scripts/setup.sh [linux|windows|arm64|bench|tools|docs|all]     default: all
#
# Debian's packages are pinned by the release they come from (and by the major version in their
# names where Debian ships several); the Windows compiler is pinned by its lock file.
#
# Needs Debian and the right to install; leaves packages, and the compiler in $VELTA_CACHE.
set -euo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

what=${1:-all}
linux=(g++ cmake ninja-build ccache googletest locales libcli11-dev binutils clang-19
       clang-format-19 clang-tidy-19 libclang-rt-19-dev cppcheck gcovr python3 python3-pyelftools pkgconf util-linux)
windows=(cmake ninja-build ccache googletest npm wine wine64 clang-19 clang-tools-19 lld-19 llvm-19
         libcli11-dev python3 util-linux)
# Beside linux; for Windows on ARM64 the Windows compiler does.
arm64=(g++-aarch64-linux-gnu qemu-user-static)
# What the tests of tools/velta-log need besides; without a browser its page is not tested.
tools=(libcli11-dev python3-jsonschema python3-selenium chromium chromium-driver lnav)
docs=(doxygen)
bench=(libbenchmark-dev libcereal-dev libspdlog-dev libfmt-dev libboost-dev libboost-serialization-dev
       python3-matplotlib)
case $what in
  linux)   wanted=("${linux[@]}" "${tools[@]}") ;;
  windows) wanted=("${windows[@]}" python3-jsonschema) ;;
  arm64)   wanted=("${arm64[@]}") ;;
  bench)   wanted=("${linux[@]}" "${bench[@]}") ;;
  tools)   wanted=("${tools[@]}") ;;
  docs)    wanted=("${docs[@]}") ;;
  all)     wanted=("${linux[@]}" "${tools[@]}" "${windows[@]}" "${arm64[@]}" "${bench[@]}" "${docs[@]}") ;;
  *) echo "usage: scripts/setup.sh [linux|windows|arm64|bench|tools|docs|all]" >&2; exit 2 ;;
esac

mkdir -p "$VELTA_CACHE"
log=$VELTA_CACHE/setup.log

# step TEXT COMMAND...: says what takes long and how long it has taken; the output goes to the log.
step() {
  local text=$1 started=$SECONDS status=0
  shift
  printf '%s\n' "== $text" >>"$log"
  "$@" >>"$log" 2>&1 9>&- &
  local job=$!
  if [ -t 2 ]; then
    while kill -0 "$job" 2>/dev/null; do
      printf '\rsetup: %s ... %d s ' "$text" "$((SECONDS - started))" >&2
      sleep 1
    done
    printf '\r' >&2
  else
    printf 'setup: %s ...\n' "$text" >&2
  fi
  wait "$job" || status=$?
  if [ "$status" != 0 ]; then
    printf 'setup: %s failed; the end of %s:\n' "$text" "$log" >&2
    tail -n 20 "$log" >&2
    exit "$status"
  fi
  printf 'setup: %s: done in %d s\n' "$text" "$((SECONDS - started))" >&2
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

install_packages() {
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"
}

# In a folder of its own first, so that an interrupted installation is not taken for a whole one.
install_windows_compiler() {
  local fresh=$VELTA_ZIG_HOME.new
  rm -rf "$fresh" "$VELTA_ZIG_HOME"
  mkdir -p "$fresh"
  cp tools/zig/package.json tools/zig/package-lock.json "$fresh"
  npm ci --silent --no-audit --no-fund --prefix "$fresh"
  mv "$fresh" "$VELTA_ZIG_HOME"
}

compile_windows_runtime() {
  local work
  work=$(mktemp -d)
  printf '%s\n' '#include <iostream>' \
    'int main() { try { throw 1; } catch (int) { std::cout << 1; } }' >"$work/a.cpp"
  tools/zig/bin/zig-c++ -O2 -fno-sanitize=undefined "$work/a.cpp" -o "$work/a.exe"
  rm -rf "$work"
  touch "$VELTA_CACHE/zig-runtime-ready"
}

# Two set-ups at once would install into the same folders.
exec 9>"$VELTA_CACHE/setup.lock"
flock 9
: >"$log"  # one set-up, one log

missing=()
for package in "${wanted[@]}"; do
  # Node.js may come from elsewhere than Debian, and brings its own npm.
  if [ "$package" = npm ] && command -v npm >/dev/null; then continue; fi
  if ! dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed; then
    [[ " ${missing[*]} " == *" $package "* ]] || missing+=("$package")
  fi
done
if [ "${#missing[@]}" -gt 0 ]; then
  if [ "$(id -u)" != 0 ] && ! sudo -n true 2>/dev/null; then
    printf 'setup: installing packages as root\n' >&2
    sudo true  # asks for the password before the output goes to the log
  fi
  step "installing ${missing[*]}" install_packages "${missing[@]}"
fi

# The tests write numbers under a locale whose decimal separator is a comma.
if [[ " ${wanted[*]} " == *" locales "* ]] && ! locale -a 2>/dev/null | grep -qix 'de_DE.utf8'; then
  step "generating the locale de_DE.UTF-8" as_root localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi

if [ "$what" = windows ] || [ "$what" = all ]; then
  if [ ! -x "$ZIG" ]; then
    step "installing the Windows compiler (about 400 MB)" install_windows_compiler
  fi
  # Once per machine; later builds find the runtimes in the shared cache.
  if [ ! -e "$VELTA_CACHE/zig-runtime-ready" ]; then
    step "compiling the Windows C++ runtime once (about five minutes)" compile_windows_runtime
  fi
  if ! cmake/msvc-abi/build_runtime.sh --where >/dev/null; then
    step "compiling the C++ runtime for Visual C++'s ABI once" cmake/msvc-abi/build_runtime.sh
  fi
  if [ ! -e "$WINEPREFIX/.update-timestamp" ]; then
    step "preparing wine" tools/zig/bin/wine-run wineboot --init
  fi
fi
