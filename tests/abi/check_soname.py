# SPDX-License-Identifier: LGPL-2.1-or-later
"""The library has its SONAME and defines no symbol versions, so that programs linked against any build load."""
import argparse
import re
import subprocess
import sys


def complaints(dynamic_section, version_section, soname):
    match = re.search(r"\(SONAME\).*\[(.*)\]", dynamic_section)
    if match is None or match.group(1) != soname:
        yield f"SONAME is {match and match.group(1)}, should be {soname}"
    if "Version definition section" in version_section:
        yield "the library defines symbol versions"


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True,
                          env={"LC_ALL": "C"}).stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--soname", required=True)
    parser.add_argument("library")
    options = parser.parse_args()
    found = list(complaints(output_of(options.readelf, "--dynamic", options.library),
                            output_of(options.readelf, "--version-info", options.library), options.soname))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
