#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Measures what the library and treskctl cost, as ratios to bare yardsticks, and fails where one is past its bound.

    run.py [OPTIONS] BUILD_FOLDER

A driver prints a JSON object a line. A row is one figure and its bound, which may be null:

    {"name": "path hash, 100 bytes", "unit": "times", "bound": 1.3, "ratio": 1.12}

A point of a series tells the seconds at one size; a side that was not measured is null or missing:

    {"series": "labels by paths", "n": 1000, "library": 2e-5, "naive": 6e-5, "yardstick": 2e-5}

Each driver runs in a sandbox of its own. One whose row is past its bound runs again, up to twice, before the row
counts as failed: on a machine that does other things as well, one outlier in three runs is noise. The row of each
run is kept and shown.
"""
import argparse
import dataclasses
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from charts import growth_chart

BENCH_FOLDER = pathlib.Path(__file__).resolve().parent
DOCS_FOLDER = BENCH_FOLDER.parent / "docs"
RUNS_AT_MOST = 3
REPORT_BEGIN = "<!-- measured: written by `./dev bench --report`, from here to the end -->\n"


@dataclasses.dataclass
class Row:
    name: str
    unit: str
    bound: object
    ratios: list

    @property
    def kept(self):
        """The runs before the last one were past the bound, or there would have been no other."""
        return self.bound is None or self.ratios[-1] <= self.bound


@dataclasses.dataclass
class Driver:
    """What --only names, and the function that gives its lines."""
    name: str
    lines: object


class Bench:
    def __init__(self, build, quick):
        self.build = build.resolve()
        self.quick = ["--quick"] if quick else []
        self.rows = {}
        self.series = {}

    # --- running ---

    def output(self, words):
        """Of a command in a sandbox of its own; it has to succeed."""
        sandbox = [self.build / "bin/tresk-sandbox", "--kernel-protocol", "27", "--"]
        environment = os.environ | {"PATH": f"{self.build / 'bin'}:{os.environ['PATH']}"}
        done = subprocess.run([str(word) for word in [*sandbox, *words]], stdout=subprocess.PIPE, text=True,
                              env=environment, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{words[0]}: exit status {done.returncode}")
        return done.stdout

    def lines_of(self, words):
        return [json.loads(line) for line in self.output(words).splitlines() if line.startswith("{")]

    def run(self, driver):
        for attempt in range(RUNS_AT_MOST):
            print(f"{driver.name}{' once more' if attempt else ''} ...", file=sys.stderr, flush=True)
            past = [row for row in self.take(driver.lines()) if not row.kept]
            if not past:
                return

    def take(self, lines):
        """The rows that came, with what earlier runs gave for them where that was past the bound."""
        taken = []
        for line in lines:
            if "series" in line:
                self.series.setdefault(line["series"], {})[line["n"]] = line
                continue
            row = Row(line["name"], line["unit"], line["bound"], [])
            before = self.rows.get(row.name)
            if before is not None and before.kept:
                continue
            row.ratios = (before.ratios if before else []) + [line["ratio"]]
            self.rows[row.name] = row
            taken.append(row)
            print(f"  {' | '.join(cells(row))}", file=sys.stderr, flush=True)
        return taken

    # --- drivers ---

    def drivers(self):
        yield from (Driver(subject, lambda subject=subject: self.library(subject))
                    for subject in ("service", "kernel", "hash", "labels", "history"))
        yield Driver("instructions", self.instructions)
        yield Driver("loading", lambda: self.python("loading_bench.py", self.build / "libtresk_extend.so.0"))
        yield Driver("treskctl", lambda: self.python("treskctl_bench.py", *self.quick, "--rows",
                                                     self.build / "bin/treskctl",
                                                     self.build / "bench/empty_program"))
        if (BENCH_FOLDER / "readers/readers_bench.py").exists():
            yield Driver("readers", lambda: self.python("readers/readers_bench.py", *self.quick, self.build))

    def python(self, script, *words):
        return self.lines_of([sys.executable, "-B", BENCH_FOLDER / script, *words])

    def library(self, subject):
        return self.lines_of([self.build / "bench/library_bench", *self.quick, subject])

    def instructions(self):
        """Those of one piece of work, counted; they do not depend on what else the machine does."""
        program = self.build / "bench/library_bench"
        for contest in self.lines_of([program, "--list-counted"]):
            counts = [self.counted([program, "--count", contest["name"], side]) for side in ("library", "yardstick")]
            yield {"name": contest["name"] + ": instructions", "unit": "times", "bound": contest["bound"],
                   "ratio": counts[0] / counts[1]}

    def counted(self, words):
        with tempfile.TemporaryDirectory() as folder:
            counts = pathlib.Path(folder) / "counts"
            self.output(["valgrind", "-q", "--tool=callgrind", "--collect-atstart=no",
                         "--toggle-collect=tresk_bench_counted", f"--callgrind-out-file={counts}", *words])
            found = re.search(r"^(?:summary|totals): (\d+)", counts.read_text(), re.MULTILINE)
        if found is None or int(found.group(1)) == 0:
            raise RuntimeError(f"no instructions were counted: {words[-2:]}")
        return int(found.group(1))


# --- what people read ---

def number(value):
    return "-" if value is None else f"{value:.2f}" if abs(value) < 1000 else f"{value:.0f}"


def cells(row):
    ratio = number(row.ratios[-1])
    if len(row.ratios) > 1:
        ratio += f" (before: {', '.join(number(each) for each in row.ratios[:-1])})"
    return [row.name, row.unit, number(row.bound), ratio,
            "no bound" if row.bound is None else "pass" if row.kept else "FAIL"]


HEAD = ["what", "unit", "at most", "measured", ""]


def print_table(rows):
    lines = [HEAD, *(cells(row) for row in rows)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEAD))]
    for line in lines:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def first_line(*words):
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    return done.stdout.splitlines()[0].strip() if done.returncode == 0 and done.stdout else "not known"


def compiler_of(build):
    found = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE)
    return re.sub(r"^\S*/", "", first_line(found.group(1), "--version")) if found else "not known"


def processor():
    found = re.search(r"^model name\s*:\s*(.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return found.group(1) if found else "not known"


def machine_facts(build):
    libraries = ("gio-2.0", "libxml-2.0", "sqlite3", "libcrypto", "libkmod", "libsafec")
    versions = (f"{name} {first_line('pkg-config', '--modversion', name)}" for name in libraries)
    return [f"- processors: {os.cpu_count()}, {processor()}", f"- compiler: {compiler_of(build)}, as packaged",
            f"- libraries: {', '.join(versions)}",
            f"- load when this was written: {os.getloadavg()[2]:.1f} (15 minutes)"]


def write_report(bench):
    charts = DOCS_FOLDER / "performance"
    charts.mkdir(parents=True, exist_ok=True)
    lines = ["\n## This machine\n", *machine_facts(bench.build), "\n## Figures\n",
             "| " + " | ".join(HEAD) + " |", "|" + " --- |" * len(HEAD),
             *("| " + " | ".join(cells(row)) + " |" for row in bench.rows.values())]
    if bench.series:
        lines.append("\n## Growth\n")
    for name, points in sorted(bench.series.items()):
        chart = charts / (re.sub(r"\W+", "-", name) + ".svg")
        chart.write_text(growth_chart(name, [points[n] for n in sorted(points)]))
        lines.append(f"![{name}](performance/{chart.name})\n")
    page = DOCS_FOLDER / "PERFORMANCE.md"
    method = page.read_text().partition(REPORT_BEGIN)[0]
    page.write_text(method + REPORT_BEGIN + "\n".join(lines).rstrip() + "\n")


# --- the command ---

def options_of(arguments):
    parser = argparse.ArgumentParser(description="Measure what the library and treskctl cost. Exit status 1: a figure "
                                     "is past its bound.")
    parser.add_argument("build", type=pathlib.Path, metavar="BUILD_FOLDER")
    parser.add_argument("--quick", action="store_true", help="fewer runs; for a first look")
    parser.add_argument("--only", action="append", metavar="NAME", help="this driver alone; may be repeated")
    parser.add_argument("--report", action="store_true", help="write docs/PERFORMANCE.md and its charts")
    return parser, parser.parse_args(arguments)


def main():
    parser, options = options_of(sys.argv[1:])
    bench = Bench(options.build, options.quick)
    drivers = list(bench.drivers())
    unknown = set(options.only or []) - {driver.name for driver in drivers}
    if unknown:
        parser.error(f"--only: {', '.join(sorted(unknown))}; there are {', '.join(each.name for each in drivers)}")
    if options.report and (options.quick or options.only):
        parser.error("--report: a report is of everything, measured in full")
    for driver in drivers:
        if not options.only or driver.name in options.only:
            bench.run(driver)
    print_table(bench.rows.values())
    if options.report:
        write_report(bench)
    return 0 if bench.rows and all(row.kept for row in bench.rows.values()) else 1


if __name__ == "__main__":
    sys.exit(main())
