# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs each example in the sandbox: examples_test.py FOLDER-OF-PROGRAMS TRESKCTL"""
import datetime
import json
import os
import pathlib
import subprocess
import sys
import unittest

PROGRAMS = pathlib.Path(sys.argv[1])
TRESKCTL = sys.argv[2]
STATE = pathlib.Path(os.environ["TRESK_STANDIN_STATE"])
PROGRAM = os.path.realpath("/usr/bin/env")


def run(command, given=""):
    return subprocess.run(command, input=given, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60,
                          check=False)


def example(name, *arguments, given=""):
    return run([str(PROGRAMS / f"example_{name}"), *arguments], given)


class Examples(unittest.TestCase):
    def treskctl(self, *arguments, given=""):
        done = run([TRESKCTL, *arguments], given)
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_add_and_watch_then_list(self):
        done = example("add_and_watch", PROGRAM)
        self.assertEqual(done.stdout, f"process protection: on\n{PROGRAM}: protected\n{PROGRAM}: type 1 in the policy\n"
                                      f"{PROGRAM}: the kernel module knows\n")
        self.assertEqual(done.returncode, 0)
        self.assertIn(f"{PROGRAM}: was protected before\n", example("add_and_watch", PROGRAM).stdout)
        self.assertEqual(example("list_entries").stdout, f"1 {PROGRAM}\n")
        self.treskctl("ppro", "remove", PROGRAM)
        listed = example("list_entries")
        self.assertEqual((listed.stdout, listed.returncode), ("", 0))

    def test_refusals_are_told(self):
        faults = STATE / "service-faults"
        faults.write_text("tresk_xattr_set_func_status error MERON.TRESK.CANCEL.AUTH No.\n"
                          "tresk_ppro_add error MERON.TRESK.AUTH.FAILED No.\n"
                          "tresk_ppro_add_zdk error MERON.TRESK.AUTH.FAILED No.\n", encoding="utf-8")
        try:
            done = example("add_and_watch", "/usr/bin/true")
        finally:
            faults.unlink()
        self.assertEqual(done.stdout, "process protection: cancelled by the user\n/usr/bin/true: refused (-1)\n")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(example("add_and_watch").returncode, 2)

    def test_a_policy_that_cannot_be_read_is_no_empty_list(self):
        policy = pathlib.Path("/etc/tresk/ppro/ppro.xml")
        policy.parent.mkdir(exist_ok=True)
        before = policy.read_bytes() if policy.exists() else None
        policy.write_text("no markup", encoding="utf-8")
        try:
            done = example("list_entries")
        finally:
            policy.write_bytes(before) if before is not None else policy.unlink()
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn("the policy cannot be read\n", done.stderr)

    def test_labels_of_a_transaction(self):
        folder = pathlib.Path("/data/package")
        folder.mkdir()
        files = [f"{folder}/file {number}" for number in range(200)]
        for file in files:
            pathlib.Path(file).touch()
        (folder / "link").symlink_to(files[0])
        others = ["/.", str(folder), f"{folder}/link", "/no/such/file", "", "/" + "x" * 20000 + files[0]]
        done = example("hook_labels", given="\n".join(files[:100] + others + files[100:]))
        self.assertEqual((done.stdout, done.returncode, done.stderr), ("200 files: labelled (0)\n", 0, ""))
        labelled = (STATE / "scene" / "exectl_xattr").read_text(encoding="utf-8").splitlines()
        self.assertEqual(labelled, files)
        nothing = example("hook_labels", given="")
        self.assertEqual((nothing.stdout, nothing.returncode), ("", 0))

    def test_device_history(self):
        self.assertEqual(example("device_history").stdout, "no device was seen\n")
        minute = datetime.timedelta(minutes=1)
        times = [(datetime.datetime.now() - minute * ago).strftime("%Y-%m-%d %H:%M:%S") for ago in (2, 1)]
        seen = [{"first": 1, "second": 0, "id_1": "1d6b", "id_2": "0002", "text_1": "hub", "text_2": "maker",
                 "time": time, "text_3": ""} for time in times]
        self.treskctl("device", "history-add", "-f", "-", given="\n".join(map(json.dumps, seen)) + "\n")
        self.assertEqual(example("device_history").stdout,
                         "".join(f"{time}  1d6b:0002  hub (maker)\n" for time in reversed(times)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
