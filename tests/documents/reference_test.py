# SPDX-License-Identifier: LGPL-2.1-or-later
"""What the header tells of each exported symbol, and what Doxygen's filter makes of it: reference_test.py SOURCE"""
import pathlib
import re
import sys
import unittest

SOURCE = pathlib.Path(sys.argv[1])
sys.path[:0] = [str(SOURCE / "tests/abi"), str(SOURCE / "docs/reference")]

import check_header  # noqa: E402
import header_filter  # noqa: E402

HEADER = (SOURCE / "include/tresk_extend.h").read_text(encoding="utf-8")


def exported():
    lines = (SOURCE / "tests/abi/exported_symbols.txt").read_text(encoding="utf-8").splitlines()
    return {name: letter for letter, name in (line.split() for line in lines if line and line[0] != "#")}


def functions(header):
    """{name: (comment, parameters, whether it returns something)}"""
    return {found["name"]: (found["comment"] or "", check_header.parameter_names(found["parameters"]),
                            re.match(r"void (?!\*)", found["declaration"]) is None)
            for found in check_header.DECLARATION.finditer(header)}


def records(header):
    """{name: (comment, fields)}"""
    found = re.findall(r"/\*\*((?:(?!\*/).)*)\*/\s*typedef struct (\w+) \{(.*?)\}", header, flags=re.S)
    return {name: (comment, re.findall(r"(\w+)(?:\[\d+\])?;", body)) for comment, name, body in found}


class Header(unittest.TestCase):
    def test_every_exported_function_names_its_arguments_and_its_result(self):
        documented = functions(HEADER)
        wanted = [name for name, letter in exported().items() if letter == "T"]
        self.assertGreater(len(wanted), 160)
        for name in wanted:
            self.assertIn(name, documented)
            comment, parameters, returns = documented[name]
            self.assertEqual(list(check_header.complaints_about(name, comment, parameters, not returns)), [])

    def test_every_exported_variable_says_what_it_is(self):
        wanted = [name for name, letter in exported().items() if letter == "V"]
        self.assertTrue(wanted)
        for name in wanted:
            self.assertRegex(HEADER, rf"/\*\*\n \* {name} - [^/]*\*/\nextern \w+ {name};")

    def test_every_record_tells_its_fields_and_its_size(self):
        layout = (SOURCE / "tests/abi/layout.c").read_text(encoding="utf-8")
        sizes = dict(re.findall(r"ASSERT_SIZE\((\w+), (\d+)\)", layout))
        found = records(HEADER)
        self.assertEqual(found.keys(), sizes.keys())
        for name, (comment, fields) in found.items():
            self.assertRegex(comment, rf"struct {name} - [^@]*\({sizes[name]} bytes\)")
            self.assertEqual(re.findall(r"^ \* @(\w+): \S", comment, flags=re.M), fields, name)

    def test_every_status_code_says_what_it_means(self):
        codes = re.findall(r"^    TRESK_\w+ = .*$", HEADER, flags=re.M)
        self.assertEqual(len(codes), 16)
        for code in codes:
            self.assertRegex(code, r"/\*\*< \S.* \*/$")


class Reference(unittest.TestCase):
    """The filter, which Doxygen runs, drops nothing."""

    def setUp(self):
        self.filtered = header_filter.Filter().header(HEADER)

    def comment_before(self, declaration):
        found = re.search(r"/\*\*((?:(?!\*/).)*)\*/\s*[\w *]*\b" + declaration, self.filtered, flags=re.S)
        self.assertIsNotNone(found, declaration)
        return found[1]

    def test_every_argument_and_every_result_is_doxygen_s(self):
        for name, (_, parameters, returns) in functions(HEADER).items():
            comment = self.comment_before(rf"{name}\(")
            self.assertIn("@brief ", comment)
            self.assertEqual(re.findall(r"^@param (\w+) \S", comment, flags=re.M), parameters, name)
            self.assertEqual("\n@return " in comment, returns, name)

    def test_every_field_is_doxygen_s(self):
        for name, (_, fields) in records(HEADER).items():
            for field in fields:
                self.assertRegex(self.filtered, rf"@var {name}::{field}\n\S")

    def test_sections_are_opened_and_closed(self):
        self.assertEqual(self.filtered.count("\n@{ */"), self.filtered.count("/** @} */"))
        self.assertEqual(self.filtered.count("@defgroup"), len(re.findall(r"^/\* ---- ", HEADER, flags=re.M)))

    def test_declarations_stay_as_they_are(self):
        bare = [re.sub(r"\s+", " ", re.sub(r"/\*.*?\*/", "", text, flags=re.S)) for text in (HEADER, self.filtered)]
        self.assertEqual(*bare)

    def test_a_text_behind_an_argument_s_empty_line_speaks_of_the_function(self):
        text = "/**\n * f - do it\n * @a: one\n *   more\n *\n * Further.\n *\n * Returns: 0.\n */\nint f(int a);"
        self.assertEqual(header_filter.Filter().header(text),
                         "/**\n@brief do it\n\n\n@param a one\n  more\n\nFurther.\n\n@return 0.\n */\nint f(int a);")

    def test_a_comment_without_a_name_is_an_error(self):
        with self.assertRaises(ValueError):
            header_filter.Filter().header("/**\n * Does something.\n */\nint f(int a);")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
