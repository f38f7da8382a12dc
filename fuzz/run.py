#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Builds the fuzzers and runs each for a time on a copy of its stored inputs.

Says of each what it ran, what it covered at the beginning and at the end (edges of the code; features, which are
edges with counts and compared values), when the last new one of both came, and what it found. Exit status: 0 nothing was found, 1 something was, 2 a fuzzer could not be run.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "fuzz"
CORPUS = ROOT / "fuzz" / "corpus"
DICTIONARIES = ROOT / "fuzz" / "dictionaries"
WORK = BUILD / "runs"

# The dictionary of each target; several share one. The longest input, in bytes, where it is not 4096.
DICTIONARY = {
    "ppro_policy": "xml", "pblk_policy": "xml", "bwlist_policy": "xml",
    "netctl_programs": "xml", "netctl_packages": "xml",
    "ppro_conf": "settings", "ppro_blacklist": "settings",
    "device_database": "sqlite", "device_rows": "sqlite",
    "service_reply": "service", "service_error": "service", "kernel_reply": "service",
    "edit_texts": "texts", "scene_texts": "texts", "query_texts": "texts",
    "treskctl_json": "json", "treskctl_yaml": "yaml", "treskctl_line": "line",
}
LONGEST = {"ppro_policy": 16384, "pblk_policy": 16384, "netctl_programs": 16384, "netctl_packages": 16384,
           "device_database": 8192, "treskctl_line": 512, "service_error": 1024, "scene_texts": 1024}

# What touches "/etc/tresk".
SANDBOXED = {"ppro_policy", "pblk_policy", "bwlist_policy", "netctl_programs", "netctl_packages", "ppro_conf",
             "ppro_blacklist", "device_database", "device_rows", "query_texts", "treskctl_line"}

# "#1024  REDUCE cov: 300 ft: 900 corp: ..."
PROGRESS = re.compile(r"^#(\d+)\s+(\w+)\s+cov: (\d+) ft: (\d+)")


def command_of(target, seconds, folder):
    sandbox = [BUILD / "bin" / "tresk-sandbox", "--no-bus", "--no-kernel", "--"] if target in SANDBOXED else []
    return [*sandbox, BUILD / "fuzz" / f"fuzzer_{target}", folder / "corpus",
            f"-max_total_time={seconds}", f"-dict={DICTIONARIES / DICTIONARY[target]}.dict",
            f"-artifact_prefix={folder}/", f"-max_len={LONGEST.get(target, 4096)}", "-timeout=25",
            "-rss_limit_mb=4096", "-use_value_profile=1", "-print_final_stats=1", "-reload=0", "-verbosity=1"]


class Run:
    """One fuzzer's run, as its output tells it."""

    def __init__(self, target):
        self.target = target
        self.start = self.end = None  # (edges, features)
        self.executions = 0
        self.seconds = 0.0
        self.last_gain = [0.0, 0.0]  # of each of the two
        self.findings = []
        self.status = 0

    def note(self, line, elapsed):
        found = PROGRESS.match(line)
        if not found:
            return
        self.executions = int(found[1])
        cover = (int(found[3]), int(found[4]))
        if found[2] == "INITED":
            self.start = self.end = cover
        elif self.start:
            for which in (0, 1):
                if cover[which] > self.end[which]:
                    self.last_gain[which] = elapsed
            self.end = cover

    def line(self):
        start, end = self.start or (0, 0), self.end or (0, 0)
        rate = self.executions / self.seconds if self.seconds else 0
        return ROW.format(self.target, self.executions, f"{rate:.0f}", *start, *end,
                          *(f"{gain:.0f}" for gain in self.last_gain), len(self.findings))


ROW = "{:16} {:>10} {:>7}  {:>6} {:>8}  {:>6} {:>8}  {:>6} {:>8}  {:>8}"
HEADER = "\n".join([
    ROW.format("", "", "", "start", "", "end", "", "last", "new (s)", ""),
    ROW.format("target", "executions", "per s", "edges", "features", "edges", "features", "edge", "feature",
               "findings")])


def findings_in(folder):
    return sorted(path for kind in ("crash", "leak", "timeout", "oom") for path in folder.glob(f"{kind}-*"))


def fuzz(target, seconds):
    folder = WORK / target
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    shutil.copytree(CORPUS / target, folder / "corpus")
    run = Run(target)
    begin = time.monotonic()
    environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=1:handle_abort=1:allocator_may_return_null=1")
    with open(folder / "log", "w", encoding="utf-8", errors="replace") as log:
        with subprocess.Popen([str(word) for word in command_of(target, seconds, folder)], cwd=folder,
                              env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True, errors="replace") as process:
            for line in process.stderr:
                log.write(line)
                run.note(line, time.monotonic() - begin)
    run.seconds = time.monotonic() - begin
    run.status = process.returncode
    run.findings = findings_in(folder)
    print(run.line(), flush=True)
    for path in run.findings:
        print(f"    {path}", flush=True)
    if run.status != 0 and not run.findings:
        print(f"    ended with {run.status}: {folder / 'log'}", flush=True)
    return run


def build(targets):
    if not (BUILD / "build.ninja").exists():
        subprocess.run(["cmake", "--preset", "fuzz"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    names = [f"fuzzer_{target}" for target in targets] + ["tresk-sandbox"]
    subprocess.run(["cmake", "--build", str(BUILD), "--target", *names], check=True)


def parsed(words):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=int, default=60, help="for each target (60)")
    parser.add_argument("--jobs", type=int, default=max(1, (os.cpu_count() or 2)), help="targets at a time")
    parser.add_argument("--no-build", action="store_true", help="run what is built already")
    parser.add_argument("targets", nargs="*", metavar="TARGET", help="all where none is named: " + " ".join(DICTIONARY))
    options = parser.parse_args(words)
    unknown = [target for target in options.targets if target not in DICTIONARY]
    if unknown:
        parser.error("no such target: " + " ".join(unknown))
    options.targets = options.targets or list(DICTIONARY)
    return options


def main():
    options = parsed(sys.argv[1:])
    if not options.no_build:
        build(options.targets)
    print(HEADER, flush=True)
    with ThreadPoolExecutor(options.jobs) as pool:
        runs = list(pool.map(lambda target: fuzz(target, options.seconds), options.targets))
    if any(run.findings for run in runs):
        return 1
    return 2 if any(run.status != 0 or run.executions == 0 for run in runs) else 0


if __name__ == "__main__":
    sys.exit(main())
