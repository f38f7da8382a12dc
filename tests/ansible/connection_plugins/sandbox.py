# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs a host's commands inside of a sandbox that is up, beside the process that keeps it so."""
import os
import pathlib
import shlex

from ansible.errors import AnsibleConnectionFailure
from ansible.plugins.connection.local import Connection as LocalConnection

DOCUMENTATION = """
name: sandbox
short_description: Run commands in a sandbox
description: The files that the module copies are the controller's own; only the policies are the sandbox's.
extends_documentation_fragment: connection_pipelining
options:
  sandbox_pid:
    description: The sandbox's command.
    type: int
    required: true
    vars:
      - name: ansible_sandbox_pid
"""


ENTER = pathlib.Path(__file__).resolve().parent.parent / "enter_sandbox"


class Connection(LocalConnection):
    transport = "sandbox"

    def exec_command(self, cmd, in_data=None, sudoable=True):
        pid = str(self.get_option("sandbox_pid"))
        if not os.path.exists(f"/proc/{pid}"):
            raise AnsibleConnectionFailure(f"there is no sandbox {pid}")
        return super().exec_command(shlex.join([str(ENTER), pid, "/bin/sh", "-c", cmd]), in_data, sudoable)
