# SPDX-License-Identifier: LGPL-2.1-or-later
"""Every family from Python, in the sandbox: add, list, look up, remove."""
import datetime
import hashlib
import os
import pathlib
import tempfile
import unittest

import tresk_extend as tresk

PROGRAM = os.path.realpath("/usr/bin/env")
STATE = pathlib.Path(os.environ["TRESK_STANDIN_STATE"])


def scene(policy):
    file = STATE / "scene" / policy
    return file.read_text(encoding="utf-8", errors="surrogateescape").splitlines() if file.exists() else []


def sha256(text):
    return hashlib.sha256(text.encode()).hexdigest()


class ProcessProtection(unittest.TestCase):
    def test_add_list_look_up_change_remove(self):
        self.assertEqual(tresk.ppro_add(PROGRAM, 1), 0)
        wanted = tresk.PproNode(PROGRAM, sha256(PROGRAM), 1)
        self.assertEqual(tresk.ppro_read_all_data(), [wanted])
        self.assertEqual(tresk.ppro_read_all_data_with_file("/etc/tresk/ppro/ppro.xml"), [wanted])
        self.assertEqual(tresk.ppro_read_all_data_zdk(0, ""), [wanted])
        self.assertEqual(tresk.ppro_read_node_with_path(PROGRAM), wanted)
        self.assertEqual(tresk.ppro_update(PROGRAM, 2), 0)
        self.assertEqual(tresk.ppro_read_node_with_path(PROGRAM).type, 2)
        self.assertEqual(tresk.ppro_get_same_node_by_hash(wanted.hash), 1)
        self.assertIs(tresk.ppro_check_in_sm(wanted.hash), False)
        self.assertEqual(tresk.ppro_remove(PROGRAM), 0)
        self.assertEqual(tresk.ppro_read_all_data(), [])
        self.assertIsNone(tresk.ppro_read_node_with_path(PROGRAM))

    def test_sources_and_owners(self):
        tresk.ppro_add_zdk(PROGRAM, 3, 1, "audit")
        self.assertEqual(tresk.ppro_read_all_data(), [])
        self.assertEqual(len(tresk.ppro_read_all_data_sm()), 1)
        self.assertEqual(len(tresk.ppro_read_all_data_zdk(1, "audit")), 1)
        self.assertIs(tresk.ppro_check_in_sm(tresk.ppro_get_path_hash(PROGRAM)), True)
        tresk.ppro_remove_zdk(path=PROGRAM, mode=1, data_source="audit")
        self.assertEqual(tresk.ppro_read_all_data_sm(), [])

    def test_settings(self):
        configuration = pathlib.Path("/etc/tresk/ppro/ppro.conf")
        configuration.write_text("[ppro]\naction=stop\n", encoding="utf-8")
        self.assertEqual(tresk.ppro_get_action(), "stop")
        configuration.write_text("[ppro]\n", encoding="utf-8")
        self.assertIsNone(tresk.ppro_get_action())
        pathlib.Path("/etc/tresk/ppro/ppro_blacklist").write_text("/usr/bin/passwd\n", encoding="utf-8")
        self.assertIs(tresk.ppro_path_in_blacklist("/usr/bin/passwd"), True)
        self.assertIs(tresk.ppro_path_in_blacklist("/usr/bin/other"), False)

    def test_process_id_of_a_program(self):
        self.assertGreater(tresk.get_pid_by_path("/proc/self/exe"), 0)


class ProcessBlocking(unittest.TestCase):
    def test_add_list_look_up_remove(self):
        self.assertEqual(tresk.pblk_add_zdk(PROGRAM, 5, "hook"), 0)
        self.assertEqual(tresk.pblk_add_zdk(PROGRAM, 5, "hook"), 1)
        self.assertEqual(tresk.pblk_read_all_data(), [tresk.PblkNode(PROGRAM, sha256(PROGRAM))])
        self.assertEqual(tresk.pblk_read_all_data_zdk(5, "hook"), [tresk.PblkNode(PROGRAM, "")])
        self.assertEqual(tresk.pblk_read_all_data_zdk(6, "hook"), [])
        self.assertEqual(tresk.pblk_read_node_with_hash_zdk(tresk.pblk_get_path_hash(PROGRAM), 5, "hook").path,
                         PROGRAM)
        self.assertEqual(tresk.pblk_get_same_node_by_hash(sha256(PROGRAM), count=1), 2)
        self.assertEqual(tresk.pblk_remove_zdk(PROGRAM, 5, "hook"), 0)
        self.assertEqual(tresk.pblk_read_all_data(), [])


class NetworkControl(unittest.TestCase):
    def test_programs(self):
        self.assertEqual(tresk.netctl_ext_add(0, PROGRAM, 2, "Env", "icon", "env.desktop", 7), 0)
        path_hash = tresk.netctl_get_path_hash(PROGRAM, 0)
        self.assertEqual(tresk.netctl_read_all_data(), [tresk.NetctlNodeData(PROGRAM, path_hash, 2)])
        self.assertEqual(tresk.netctl_read_all_data_with_uid(0),
                         [tresk.NetctlNode(PROGRAM, path_hash, 2, "Env", "icon", 7)])
        wanted = tresk.NetctlExtNode(PROGRAM, path_hash, 2, "Env", "icon", "env.desktop", 7)
        self.assertEqual(tresk.netctl_ext_read_all_data_with_uid(0), [wanted])
        self.assertEqual(tresk.netctl_ext_read_node_with_uid(0, PROGRAM), wanted)
        self.assertEqual(scene("netctl"), [PROGRAM])
        self.assertEqual(tresk.netctl_update(0, PROGRAM, 1, None, None, 0), 0)
        self.assertEqual(scene("netctl"), [])
        self.assertEqual(tresk.netctl_remove(0, PROGRAM), 0)
        self.assertEqual(tresk.netctl_read_all_data(), [])

    def test_packages(self):
        self.assertEqual(tresk.netctl_pkg_add(0, "coreutils", 1, "icon", "desktop", 3), 0)
        self.assertEqual(tresk.netctl_pkg_path_update(0, "coreutils", PROGRAM, 1, "icon", "desktop", 3), 0)
        self.assertEqual(tresk.netctl_pkg_read_all_data_with_uid(0),
                         [tresk.NetctlPackage("coreutils", 1, "icon", "desktop", 3)])
        self.assertEqual(tresk.netctl_pkg_path_read_node_with_uid(0, "coreutils").path, PROGRAM)
        self.assertIsNone(tresk.netctl_pkg_read_node_with_uid(0, "bash"))
        self.assertEqual(tresk.netctl_pkg_remove(0, "coreutils"), 0)
        self.assertEqual(tresk.netctl_pkg_read_all_data_with_uid(0), [])

    def test_distinction_of_users(self):
        tresk.netctl_set_user_distinguish(1)
        self.assertEqual(tresk.user_distinguish(), 0)
        self.assertEqual(tresk.netctl_get_user_distinguish(), 1)
        self.assertEqual(tresk.user_distinguish(), 1)
        tresk.netctl_add(7, PROGRAM, 1, "Env", "", 0)
        self.assertEqual(len(tresk.netctl_read_all_data_with_uid(7)), 1)
        self.assertEqual(tresk.netctl_read_all_data_with_uid(8), [])
        tresk.set_user_distinguish(0)
        self.assertEqual(len(tresk.netctl_read_all_data_with_uid(8)), 1)
        tresk.netctl_remove(7, PROGRAM)
        tresk.netctl_set_user_distinguish(0)

    def test_questions(self):
        self.assertIs(tresk.check_program_is_exist(PROGRAM), True)
        self.assertIs(tresk.check_program_is_exist("/no/such/file"), False)
        self.assertIs(tresk.check_pkg_is_install("no-such-package-anywhere"), False)


class PackageLists(unittest.TestCase):
    def test_add_look_up_remove(self):
        self.assertEqual(tresk.bwlist_add_zdk("white", "bash", 1, "shop"), 0)
        self.assertIs(tresk.bwlist_unite_select_by_rpm_name("white", "bash"), True)
        self.assertIs(tresk.bwlist_independence_select_by_rpm_name("white", "bash", 1, "shop"), True)
        self.assertIs(tresk.bwlist_independence_select_by_rpm_name("white", "bash", 2, "shop"), False)
        self.assertEqual(tresk.bwlist_select_by_rpm_name_zdk("bwlist", "bash", 3), 2)
        self.assertEqual(tresk.bwlist_select_by_rpm_name_zdk("bwlist", "zsh", 3), 3)
        tresk.bwlist_set_root_distinguish_zdk(1, 1, "shop")
        self.assertEqual(tresk.bwlist_get_root_distinguish_zdk(1, "shop"), 1)
        self.assertEqual(tresk.bwlist_del_zdk("white", "bash", 1, "shop"), 0)
        self.assertEqual(tresk.bwlist_clear_policy_zdk(1, "shop"), 0)
        self.assertIs(tresk.bwlist_unite_select_by_rpm_name("white", "bash"), False)


class Labels(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir="/data")
        self.addCleanup(folder.cleanup)
        self.files = [f"{folder.name}/{name}" for name in ("one", "two", "thr\udcff\udcee")]
        for file in self.files:
            with open(os.fsencode(file), "wb") as stream:
                stream.write(b"content")

    def test_one_file(self):
        self.assertEqual(tresk.protect_set(self.files[0], "readonly"), 0)
        self.assertEqual(scene("filectl"), [self.files[0]])
        self.assertEqual(tresk.protect_set(self.files[0], "none"), 0)
        self.assertEqual(tresk.exectl_set(self.files[0], "trusted"), 0)
        self.assertEqual(tresk.label_set(self.files[0]), 0)
        self.assertEqual(tresk.identify_set(self.files[0], "secadm"), 0)
        self.assertIn(self.files[0], scene("admctl_role_1"))
        self.assertEqual(tresk.convert_exectl_label_to_label_type("script"), 7)

    def test_many_files_whatever_their_names(self):
        records = [tresk.LabelRecord(file, "readonly") for file in self.files]
        self.assertEqual(tresk.protect_multi_set(records), 3)
        self.assertEqual(sorted(scene("filectl")), sorted(self.files))
        self.assertEqual(tresk.fpro_clear_policy_zdk(), 0)
        self.assertEqual(scene("filectl"), [])
        self.assertEqual(tresk.identify_multi_set([(file, "audadm") for file in self.files]), 3)
        self.assertEqual(tresk.identify_multi_set([(file, "none") for file in self.files]), 3)
        self.assertEqual(tresk.exectl_multi_set(records), 0)
        self.assertEqual(tresk.exectl_multi_set_for_dpkg(self.files), 0)
        self.assertTrue(set(self.files) <= set(scene("exectl_xattr")))

    def test_directory(self):
        self.assertEqual(tresk.protect_set_for_dir(os.path.dirname(self.files[0]), "readonly"), 0)
        self.assertEqual(len(scene("filectl")), 3)
        self.assertEqual(tresk.fpro_clear_policy_zdk(), 0)

    def test_hashes(self):
        wanted = hashlib.sha256(b"content").hexdigest()
        self.assertEqual(tresk.calc_file_hash_value(self.files[0]), wanted)
        self.assertEqual(tresk.get_file_hash_value(self.files[0]), wanted)
        self.assertIsNone(tresk.get_file_hash_value("/no/such/file"))
        self.assertEqual(tresk.calc_multi_file_hash_value(self.files[:2]), [wanted, wanted])
        self.assertEqual(tresk.get_multi_file_hash_value(self.files[:1] + ["/no/such/file"]), [wanted, ""])

    def test_users(self):
        self.assertEqual(tresk.check_user_valid("nobody", "nothing"), 1)


class Devices(unittest.TestCase):
    def test_policies(self):
        self.assertEqual(tresk.devctl_read_all_dev_data(), [])
        self.assertEqual(tresk.devctl_read_special_xmldata(), [])
        self.assertEqual(tresk.devctl_add_perm(13, 0, 0, 0, 0, None, None, 2), 0)
        self.assertEqual(tresk.devctl_add_perm(0, 3, 0x0002, 0x1D6B, 3, "serial", "hub", 1), 0)
        self.assertEqual(tresk.devctl_read_not_special_data(), [tresk.DevicePolicy(dtype=13, dperm=2)])
        product = tresk.DevicePolicy(first_utype=3, dpid=2, dvid=0x1D6B, dperm=1, utype=3)
        self.assertEqual(tresk.devctl_read_all_dev_data(), [tresk.DevicePolicy(dtype=13, dperm=2), product])
        self.assertEqual(tresk.devctl_sm_read_special_xmldata(),
                         [tresk.DevicePolicyShort(dpid=2, dvid=0x1D6B, utype=3, dperm=1)])
        self.assertEqual(tresk.devctl_sm_get_no_special(), [tresk.DevicePolicyShort(dtype=13, dperm=2)])
        self.assertEqual(tresk.devctl_update_perm(0, 3, 2, 0x1D6B, "serial", None, 5), 0)
        self.assertEqual(tresk.devctl_remove_perm(0, 3, 2, 0x1D6B, "serial", 5), 0)
        self.assertEqual(tresk.devctl_batch_add_perm([tresk.DevicePolicy(dtype=14, dperm=1)]), 0)
        self.assertEqual(len(tresk.devctl_read_not_special_data()), 2)
        tresk.devctl_remove_perm(14, 0, 0, 0, None, 1)
        tresk.devctl_remove_perm(13, 0, 0, 0, None, 2)
        self.assertEqual(tresk.devctl_read_all_dev_data(), [])

    def test_wireless_networks(self):
        self.assertEqual(tresk.devctl_wireless_ctl_add("the caf\u00e9"), 0)
        self.assertEqual(tresk.devctl_read_all_ssid_data(), [tresk.WirelessName("the caf\u00e9")])
        self.assertEqual(tresk.devctl_wireless_ctl_del("the caf\u00e9"), 0)
        self.assertEqual(tresk.devctl_read_all_ssid_data(), [])

    def test_history(self):
        self.assertEqual(tresk.device_record_get(), [])
        minute = datetime.timedelta(minutes=1)
        times = [(datetime.datetime.now() - minute * ago).strftime("%F %T") for ago in (2, 1)]
        seen = [tresk.DeviceRecord(1, 2, 0x1D6B, 2, "hub", "maker", time, "more") for time in times]
        self.assertEqual(tresk.devctl_xdg_insert_record(seen), 0)
        self.assertEqual(tresk.device_record_get(), seen[::-1])


class KernelModules(unittest.TestCase):
    def test_by_name_and_by_file(self):
        self.assertEqual(tresk.add_kmod_to_kmod_protect("loop"), 0)
        self.assertEqual(scene("kmodctl"), ["loop"])
        self.assertEqual(tresk.remove_kmod_from_kmod_protect("loop"), 0)
        self.assertIs(tresk.check_kmod_in_sm("loop"), False)
        file = os.environ["TRESK_MODULE_FILE"]
        name = tresk.get_kmod_name_from_ko(file)
        self.assertTrue(name)
        self.assertEqual(tresk.add_to_kmod_protect(file), 0)
        self.assertEqual(scene("kmodctl"), [name])
        self.assertEqual(tresk.remove_from_kmod_protect(file), 0)
        self.assertIsNone(tresk.get_kmod_name_from_ko(PROGRAM))


class Kernel(unittest.TestCase):
    def test_messages_arrive(self):
        text_hash = sha256("x")
        self.assertEqual(tresk.hash_communicate_with_kernel(9, text_hash, 7), 0)
        self.assertEqual(tresk.devctl_communicate_with_kernel(12, b"\x01\x00\x02"), 0)
        self.assertEqual(tresk.kmod_communicate_with_kernel_sm(9, "n" * 1000), 0)
        told = (STATE / "kernel.log").read_text(encoding="utf-8")
        self.assertIn(f"value=7 hash={text_hash}", told)
        self.assertIn("payload=010002", told)


class Switches(unittest.TestCase):
    def test_states(self):
        self.assertEqual(tresk.setstatus(1), 0)
        self.assertEqual(tresk.set_func_status(5, 1), 0)
        self.assertEqual(tresk.conf_set("entry", 1), 0)
        self.assertEqual(tresk.set_module_status(1, 1, 1, 2, 1), 0)
        self.assertIsInstance(tresk.get_module_status(3), int)
        self.assertEqual(len(tresk.get_security_status_for_vex_defender()), 2)
        self.assertEqual(tresk.get_boot_mode(), 0)
        self.assertIsNone(tresk.devctl_get_sm())
        self.assertIsNone(tresk.devctl_read_sys_devinfo())


class ServiceCalls(unittest.TestCase):
    def test_replies_become_values(self):
        reply = tresk.process_dbus_method("/module", "com.meron.tresk.module", "getModuleStatus", "(3,)")
        self.assertEqual(reply, (tresk.get_module_status(3),))
        bus = "org.freedesktop.DBus"
        (names,) = tresk.process_dbus_other_method(bus, "/org/freedesktop/DBus", bus, "ListNames")
        self.assertIn("com.meron.tresk", names)
        (owned,) = tresk.process_dbus_other_method(bus, "/org/freedesktop/DBus", bus, "NameHasOwner",
                                                   "('com.meron.tresk',)")
        self.assertIs(owned, True)
        (credentials,) = tresk.process_dbus_other_method(bus, "/org/freedesktop/DBus", bus,
                                                         "GetConnectionCredentials", "('com.meron.tresk',)")
        self.assertEqual(credentials["ProcessID"], int(os.environ["TRESK_STANDIN_SERVICE_PID"]))

    def test_text_that_is_no_argument(self):
        with self.assertRaises(ValueError):
            tresk.process_dbus_method("/module", "com.meron.tresk.module", "getModuleStatus", "(3,")

    def test_codes_of_errors(self):
        self.assertEqual(tresk.handling_dbus_error(("MERON.TRESK.CANCEL.AUTH", "no")), tresk.Status.ERROR_CANCELLED)
        self.assertEqual(tresk.handling_dbus_error(("some.other.Name", "no")), tresk.Status.ERROR_SERVICE)
        self.assertEqual(tresk.handling_dbus_error(None), tresk.Status.ERROR_SERVICE)


if __name__ == "__main__":
    unittest.main()
