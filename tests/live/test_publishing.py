"""The publisher's verbs: what a folder of descriptions becomes, and what is told of it."""

import datetime
import json
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from support import LiveTest

SOURCE = Path(__file__).resolve().parents[2]
SVCHECK = os.environ["SVCHECK"]
DATA = str(SOURCE / "data")

ELEMENT = """<VALUE.OBJECT><INSTANCE CLASSNAME="QRXPSG_SystemUpdateElement">
<PROPERTY NAME="name" TYPE="string"><VALUE>{name}</VALUE></PROPERTY>
<PROPERTY.ARRAY NAME="applicableMachineTypes" TYPE="string"><VALUE.ARRAY>{types}</VALUE.ARRAY>
</PROPERTY.ARRAY>
<PROPERTY.ARRAY NAME="applicableOperatingSystems" TYPE="string"><VALUE.ARRAY>{systems}
</VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE></VALUE.OBJECT>"""


def description(*elements, version="4.02"):
    def values(texts):
        return "".join(f"<VALUE>{text}</VALUE>" for text in texts)
    body = "".join(ELEMENT.format(name=name, types=values(types), systems=values(systems))
                   for name, types, systems in elements)
    return (f'<?xml version="1.0"?><?sv-catalogue version="{version}"?>\n<CIM CIMVERSION="2.0" '
            f'DTDVERSION="2.0"><DECLARATION><DECLGROUP>{body}</DECLGROUP></DECLARATION></CIM>')


class Repository(LiveTest):
    def setUp(self):
        super().setUp()
        self.root = Path(tempfile.mkdtemp(prefix="publish-"))
        self.root.chmod(0o755)
        self.addCleanup(shutil.rmtree, self.root)
        (self.root / "sv" / "files").mkdir(parents=True)
        self.put("4638.xml", ("bios", ["-[4638]-"], ["RHEL5_64", "Linux"]))

    def put(self, name, *elements, **options):
        self.repository.contents[name] = description(*elements, **options).encode()
        (self.root / "sv" / "files" / name).write_bytes(self.repository.contents[name])

    def svcheck(self, *arguments, status=0, **options):
        process = subprocess.run([SVCHECK, "repository", *arguments], capture_output=True,
                                 text=True, cwd=self.root, **options)
        self.assertEqual(process.returncode, status, process.stderr)
        return process

    def build(self, *more, **options):
        return self.svcheck("build", "sv", "--data-dir", DATA, *more, **options)

    def manifest(self):
        return json.loads((self.root / "sv" / "sv-repository.json").read_text())

    def entries(self):
        return [(entry["name"], entry["os"], entry["arch"], entry["machineTypes"])
                for entry in self.manifest()["files"]]

    def make_keys(self):
        self.svcheck("keygen", "--no-password", "--repository-key", "k.pub", "--secret-key", "k.sec")


class Publishing(Repository):
    def test_every_pair_of_an_elements_systems_gets_an_entry(self):
        self.put("b.xml", ("x", ["-[1]-", "types -[2]- and -[3]-"],
                           ["RHEL5", "RHEL5_64", "Linux", "VMWARE4", "VMware", "Windows 2008 x64"]),
                 ("y", ["-[4]-"], ["rhel5", "Linux"]))
        self.assertEqual(self.build().stderr, "")
        self.assertEqual(self.entries(), [
            ("4638.xml", 203, 2, ["4638"]), ("b.xml", 109, 1, ["1", "2", "3"]),
            ("b.xml", 203, 1, ["1", "2", "3", "4"]), ("b.xml", 203, 2, ["1", "2", "3"]),
            ("b.xml", 304, 2, ["1", "2", "3"])])

    def test_warns_of_what_live_queries_pass_over(self):
        self.put("a.xml", ("no family", ["-[1]-"], ["RHEL5", "VMWARE3"]))
        self.put("darwin.xml", ("pkg", ["-[1]-"], ["SLES10", "Linux"]))
        self.put("linux.xml", ("pkg", ["-[1]-"], ["Windows 2003"]))
        self.put("none.xml", ("lost", ["4620"], ["Plan 9"]))
        warnings = self.build().stderr
        for words in ('a.xml: element "no family" is for Linux systems but does not name "Linux"',
                      'does not name "VMware" itself', 'darwin.xml: the name holds "win"',
                      'linux.xml: the name holds "linux"', 'names no machine type',
                      'names no operating system'):
            self.assertIn(words, warnings)
        self.assertEqual(len(warnings.splitlines()), 6)

    def test_a_description_that_no_query_could_load_stops_it(self):
        self.build()
        before = self.manifest()
        self.put("old.xml", ("x", ["-[1]-"], ["RHEL5", "Linux"]), version="4.01")
        self.assertIn("old.xml", self.build(status=1).stderr)
        (self.root / "sv" / "files" / "old.xml").write_text("<CIM>")
        self.assertIn("old.xml", self.build(status=1).stderr)
        self.assertEqual(self.manifest(), before)

    def test_refreshing_counts_on_and_keeps_what_was_decided_by_hand(self):
        self.build("--expires", "2090-01-01T00:00:00Z")
        manifest = self.manifest()
        self.assertEqual((manifest["serial"], manifest["expires"]), (1, "2090-01-01T00:00:00Z"))
        manifest["files"][0]["latest"] = False
        (self.root / "sv" / "pkg.bin").write_bytes(b"payload")
        payload = {**manifest["files"][0], "name": "pkg.bin", "path": "pkg.bin", "payload": True}
        manifest["files"].append(payload)
        (self.root / "sv" / "sv-repository.json").write_text(json.dumps(manifest))
        self.build()
        manifest = self.manifest()
        self.assertEqual(manifest["serial"], 2)
        self.assertEqual([(entry["name"], entry["latest"], entry["payload"], entry["size"] > 0)
                          for entry in manifest["files"]],
                         [("4638.xml", False, False, True), ("pkg.bin", False, True, True)])
        self.assertEqual(manifest["files"][1]["size"], 7)
        self.build("--serial", "2", status=1)
        self.build("--serial", "9")
        self.assertEqual(self.manifest()["serial"], 9)

    def test_each_verb_says_what_it_did(self):
        key = self.svcheck("keygen", "--no-password", "--repository-key", "k.pub", "--secret-key",
                           "k.sec")
        number = (self.root / "k.pub").read_text().splitlines()[0].rpartition(" ")[2]
        self.assertRegex(number, "^[0-9A-F]{16}$")
        self.put("4620.xml", ("y", ["-[4620]-", "-[4638]-"], ["RHEL5", "Linux"]))
        said = "serial 7, good until 2090-01-02T03:04:05Z, 2 files for 2 machine types"
        manifest = "sv/sv-repository.json"
        expires = ("--expires", "2090-01-02T03:04:05Z")
        build = self.build("--serial", "7", *expires)
        unsigned = self.svcheck("verify", "sv", "--allow-unsigned")
        sign = self.svcheck("sign", "sv", "--secret-key", "k.sec")
        signature = (self.root / f"{manifest}.minisig").read_text().splitlines()
        verify = self.svcheck("verify", "sv", "--repository-key", "k.pub")
        self.assertEqual(
            [f"k.pub: key {number}, to be given to those who download; k.sec stays here\n",
             f"{manifest}: {said}; sign it next\n", f"sv: {said}, all whole, not signed\n",
             f"{manifest}.minisig: signed with key {number}\n",
             f"sv: {said}, all whole, signed with key {number}\n"],
            [each.stdout for each in (key, build, unsigned, sign, verify)])
        self.assertEqual([""] * 5, [each.stderr for each in (key, build, unsigned, sign, verify)])
        self.assertEqual(["untrusted comment: signature from svcheck",
                          "trusted comment: serial:7\texpires:2090-01-02T03:04:05Z\t"
                          "file:sv-repository.json\thashed"], signature[::2])
        self.svcheck("sign", "sv", "--secret-key", "k.sec", "--comment", "mine")
        signature = (self.root / f"{manifest}.minisig").read_text().splitlines()
        self.assertEqual("trusted comment: mine", signature[2])

    def test_a_manifest_is_good_for_so_many_days(self):
        for options, days in (((), 180), (("--days", "2"), 2)):
            before = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)
            self.build(*options)
            after = datetime.datetime.now(datetime.timezone.utc)
            expires = datetime.datetime.fromisoformat(self.manifest()["expires"][:-1] + "+00:00")
            self.assertTrue(before <= expires - datetime.timedelta(days=days) <= after, expires)

    def test_what_cannot_be_done_is_told_with_its_cause(self):
        self.make_keys()
        self.build("--expires", "2090-01-01T00:00:00Z")
        signs = ("sign", "sv", "--secret-key")
        for arguments, status, said in (
                (("build", "sv", "--data-dir", DATA, "--expires", "soon"), 64, "--expires soon "),
                (("build", "sv", "--data-dir", DATA, "--serial", "1"), 1,
                 "serial 1 is not above the last one, 1; those who took that would refuse the new "
                 "manifest\n"),
                ((*signs, "k.sec", "--comment", "a\nb"), 64,
                 "a trusted comment is one line; give --comment without a line end\n"),
                ((*signs, "k.sec", "--comment", "a\rb"), 64,
                 "a trusted comment is one line; give --comment without a line end\n"),
                ((*signs, "k.pub"), 1, "k.pub: this is no secret key of minisign\n"),
                ((*signs, "none"), 1, "none cannot be read\n")):
            with self.subTest(arguments):
                told = self.svcheck(*arguments, status=status).stderr
                self.assertTrue(told.startswith("svcheck: " + said), told)
                self.assertEqual(1, len(told.splitlines()), told)
                self.assertFalse((self.root / "sv/sv-repository.json.minisig").exists())
        self.build("--expires", "2020-01-01T00:00:00Z")
        self.svcheck(*signs, "k.sec", status=4)

    def test_warnings_can_be_left_out(self):
        self.put("none.xml", ("lost", ["4620"], ["Plan 9"]))
        self.assertEqual([
            'svcheck: warning: files/none.xml: element "lost" names no machine type in the form '
            "-[TYPE]-: no machine takes it",
            'svcheck: warning: files/none.xml: element "lost" names no operating system that has a '
            "code: no live check takes it, only `svcheck catalogue fetch` does"],
            self.build().stderr.splitlines())
        self.assertEqual("", self.build("--quiet").stderr)

    def test_keys_are_never_written_over(self):
        self.make_keys()
        before = (self.root / "k.sec").read_text()
        self.svcheck("keygen", "--no-password", "--repository-key", "k.pub", "--secret-key",
                     "k.sec", status=1)
        self.assertEqual((self.root / "k.sec").read_text(), before)

    def test_verify_tells_what_machines_would_refuse(self):
        self.make_keys()
        self.build()
        key = ["--repository-key", "k.pub"]
        self.svcheck("verify", "sv", *key, status=1)
        self.svcheck("verify", "sv", "--allow-unsigned")
        self.svcheck("sign", "sv", "--secret-key", "k.sec")
        self.svcheck("verify", "sv", *key)
        self.svcheck("verify", "sv", "--repository-key", self.keys.public, status=4)
        file = self.root / "sv" / "files" / "4638.xml"
        file.write_text(file.read_text() + " ")
        self.assertIn("4638.xml", self.svcheck("verify", "sv", *key, status=4).stderr)

    def test_command_lines_that_are_wrong(self):
        self.build()
        for arguments in ([], ["build"], ["verify", "sv"],
                          ["sign", "sv"], ["nothing"], ["build", "sv", "--serial", "x"]):
            process = self.svcheck(*arguments, status=64)
            self.assertEqual(len(process.stderr.splitlines()), 1, process.stderr)
        self.assertIn("no such folder", self.svcheck("build", "no such folder", status=1).stderr)


if __name__ == "__main__":
    unittest.main()
