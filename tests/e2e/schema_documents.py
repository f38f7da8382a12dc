# SPDX-License-Identifier: LGPL-2.1-or-later
"""Validates the documents of treskctl against its published schema: of every command, of its failures, and of 1,000
policies with hostile names. Runs in one sandbox.

    schema_documents.py PROGRAM SCHEMA MODULE

MODULE: a kernel module's file
"""
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from xml.sax.saxutils import escape, quoteattr

from jsonschema import Draft202012Validator

PROGRAM, SCHEMA_FILE, MODULE = sys.argv[1:4]
POLICIES = 1000
SEED = 20240229
PATIENCE_SECONDS = 60

# What changes the machine stands in front of what asks about it.
COMMANDS = """
status
status list
status show framework ppro
status check framework ppro
status check tpm
status set pblk off
status set pblk on
status set pblk on --strict
status set bogus on
module list
module show 3
module show 99
module set 1 1 1 1 1
module set-reboot 1 1 1 1 1 0
module selinux targeted
module check-reboot 1 1
module authorise 1 1
module security show
module security set 1 1
module security set-reboot 1 1 1
module security check-reboot 1
conf add
conf set name 1
conf remove
ppro add /usr/bin/cat --type 1
ppro add /usr/bin/cat --type 1
ppro add /usr/bin/cat --type 2
ppro add /usr/bin/cat
ppro add /usr/bin/head /no/such/file --type 1
ppro set /usr/bin/cat --type 2 --dry-run
ppro set /usr/bin/cat --type 2
ppro update /usr/bin/cat --type 3
ppro update /no/such/file --type 3
ppro list
ppro list -o path,type
ppro show /usr/bin/cat
ppro show /usr/bin/less
ppro check /usr/bin/cat /usr/bin/less
ppro remove /usr/bin/cat
ppro add /usr/bin/cat /usr/bin/head --type 1
ppro clear
ppro clear --yes
ppro hash /a
ppro action
ppro blacklist /a
ppro pid {interpreter}
ppro pid /no/such/program
netctl user-distinct
netctl user-distinct on
netctl user-distinct on --dry-run
netctl add /usr/bin/cat --type 1
netctl set /usr/bin/cat --type 2
netctl update /usr/bin/cat --type 3 --name Cat
netctl list
netctl show /usr/bin/cat
netctl check /usr/bin/cat
netctl hash /a
netctl permission
netctl remove /usr/bin/cat
netctl add /usr/bin/cat --type 1
netctl clear --yes
pkg add coreutils --type 1
pkg set coreutils --type 2
pkg update coreutils --type 3
pkg list
pkg show coreutils
pkg check coreutils
pkg installed coreutils ;
pkg remove coreutils
pkg add coreutils --type 1
pkg clear --yes
pblk add /usr/bin/cat /usr/bin/head
pblk list
pblk show /usr/bin/cat
pblk check /usr/bin/cat
pblk hash /a
pblk remove /usr/bin/cat --dry-run
pblk remove /usr/bin/cat
pblk clear --yes
bwlist add white coreutils
bwlist list
bwlist show white coreutils
bwlist check white coreutils
bwlist verdict coreutils
bwlist distinct
bwlist distinct 1
bwlist remove white coreutils
bwlist add black coreutils
bwlist clear --yes
bwlist clear-source --source-type 1
device add --type 5 --perm 1
device set --type 5 --perm 2
device update --type 5 --perm 1
device list
device show --type 5
device check --type 5
device batch --from-file {policies}
device history
device history-add --from-file {devices}
device history
device sm add 1 1 1
device sm remove 1 1 1
device remove --type 5
device clear --yes
wireless add home
wireless list
wireless show home
wireless check home away
wireless remove home
wireless add home
wireless clear --yes
label protect readonly {file}
label protect readonly /no/such/file
label identify secadm {file}
label exec unknown {file}
label xattr {file}
label number unknown
label clear --yes
hash calc {file}
hash calc {file} --dry-run
hash show {file} /no/such/file
kmod protect nosuchmodule
kmod unprotect nosuchmodule
kmod name {module}
kmod name /etc/passwd
kmod owner nosuchmodule
user check root
notify ppro /a --type 1 --value 1
notify netctl /a --type 1 --value 1
notify pblk /a --type 1
notify pblk /a --type 1 --dry-run
notify hash {hash} --type 1 --value 1
notify kmod nosuchmodule --type 1
notify device --type 1 --data 00
export
diff {document} machine
diff machine {broken}
apply {document} --dry-run
apply {document}
apply {document}
apply {broken}
verify
verify --root {wrong}
explain /usr/bin/cat coreutils
doctor
completion bash
completion csh
manual
schema
--help
--version
ppro --help
bogus
ppro bogus
ppro list --bogus
ppro list -o bogus
ppro list --root /no/such/root
"""

POLICY_FOLDER = pathlib.Path("/etc/tresk")

# Files that no command writes.
MACHINE = {
    "ppro/ppro.conf": "action=1\n",
    "ppro/ppro_blacklist": "/usr/bin/forbidden\n",
}

HASH = "96a6d84030f1670694e159f2826dca46e11020bd83672c01bb92c5d11f5402fa"

# Any character that XML can hold; those that terminals, shells and parsers mistake for something else come often.
HOSTILE = ['"', "'", "\\", "\n", "\t", "\r", " ", "$", "`", ";", "&", "<", ">", "*", "?", "[", "]", "{", "}", "%", "|",
           "\u0085", "\u00a0", "\u200e", "\u200f", "\u202a", "\u202e", "\u2028", "\u2066", "\u2069", "\u061c",
           "\ufeff", "\ufffd", "\u0301", "\U0001f512", "\U0010fffd", "\u007f", "\u0080", "\u4e2d", "\u00e9"]


def program(words, **options):
    done = subprocess.run([PROGRAM, *words], input=b"credential\n", capture_output=True, timeout=PATIENCE_SECONDS,
                          check=False, **options)
    return done.returncode, done.stdout, done.stderr


def leaves(node):
    """All arrays of rows of a document, by name."""
    return {name: rows for name, rows in node.items() if isinstance(rows, list)}


class Schema:
    def __init__(self):
        self.document = json.loads(pathlib.Path(SCHEMA_FILE).read_bytes())
        Draft202012Validator.check_schema(self.document)
        self.validator = Draft202012Validator(self.document)

    def complaints(self, document):
        return [f"{list(error.path)}: {error.message}" for error in self.validator.iter_errors(document)]

    def commands(self):
        named = self.document["$defs"]["output"]["properties"]["command"]["enum"]
        return {command for command in named if command is not None}

    def columns(self, command, table):
        tables = self.document["$defs"][command.replace(" ", "-")]["properties"]
        return {name for name in tables[table]["items"]["properties"] if not name.endswith("_hex")}


SCHEMA = Schema()


class Documents(unittest.TestCase):
    def validated(self, text, what):
        document = json.loads(text)
        self.assertEqual(SCHEMA.complaints(document), [], f"{what}: {text.decode()}")
        return document

    def written_by(self, words):
        """The documents on standard output and standard error, validated; None for no document."""
        status, output, error = program([*words, "--json"])
        document = self.validated(output, words) if output else None
        failure = self.validated(error, words) if error else None
        if status > 1:
            self.assertTrue(failure["errors"], words)
        self.assertIn(status, range(13), words)
        return document, failure


class EveryCommand(Documents):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        files = {"file": "text", "policies": '{"type": 6, "perm": 1}\n',
                 "devices": '{"first": 1, "second": 2, "id_1": "0001", "id_2": "0002", "text_1": "a", "text_2": "b", '
                            '"time": "' + time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime()) + '", "text_3": "c"}\n',
                 "document": '{"version": 1, "policy": {"pblk": [{"path": "/usr/bin/cat"}]}}',
                 "broken": '{"version": 1, "policy": {"pblk": [{"paht": "/a"}]}}'}
        for name, content in files.items():
            (self.folder / name).write_text(content)
        self.places = {name: str(self.folder / name) for name in files}
        self.places.update(hash=HASH, module=MODULE, interpreter=os.path.realpath(sys.executable))
        self.places["wrong"] = str(self.folder)
        (self.folder / "etc/tresk/pblk").mkdir(parents=True)
        (self.folder / "etc/tresk/pblk/pblk.xml").write_text("<pblk_root><pblk_node paht='/a'/></pblk_root>")
        for name, content in MACHINE.items():
            (POLICY_FOLDER / name).parent.mkdir(parents=True, exist_ok=True)
            (POLICY_FOLDER / name).write_text(content)

    def test_writes_documents_of_the_schema(self):
        seen = set()
        for line in COMMANDS.strip().splitlines():
            with self.subTest(line):
                self.check_line(line, seen)
        self.assertEqual(SCHEMA.commands() - seen, set(), "commands without a row in any document")

    def check_line(self, line, seen):
        words = [word.format(**self.places) for word in line.split()]
        document, failure = self.written_by(words)
        self.assertTrue(document or failure)
        if "policy" in document:
            seen.add("export")
        elif document["command"]:
            seen.update({document["command"]} if any(leaves(document).values()) else ())
            self.check_columns(document, words)

    def check_columns(self, document, words):
        """The schema has no more columns than the document, but those that not every row has."""
        optional = {"call", "result"}
        for table, rows in leaves(document).items():
            for row in rows if "-o" not in words else []:
                names = {name for name in row if not name.endswith("_hex")}
                missing = SCHEMA.columns(document["command"], table) - names - optional
                self.assertEqual(missing, set(), words)


class Bytes(Documents):
    def test_that_are_no_text_survive_in_hexadecimal(self):
        document, _ = self.written_by(["pblk", "check", b"/a\xff\xc3\xa9"])
        (row,) = document["checks"]
        self.assertEqual(bytes.fromhex(row["name_hex"]), b"/a\xff\xc3\xa9")
        _, failure = self.written_by(["pblk", "show", b"/b\xff"])
        self.assertEqual(bytes.fromhex(failure["errors"][0]["subject_hex"]), b"/b\xff")


class Refusals(unittest.TestCase):
    """A schema that accepts everything would prove nothing."""

    def refused(self, **changes):
        document = {"version": 1, "command": "pblk list",
                    "entries": [{"source_type": 1, "source": "", "hash": "a", "path": "/a"}]}
        self.assertEqual(SCHEMA.complaints(document), [])
        document.update(changes)
        self.assertNotEqual(SCHEMA.complaints(document), [], changes)

    def test_of_wrong_documents(self):
        self.refused(version=2)
        self.refused(command="pblk lits")
        self.refused(command="ppro list")
        self.refused(command=1)
        self.refused(changed=True)
        self.refused(more=[])
        self.refused(entries={})
        self.refused(entries=[{"source_type": "1"}])
        self.refused(entries=[{"source_type": 1.5}])
        self.refused(entries=[{"path": None}])
        self.refused(entries=[{"path_hex": "0"}])
        self.refused(entries=[{"bogus": "a"}])
        self.refused(errors=[])

    def test_of_wrong_words_on_changes(self):
        change = {"version": 1, "command": "pblk add", "results": []}
        for changed in (True, False, None):
            self.assertEqual(SCHEMA.complaints(change | {"changed": changed}), [], changed)
        for changed in ("yes", 0, []):
            self.assertNotEqual(SCHEMA.complaints(change | {"changed": changed}), [], changed)

    def test_of_wrong_failures(self):
        error = {"cause": "usage", "subject": None, "code": None, "name": None, "message": "m", "advice": "",
                 "exit_status": 2}
        failure = {"version": 1, "command": None, "errors": [error], "library": []}
        self.assertEqual(SCHEMA.complaints(failure), [])
        for changes in ({"cause": "bogus"}, {"code": "1"}, {"name": "BOGUS"}, {"exit_status": 0}, {"message": None}):
            self.assertNotEqual(SCHEMA.complaints(failure | {"errors": [error | changes]}), [], changes)
        self.assertNotEqual(SCHEMA.complaints({key: failure[key] for key in ("version", "command", "errors")}), [])

    def test_of_wrong_policies(self):
        policy = {"version": 1, "policy": {"ppro": [{"path": "/a", "type": 1}]}}
        self.assertEqual(SCHEMA.complaints(policy), [])
        self.assertEqual(SCHEMA.complaints({"version": 1, "policy": {"ppro": [{"path_hex": "2fff", "type": 1}]}}), [])
        for entry in ({"path": "/a"}, {"type": 1}, {"path": "/a", "type": "1"}, {"path": "/a", "type": 1, "hash": "h"}):
            self.assertNotEqual(SCHEMA.complaints({"version": 1, "policy": {"ppro": [entry]}}), [], entry)


class Generator:
    """Policy files whose every name is an ambush."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def name(self, longest=40):
        length = self.random.choice([1, 3, longest, 1200]) if longest > 100 else self.random.randrange(1, longest)
        return "".join(self.random.choice(HOSTILE) if self.random.random() < 0.6 else chr(self.random.randrange(97, 123))
                       for _ in range(length))

    def path(self):
        return "/" + self.name(1000)

    def number(self):
        return self.random.choice([0, 1, 2, -1, 2**31 - 1, -2**31, self.random.randrange(100)])

    @staticmethod
    def attribute(text):
        return quoteattr(text, {"\n": "&#10;", "\t": "&#9;", "\r": "&#13;", "\u0085": "&#x85;", "\u2028": "&#x2028;"})

    @staticmethod
    def element(name, text):
        return f"<{name}>{escape(text, {chr(13): '&#13;'})}</{name}>"

    def entries(self, make):
        return [make() for _ in range(self.random.randrange(6))]

    def source(self):
        return f" data_source_type=\"{self.number()}\" data_source_name={self.attribute(self.name())}"

    # Each: the policy's file, its text, and the names in it.

    def ppro(self):
        names = self.entries(self.path)
        nodes = [f"<ppro_node path={self.attribute(name)} data_source_name={self.attribute(self.name())}>"
                 f"<hash>h</hash><type>{self.number()}</type></ppro_node>" for name in names]
        return "ppro/ppro.xml", "ppro_root", nodes, names

    def pblk(self):
        names = self.entries(self.path)
        nodes = [f"<pblk_node path={self.attribute(name)}{self.source()}><hash>h</hash></pblk_node>" for name in names]
        return "pblk/pblk.xml", "pblk_root", nodes, names

    def bwlist(self):
        names = self.entries(self.name)
        nodes = [f"<tresk_bwlist bw_value={self.attribute(self.name())}>"
                 f"<tresk_node rpm_name={self.attribute(name)}{self.source()}/></tresk_bwlist>" for name in names]
        return "bwlist/bwlist.xml", "tresk_root", nodes, names

    def users(self, attribute, make, children):
        names = self.entries(make)
        nodes = []
        for name in names:
            texts = "".join(self.element(child, self.name()) for child in children)
            nodes.append(f"<tresk_user userID=\"{self.random.randrange(2**32)}\"><tresk_node {attribute}="
                         f"{self.attribute(name)}><hash>h</hash><type>{self.number()}</type>{texts}</tresk_node>"
                         "</tresk_user>")
        return nodes, names

    def netctl(self):
        nodes, names = self.users("path", self.path, ("name", "ico", "desktop"))
        return "netctl/netctl.xml", "tresk_root user_dist=\"1\"", nodes, names

    def pkg(self):
        nodes, names = self.users("pkg", self.name, ("ico", "desktop", "path"))
        return "netctl/netctl_pkg.xml", "tresk_root user_dist=\"1\"", nodes, names

    def policy(self, kind):
        file, root, nodes, names = getattr(self, kind)()
        text = f"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<{root}>{''.join(nodes)}</{root.split()[0]}>\n"
        return file, text, names


KINDS = {"ppro": "path", "netctl": "path", "pkg": "package", "pblk": "path", "bwlist": "package"}


class RandomPolicies(Documents):
    def listed(self, number):
        """Lists one random policy; the documents are validated elsewhere, in one thread."""
        kind = list(KINDS)[number % len(KINDS)]
        file, text, names = Generator(SEED + number).policy(kind)
        with tempfile.TemporaryDirectory() as root:
            place = pathlib.Path(root) / "etc/tresk" / file
            place.parent.mkdir(parents=True)
            place.write_text(text, encoding="utf-8", newline="")
            return kind, names, program([kind, "list", "--json=short", "--root", root])

    def test_are_listed_in_documents_of_the_schema_with_every_name_as_it_is(self):
        begin = time.monotonic()
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            answers = list(pool.map(self.listed, range(POLICIES)))
        called = time.monotonic()
        entries = 0
        for number, (kind, names, (status, output, error)) in enumerate(answers):
            self.assertEqual((status, error), (0, b""), f"policy {number}")
            document = self.validated(output, f"policy {number}")
            self.assertEqual([row[KINDS[kind]] for row in document["entries"]], names, f"policy {number}")
            entries += len(names)
        print(f"{POLICIES} policies with {entries} entries: {called - begin:.1f} s to write and list, "
              f"{time.monotonic() - called:.1f} s to validate", file=sys.stderr)
        self.assertGreater(entries, POLICIES)


class Published(unittest.TestCase):
    def test_schema_is_the_programs(self):
        status, output, _ = program(["schema"])
        self.assertEqual(status, 0)
        self.assertEqual(json.loads(output), SCHEMA.document,
                         f"renew it: treskctl schema > {SCHEMA_FILE}")

    def test_schema_declares_the_tables_of_every_command(self):
        undeclared = [command for command in SCHEMA.commands() - {"export"}
                      if "$ref" in SCHEMA.document["$defs"][command.replace(" ", "-")]]
        self.assertEqual(undeclared, [], "answer_forms.cpp has nothing of them")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
