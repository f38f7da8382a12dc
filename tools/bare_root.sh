# shellcheck shell=bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Bare roots of a Debian release, for scripts that source this. They set "checkout" (this tree), "release" and
# "root" (where the root is to be) first, and have a mount namespace of their own. The mirror is the one that this
# machine's apt uses.

readonly roots="$checkout/build/fresh"

mirror() {
  apt-get indextargets --format '$(REPO_URI) $(CODENAME)' 'Created-By: Packages' |
    awk '$2 == "bookworm" { print $1; exit }'
}

# The bare system is kept as an archive, so that a second run starts from the same one at once.
base_archive() {
  if [ "$release" = bookworm ]; then
    echo "$roots/base.tar"
  else
    echo "$roots/base-$release.tar"
  fi
}

# keep_root ARCHIVE: the root as it is, whole or not at all.
keep_root() {
  tar --one-file-system -C "$root" -cf "$1.new" .
  mv "$1.new" "$1"
}

make_base() {
  local archive
  archive=$(base_archive)
  if [ -f "$archive" ]; then
    return
  fi
  mkdir -p "$roots"
  rm -rf "$root"
  debootstrap --variant=minbase "$release" "$root" "$(mirror)"
  keep_root "$archive"
}

# unpack [ARCHIVE]: the root anew, bare if no other is named.
unpack() {
  rm -rf "$root"
  mkdir -p "$root"
  tar -C "$root" -xf "${1:-$(base_archive)}"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  printf 'deb %s %s main\n' "$(mirror)" "$release" >"$root/etc/apt/sources.list"
  # A mirror may be some weeks behind; its signatures are checked all the same.
  echo 'Acquire::Check-Valid-Until "false";' >"$root/etc/apt/apt.conf.d/90-mirror"
}

mount_system() {
  mount -t proc proc "$root/proc"
  mount --rbind /sys "$root/sys"
  mount --rbind /dev "$root/dev"
}

in_root() {
  env -i HOME=/root TERM="${TERM:-dumb}" PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"
}
