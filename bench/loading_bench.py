# SPDX-License-Identifier: LGPL-2.1-or-later
"""What loading the library costs before a function is called: constructors that run, relocations, size.

    loading_bench.py LIBRARY
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/abi"))
from check_constructors import constructors_of, output_of  # noqa: E402


def row(name, unit, bound, value):
    print(json.dumps({"name": name, "unit": unit, "bound": bound, "ratio": value}))


def section_bytes(sections, name):
    """Of a line like: [13] .text PROGBITS 0000000000015540 015540 02c8d1 00 AX 0 0 16"""
    found = re.search(rf"\] {re.escape(name)}\s+\S+\s+\S+\s+\S+\s+([0-9a-f]+) ", sections)
    return int(found.group(1), 16) if found else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("library")
    library = parser.parse_args().library
    relocations = output_of("readelf", "--relocs", "--wide", library)
    sections = output_of("readelf", "--sections", "--wide", library)
    row("loading: constructors of the library's own", "constructors", 0, len(constructors_of(library)))
    row("loading: relocations", "relocations", None, len(re.findall(r"\bR_\w+", relocations)))
    row("loading: relocations of relative addresses", "relocations", None,
        len(re.findall(r"\bR_\w+_RELATIVE?\b", relocations)))
    row("loading: code", "KiB", None, section_bytes(sections, ".text") / 1024)
    row("loading: written at load", "KiB", None,
        sum(section_bytes(sections, name) for name in (".data.rel.ro", ".data", ".bss", ".got")) / 1024)


if __name__ == "__main__":
    main()
