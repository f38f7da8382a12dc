# SPDX-License-Identifier: LGPL-2.1-or-later
"""The commands in the documents are real: commands_test.py SOURCE TRESKCTL TRESK-SANDBOX"""
import functools
import json
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

import documents
import outputs

SOURCE = pathlib.Path(sys.argv[1])
TRESKCTL = sys.argv[2]
SANDBOX = sys.argv[3]
OPTION = re.compile(r"^--?[a-z0-9][a-z-]*")
PLACEHOLDER = re.compile(r"[A-Z]{2,}|\.\.\.|\u2026|<")


@functools.lru_cache(maxsize=None)
def output_of(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    return done.returncode, done.stdout


def dev_commands():
    """{command: its lines of help} of ./dev."""
    _, usage = output_of(str(SOURCE / "dev"), "help")
    found, names = {}, []
    for line in usage.splitlines():
        head = re.match(r"  ([a-z]+(?:, [a-z]+)*)(?= |$)", line)
        if head:
            names = head[1].split(", ")
        for name in names:
            found[name] = found.get(name, "") + line + "\n"
    return found


def treskctl_commands():
    schema = json.loads(output_of(TRESKCTL, "schema")[1])
    names = [name for name in schema["$defs"]["output"]["properties"]["command"]["enum"] if name]
    return set(names) | {"completion", "manual", "schema"}


def words_of(line):
    """A command line's words up to a pipe or a redirection, without what is optional in a description."""
    line = re.sub(r"\[[^][]*\]", "", line)
    try:
        lexer = shlex.shlex(line, posix=True, punctuation_chars=True)
        lexer.wordchars += ":=,@%+{}\"'"
        lexer.commenters = "#"
        words = list(lexer)
    except ValueError:
        words = line.split()
    for end, word in enumerate(words):
        if word and set(word) <= set("|<>&;()"):
            return words[:end]
    return words


def lines_with(program):
    """(file, words behind the program) of each line of code that calls it."""
    for file in documents.documents(SOURCE):
        for line in documents.code_lines(documents.read(file)):
            for part in re.split(r"(?:^|[|;(] *|&& *)(?=(?:\$ |sudo )*" + re.escape(program) + r"(?: |$))", line):
                found = re.match(r"(?:\$ |sudo )*" + re.escape(program) + r"(?: (.*))?$", part)
                if found:
                    yield str(file.relative_to(SOURCE)), line, words_of(found[1] or "")


def wrong_with_dev(words, commands):
    if not words or PLACEHOLDER.search(words[0]):
        return None
    if words[0] not in commands:
        return f"./dev has no command {words[0]}"
    for word in words[1:]:
        if word.startswith("--") and word not in commands[words[0]]:
            return f"./dev {words[0]} has no option {word}"
    return None


def command_in(words, commands):
    """The longest command that the words begin with, options left out."""
    plain = [word for word in words if not word.startswith("-")]
    # An option in front may have an argument of its own.
    for skip in range(0, 3):
        for length in (3, 2, 1):
            name = " ".join(plain[skip:skip + length])
            if name in commands and len(plain[skip:skip + length]) == length:
                return name
    return None


def wrong_with_treskctl(words, commands):
    objects = {name.split()[0] for name in commands}
    plain = [word for word in words if not word.startswith("-")]
    if not plain or PLACEHOLDER.search(plain[0]):
        command = []
    else:
        name = command_in(words, commands)
        if name is None and not (len(plain) == 1 and plain[0] in objects):
            return "treskctl has no such command"
        command = (name or plain[0]).split()
    _, known = output_of(TRESKCTL, *command, "--help")
    known += output_of(TRESKCTL, "--help")[1]
    for word in words:
        option = OPTION.match(word)
        if option and not re.search(rf"(?<![\w-]){re.escape(option[0])}(?![\w-])", known):
            return f"treskctl {' '.join(command)} has no option {option[0]}"
    return None


def complaints(program, wrong, commands):
    for file, line, words in lines_with(program):
        what = wrong(words, commands)
        if what:
            yield f"{file}: {line}: {what}"


class Commands(unittest.TestCase):
    def test_dev_commands_are_real(self):
        self.assertGreater(len(list(lines_with("./dev"))), 20)
        self.assertEqual(list(complaints("./dev", wrong_with_dev, dev_commands())), [])

    def test_each_dev_command_is_in_contributing(self):
        told = {words[0] for file, _, words in lines_with("./dev") if file == "CONTRIBUTING.md" and words}
        self.assertEqual(set(dev_commands()) - told, set())

    def test_treskctl_commands_are_real(self):
        self.assertGreater(len(list(lines_with("treskctl"))), 30)
        self.assertEqual(list(complaints("treskctl", wrong_with_treskctl, treskctl_commands())), [])

    def test_sandbox_options_are_real(self):
        _, known = output_of(SANDBOX, "--help")
        found = list(lines_with("tresk-sandbox"))
        self.assertTrue(found)
        for file, line, words in found:
            for word in words:
                if word == "--":
                    break
                if word.startswith("--"):
                    self.assertIn(word, known, f"{file}: {line}")


class Checks(unittest.TestCase):
    """They find what they are there for."""

    def test_commands_that_are_not(self):
        self.assertIn("has no command", wrong_with_dev(["dmeo"], dev_commands()))
        self.assertIn("has no option", wrong_with_dev(["test", "--quik"], dev_commands()))
        self.assertIsNone(wrong_with_dev(["test", "--quick", "-R", "x"], dev_commands()))
        commands = treskctl_commands()
        self.assertGreater(len(commands), 50)
        for wrong in ("ppro lst", "pro list", "ppro list --jsn", "pblk add /x --type 1", "nothing"):
            self.assertIsNotNone(wrong_with_treskctl(wrong.split(), commands), wrong)
        for right in ("ppro list --json=short", "-n ppro remove /usr/bin/cat", "--root /x ppro list", "OBJECT VERB",
                      "export", "status set ppro off", "ppro"):
            self.assertIsNone(wrong_with_treskctl(right.split(), commands), right)

    def test_outputs_that_are_not(self):
        wrong = "```console\n$ echo one; \\\n  echo two >&2\nthree\n```\n"
        right = wrong.replace("three", "one\ntwo")
        failures = []
        for text in (wrong, right):
            self.assertEqual(outputs.rewritten(text, "document", failures), right)
        shared = "<!-- run: echo 4 >file -->\n```console\n$ cat file\n4\n```\n```pycon\n>>> a = 1\n```\n"
        self.assertEqual(outputs.rewritten(shared + "```pycon\n>>> a\n1\n```", "document", failures).count("4\n"), 1)
        self.assertFalse(any(failures))
        outputs.rewritten("```pycon\n>>> 1\n2\n```\n```python\nraise ValueError\n```", "document", failures)
        self.assertEqual(len([failure for failure in failures if failure]), 2)

    def test_words_end_at_a_pipe(self):
        self.assertEqual(words_of("export > a.json"), ["export"])
        self.assertEqual(words_of("ppro list [-n] | head"), ["ppro", "list"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
