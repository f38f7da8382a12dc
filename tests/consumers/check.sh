#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: check.sh WORK_FOLDER VERSION [PREFIX LIBRARY_FOLDER]
#
# Builds three programs against the installed library as its users do, and runs them in the installed sandbox: one
# in C that asks pkg-config, one in C++ that asks CMake, one that was linked against a build without symbol versions.
# Without a prefix the library is where the system looks by itself.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
symbols=$here/../abi/exported_symbols.txt
mkdir -p "$1"
work=$(cd "$1" && pwd)
version=$2
unset DESTDIR MAKEFLAGS CFLAGS CXXFLAGS CPPFLAGS LDFLAGS LDLIBS LD_PRELOAD
if [ $# -gt 2 ]; then
  export PKG_CONFIG_PATH="$3/$4/pkgconfig" CMAKE_PREFIX_PATH="$3" LD_LIBRARY_PATH="$3/$4" PATH="$3/bin:$PATH"
  # Debian's cmake does not look into the folder of an rpm's libraries.
  if [ "$4" = lib64 ]; then
    export tresk_extend_DIR="$3/$4/cmake/tresk_extend"
  fi
fi
libraries=$(pkg-config --variable=libdir tresk_extend)

run() {
  echo "$1:"
  tresk-sandbox -- "$work/$1/main"
}

c_pkg_config() {
  cp "$here/c_pkg_config/main.c" "$here/c_pkg_config/Makefile" "$work/c_pkg_config/"
  pkg-config --print-errors --exact-version="$version" tresk_extend
  make -s -C "$work/c_pkg_config"
}

cxx_cmake() {
  cmake -S "$here/cxx_cmake" -B "$work/cxx_cmake" -DTRESK_EXPECTED_VERSION="$version" >"$work/cxx_cmake.log" ||
    { cat "$work/cxx_cmake.log" && return 1; }
  cmake --build "$work/cxx_cmake" >"$work/cxx_cmake.log" || { cat "$work/cxx_cmake.log" && return 1; }
}

unversioned() {
  awk -f "$here/unversioned/library.awk" "$symbols" >"$work/unversioned/library.c"
  cc -shared -fPIC -Wl,-soname,libtresk_extend.so.0 -o "$work/unversioned/libtresk_extend.so" "$work/unversioned/library.c"
  # (Position dependent, as programs were when libraries had no versions.)
  cc -fno-pie -no-pie $(pkg-config --cflags tresk_extend) -o "$work/unversioned/main" "$here/unversioned/main.c" \
    "$work/unversioned/libtresk_extend.so"
  rm "$work/unversioned/libtresk_extend.so"
}

for consumer in c_pkg_config cxx_cmake unversioned; do
  rm -rf "${work:?}/$consumer"
  mkdir "$work/$consumer"
  $consumer
  # What runs is the installed library, not one that lies about.
  LD_LIBRARY_PATH="$libraries${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" ldd "$work/$consumer/main" |
    grep -qF "=> $libraries/libtresk_extend.so.0 " || { echo "$consumer: not linked to $libraries" && exit 1; }
  run $consumer 2>"$work/messages" || { cat "$work/messages" && exit 1; }
  if grep 'no version information' "$work/messages"; then exit 1; fi
done
