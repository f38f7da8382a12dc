# SPDX-License-Identifier: LGPL-2.1-or-later
"""The packages' files say the same as the project: its version, and the symbols of its library."""
import pathlib
import re
import sys


def read(root, name):
    return (pathlib.Path(root) / name).read_text(encoding="utf-8")


def complaints(root, version):
    changelog = re.match(r"tresk-extend \(([^)-]+)-\d+\) ", read(root, "packaging/debian/changelog"))
    if changelog is None or changelog.group(1) != version:
        yield f"packaging/debian/changelog: not version {version}"
    spec = re.search(r"^Version:\s+(\S+)$", read(root, "packaging/rpm/tresk_extend.spec"), re.M)
    if spec is None or spec.group(1) != version:
        yield f"packaging/rpm/tresk_extend.spec: not version {version}"
    listed = {line.split()[1] for line in read(root, "tests/abi/exported_symbols.txt").splitlines()
              if re.match(r"[TV] ", line)}
    packaged = set(re.findall(r"^ (\w+)@Base ", read(root, "packaging/debian/libtresk-extend0.symbols"), re.M))
    if not listed:
        yield "tests/abi/exported_symbols.txt: no symbols"
    for name in sorted(listed ^ packaged):
        yield f"{name}: not both in tests/abi/exported_symbols.txt and packaging/debian/libtresk-extend0.symbols"


def main():
    found = list(complaints(*sys.argv[1:]))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
