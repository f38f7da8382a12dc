# SPDX-License-Identifier: LGPL-2.1-or-later
"""Measures the policy readers, each against libxml2's bare reading of the same file.

    readers_bench.py [--quick] [--sandbox PROGRAM] BUILD

BUILD is an optimised build with readers_program. Prints lines of JSON: the rows {"name", "unit", "bound", "ratio"},
and the points of the growth {"series", "n", "library", "naive", "yardstick"} in seconds. Exit status 1 where a
subject does not do its work; the bounds are for the reader of the rows.

The yardstick is xmlReadFile() in recovery mode and xmlFreeDoc(). Every call is measured in a process of its own, since
the heap that one leaves behind is charged to the next, and what is compared runs in turn, A B A B. A time is what the
thread had of the processor, in user and in system mode: a reader waits for nothing, and what else the machine does is
not the reader's. Ratios are medians over the pairs. Instructions are callgrind's, of the call alone. Memory is the
peak of the process above that of a process that does all but the call.

The policies are written as the service writes them, without blanks between the elements.
"""
import argparse
import hashlib
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

ENTRIES = 10_000
GROWTH = (100, 300, 1_000, 3_000, 10_000, 30_000, 100_000)
RUNS = {False: 25, True: 5}
PATIENCE_SECONDS = 600
MIB = 1 << 20
FOLDER = pathlib.Path("/data/bench")

RECORD_BYTES = {"ppro": 4168, "pblk": 4161, "netctl": 8524, "netctl-ext": 12620, "pkg": 12296}
ARRAYS = {"ppro": "ppro", "pblk": "pblk", "netctl": "netctl", "netctl-ext": "netctl", "pkg": "pkg"}
LOOKUPS = {"ppro-first": "ppro", "ppro-middle": "ppro", "ppro-last": "ppro", "ppro-none": "ppro", "ppro-owner": "ppro",
           "pblk-last": "pblk", "netctl-last": "netctl", "netctl-ext-last": "netctl", "pkg-last": "pkg",
           "bwlist-last": "bwlist"}
# The verdict of both lists reads the file three times.
READINGS = {"bwlist-verdict": 3}

PLACES = {"ppro": "/etc/tresk/ppro/ppro.xml", "pblk": "/etc/tresk/pblk/pblk.xml",
          "netctl": "/etc/tresk/netctl/netctl.xml", "pkg": "/etc/tresk/netctl/netctl_pkg.xml",
          "bwlist": "/etc/tresk/bwlist/bwlist.xml"}


# --- policies ---

def program(number):
    """A path of the length that programs' paths have."""
    return str(FOLDER / f"bin/program{number:06}")


def package(number):
    return f"package{number:06}"


def digest(number):
    return hashlib.sha256(program(number).encode()).hexdigest()


def ppro_node(number):
    return (f'<ppro_node path="{program(number)}" sm_status="0" data_source_name=""><hash>{digest(number)}</hash>'
            f"<type>{number % 3}</type></ppro_node>")


def pblk_node(number):
    return (f'<pblk_node path="{program(number)}" data_source_type="1" data_source_name="">'
            f"<hash>{digest(number)}</hash></pblk_node>")


def netctl_node(number):
    return (f'<tresk_node path="{program(number)}"><type>{1 + number % 2}</type><hash>{digest(number)}</hash>'
            f"<name>Program {number}</name><ico>/usr/share/icons/program{number}.png</ico>"
            f"<desktop>program{number}.desktop</desktop><server_type>0</server_type></tresk_node>")


def pkg_node(number):
    return (f'<tresk_node pkg="{package(number)}"><type>{1 + number % 2}</type>'
            f"<ico>/usr/share/icons/package{number}.png</ico><desktop>package{number}.desktop</desktop>"
            "<server_type>0</server_type></tresk_node>")


def bwlist_node(number):
    return f'<tresk_node rpm_name="{package(number)}" data_source_type="1" data_source_name="vendor"/>'


POLICIES = {"ppro": ("<ppro_root>", ppro_node, "</ppro_root>"),
            "pblk": ("<pblk_root>", pblk_node, "</pblk_root>"),
            "netctl": ('<tresk_root user_dist="0"><tresk_user userID="1000">', netctl_node, "</tresk_user></tresk_root>"),
            "pkg": ('<tresk_root user_dist="0"><tresk_user userID="1000">', pkg_node, "</tresk_user></tresk_root>"),
            "bwlist": ('<tresk_root><tresk_bwlist bw_value="white">', bwlist_node, "</tresk_bwlist></tresk_root>")}


def write_policy(kind, count, place):
    begin, node, end = POLICIES[kind]
    place.parent.mkdir(parents=True, exist_ok=True)
    place.write_text('<?xml version="1.0" encoding="UTF-8"?>\n' + begin + "".join(map(node, range(count))) + end + "\n")


# --- calls ---

class Calls:
    """The calls over one policy."""

    def __init__(self, build, kind, count):
        self.count = count
        # As the look-ups want it: in the policy's own place.
        self.file = pathlib.Path(PLACES[kind])
        write_policy(kind, count, self.file)
        small = FOLDER / "small.xml"
        write_policy("ppro", 1, small)
        name = package if kind in ("pkg", "bwlist") else program
        names = [name(number) for number in (0, count // 2, count - 1)]
        if name is program:
            for path in map(pathlib.Path, names):
                path.parent.mkdir(parents=True, exist_ok=True)
                path.touch()
        self.program = str(build / "bench/readers/readers_program")
        self.arguments = [str(self.file), str(count), str(small), *names]

    def cost(self, subject, *wrapped):
        done = subprocess.run([*wrapped, self.program, subject, *self.arguments], capture_output=True,
                              timeout=PATIENCE_SECONDS, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{subject}: {done.stderr.decode(errors='replace')[-1000:]}")
        return json.loads(done.stdout)

    def times(self, subjects, runs):
        """Of each subject, in turns."""
        times = {subject: [] for subject in subjects}
        for turn in range(runs + 1):
            for subject in subjects:
                own = self.cost(subject)["own"]
                if turn > 0:
                    times[subject].append(own)
        return times

    def instructions(self, subject):
        with tempfile.TemporaryDirectory() as folder:
            words = ["valgrind", "--tool=callgrind", "--toggle-collect=measured_call",
                     f"--callgrind-out-file={folder}/out"]
            self.cost(subject, *words)
            totals = re.search(r"^(?:totals|summary): (\d+)", pathlib.Path(folder, "out").read_text(), re.MULTILINE)
            return int(totals.group(1))

    def memory(self, subject, runs):
        """Bytes above a process that does all but the call."""
        costs = {name: [self.cost(name)["peak"] for _ in range(runs)] for name in (subject, "nothing")}
        return 1024 * (statistics.median(costs[subject]) - statistics.median(costs["nothing"]))


# --- rows ---

def emit(**row):
    print(json.dumps(row), flush=True)


def row(name, unit, bound, ratio):
    emit(name=f"readers: {name}", unit=unit, bound=bound, ratio=round(ratio, 4))


def median_ratio(times, subject, base, less=None):
    """Pair by pair; what @less costs is taken off."""
    taken_off = times[less] if less else [0] * len(times[base])
    return statistics.median((one - off) / other for one, off, other in zip(times[subject], taken_off, times[base]))


def measure_array(build, subject, runs):
    calls = Calls(build, ARRAYS[subject], ENTRIES)
    records = ENTRIES * RECORD_BYTES[subject]
    if subject == "ppro":
        times = calls.times(["yardstick", "ppro", "naive-ppro"], runs)
        row(f"all {ENTRIES} of ppro", "x yardstick", 1.15, median_ratio(times, subject, "yardstick"))
        row(f"all {ENTRIES} of ppro, beside the naive", "x naive", 0.5, median_ratio(times, subject, "naive-ppro"))
        row(f"all {ENTRIES} of ppro, instructions", "x yardstick", 0.60,
            calls.instructions(subject) / calls.instructions("yardstick"))
    else:
        zeroed = f"zeroed-{subject}"
        times = calls.times(["yardstick", zeroed, subject], runs)
        row(f"all {ENTRIES} of {subject}, beyond zeroed records", "x yardstick", 0.6,
            median_ratio(times, subject, "yardstick", less=zeroed))
    row(f"all {ENTRIES} of {subject}, memory", "x (1.06 records + 1 MiB)", 1.0,
        calls.memory(subject, 3) / (1.06 * records + MIB))


def measure_lookups(build, kind, runs):
    calls = Calls(build, kind, ENTRIES)
    subjects = [subject for subject, of in LOOKUPS.items() if of == kind]
    extra = [subject for subject in READINGS if subject.startswith(kind)]
    times = calls.times(["yardstick", *subjects, *extra], runs)
    for subject in subjects + extra:
        bound = 0.30 * READINGS.get(subject, 1)
        row(f"{subject} of {ENTRIES}", "x yardstick", bound, median_ratio(times, subject, "yardstick"))
    large = Calls(build, kind, 10 * ENTRIES)
    for subject in subjects + extra:
        row(f"{subject} of {10 * ENTRIES}, memory", "MiB", 1.0, large.memory(subject, 3) / MIB)


def measure_growth(build, runs):
    library = {}
    for count in GROWTH:
        times = Calls(build, "ppro", count).times(["ppro", "naive-ppro", "yardstick"], runs)
        library[count] = times["ppro"]
        seconds = {name: statistics.median(values) / 1e9 for name, values in times.items()}
        emit(series="readers: all of ppro", n=count, library=seconds["ppro"], naive=seconds["naive-ppro"],
             yardstick=seconds["yardstick"])
    row("all 100000 of ppro", "x 10000", 11.0,
        statistics.median(library[100_000]) / statistics.median(library[10_000]))


def measure(options):
    FOLDER.mkdir(parents=True, exist_ok=True)
    runs = RUNS[options.quick]
    for subject in ARRAYS:
        measure_array(options.build, subject, runs)
    for kind in POLICIES:
        measure_lookups(options.build, kind, runs)
    measure_growth(options.build, max(runs // 3, 3))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="fewer runs")
    parser.add_argument("--sandbox", help="tresk-sandbox, if not BUILD's")
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("build", type=pathlib.Path)
    options = parser.parse_args()
    options.build = options.build.resolve()
    if options.inside:
        measure(options)
        return 0
    sandbox = options.sandbox or str(options.build / "bin/tresk-sandbox")
    words = [sandbox, "--no-bus", "--no-kernel", "--", sys.executable, "-B", __file__, "--inside",
             *(["--quick"] if options.quick else []), str(options.build)]
    return subprocess.run(words, env=os.environ, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
