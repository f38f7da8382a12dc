# SPDX-License-Identifier: LGPL-2.1-or-later
"""The library is, to programs, what the stored reference says: no symbol, argument, result or record has changed.

With --write the reference is written from the library instead: after an addition, or never.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile

# What a compiler, a folder and a machine have no part in.
OPTIONS = ["--drop-private-types", "--exported-interfaces-only"]
WRITING = ["--drop-undefined-syms", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--no-elf-needed",
           "--no-parameter-names", "--type-id-style", "hash"]


def described(reference):
    """The symbols whose types the reference knows: without debugging information it would know none."""
    return set(re.findall(r"<(?:function|var)-decl [^>]*elf-symbol-id='(\w+)'", reference))


def listed(text):
    return {line.split()[1] for line in text.splitlines() if line and not line.startswith("#")}


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def describe(options, file):
    subprocess.run([options.abidw, *OPTIONS, *WRITING, "--headers-dir", options.headers, "--out-file", file,
                    options.library], check=True)


def write(options):
    describe(options, options.reference)
    root = os.path.abspath(os.path.join(options.headers, ".."))
    text = re.sub(r" path='([^']*)'", lambda match: f" path='{os.path.relpath(match.group(1), root)}'",
                  read(options.reference))
    with open(options.reference, "w", encoding="utf-8") as file:
        file.write(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--abidiff", default="abidiff")
    parser.add_argument("--abidw", default="abidw")
    parser.add_argument("--headers", required=True, help="the folder of the public header")
    parser.add_argument("--reference", required=True)
    parser.add_argument("--symbols", required=True)
    parser.add_argument("library")
    options = parser.parse_args()
    if not (shutil.which(options.abidiff) and shutil.which(options.abidw)):
        print("skipped: abidiff and abidw are missing (Debian's package abigail-tools)")
        return 77
    if options.write:
        write(options)
    with tempfile.NamedTemporaryFile() as current:
        describe(options, current.name)
        symbols = listed(read(options.symbols))
        for name, text in (("reference", read(options.reference)), ("library", read(current.name))):
            unknown = symbols - described(text)
            if unknown:
                print(f"the {name} does not describe:", *sorted(unknown))
                return 1
    result = subprocess.run([options.abidiff, *OPTIONS, "--fail-no-debug-info", "--headers-dir2", options.headers,
                             options.reference, options.library])
    return 1 if result.returncode else 0


if __name__ == "__main__":
    sys.exit(main())
