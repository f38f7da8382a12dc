# SPDX-License-Identifier: LGPL-2.1-or-later
"""What the role's documentation says is what there is. No machine is needed."""
import ast
import json
import subprocess
import unittest

from fleet import ENVIRONMENT, PACKAGING

LIBRARY = PACKAGING / "roles" / "tresk_policy" / "library"


def printed(*words):
    return subprocess.run(words, env={**ENVIRONMENT, "ANSIBLE_LIBRARY": str(LIBRARY)}, cwd=PACKAGING,
                          check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout


def module_options():
    """The module's own table of its options."""
    tree = ast.parse((LIBRARY / "tresk_policy.py").read_text(encoding="utf-8"))
    table, = [node.value for node in tree.body
              if isinstance(node, ast.Assign) and getattr(node.targets[0], "id", "") == "OPTIONS"]
    return {option.arg: {word.arg: ast.literal_eval(word.value) for word in option.value.keywords}
            for option in table.keywords}


def documented(options):
    return {name: {key: option[key] for key in ("type", "default", "required") if option.get(key) is not None}
            for name, option in options.items()}


def module_documentation():
    return json.loads(printed("ansible-doc", "--json", "tresk_policy"))["tresk_policy"]


class Documentation(unittest.TestCase):
    maxDiff = None

    def test_the_module_has_the_documented_options(self):
        self.assertEqual(documented(module_documentation()["doc"]["options"]), module_options())

    def test_the_role_has_a_variable_for_each_option(self):
        roles = json.loads(printed("ansible-doc", "--json", "--type=role", "tresk_policy"))
        options = roles["tresk_policy"]["entry_points"]["main"]["options"]
        self.assertEqual(documented(options),
                         {f"tresk_policy_{name}": option for name, option in module_options().items()})

    def test_the_examples_are_playbooks(self):
        folder = PACKAGING / "examples"
        examples = sorted(folder.glob("*.yml"))
        self.assertNotEqual(examples, [])
        for example in examples:
            checked = printed("ansible-playbook", "--syntax-check", "-i", folder / "inventory.ini", example)
            self.assertIn(f"playbook: {example}", checked)


if __name__ == "__main__":
    unittest.main()
