"""The role of packaging/ansible collects, checks and gathers, by a local connection."""

import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from serial_notes import forget_server  # noqa: E402

parser = argparse.ArgumentParser()
parser.add_argument("--svcheck", required=True, type=pathlib.Path)
parser.add_argument("--packaging", required=True, type=pathlib.Path)
OPTIONS = parser.parse_args()
SAMPLE = OPTIONS.svcheck.resolve().parents[1] / "share/svcheck/sample"
HOSTS = ("web-01", "web-02")


@unittest.skipUnless(shutil.which("ansible-playbook"), "ansible-core is not installed")
class Role(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="svcheck-ansible-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        # What the machine's own checks by hand may want, and a machine that the sample offers
        # updates for.
        settings = self.folder / ".config" / "svcheck"
        settings.mkdir(parents=True)
        (settings / "config.toml").write_text(
            'fail-on = "outdated"\nlive = true\nroot = "/nonexistent"\nformat = "csv"\n')
        dmi = self.folder / "tree" / "sys" / "class" / "dmi" / "id"
        dmi.mkdir(parents=True)
        (dmi / "product_name").write_text("Rackwell 4638 -[4638A2G]-\n")
        (dmi / "bios_version").write_text("-[YUE110B]-\n")

    def play(self, **variables):
        hosts = self.folder / "hosts"
        hosts.write_text("".join(
            f"{host} svcheck_folder={self.folder}/{host} ansible_connection=local "
            f"ansible_python_interpreter={sys.executable}\n" for host in HOSTS))
        values = {"svcheck_program": str(OPTIONS.svcheck.resolve()),
                  "svcheck_catalogue": str(SAMPLE / "catalogue"), "svcheck_become": False,
                  "svcheck_root": str(self.folder / "tree"),
                  "svcheck_gathered": str(self.folder / "gathered"), **variables}
        environment = {**os.environ, "ANSIBLE_LOCAL_TEMP": str(self.folder / "tmp"),
                       "ANSIBLE_REMOTE_TEMP": str(self.folder / "tmp"), "HOME": str(self.folder),
                       "ANSIBLE_NOCOLOR": "1", "LC_ALL": "C.UTF-8"}
        return subprocess.run(["ansible-playbook", "-i", hosts, OPTIONS.packaging / "fleet.yml",
                               "-e", json.dumps(values)], env=environment, capture_output=True,
                              text=True, check=False)

    def test_reports_and_inventories_of_all_machines_are_gathered(self):
        result = self.play()
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        gathered = self.folder / "gathered"
        for host in HOSTS:
            report = json.loads((gathered / "reports" / f"{host}.json").read_text())
            self.assertEqual(report["catalogue"]["source"], "folder")
            self.assertEqual(report["outcome"], "done")
            self.assertGreater(report["summary"]["outdated"], 0)
        run = subprocess.run([OPTIONS.svcheck, "fleet", "--catalogue", SAMPLE / "catalogue",
                              "--inventories", gathered / "inventories"], capture_output=True,
                             text=True, check=True)
        ends = [json.loads(line) for line in run.stdout.splitlines() if '"outcome"' in line]
        self.assertEqual([end["machine"] for end in ends], list(HOSTS))
        self.assertEqual({end["summary"]["outdated"] for end in ends},
                         {report["summary"]["outdated"]})

    def serve(self):
        """A signed repository of the sample's catalogue; its address and the public key."""
        folder, keys = self.folder / "repository", [self.folder / "k.pub", self.folder / "k.sec"]
        folder.mkdir()
        shutil.copy(SAMPLE / "catalogue" / "index.xml", folder / "sample.xml")
        secret = ["--secret-key", keys[1]]
        for command in (["keygen", "--no-password", "--repository-key", keys[0], *secret],
                        ["build", folder], ["sign", folder, *secret]):
            subprocess.run([OPTIONS.svcheck.resolve(), "repository", *command], check=True,
                           capture_output=True)
        server = ThreadingHTTPServer(("127.0.0.1", 0),
                                     partial(SimpleHTTPRequestHandler, directory=str(folder)))
        threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True).start()
        forget_server(server.server_port)
        self.addCleanup(forget_server, server.server_port)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return f"http://127.0.0.1:{server.server_port}", str(keys[0])

    def test_the_catalogue_is_fetched_once_for_all_machines(self):
        address, key = self.serve()
        fetched = self.folder / "fetched"
        result = self.play(svcheck_repository=address, svcheck_repository_key=key,
                           svcheck_fetcher=str(OPTIONS.svcheck.resolve()),
                           svcheck_catalogue=str(fetched))
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        for host in HOSTS:
            self.assertEqual((self.folder / host / "catalogue" / "index.xml").read_bytes(),
                             (fetched / "index.xml").read_bytes())
            report = json.loads((self.folder / "gathered/reports" / f"{host}.json").read_text())
            self.assertGreater(report["summary"]["outdated"], 0)

    def test_a_program_that_is_missing_fails_the_play(self):
        result = self.play(svcheck_program="/nonexistent/svcheck")
        self.assertNotEqual(result.returncode, 0)

    def test_a_report_of_an_earlier_check_is_not_gathered_as_one_of_this(self):
        self.assertEqual(self.play().returncode, 0)
        shutil.rmtree(self.folder / "gathered")
        failing = self.folder / "svcheck"
        failing.write_text('#!/bin/sh\ntest "$1" = check && exit 1\n'
                           f'exec "{OPTIONS.svcheck.resolve()}" "$@"\n')
        failing.chmod(0o755)
        self.assertNotEqual(self.play(svcheck_program=str(failing)).returncode, 0)
        self.assertFalse((self.folder / "gathered" / "reports").exists())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
