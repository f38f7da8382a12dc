# SPDX-License-Identifier: LGPL-2.1-or-later
"""The checks find what they are there for."""
import unittest

import check_header
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
