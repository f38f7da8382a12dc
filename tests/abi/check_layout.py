# SPDX-License-Identifier: LGPL-2.1-or-later
"""Every record of the public header, and every field of it, is held in place by the assertions of layout.c."""
import argparse
import re
import sys

RECORD = re.compile(r"typedef struct \w+ \{(.*?)\} (\w+);", re.S)
FIELD = re.compile(r"(\w+)(?:\[\w+\])*;")
COMMENT = re.compile(r"/\*.*?\*/", re.S)


def records(header):
    """{record: [field, ...]}"""
    return {name: FIELD.findall(fields) for fields, name in RECORD.findall(COMMENT.sub("", header))}


def complaints(header, layout):
    sizes = set(re.findall(r"ASSERT_SIZE\((\w+), \d+\)", layout))
    fields = set(re.findall(r"ASSERT_FIELD\((\w+), (\w+), \d+, \d+\)", layout))
    found = records(header)
    if not found:
        yield "the header has no records"
    for record, names in found.items():
        if record not in sizes:
            yield f"{record}: no assertion about its size"
        for name in names:
            if (record, name) not in fields:
                yield f"{record}.{name}: no assertion about its place"


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("header")
    parser.add_argument("layout")
    options = parser.parse_args()
    found = list(complaints(read(options.header), read(options.layout)))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
