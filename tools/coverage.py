#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""What of the library its tests run: functions, lines and branches, by folder.

Fails where a function, a line or a branch that no test reaches is not explained in tools/coverage-exceptions,
where something explained there is reached after all, and where fewer than 95 % of the branches are.

clang counts these in the source, each outcome of each operand of a condition. gcc's figures would be of
little use, since to gcc every call that may throw is a branch.
"""
import argparse
import collections
import dataclasses
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

import test_programs
from test_programs import ROOT

PRESET = "coverage"
PROFILES = ROOT / "build" / PRESET / "profiles"
MERGED = PROFILES / "all.profdata"
EXCEPTIONS = ROOT / "tools" / "coverage-exceptions"
LEAST_BRANCHES = 95.0
TIME_LIMIT_S = 600
KINDS = ("function", "line", "never true", "never false")


@dataclasses.dataclass(frozen=True)
class Item:
    """Something of the source that runs or does not. Its text names it, since line numbers wander."""

    file: str
    kind: str
    text: str
    line: int = dataclasses.field(compare=False)

    def __str__(self):
        return f"{self.file}:{self.line}: {self.kind}: {self.text}"


def tool(name):
    return shutil.which(f"{name}-14") or shutil.which(name) or sys.exit(f"{name} is not installed")


# --- running ---


def environment_for(profile):
    return dict(os.environ, LLVM_PROFILE_FILE=str(profile))


def profile_of(program):
    return PROFILES / f"{program.name}.profdata"


def run(program):
    """Runs @program and keeps what it counted. One that fails as a whole is tried test by test."""
    raw = PROFILES / f"{program.name}.raw"
    shutil.rmtree(raw, ignore_errors=True)
    # Children of a test write their own: by the binary's signature, by process.
    environment = environment_for(raw / "%m-%p.profraw")
    begin = time.monotonic()
    if program.run(environment, TIME_LIMIT_S) != "passed":
        shutil.rmtree(raw, ignore_errors=True)
        program.separate(environment_for("/dev/null"))
        begin = time.monotonic()
        if program.run(environment, TIME_LIMIT_S) != "passed":
            sys.exit(f"{program.name} fails: no coverage is worth counting")
    program.seconds = time.monotonic() - begin
    merge(sorted(part for part in raw.glob("*.profraw") if part.stat().st_size > 0), profile_of(program))
    shutil.rmtree(raw)


def merge(parts, result):
    # A test that is about crashes leaves torn profiles: they are left out one by one.
    subprocess.run([tool("llvm-profdata"), "merge", "--sparse", "--failure-mode=all", "-o", str(result),
                    *map(str, parts)], check=True, stderr=subprocess.DEVNULL)


def is_counted(program):
    """Whether the last run was one of this very program."""
    profile, executable = profile_of(program), pathlib.Path(program.executable)
    return profile.exists() and profile.stat().st_mtime > executable.stat().st_mtime


def run_all(programs):
    """Runs those that changed since their last run, and adds all up."""
    PROFILES.mkdir(parents=True, exist_ok=True)
    for program in programs:
        if not is_counted(program):
            run(program)
            note_of(program).write_text(json.dumps([program.seconds, program.tests]))
    merge([profile_of(program) for program in programs], MERGED)


def note_of(program):
    return PROFILES / f"{program.name}.json"


def last_runs(tree):
    """The programs as they were run last: how long each took, and whether test by test."""
    programs = test_programs.find(tree)
    for program in programs:
        program.seconds, program.tests = json.loads(note_of(program).read_text())
    return programs


# --- reading ---


def exported(tree, profile, form):
    """llvm-cov's account of the library alone, whichever program ran its objects."""
    library = tree / "libtresk_extend.so"
    return subprocess.run([tool("llvm-cov"), "export", f"--format={form}", str(library),
                           f"--instr-profile={profile}"], check=True, capture_output=True, text=True).stdout


def in_library(path, files):
    relative = os.path.relpath(path, ROOT)
    return relative if relative in files else None


def line_counts(tree, profile):
    """{file: {line: count}}"""
    files = set(test_programs.library_files())
    counts, file = collections.defaultdict(dict), None
    for entry in exported(tree, profile, "lcov").splitlines():
        if entry.startswith("SF:"):
            file = in_library(entry[3:], files)
        elif entry.startswith("DA:") and file:
            line, count = entry[3:].split(",")[:2]
            counts[file][int(line)] = int(count)
    return counts


def source_text(file, start, end):
    """The text between two (line, column), blanks folded."""
    lines = (ROOT / file).read_text(encoding="utf-8").splitlines()[start[0] - 1:end[0]]
    lines[-1] = lines[-1][:end[1] - 1]
    lines[0] = lines[0][start[1] - 1:]
    return " ".join(" ".join(lines).split())


def counted_lines(tree, profile):
    for file, counts in line_counts(tree, profile).items():
        for line, count in counts.items():
            yield Item(file, "line", source_text(file, (line, 1), (line, 10**6)), line), count


def functions_and_branches(tree, profile):
    """({place: count}, {place: [true, false]}): instantiations of a template count as one."""
    files = set(test_programs.library_files())
    functions, branches = collections.Counter(), collections.defaultdict(lambda: [0, 0])
    for function in json.loads(exported(tree, profile, "text"))["data"][0]["functions"]:
        names = [in_library(name, files) for name in function["filenames"]]
        first = function["regions"][0]
        if names[first[5]]:
            functions[names[first[5]], *first[:4]] += function["count"]
        for branch in function["branches"]:
            if names[branch[6]]:
                outcomes = branches[names[branch[6]], *branch[:4]]
                outcomes[0] += branch[4]
                outcomes[1] += branch[5]
    return functions, branches


def head_of(file, line):
    """What a function whose body begins on @line is known by: the line of its name, there or above."""
    lines = (ROOT / file).read_text(encoding="utf-8").splitlines()
    first = line - 1
    while lines[first].strip() == "{" or not re.match(r"\s*[\w~\[].*\(", lines[first]):
        first -= 1
    return lines[first].strip()


def counted_functions(functions):
    for (file, line, *_), count in functions.items():
        yield Item(file, "function", head_of(file, line), line), count


def counted_branches(branches):
    for (file, *place), outcomes in branches.items():
        text = source_text(file, place[:2], place[2:])
        for kind, count in zip(("never true", "never false"), outcomes):
            yield Item(file, kind, text, place[0]), count


# --- judging ---


def read_exceptions(text):
    """{item: reason}: a line "FILE: KIND: TEXT", then its reason, indented."""
    reasons, item = {}, None
    for number, line in enumerate(text.splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith(" "):
            if item is None:
                raise SystemExit(f"{EXCEPTIONS.name}:{number}: a reason for nothing")
            reasons[item] = f"{reasons[item]} {line.strip()}".strip()
            continue
        parts = line.split(": ", 2)
        if len(parts) != 3 or parts[1] not in KINDS:
            raise SystemExit(f"{EXCEPTIONS.name}:{number}: not FILE: KIND: TEXT")
        item = Item(*parts, number)
        if item in reasons:
            raise SystemExit(f"{EXCEPTIONS.name}:{number}: listed twice")
        reasons[item] = ""
    return reasons


def complaints(counted, reasons):
    missing = {item: item for item, count in counted if count == 0}
    for item in sorted(missing.values(), key=lambda one: (one.file, one.line, one.kind)):
        if item not in reasons:
            yield f"{item}: no test gets there"
    for item, reason in reasons.items():
        if item not in missing:
            yield f"{EXCEPTIONS.name}:{item.line}: {item.text}: is reached, or is no more"
        elif not reason:
            yield f"{EXCEPTIONS.name}:{item.line}: {item.text}: has no reason"


def share(counts):
    return 100.0 * sum(count > 0 for count in counts) / len(counts) if counts else 100.0


def table(counted):
    """The rows to print, and the share of all branches that is reached."""
    groups = collections.defaultdict(lambda: collections.defaultdict(list))
    names = {"function": "functions", "line": "lines", "never true": "branches", "never false": "branches"}
    for item, count in counted:
        for folder in (item.file.split("/")[0], "all"):
            groups[folder][names[item.kind]].append(count)
    rows = [f"{'':12}{'functions':>20}{'lines':>22}{'branches':>22}"]
    for folder in (*test_programs.LIBRARY_FOLDERS, "all"):
        cells = [groups[folder][column] for column in ("functions", "lines", "branches")]
        rows.append(f"{folder:12}" + "".join(
            f"{sum(count > 0 for count in cell):8} of {len(cell):4} {share(cell):5.1f}%" for cell in cells))
    return rows, share(groups["all"]["branches"])


def count_all(tree, profile):
    functions, branches = functions_and_branches(tree, profile)
    counted = [*counted_functions(functions), *counted_lines(tree, profile), *counted_branches(branches)]
    if not counted:
        sys.exit("nothing was counted")
    return counted


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--report", action="store_true", help="judge the last run again, without tests")
    arguments = parser.parse_args()
    tree = ROOT / "build" / PRESET
    if not arguments.report:
        test_programs.build(PRESET)
        run_all(test_programs.find(tree))
    counted = count_all(tree, MERGED)
    rows, branches = table(counted)
    print("\n".join(rows))
    wrong = list(complaints(counted, read_exceptions(EXCEPTIONS.read_text(encoding="utf-8"))))
    if branches < LEAST_BRANCHES:
        wrong.append(f"{branches:.1f} % of the branches are reached, {LEAST_BRANCHES:.0f} % should be")
    for line in wrong:
        print(line, file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
