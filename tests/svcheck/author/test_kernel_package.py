"""A catalogue made of one Debian kernel package, and a machine that runs the modules of another."""

import json
import re
import shutil
import subprocess
import sys

from program import ProgramTest, main

SKIPPED = 77
KERNELS = r"^linux-image-[0-9.]+(-[0-9]+|[+]deb[0-9]+)-amd64-unsigned$"


def output(*command, **more):
    return subprocess.run(list(map(str, command)), capture_output=True, text=True, check=True,
                          timeout=900, **more).stdout


def kernels():
    """The names of the packages, the oldest first."""
    names = [line.split()[0] for line in output("apt-cache", "search", "--names-only",
                                                KERNELS).splitlines()]
    return sorted(names, key=lambda name: list(map(int, re.findall(r"\d+", name))))


def modules(root):
    """The modules of an unpacked package and the version of each, by modinfo: what it states, or the
    release of the kernel that it belongs to."""
    stated = {}
    files = sorted(root.rglob("*.ko")) + sorted(root.rglob("*.ko.xz"))
    for part in (files[i:i + 500] for i in range(0, len(files), 500)):
        for line in output("modinfo", *part).splitlines():
            key, _, value = line.partition(":")
            if key == "filename":
                name = value.rpartition("/")[2].partition(".ko")[0]
                stated[name] = {}
            else:
                stated[name].setdefault(key, value.strip())
    return {name: said.get("version") or
            (said["vermagic"].split()[0] if said.get("intree") == "Y" else "")
            for name, said in stated.items()}


class KernelPackage(ProgramTest):
    def setUp(self):
        super().setUp()
        self.old, self.new = (self.unpacked(name) for name in (kernels()[0], kernels()[-1]))

    def unpacked(self, name):
        output("apt-get", "download", name, cwd=self.folder)
        output("dpkg-deb", "--extract", next(self.folder.glob(f"{name}_*.deb")), self.folder / name)
        return self.folder / name

    def run_well(self, *arguments):
        result = self.run_program(*arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def run_all_modules(self, root):
        """Makes of an unpacked package the tree of a machine 4638 that has each module loaded."""
        release = next((root / "lib/modules").iterdir()).name
        output("/sbin/depmod", "--basedir", root, release)
        for name, text in (("proc/modules", "".join(
                                f"{module.replace('-', '_')} 16384 0 - Live 0x0\n"
                                for module in modules(root))),
                           ("proc/sys/kernel/osrelease", f"{release}\n"),
                           ("proc/sys/kernel/arch", "x86_64\n"),
                           ("sys/class/dmi/id/product_name", "Server -[4638A2G]-\n"),
                           ("etc/os-release", 'ID=debian\nPRETTY_NAME="Debian GNU/Linux 12"\n')):
            self.write(f"{root.name}/{name}", text)

    def test_a_machine_that_runs_an_older_one_is_compared_with_it(self):
        package = next(self.folder.glob(f"{self.new.name}_*.deb"))
        self.run_well("catalogue", "build", "--drivers", package, "--machine", "4638", "--output",
                      "catalogue")
        lint = self.run_well("catalogue", "lint", "catalogue")
        self.assertRegex(lint.stdout, r"^\d{4} update elements: 0 errors, 0 warnings\.\n$")
        self.run_all_modules(self.old)
        self.run_well("collect", "--root", self.old, "--output", "machine.xml")
        report = json.loads(self.run_well("check", "--inventory", "machine.xml", "--catalogue",
                                          "catalogue", "--format", "json").stdout)
        print(self.old.name, self.new.name, report["summary"])
        found = {record["Name"]: (record["InstalledVersion"], record["SVVersion"], record["verdict"])
                 for record in report["records"]}
        installed, offered = modules(self.old), modules(self.new)
        self.assertEqual({name: pair[:2] for name, pair in found.items()},
                         {name.upper(): (installed[name], version)
                          for name, version in offered.items() if version and name in installed})
        self.assertGreater(len(found), 2000)
        releases = [next((root / "lib/modules").iterdir()).name for root in (self.old, self.new)]
        self.assertGreater(sum(list(pair[:2]) == releases for pair in found.values()), 2000)
        for name, (before, after, verdict) in found.items():
            self.assertEqual(verdict == "current", before == after, name)
            self.assertNotEqual(verdict, "unknown", name)


if __name__ == "__main__":
    for program in ("apt-get", "dpkg-deb", "modinfo"):
        if not shutil.which(program):
            print(f"skipped: {program} is not installed")
            sys.exit(SKIPPED)
    if len(kernels()) < 2:
        print("skipped: apt knows no two kernels; run apt-get update on Debian 12")
        sys.exit(SKIPPED)
    main()
