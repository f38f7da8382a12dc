# SPDX-License-Identifier: LGPL-2.1-or-later
"""What judges the virtual machine has to be able to fail."""

import os
import tempfile
import unittest

import initramfs
import run_in_guest

GOOD = ("run /p A.x:B.y/1\r\n| [ RUN      ] A.x\r\n| [       OK ] A.x (3 ms)\r\n| [       OK ] B.y/1 (0 ms)\r\n"
        "| [  PASSED  ] 2 tests.\r\n\r\nexit 0\r\nend\r\n")
WANTED = ["A.x", "B.y/1"]


class JudgementTest(unittest.TestCase):
    def judge(self, report, console="", wanted=None):
        return run_in_guest.judge(report, WANTED if wanted is None else wanted, console)

    def test_all_that_was_wanted_and_no_more_is_success(self):
        self.assertEqual(self.judge(GOOD), [])

    def test_what_is_missing_or_damaged_is_a_failure(self):
        for what, report in {
                "nothing at all": "",
                "no end": GOOD.replace("end\r\n", ""),
                "no exit": GOOD.replace("exit 0\r\n", ""),
                "an exit with a failure": GOOD.replace("exit 0", "exit 1"),
                "an exit without a status": GOOD.replace("exit 0", "exit "),
                "a test that is missing": GOOD.replace("| [       OK ] A.x (3 ms)\r\n", ""),
                "a test that failed": GOOD.replace("[       OK ] A.x", "[  FAILED  ] A.x"),
                "a test that was skipped": GOOD.replace("[       OK ] A.x", "[  SKIPPED ] A.x"),
                "a test twice": GOOD.replace("end\r\n", "") + GOOD,
                "a test that nobody asked for": GOOD.replace("| [  PASSED", "| [       OK ] C.z (1 ms)\r\n| [  PASSED"),
                "a test in the middle of other output": GOOD.replace("| [       OK ] A.x", "| so [       OK ] A.x"),
                "words between the runs": "hello\r\n" + GOOD,
                "words after the end": GOOD + "run /p C.z\r\n",
        }.items():
            with self.subTest(what):
                self.assertNotEqual(self.judge(report), [])

    def test_no_test_is_a_failure(self):
        self.assertNotEqual(self.judge("end\r\n", wanted=[]), [])

    def test_complaints_of_the_kernel_are_failures(self):
        for line in ("[    1.0] WARNING: CPU: 0 PID: 1 at net/core/sock.c:1", "[    1.0] BUG: unable to handle",
                     "[    1.0] Kernel panic - not syncing", "[    1.0] Oops: 0000 [#1]",
                     "[    1.0] refcount_t: underflow; use-after-free."):
            with self.subTest(line):
                self.assertNotEqual(self.judge(GOOD, console=f"[    0.9] fine\r\n{line}\r\n"), [])
        self.assertEqual(self.judge(GOOD, console="[    0.9] Run /init as init process\r\n"), [])


class RunsTest(unittest.TestCase):
    def test_suites_that_are_to_be_alone_get_a_process_for_each_test(self):
        names = ["A.x", "B.y", "A.z", "C.u"]
        self.assertEqual(run_in_guest.runs_of("/p", names, ["A"]),
                         [("/p", ["A.x"]), ("/p", ["A.z"]), ("/p", ["B.y", "C.u"])])
        self.assertEqual(run_in_guest.runs_of("/p", ["A.x"], ["A"]), [("/p", ["A.x"])])


class InitramfsTest(unittest.TestCase):
    def test_program_lies_where_it_was_with_its_libraries(self):
        with tempfile.TemporaryDirectory() as work:
            image = initramfs.Initramfs(work)
            image.add_program("sh")
            image.add_file("/init", b"#!/bin/sh\n", 0o755)
            image.write(os.path.join(work, "archive"))
        self.assertIn("init", image.entries)
        for file in ["/bin/sh", *initramfs.libraries_of("/bin/sh")]:
            place = os.path.join(os.path.realpath(os.path.dirname(file)), os.path.basename(file)).lstrip("/")
            self.assertIn(place, image.entries)
            self.assertGreater(len(image.entries[place][1]), 1000)

    def test_program_that_is_missing_is_named(self):
        with tempfile.TemporaryDirectory() as work, self.assertRaisesRegex(RuntimeError, "no-such-program"):
            initramfs.Initramfs(work).add_program("no-such-program")

    def test_archive_has_the_form_of_newc(self):
        with tempfile.TemporaryDirectory() as work:
            image = initramfs.Initramfs(work)
            image.add_file("/a", b"12345")
            archive = os.path.join(work, "archive")
            image.write(archive)
            with open(archive, "rb") as content:
                data = content.read()
        self.assertEqual(len(data) % 4, 0)
        name = 110
        self.assertEqual(data[:6], b"070701")
        self.assertEqual(int(data[54:62], 16), 5)
        self.assertEqual(data[name:name + 2], b"a\0")
        self.assertEqual(data[112:117], b"12345")
        self.assertIn(b"TRAILER!!!\0", data)


if __name__ == "__main__":
    unittest.main()
