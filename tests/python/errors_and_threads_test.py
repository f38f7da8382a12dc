# SPDX-License-Identifier: LGPL-2.1-or-later
"""What goes wrong is told by exceptions, and calls from many threads do not disturb each other."""
import contextlib
import errno
import os
import pathlib
import signal
import threading
import unittest

import tresk_extend as tresk

PROGRAM = os.path.realpath("/usr/bin/env")
STATE = pathlib.Path(os.environ["TRESK_STANDIN_STATE"])


def scene(policy):
    file = STATE / "scene" / policy
    return file.read_text(encoding="utf-8").splitlines() if file.exists() else []


@contextlib.contextmanager
def state_file(name, text):
    file = STATE / name
    file.write_text(text, encoding="utf-8")
    try:
        yield
    finally:
        file.unlink()


class Errors(unittest.TestCase):
    def failure(self, function, *arguments):
        with self.assertRaises(tresk.TreskError) as caught:
            function(*arguments)
        return caught.exception

    def test_refusal_of_the_service_has_its_number_and_name(self):
        refusals = (("CANCEL.AUTH", tresk.Status.ERROR_CANCELLED), ("AUTH.FAILED", tresk.Status.ERROR_AUTHORISATION),
                    ("DISABLED", tresk.Status.ERROR_DISABLED), ("CONF.ERR", tresk.Status.ERROR_CONFIGURATION))
        for name, status in refusals:
            with state_file("service-faults", f"tresk_xattr_set_func_status error MERON.TRESK.{name} No.\n"):
                error = self.failure(tresk.set_func_status, 5, 1)
            self.assertIs(error.status, status)
            self.assertEqual(error.name, "TRESK_" + status.name)
            self.assertEqual(error.function, "set_func_status")
            self.assertEqual(str(error), f"set_func_status: {tresk.MEANINGS[status]} (TRESK_{status.name}, {status})")

    def test_failed_edit_is_minus_one(self):
        with state_file("service-faults", "tresk_ppro_add error MERON.TRESK.CANCEL.AUTH No.\n"
                                          "tresk_ppro_add_zdk error MERON.TRESK.CANCEL.AUTH No.\n"):
            error = self.failure(tresk.ppro_add, PROGRAM, 1)
        self.assertEqual((error.code, error.status, error.name), (-1, None, None))
        with contextlib.suppress(tresk.TreskError):  # the scene has it, the service does not
            tresk.ppro_remove(PROGRAM)

    def test_code_of_the_scene_library_is_kept(self):
        with state_file("scene-faults", "tresk_scene_taskctl_add_by_path -9\n"):
            self.assertEqual(self.failure(tresk.ppro_add, PROGRAM, 1).code, -9)

    def test_text_that_is_no_utf_8_is_refused_with_einval(self):
        error = self.failure(tresk.netctl_add, 0, "/\udcff", 1, "", "", 0)
        self.assertEqual((error.code, error.errno), (-1, errno.EINVAL))
        self.assertIn(os.strerror(errno.EINVAL), str(error))

    def test_unreadable_policy_is_no_empty_list(self):
        file = pathlib.Path("/data/no-policy.xml")
        file.write_text("no markup", encoding="utf-8")
        self.assertEqual(self.failure(tresk.pblk_read_all_data_with_file, str(file)).meaning,
                         "the policy could not be read")

    def test_unknown_label(self):
        self.assertIn("unknown label", str(self.failure(tresk.protect_set, PROGRAM, "purple")))

    def test_not_offered_in_this_release(self):
        for call in (tresk.netctl_pkg_path_add, lambda: tresk.kmod_communicate_with_kernel_sm(8, "loop")):
            self.assertEqual(self.failure(call).meaning, "not offered in this release")

    def test_package_name_with_a_meaning_to_a_shell_is_an_error(self):
        self.assertEqual(self.failure(tresk.check_pkg_is_install, "a;b").code, -1)

    def test_arguments_of_another_kind_never_reach_the_library(self):
        for error, call in (
                (TypeError, lambda: tresk.ppro_add(PROGRAM)), (TypeError, lambda: tresk.ppro_add(3, 1)),
                (TypeError, lambda: tresk.ppro_add(None, 1)), (TypeError, lambda: tresk.ppro_add(PROGRAM, 1.5)),
                (TypeError, lambda: tresk.ppro_add(PROGRAM, type=1, colour=2)),
                (TypeError, lambda: tresk.calc_multi_file_hash_value("/a")),
                (ValueError, lambda: tresk.ppro_add("/a\0b", 1)),
                (OverflowError, lambda: tresk.ppro_add("/a", 2 ** 31)),
                (OverflowError, lambda: tresk.netctl_remove(-1, "/a")),
                (ValueError, lambda: tresk.kmod_communicate_with_kernel_sm(9, "n" * 1001))):
            with self.assertRaises(error):
                call()
        self.assertEqual(scene("taskctl"), [])

    def test_without_the_service_calls_fail_by_name(self):
        with state_file("service-faults", "getModuleStatus error some.other.Name No.\n"):
            self.assertIs(self.failure(tresk.get_module_status, 3).status, tresk.Status.ERROR_SERVICE)
            error = self.failure(tresk.process_dbus_method, "/module", "com.meron.tresk.module", "getModuleStatus",
                                 "(3,)")
        self.assertIs(error.status, tresk.Status.ERROR_SERVICE)

    def test_unknown_method_of_the_service(self):
        error = self.failure(tresk.process_dbus_method, "/module", "com.meron.tresk.module", "noSuchMethod")
        self.assertIs(error.status, tresk.Status.ERROR_SERVICE)


class Threads(unittest.TestCase):
    THREADS = 8
    ROUNDS = 25

    def test_calls_from_many_threads(self):
        wrong = []
        start = threading.Barrier(self.THREADS)

        def work(number):
            source = f"thread-{number}"
            program = f"/data/{source}"
            try:
                start.wait()
                for _ in range(self.ROUNDS):
                    tresk.pblk_add_zdk(program, number, source)
                    if [node.path for node in tresk.pblk_read_all_data_zdk(number, source)] != [program]:
                        wrong.append(f"{source}: another list")
                    if tresk.pblk_get_path_hash(f"/{number}") != hashes[number]:
                        wrong.append(f"{source}: another hash")
                    tresk.pblk_remove_zdk(program, number, source)
            except Exception as error:  # whatever it is, the test has to say it
                wrong.append(f"{source}: {error!r}")

        hashes = [tresk.pblk_get_path_hash(f"/{number}") for number in range(self.THREADS)]
        threads = [threading.Thread(target=work, args=(number,)) for number in range(self.THREADS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])

    def test_other_threads_run_while_one_waits_for_the_service(self):
        """The service stands still until we, in another thread, let it go on: else this would wait without end."""
        service = int(os.environ["TRESK_STANDIN_SERVICE_PID"])
        asking = threading.Event()
        answers = []

        def ask():
            asking.set()
            answers.append(tresk.get_module_status(3))

        os.kill(service, signal.SIGSTOP)
        try:
            waiting = threading.Thread(target=ask)
            waiting.start()
            asking.wait()
            for _ in range(1000):
                os.sched_yield()
                self.assertEqual(answers, [])
        finally:
            os.kill(service, signal.SIGCONT)
        waiting.join()
        self.assertEqual(len(answers), 1)

    def test_errno_is_each_thread_s_own(self):
        seen = {}

        def refuse():
            try:
                tresk.netctl_remove(0, "/\udcff")
            except tresk.TreskError as error:
                seen["errno"] = error.errno

        thread = threading.Thread(target=refuse)
        thread.start()
        thread.join()
        self.assertEqual(seen["errno"], errno.EINVAL)


if __name__ == "__main__":
    unittest.main()
