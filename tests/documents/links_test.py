# SPDX-License-Identifier: LGPL-2.1-or-later
"""What the documents point at is there, and the code that they quote is the files' own: links_test.py SOURCE"""
import pathlib
import re
import sys
import unittest

import documents

SOURCE = pathlib.Path(sys.argv[1])


def dead_links(file):
    text = documents.read(file)
    for target in documents.links(text):
        if re.match(r"[a-z]+:", target):
            yield f"{file}: {target}: leads out of the tree"
            continue
        path, _, anchor = target.partition("#")
        aim = (file.parent / path).resolve() if path else file
        if not aim.exists():
            yield f"{file}: {target}: there is no such file"
        elif anchor and anchor not in documents.anchors(documents.read(aim)):
            yield f"{file}: {target}: there is no such heading"


def own_lines(text):
    """A program without the licence and the remarks in front of it."""
    lines = [line for line in text.splitlines() if "SPDX" not in line]
    return "\n".join(lines).strip()


class Documents(unittest.TestCase):
    def test_there_are_documents(self):
        names = {str(file.relative_to(SOURCE)) for file in documents.documents(SOURCE)}
        for wanted in ("README.md", "ARCHITECTURE.md", "CONTRIBUTING.md", "SECURITY.md", "STABILITY.md",
                       "CHANGELOG.md", "docs/treskctl.md", "docs/python.md", "docs/real-framework.md",
                       "standin/README.md"):
            self.assertIn(wanted, names)

    def test_links_lead_somewhere(self):
        dead = [complaint for file in documents.documents(SOURCE) for complaint in dead_links(file)]
        self.assertEqual(dead, [])

    def test_documents_are_within_reach_of_the_readme(self):
        reached, open_ends = set(), [SOURCE / "README.md"]
        while open_ends:
            file = open_ends.pop()
            if file in reached or file.suffix != ".md":
                continue
            reached.add(file)
            targets = (target.partition("#")[0] for target in documents.links(documents.read(file)))
            open_ends += [(file.parent / target).resolve() for target in targets if target]
        left = {str(file.relative_to(SOURCE)) for file in documents.documents(SOURCE)} - {
            str(file.relative_to(SOURCE)) for file in reached}
        self.assertEqual(left, set())

    def test_programs_quoted_are_the_examples(self):
        examples = [own_lines(documents.read(file)) for file in sorted((SOURCE / "examples").glob("*.c*"))]
        quoted = [(file, block) for file in documents.documents(SOURCE) for kind in ("c", "cpp")
                  for block in documents.fenced(documents.read(file), kind)]
        self.assertTrue(quoted)
        for file, block in quoted:
            self.assertTrue(block.strip() and any(block.strip() in example for example in examples),
                            f"{file}: no example has\n{block}")

    def test_licence_stands_in_front(self):
        for file in documents.documents(SOURCE):
            self.assertIn("SPDX-License-Identifier: LGPL-2.1-or-later", documents.read(file)[:200], file)


class Checks(unittest.TestCase):
    """They find what they are there for."""

    def test_anchors_and_links(self):
        text = "# One `two`: three\n[a](b.md#c) `[no](link)`\n```sh\n# none\n[no](link)\n```\n"
        self.assertEqual(documents.anchors(text), {"one-two-three"})
        self.assertEqual(documents.links(text), ["b.md#c"])

    def test_dead_links(self):
        file = SOURCE / "README.md"
        text = "[a](no-such.md) [b](LICENSE) [c](#no-such-heading) [d](https://example.org)"
        before, documents.read = documents.read, lambda _: text
        try:
            self.assertEqual(len(list(dead_links(file))), 3)
        finally:
            documents.read = before


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
