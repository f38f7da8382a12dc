# SPDX-License-Identifier: LGPL-2.1-or-later
"""Measures what treskctl costs as a process, and fails where that is more than it may be.

    treskctl_bench.py [OPTIONS] TRESKCTL EMPTY_PROGRAM

Runs in a sandbox. EMPTY_PROGRAM does nothing and is linked to the libraries that TRESKCTL is linked to. What is
compared runs in turn, A B A B, and is compared pair by pair: what else the machine does meets both alike.

With --rows, what was measured is printed as JSON lines (see run.py) and the tables for people go to standard error.

Start: "treskctl --version", and "treskctl ppro list" of ten entries, against the empty program.

Apply: a document of 2 N entries against one of N, each on an empty machine. Each entry is one call of the service.
The stand-in's service writes its whole policy file at each call, so that its time grows with the square of the
entries and hides treskctl's. So it is told to answer at once, and the policy is put in its place when the first call
was made, which is after treskctl looked for what there is and before it looks for what came of it. --written measures
with the stand-in's writing.

List: the peak memory of a listing of 100,000 entries beyond that of a listing of 1,000, for each entry, for people and
as JSON, and its own time beside that of 10,000. The peak is read while the process waits to write its last: what the
system tells of a process that has ended counts the memory of the one that started it.

The own time of a process is the processor's, its user's and the system's part, without what it waits for.
"""
import argparse
import contextlib
import dataclasses
import json
import os
import pathlib
import select
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

POLICY_FOLDER = pathlib.Path("/etc/tresk")
WORK_FOLDER = pathlib.Path("/data")
PATIENCE_SECONDS = 60

MORE_THAN_EMPTY_MS = 10.0
TWICE_THE_ENTRIES = 2.2

LISTED_ENTRIES = 10

START_RUNS = {False: 101, True: 15}
APPLY_RUNS = {False: 3, True: 1}
LIST_RUNS = {False: 9, True: 3}
LISTED_FEW = 1_000
LISTED_MANY = (10_000, 100_000)
LISTED_FORMS = {"people": [], "JSON": ["--json"]}
TEN_TIMES_THE_ENTRIES = 11.0
BYTES_A_LISTED_ENTRY = 32.0
PIPE_BYTES = 4096
WARMING_UP = 3


@dataclasses.dataclass
class Cost:
    wall: float
    own: float


def run(words, meanwhile=lambda: None):
    """What one run costs; it has to succeed."""
    with tempfile.TemporaryFile() as error:
        outputs = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0),
                   (os.POSIX_SPAWN_DUP2, error.fileno(), 2)]
        begin = time.perf_counter()
        process = os.posix_spawn(words[0], words, os.environ, file_actions=outputs)
        meanwhile()
        _, status, usage = os.wait4(process, 0)
        wall = time.perf_counter() - begin
        if os.waitstatus_to_exitcode(status) != 0:
            error.seek(0)
            raise RuntimeError(f"{' '.join(words)}: exit status {os.waitstatus_to_exitcode(status)}: "
                               f"{error.read(1000).decode(errors='replace')}")
        return Cost(wall, usage.ru_utime + usage.ru_stime)


def peak_of(process):
    """Nothing of one that has ended."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return max((1024 * int(line.split()[1]) for line in status.splitlines() if line.startswith("VmHWM:")), default=0)


def peak_bytes(words):
    """The most memory that a program ever has which writes more than a pipe holds; the last of it waits until all else
    is taken."""
    peak = 0
    with subprocess.Popen(words, stdout=subprocess.PIPE, bufsize=0, pipesize=PIPE_BYTES) as process:
        ready = select.poll()
        ready.register(process.stdout, select.POLLIN)
        piece = b"-"
        while piece:
            ready.poll()
            peak = max(peak, peak_of(process))
            piece = process.stdout.read(PIPE_BYTES)
    if process.returncode != 0 or peak == 0:
        raise RuntimeError(f"{' '.join(words)}: exit status {process.returncode}, {peak} bytes of memory")
    return peak


def medians(costs):
    return Cost(statistics.median(cost.wall for cost in costs), statistics.median(cost.own for cost in costs))


class Report:
    """Rows for people, and what they tell for run.py; knows whether a bound was exceeded."""

    def __init__(self):
        self.exceeded = False
        self.lines = []

    def head(self, *cells):
        print()
        self.row(*cells)

    @staticmethod
    def row(first, *cells):
        print(f"{first:<34}" + "".join(f"{cell:>16}" for cell in cells), flush=True)

    def judged(self, name, unit, value, bound):
        self.lines.append({"name": name, "unit": unit, "bound": bound, "ratio": value})
        if bound is None:
            return "-"
        self.exceeded = self.exceeded or value > bound
        return "EXCEEDED" if value > bound else "kept"


# --- the machine ---

class Machine:
    def __init__(self):
        self.state = pathlib.Path(os.environ["TRESK_STANDIN_STATE"])
        self.faults = self.state / "service-faults"

    def empty(self):
        """The service and the scene library read all of it afresh at each call."""
        for folder in (POLICY_FOLDER, self.state):
            for path in folder.iterdir():
                if path.is_dir():
                    shutil.rmtree(path)
                elif path.suffix != ".err":
                    path.unlink()

    def was_called(self):
        return (self.state / "service.log").exists()

    @staticmethod
    def processor_seconds(variable):
        """Of a process that the sandbox started."""
        words = pathlib.Path(f"/proc/{os.environ[variable]}/stat").read_text().rpartition(")")[2].split()
        return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK")


# --- start ---

def loaded_libraries(program):
    """What the dynamic linker loads for it, by name."""
    listing = subprocess.run([program], env=os.environ | {"LD_TRACE_LOADED_OBJECTS": "1"}, capture_output=True,
                             timeout=PATIENCE_SECONDS, check=True).stdout.decode()
    return {line.split()[0] for line in listing.splitlines() if line.strip()}


def require_same_libraries(programs):
    first, second = (loaded_libraries(program) for program in programs)
    if not first or first != second:
        raise RuntimeError(f"the programs load different libraries: {sorted(first ^ second)}")
    print(f"both programs load the same {len(first)} libraries")


def measure_start(report, machine, options):
    require_same_libraries((options.treskctl, options.empty_program))
    machine.empty()
    WORK_FOLDER.mkdir(exist_ok=True)
    programs = [str(WORK_FOLDER / f"program{number}") for number in range(LISTED_ENTRIES)]
    for program in programs:
        pathlib.Path(program).touch()
    run([options.treskctl, "ppro", "add", "--type", "1", *programs])
    commands = {"empty program": [options.empty_program],
                "treskctl --version": [options.treskctl, "--version"],
                f"treskctl ppro list, {LISTED_ENTRIES} entries": [options.treskctl, "ppro", "list"]}
    costs = {name: [] for name in commands}
    for turn in range(WARMING_UP + START_RUNS[options.quick]):
        for name, words in commands.items():
            cost = run(words)
            if turn >= WARMING_UP:
                costs[name].append(cost)
    report_start(report, costs)


def in_milliseconds(cost):
    return (f"{1000 * value:.2f}" for value in (cost.wall, cost.own))


def report_start(report, costs):
    report.head("start", "runs", "median ms", "own ms", "more ms", "half of them", "at most", "")
    (name, empty), *others = costs.items()
    report.row(name, len(empty), *in_milliseconds(medians(empty)))
    for name, runs in others:
        more = [1000 * (one.wall - base.wall) for one, base in zip(runs, empty)]
        low, median, high = statistics.quantiles(more, n=4)
        report.row(name, len(runs), *in_milliseconds(medians(runs)),
                   f"{median:.2f}", f"{low:.2f} to {high:.2f}", f"{MORE_THAN_EMPTY_MS:.2f}",
                   report.judged(name, "ms more than empty", median, MORE_THAN_EMPTY_MS))


# --- apply ---

@dataclasses.dataclass(frozen=True)
class Kind:
    """How an entry is written in a document."""
    entry: object
    # Whether its files have to be there.
    needs_files: bool = False


def file_of(number):
    return str(WORK_FOLDER / f"files/program{number:06}")


KINDS = {
    "bwlist": Kind(lambda number: {"list": "white", "package": f"package{number:06}"}),
    "ppro": Kind(lambda number: {"path": file_of(number), "type": 1}, needs_files=True),
    "netctl": Kind(lambda number: {"path": file_of(number), "type": 1}),
    "pkg": Kind(lambda number: {"package": f"package{number:06}", "type": 1}),
    "pblk": Kind(lambda number: {"path": file_of(number)}, needs_files=True),
    "device": Kind(lambda number: {"vendor": f"{number // 0x8000 + 1:04x}", "product": f"{number % 0x8000 + 1:04x}",
                                   "perm": 1}),
    "wireless": Kind(lambda number: {"name": f"network{number:06}"}),
}

# The kind whose policy the benchmark can write itself, and whose edits do not go to the scene library, where the
# stand-in writes whole files as well.
ANSWERED_KIND = "bwlist"
ANSWERED_METHOD = "tresk_bwlist_add_zdk"


def write_document(kind, count):
    entries = [KINDS[kind].entry(number) for number in range(count)]
    if KINDS[kind].needs_files:
        (WORK_FOLDER / "files").mkdir(exist_ok=True)
        for entry in entries:
            pathlib.Path(entry["path"]).touch()
    document = WORK_FOLDER / f"{kind}-{count}.json"
    document.write_text(json.dumps({"version": 1, "policy": {kind: entries}}))
    return str(document)


def answered_policy(count):
    """What the service would have written."""
    entries = (KINDS[ANSWERED_KIND].entry(number)["package"] for number in range(count))
    nodes = "".join(f'<tresk_node rpm_name="{name}" data_source_type="1" data_source_name=""/>' for name in entries)
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<tresk_root><tresk_bwlist bw_value="white">'
            f"{nodes}</tresk_bwlist></tresk_root>\n")


@dataclasses.dataclass
class Applied:
    wall: float
    own: float
    service: float
    bus: float


class Applying:
    def __init__(self, machine, options):
        self.machine = machine
        self.options = options

    def once(self, kind, count):
        self.machine.empty()
        document = write_document(kind, count)
        meanwhile = (lambda: None) if self.options.written else self.answer_at_once(count)
        before = self.others()
        cost = run([self.options.treskctl, "apply", document], meanwhile)
        service, bus = (after - one for after, one in zip(self.others(), before))
        self.require(kind, count)
        return Applied(cost.wall, cost.own, service, bus)

    def others(self):
        return [Machine.processor_seconds(f"TRESK_STANDIN_{name}_PID") for name in ("SERVICE", "BUS")]

    def answer_at_once(self, count):
        """Has the service answer, and returns what puts the policy where the service would have written it."""
        self.machine.faults.write_text(f"{ANSWERED_METHOD} reply (0,)\n")
        draft = WORK_FOLDER / "bwlist.xml"
        draft.write_text(answered_policy(count))
        place = POLICY_FOLDER / "bwlist/bwlist.xml"
        place.parent.mkdir()

        def put_in_place():
            deadline = time.monotonic() + PATIENCE_SECONDS
            while not self.machine.was_called():
                if time.monotonic() > deadline:
                    raise TimeoutError("apply does not call the service")
                time.sleep(0.01)
            shutil.move(draft, place)

        return put_in_place

    def require(self, kind, count):
        """What was measured is what was meant."""
        listing = subprocess.run([self.options.treskctl, kind, "list", "--json=short"], capture_output=True,
                                 timeout=PATIENCE_SECONDS, check=True).stdout
        found = len(json.loads(listing)["entries"])
        calls = (self.machine.state / "service.log").read_text().count("\n") if self.machine.was_called() else None
        if found != count or (not self.options.written and calls != count):
            raise RuntimeError(f"{kind}: {found} entries and {calls} calls instead of {count}")


def measure_apply(report, machine, options):
    applying = Applying(machine, options)
    for kind in options.kinds:
        counts = (options.entries, 2 * options.entries)
        costs = {count: [] for count in counts}
        for _ in range(APPLY_RUNS[options.quick]):
            for count in counts:
                costs[count].append(applying.once(kind, count))
        report_apply(report, kind, costs, options.written)


def report_apply(report, kind, costs, written):
    how = "the service writes" if written else "the service answers"
    report.head(f"apply {kind}, {how}", "runs", "median s", "own s", "service's s", "bus's s", "at most", "")
    for count, runs in costs.items():
        values = [statistics.median(values) for values in zip(*(dataclasses.astuple(one) for one in runs))]
        report.row(f"{count} entries", len(runs), *(f"{value:.2f}" for value in values))
    once, twice = costs.values()
    ratios = [[many / max(few, 1e-9) for few, many in zip(dataclasses.astuple(a), dataclasses.astuple(b))]
              for a, b in zip(once, twice)]
    wall, own, *others = (statistics.median(column) for column in zip(*ratios))
    report.row("times", len(ratios), *(f"{value:.2f}" for value in (wall, own)),
               *(f"{value:.2f}" if value < 100 else "-" for value in others), f"{TWICE_THE_ENTRIES:.2f}",
               report.judged(f"treskctl apply {kind}, {' to '.join(map(str, costs))} entries", "times",
                             max(wall, own), TWICE_THE_ENTRIES))


# --- list ---

@dataclasses.dataclass
class Listed:
    cost: Cost
    runs: int
    peaks: dict


def measure_list(report, machine, options):
    listed = {}
    for count in (LISTED_FEW, *LISTED_MANY):
        machine.empty()
        place = POLICY_FOLDER / "bwlist/bwlist.xml"
        place.parent.mkdir(exist_ok=True)
        place.write_text(answered_policy(count))
        words = [options.treskctl, ANSWERED_KIND, "list"]
        lines = subprocess.run(words, capture_output=True, timeout=PATIENCE_SECONDS, check=True).stdout.count(b"\n")
        if lines < count:
            raise RuntimeError(f"{count} entries are listed in {lines} lines")
        costs = [run(words) for _ in range(LIST_RUNS[options.quick])]
        listed[count] = Listed(medians(costs), len(costs),
                               {form: peak_bytes(words + more) for form, more in LISTED_FORMS.items()})
    report_list(report, listed)


def report_list(report, listed):
    report.head(f"{ANSWERED_KIND} list", "runs", "median s", "own s",
                *(f"peak MiB, {form}" for form in LISTED_FORMS), "at most", "")
    for count, one in listed.items():
        report.row(f"{count} entries", one.runs, f"{one.cost.wall:.3f}", f"{one.cost.own:.3f}",
                   *(f"{peak / 1048576:.1f}" for peak in one.peaks.values()))
    few, many = (listed[count] for count in LISTED_MANY)
    times = many.cost.own / few.cost.own
    report.row("times", "", "", f"{times:.2f}", "", "", f"{TEN_TIMES_THE_ENTRIES:.2f}",
               report.judged(f"treskctl list, {' to '.join(map(str, LISTED_MANY))} entries: own time", "times", times,
                             TEN_TIMES_THE_ENTRIES))
    for form in LISTED_FORMS:
        each = (many.peaks[form] - listed[LISTED_FEW].peaks[form]) / (LISTED_MANY[1] - LISTED_FEW)
        report.row(f"bytes an entry, {form}", "", "", "", f"{each:.1f}", "", f"{BYTES_A_LISTED_ENTRY:.2f}",
                   report.judged(f"treskctl list, {LISTED_MANY[1]} entries, {form}: memory", "bytes an entry", each,
                                 BYTES_A_LISTED_ENTRY))


def options_of(arguments):
    parser = argparse.ArgumentParser(description="Measure what treskctl costs as a process. Exit status 1: a bound "
                                     "is exceeded.")
    parser.add_argument("treskctl", metavar="TRESKCTL")
    parser.add_argument("empty_program", metavar="EMPTY_PROGRAM")
    parser.add_argument("--quick", action="store_true", help="fewer runs")
    parser.add_argument("--only", choices=("start", "list", "apply"), help="one of the measurements")
    parser.add_argument("--rows", action="store_true", help="print JSON lines; a bound that is exceeded is no failure")
    parser.add_argument("--entries", type=int, default=10000, metavar="N", help="apply N and 2 N (10000 if not said)")
    parser.add_argument("--written", action="store_true", help="the stand-in's service writes its policy")
    parser.add_argument("--kinds", type=lambda text: text.split(","), default=[ANSWERED_KIND], metavar="KIND,...",
                        help=f"kinds to apply, with --written: {', '.join(KINDS)}")
    options = parser.parse_args(arguments)
    if set(options.kinds) - KINDS.keys() or (not options.written and options.kinds != [ANSWERED_KIND]):
        parser.error("--kinds: " + ", ".join(options.kinds))
    options.treskctl, options.empty_program = (os.path.abspath(path) for path in
                                               (options.treskctl, options.empty_program))
    return options


def measure(report, machine, options):
    for name, one in (("start", measure_start), ("list", measure_list), ("apply", measure_apply)):
        if options.only in (None, name):
            one(report, machine, options)
    machine.empty()


def main():
    options = options_of(sys.argv[1:])
    report = Report()
    with contextlib.redirect_stdout(sys.stderr if options.rows else sys.stdout):
        measure(report, Machine(), options)
    if not options.rows:
        return 1 if report.exceeded else 0
    for line in report.lines:
        print(json.dumps(line))
    return 0


if __name__ == "__main__":
    sys.exit(main())
