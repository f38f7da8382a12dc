# SPDX-License-Identifier: LGPL-2.1-or-later
"""check_reference.py FOLDER SYMBOLS: every exported symbol has its place in the HTML reference and in its search."""
import pathlib
import re
import sys


def found_in(folder, pattern):
    text = "".join(file.read_text(encoding="utf-8") for file in sorted(folder.glob(pattern)))
    return set(re.findall(r"\w+", text))


def missing(folder, symbols):
    pages = found_in(folder, "group__*.html")
    search = found_in(folder / "search", "*.js")
    for symbol in symbols:
        if symbol not in pages:
            yield f"{symbol}: not in the reference"
        if symbol not in search:
            yield f"{symbol}: not found by its search"


def main():
    lines = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8").splitlines()
    symbols = [line.split()[1] for line in lines if line and not line.startswith("#")]
    complaints = list(missing(pathlib.Path(sys.argv[1]), symbols)) if symbols else ["no symbols"]
    print("\n".join(complaints) or f"{len(symbols)} symbols")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
