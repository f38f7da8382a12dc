# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs the commands of a transcript and compares what they print with what it says.

    # a line for the reader
    $ treskctl ppro lst
    ! treskctl: there is no command "lst"; did you mean "list"?
    ? 2

A line that begins with "$ " is a command for bash; below it stand its standard output, its standard error with
"! " before each line, and, unless it is 0, its exit status behind "? ". Bytes that are no UTF-8 are written \\xNN.
An empty line of standard output is "|"; "| " stands before one that looks like one of the others.
All commands of a transcript run in one sandbox, one after the other. With --write the file is written anew, to be
read before it is committed.
"""
import difflib
import subprocess
import sys

PATIENCE_SECONDS = 60
OTHER_LINES = ("$ ", "! ", "? ", "|", "#")


def shown(output, prefix):
    text = output.decode("utf-8", "backslashreplace")
    lines = text.split("\n")
    unfinished = lines.pop()
    if unfinished:
        lines.append(unfinished + "\\c")
    return [prefix + line for line in lines]


def told_apart(line):
    if not line:
        return "|"
    return "| " + line if line.startswith(OTHER_LINES) else line


def answers(command):
    done = subprocess.run(["bash", "-c", command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=PATIENCE_SECONDS, check=False)
    status = [] if done.returncode == 0 else [f"? {done.returncode}"]
    return [told_apart(line) for line in shown(done.stdout, "")] + shown(done.stderr, "! ") + status


def replayed(lines):
    """The transcript as it would be written now."""
    for line in lines:
        if line.startswith("$ "):
            yield line
            yield from answers(line[2:])
        elif line.startswith("#") or not line:
            yield line


def main():
    write = sys.argv[1] == "--write"
    file = sys.argv[-1]
    with open(file, encoding="utf-8") as stream:
        expected = stream.read().split("\n")
    found = list(replayed(expected))
    if write:
        with open(file, "w", encoding="utf-8") as stream:
            stream.write("\n".join(found))
        return 0
    if not any(line.startswith("$ ") for line in expected):
        print("the transcript holds no command")
        return 1
    print("\n".join(difflib.unified_diff(expected, found, "expected", "found", lineterm="")))
    return 0 if found == expected else 1


if __name__ == "__main__":
    sys.exit(main())
