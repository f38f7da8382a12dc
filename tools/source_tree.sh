#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: source_tree.sh FOLDER
#
# The files of this checkout that are the project's, as they are now, and nothing that was built: what packages
# are made of. FOLDER is made anew. Each file has the time of the newest changelog entry, and the rights that it
# has in the repository.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

readonly target=$1
rm -rf "$target"
mkdir -p "$target"
git ls-files -z --cached --others --exclude-standard | while IFS= read -r -d '' file; do
  if [ -e "$file" ]; then printf '%s\0' "$file"; fi
done | tar --null --files-from=- --mode='u=rwX,go=rX' -cf - | tar -C "$target" -xf -
find "$target" -exec touch --no-dereference --date "@$(tools/changelog_time.sh)" {} +
