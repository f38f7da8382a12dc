# SPDX-License-Identifier: LGPL-2.1-or-later
"""The outputs that a document shows are what its commands print: outputs.py [--write] DOCUMENT

Runs in the sandbox. A block marked "console" holds commands ("$ " in front; what ends in a backslash goes on) and what
a terminal shows of them. Those marked "pycon" are sessions of Python, and those marked "python" programs. All of a
document's console blocks run in one folder, one after the other; a comment "<!-- run: COMMAND -->" is run in its
place among them. With --write the outputs of console blocks are written anew, to be read before they are committed.
"""
import difflib
import doctest
import pathlib
import re
import subprocess
import sys
import tempfile

PATIENCE_SECONDS = 60
PIECE = re.compile(r"^<!-- run: (?P<hidden>.*?) -->$|^```(?P<kind>console|pycon|python)\n(?P<text>.*?)^```$",
                   flags=re.S | re.M)


def shown_by(command, folder):
    done = subprocess.run(["bash", "-c", command], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=PATIENCE_SECONDS, check=False)
    return done.stdout.decode("utf-8", "backslashreplace")


def commands_of(block):
    """The lines that begin with "$ ", with those that they go on in."""
    return re.findall(r"^\$ ((?:.*\\\n)*.*)$", block, flags=re.M)


def console(block, folder):
    """The block as it would be written now."""
    return "".join(f"$ {command}\n{shown_by(command, folder)}" for command in commands_of(block))


def session(block, name, names):
    """What a session of Python does not print as it says. @names: what the document's sessions have defined."""
    said = []
    test = doctest.DocTestParser().get_doctest(block, names, name, name, 0)
    doctest.DocTestRunner(verbose=False, optionflags=doctest.ELLIPSIS).run(test, out=said.append, clear_globs=False)
    names.update(test.globs)
    return "".join(said)


def program(block):
    """Programs only have to run."""
    done = subprocess.run([sys.executable, "-B", "-c", block], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=PATIENCE_SECONDS, check=False)
    return done.stdout if done.returncode else ""


def rewritten(text, name, failures):
    names = {}
    with tempfile.TemporaryDirectory() as folder:

        def piece(found):
            if found["hidden"]:
                shown_by(found["hidden"], folder)
                return found[0]
            if found["kind"] == "console":
                return f"```console\n{console(found['text'], folder)}```"
            in_session = found["kind"] == "pycon"
            failures.append(session(found["text"], name, names) if in_session else program(found["text"]))
            return found[0]

        return PIECE.sub(piece, text)


def main():
    file = pathlib.Path(sys.argv[-1])
    text = file.read_text(encoding="utf-8")
    if not PIECE.search(text):
        print(f"{file}: shows no output")
        return 1
    failures = []
    now = rewritten(text, file.name, failures)
    if sys.argv[1] == "--write":
        file.write_text(now, encoding="utf-8")
    else:
        failures += difflib.unified_diff(text.splitlines(), now.splitlines(), "shown", "printed", lineterm="")
    print("\n".join(failure for failure in failures if failure))
    return 1 if any(failures) else 0


if __name__ == "__main__":
    sys.exit(main())
