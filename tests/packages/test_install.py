"""The Debian packages on a fresh Debian 12: installed, used, removed; nothing of them stays."""

import os
import pathlib
import shutil
import tempfile
import unittest

import fresh_system
import packages
from packages import NAMES, run

# What a package manager keeps for itself.
CHANGING = ("dev", "proc", "sys", "tmp", "var/cache", "var/lib/apt", "var/lib/dpkg", "var/log")
LIST = pathlib.Path(__file__).resolve().parents[2] / "docs" / "examples" / "firmware.csv"
SAMPLE = "/usr/share/svcheck/sample"


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="packages-")
        cls.addClassCleanup(folder.cleanup)
        made = packages.make(folder.name)
        cls.system = fresh_system.make(pathlib.Path(folder.name) / "root")
        cls.root = cls.system.root
        (cls.root / "packages").mkdir()
        shutil.copy(LIST, cls.root / "packages")
        for name in NAMES:
            shutil.copy(made[name], cls.root / "packages")
        cls.packages = [f"/packages/{made[name].name}" for name in NAMES]

    def inside(self, *words, status=0, user="root"):
        result = run(*self.system.command(*words, user=user))
        self.assertEqual(result.returncode, status, result.stdout)
        return result.stdout

    def files(self):
        found = set()
        for place, folders, files in os.walk(self.root):
            inside = os.path.relpath(place, self.root)
            folders[:] = [name for name in folders
                          if os.path.normpath(os.path.join(inside, name)) not in CHANGING]
            found.update(os.path.join(inside, name) for name in [*folders, *files])
        return found

    def test_it_is_installed_used_and_removed(self):
        before = self.files()
        self.inside("apt-get", "install", "-y", "--no-install-recommends",
                    "-o", "Dpkg::Options::=--force-unsafe-io", *self.packages)
        self.assertGreater(len(self.files() - before), 50)
        self.assertIn("svcheck 1.", self.inside("svcheck", "--version", user="nobody"))
        self.check_the_sample()
        self.try_each_module()
        self.look_for_the_manual()
        self.switch_on_the_daily_check()
        # What came with the packages goes with them, also where apt itself would like to keep it: apt
        # suggests gnupg, which a library of ours needs.
        self.inside("apt-get", "purge", "-y", "--auto-remove",
                    "-o", "APT::AutoRemove::SuggestsImportant=false",
                    "-o", "APT::AutoRemove::RecommendsImportant=false", *NAMES)
        self.assertEqual(self.files() - before, set())
        self.assertEqual(before - self.files(), set())

    def check_the_sample(self):
        sample = ["--inventory", f"{SAMPLE}/inventory.xml", "--catalogue", f"{SAMPLE}/catalogue"]
        for user in ("root", "nobody"):
            shown = self.inside("svcheck", "check", *sample, user=user)
            self.assertTrue(shown.endswith(
                "\n21 records: 10 outdated, 3 unknown, 3 newer, 5 current.\n"
                "17 installed pieces: 15 compared, 2 not: 1 is offered nowhere, 1 does not run.\n"),
                shown)

    def try_each_module(self):
        """What is loaded only when it is needed: each finds the libraries that it links to."""
        self.inside("svcheck", "collect", "--output", "/tmp/machine.xml")
        self.inside("svcheck", "catalogue", "lint", f"{SAMPLE}/catalogue")
        self.inside("svcheck", "catalogue", "build", "--machine", "4638", "--drivers", "/packages",
                    "--firmware", "/packages/firmware.csv", "--output", "/tmp/made")
        self.inside("svcheck", "repository", "keygen", "--secret-key", "/tmp/key",
                    "--repository-key", "/tmp/key.pub", "--no-password")
        shown = self.inside("svcheck", "check", "--inventory", f"{SAMPLE}/inventory.xml", "--live",
                            "--repository", "http://127.0.0.1:1", "--allow-unsigned", status=4)
        self.assertIn("127.0.0.1:1", shown)
        self.assertTrue((self.root / "var/lib/svcheck").is_dir())

    def look_for_the_manual(self):
        for verb in ("", "-check", "-catalogue"):
            page = self.root / f"usr/share/man/man1/svcheck{verb}.1.gz"
            self.assertGreater(page.stat().st_size, 500)

    def switch_on_the_daily_check(self):
        """As `systemctl enable` does, which this folder has not."""
        wanted = self.root / "etc/systemd/system/timers.target.wants"
        wanted.mkdir(parents=True, exist_ok=True)
        for name in ("svcheck.timer", "svcheck-fetch.timer"):
            (wanted / name).symlink_to(f"/lib/systemd/system/{name}")


if __name__ == "__main__":
    fresh_system.skip_where_none_can_be_made()
    unittest.main(argv=["test_install.py"])
