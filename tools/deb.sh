#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: deb.sh [--once]
#
# Builds Debian's packages into build/deb/, twice and in two places, which has to give the same bytes; then lintian,
# and what tools/check_package.sh wants of their files. tools/packages_in_root.sh installs them.
# --once builds once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly output="$PWD/build/deb"
version=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
readonly version
readonly source="tresk-extend-${version%-*}"
readonly packages=(
  libtresk-extend-dev libtresk-extend0 libtresk-extend0-dbgsym python3-tresk-extend tresk-development-framework
  tresk-development-framework-dbgsym treskctl treskctl-dbgsym
)

# build_in FOLDER: the packages of a fresh copy of the tree, in FOLDER.
build_in() {
  tools/source_tree.sh "$1/$source"
  cp -r "$1/$source/packaging/debian" "$1/$source/debian"
  if ! (cd "$1/$source" && env -u DESTDIR DEB_BUILD_OPTIONS="parallel=$(nproc)" \
    dpkg-buildpackage --build=binary --no-sign >"$1/log" 2>&1); then
    tail -n 40 "$1/log"
    exit 1
  fi
}

rm -rf "$output"
mkdir -p "$output/first" "$output/second"
build_in "$output/first"
(cd "$output/first" && diff <(printf '%s\n' "${packages[@]}") <(printf '%s\n' *.deb | cut -d _ -f 1 | LC_ALL=C sort))
if [ "${1:-}" != --once ]; then
  build_in "$output/second"
  for package in "$output"/first/*.deb; do
    cmp "$package" "$output/second/${package##*/}"
  done
  echo "two builds: the same bytes"
fi
# (These are no uploads to Debian, so no bug of its tracker is closed.)
lintian --fail-on error,warning --display-level '>=warning' --suppress-tags initial-upload-closes-no-bugs \
  "$output"/first/*.changes
for package in "$output"/first/*.deb; do
  case "$package" in
    *-dbgsym_*) ;;
    *) dpkg-deb -x "$package" "$output/unpacked" ;;
  esac
done
tools/check_package.sh "$output/unpacked"
cp "$output"/first/*.deb "$output/"
rm -rf "$output/first" "$output/second" "$output/unpacked"
ls "$output"
