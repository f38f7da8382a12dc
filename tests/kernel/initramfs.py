# SPDX-License-Identifier: LGPL-2.1-or-later
"""An initial file system for a virtual machine: programs of this machine with the libraries that they load."""

import os
import shutil
import stat
import subprocess


def libraries_of(program):
    """The shared libraries that a program loads, as absolute paths; none for a script."""
    ldd = subprocess.run(["ldd", program], capture_output=True, text=True, check=False)
    paths = []
    for line in ldd.stdout.splitlines():
        if "not found" in line:
            raise RuntimeError(f"{program}: {line.strip()}")
        word = line.split("=>")[-1].split("(")[0].strip()
        if word.startswith("/"):
            paths.append(word)
    return paths


def without_debug_sections(file, scratch):
    """The file's content. Debug sections only cost memory there."""
    stripped = subprocess.run(["strip", "--strip-debug", "-o", scratch, file], capture_output=True, check=False)
    with open(scratch if stripped.returncode == 0 else file, "rb") as content:
        return content.read()


class Initramfs:
    """Files by their paths, written as the archive that kernels read ("newc"): no root is needed for it."""

    def __init__(self, work):
        self.entries = {}
        self.scratch = os.path.join(work, "stripped")

    def add(self, path, mode, content=b""):
        self.entries.setdefault(path.lstrip("/"), (mode, content))

    def add_directory(self, path):
        """A directory and those above it, with the links on the way as they are here. Its path without links."""
        if path == "/":
            return path
        above = self.add_directory(os.path.dirname(path))
        place = os.path.join(above, os.path.basename(path))
        if os.path.islink(place):
            target = os.path.realpath(place)
            self.add(place, stat.S_IFLNK | 0o777, target.encode())
            return self.add_directory(target)
        self.add(place, stat.S_IFDIR | 0o755)
        return place

    def add_file(self, path, content, mode=0o644):
        directory = self.add_directory(os.path.dirname(path))
        self.add(os.path.join(directory, os.path.basename(path)), stat.S_IFREG | mode, content)

    def add_program(self, name):
        """A program, by its path or as found on the command search path, at its own place."""
        path = shutil.which(name)
        if path is None:
            raise RuntimeError(f"there is no program {name}")
        for file in [path, *libraries_of(path)]:
            self.add_file(file, without_debug_sections(file, self.scratch), 0o755)

    def write(self, archive):
        with open(archive, "wb") as out:
            for number, (path, (mode, content)) in enumerate(self.entries.items(), 1):
                out.write(_record(path, number, mode, content))
            out.write(_record("TRAILER!!!", 0, 0, b""))


def _padded(data):
    return data + b"\0" * (-len(data) % 4)


def _record(path, number, mode, content):
    name = path.encode() + b"\0"
    links = 2 if stat.S_ISDIR(mode) else 1
    fields = [number, mode, 0, 0, links, 0, len(content), 0, 0, 0, 0, len(name), 0]
    header = b"070701" + b"".join(b"%08x" % field for field in fields)
    return _padded(header + name) + _padded(content)
