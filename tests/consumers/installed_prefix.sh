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
