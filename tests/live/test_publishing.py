"""The publisher's page, tried: from a folder of descriptions to a download from it."""

import json
import os
import pty
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from support import LiveTest, free_port, wait_for_port

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


class Publishing(LiveTest):
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

    def test_the_page_is_true(self):
        text = (SOURCE / "docs" / "publishing.md").read_text()
        keygen, publish, show, config = re.findall(r"<!-- tried -->\n```\n(.*?)```", text, re.S)
        port = free_port()

        def here(block):
            block = block.replace("/srv", str(self.root)).replace("8080", f"127.0.0.1:{port}")
            return block.replace("svcheck", f"'{SVCHECK}'")

        def run(block):
            subprocess.run(["sh", "-ec", here(block)], check=True, cwd=self.root,
                           input="password\n", text=True, capture_output=True)

        run(keygen.replace("\n", " --no-password\n"))
        run(publish)
        user = "user root; " if os.geteuid() == 0 else ""
        (self.root / "sv.conf").write_text(here(config).replace(
            "http {", "http { access_log off; " + " ".join(
                f"{name}_temp_path {self.root};"
                for name in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))))
        server = subprocess.Popen(
            [*here(show).split(), "-e", str(self.root / "log"), "-g",
             f"{user}daemon off; pid {self.root}/pid;"], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        wait_for_port(port, server)
        result = self.download(f"http://127.0.0.1:{port}", key=str(self.root / "publisher.pub"),
                               machineTypes=["4638"])
        self.assertEqual((result.code, result.stderr), (0, ""))
        self.assertEqual(self.present(), self.repository.contents)

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

    def test_minisign_accepts_what_is_signed_here(self):
        self.make_keys()
        self.build()
        self.svcheck("sign", "sv", "--secret-key", "k.sec", "--comment", "a comment of mine")
        process = subprocess.run(["minisign", "-V", "-p", "k.pub", "-m", "sv/sv-repository.json"],
                                 cwd=self.root, capture_output=True, text=True)
        self.assertEqual(process.returncode, 0, process.stderr)
        self.assertIn("a comment of mine", process.stdout)
        self.assertEqual((self.root / "k.sec").stat().st_mode & 0o777, 0o600)

    def test_keys_of_minisign_sign_here(self):
        self.build()
        self.svcheck("sign", "sv", "--secret-key", self.keys.secret)
        self.svcheck("verify", "sv", "--repository-key", self.keys.public)

    def test_minisign_signs_with_keys_made_here(self):
        self.make_keys()
        self.build()
        subprocess.run(["minisign", "-S", "-s", "k.sec", "-m", "sv/sv-repository.json"], check=True,
                       cwd=self.root, capture_output=True)
        self.svcheck("verify", "sv", "--repository-key", "k.pub")

    def on_terminal(self, typed, *arguments, status=0):
        """What stands on a terminal where each of `typed` is typed once something is asked for."""
        ours, theirs = pty.openpty()
        process = subprocess.Popen([SVCHECK, "repository", *arguments], cwd=self.root, stdin=theirs,
                                   stdout=theirs, stderr=theirs, start_new_session=True)
        os.close(theirs)
        shown = b""
        for count, line in enumerate(typed, 1):
            while shown.count(b": ") < count:
                shown += os.read(ours, 1000)
            os.write(ours, line)
        try:
            while part := os.read(ours, 1000):
                shown += part
        except OSError:  # The end of a terminal.
            pass
        os.close(ours)
        self.assertEqual(process.wait(timeout=60), status, shown)
        return shown.decode()

    def test_a_password_is_asked_for_and_not_shown(self):
        shown = self.on_terminal([b"a secret\n"] * 2, "keygen", "--repository-key", "k.pub",
                                 "--secret-key", "k.sec")
        self.assertTrue(shown.startswith("Password for the new k.sec: "), shown)
        self.assertNotIn("secret\r", shown)
        self.assertIn("\nPassword once more: ", shown)
        self.build()
        self.assertEqual(self.on_terminal([b"a secret\n"], "sign", "sv", "--secret-key",
                                          "k.sec").count("Password"), 1)
        sign = ("sign", "sv", "--secret-key", "k.sec")
        self.assertIn("no password was given", self.svcheck(*sign, status=1, input="").stderr)
        self.svcheck(*sign, input="a secret\nmore\n")
        self.svcheck("verify", "sv", "--repository-key", "k.pub")
        self.svcheck("keygen", "--password", "x", "--repository-key", "l.pub", "--secret-key",
                     "l.sec", status=64)

    def test_a_new_password_that_is_mistyped_makes_no_key(self):
        shown = self.on_terminal([b"a secret\n", b"a secert\n"], "keygen", "--repository-key",
                                 "k.pub", "--secret-key", "k.sec", status=1)
        self.assertIn("the two passwords differ", shown)
        self.assertEqual([file for file in self.root.iterdir() if file.name.startswith("k.")], [])

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
