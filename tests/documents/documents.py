# SPDX-License-Identifier: LGPL-2.1-or-later
"""The documents of the tree, and what stands in them."""
import pathlib
import re

OTHER_FOLDERS = {"build", ".git", "corpus"}
FENCE = re.compile(r"^```(?P<kind>\w*)\n(?P<text>.*?)^```$", flags=re.S | re.M)


def documents(source):
    """Every Markdown file of the tree."""
    for file in sorted(pathlib.Path(source).rglob("*.md")):
        if not OTHER_FOLDERS & set(file.relative_to(source).parts):
            yield file


def read(file):
    return file.read_text(encoding="utf-8")


def fenced(text, kind):
    return [found["text"] for found in FENCE.finditer(text) if found["kind"] == kind]


def without_code(text):
    text = FENCE.sub("", text)
    text = re.sub(r"^    .*$", "", text, flags=re.M)
    return re.sub(r"`[^`\n]*`", "", text)


def slug(heading):
    """A heading's anchor, as forges make it."""
    heading = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading.replace("`", ""))
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def anchors(text):
    return {slug(found) for found in re.findall(r"^#+ (.*)$", FENCE.sub("", text), flags=re.M)}


def links(text):
    """The targets of all links."""
    return re.findall(r"\]\(([^)\s]+)\)", without_code(text))


def code_lines(text):
    """What stands in code: each line of a block, and each piece in a line."""
    blocks = [found["text"] for found in FENCE.finditer(text) if found["kind"] in ("", "sh", "console", "bash")]
    rest = FENCE.sub("", text)
    indented = re.findall(r"^    (\S.*)$", rest, flags=re.M)
    inline = re.findall(r"`([^`\n]+)`", rest)
    return [line.strip() for block in blocks for line in block.splitlines()] + indented + inline
