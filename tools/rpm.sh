#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: rpm.sh [--once]
#
# Builds the rpms into build/rpm/, twice and in two places, which has to give the same bytes; then rpmlint, and what
# tools/check_package.sh wants of their files. rpm knows nothing of the packages of a Debian machine, so what is
# needed to build is not asked for. --once builds once.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly output="$PWD/build/rpm"
readonly spec=packaging/rpm/tresk_extend.spec
version=$(sed -n 's/^Version: *//p' "$spec")
readonly version
SOURCE_DATE_EPOCH=$(tools/changelog_time.sh)
export SOURCE_DATE_EPOCH
# (Debian's rpm runs this script of bash with another shell.)
readonly options=(--define "__brp_compress /bin/bash /usr/lib/rpm/brp-compress %{?_prefix}")

# build_in FOLDER: the packages of a fresh copy of the tree, in FOLDER/RPMS.
build_in() {
  mkdir -p "$1/SOURCES"
  tools/source_tree.sh "$1/tresk_extend-$version"
  tar --sort=name --owner=0 --group=0 --numeric-owner -C "$1" -cf - "tresk_extend-$version" |
    gzip -n >"$1/SOURCES/tresk_extend-$version.tar.gz"
  if ! rpmbuild -bb --nodeps "${options[@]}" --define "_topdir $1" "$spec" >"$1/log" 2>&1; then
    tail -n 40 "$1/log"
    exit 1
  fi
}

rm -rf "$output"
mkdir -p "$output/first" "$output/second" "$output/unpacked"
build_in "$output/first"
if [ "${1:-}" != --once ]; then
  build_in "$output/second"
  while IFS= read -r package; do
    cmp "$output/first/RPMS/$package" "$output/second/RPMS/$package"
  done < <(cd "$output/first/RPMS" && find . -name '*.rpm')
  echo "two builds: the same bytes"
fi
find "$output/first/RPMS" -name '*.rpm' -exec cp {} "$output/" \;
rpmlint --strict --config packaging/rpm/rpmlint.toml --rpmlintrc packaging/rpm/tresk_extend.rpmlintrc \
  "$spec" "$output"/*.rpm
for package in "$output"/*.rpm; do
  rpm2cpio "$package" | (cd "$output/unpacked" && cpio --quiet -idm)
done
tools/check_package.sh "$output/unpacked"
rm -rf "$output/first" "$output/second" "$output/unpacked"
ls "$output"
