# SPDX-License-Identifier: LGPL-2.1-or-later
"""Proves on the bus itself what treskctl promises: a dry run changes nothing, a change that is made twice is made
once, and a question is no more than a question.

    bus_calls_test.py PROGRAM

Runs in a sandbox. A monitor sees every method call of the system bus. A call counts as changing unless ASKING_METHODS
names it, so that a method nobody thought of fails a test. The scene library works inside treskctl, out of the
monitor's sight: for it "scene-faults" lets every function that changes something fail, so that a run which calls one
cannot pass for a success. Besides, the policy files and the state folder are compared byte for byte.
"""
import collections
import dataclasses
import json
import os
import pathlib
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = sys.argv[1]
PATIENCE_SECONDS = 60

POLICY_FOLDER = pathlib.Path("/etc/tresk")
STATE_FOLDER = pathlib.Path(os.environ["TRESK_STANDIN_STATE"])
FRAMEWORK_HEADER = pathlib.Path(__file__).resolve().parents[2] / "common/framework.h"

# --- what asks and changes nothing ---

SERVICE = "com.meron.tresk"
BUS = "org.freedesktop.DBus"

# Interface (the service's without its beginning) and method.
ASKING_METHODS = {
    (f"{BUS}", "AddMatch"),
    (f"{BUS}", "GetNameOwner"),
    (f"{BUS}", "Hello"),
    (f"{BUS}", "NameHasOwner"),
    (f"{BUS}", "RemoveMatch"),
    (f"{BUS}", "StartServiceByName"),
    (f"{BUS}.Peer", "Ping"),
    (f"{BUS}.Properties", "GetAll"),
    ("bwlist", "tresk_bwlist_get_root_distinguish_zdk"),
    ("module", "checkSecuritySwitchReboot"),
    ("module", "checkSetModuleStatusReboot"),
    ("module", "getCurSecurityStatusForVexDefender"),
    ("module", "getModuleRealStatus"),
    ("module", "getModuleStatus"),
    ("module", "getSecurityStatusForVexDefender"),
    ("netflow", "tresk_netflow_perm_check"),
    ("ppro", "tresk_get_pid_by_path"),
    ("xattr", "tresk_check_user_valid_with_pam"),
    ("xattr", "tresk_xattr_get_file_hash_value"),
    ("xattr", "tresk_xattr_get_multi_file_hash_value"),
    ("xattr", "tresk_xattr_protect_check_kmod_in_sm"),
}

# Of the scene library, whose other functions change something.
ASKING_SCENE_FUNCTIONS = {
    "tresk_scene_filectl_get_policy",
    "tresk_scene_get_devctl_all_pvid",
    "tresk_scene_get_devctl_all_types",
    "tresk_scene_get_devctl_netcard",
}

# --- the commands that change something ---

# What the same command does a second time.
#
# It reads what there is, finds it so, and calls nothing.
SETTLED = "settled"
# Nobody can tell what there is, the reason stands beside it. It calls again and says nothing of a change.
UNTOLD = "untold"
# Nobody can tell beforehand, and the scene library's answer does: it calls again, nothing changes, and it says so.
ANSWERED = "answered"

NO_LABELS = "the scene library sets labels and does not tell them"
NO_LABEL_ANSWER = NO_LABELS + "; the library's call for one path answers alike for what was so"
NO_MODULES = "the scene library does not tell which kernel modules it protects, nor does the library's answer"
NO_CONF = "no call of the service asks for its entries"
NO_SM = "the scene library's listings do not tell whose a policy is"
NO_STATE = "it is no state of anything"


@dataclasses.dataclass(frozen=True)
class Change:
    """One command that changes something, and what has to be seen of its first run."""
    command: str
    words: str
    # The service's methods that are called, and the scene library's policies that are changed.
    methods: tuple = ()
    scene: tuple = ()
    # Whether the kernel module is told something.
    kernel: bool = False
    # Commands that lead to where there is something to change.
    before: tuple = ()
    again: str = SETTLED
    reason: str = ""

    def line(self):
        return f"{self.command} {self.words}".rstrip()


CAT_PROTECTED = ("ppro add /usr/bin/cat --type 1",)
CAT_CONTROLLED = ("netctl add /usr/bin/cat --type 2",)
PACKAGE_CONTROLLED = ("pkg add coreutils --type 2",)
CAT_BLOCKED = ("pblk add /usr/bin/cat",)
PACKAGE_LISTED = ("bwlist add white coreutils",)
TYPE_ADDED = ("device add --type 5 --perm 1",)
IDS_ADDED = ("device add --vendor 0a12 --product 0001 --perm 1",)
HOME_PERMITTED = ("wireless add home",)

CHANGES = (
    Change("status set", "pblk off", ("tresk_xattr_set_func_status",)),
    Change("status set", "framework off", ("tresk_xattr_set_status",)),

    Change("module set", "2 2 2 2 2", ("setModuleStatus",)),
    Change("module set-reboot", "2 2 2 2 2 1", ("setModuleStatusReboot",), again=UNTOLD,
           reason="the last number's meaning is the service's"),
    Change("module selinux", "targeted", ("setSelinuxPolicy",), again=UNTOLD,
           reason="no call of the service asks for the policy"),
    Change("module authorise", "1 1", ("processctrlPolkitForSetModuleStatus",), again=UNTOLD, reason=NO_STATE),
    Change("module security set", "2 2", ("setSecurityForVexDefender",), again=UNTOLD,
           reason="the numbers' meaning is the service's"),
    Change("module security set-reboot", "2 2 1", ("setSecurityForVexDefenderReboot",), again=UNTOLD,
           reason="the numbers' meaning is the service's"),

    Change("conf add", "", ("tresk_conf_add",), again=UNTOLD, reason=NO_CONF),
    Change("conf remove", "", ("tresk_conf_remove",), before=("conf add",), again=UNTOLD, reason=NO_CONF),
    Change("conf set", "name 1", ("tresk_conf_set",), again=UNTOLD, reason=NO_CONF),

    Change("ppro add", "/usr/bin/cat --type 1", ("tresk_ppro_add_zdk",), ("taskctl",)),
    Change("ppro add", "/usr/bin/cat /usr/bin/head --type 1 --source a --owner sm", ("tresk_ppro_add_zdk",),
           ("taskctl",)),
    Change("ppro set", "/usr/bin/cat --type 1", ("tresk_ppro_add_zdk",), ("taskctl",)),
    Change("ppro set", "/usr/bin/cat --type 2", ("tresk_ppro_update_zdk",), before=CAT_PROTECTED),
    Change("ppro update", "/usr/bin/cat --type 2", ("tresk_ppro_update_zdk",), before=CAT_PROTECTED),
    Change("ppro update", "/usr/bin/cat --owner sm", ("tresk_ppro_add_zdk", "tresk_ppro_remove_zdk"),
           before=CAT_PROTECTED),
    Change("ppro remove", "/usr/bin/cat", ("tresk_ppro_remove_zdk",), ("taskctl",), before=CAT_PROTECTED),
    Change("ppro remove", "/usr/bin/cat --anyway", ("tresk_ppro_remove_zdk",), ("taskctl",), before=CAT_PROTECTED,
           again=UNTOLD, reason="it is for what the policy does not have"),
    Change("ppro clear", "--yes", ("tresk_ppro_remove_zdk",), ("taskctl",), before=CAT_PROTECTED),

    # The scene keeps what is of type 2.
    Change("netctl add", "/usr/bin/cat --type 2", ("tresk_netctl_add",), ("netctl",)),
    Change("netctl add", "/usr/bin/cat --type 1 --name Cat --desktop cat.desktop", ("tresk_netctl_ext_add",)),
    Change("netctl set", "/usr/bin/cat --type 2", ("tresk_netctl_add",), ("netctl",)),
    Change("netctl set", "/usr/bin/cat --type 1", ("tresk_netctl_ext_update",), ("netctl",), before=CAT_CONTROLLED),
    Change("netctl update", "/usr/bin/cat --name Cat", ("tresk_netctl_ext_update",), before=CAT_CONTROLLED),
    Change("netctl remove", "/usr/bin/cat", ("tresk_netctl_remove",), ("netctl",), before=CAT_CONTROLLED),
    Change("netctl clear", "--yes", ("tresk_netctl_remove",), ("netctl",), before=CAT_CONTROLLED),
    Change("netctl user-distinct", "on", ("tresk_netctl_set_user_distinguish",)),

    Change("pkg add", "coreutils --type 2", ("tresk_netctl_pkg_add",), ("netctl_pkg",)),
    Change("pkg add", "coreutils --type 1 --path /usr/bin/cat",
           ("tresk_netctl_pkg_add", "tresk_netctl_pkg_path_update")),
    Change("pkg set", "coreutils --type 2", ("tresk_netctl_pkg_add",), ("netctl_pkg",)),
    Change("pkg set", "coreutils --type 1", ("tresk_netctl_pkg_update",), ("netctl_pkg",), before=PACKAGE_CONTROLLED),
    Change("pkg update", "coreutils --path /usr/bin/cat", ("tresk_netctl_pkg_path_update",),
           before=PACKAGE_CONTROLLED),
    Change("pkg remove", "coreutils", ("tresk_netctl_pkg_remove",), ("netctl_pkg",), before=PACKAGE_CONTROLLED),
    Change("pkg clear", "--yes", ("tresk_netctl_pkg_remove",), ("netctl_pkg",), before=PACKAGE_CONTROLLED),

    Change("pblk add", "/usr/bin/cat", ("tresk_pblk_add_zdk",), ("pblkctl",)),
    Change("pblk remove", "/usr/bin/cat", ("tresk_pblk_remove_zdk",), ("pblkctl",), before=CAT_BLOCKED),
    Change("pblk clear", "--yes", ("tresk_pblk_remove_zdk",), ("pblkctl",), before=CAT_BLOCKED),

    Change("bwlist add", "white coreutils", ("tresk_bwlist_add_zdk",)),
    Change("bwlist remove", "white coreutils", ("tresk_bwlist_del_zdk",), before=PACKAGE_LISTED),
    Change("bwlist clear", "--yes", ("tresk_bwlist_del_zdk",), before=PACKAGE_LISTED),
    Change("bwlist distinct", "1", ("tresk_bwlist_set_root_distinguish_zdk",)),
    Change("bwlist clear-source", "--source-type 1 --yes", ("tresk_bwlist_clear_policy_zdk",), before=PACKAGE_LISTED,
           again=UNTOLD, reason="a switch that is 0 and one that is not there are told alike"),

    Change("device add", "--type 5 --perm 1", scene=("devctl_type",)),
    Change("device add", "--vendor 0a12 --product 0001 --perm 1", scene=("devctl_pvid",)),
    Change("device set", "--type 5 --perm 1", scene=("devctl_type",)),
    Change("device set", "--type 5 --perm 2", scene=("devctl_type",), before=TYPE_ADDED),
    Change("device update", "--vendor 0a12 --product 0001 --perm 2", scene=("devctl_pvid",), before=IDS_ADDED),
    Change("device remove", "--type 5", scene=("devctl_type",), before=TYPE_ADDED),
    Change("device remove", "--vendor 0a12 --product 0001", scene=("devctl_pvid",), before=IDS_ADDED),
    Change("device clear", "--yes", scene=("devctl_type", "devctl_pvid"), before=TYPE_ADDED + IDS_ADDED),
    Change("device batch", "--from-file {policies}", scene=("devctl_type", "devctl_pvid")),
    Change("device sm add", "1 1 1", scene=("devctl_type",), again=ANSWERED, reason=NO_SM),
    Change("device sm remove", "1 1 1", scene=("devctl_type",), before=("device sm add 1 1 1",), again=ANSWERED,
           reason=NO_SM),
    Change("device history-add", "--from-file {devices}", ("tresk_devctl_insert_record",), again=UNTOLD,
           reason="a device may be seen twice"),

    Change("wireless add", "home", scene=("devctl_netcard",)),
    Change("wireless remove", "home", scene=("devctl_netcard",), before=HOME_PERMITTED),
    Change("wireless clear", "--yes", scene=("devctl_netcard",), before=HOME_PERMITTED),

    Change("label protect", "readonly {file}", scene=("filectl",), again=UNTOLD, reason=NO_LABEL_ANSWER),
    Change("label protect", "readonly {file} {other}", scene=("filectl",), again=UNTOLD, reason=NO_LABEL_ANSWER),
    Change("label protect", "readonly --recursive {folder}", scene=("filectl",), again=UNTOLD,
           reason=NO_LABEL_ANSWER),
    Change("label protect", "none {file}", scene=("filectl",), before=("label protect readonly {file}",),
           again=UNTOLD, reason=NO_LABEL_ANSWER),
    Change("label identify", "secadm {file}", scene=("admctl_deny_all", "admctl_role_1"), again=ANSWERED,
           reason=NO_LABELS),
    Change("label identify", "free {file}", scene=("admctl_deny_all", "admctl_role_1"),
           before=("label identify secadm {file}",), again=UNTOLD, reason=NO_LABEL_ANSWER),
    Change("label exec", "trusted {file}", scene=("exectl_wlist",), again=ANSWERED, reason=NO_LABELS),
    Change("label exec", "unknown {file}", scene=("exectl_wlist",), before=("label exec trusted {file}",),
           again=ANSWERED, reason=NO_LABELS),
    Change("label xattr", "{file}", scene=("exectl_xattr",), again=UNTOLD, reason=NO_LABEL_ANSWER),
    Change("label clear", "--yes", scene=("filectl",), before=("label protect readonly {file}",), again=UNTOLD,
           reason=NO_LABELS),

    Change("hash calc", "{file}", ("tresk_xattr_calc_hash_by_path",), again=UNTOLD,
           reason="it is computed anew, since the file may have changed"),
    Change("hash calc", "{file} {other}", ("tresk_xattr_calc_multi_file_hash_value",), again=UNTOLD,
           reason="it is computed anew, since the files may have changed"),

    Change("kmod protect", "nosuchmodule", scene=("kmodctl",), again=UNTOLD, reason=NO_MODULES),
    Change("kmod unprotect", "nosuchmodule", scene=("kmodctl",), before=("kmod protect nosuchmodule",), again=UNTOLD,
           reason=NO_MODULES),

    Change("notify ppro", "/usr/bin/cat --type 9 --value 1", kernel=True, before=CAT_PROTECTED, again=UNTOLD,
           reason=NO_STATE),
    Change("notify netctl", "/usr/bin/cat --type 1 --value 1", kernel=True, before=CAT_CONTROLLED, again=UNTOLD,
           reason=NO_STATE),
    Change("notify pblk", "/usr/bin/cat --type 1", kernel=True, before=CAT_BLOCKED, again=UNTOLD, reason=NO_STATE),
    Change("notify hash", "{hash} --type 1 --value 1", kernel=True, again=UNTOLD, reason=NO_STATE),
    Change("notify kmod", "nosuchmodule --type 1", kernel=True, again=UNTOLD, reason=NO_STATE),
    Change("notify device", "--type 1 --data 00", kernel=True, again=UNTOLD, reason=NO_STATE),

    # Removals, updates and additions of every kind.
    Change("apply", "{document} --allow-removals",
           ("tresk_bwlist_add_zdk", "tresk_bwlist_del_zdk", "tresk_netctl_add", "tresk_netctl_ext_update",
            "tresk_netctl_pkg_add", "tresk_netctl_pkg_update", "tresk_pblk_add_zdk", "tresk_pblk_remove_zdk",
            "tresk_ppro_add_zdk", "tresk_ppro_update_zdk"),
           ("devctl_netcard", "devctl_type", "netctl", "netctl_pkg", "pblkctl", "taskctl"),
           before=CAT_PROTECTED + CAT_CONTROLLED + PACKAGE_CONTROLLED + CAT_BLOCKED + PACKAGE_LISTED + TYPE_ADDED +
           HOME_PERMITTED),
)

DOCUMENT = {"version": 1, "policy": {
    "ppro": [{"path": "/usr/bin/cat", "type": 2}, {"path": "/usr/bin/head", "type": 1}],
    "netctl": [{"path": "/usr/bin/cat", "type": 1}, {"path": "/usr/bin/head", "type": 1}],
    "pkg": [{"package": "coreutils", "type": 1}, {"package": "bash", "type": 1}],
    "pblk": [{"path": "/usr/bin/head"}],
    "bwlist": [{"list": "white", "package": "bash"}],
    "device": [{"type": 5, "perm": 2}, {"type": 6, "perm": 1}],
    "wireless": [{"name": "work"}],
}}

# --- the commands that ask ---

# With their exit status on the machine that FURNITURE makes. The last three are not in the schema.
QUESTIONS = {
    "status": ("", 0),
    "status list": ("", 0),
    "status show": ("framework ppro", 0),
    "status check": ("framework ppro", 0),
    "module list": ("", 0),
    "module show": ("3", 0),
    "module check-reboot": ("1 1", 0),
    "module security show": ("", 0),
    "module security check-reboot": ("1", 0),
    "ppro list": ("", 0),
    "ppro show": ("/usr/bin/cat", 0),
    "ppro check": ("/usr/bin/cat /usr/bin/head", 1),
    "ppro hash": ("/a", 0),
    "ppro action": ("", 0),
    "ppro blacklist": ("/a", 1),
    "ppro pid": ("{interpreter}", 0),
    "netctl list": ("", 0),
    "netctl show": ("/usr/bin/cat", 0),
    "netctl check": ("/usr/bin/cat", 0),
    "netctl hash": ("/a", 0),
    "netctl user-distinct": ("", 0),
    "netctl permission": ("", 0),
    "pkg list": ("", 0),
    "pkg show": ("coreutils", 0),
    "pkg check": ("coreutils", 0),
    "pkg installed": ("nosuchpackage", 1),
    "pblk list": ("", 0),
    "pblk show": ("/usr/bin/cat", 0),
    "pblk check": ("/usr/bin/cat", 0),
    "pblk hash": ("/a", 0),
    "bwlist list": ("", 0),
    "bwlist show": ("white coreutils", 0),
    "bwlist check": ("white coreutils", 0),
    "bwlist verdict": ("coreutils", 0),
    "bwlist distinct": ("", 0),
    "device list": ("", 0),
    "device show": ("--type 5", 0),
    "device check": ("--type 5", 0),
    "device history": ("", 0),
    "wireless list": ("", 0),
    "wireless show": ("home", 0),
    "wireless check": ("home away", 1),
    "label number": ("unknown", 0),
    "hash show": ("{file} {other}", 0),
    "kmod name": ("/etc/passwd", 12),
    "kmod owner": ("nosuchmodule", 0),
    "user check": ("root", 1),
    "export": ("", 0),
    "diff": ("{document} machine", 1),
    "verify": ("", 0),
    "explain": ("/usr/bin/cat coreutils home", 0),
    "doctor": ("", 0),
    "completion": ("bash", 0),
    "complete": ("-- ppro remove /usr", 0),
    "manual": ("", 0),
    "schema": ("", 0),
}
NOT_IN_SCHEMA = {"complete"}

FURNITURE = (*CAT_PROTECTED, *CAT_CONTROLLED, *PACKAGE_CONTROLLED, *CAT_BLOCKED, *PACKAGE_LISTED, *TYPE_ADDED,
             *HOME_PERMITTED, "device history-add --from-file {devices}", "label protect readonly {file}",
             "kmod protect nosuchmodule", "hash calc {file} {other}", "conf set name 1", "bwlist distinct 1")

# --- watching ---

Call = collections.namedtuple("Call", "destination path interface method")


class Monitor:
    """Every method call on the bus, in the bus's own order.

    All calls of a run come before those of a marker that is sent after its end: a marker that arrived tells that
    nothing is still on its way.
    """

    def __init__(self):
        self.process = subprocess.Popen(["dbus-monitor", "--system", "--profile", "type='method_call'"],
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.text = b""
        self.markers = 0
        self.wait_until_up()

    def wait_until_up(self):
        deadline = time.monotonic() + PATIENCE_SECONDS
        while not self.arrives(self.mark(), time.monotonic() + 0.2):
            if time.monotonic() > deadline:
                raise TimeoutError(f"the monitor sees nothing: {self.text.decode()}")

    def mark(self):
        """Sends a call that is not to be mistaken for another."""
        self.markers += 1
        path = f"/marker/{self.markers}"
        subprocess.run(["dbus-send", "--system", "--print-reply", f"--dest={SERVICE}", path, f"{BUS}.Peer.Ping"],
                       stdout=subprocess.DEVNULL, timeout=PATIENCE_SECONDS, check=True)
        return path

    def arrives(self, marker, deadline):
        line = f"\t{marker}\t{BUS}.Peer\tPing\n".encode()
        while line not in self.text:
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, deadline - time.monotonic()))
            if not ready:
                return False
            part = os.read(self.process.stdout.fileno(), 65536)
            if not part:
                raise EOFError(f"the monitor ended: {self.text.decode()}")
            self.text += part
        return True

    def take(self):
        """The calls since the last time, without the markers'."""
        marker = self.mark()
        if not self.arrives(marker, time.monotonic() + PATIENCE_SECONDS):
            raise TimeoutError(f"{marker} did not arrive: {self.text.decode()}")
        lines, self.text = self.text.decode().splitlines(), b""
        calls = [Call(*line.split("\t")[4:8]) for line in lines if line.startswith("mc\t")]
        return [call for call in calls if not call.path.startswith("/marker/")]

    def end(self):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()


def kind_of(call):
    return call.interface.removeprefix(SERVICE + "."), call.method


def changing(calls):
    return [kind_of(call) for call in calls if kind_of(call) not in ASKING_METHODS]


def content_of(folder, overlooked):
    return {str(path): (path.stat().st_mode, path.read_bytes()) for path in folder.rglob("*")
            if path.is_file() and not path.name.endswith(overlooked)}


def things():
    """All files that policies and states consist of. Logs tell what was asked, locks that something was read."""
    logs = ("service.log", "framework.log", ".err", ".lock", "scene-faults")
    return content_of(POLICY_FOLDER, (".lock",)) | content_of(STATE_FOLDER, logs)


def names_of_changed(before, after):
    """Files that differ, below the folder that they are in."""
    changed = {path for path in before.keys() | after.keys() if before.get(path) != after.get(path)}
    return {path.removeprefix(f"{STATE_FOLDER}/") for path in changed}


def changing_scene_functions():
    return set(re.findall(r"\btresk_scene_\w+", FRAMEWORK_HEADER.read_text())) - ASKING_SCENE_FUNCTIONS


# --- the machine ---

HASH = "96a6d84030f1670694e159f2826dca46e11020bd83672c01bb92c5d11f5402fa"
POLICIES = '{"type": 6, "perm": 1}\n{"vendor": "0a12", "product": "0001", "perm": 1}\n'
CONFIGURATION = {"ppro/ppro.conf": "action=1\n", "ppro/ppro_blacklist": "/usr/bin/forbidden\n"}

# No function of the scene library answers so, and treskctl knows no meaning of it.
FAULT = -77


class Machine:
    """The sandbox, and files of the test's own."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        now = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime())
        device = {"first": 1, "second": 2, "id_1": "0001", "id_2": "0002", "text_1": "a", "text_2": "b", "time": now,
                  "text_3": "c"}
        files = {"file": "text", "other": "words", "policies": POLICIES, "devices": json.dumps(device) + "\n",
                 "document": json.dumps(DOCUMENT)}
        for name, content in files.items():
            (self.folder / name).write_text(content)
        (self.folder / "below").mkdir()
        (self.folder / "below/file").write_text("text")
        self.places = {name: str(self.folder / name) for name in files}
        self.places.update(hash=HASH, folder=str(self.folder / "below"), interpreter=os.path.realpath(sys.executable))

    def run(self, line, *options):
        words = [word.format(**self.places) for word in line.split()]
        return subprocess.run([PROGRAM, *options, *words], input=b"credential\n", capture_output=True,
                              timeout=PATIENCE_SECONDS, check=False)

    def empty(self):
        """As a new sandbox: the service and the kernel peer read all of it afresh at each call."""
        for folder in (POLICY_FOLDER, STATE_FOLDER):
            for path in folder.iterdir():
                if path.is_dir():
                    shutil.rmtree(path)
                elif path.suffix != ".err":
                    path.unlink()

    def unused(self):
        """As the packages leave it: folders without files."""
        self.empty()
        for folder in ("bwlist", "db", "netctl", "pblk", "ppro"):
            (POLICY_FOLDER / folder).mkdir()

    def make_ready(self, lines):
        self.empty()
        for line in lines:
            done = self.run(line)
            if done.returncode != 0:
                raise AssertionError(f"{line}: {done}")

    @staticmethod
    def forbid_scene_changes():
        text = "".join(f"{function} {FAULT}\n" for function in sorted(changing_scene_functions()))
        (STATE_FOLDER / "scene-faults").write_text(text)

    @staticmethod
    def permit_scene_changes():
        (STATE_FOLDER / "scene-faults").unlink(missing_ok=True)


class Watching(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.machine = Machine()
        cls.monitor = Monitor()
        cls.addClassCleanup(shutil.rmtree, cls.machine.folder)
        cls.addClassCleanup(cls.machine.empty)
        cls.addClassCleanup(cls.monitor.end)

    def watched(self, line, *options):
        """The run, its changing calls on the bus, and the files that it changed."""
        self.monitor.take()
        before = things()
        done = self.machine.run(line, *options)
        return done, changing(self.monitor.take()), names_of_changed(before, things())

    def require_nothing(self, line, *options, scene_may_be_called=False):
        """The run, which is to have changed nothing and not to have tried it."""
        if not scene_may_be_called:
            self.machine.forbid_scene_changes()
        done, calls, files = self.watched(line, *options)
        self.machine.permit_scene_changes()
        self.assertEqual(calls, [], f"{line}: changing calls")
        self.assertEqual(files, set(), f"{line}: changed files")
        self.assertNotIn(str(FAULT).encode(), done.stdout + done.stderr, line)
        return done

    def of_each(self, changes, check):
        """Checks each change on a machine that is ready for it."""
        changes = list(changes)
        self.assertTrue(changes)
        for change in changes:
            with self.subTest(change.line()):
                self.machine.make_ready(change.before)
                check(change)


class Commands(unittest.TestCase):
    """A command that these tables forgot would pass for one that behaves."""

    @classmethod
    def setUpClass(cls):
        schema = subprocess.run([PROGRAM, "schema"], capture_output=True, check=True).stdout
        cls.definitions = json.loads(schema)["$defs"]
        cls.commands = set(cls.definitions["output"]["properties"]["command"]["enum"]) - {None}

    def may_show_a_call(self, command):
        """Whether the command's rows have a call in a dry run, which is what makes a command a change."""
        return '"call": ' in json.dumps(self.definitions[command.replace(" ", "-")])

    def test_are_all_in_the_tables(self):
        self.assertEqual(self.commands, {change.command for change in CHANGES} | QUESTIONS.keys() - NOT_IN_SCHEMA)

    def test_that_show_calls_are_changes(self):
        showing = {command for command in self.commands if self.may_show_a_call(command)}
        self.assertGreater(len(showing), 40)
        self.assertEqual(showing - {change.command for change in CHANGES}, set())

    def test_that_call_again_have_a_reason(self):
        without = [change.line() for change in CHANGES if (change.again == SETTLED) == bool(change.reason)]
        self.assertEqual(without, [])

    def test_scene_functions_that_ask_are_there(self):
        named = set(re.findall(r"\btresk_scene_\w+", FRAMEWORK_HEADER.read_text()))
        self.assertEqual(ASKING_SCENE_FUNCTIONS - named, set())
        self.assertGreater(len(changing_scene_functions()), 20)


class FirstRun(Watching):
    """What the other tests would not see is not proved by them."""

    def check_that_it_is_seen(self, change):
        done, calls, files = self.watched(change.line())
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual({method for _, method in calls}, set(change.methods))
        scene = {f"scene/{policy}" for policy in change.scene}
        self.assertEqual({name for name in files if name.startswith("scene/")}, scene)
        self.assertEqual("kernel.log" in files, change.kernel)
        self.assertTrue(calls or scene or change.kernel)

    def test_is_seen(self):
        self.of_each(CHANGES, self.check_that_it_is_seen)

    def check_that_it_fails(self, change):
        self.machine.forbid_scene_changes()
        done, _, files = self.watched(change.line())
        self.machine.permit_scene_changes()
        self.assertNotEqual(done.returncode, 0, done)
        self.assertEqual({name for name in files if name.startswith("scene/")}, set())

    def test_fails_while_the_scene_may_not_be_changed(self):
        self.of_each((change for change in CHANGES if change.scene), self.check_that_it_fails)


class DryRun(Watching):
    def check_calls(self, change):
        done = self.require_nothing(change.line(), "--json", "-n")
        self.assertEqual(done.returncode, 0, done)
        tables = [rows for rows in json.loads(done.stdout).values() if isinstance(rows, list)]
        calls = [row.get("call") for rows in tables for row in rows]
        self.assertTrue(calls)
        self.assertTrue(all(calls), calls)

    def test_shows_calls_and_makes_none(self):
        self.of_each(CHANGES, self.check_calls)

    def check_on_unused_machine(self, change):
        self.machine.unused()
        self.require_nothing(change.line(), "-n")

    def test_makes_none_on_a_machine_that_was_never_used(self):
        self.of_each(CHANGES, self.check_on_unused_machine)


class SecondRun(Watching):
    told = [change for change in CHANGES if change.again != UNTOLD]
    untold = [change for change in CHANGES if change.again == UNTOLD]

    def second(self, change, *options):
        first = self.machine.run(change.line())
        self.assertEqual(first.returncode, 0, first)
        return self.require_nothing(change.line(), *options, scene_may_be_called=change.again == ANSWERED)

    def check_usual(self, change):
        done = self.second(change)
        self.assertEqual(done.returncode, 0, done)
        self.assertEqual(done.stdout.decode().splitlines()[-1:], ["changed: no"])

    def test_changes_nothing(self):
        self.of_each(self.told, self.check_usual)

    def check_strict(self, change):
        done = self.second(change, "--strict")
        self.assertEqual(done.returncode, 4, done)

    def test_fails_if_it_is_to_be_strict(self):
        self.of_each(self.told, self.check_strict)

    def check_untold(self, change):
        first = self.machine.run(change.line())
        second = self.machine.run(change.line())
        self.assertEqual((first.returncode, second.returncode), (0, 0), second)
        self.assertNotRegex(second.stdout.decode(), "changed: (yes|no)")

    def test_claims_nothing_where_nobody_can_tell(self):
        self.of_each(self.untold, self.check_untold)

    def test_changes_the_present_though_the_next_boot_is_as_wanted(self):
        """Modules have two states, and a change is about both."""
        self.machine.make_ready(["module set-reboot 2 2 2 2 2 1"])
        done, calls, _ = self.watched("module set 2 2 2 2 2")
        self.assertEqual((done.returncode, calls), (0, [("module", "setModuleStatus")]), done)


class Question(Watching):
    def furnish(self):
        self.machine.make_ready(FURNITURE)
        for name, content in CONFIGURATION.items():
            (POLICY_FOLDER / name).write_text(content)
        self.monitor.take()

    def test_changes_nothing(self):
        self.furnish()
        for command, (words, status) in QUESTIONS.items():
            with self.subTest(command):
                done = self.require_nothing(f"{command} {words}")
                self.assertEqual(done.returncode, status, done)

    def test_changes_nothing_on_a_machine_that_was_never_used(self):
        self.machine.unused()
        for command, (words, _) in QUESTIONS.items():
            with self.subTest(command):
                self.require_nothing(f"{command} {words}")

    def test_changes_nothing_when_a_shell_completes_any_command(self):
        self.furnish()
        for command in sorted({change.command for change in CHANGES} | QUESTIONS.keys()):
            with self.subTest(command):
                self.machine.forbid_scene_changes()
                before = things()
                words = ["complete", "--", *command.split(), ""]
                done = subprocess.run([PROGRAM, *words], capture_output=True, timeout=PATIENCE_SECONDS, check=False)
                self.machine.permit_scene_changes()
                self.assertEqual(done.returncode, 0, done)
                self.assertEqual((changing(self.monitor.take()), names_of_changed(before, things())), ([], set()))

    def test_reaches_the_service(self):
        self.machine.empty()
        self.monitor.take()
        self.machine.run("netctl permission")
        self.assertIn(("netflow", "tresk_netflow_perm_check"), [kind_of(call) for call in self.monitor.take()])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
