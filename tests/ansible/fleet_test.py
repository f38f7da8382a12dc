# SPDX-License-Identifier: LGPL-2.1-or-later
"""The role and its module on three machines at once."""
import json
import pathlib
import shutil
import unittest

from fleet import PACKAGING, Fleet

UNREACHABLE = 4
CAT = {"path": "/usr/bin/cat", "type": 1}
LS = {"path": "/usr/bin/ls", "type": 1}
SORT = {"path": "/usr/bin/sort", "type": 2}
WRONG = "version: 1\npolicy:\n  ppro:\n    - path: /usr/bin/cat\n      typ: 1\n"
WRONG_PLACE = "policy.d/10-base.yaml:5"


class FleetTest(unittest.TestCase):
    def setUp(self):
        self.fleet = Fleet()
        self.addCleanup(self.fleet.stop)

    def on_each(self, run, look):
        """What look() finds in each machine's only answer; the same on all, or the test fails."""
        found = [look(run.results[name][0]) for name in Fleet.names]
        self.assertEqual(found, [found[0]] * len(found), run.output)
        return found[0]

    def policies(self):
        found = [self.fleet.exported(name) for name in Fleet.names]
        self.assertEqual(found, [found[0]] * len(found))
        return found[0]

    def start_with(self, policy):
        text = json.dumps({"version": 1, "policy": policy})
        for name in Fleet.names:
            self.fleet.inside(name, "treskctl", "apply", "-", text=text)


class WholeFleet(FleetTest):
    def test_the_second_run_changes_nothing(self):
        first = self.fleet.play({"policy": {"ppro": [CAT, SORT]}})

        self.assertEqual(first.status, 0, first.output)
        self.assertTrue(self.on_each(first, lambda result: result["changed"]))
        self.assertEqual(self.policies(), {"ppro": [CAT, SORT]})

        calls = [self.fleet.calls(name) for name in Fleet.names]
        second = self.fleet.play({"policy": {"ppro": [CAT, SORT]}})

        self.assertEqual(second.status, 0, second.output)
        answer = self.on_each(second, lambda result: (result["changed"], result["steps"]))
        self.assertEqual(answer, (False, []))
        self.assertEqual(second.output.count("changed=0"), len(Fleet.names))
        self.assertEqual([self.fleet.calls(name) for name in Fleet.names], calls)

    def test_check_mode_tells_what_would_be_done_and_does_nothing(self):
        run = self.fleet.play({"policy": {"ppro": [CAT]}}, "--check")

        self.assertEqual(run.status, 0, run.output)
        step = self.on_each(run, lambda result: (result["changed"], result["steps"][0]["call"]))
        self.assertEqual(step, (True, 'tresk_ppro_add_zdk("/usr/bin/cat", 1, 0, "")'))
        self.assertEqual(self.policies(), {})
        self.assertEqual([self.fleet.calls(name) for name in Fleet.names], [""] * len(Fleet.names))

    def test_diff_mode_shows_what_differs_before_and_after(self):
        self.start_with({"ppro": [CAT, LS], "pkg": [{"package": "vim", "type": 1}]})
        wanted = {"policy": {"ppro": [{**CAT, "type": 2}, SORT]}}

        for words in (["--diff", "--check"], ["--diff"]):
            run = self.fleet.play(wanted, *words)
            diff = self.on_each(run, lambda result: result["diff"])
            self.assertEqual(diff["before"],
                             "ppro /usr/bin/cat: type: 1\nppro /usr/bin/ls\nppro /usr/bin/ls: type: 1\n")
            self.assertEqual(diff["after"],
                             "ppro /usr/bin/cat: type: 2\nppro /usr/bin/sort\nppro /usr/bin/sort: type: 2\n")
            self.assertEqual(run.output.count("\n-ppro /usr/bin/cat: type: 1\n"), len(Fleet.names))
        self.assertEqual(self.policies()["ppro"], [{**CAT, "type": 2}, SORT])

        again = self.fleet.play(wanted, "--diff")
        diff = self.on_each(again, lambda result: result["diff"])
        self.assertEqual(diff["before"] + diff["after"], "")

    def test_a_machine_that_cannot_be_reached_does_not_stop_the_others(self):
        self.fleet.sandboxes["desk2"].stop()

        run = self.fleet.play({"policy": {"ppro": [CAT]}})

        self.assertEqual(run.status, UNREACHABLE, run.output)
        self.assertRegex(run.output, r"desk2 +: ok=1 +changed=0 +unreachable=1 ")
        self.assertEqual(run.ends, {"desk1": ["ok"], "desk2": ["unreachable"], "desk3": ["ok"]})
        for name in ("desk1", "desk3"):
            self.assertEqual(self.fleet.exported(name), {"ppro": [CAT]})

    def test_a_machine_that_fails_midway_is_as_before_and_does_not_stop_the_others(self):
        self.fleet.break_service("desk2", "tresk_netctl_pkg_add error MERON.TRESK.AUTH.FAILED no\n")
        wanted = {"ppro": [CAT], "pkg": [{"package": "vim", "type": 1}]}

        run = self.fleet.play({"policy": wanted})

        self.assertEqual(run.ends, {"desk1": ["ok"], "desk2": ["failed"], "desk3": ["ok"]}, run.output)
        failed = run.results["desk2"][0]
        self.assertEqual((failed["cause"], failed["rc"], failed["changed"]), ("refused", 5, False))
        self.assertEqual([step["result"] for step in failed["steps"]], ["undone", "failed"])
        self.assertEqual([self.fleet.exported(name) for name in Fleet.names], [wanted, {}, wanted])

    def test_a_wrong_document_fails_everywhere_with_file_and_line(self):
        self.fleet.write("policy.d/10-base.yaml", WRONG)

        for words in (["--check"], ["--diff"]):
            run = self.fleet.play({"src": "policy.d/"}, *words)
            self.assertEqual(set(map(tuple, run.ends.values())), {("failed",)}, run.output)
            result = self.on_each(run, lambda result: {**result, "invocation": None})
            self.assertEqual((result["cause"], result["rc"], result["changed"]), ("policy", 9, False))
            self.assertEqual(result["errors"][0]["subject"], WRONG_PLACE)
            self.assertIn(f'{WRONG_PLACE}: ppro: there is no field "typ"; did you mean "type"?',
                          result["msg"])
        self.assertEqual(self.policies(), {})


class Documents(FleetTest):
    def test_drop_ins_are_merged_and_their_contradictions_told(self):
        self.fleet.write("good/10.json", json.dumps({"version": 1, "policy": {"ppro": [CAT]}}))
        self.fleet.write("good/20.yml", "version: 1\npolicy: {ppro: [{path: /usr/bin/sort, type: 2}]}\n")
        self.fleet.write("good/.30.json", "an editor's")
        self.fleet.write("good/README", "no document")
        (self.fleet.folder / "good" / "old.json").mkdir()
        shutil.copytree(self.fleet.folder / "good", self.fleet.folder / "bad")
        self.fleet.write("bad/30.yaml", "version: 1\npolicy: {ppro: [{path: /usr/bin/sort, type: 1}]}\n")

        good, bad = self.fleet.tasks("desk1", [{"src": "good"}, {"src": "bad"}])

        self.assertTrue(good["changed"], good)
        self.assertEqual(self.fleet.exported("desk1"), {"ppro": [CAT, SORT]})
        self.assertEqual((bad["cause"], bad["rc"]), ("conflict", 4), bad)
        self.assertIn("type is 1 here and 2 in bad/20.yml:2", bad["msg"])
        self.assertTrue(bad["msg"].startswith("bad/30.yaml:2: "), bad["msg"])
        self.assertEqual(list((self.fleet.folder / "remote").iterdir()), [], "a copy was left behind")

    def test_each_machine_may_have_a_document_of_its_own(self):
        own = {"desk1": CAT, "desk2": LS, "desk3": SORT}
        for name, entry in own.items():
            self.fleet.inside(name, "sh", "-c", "cat >/data/own.json",
                              text=json.dumps({"version": 1, "policy": {"ppro": [entry]}}))

        run = self.fleet.play({"src": "/data/own.json", "remote_src": True})

        self.assertEqual(run.status, 0, run.output)
        self.assertEqual({name: self.fleet.exported(name) for name in own},
                         {name: {"ppro": [entry]} for name, entry in own.items()})

    def test_an_encrypted_document_is_decrypted(self):
        file = self.fleet.write("one.yaml", json.dumps({"version": 1, "policy": {"ppro": [CAT]}}))
        password = "--vault-password-file=" + self.fleet.write("password", "open sesame")
        locked = self.fleet.ansible("ansible-vault", "encrypt", password, file)
        self.assertEqual(locked.returncode, 0, locked.stdout)

        result, = self.fleet.tasks("desk1", [{"src": "one.yaml"}], password)

        self.assertTrue(result["changed"], result)
        self.assertEqual(self.fleet.exported("desk1"), {"ppro": [CAT]})

    def test_names_arrive_as_they_are(self):
        packages = ["it's \"so\" \\n", "näme-\U0001f600", "12", "- [x]: {y} # z", "x\u2028y"]
        entries = [{"package": package, "type": 1} for package in sorted(packages, key=str.encode)]

        first, second = self.fleet.tasks("desk1", [{"policy": {"pkg": entries}}] * 2)

        self.assertEqual((first["changed"], second["changed"]), (True, False), first)
        self.assertEqual(self.fleet.exported("desk1"), {"pkg": entries})


class Options(FleetTest):
    def test_keep_removes_nothing_and_shows_no_removal(self):
        self.start_with({"ppro": [CAT, LS]})

        result, = self.fleet.tasks("desk1", [{"policy": {"ppro": [SORT]}, "keep": True}], "--diff")

        self.assertEqual((result["diff"]["before"], result["diff"]["after"]),
                         ("", "ppro /usr/bin/sort\nppro /usr/bin/sort: type: 2\n"))
        self.assertEqual(self.fleet.exported("desk1"), {"ppro": [CAT, LS, SORT]})

    def test_many_removals_have_to_be_allowed(self):
        self.start_with({"ppro": [CAT, LS]})

        refused, allowed = self.fleet.tasks("desk1", [{"policy": {"ppro": []}},
                                                      {"policy": {"ppro": []}, "allow_removals": True}])

        self.assertEqual((refused["cause"], refused["rc"], refused["changed"]), ("refused", 5, False))
        self.assertEqual(refused["msg"], "this would remove 2 of 2 entries, more than half")
        self.assertTrue(allowed["changed"], allowed)
        self.assertEqual(self.fleet.exported("desk1"), {})

    def test_the_time_runs_out(self):
        self.fleet.break_service("desk1", "* delay 20000\n")

        result, = self.fleet.tasks("desk1", [{"policy": {"ppro": [CAT]}, "timeout": "200ms"}])

        self.assertEqual((result["cause"], result["rc"]), ("timed_out", 11), result)


class Failures(FleetTest):
    def program(self, name, script):
        file = pathlib.Path(self.fleet.write(name, f"#!/bin/sh\n{script}\n"))
        file.chmod(0o755)
        return str(file)

    def test_what_stands_is_told_as_a_change(self):
        self.fleet.break_service("desk1", "tresk_netctl_pkg_add error MERON.TRESK.AUTH.FAILED no\n"
                                          "tresk_ppro_remove_zdk error MERON.TRESK.AUTH.FAILED no\n")

        wanted = {"ppro": [CAT], "pkg": [{"package": "vim", "type": 1}]}
        result, = self.fleet.tasks("desk1", [{"policy": wanted}])

        self.assertEqual((result["rc"], result["changed"]), (10, True), result)
        self.assertEqual([step["result"] for step in result["steps"]], ["done", "failed"])
        self.assertIn("/usr/bin/cat: add stands, it could not be undone", result["msg"])
        self.assertEqual(self.fleet.exported("desk1"), {"ppro": [CAT]})

    def test_a_wrong_policy_of_the_playbook_shows_the_entry(self):
        text, word, many = self.fleet.tasks("desk1", [
            {"policy": {"ppro": [CAT, {"path": "/usr/bin/ls", "type": "1"}]}},
            {"policy": {"ppo": []}},
            {"policy": {"ppro": [{"path": f"/{number}"} for number in range(9)]}}])

        self.assertEqual(text["msg"], 'policy: {"path": "/usr/bin/ls", "type": "1"}: '
                                      "ppro: type: it has to be a number")
        self.assertEqual((word["rc"], word["cause"]), (9, "policy"))
        self.assertIn('did you mean "ppro"?', word["msg"])
        self.assertEqual(len(many["errors"]), 9)
        self.assertTrue(many["msg"].endswith("\nand 4 more errors"), many["msg"])

    def test_wrong_arguments(self):
        none, both, missing, time = self.fleet.tasks("desk1", [
            {"keep": True}, {"policy": {}, "src": "/x", "remote_src": True}, {"src": "not-there"},
            {"policy": {}, "timeout": "-soon"}])

        self.assertIn("one of the following is required: policy, src", none["msg"])
        self.assertIn("parameters are mutually exclusive: policy|src", both["msg"])
        self.assertIn("not-there", missing["msg"])
        self.assertEqual((time["rc"], time["cause"]), (2, "usage"))

    def test_another_program_is_not_believed(self):
        newer = self.program("newer", 'echo \'{"version": 2, "changed": false, "steps": []}\'')
        broken = self.program("broken", "echo 'no such library' >&2; exit 127")

        silent, later, other, absent = self.fleet.tasks("desk1", [
            {"policy": {}, "executable": program} for program in ("/bin/true", newer, broken, "/not/there")])

        self.assertEqual(silent["msg"],
                         "/bin/true ended with status 0, and what it wrote is no answer of treskctl: ")
        self.assertIn("version 2, which this module does not know", later["msg"])
        self.assertTrue(other["msg"].endswith("no answer of treskctl: no such library"), other["msg"])
        self.assertIn("No such file", absent["msg"])


class Examples(FleetTest):
    def test_they_run(self):
        for name in ("site.yml", "additions.yml"):
            run = self.fleet.playbook(PACKAGING / "examples" / name, "-e", "ansible_become=false")
            self.assertEqual(run.status, 0, run.output)
            self.assertTrue(self.on_each(run, lambda result: result["changed"]))
        self.assertEqual(self.policies(), {"ppro": [CAT, {"path": "/usr/bin/nl", "type": 1}, SORT]})


if __name__ == "__main__":
    unittest.main()
