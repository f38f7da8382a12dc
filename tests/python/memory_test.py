# SPDX-License-Identifier: LGPL-2.1-or-later
"""Nothing that the library allocates is left behind by the module."""
import os
import resource
import tempfile
import unittest

import tresk_extend as tresk

PROGRAM = os.path.realpath("/usr/bin/env")
ENTRIES = 3


def resident_kilobytes():
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") // 1024


class Memory(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for number in range(ENTRIES):
            tresk.pblk_add_zdk(f"/data/program-{number}", number, "memory")
            tresk.netctl_pkg_add(0, f"package-{number}", 1, "ico", "desktop", 0)
        tresk.calc_multi_file_hash_value([PROGRAM])

    def growth(self, call, calls, before=200):
        """Kilobytes that @calls calls add to those of the first few."""
        for _ in range(before):
            call()
        start = resident_kilobytes()
        for _ in range(calls):
            call()
        return resident_kilobytes() - start

    def test_ten_thousand_lists(self):
        """An array of three records has 12 kB, so that leaving them would add 120 MB; a record alone 40 MB."""
        self.assertEqual(len(tresk.pblk_read_all_data()), ENTRIES)
        self.assertLess(self.growth(tresk.pblk_read_all_data, 10000), 2048)

    def test_single_records_texts_and_arrays_of_texts(self):
        calls = (lambda: tresk.netctl_pkg_read_node_with_uid(0, "package-1"),
                 lambda: tresk.pblk_get_path_hash(PROGRAM * 100),
                 lambda: tresk.get_multi_file_hash_value([PROGRAM] * 100),
                 lambda: tresk.process_dbus_method("/module", "com.meron.tresk.module", "getModuleStatus", "(3,)"),
                 lambda: tresk.handling_dbus_error(("some.Name", "x" * 4000)))
        for number, call in enumerate(calls):
            self.assertLess(self.growth(call, 300, before=50), 1024, number)

    def test_want_of_memory_is_a_memory_error(self):
        """Records of 8 MB, where the process may take only 4 MB more; afterwards it may again."""
        node = '<ppro_node path="/data/{0}"><hash>{0}</hash><type>1</type></ppro_node>'
        with tempfile.NamedTemporaryFile("w", suffix=".xml") as policy:
            policy.write("<ppro_root>" + "".join(node.format(number) for number in range(2000)) + "</ppro_root>")
            policy.flush()
            self.assertEqual(len(tresk.ppro_read_all_data_with_file(policy.name)), 2000)
            before = resource.getrlimit(resource.RLIMIT_AS)
            with open("/proc/self/statm", encoding="ascii") as file:
                taken = int(file.read().split()[0]) * os.sysconf("SC_PAGE_SIZE")
            resource.setrlimit(resource.RLIMIT_AS, (taken + (4 << 20), before[1]))
            try:
                with self.assertRaises(MemoryError):
                    tresk.ppro_read_all_data_with_file(policy.name)
            finally:
                resource.setrlimit(resource.RLIMIT_AS, before)
            self.assertEqual(len(tresk.ppro_read_all_data_with_file(policy.name)), 2000)

    def test_measure_sees_what_is_left_behind(self):
        kept = []
        self.assertGreater(self.growth(lambda: kept.append(bytes(12000)), 1000), 8192)


if __name__ == "__main__":
    unittest.main()
