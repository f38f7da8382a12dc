#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# usage: check_package.sh FOLDER
#
# FOLDER holds what packages unpack: their library has the name, the symbols and the records that programs rely on,
# and every file of machine code is hardened.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly unpacked=$1

library=$(find "$unpacked" -type f -name 'libtresk_extend.so.0.*')
python3 -B tests/abi/check_symbols.py --map include/tresk_extend.map --symbols tests/abi/exported_symbols.txt "$library"
python3 -B tests/abi/check_soname.py --soname libtresk_extend.so.0 "$library"

files=()
while IFS= read -r -d '' file; do
  if [ "$(head -c 4 "$file")" = $'\x7fELF' ]; then files+=("$file"); fi
done < <(find "$unpacked" -type f \( -path '*/bin/*' -o -name '*.so*' \) -print0)
if [ ${#files[@]} -ne 12 ]; then
  printf 'not the 12 files of machine code that there should be:\n%s\n' "$(printf '%s\n' "${files[@]}")"
  exit 1
fi
python3 -B tests/abi/check_hardening.py --optimised "${files[@]}"
if readelf --dynamic "${files[@]}" | grep -E 'R(UN)?PATH' | grep -vF '[$ORIGIN]'; then
  echo "a file looks for libraries where it should not"
  exit 1
fi
