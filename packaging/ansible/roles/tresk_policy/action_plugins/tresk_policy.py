# SPDX-License-Identifier: LGPL-2.1-or-later
"""Copies the controller's document to the machine for the time of the task, in check mode as well."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os

from ansible.module_utils.parsing.convert_bool import boolean
from ansible.plugins.action import ActionBase

# treskctl takes no other files of a directory for documents.
ENDINGS = (".json", ".yaml", ".yml")


def renamed(value, old, new):
    """The value with another name in all its texts."""
    if isinstance(value, dict):
        return dict((key, renamed(one, old, new)) for key, one in value.items())
    if isinstance(value, list):
        return [renamed(one, old, new) for one in value]
    return value.replace(old, new) if isinstance(value, str) else value


def is_document(folder, name):
    named = name.endswith(ENDINGS) and not name.startswith(".")
    return named and not os.path.isdir(os.path.join(folder, name))


class ActionModule(ActionBase):
    def run(self, tmp=None, task_vars=None):
        result = super(ActionModule, self).run(tmp, task_vars)
        source = self._task.args.get("src")
        if source is None or boolean(self._task.args.get("remote_src", False), strict=False):
            result.update(self._execute_module(task_vars=task_vars))
        else:
            result.update(self.run_with_copy(source, task_vars))
        return result

    def run_with_copy(self, source, task_vars):
        """People know the document by the name that they gave."""
        # Ansible removes the folder after the task.
        copied = self.copy(self._find_needle("files", source), self._make_tmp_path())
        arguments = dict(self._task.args, src=copied, remote_src=True)
        answer = self._execute_module(module_args=arguments, task_vars=task_vars)
        return renamed(answer, copied, source.rstrip("/"))

    def copy(self, found, folder):
        """Where the document, a file or a directory, is on the machine now."""
        shell = self._connection._shell
        copied = shell.join_path(folder, os.path.basename(found.rstrip("/")))
        written = [folder, copied]
        if os.path.isdir(found):
            self._low_level_execute_command("mkdir " + shell.quote(copied))
            for name in sorted(one for one in os.listdir(found) if is_document(found, one)):
                written.append(self.copy_file(os.path.join(found, name), shell.join_path(copied, name)))
        else:
            self.copy_file(found, copied)
        self._fixup_perms2(written)
        return copied

    def copy_file(self, found, copied):
        real = self._loader.get_real_file(found)
        try:
            return self._transfer_file(real, copied)
        finally:
            self._loader.cleanup_tmp_file(real)
