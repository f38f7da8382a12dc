# SPDX-License-Identifier: LGPL-2.1-or-later
"""The test programs that hold the library's objects: found in a build tree, built, and run whole."""
import os
import pathlib
import re
import signal
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIBRARY_FOLDERS = ("common", "dbus", "communicate", "kmod", "netctl", "ppro", "pblk", "devctl", "bwlist")
TEST_FOLDERS = ("unit", "integration")
TARGETS = ("tresk_extend", *(f"tests/{folder}/all" for folder in TEST_FOLDERS))


def library_files():
    """The library's sources and headers, relative to the root."""
    return sorted(str(file.relative_to(ROOT)) for folder in LIBRARY_FOLDERS
                  for pattern in ("*.cpp", "*.h") for file in (ROOT / folder).rglob(pattern))


def build(preset):
    """Brings the library and its test programs up to date; answers the build tree."""
    tree = ROOT / "build" / preset
    subprocess.run(["cmake", "--preset", preset], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", str(tree), "--target", *TARGETS], cwd=ROOT, check=True)
    return tree


class TestProgram:
    """One GoogleTest program and the sandbox that it wants."""

    def __init__(self, name, executable, executor):
        self.name = name
        self.executable = executable
        self.executor = executor
        self.tests = None  # the tests, where each needs a process of its own; None: it is run whole
        self.seconds = 0.0

    def with_executable(self, executable):
        """The same program, linked elsewhere."""
        other = TestProgram(self.name, str(executable), self.executor)
        other.tests = self.tests
        return other

    def run(self, environment, time_limit):
        """Runs all its tests up to the first failure: "passed", "failed" or "timeout"."""
        for test in self.tests or [None]:
            verdict = self._run_once(test, environment, time_limit)
            if verdict != "passed":
                return verdict
        return "passed"

    def separate(self, environment):
        """From now on each of its tests gets a process of its own."""
        self.tests = self._names_of_tests(environment)

    def _names_of_tests(self, environment):
        listing = subprocess.run([self.executable, "--gtest_list_tests"], env=environment, check=True,
                                 capture_output=True, text=True).stdout
        names, suite = [], ""
        for line in listing.splitlines():
            word = line.split("#")[0].strip()
            if line.startswith("  "):
                names.append(suite + word)
            elif word.endswith("."):
                suite = word
        return names

    def _run_once(self, test, environment, time_limit):
        command = [*self.executor, self.executable, "--gtest_brief=1", "--gtest_fail_fast"]
        if test is not None:
            command.append(f"--gtest_filter={test}")
        with tempfile.TemporaryFile() as output:
            child = subprocess.Popen(command, cwd=pathlib.Path(self.executable).parent, env=environment,
                                     stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                     start_new_session=True)
            try:
                return "passed" if child.wait(time_limit) == 0 else "failed"
            except subprocess.TimeoutExpired:
                os.killpg(child.pid, signal.SIGKILL)
                child.wait()
                return "timeout"


def find(tree):
    """The programs of a build tree, as the build described them to ctest."""
    programs = []
    for folder in TEST_FOLDERS:
        for file in sorted((tree / "tests" / folder).glob("*_include.cmake")):
            found = re.findall(r"(TEST_EXECUTABLE|TEST_EXECUTOR) \[==\[(.*?)\]==\]", file.read_text())
            settings = dict(found)
            executable = settings["TEST_EXECUTABLE"]
            executor = [word for word in settings["TEST_EXECUTOR"].split(";") if word]
            programs.append(TestProgram(pathlib.Path(executable).name, executable, executor))
    if not programs:
        raise SystemExit(f"no test programs below {tree}")
    return programs
