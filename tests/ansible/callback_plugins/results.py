# SPDX-License-Identifier: LGPL-2.1-or-later
"""Writes what each task answered on each host into a file, one JSON object a line."""
import json
import os

from ansible.parsing.ajson import AnsibleJSONEncoder
from ansible.plugins.callback import CallbackBase

DOCUMENTATION = """
name: results
type: aggregate
short_description: Results for a test
"""


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "results"
    CALLBACK_NEEDS_ENABLED = True

    def v2_runner_on_ok(self, result):
        self.note("ok", result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self.note("failed", result)

    def v2_runner_on_unreachable(self, result):
        self.note("unreachable", result)

    def note(self, end, result):
        line = {"host": result._host.get_name(), "task": result._task.action, "end": end,
                "result": result._result}
        with open(os.environ["TEST_RESULTS"], "a", encoding="utf-8") as stream:
            stream.write(json.dumps(line, cls=AnsibleJSONEncoder) + "\n")
