# SPDX-License-Identifier: LGPL-2.1-or-later
"""A program's manual page names the options that its help names, and no others."""
import os
import re
import subprocess
import sys

OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def options_of_help(program):
    result = subprocess.run([program, "--help"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            env={"LC_ALL": "C"})
    return set(OPTION.findall(result.stdout)) | {"--help"}


def options_of_page(text):
    headings = text.split(".SH OPTIONS", 1)[1].split(".SH ", 1)[0]
    tags = re.findall(r"^\.TP\n(.*)$", headings, re.M)
    return {option for tag in tags for option in OPTION.findall(tag.replace("\\-", "-"))}


def main():
    folder, *programs = sys.argv[1:]
    failed = not programs
    for program in programs:
        name = os.path.basename(program)
        with open(f"{folder}/{name}.1", encoding="utf-8") as file:
            page = options_of_page(file.read())
        for option in sorted(page ^ options_of_help(program)):
            failed = True
            print(f"{name}: {option} is " + ("not an option" if option in page else "missing in the manual page"))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
