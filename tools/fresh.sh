#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: fresh.sh CHECKOUT [--suite RELEASE]
#
# Runs README's two commands in a bare Debian 12 root, from a fresh clone of what is committed. The caller
# gives it a mount namespace of its own. In the root of another release, where not all that the tests want exists
# under the same name, it builds all and tests with gcc alone what does not need more.
set -euo pipefail

readonly checkout=$1
release=bookworm
if [ "${2:-}" = --suite ]; then
  release=$3
fi
readonly release
readonly root="$checkout/build/fresh/root"
# shellcheck source=tools/bare_root.sh
. "$checkout/tools/bare_root.sh"

make_base
unpack
mount_system
git clone -q "file://$checkout" "$root/root/tresk_extend"
if [ "$release" = bookworm ]; then
  in_root sh -ec 'cd /root/tresk_extend && ./dev demo && ./dev test'
else
  in_root sh -ec 'cd /root/tresk_extend && ./dev demo'
fi
