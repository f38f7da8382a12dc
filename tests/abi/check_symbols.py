# SPDX-License-Identifier: LGPL-2.1-or-later
"""The library exports what its symbol map names, which is exactly the list of all its symbols."""
import argparse
import re
import subprocess
import sys

# nm's letters for data: initialised, zeroed, read-only and their weak kin.
VARIABLE_LETTERS = "BDGRSV"


def exported_by(nm_output):
    """{name: T or V} of the lines of nm -D --defined-only."""
    symbols = {}
    for line in nm_output.splitlines():
        letter, name = line.split()[-2:]
        symbols[name] = "V" if letter in VARIABLE_LETTERS else letter
    return symbols


def named_in_map(text):
    """The names of a version script of the form { global: ...; local: *; };"""
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    body = re.fullmatch(r"\s*\{\s*global:(.*?)local:\s*\*\s*;\s*\}\s*;\s*", text, flags=re.S)
    if body is None:
        raise ValueError("the symbol map is not { global: ...; local: *; }; without a version name")
    return {name.strip() for name in body.group(1).split(";") if name.strip()}


def listed_in(text):
    """{name: T or V} of the list of all symbols."""
    lines = (line.split() for line in text.splitlines() if line and not line.startswith("#"))
    return {name: letter for letter, name in lines}


def complaints(exported, mapped, listed):
    for name in sorted(mapped - exported.keys()):
        yield f"{name}: in the symbol map, not exported"
    for name in sorted(exported.keys() - mapped):
        yield f"{name}: exported, not in the symbol map"
    for name, letter in sorted(exported.items()):
        if name not in listed:
            yield f"{name}: exported, not a symbol of this library"
        elif listed[name] != letter:
            yield f"{name}: exported as {letter}, should be {listed[name]}"
    for name in sorted(listed.keys() - exported.keys()):
        yield f"{name}: a symbol of this library, not exported"
    if not exported:
        yield "nothing is exported"


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--map", required=True)
    parser.add_argument("--symbols", required=True)
    parser.add_argument("library")
    options = parser.parse_args()
    output = subprocess.run([options.nm, "-D", "--defined-only", options.library], check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    found = list(complaints(exported_by(output), named_in_map(read(options.map)),
                            listed_in(read(options.symbols))))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
