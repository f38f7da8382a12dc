#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Runs README's two commands in a bare Debian 12 root, from a fresh clone of what is committed. The caller
# gives it a mount namespace of its own. The mirror is the one that this machine's apt uses.
set -euo pipefail

readonly checkout=$1
readonly release=bookworm
readonly root="$checkout/build/fresh/root"
readonly base="$checkout/build/fresh/base.tar"

mirror() {
  apt-get indextargets --format '$(REPO_URI) $(CODENAME)' 'Created-By: Packages' |
    awk -v release="$release" '$2 == release { print $1; exit }'
}

# The bare system is kept as an archive, so that a second run starts from the same one at once.
make_base() {
  if [ -f "$base" ]; then
    return
  fi
  mkdir -p "$checkout/build/fresh"
  rm -rf "$root"
  debootstrap --variant=minbase "$release" "$root" "$(mirror)"
  tar --one-file-system -C "$root" -cf "$base.new" .
  mv "$base.new" "$base"
}

unpack() {
  rm -rf "$root"
  mkdir -p "$root"
  tar -C "$root" -xf "$base"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  printf 'deb %s %s main\n' "$(mirror)" "$release" >"$root/etc/apt/sources.list"
}

mount_system() {
  mount -t proc proc "$root/proc"
  mount --rbind /sys "$root/sys"
  mount --rbind /dev "$root/dev"
}

in_root() {
  env -i HOME=/root TERM="${TERM:-dumb}" PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    LANG=C.UTF-8 chroot "$root" "$@"
}

make_base
unpack
mount_system
git clone -q "file://$checkout" "$root/root/tresk_extend"
in_root sh -ec 'cd /root/tresk_extend && ./dev demo && ./dev test'
