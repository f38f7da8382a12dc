#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: platforms.sh
#
# Builds the library as on other machines, in build/platforms/: with gcc, and fakes of libboundscheck, of the
# framework's own libraries and of a libkmod with the platform's extension, which CMake has to find as it would find
# the real ones; and with clang and lld, among the stand-ins. A program then tells what it was linked to.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly parts="$PWD/tests/packaging/platform"
readonly work="$PWD/build/platforms"
readonly fakes="$work/fakes"

fail() {
  echo "platforms: $*"
  exit 1
}

shared_library() {
  cc -shared -fPIC -Wl,-soname,"$1.so.$2" -o "$fakes/lib/$1.so.$2" "${@:3}"
  ln -s "$1.so.$2" "$fakes/lib/$1.so"
}

# Every function of the framework answers -3.
make_framework() {
  local name
  for name in tresk tresk_log tresk_core tresk_adv tresk_scene tresk_scene_c; do
    awk -v library="$name" '$1 == library { printf "long %s(void);\nlong %s(void) { return %s; }\n", $2, $2,
      ($2 ~ /^tresk_scene_/) ? -3 : 0 }' "$parts/framework_functions.txt" >"$work/$name.c"
    shared_library "lib$name" 0 "$work/$name.c"
  done
}

make_fakes() {
  rm -rf "$work"
  mkdir -p "$fakes/lib/pkgconfig" "$fakes/include"
  make_framework
  cp "$parts/securec.h" "$fakes/include/"
  shared_library libboundscheck 1 "$parts/boundscheck.c"
  shared_library libkmod_platform 2 "$parts/kmod.c"
  sed "s|^Libs:|Libs: -L$fakes/lib -lkmod_platform|" "$(pkg-config --path libkmod)" >"$fakes/lib/pkgconfig/libkmod.pc"
}

# build NAME OPTION...: the library alone.
build() {
  cmake -G Ninja -S . -B "$work/$1" -DCMAKE_BUILD_TYPE=Debug -DBUILD_TESTING=OFF -DTRESK_BUILD_TRESKCTL=OFF \
    -DTRESK_WARNINGS_AS_ERRORS=ON "${@:2}" >"$work/$1.log"
  cmake --build "$work/$1" --target tresk_extend >>"$work/$1.log" || { tail -n 30 "$work/$1.log" && fail "$1"; }
}

# answer NAME FOLDER...: what the program says, with the framework's libraries in these folders.
answer() {
  local library="$work/$1" folders
  folders=$(IFS=: && echo "${*:2}")
  cc -Iinclude -o "$library/program" "$parts/program.c" -L"$library" -ltresk_extend \
    -Wl,-rpath-link,"$folders"
  : >"$work/module.ko"
  LD_LIBRARY_PATH="$library:$folders" "$library/program" "$work/module.ko" 2>&1
}

needed() {
  readelf --dynamic "$work/$1/libtresk_extend.so" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'
}

make_fakes
PKG_CONFIG_PATH="$fakes/lib/pkgconfig" build fakes -DCMAKE_PREFIX_PATH="$fakes" -DTRESK_BUILD_STANDINS=OFF
needed fakes | grep -qx libboundscheck.so.1 || fail "libboundscheck was not taken"
needed fakes | grep -q safec && fail "libsafec was taken beside libboundscheck"
grep -q -- tresk-standin "$work/fakes/tresk_extend.pc.in" && fail "the stand-ins are named where the framework is"
said=$(answer fakes "$fakes/lib")
[ "$said" = "module named_by_the_platform, protected -3" ] || fail "with the fakes: $said"
echo "libboundscheck, the framework's libraries, the platform's libkmod: found and used"

build lld -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=lld -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld
readelf --string-dump=.comment "$work/lld/libtresk_extend.so" | grep -q LLD || fail "not linked by lld"
needed lld | grep -q 'libc++' && fail "linked with libc++"
python3 -B tests/abi/check_symbols.py --map include/tresk_extend.map --symbols tests/abi/exported_symbols.txt \
  "$work/lld/libtresk_extend.so"
python3 -B tests/abi/check_hardening.py "$work/lld/libtresk_extend.so"
said=$(answer lld "$work/lld/lib")
case "$said" in
  *"module -, protected "*) ;;
  *) fail "with clang and lld: $said" ;;
esac
echo "clang and lld: built, and a program runs"
