# SPDX-License-Identifier: LGPL-2.1-or-later
"""The module's tables against what they stand for: the exported symbols, the header, the compiler's layouts."""
import ctypes
import dataclasses
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import tresk_extend as tresk

SOURCE = pathlib.Path(os.environ["TRESK_SOURCE_DIR"])
HEADER = SOURCE / "include" / "tresk_extend.h"
NUMBERS = {"int": ctypes.c_int, "int32_t": ctypes.c_int32, "uint32_t": ctypes.c_uint32, "int64_t": ctypes.c_int64}
RESULTS = {**NUMBERS, "void": None}


def without_comments(text):
    return re.sub(r"/\*.*?\*/", "", text, flags=re.S)


def prototypes(header):
    """{name: (result type, [parameter type and name])} of all functions."""
    found = re.findall(r"^(?!typedef)([a-z][\w *]*?)\b(\w+)\(([^()]*)\);", without_comments(header), flags=re.M)
    return {name: (result.strip(), [" ".join(one.split()) for one in taken.split(",") if one.strip() != "void"])
            for result, name, taken in found}


def type_of_argument(text):
    """The ctypes type that a parameter of the header has to have, and its name."""
    kind, name = re.fullmatch(r"(.*?)(\w+)", text).groups()
    kind = kind.replace("const ", "").replace("*const", "*").replace(" ", "")
    if kind in NUMBERS:
        return NUMBERS[kind], name
    if kind == "char*":
        return ctypes.c_char_p, name
    if kind == "char**":
        return None, name  # texts, or the address of one: told apart by the caller
    if kind == "void*" or kind.startswith("struct_"):
        return ctypes.c_void_p, name
    target = kind.rstrip("*")
    structure = tresk.RECORDS[target].structure if target in tresk.RECORDS else NUMBERS[target]
    return ctypes.POINTER(structure), name


class Table(unittest.TestCase):
    def setUp(self):
        self.prototypes = prototypes(HEADER.read_text(encoding="utf-8"))

    def test_every_exported_symbol_has_a_row_and_no_other(self):
        lines = (SOURCE / "tests/abi/exported_symbols.txt").read_text(encoding="utf-8").splitlines()
        symbols = dict(reversed(line.split()) for line in lines if not line.startswith("#"))
        self.assertEqual(len(symbols), 169)
        self.assertEqual({name for name, letter in symbols.items() if letter == "T"}, set(tresk.FUNCTIONS))
        self.assertEqual({name for name, letter in symbols.items() if letter == "V"}, tresk.VARIABLES)

    def test_every_symbol_can_be_found_in_the_library(self):
        for symbol in [*tresk.FUNCTIONS, *tresk.VARIABLES]:
            self.assertTrue(hasattr(tresk.library(), symbol), symbol)

    def test_arguments_are_the_header_s(self):
        self.assertEqual(set(self.prototypes), set(tresk.FUNCTIONS))
        for symbol, row in tresk.FUNCTIONS.items():
            wanted = [type_of_argument(text) for text in self.prototypes[symbol][1]]
            self.assertEqual(len(row.argtypes), len(wanted), symbol)
            for (ctype, name), given in zip(wanted, row.argtypes):
                allowed = [ctype] if ctype else [ctypes.POINTER(ctypes.c_char_p), ctypes.POINTER(ctypes.c_void_p)]
                self.assertIn(given, allowed, f"{symbol}: {name}")

    def test_names_of_arguments_are_the_header_s(self):
        for symbol, row in tresk.FUNCTIONS.items():
            wanted = [type_of_argument(text)[1] for text in self.prototypes[symbol][1]]
            given = list(row.parameters)
            self.assertEqual([name for name in wanted if name in given], given, symbol)

    def test_results_are_the_header_s(self):
        for symbol, row in tresk.FUNCTIONS.items():
            result = self.prototypes[symbol][0]
            wanted = ctypes.c_void_p if "*" in result else RESULTS[result]
            self.assertEqual(row.result.restype, wanted, symbol)

    def test_records_that_a_function_returns_are_the_header_s(self):
        returned = 0
        for symbol, row in tresk.FUNCTIONS.items():
            record = self.prototypes[symbol][0].rstrip(" *")
            if record in tresk.RECORDS:
                returned += 1
                self.assertIs(row.result.record, tresk.RECORDS[record], symbol)
        self.assertGreater(returned, 30)

    def test_python_names_are_distinct_and_documented(self):
        names = [row.name for row in tresk.FUNCTIONS.values()]
        self.assertEqual(len(set(names)), 168)
        for name in names:
            self.assertRegex(name, r"^[a-z][a-z0-9_]*$")
            self.assertIn("C function: ", getattr(tresk, name).__doc__)
            self.assertIn(name, tresk.__all__)

    def test_status_codes_are_the_header_s(self):
        values = re.findall(r"^ *TRESK_(\w+) = (-?\d+)", HEADER.read_text(encoding="utf-8"), flags=re.M)
        self.assertEqual({name: int(value) for name, value in values},
                         {status.name: status.value for status in tresk.Status})

    def test_comparison_would_find_another_number_of_arguments(self):
        self.assertEqual(prototypes("int a(int b, const char *c);\nvoid d(void);"),
                         {"a": ("int", ["int b", "const char *c"]), "d": ("void", [])})
        self.assertIs(type_of_argument("const char *c")[0], ctypes.c_char_p)
        self.assertEqual(type_of_argument("uint32_t *n"), (ctypes.POINTER(ctypes.c_uint32), "n"))


class Layout(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """One program that prints what the compiler makes of the header's records."""
        lines = []
        for name, record in tresk.RECORDS.items():
            lines.append(f'printf("{name} %zu\\n", sizeof({name}));')
            for field, _ in record.structure._fields_:
                lines.append(f'printf("{name}.{field} %zu %zu\\n", offsetof({name}, {field}), '
                             f"sizeof((({name} *)0)->{field}));")
        program = ("#include <stddef.h>\n#include <stdio.h>\n#include <tresk_extend.h>\nint main(void)\n{\n"
                   + "\n".join(lines) + "\nreturn 0;\n}\n")
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "layout.c")
            source.write_text(program, encoding="utf-8")
            binary = pathlib.Path(folder, "layout")
            subprocess.run([os.environ["TRESK_C_COMPILER"], "-std=c99", f"-I{HEADER.parent}", str(source), "-o",
                            str(binary)], check=True)
            output = subprocess.run([str(binary)], check=True, stdout=subprocess.PIPE, text=True).stdout
        cls.compiled = {line.split()[0]: [int(word) for word in line.split()[1:]] for line in output.splitlines()}

    def test_all_records_of_the_header_are_here(self):
        named = re.findall(r"^typedef struct (\w+)", HEADER.read_text(encoding="utf-8"), flags=re.M)
        self.assertEqual(set(named), set(tresk.RECORDS))

    def test_sizes(self):
        for name, record in tresk.RECORDS.items():
            self.assertEqual([ctypes.sizeof(record.structure)], self.compiled[name], name)

    def test_fields_lie_where_the_compiler_puts_them(self):
        for name, record in tresk.RECORDS.items():
            for field, _ in record.structure._fields_:
                place = getattr(record.structure, field)
                self.assertEqual([place.offset, place.size], self.compiled[f"{name}.{field}"], f"{name}.{field}")

    def test_no_field_is_left_out(self):
        text = without_comments(HEADER.read_text(encoding="utf-8"))
        for name, record in tresk.RECORDS.items():
            body = re.search(rf"typedef struct {name} \{{(.*?)\}}", text, flags=re.S)[1]
            fields = re.findall(r"(\w+)(?:\[\d+\])?;", body)
            self.assertEqual([field for field, _ in record.structure._fields_], fields, name)


class Packaging(unittest.TestCase):
    def test_version_is_the_project_s(self):
        self.assertEqual(tresk.__version__, os.environ["TRESK_VERSION"])
        project = (SOURCE / "python/pyproject.toml").read_text(encoding="utf-8")
        self.assertIn('version = {attr = "tresk_extend.__version__"}', project)

    def test_importing_loads_no_library(self):
        code = "import tresk_extend; print(open('/proc/self/maps').read().count('tresk_extend.so'))"
        done = subprocess.run([sys.executable, "-B", "-c", code], check=True, stdout=subprocess.PIPE, text=True)
        self.assertEqual(done.stdout, "0\n")


class Conversions(unittest.TestCase):
    def test_records_are_frozen_and_show_their_fields(self):
        node = tresk.PproNode("/a", "h", 1)
        with self.assertRaises(dataclasses.FrozenInstanceError):
            node.path = "/b"
        self.assertEqual(repr(node), "PproNode(path='/a', hash='h', type=1)")
        self.assertEqual(tresk.DevicePolicy(dpid=1), tresk.DevicePolicy(0, 0, 1, 0, 0, "", 0))

    def test_bytes_that_are_no_utf_8_come_back_as_they_were(self):
        for path in ("/plain", "/\u00e4", b"/\xff\xfe".decode("utf-8", "surrogateescape")):
            record = tresk.PproNode(path, "", -1)
            self.assertEqual(tresk._from_structure(tresk.PproNode, tresk._to_structure(tresk.PproNode, record)), record)

    def test_what_does_not_fit_is_refused(self):
        for wrong, error in ((("p" * 4096, ""), ValueError), (("a\0b", ""), ValueError), ((1, ""), TypeError)):
            with self.assertRaises(error):
                tresk._to_structure(tresk.LabelRecord, wrong)
        with self.assertRaises(OverflowError):
            tresk._to_structure(tresk.PproNode, ("/a", "", 2 ** 31))
        self.assertEqual(tresk._to_structure(tresk.LabelRecord, ("p" * 4095, "l" * 31)).path, b"p" * 4095)


if __name__ == "__main__":
    unittest.main()
