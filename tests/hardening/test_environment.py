"""No variable of the environment brings code into the program, and no file is written but those that
are asked for. (What the dynamic linker takes from LD_ variables happens before the program starts.)
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILD = Path(sys.argv[1]).resolve()
MARKER = Path(sys.argv[2]).resolve()
SAMPLE = BUILD / "share" / "svcheck" / "sample"


class TheEnvironment(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="hardening ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()
        self.mark = self.folder / "mark"
        self.code = self.folder / "code"
        self.code.mkdir()
        for name in ("marker.so", "legacy.so"):
            shutil.copy(MARKER, self.code / name)
        (self.code / "gconv-modules").write_text(
            "module ANSI_X3.4-1968// UTF-8// marker 1\nmodule ANSI_X3.4-1968// INTERNAL marker 1\n")
        (self.code / "openssl.cnf").write_text(
            "openssl_conf = all\n[all]\nproviders = those\nengines = these\n[those]\nx = it\n"
            f"[it]\nmodule = {self.code}/marker.so\nactivate = 1\n[these]\ny = that\n"
            f"[that]\ndynamic_path = {self.code}/marker.so\ninit = 1\n")

    def environment(self):
        return {"PATH": os.environ["PATH"], "HOME": str(self.folder / "home"), "LC_ALL": "C",
                "XDG_STATE_HOME": str(self.folder / "state"), "MARK_FILE": str(self.mark),
                "GCONV_PATH": str(self.code), "OPENSSL_CONF": str(self.code / "openssl.cnf"),
                "OPENSSL_ENGINES": str(self.code), "OPENSSL_MODULES": str(self.code)}

    def run_svcheck(self, *arguments):
        work = self.folder / "work"
        work.mkdir(exist_ok=True)
        return subprocess.run([BUILD / "bin" / "svcheck", *map(str, arguments)], text=True,
                              cwd=work, env=self.environment(), capture_output=True, timeout=60)

    def test_the_library_leaves_its_mark_where_it_is_loaded(self):
        subprocess.run(["openssl", "rand", "-hex", "4"], env=self.environment(),
                       capture_output=True, check=False, timeout=60)
        self.assertTrue(self.mark.exists())

    def test_a_download_loads_no_code_of_others(self):
        run = self.run_svcheck("check", "--live", "--allow-unsigned", "--repository",
                               "https://127.0.0.1:1", "--inventory", SAMPLE / "inventory.xml",
                               "--drive-root", self.folder / "drives")
        self.assertEqual(run.returncode, 4, run.stderr)
        self.assertFalse(self.mark.exists())

    def test_a_collection_loads_no_code_of_others(self):
        self.run_svcheck("collect", "--output", "inventory.xml")
        self.run_svcheck("collect", "--capture", "capture.tar")
        self.assertTrue((self.folder / "work" / "capture.tar").exists())
        self.assertFalse(self.mark.exists())

    def test_a_check_writes_what_it_is_told_to_and_nothing_else(self):
        run = self.run_svcheck("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                               SAMPLE / "catalogue", "--output", "report", "--log", "log")
        self.assertEqual(run.returncode, 0, run.stderr)
        written = {str(path.relative_to(self.folder)) for path in self.folder.rglob("*")
                   if path.is_file() and self.code not in path.parents}
        self.assertEqual(written, {"work/report", "work/log"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
