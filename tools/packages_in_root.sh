#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: packages_in_root.sh CHECKOUT deb|rpm
#
# What ./dev deb or ./dev rpm built, in a root that has a compiler and nothing of this tree: Debian's packages are
# installed, tested and removed by dpkg; the rpms by rpm, beside the libraries that Debian has. The caller gives it a
# mount namespace of its own.
set -euo pipefail

readonly checkout=$1
readonly kind=$2
readonly release=bookworm
readonly root="$checkout/build/fresh/packages-root"
# shellcheck source=tools/bare_root.sh
. "$checkout/tools/bare_root.sh"
readonly with_compiler="$roots/compiler.tar"
# A user's compiler and build tools; with rpms, which cannot tell apt, what their files need.
readonly tools=(cmake g++ make pkg-config)
readonly needed_by_rpm=(
  dbus-daemon libglib2.0-0 libkmod2 libpam0g libsafec3 libsqlite3-0 libssl3 libxml2 libyaml-cpp0.7 python3 rpm
)

make_compiler_root() {
  if [ -f "$with_compiler" ]; then
    return
  fi
  make_base
  unpack
  in_root apt-get update -qq
  in_root apt-get install -y -qq --no-install-recommends "${tools[@]}" >/dev/null
  keep_root "$with_compiler"
}

# check_installed VERSION MODULES [PREFIX LIBRARY_FOLDER]: what is asked of the installed files, however they came.
# MODULES is where the Python module has to be; what is in a prefix is looked for there.
check_installed() {
  local version=$1 modules=$2 environment=()
  shift 2
  if [ $# -gt 0 ]; then
    environment=(LD_LIBRARY_PATH="$1/$2" PYTHONPATH="$modules" PYTHONDONTWRITEBYTECODE=1)
  fi
  in_root /consumers/tests/consumers/check.sh /tmp/consumers "$version" "$@"
  in_root env "${environment[@]}" tresk-sandbox -- sh -ec '
    treskctl --version | grep -Fx "treskctl $0"
    treskctl ppro add /usr/bin/env --type 1
    treskctl ppro list | grep -F /usr/bin/env
    python3 -c "import tresk_extend
print(tresk_extend.__file__, *[entry.path for entry in tresk_extend.ppro_read_all_data()])" |
      grep -Fx "$1/tresk_extend.py /usr/bin/env"' "$version" "$modules"
}

# The folder of the tests alone: nothing of the tree is there but them.
copy_tests() {
  mkdir -p "$root/consumers/tests"
  cp -r "$checkout/tests/consumers" "$root/consumers/tests/"
  mkdir -p "$root/consumers/tests/abi"
  cp "$checkout/tests/abi/exported_symbols.txt" "$root/consumers/tests/abi/"
}

# files_of_system [CONDITION...]: what is there, as far as find's condition holds.
files_of_system() {
  in_root find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /var \) -prune -o "$@" -print |
    sort
}

test_deb() {
  mkdir "$root/packages"
  cp "$checkout"/build/deb/*.deb "$root/packages/"
  rm -f "$root"/packages/*-dbgsym_*
  copy_tests
  in_root apt-get update -qq
  # What the packages need comes first, so that removing them has to leave what was there.
  in_root sh -ec 'apt-get install -y -qq --no-install-recommends /packages/*.deb >/dev/null
    dpkg --purge $(ls /packages/*.deb | sed "s|.*/||; s|_.*||") >/dev/null'
  files_of_system >"$root/tmp/before"
  in_root sh -ec 'dpkg --install /packages/*.deb >/dev/null'
  check_installed "$1" /usr/lib/python3/dist-packages
  in_root sh -ec 'dpkg --purge $(ls /packages/*.deb | sed "s|.*/||; s|_.*||") >/dev/null; dpkg --audit'
  files_of_system >"$root/tmp/after"
  diff "$root/tmp/before" "$root/tmp/after"
  echo "installed, tested and removed: nothing is left"
}

test_rpm() {
  copy_tests
  mkdir "$root/packages"
  cp "$checkout"/build/rpm/*.rpm "$root/packages/"
  in_root apt-get update -qq
  in_root apt-get install -y -qq --no-install-recommends "${needed_by_rpm[@]}" >/dev/null
  in_root rpm --initdb
  files_of_system ! -type d >"$root/tmp/before"
  # (rpm knows nothing of what apt installed, and folders that a system's own packages would have stay.)
  in_root sh -ec 'rpm --install --nodeps /packages/*.rpm'
  check_installed "$1" "$(in_root find /usr/lib /usr/lib64 -name tresk_extend.py -printf %h)" /usr lib64
  in_root sh -ec 'rpm --erase --nodeps $(rpm --query --package /packages/*.rpm)'
  files_of_system ! -type d >"$root/tmp/after"
  diff "$root/tmp/before" "$root/tmp/after"
  echo "installed, tested and removed: nothing is left"
}

version=$(sed -n 's/^project(tresk_extend VERSION \([0-9.]*\).*/\1/p' "$checkout/CMakeLists.txt")
make_compiler_root
unpack "$with_compiler"
mount_system
"test_$kind" "$version"
