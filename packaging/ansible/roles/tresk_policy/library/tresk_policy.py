#!/usr/bin/python
# SPDX-License-Identifier: LGPL-2.1-or-later
"""The policies of a machine, made what a document says, by "treskctl apply"."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: tresk_policy
short_description: Make a machine's tresk policies what a document says
version_added: "0.1.0"
description:
  - Gives a policy document to C(treskctl apply), which makes the machine equal to it with as few changes as
    there can be, or leaves it as it was.
  - A kind of policy that the document does not name is left alone; one with an empty list has no entries
    afterwards. C(treskctl export --yaml) writes the document of a machine that is as it should be.
options:
  policy:
    description:
      - What the document's C(policy) says, for each kind a list of entries. No further keys.
      - An expression in braces that is more than the name of a variable is a text for Ansible, where
        C(treskctl) wants some values as numbers. It says so then. A list that is one expression as a whole
        keeps its numbers.
      - One of I(policy) and I(src) is required.
    type: dict
  src:
    description:
      - A document, or a directory of them that are merged in the order of their names (C(.json), C(.yaml),
        C(.yml)). JSON or YAML.
      - Is looked for as the module C(copy) does, and copied to the machine for the time of the task. Files
        that are encrypted with C(ansible-vault) are decrypted.
    type: path
  remote_src:
    description: Whether I(src) is on the machine already.
    type: bool
    default: false
  keep:
    description: Keep the entries that the document does not have.
    type: bool
    default: false
  allow_removals:
    description:
      - Remove even more than half of the entries. Without it the task fails then, and nothing is done.
    type: bool
    default: false
  timeout:
    description:
      - Give up after this time, in seconds, or with a unit of C(ms), C(s), C(m) or C(h). Never, if not said.
    type: str
  executable:
    description: The program C(treskctl), if it is not to be looked for in C(PATH).
    type: path
attributes:
  check_mode:
    support: full
    description: The document is read and compared on the machine, and no changing call is made.
  diff_mode:
    support: full
    description: One line for each entry that comes or goes, and for each field that differs.
requirements:
  - treskctl on the machine
notes:
  - The caller has to be one whom the system's service lets change policies, usually C(root).
author:
  - The tresk_extend developers
"""

EXAMPLES = r"""
- name: The policies of all machines, from drop-ins beside the playbook
  tresk_policy:
    src: policy.d/
  become: true

- name: One more protected program, whatever else there is
  tresk_policy:
    policy:
      ppro:
        - path: /usr/sbin/auditd
          type: 1
          note: records what everybody does
    keep: true
  become: true

- name: No package lists any more, even if there are many
  tresk_policy:
    policy:
      bwlist: []
    allow_removals: true
    timeout: 2m
  become: true
"""

RETURN = r"""
steps:
  description:
    - The plan, in the order in which it is carried out. Each step has C(step), C(operation) (C(add),
      C(update), C(remove)), C(kind), C(name), and what came of it in C(result), or in check mode the calls
      that would be made in C(call).
  returned: when treskctl answered
  type: list
  elements: dict
  sample:
    - {step: 1, operation: add, kind: ppro, name: /usr/sbin/auditd, result: done}
rc:
  description: The exit status of C(treskctl); its manual has the table.
  returned: when treskctl ran
  type: int
  sample: 9
cause:
  description: The first error's cause, one word.
  returned: on failure
  type: str
  sample: policy
errors:
  description:
    - All errors, each with C(cause), C(subject), C(code), C(name), C(message), C(advice) and C(exit_status).
      The subject of an error in a document is C(FILE:LINE).
  returned: on failure
  type: list
  elements: dict
  sample:
    - cause: policy
      subject: policy.d/10-base.yaml:3
      code:
      name:
      message: 'ppro: there is no field "typ"; did you mean "type"?'
      advice: Nothing was done.
      exit_status: 9
library:
  description: What the framework's library printed.
  returned: on failure
  type: list
  elements: str
  sample: []
"""

import json
import os

from ansible.module_utils._text import to_bytes
from ansible.module_utils.basic import AnsibleModule

# Of the documents that treskctl writes and reads.
ANSWER_VERSION = 1
DOCUMENT_VERSION = 1

OPTIONS = dict(
    policy=dict(type="dict"),
    src=dict(type="path"),
    remote_src=dict(type="bool", default=False),
    keep=dict(type="bool", default=False),
    allow_removals=dict(type="bool", default=False),
    timeout=dict(type="str"),
    executable=dict(type="path"),
)

STATUS_EQUAL = 0
STATUS_DIFFERENT = 1
LONGEST_MESSAGE_ERRORS = 5


class NoAnswer(Exception):
    """What treskctl wrote is not what it writes."""


class Answer(object):
    """What treskctl said, and how it ended."""

    def __init__(self, status, output, error):
        self.status = status
        self.results = self.parsed(output)
        said = self.parsed(error) if status > STATUS_DIFFERENT else {}
        self.errors = said.get("errors", [])
        self.library = said.get("library", [])

    @staticmethod
    def parsed(text):
        try:
            document = json.loads(text)
            version = document["version"]
        except (ValueError, KeyError, TypeError):
            raise NoAnswer("what it wrote is no answer of treskctl")
        if version != ANSWER_VERSION:
            raise NoAnswer("its answers are of version %s, which this module does not know" % version)
        return document


def written_entries(entries):
    """A list with each entry in a line of its own, since errors tell lines."""
    if not isinstance(entries, list):
        return json.dumps(entries)
    return "[" + ",".join("\n" + json.dumps(entry) for entry in entries) + "\n]"


def written_document(policy):
    kinds = ",\n".join("%s: %s" % (json.dumps(kind), written_entries(policy[kind])) for kind in policy)
    return '{"version": %d, "policy": {\n%s\n}}\n' % (DOCUMENT_VERSION, kinds)


class Document(object):
    """What the task was given, as treskctl takes it."""

    def __init__(self, module):
        self.lines = None
        if module.params["src"]:
            self.file = os.path.abspath(module.params["src"])
        else:
            # No standard input: treskctl may fail before it reads that.
            self.file = os.path.join(module.tmpdir, "policy.json")
            self.write(written_document(module.params["policy"]))

    def write(self, text):
        self.lines = text.split("\n")
        with open(self.file, "wb") as stream:
            stream.write(to_bytes(text))

    def shown(self, subject):
        """Nobody has seen the lines of a text that was put together here, so the line itself is shown."""
        file, _colon, number = subject.rpartition(":")
        if self.lines is None or file != self.file:
            return subject
        return "policy: " + self.lines[int(number) - 1].rstrip(",")


class Treskctl(object):
    """Runs treskctl for a task, and fails the task where it fails."""

    def __init__(self, module):
        self.module = module
        self.document = Document(module)
        self.program = module.params["executable"] or module.get_bin_path("treskctl", required=True)

    def run(self, words, well):
        """The results of a run whose exit status is one of those in well."""
        line = [self.program, "--json=short"] + self.timeout() + words + [self.document.file]
        status, output, error = self.module.run_command(line)
        try:
            answer = Answer(status, output, error)
        except NoAnswer as reason:
            message = "%s ended with status %d, and %s: %s" % (self.program, status, reason, error.strip())
            self.module.fail_json(msg=message, rc=status, stdout=output, stderr=error)
        if status not in well:
            self.fail(answer)
        return answer

    def timeout(self):
        wanted = self.module.params["timeout"]
        return [] if wanted is None else ["--timeout=" + wanted]

    def line_of(self, error):
        subject = "" if error["subject"] is None else self.document.shown(error["subject"]) + ": "
        code = "" if error["name"] is None else " (%s, %d)" % (error["name"], error["code"])
        return subject + error["message"] + code

    def fail(self, answer):
        lines = [self.line_of(error) for error in answer.errors]
        more = len(lines) - LONGEST_MESSAGE_ERRORS
        if more > 0:
            lines[LONGEST_MESSAGE_ERRORS:] = ["and %d more errors" % more]
        self.module.fail_json(msg="\n".join(lines), changed=answer.results.get("changed", False),
                              steps=answer.results.get("steps", []), rc=answer.status,
                              cause=answer.errors[0]["cause"] if answer.errors else None,
                              errors=answer.errors, library=answer.library)

    def differences(self):
        answer = self.run(["diff", "machine"], (STATUS_EQUAL, STATUS_DIFFERENT))
        found = answer.results["differences"]
        if self.module.params["keep"]:
            found = [one for one in found if one["change"] != "removed"]
        return found

    def apply(self):
        words = ["apply"]
        words += ["--dry-run"] if self.module.check_mode else []
        words += ["--keep"] if self.module.params["keep"] else []
        words += ["--allow-removals"] if self.module.params["allow_removals"] else []
        return self.run(words, (STATUS_EQUAL,))


def side_of(difference, side, absent):
    """The line of one side of a difference, or nothing."""
    if difference["change"] == absent:
        return ""
    line = "%(kind)s %(name)s" % difference
    if difference["field"] is not None:
        line += ": %s: %s" % (difference["field"], difference[side])
    return line + "\n"


def shown_diff(differences):
    ordered = sorted(differences, key=lambda one: (one["kind"], one["name"], one["field"] or ""))
    return dict(before="".join(side_of(one, "from", "added") for one in ordered),
                after="".join(side_of(one, "to", "removed") for one in ordered),
                before_header="the machine", after_header="the document")


def main():
    module = AnsibleModule(argument_spec=OPTIONS, mutually_exclusive=[("policy", "src")],
                           required_one_of=[("policy", "src")], supports_check_mode=True)
    if module.params["src"] and not module.params["remote_src"]:
        # What copies it sets remote_src: the role's action plugin of the same name.
        module.fail_json(msg="src was not copied: the plugin action_plugins/tresk_policy.py was not found")
    treskctl = Treskctl(module)
    diff = dict(diff=shown_diff(treskctl.differences())) if module._diff else {}
    answer = treskctl.apply()
    results = dict(changed=answer.results["changed"], steps=answer.results["steps"], rc=answer.status)
    results.update(diff)
    module.exit_json(**results)


if __name__ == "__main__":
    main()
