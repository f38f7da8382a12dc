# SPDX-License-Identifier: LGPL-2.1-or-later
"""The checks find what they are there for."""
import unittest

import check_constructors
import check_hardening
import check_header
import check_layout
import check_reference
import check_soname
import check_symbols

GOOD_FUNCTION = """
/**
 * add - add two numbers
 * @a: one
 * @b: the other
 * Returns: the sum.
 */
int add(int a, const char *const *b);
"""


HARDENED_PROGRAM = """
  Type:                              DYN (Position-Independent Executable file)
  Machine:                           Advanced Micro Devices X86-64
  [14] .text             PROGBITS        0000000000001000 000000 000010 00  AX  0   0 16
  INTERP         0x000318 0x0000000000000318 0x0000000000000318 0x00001c 0x00001c R   0x1
  LOAD           0x000000 0x0000000000000000 0x0000000000000000 0x000628 0x000628 R E 0x1000
  GNU_STACK      0x000000 0x0000000000000000 0x0000000000000000 0x000000 0x000000 RW  0x10
  GNU_RELRO      0x002dd0 0x0000000000003dd0 0x0000000000003dd0 0x000230 0x000230 R   0x1
 0x000000000000001e (FLAGS)              BIND_NOW
 0x000000006ffffffb (FLAGS_1)            Flags: NOW PIE
     1: 0000000000000000     0 FUNC    GLOBAL DEFAULT  UND __stack_chk_fail@GLIBC_2.4 (2)
     2: 0000000000000000     0 FUNC    GLOBAL DEFAULT  UND __memcpy_chk@GLIBC_2.3.4 (3)
     3: 0000000000001004    20 FUNC    GLOBAL DEFAULT   14 exported
"""
HARDENED_CODE = b"\x90" * 4 + bytes.fromhex("f30f1efa") + b"\x90" * 8


class Hardening(unittest.TestCase):
    def complaints(self, find="", replace="", code=HARDENED_CODE, name="bin/treskctl"):
        self.assertIn(find, HARDENED_PROGRAM)
        return list(check_hardening.complaints(name, HARDENED_PROGRAM.replace(find, replace), code, True))

    def test_all_of_it(self):
        self.assertEqual(self.complaints(), [])

    def test_another_linkers_way_to_write_an_alignment(self):
        self.assertEqual(self.complaints("RW  0x10", "RW  0"), [])

    def test_each_part_that_is_missing(self):
        for find, replace, complaint in (
                ("DYN (", "EXEC (", "position dependent"),
                ("NOW PIE", "NOW", "a program that is not marked as position independent (PIE)"),
                ("GNU_RELRO", "NOTE", "no read-only relocations (GNU_RELRO)"),
                ("RW  0x10", "RWE 0x10", "the stack is RWE, should be RW"),
                ("R E 0x1000", "RWE 0x1000", "code that can be written"),
                ("__stack_chk_fail", "f", "no stack protector"),
                ("__memcpy_chk", "memcpy", "none of the C library's checked calls (_FORTIFY_SOURCE)")):
            with self.subTest(complaint):
                self.assertEqual(self.complaints(find, replace), [complaint])

    def test_late_binding(self):
        late = HARDENED_PROGRAM.replace("BIND_NOW", "").replace("NOW PIE", "PIE")
        self.assertEqual(list(check_hardening.complaints("treskctl", late, HARDENED_CODE, True)),
                         ["symbols are bound when they are used, not before (NOW)"])

    def test_code_without_control_flow_protection(self):
        self.assertEqual(self.complaints(code=b"\x90" * 16),
                         ["no control-flow protection (endbr64)", "exported: does not start with endbr64"])
        moved = HARDENED_CODE[4:] + b"\x90" * 4
        self.assertEqual(self.complaints(code=moved), ["exported: does not start with endbr64"])


class Layout(unittest.TestCase):
    HEADER = "typedef struct a {\n    char text[4]; /* a text; of 4 */\n    int32_t n;\n} a;\n"

    def test_complete(self):
        layout = "ASSERT_SIZE(a, 8);\nASSERT_FIELD(a, text, 0, 4);\nASSERT_FIELD(a, n, 4, 4);\n"
        self.assertEqual(list(check_layout.complaints(self.HEADER, layout)), [])

    def test_gaps(self):
        self.assertEqual(list(check_layout.complaints(self.HEADER, "ASSERT_FIELD(a, n, 4, 4);\n")),
                         ["a: no assertion about its size", "a.text: no assertion about its place"])

    def test_header_without_records(self):
        self.assertEqual(list(check_layout.complaints("int f(void);", "")), ["the header has no records"])


class Reference(unittest.TestCase):
    def test_symbols_that_are_described(self):
        self.assertEqual(check_reference.described(
            "<elf-symbol name='c' type='func-type'/>\n"
            "<function-decl name='f' mangled-name='f' visibility='default' elf-symbol-id='a'>\n"
            "<var-decl name='b' type-id='1' elf-symbol-id='b'/>\n"), {"a", "b"})


class Symbols(unittest.TestCase):
    def complaints(self, nm, symbol_map, listed):
        return list(check_symbols.complaints(check_symbols.exported_by(nm),
                                             check_symbols.named_in_map(symbol_map),
                                             check_symbols.listed_in(listed)))

    def test_equal_sets_are_fine(self):
        self.assertEqual(self.complaints("0000 T a\n0001 B v\n", "{ global: a; v; local: *; };",
                                         "# all\nT a\nV v\n"), [])

    def test_missing_symbol(self):
        self.assertEqual(self.complaints("00 T a", "{ global: a; b; local: *; };", "T a\nT b"),
                         ["b: in the symbol map, not exported", "b: a symbol of this library, not exported"])

    def test_surplus_symbol(self):
        self.assertEqual(self.complaints("00 T a\n00 W c", "{ global: a; local: *; };", "T a"),
                         ["c: exported, not in the symbol map", "c: exported, not a symbol of this library"])

    def test_variable_that_should_be_a_function(self):
        self.assertEqual(self.complaints("00 D a", "{ global: a; local: *; };", "T a"),
                         ["a: exported as V, should be T"])

    def test_empty_library(self):
        self.assertEqual(self.complaints("", "{ global: local: *; };", ""), ["nothing is exported"])

    def test_version_name_in_the_map(self):
        with self.assertRaises(ValueError):
            check_symbols.named_in_map("V_1 { global: a; local: *; };")


class Constructors(unittest.TestCase):
    SECTIONS = "  [18] .init_array       INIT_ARRAY      0000000000031030 031030 {:06x} 08  WA  0   0  8\n"
    RELOCATIONS = ("0000000000031030  0000000000000008 R_X86_64_RELATIVE                         cd50\n"
                   "0000000000031038  0000000000000008 R_X86_64_RELATIVE                         cd10\n")
    SYMBOLS = "000000000000cd50 t frame_dummy\n000000000000cd10 t _GLOBAL__sub_I_a\n"

    def found(self, size, symbols=SYMBOLS, relocations=RELOCATIONS):
        return list(check_constructors.constructors(self.SECTIONS.format(size), relocations, symbols))

    def test_the_compilers_own_is_none(self):
        self.assertEqual(self.found(8), [])

    def test_no_constructors_at_all(self):
        self.assertEqual(list(check_constructors.constructors("", self.RELOCATIONS, self.SYMBOLS)), [])

    def test_another_one(self):
        self.assertEqual(self.found(16), ["a constructor at 0xcd10: _GLOBAL__sub_I_a"])

    def test_one_without_a_name(self):
        self.assertEqual(self.found(8, symbols=""), ["a constructor at 0xcd50: without a name"])

    def test_one_whose_address_is_not_found(self):
        self.assertEqual(self.found(8, relocations=""), ["1 constructors, of which 0 have an address"])


class Soname(unittest.TestCase):
    DYNAMIC = " 0x0e (SONAME)   Library soname: [libx.so.0]\n"

    def test_right_soname_without_versions(self):
        self.assertEqual(list(check_soname.complaints(self.DYNAMIC, "Version needs section", "libx.so.0")), [])

    def test_other_and_missing_soname(self):
        for dynamic in (self.DYNAMIC, ""):
            self.assertEqual(len(list(check_soname.complaints(dynamic, "", "liby.so.0"))), 1)

    def test_version_definitions(self):
        found = list(check_soname.complaints(self.DYNAMIC, "Version definition section '.gnu.version_d'",
                                             "libx.so.0"))
        self.assertEqual(found, ["the library defines symbol versions"])


class Header(unittest.TestCase):
    def complaints(self, old="", new=""):
        return list(check_header.complaints(GOOD_FUNCTION.replace(old, new) if old else GOOD_FUNCTION))

    def test_documented_function_is_fine(self):
        self.assertEqual(self.complaints(), [])

    def test_missing_parameter(self):
        self.assertEqual(self.complaints(" * @b: the other\n"), ["add: describes ['a'], takes ['a', 'b']"])

    def test_parameters_in_another_order(self):
        self.assertEqual(len(self.complaints(" * @a: one\n * @b: the other\n",
                                             " * @b: the other\n * @a: one\n")), 1)

    def test_missing_result(self):
        self.assertEqual(self.complaints(" * Returns: the sum.\n"), ["add: does not say what it returns"])

    def test_missing_purpose(self):
        self.assertEqual(len(self.complaints(" - add two numbers")), 1)

    def test_missing_comment(self):
        comment = GOOD_FUNCTION[:GOOD_FUNCTION.index("int add")]
        self.assertEqual(len(self.complaints(comment)), 3)

    def test_empty_header(self):
        self.assertEqual(list(check_header.complaints("")), ["the header declares no function"])


if __name__ == "__main__":
    unittest.main()
