#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: installed_prefix.sh CMAKE BUILD_TREE WORK_FOLDER VERSION LIBRARY_FOLDER
#
# Installs a build's components below a prefix of their own, looks whether all is there and nothing else, and checks
# programs against it.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
cmake=$1 build=$2 work=$3 version=$4 libraries=$5
unset DESTDIR
rm -rf "$work/prefix"
for component in library development standin; do
  "$cmake" --install "$build" --prefix "$work/prefix" --component $component >/dev/null
done

(cd "$work/prefix" && find . ! -type d | sed 's|^./||; s|\(targets-\)[a-z]*\.cmake|\1CONFIGURATION.cmake|' | LC_ALL=C sort) >"$work/installed"
sed "/^#/d; s|LIBRARIES|$libraries|; s|VERSION|$version|" "$here/installed_files.txt" | LC_ALL=C sort >"$work/expected"
diff "$work/expected" "$work/installed"

"$here/check.sh" "$work/programs" "$version" "$work/prefix" "$libraries"

# The examples as a project of their own, which CMake's package alone can help.
rm -rf "$work/examples"
"$cmake" -S "$here/../../examples" -B "$work/examples" -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON \
  -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/examples.log" || { cat "$work/examples.log" && exit 1; }
"$cmake" --build "$work/examples" >"$work/examples.log" || { cat "$work/examples.log" && exit 1; }
grep -q "^tresk_extend_DIR:PATH=$work/prefix/" "$work/examples/CMakeCache.txt"

# The command line is a component of its own.
if [ -x "$build/bin/treskctl" ]; then
  rm -rf "$work/treskctl"
  "$cmake" --install "$build" --prefix "$work/treskctl" --component treskctl >/dev/null
  (cd "$work/treskctl" && find . ! -type d | sed 's|^./||' | LC_ALL=C sort) >"$work/installed"
  sed '/^#/d' "$here/installed_treskctl_files.txt" >"$work/expected"
  diff "$work/expected" "$work/installed"
  said=$(LD_LIBRARY_PATH="$work/prefix/$libraries" "$work/prefix/bin/tresk-sandbox" -- \
    "$work/treskctl/bin/treskctl" ppro add --type 1 /usr/bin/env)
  echo "$said" | grep -qF "/usr/bin/env"
fi
