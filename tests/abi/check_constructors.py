# SPDX-License-Identifier: LGPL-2.1-or-later
"""Loading the library runs none of its code: its only entry among the constructors is the compiler's own, which every
shared library has."""
import argparse
import os
import re
import subprocess
import sys

COMPILERS_OWN = {"frame_dummy"}
ADDRESS_BYTES = 8


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True,
                          env=os.environ | {"LC_ALL": "C"}).stdout


def init_array(sections):
    """Where it is, as a range; an empty one where there is none."""
    found = re.search(r"\bINIT_ARRAY\s+([0-9a-f]+)\s+[0-9a-f]+\s+([0-9a-f]+)", sections)
    if found is None:
        return range(0)
    begin = int(found.group(1), 16)
    return range(begin, begin + int(found.group(2), 16))


def targets(relocations, places):
    """The addresses that the dynamic linker puts to @places."""
    for found in re.finditer(r"^([0-9a-f]+)\s+[0-9a-f]+\s+R_\w+_RELATIVE?\s+([0-9a-f]+)$", relocations, re.MULTILINE):
        if int(found.group(1), 16) in places:
            yield int(found.group(2), 16)


def functions(symbols):
    """Names by address."""
    names = {}
    for address, name in re.findall(r"^([0-9a-f]+) [tT] (\S+)$", symbols, re.MULTILINE):
        names.setdefault(int(address, 16), set()).add(name)
    return names


def constructors(sections, relocations, symbols):
    """Descriptions of those that are not the compiler's own; one of no known name counts as well."""
    places = init_array(sections)
    named = functions(symbols)
    found = list(targets(relocations, places))
    if ADDRESS_BYTES * len(found) != len(places):
        yield f"{len(places) // ADDRESS_BYTES} constructors, of which {len(found)} have an address"
    for address in found:
        names = named.get(address, set())
        if not names & COMPILERS_OWN:
            yield f"a constructor at {address:#x}: {', '.join(sorted(names)) or 'without a name'}"


def constructors_of(library):
    """@library with its symbols, not stripped."""
    return list(constructors(output_of("readelf", "--sections", "--wide", library),
                             output_of("readelf", "--relocs", "--wide", library), output_of("nm", library)))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("library")
    found = constructors_of(parser.parse_args().library)
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
