# SPDX-License-Identifier: LGPL-2.1-or-later
"""Every function of the public header has a comment that names each parameter and says what it returns."""
import re
import sys

COMMENT = r"/\*\*(?P<comment>(?:(?!\*/).)*)\*/\s*"
DECLARATION = re.compile(
    rf"(?:{COMMENT})?^(?P<declaration>(?!typedef)[a-z][\w *]*?\b(?P<name>\w+)\((?P<parameters>[^()]*)\))\s*;",
    flags=re.S | re.M)


def parameter_names(parameters):
    if parameters.strip() in ("", "void"):
        return []
    return [re.findall(r"\w+", parameter)[-1] for parameter in parameters.split(",")]


def complaints(header):
    found = list(DECLARATION.finditer(header))
    if not found:
        yield "the header declares no function"
    for function in found:
        yield from complaints_about(function["name"], function["comment"] or "",
                                    parameter_names(function["parameters"]),
                                    re.match(r"void (?!\*)", function["declaration"]) is not None)


def complaints_about(name, comment, parameters, returns_nothing):
    if not re.match(rf"\s*\* {name} - \S", comment):
        yield f"{name}: no comment that starts with its name and purpose"
    described = re.findall(r"^ \* @(\w+): \S", comment, flags=re.M)
    if described != parameters:
        yield f"{name}: describes {described}, takes {parameters}"
    if not returns_nothing and not re.search(r"^ \* Returns: \S", comment, flags=re.M):
        yield f"{name}: does not say what it returns"


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        found = list(complaints(file.read()))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
