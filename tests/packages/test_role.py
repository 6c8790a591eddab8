"""The command of docs/fleet.md for Ansible, on a fresh Debian 12 that an ordinary user logs in to:
packages installed, the machine checked as root, report and inventory gathered."""

import json
import os
import pathlib
import re
import shlex
import shutil
import socket
import tempfile
import unittest

import fresh_system
import packages
from packages import run, skip_without, succeed

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "fleet.md"
LOGIN = "admin"
# Each would change what the role's check says, ends with or is written as.
SETTINGS = """fail-on = "outdated"
live = true
repository = "https://updates.invalid/sv"
offline = true
root = "/nonexistent"

[check]
format = "csv"
"""
DMI = "sys/class/dmi/id"
CATALOGUE = """<?xml version="1.0"?><?sv-catalogue version="4.02"?>
<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><INSTANCE CLASSNAME="QRXPSG_SystemUpdateElement">
<PROPERTY NAME="description"><VALUE>BIOS Update</VALUE></PROPERTY>
<PROPERTY NAME="Version"><VALUE>1-[YUE112A]-</VALUE></PROPERTY>
<PROPERTY.ARRAY NAME="applicableMachineTypes"><VALUE.ARRAY><VALUE>-[4638]-</VALUE></VALUE.ARRAY>
</PROPERTY.ARRAY></INSTANCE></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>
"""


def documented():
    """The words of the page's one command, without the folders that it names."""
    text, = re.findall(r"(?m)^ansible-playbook (?:.*\\\n)*.*$", PAGE.read_text())
    return shlex.split(text.replace("\\\n", ""))


class Role(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="role-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        os.chmod(cls.folder, 0o755)
        made = packages.make(cls.folder / "packages")
        succeed("dpkg-deb", "--extract", made["svcheck"], cls.folder / "controller")
        (cls.folder / "catalogue").mkdir()
        (cls.folder / "catalogue" / "index.xml").write_text(CATALOGUE)
        cls.system = fresh_system.make(cls.folder / "root", "python3", "sudo")
        cls.root = cls.system.root
        cls.prepare_machine()
        cls.write_connection()

    @classmethod
    def prepare_machine(cls):
        succeed(*cls.system.command("useradd", "--create-home", "--shell", "/bin/sh", LOGIN))
        (cls.root / "etc/sudoers.d/admin").write_text(f"{LOGIN} ALL=(ALL) NOPASSWD: ALL\n")
        (cls.root / "etc/hosts").write_text(f"127.0.0.1 localhost {socket.gethostname()}\n")
        (cls.root / "etc/svcheck").mkdir()
        (cls.root / "etc/svcheck/config.toml").write_text(SETTINGS)
        dmi = cls.root / DMI
        dmi.mkdir(parents=True)
        (dmi / "product_name").write_text("Rackwell 4638 -[4638A2G]-\n")
        (dmi / "bios_version").write_text("-[YUE110B]-\n")
        (dmi / "product_serial").write_text("KD1234\n")
        (dmi / "product_serial").chmod(0o400)  # As the kernel shows it: to root alone.

    @classmethod
    def write_connection(cls):
        """What Ansible runs in place of ssh: the command is its last word."""
        script = cls.folder / "ssh"
        inside = shlex.join(cls.system.command("sh", "-c", user=LOGIN))
        script.write_text('#!/bin/sh\nfor last; do :; done\n'
                          'test "$last" = ControlPersist && exit\n'
                          f'exec {inside} "cd; $last"\n')
        script.chmod(0o755)
        (cls.folder / "HOSTS").write_text(f"web-01 ansible_user={LOGIN}\n")

    def play(self, *more):
        places = {"HOSTS": "HOSTS", "/usr/share": "controller/usr/share",
                  "/srv/packages": "packages", "/srv/catalogue": "catalogue",
                  "/srv/gathered": "gathered"}
        words = documented()
        for place, here in places.items():
            self.assertIn(place, " ".join(words))
            words = [word.replace(place, str(self.folder / here)) for word in words]
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.folder), "LC_ALL": "C.UTF-8",
                       "ANSIBLE_NOCOLOR": "1", "ANSIBLE_SSH_TRANSFER_METHOD": "piped",
                       "ANSIBLE_SSH_EXECUTABLE": str(self.folder / "ssh"),
                       "ANSIBLE_SSH_ARGS": ""}
        return run(*words, *more, cwd=self.folder, env=environment)

    def gathered(self, kind, ending):
        return self.folder / "gathered" / kind / f"web-01.{ending}"

    def test_a_fresh_machine_is_checked_and_checked_again(self):
        first = self.play()
        self.assertEqual(first.returncode, 0, first.stdout)
        installed = succeed(*self.system.command("dpkg-query", "-W", "svcheck", "libsvchecker"))
        self.assertEqual(installed.split()[::2], ["libsvchecker", "svcheck"])
        report = json.loads(self.gathered("reports", "json").read_text())
        self.assertEqual((report["outcome"], report["summary"]["outdated"]), ("done", 1))
        self.assertEqual(report["catalogue"]["source"], "folder")
        self.assertIn("KD1234", self.gathered("inventories", "xml").read_text())
        kept = self.root / "var/lib/svcheck/fleet"
        self.assertEqual((kept.stat().st_mode & 0o777, kept.owner()), (0o700, "root"))
        shutil.rmtree(self.folder / "gathered")
        second = self.play()
        self.assertEqual(second.returncode, 0, second.stdout)
        self.assertRegex(second.stdout, r"web-01 +: ok=\d+ +changed=2 ")  # What is gathered anew.
        self.assertTrue(self.gathered("reports", "json").exists())

    def test_a_folder_without_both_packages_is_told(self):
        (self.folder / "none").mkdir(exist_ok=True)
        result = self.play("-e", f"svcheck_packages={self.folder}/none")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("libsvchecker_*.deb", result.stdout)


if __name__ == "__main__":
    skip_without("ansible-playbook", package="ansible-core")
    fresh_system.skip_where_none_can_be_made()
    unittest.main(argv=["test_role.py"])
