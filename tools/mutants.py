#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Whether the tests notice a wrong library: small faults are put into its sources, one at a time.

Every mutant is one source file with one change. It is compiled alone, linked with the test programs that run
the changed line, and these are run until one fails. Mutants that do not compile, or whose optimised code is
the unchanged file's, are drawn again. The same seed draws the same mutants.

build/mutants/report.json names each of them with its verdict. Fails where fewer than 90 % are noticed.
"""
import argparse
import collections
import concurrent.futures
import dataclasses
import filecmp
import itertools
import json
import os
import pathlib
import queue
import random
import re
import shlex
import shutil
import subprocess
import sys
import time

import coverage
import test_programs
from test_programs import ROOT

PLACE = ROOT / "build" / "mutants"
LEAST_NOTICED = 90.0
LEAST_LIMIT_S = 15
# A header that most of the library includes would take minutes for each of its mutants.
MOST_OBJECTS_OF_HEADER = 12


# --- the source as tokens ---

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*)
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<character>'(?:[^'\\\n]|\\.)+')
  | (?P<number>(?<![\w.])(?:0x[0-9A-Fa-f]+|\d+)(?:\.\d+)?[uUlL]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|<=>|->|::|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|[-+*/%&|^]=|[^\sA-Za-z_0-9])
""", re.X | re.S | re.M)
OPENING, CLOSING = {"(": ")", "[": "]", "{": "}"}, {")", "]", "}"}


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


def tokens_of(source):
    found = (Token(match.lastgroup, match.group(), *match.span()) for match in TOKEN.finditer(source))
    return [token for token in found if token.kind not in ("comment", "directive")]


def partner(tokens, index):
    """The index of the bracket that closes the one at @index."""
    depth = 0
    for at in range(index, len(tokens)):
        if tokens[at].text in OPENING:
            depth += 1
        elif tokens[at].text in CLOSING:
            depth -= 1
            if depth == 0:
                return at
    raise ValueError("a bracket stays open")


def statement_end(tokens, index):
    """The index of the semicolon that ends what stands at @index."""
    at = index
    while tokens[at].text != ";":
        if tokens[at].text in CLOSING:
            raise ValueError("no statement")
        at = partner(tokens, at) + 1 if tokens[at].text in OPENING else at + 1
    return at


# --- the changes ---


@dataclasses.dataclass(frozen=True)
class Change:
    """The text from @start to @end becomes @text."""

    kind: str
    start: int
    end: int
    text: str


# clang-format sets these off by blanks where they are operators, and only there.
SWAPS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "+=": "-=", "-=": "+=",
}


def is_set_off(source, token):
    return source[token.start - 1].isspace() and source[token.end].isspace()


def swapped_operators(source, tokens):
    for token in tokens:
        if token.kind == "operator" and token.text in SWAPS and is_set_off(source, token):
            yield Change("operator", token.start, token.end, SWAPS[token.text])
        elif token.text in ("++", "--"):
            yield Change("operator", token.start, token.end, {"++": "--", "--": "++"}[token.text])


def changed_constants(_source, tokens):
    for token in tokens:
        if token.kind == "number" and "." not in token.text:
            digits = token.text.rstrip("uUlL")
            suffix = token.text[len(digits):]
            base = 8 if re.fullmatch("0[0-7]+", digits) else 0
            for value in (int(digits, base) + 1, int(digits, base) - 1):
                if value >= 0:
                    yield Change("integer", token.start, token.end, f"{value}{suffix}")
        elif token.text in ("true", "false"):
            yield Change("integer", token.start, token.end, {"true": "false", "false": "true"}[token.text])
        elif token.kind == "string":
            yield Change("string", token.start, token.end, '"~' + token.text[1:])
        elif token.kind == "character":
            yield Change("string", token.start, token.end, "'~'")


def negated_conditions(source, tokens):
    for index, token in enumerate(tokens[:-1]):
        if token.text in ("if", "while") and tokens[index + 1].text == "(":
            first, last = index + 2, partner(tokens, index + 1)
            for at in range(first, last):
                if tokens[at].text == ";":
                    first = at + 1
            start, end = tokens[first].start, tokens[last].start
            yield Change("condition", start, end, f"!({source[start:end]})")
        elif token.text == "?" and is_set_off(source, token):
            start = tokens[start_of_operand(tokens, index)].start
            yield Change("condition", start, token.start, f"!({source[start:token.start].rstrip()}) ")


def start_of_operand(tokens, index):
    """Where the condition begins whose question mark stands at @index."""
    depth, at = 0, index
    while True:
        text = tokens[at - 1].text
        depth += (text in CLOSING) - (text in OPENING)
        if depth < 0 or depth == 0 and text in ("return", "=", ",", ";", "?", ":", "{", "}"):
            return at
        at -= 1


def changed_returns(source, tokens):
    for index, token in enumerate(tokens[:-1]):
        if token.text != "return" or tokens[index + 1].text == ";":
            continue
        try:
            end = tokens[statement_end(tokens, index)].start
        except ValueError:
            continue
        start = tokens[index + 1].start
        if source[start:end] not in ("nullptr", "false", "0", "{}"):
            yield Change("return", start, end, "{}")
        if not re.fullmatch(r"nullptr|[\w:]+::\w+|\{.*\}", source[start:end], re.S):
            yield Change("return", start, end, f"!({source[start:end]})")


def removed_statements(source, tokens):
    for index in range(1, len(tokens)):
        if tokens[index - 1].text not in (";", "{", "}", ")") or not begins_call(source, tokens, index):
            continue
        try:
            end = statement_end(tokens, index)
        except ValueError:
            continue
        if tokens[end - 1].text in ("delete", "default"):
            continue
        lines = source.count("\n", tokens[index].start, tokens[end].end)
        yield Change("removal", tokens[index].start, tokens[end].end, "{}" + "\n" * lines)


NO_CALL = {"return", "if", "while", "for", "switch", "case", "default", "using", "namespace", "else", "break",
           "static_assert", "template", "class", "struct", "enum", "public", "private", "do", "try", "catch"}


def begins_call(source, tokens, index):
    """A call, an assignment or a throw: one name, dotted or not, right before its bracket or its sign."""
    at = index
    if tokens[at].text == "throw":
        return True
    if tokens[at].text == "(" and tokens[at + 1].text == "void":
        at += 3
    while tokens[at].text in ("::", "*", "++", "--"):
        at += 1
    if tokens[at].kind != "word" or tokens[at].text in NO_CALL:
        return False
    while tokens[at + 1].text in (".", "->", "::", "[") or tokens[at].text in (".", "->", "::"):
        at = partner(tokens, at + 1) if tokens[at + 1].text == "[" else at + 1
    following = tokens[at + 1]
    is_assignment = following.text in ("=", "+=", "-=", "|=", "&=") and is_set_off(source, following)
    return is_assignment or (following.text == "(" and following.start == tokens[at].end)


MUTATORS = (swapped_operators, changed_constants, negated_conditions, changed_returns, removed_statements)


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    change: Change
    before: str

    def source(self):
        text = read(self.file)
        return text[:self.change.start] + self.change.text + text[self.change.end:]

    def __str__(self):
        after = " ".join(self.change.text.split())
        return f"{self.file}:{self.line}: {self.change.kind}: {self.before} -> {after}"


def read(file):
    return (ROOT / file).read_text(encoding="utf-8")


def out_of_bounds(source, tokens):
    """Where a change would be none of the code's: (start, end)."""
    for index, token in enumerate(tokens):
        if token.text in ("static_assert", "alignas", "__attribute__") and tokens[index + 1].text == "(":
            yield token.start, tokens[partner(tokens, index + 1)].end
        elif token.text == "extern" and tokens[index + 1].kind == "string":
            yield token.start, tokens[index + 1].end


def mutants_of(file):
    source = read(file)
    tokens = tokens_of(source)
    forbidden = list(out_of_bounds(source, tokens))
    for mutator in MUTATORS:
        for change in mutator(source, tokens):
            if not any(start <= change.start < end for start, end in forbidden):
                line = source.count("\n", 0, change.start) + 1
                before = " ".join(source[change.start:change.end].split())
                yield Mutant(file, line, change, before)


# --- which are drawn ---


def shares(sizes, count):
    """@count dealt out by size, at least one to each."""
    total = sum(sizes.values())
    exact = {name: count * size / total for name, size in sizes.items()}
    dealt = {name: max(1, int(share)) for name, share in exact.items()}
    by_rest = sorted(exact, key=lambda name: (int(exact[name]) - exact[name], name))
    for name in by_rest[:max(0, count - sum(dealt.values()))]:
        dealt[name] += 1
    return dealt


def draw(files, count, seed):
    """{folder: (how many are wanted, all its mutants in the order of drawing)}"""
    by_folder = collections.defaultdict(list)
    sizes = collections.Counter()
    for file in files:
        folder = file.split("/")[0]
        by_folder[folder].extend(mutants_of(file))
        sizes[folder] += read(file).count("\n")
    wanted = shares(sizes, count)
    for folder, mutants in by_folder.items():
        random.Random(f"{seed} {folder}").shuffle(mutants)
    return {folder: (wanted[folder], by_folder[folder]) for folder in sorted(by_folder)}


# --- building ---


def ninja(tree, *arguments):
    return subprocess.run(["ninja", "-C", str(tree), "--quiet", "-t", *arguments], check=True,
                          capture_output=True, text=True).stdout


class Builder:
    """Compiles and links as the coverage tree does; what it writes lies in a place of its own."""

    def __init__(self, tree, place, headers=None):
        self.tree = tree
        self.place = place
        self.compilations = {}
        for entry in json.loads((tree / "compile_commands.json").read_text()):
            output = re.search(r"-o (\S+)", entry["command"])[1]
            self.compilations[output] = (os.path.relpath(entry["file"], ROOT), shlex.split(entry["command"]))
        self.objects_of = self._dependents()
        self.links = {}
        self.headers = headers or self.make_headers()

    def _dependents(self):
        """{library file: objects that read it}"""
        dependents, output = collections.defaultdict(list), None
        files = set(test_programs.library_files())
        for line in ninja(self.tree, "deps").splitlines():
            if line and not line.startswith(" "):
                output = line.split(":")[0]
            elif line and output in self.compilations:
                file = os.path.relpath(self.tree / line.strip(), ROOT)
                if file in files:
                    dependents[file].append(output)
        return dependents

    def library_objects(self, file):
        return [output for output in self.objects_of[file] if "tresk_extend_objects.dir" in output]

    def compile(self, output, target, overlay=None, optimised=False):
        """Compiles what belongs to @output into @target; False where it does not compile."""
        command = self._command(output, target)
        if overlay is not None:
            command[1:1] = [f"-I{overlay}"]
            replaced = overlay / self.compilations[output][0]
            if replaced.exists():
                command[-1] = str(replaced)
        command += ["-w", "-O1", "-include-pch", str(self.headers)] if optimised else ["-w"]
        target.parent.mkdir(parents=True, exist_ok=True)
        return subprocess.run(command, cwd=self.tree, capture_output=True, check=False).returncode == 0

    def _command(self, output, target):
        drop = {"-fprofile-instr-generate", "-fcoverage-mapping", "-Werror", "-g", "-g1"}
        command = [word for word in self.compilations[output][1] if word not in drop]
        command[command.index("-o") + 1] = str(target)
        return command

    def make_headers(self):
        """The foreign headers of the whole library, compiled once: they are most of each compilation."""
        names = {name for file in test_programs.library_files()
                 for name in re.findall(r"^#include (<.*>)$", read(file), re.M)}
        # (One of libxml2's own wants the others before it.)
        names = sorted(names, key=lambda name: (name == "<libxml/dict.h>", name))
        text = "".join(f"#if __has_include({name})\n#include {name}\n#endif\n" for name in names)
        source = self.place / "headers.h"
        source.parent.mkdir(parents=True, exist_ok=True)
        source.write_text(text)  # not every platform has them all
        output = next(one for one in self.compilations if "tresk_extend_objects.dir" in one)
        command = self._command(output, source.with_suffix(".pch"))
        command[command.index("-c"):] = ["-x", "c++-header", str(source)]
        subprocess.run([*command, "-w", "-O1"], cwd=self.tree, check=True)
        return source.with_suffix(".pch")

    def link(self, program, replaced):
        """@program with the objects that @replaced names in the place of the tree's."""
        target = self.place / "bin" / program.name
        target.parent.mkdir(parents=True, exist_ok=True)
        command = self._link_command(program)
        command = [str(replaced.get(word, word)) for word in command]
        command[command.index("-o") + 1] = str(target)
        subprocess.run(command, cwd=self.tree, check=True, capture_output=True)
        return program.with_executable(target)

    def _link_command(self, program):
        if program.name not in self.links:
            path = os.path.relpath(program.executable, self.tree)
            last = ninja(self.tree, "commands", "-s", path).splitlines()[-1]
            words = shlex.split(re.sub(r"^: && | && :$", "", last))
            self.links[program.name] = words + ["-Wl,--strip-debug"] + (
                ["-fuse-ld=lld"] if shutil.which("ld.lld") else [])
        return self.links[program.name]


# --- judging ---


def lines_run_by(tree, program):
    counts = coverage.line_counts(tree, coverage.profile_of(program))
    return {(file, line) for file, lines in counts.items() for line, count in lines.items() if count}


class Suite:
    """The test programs, how long each takes unchanged, and which lines each runs."""

    def __init__(self, tree, environment):
        self.environment = environment
        self.programs = coverage.last_runs(tree)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            lines = pool.map(lambda program: lines_run_by(tree, program), self.programs)
        self.lines = dict(zip((program.name for program in self.programs), lines))
        self.files = {name: {file for file, _ in lines} for name, lines in self.lines.items()}

    def concerned(self, mutant, builder):
        """The programs that run the changed line; for a line that is not run itself, as a constant's, those
        that run anything of the file, or of the files that include it. The fastest comes first."""
        place = (mutant.file, mutant.line)
        chosen = [one for one in self.programs if place in self.lines[one.name]]
        if not chosen:
            files = {mutant.file} | {builder.compilations[output][0]
                                     for output in builder.library_objects(mutant.file)}
            chosen = [one for one in self.programs if files & self.files[one.name]]
        return sorted(chosen, key=lambda one: one.seconds)


@dataclasses.dataclass
class Verdict:
    mutant: Mutant
    verdict: str  # "noticed", "survived", or why it is not counted
    program: str = ""
    seconds: float = 0.0

    def counts(self):
        return self.verdict in ("noticed", "survived")


class Trial:
    def __init__(self, builder, suite):
        self.builder = builder
        self.suite = suite
        self.originals = {}

    def original(self, output):
        """The optimised object of the unchanged source, to compare with."""
        if output not in self.originals:
            target = self.builder.place / "original" / output
            if not self.builder.compile(output, target, optimised=True):
                sys.exit(f"{output} does not compile")
            self.originals[output] = target
        return self.originals[output]

    def compiled(self, mutant, overlay):
        """{object: what takes its place}, or the reason why the mutant does not count."""
        outputs = self.builder.library_objects(mutant.file)
        place = self.builder.place / "object"
        changed = False
        for output in outputs:
            if not self.builder.compile(output, place / output, overlay, optimised=True):
                return "does not compile"
            changed = changed or not filecmp.cmp(place / output, self.original(output), shallow=False)
        if not changed:
            return "same code"
        # Tests that include a changed header hold its inline functions as well.
        for output in set(self.builder.objects_of[mutant.file]) - set(outputs):
            if "/tests/" in f"/{output}" and not self.builder.compile(output, place / output, overlay):
                return "does not compile"
        return {output: place / output for output in self.builder.objects_of[mutant.file]
                if (place / output).exists()}

    def __call__(self, mutant):
        begin = time.monotonic()
        overlay = self.builder.place / "overlay"
        written = overlay / mutant.file
        written.parent.mkdir(parents=True, exist_ok=True)
        written.write_text(mutant.source(), encoding="utf-8")
        try:
            replaced = self.compiled(mutant, overlay)
            verdict, program = (replaced, "") if isinstance(replaced, str) else self.judge(mutant, replaced)
        finally:
            written.unlink()
        return Verdict(mutant, verdict, program, round(time.monotonic() - begin, 1))

    def judge(self, mutant, replaced):
        for program in self.suite.concerned(mutant, self.builder):
            linked = self.builder.link(program, replaced)
            result = linked.run(self.suite.environment, LEAST_LIMIT_S + 5 * program.seconds)
            if result != "passed":
                return "noticed", f"{program.name} {result}"
        return "survived", ""


def is_affordable(builder, file):
    return 0 < len(builder.library_objects(file)) <= MOST_OBJECTS_OF_HEADER


def try_all(drawn, trials, seed):
    """The verdicts as they come, of all folders mixed, so that those of a run that was broken off are a
    sample as well. Which mutants are tried depends on the drawing alone."""
    idle = queue.SimpleQueue()
    for trial in trials:
        idle.put(trial)

    def try_one(mutant):
        trial = idle.get()
        try:
            return trial(mutant)
        finally:
            idle.put(trial)

    wanted = {folder: number for folder, (number, _) in drawn.items()}
    remaining = {folder: iter(mutants) for folder, (_, mutants) in drawn.items()}
    with concurrent.futures.ThreadPoolExecutor(len(trials)) as pool:
        while batch := [mutant for folder in wanted
                        for mutant in itertools.islice(remaining[folder], wanted[folder])]:
            random.Random(f"{seed} order").shuffle(batch)
            trying = [pool.submit(try_one, mutant) for mutant in batch]
            for verdict in (tried.result() for tried in concurrent.futures.as_completed(trying)):
                wanted[verdict.mutant.file.split("/")[0]] -= verdict.counts()
                yield verdict


# --- telling ---


def summary(verdicts):
    rows = [f"{'':12}{'mutants':>9}{'noticed':>9}"]
    groups = collections.defaultdict(list)
    for verdict in verdicts:
        if verdict.counts():
            for key in (verdict.mutant.file.split("/")[0], f"  {verdict.mutant.change.kind}", "all"):
                groups[key].append(verdict.verdict == "noticed")
    for key in sorted(groups, key=lambda name: (name == "all", name.startswith(" "), name)):
        rows.append(f"{key:12}{len(groups[key]):9}{sum(groups[key]):9}{coverage.share(groups[key]):7.1f}%")
    return rows, coverage.share(groups["all"])


def write_report(seed, verdicts):
    entries = [{"mutant": str(one.mutant), "verdict": one.verdict, "by": one.program, "seconds": one.seconds}
               for one in sorted(verdicts, key=lambda one: str(one.mutant))]
    (PLACE / "report.json").write_text(json.dumps({"seed": seed, "mutants": entries}, indent=1) + "\n")


def prepare():
    """The coverage tree, with what each program runs of the library."""
    tree = test_programs.build(coverage.PRESET)
    coverage.run_all(test_programs.find(tree))
    return tree


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=300, help="how many mutants (300)")
    parser.add_argument("--seed", type=int, default=1, help="which ones (1)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many at a time")
    parser.add_argument("--list", action="store_true", help="only say which would be tried first")
    parser.add_argument("files", nargs="*", help="only of these sources of the library")
    arguments = parser.parse_args()
    files = arguments.files or test_programs.library_files()
    if arguments.list:
        for wanted, mutants in draw(files, arguments.count, arguments.seed).values():
            print("\n".join(str(mutant) for mutant in mutants[:wanted]))
        return 0
    tree = prepare()
    suite = Suite(tree, coverage.environment_for("/dev/null"))
    builders = [Builder(tree, PLACE / "job0")]
    builders += [Builder(tree, PLACE / f"job{number}", builders[0].headers)
                 for number in range(1, arguments.jobs)]
    files = [file for file in files if is_affordable(builders[0], file)]
    trials = [Trial(builder, suite) for builder in builders]
    verdicts = []
    for verdict in try_all(draw(files, arguments.count, arguments.seed), trials, arguments.seed):
        verdicts.append(verdict)
        if verdict.counts():
            print(f"{verdict.verdict:9}{verdict.seconds:6.1f}s  {verdict.mutant}  {verdict.program}",
                  flush=True)
        write_report(arguments.seed, verdicts)
    rows, noticed = summary(verdicts)
    print("\n".join(["", *rows, "", "Survivors:"]))
    print("\n".join(str(one.mutant) for one in verdicts if one.verdict == "survived") or "none")
    return 0 if noticed >= LEAST_NOTICED else 1


if __name__ == "__main__":
    sys.exit(main())
