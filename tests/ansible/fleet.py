# SPDX-License-Identifier: LGPL-2.1-or-later
"""Several sandboxes at once, as the hosts of an inventory, and playbooks run on them."""
import functools
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
from collections import defaultdict
from dataclasses import dataclass

HERE = pathlib.Path(__file__).resolve().parent
PACKAGING = HERE.parent.parent / "packaging" / "ansible"
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "PYTHONDONTWRITEBYTECODE": "1",
               "ANSIBLE_ROLES_PATH": str(PACKAGING / "roles")}
PATIENCE_SECONDS = 120


class Sandbox:
    """A machine that is up until stop() is called."""

    def __init__(self):
        self.process = subprocess.Popen(["tresk-sandbox", "--", "sh", "-c", "echo $$; exec cat >&2"],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    @functools.cached_property
    def pid(self):
        """Of its command, once it is up."""
        return int(self.process.stdout.readline())

    def stop(self):
        """Its command ends with its input, once it is up."""
        if self.pid and self.process.returncode is None:
            self.process.stdin.close()
            self.process.stdout.close()
            if self.process.wait(PATIENCE_SECONDS) != 0:
                raise AssertionError(f"a sandbox ended with {self.process.returncode}")


@dataclass
class Run:
    """What ansible-playbook printed, and what the module's tasks answered, by host, in their order."""
    status: int
    output: str
    ends: dict
    results: dict


class Fleet:
    """Three machines, and a folder for what a test writes."""

    names = ("desk1", "desk2", "desk3")

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tresk-fleet-"))
        self.sandboxes = {name: Sandbox() for name in self.names}

    def stop(self):
        shutil.rmtree(self.folder)
        for machine in self.sandboxes.values():
            machine.stop()

    def write(self, name, text):
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        return str(file)

    def inventory(self):
        hosts = {name: {"ansible_sandbox_pid": self.sandboxes[name].pid} for name in self.names}
        variables = {"ansible_connection": "sandbox", "ansible_python_interpreter": "/usr/bin/python3",
                     "ansible_remote_tmp": str(self.folder / "remote")}
        return self.write("inventory.json", json.dumps({"all": {"hosts": hosts, "vars": variables}}))

    def ansible(self, *words):
        """Runs one of Ansible's programs."""
        environment = {"HOME": str(self.folder), "TEST_RESULTS": self.write("results", ""),
                       "ANSIBLE_CONFIG": str(HERE / "ansible.cfg")}
        return subprocess.run(words, env={**ENVIRONMENT, **environment}, cwd=self.folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              encoding="utf-8", timeout=PATIENCE_SECONDS, check=False)

    def playbook(self, file, *words):
        done = self.ansible("ansible-playbook", "-i", self.inventory(), *words, str(file))
        ends, results = defaultdict(list), defaultdict(list)
        for line in (self.folder / "results").read_text(encoding="utf-8").splitlines():
            answer = json.loads(line)
            if answer["task"] == "tresk_policy":
                ends[answer["host"]].append(answer["end"])
                results[answer["host"]].append(answer["result"])
        return Run(done.returncode, done.stdout, dict(ends), dict(results))

    def play(self, variables, *words):
        """The role with these variables, on all machines."""
        named = {f"tresk_policy_{name}": value for name, value in variables.items()}
        role = {"role": "tresk_policy", "vars": named}
        return self.playbook(self.write("play.json", json.dumps(
            [{"hosts": "all", "gather_facts": False, "roles": [role]}])), *words)

    def tasks(self, host, tasks, *words):
        """The module with each of these arguments in turn, whatever comes of those before."""
        known = {"import_role": {"name": "tresk_policy"}, "when": False}
        tried = [{"tresk_policy": arguments, "ignore_errors": True} for arguments in tasks]
        run = self.playbook(self.write("tasks.json", json.dumps(
            [{"hosts": host, "gather_facts": False, "tasks": [known, *tried]}])), *words)
        if len(run.results.get(host, [])) != len(tasks):
            raise AssertionError(run.output)
        return run.results[host]

    def inside(self, name, *words, text=""):
        """What a command prints in a machine."""
        line = [HERE / "enter_sandbox", str(self.sandboxes[name].pid), *words]
        return subprocess.run(line, input=text, check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout

    def exported(self, name):
        """The policies of a machine, without the kinds of which it has none."""
        policy = json.loads(self.inside(name, "treskctl", "export"))["policy"]
        return {kind: entries for kind, entries in policy.items() if entries}

    def calls(self, name):
        """The service's log."""
        return self.inside(name, "sh", "-c", 'cat "$TRESK_STANDIN_STATE/service.log" 2>/dev/null || :')

    def break_service(self, name, faults):
        self.inside(name, "sh", "-c", 'cat >"$TRESK_STANDIN_STATE/service-faults"', text=faults)
