# SPDX-License-Identifier: LGPL-2.1-or-later
"""Doxygen's input filter for the public header: header_filter.py FILE prints it with its comments as Doxygen's.

The header's comments are written for those who read the header:

    name - purpose          a function's or record's first line
    @argument: text         its arguments, or a record's fields
    Returns: text           what it returns
    /* ---- Title ---- */   begins a section; plain comments below it speak of the section
"""
import re
import sys

COMMENT = re.compile(r"/\*(?!\*<)(?P<stars>\**)(?P<text>.*?)\*/", flags=re.S)
SECTION = re.compile(r"^ ---- (?P<title>.*?) -+ $")
ENTRY = re.compile(r"^(@(?P<name>\w+):|(?P<returns>Returns:)) ?", flags=re.M)


def plain(text):
    """A comment's text without its frame."""
    return "\n".join(re.sub(r"^ ?\* ?", "", line) for line in text.strip("\n").splitlines()).strip()


def prose(text):
    """References to arguments become Doxygen's."""
    return re.sub(r"@(\w+)", r"\\p \1", text)


def framed(text):
    return "/**\n" + text + "\n */"


def group_of(title):
    return re.sub(r"\W+", "_", title.lower())


def entries_of(text):
    """The text in front of the first entry, then [(name or None for the result, text, what stands behind)]."""
    marks = list(ENTRY.finditer(text))
    if not marks:
        return text, []
    ends = [mark.start() for mark in marks[1:]] + [len(text)]
    entries = []
    for mark, end in zip(marks, ends):
        # An entry ends at an empty line: what follows speaks of the whole.
        body, _, rest = text[mark.end():end].partition("\n\n")
        entries.append((mark["name"], body.strip(), rest.strip()))
    return text[:marks[0].start()], entries


def first_line(text):
    """(name, purpose, the rest) of a comment that begins with "name - purpose"."""
    found = re.match(r"(?:struct |enum )?(?P<name>[\w.]+) - (?P<about>(?:[^\n]|\n(?![\n@]|Returns:))*)\n*", text)
    return (found["name"], found["about"], text[found.end():]) if found else (None, "", text)


def of_function(about, text):
    head, entries = entries_of(text)
    lines = ["@brief " + prose(about), "", prose(head)]
    lines += [f"@param {name} {prose(body)}" for name, body, _ in entries if name]
    lines += ["\n" + prose(rest) + "\n" for _, _, rest in entries if rest]
    lines += ["@return " + prose(body) for name, body, _ in entries if not name]
    return framed("\n".join(lines))


def of_record(record, about, text):
    head, entries = entries_of(text)
    fields = [framed(f"@var {record}::{name}\n{prose(body)}") for name, body, _ in entries]
    return "\n".join(fields + [framed("\n".join(["@brief " + prose(about), "", prose(head)]))])


def of_file(name, about, text):
    return framed(f"@file {name}\n@brief {about}") + "\n" + framed("@mainpage tresk_extend\n" + prose(text))


class Filter:
    def __init__(self):
        self.group = None

    def close(self):
        return "/** @} */\n" if self.group else ""

    def section(self, title):
        closing = self.close()
        self.group = group_of(title)
        return f"{closing}/** @defgroup {self.group} {title}\n@{{ */"

    def about_section(self, text):
        return f"{self.close()}/** @addtogroup {self.group}\n\n{prose(text)}\n@{{ */"

    def comment(self, found):
        raw = found["text"]
        section = SECTION.match(raw)
        if section:
            return self.section(section["title"])
        text = plain(raw)
        if not found["stars"]:
            return self.about_section(text) if self.group and "\n" in raw else found[0]
        name, about, rest = first_line(text)
        if name is None:
            raise ValueError(f"a comment does not begin with a name and a purpose: {text[:60]!r}")
        if name.endswith(".h"):
            return of_file(name, about, rest)
        if text.startswith("struct "):
            return of_record(name, about, rest)
        return of_function(about, rest)

    def header(self, text):
        text = COMMENT.sub(self.comment, text)
        # The last section ends where the declarations do.
        return text.replace("\n#ifdef __cplusplus\n}", "\n" + self.close() + "#ifdef __cplusplus\n}")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        sys.stdout.write(Filter().header(file.read()))


if __name__ == "__main__":
    main()
