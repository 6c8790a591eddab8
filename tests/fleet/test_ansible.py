"""The role of packaging/ansible collects, checks and gathers, by a local connection."""

import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

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

    def play(self, **variables):
        hosts = self.folder / "hosts"
        hosts.write_text("".join(
            f"{host} svcheck_folder={self.folder}/{host} ansible_connection=local "
            f"ansible_python_interpreter={sys.executable}\n" for host in HOSTS))
        values = {"svcheck_program": str(OPTIONS.svcheck.resolve()),
                  "svcheck_catalogue": str(SAMPLE / "catalogue"),
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
            self.assertIn(report["outcome"], ("done", "nothing-applicable", "unknown-machine"))
        run = subprocess.run([OPTIONS.svcheck, "fleet", "--catalogue", SAMPLE / "catalogue",
                              "--inventories", gathered / "inventories"], capture_output=True,
                             text=True, check=True)
        ends = [json.loads(line) for line in run.stdout.splitlines() if '"outcome"' in line]
        self.assertEqual([end["machine"] for end in ends], list(HOSTS))
        self.assertEqual({end["outcome"] for end in ends}, {report["outcome"]})

    def test_a_program_that_is_missing_fails_the_play(self):
        result = self.play(svcheck_program="/nonexistent/svcheck")
        self.assertNotEqual(result.returncode, 0)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
