# SPDX-License-Identifier: LGPL-2.1-or-later
"""Programs and libraries carry what makes an error in them harder to exploit, as far as a linked file shows it."""
import argparse
import os
import re
import subprocess
import sys

# What readelf writes of the file's kind, segments, dynamic section and dynamic symbols.
PARTS = ("--file-header", "--segments", "--sections", "--dynamic", "--dyn-syms")
CHECKED_CALL = re.compile(r" UND __(?!stack_chk)\w+_chk(@| |$)", re.M)
FUNCTION = re.compile(r"^\s*\d+: ([0-9a-f]+)\s+\d+ FUNC\s+GLOBAL DEFAULT\s+\d+ (\S+)$", re.M)
TEXT_SECTION = re.compile(r"\] \.text\s+PROGBITS\s+([0-9a-f]+) ([0-9a-f]+) ([0-9a-f]+)")
LANDING_PLACE = bytes.fromhex("f30f1efa")  # endbr64

# Files that hold nothing to protect: no array on a stack.
WITHOUT_ARRAYS = {"libtresk_adv", "tresk-standin-service"}
# Files whose calls of the C library the compiler can bound.
WITH_CHECKED_CALLS = {"libtresk_extend", "treskctl", "libtresk_log", "libtresk_scene_c", "tresk-standin-kernel"}


def segment_flags(text, name):
    match = re.search(rf"^\s*{name}\s+(?:0x\w+\s+)+([RWE ]+?)\s+\w+$", text, re.M)
    return None if match is None else match.group(1).replace(" ", "")


def linking(text):
    """What the linker should have done."""
    if not re.search(r"^\s*Type:\s+DYN", text, re.M):
        yield "position dependent"
    if re.search(r"^\s*INTERP ", text, re.M) and not re.search(r"\(FLAGS_1\).*\bPIE\b", text):
        yield "a program that is not marked as position independent (PIE)"
    if segment_flags(text, "GNU_RELRO") is None:
        yield "no read-only relocations (GNU_RELRO)"
    if not re.search(r"\(FLAGS(_1)?\).*\b(BIND_)?NOW\b", text):
        yield "symbols are bound when they are used, not before (NOW)"
    if segment_flags(text, "GNU_STACK") != "RW":
        yield f"the stack is {segment_flags(text, 'GNU_STACK')}, should be RW"
    if re.search(r"^\s*LOAD.*\b(RWE|R?WE)\b", text, re.M) or "TEXTREL" in text:
        yield "code that can be written"


def control_flow(text, content):
    """Where an indirect jump may land. (The files' own mark of it needs a C library that has it throughout.)"""
    address, offset, size = (int(number, 16) for number in TEXT_SECTION.search(text).groups())
    if LANDING_PLACE not in content[offset:offset + size]:
        yield "no control-flow protection (endbr64)"
    for value, name in FUNCTION.findall(text):
        place = int(value, 16) - address + offset
        if offset <= place < offset + size and not content.startswith(LANDING_PLACE, place):
            yield f"{name}: does not start with endbr64"


def complaints(name, text, content, optimised):
    """What is missing in a file, of which readelf wrote this text."""
    stem = os.path.basename(name).split(".so")[0]
    yield from linking(text)
    if stem not in WITHOUT_ARRAYS and "__stack_chk_fail" not in text:
        yield "no stack protector"
    if optimised and stem in WITH_CHECKED_CALLS and not CHECKED_CALL.search(text):
        yield "none of the C library's checked calls (_FORTIFY_SOURCE)"
    if "X86-64" in text:
        yield from control_flow(text, content)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--optimised", action="store_true", help="the files should have checked calls as well")
    parser.add_argument("files", nargs="+")
    options = parser.parse_args()
    failed = False
    for name in options.files:
        text = subprocess.run([options.readelf, "--wide", *PARTS, name], check=True, stdout=subprocess.PIPE,
                              text=True, env={"LC_ALL": "C"}).stdout
        with open(name, "rb") as file:
            content = file.read()
        for complaint in complaints(name, text, content, options.optimised):
            failed = True
            print(f"{name}: {complaint}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
