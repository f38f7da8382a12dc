#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Boots a kernel in a virtual machine without network and disks, runs all tests of some GoogleTest programs there and
fails unless each of them ran and passed, and the kernel had nothing to complain of.

The machine is emulated in software, so that this needs neither rights nor hardware.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import time
from collections import Counter

import initramfs

HERE = os.path.dirname(os.path.abspath(__file__))
# What the guest's init and the library's own search for the kernel's protocol run.
GUEST_PROGRAMS = ["sh", "awk", "cat", "grep", "mkdir", "mount", "rm", "sed", "timeout"]
PASSWD = b"root:x:0:0:root:/root:/bin/sh\nnobody:x:65534:65534:nobody:/nonexistent:/bin/sh\n"
GROUP = b"root:x:0:\nnogroup:x:65534:\n"
# Nothing about time: where the machine is starved the kernel is not to blame.
COMPLAINTS = re.compile(r"BUG:|WARNING:|Oops|Kernel panic|Call Trace|general protection|unregister_netdevice"
                        r"|refcount_t")


def tests_of(program):
    """The names of all tests of a program, as itself tells them."""
    listing = subprocess.run([program, "--gtest_list_tests"], capture_output=True, text=True, check=True).stdout
    names = []
    suite = ""
    for line in listing.splitlines():
        word = line.split("#")[0].rstrip()
        if not line.startswith(" "):
            suite = word
        else:
            names.append(suite + word.strip())
    return names


def runs_of(program, names, alone):
    """The tests by the processes that run them: one for each test of a suite that is to be alone, one for the rest."""
    def is_alone(name):
        return name.split(".")[0] in alone

    together = [name for name in names if not is_alone(name)]
    return [(program, [name]) for name in names if is_alone(name)] + ([(program, together)] if together else [])


class Report:
    """What came over the serial line, judged strictly: see guest_init for its form."""

    PASSED = re.compile(r"\[       OK \] (\S+) \(\d+ ms\)")

    def __init__(self, text):
        self.passed = []
        self.failures = []
        self.ended = False
        self._run = None
        self._output = []
        for line in text.replace("\r\n", "\n").split("\n"):
            if line:
                self._read(line)
        if self._run is not None:
            self.failures.append(f"did not end: {self._run}\n" + "\n".join(self._output))
        if not self.ended:
            self.failures.append("the report has no end")

    def _read(self, line):
        word, _, rest = line.partition(" ")
        if self.ended:
            self.failures.append(f"after the end: {line}")
        elif word == "run" and self._run is None:
            self._run, self._output = rest, []
        elif word == "|" and self._run is not None:
            self._output.append(rest)
        elif word == "exit" and self._run is not None:
            self._judge(rest)
            self._run = None
        elif line == "end" and self._run is None:
            self.ended = True
        else:
            self.failures.append(f"not understood: {line}")

    def _judge(self, status):
        self.passed += [match[1] for match in map(self.PASSED.fullmatch, self._output) if match]
        if status != "0":
            self.failures.append(f"exit status {status}: {self._run}\n" + "\n".join(self._output))

    def complaints(self, wanted):
        """All that is wrong; nothing where exactly the wanted tests ran and passed, each once."""
        found = list(self.failures)
        if not wanted:
            found.append("there is no test")
        if sorted(self.passed) != sorted(wanted):
            found.append(f"did not pass: {sorted(set(wanted) - set(self.passed))}; not asked for, or more than once: "
                         f"{sorted((Counter(self.passed) - Counter(wanted)).keys())}")
        return found


def make_initramfs(arguments, runs, archive):
    image = initramfs.Initramfs(arguments.work)
    for name in [*GUEST_PROGRAMS, *arguments.tests, *arguments.program]:
        image.add_program(name)
    for file in arguments.file:
        with open(file, "rb") as content:
            image.add_file(file, content.read())
    with open(os.path.join(HERE, "guest_init"), "rb") as content:
        image.add_file("/init", content.read(), 0o755)
    image.add_file("/runs", "".join(f"{program} {':'.join(names)}\n" for program, names in runs).encode())
    image.add_file("/deadline", f"{arguments.deadline / 2:.0f}\n".encode())
    image.add_file("/etc/passwd", PASSWD)
    image.add_file("/etc/group", GROUP)
    for directory in ("/bin", "/dev", "/proc", "/sys", "/tmp", "/data", "/root", "/run"):
        image.add_directory(directory)
    image.write(archive)


# Either one processor whose time is counted in instructions, so that a second is one on a busy machine too, or two that
# run at the same time by this machine's clock.
CLOCKS = {
    "counted": ["-accel", "tcg", "-smp", "1", "-icount", "shift=1,sleep=off", "-rtc", "clock=vm"],
    "real": ["-accel", "tcg,thread=multi", "-smp", "2"],
}


def machine(arguments, archive, console, report):
    return ["qemu-system-x86_64", "-machine", "q35", "-cpu", "qemu64,+rdrand", "-m", "512", *CLOCKS[arguments.clock],
            "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot",
            "-serial", f"file:{console}", "-serial", f"file:{report}",
            "-kernel", arguments.kernel, "-initrd", archive,
            "-append", "console=ttyS0 rdinit=/init panic=-1 oops=panic mitigations=off nowatchdog "
            "rcupdate.rcu_cpu_stall_suppress=1"]


def boot(arguments, archive, console, report):
    """Runs the machine to its end, or to the deadline. What was wrong with that."""
    for file in (console, report):
        with open(file, "w", encoding="ascii"):
            pass
    try:
        ending = subprocess.run(machine(arguments, archive, console, report), check=False,
                                timeout=arguments.deadline, stdin=subprocess.DEVNULL)
    except subprocess.TimeoutExpired:
        return [f"the machine did not end within {arguments.deadline:.0f} seconds"]
    return [] if ending.returncode == 0 else [f"the machine ended with status {ending.returncode}"]


def read(file):
    with open(file, encoding="utf-8", errors="replace") as text:
        return text.read()


def judge(report, wanted, console):
    """All that is wrong with what the machine wrote."""
    complaints = [f"the kernel complains: {line}" for line in console.splitlines() if COMPLAINTS.search(line)]
    found = Report(report).complaints(wanted) + complaints
    if found:
        found.append("the end of the kernel's log:\n" + "\n".join(console.splitlines()[-30:]))
    return found


def arguments_of_command_line():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--kernel", required=True, help="the kernel's image")
    parser.add_argument("--work", required=True, help="a folder for the machine's files")
    parser.add_argument("--clock", choices=CLOCKS, default="counted", help="one processor, or two in real time")
    parser.add_argument("--deadline", type=float, default=600, help="seconds for the machine from start to end")
    parser.add_argument("--alone", action="append", default=[], help="a suite whose tests need a process each")
    parser.add_argument("--program", action="append", default=[], help="a further program, at its own place")
    parser.add_argument("--file", action="append", default=[], help="a further file, at its own place")
    parser.add_argument("tests", nargs="+", help="the GoogleTest programs")
    return parser.parse_args()


def main():
    arguments = arguments_of_command_line()
    shutil.rmtree(arguments.work, ignore_errors=True)
    os.makedirs(arguments.work)
    archive, console, report = (os.path.join(arguments.work, name) for name in ("initramfs", "console", "report"))
    runs = [run for program in arguments.tests for run in runs_of(program, tests_of(program), arguments.alone)]
    wanted = [name for _, names in runs for name in names]
    start = time.monotonic()
    make_initramfs(arguments, runs, archive)
    packed = time.monotonic()
    found = boot(arguments, archive, console, report)
    ended = time.monotonic()
    found += judge(read(report), wanted, read(console))
    print(f"{len(wanted)} tests in {len(runs)} processes; initramfs of {os.path.getsize(archive) >> 20} MiB in "
          f"{packed - start:.1f} s, machine {ended - packed:.1f} s")
    print("\n".join(found or ["all passed"]))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
