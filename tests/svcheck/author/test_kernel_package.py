"""A catalogue made of one Debian kernel package, and a machine that runs the modules of another."""

import json
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree

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
    """The modules of an unpacked package with the version and the checksum of the source of each, by
    modinfo: what it states, and for a version the release of the kernel that it belongs to."""
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
    return {name: (said.get("version") or
                   (said["vermagic"].split()[0] if said.get("intree") == "Y" else ""),
                   said.get("srcversion", ""))
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
        """Makes of an unpacked package the tree of a machine 4638 that runs each module."""
        release = next((root / "lib/modules").iterdir()).name
        output("/sbin/depmod", "--basedir", root, release)
        for module in modules(root):
            self.write(f"{root.name}/sys/module/{module.replace('-', '_')}/initstate", "live\n")
        for name, text in (("proc/sys/kernel/osrelease", f"{release}\n"),
                           ("proc/sys/kernel/arch", "x86_64\n"),
                           ("sys/class/dmi/id/product_name", "Server -[4638A2G]-\n"),
                           ("etc/os-release", 'ID=debian\nPRETTY_NAME="Debian GNU/Linux 12"\n')):
            self.write(f"{root.name}/{name}", text)

    def check_catalogue(self, offered):
        """What the catalogue states of each module is what modinfo shows. Where the names of two differ
        in their case alone, as xt_dscp and xt_DSCP, a query knows no difference, and one is there."""
        listed = json.loads(self.run_well("catalogue", "list", "catalogue", "--format",
                                          "json").stdout)["elements"]
        found = {driver["name"].removesuffix(".ko"): driver["version"] for element in listed
                 for driver in element["drivers"]}
        self.assertEqual({name: offered[name][0] for name in found}, found)
        self.assertEqual(sorted(name.upper() for name in found),
                         sorted({name.upper() for name, (version, _) in offered.items() if version}))
        index = (self.folder / "catalogue" / "index.xml").read_text()
        self.assertEqual(set(re.findall(r'"driverSources" TYPE="string"><VALUE>(.*?)</VALUE>', index)),
                         {f"{offered[name][1]}:{name}.ko-#{version}"
                          for name, version in found.items() if offered[name][1]})

    def check_inventory(self, installed):
        found = {}
        for driver in xml.etree.ElementTree.parse(self.folder / "machine.xml").iter("INSTANCE"):
            if driver.get("CLASSNAME") != "QRXSG_DeviceDriverInfo":
                continue
            said = {each.get("NAME"): each.findtext("VALUE") for each in driver.iter("PROPERTY")}
            name = said["Path"].rpartition("\\")[2].partition(".ko")[0]
            found[name] = (said.get("Version", ""), said.get("SourceVersion", ""))
            self.assertEqual(said["CurrentState"], "4", name)
        self.assertEqual(found, installed)

    def test_a_machine_that_runs_an_older_one_is_compared_with_it(self):
        package = next(self.folder.glob(f"{self.new.name}_*.deb"))
        self.run_well("catalogue", "build", "--drivers", package, "--machine", "4638", "--output",
                      "catalogue")
        lint = self.run_well("catalogue", "lint", "catalogue")
        self.assertRegex(lint.stdout, r"^\d{4} update elements: 0 errors, 0 warnings\.\n$")
        self.run_all_modules(self.old)
        self.run_well("collect", "--root", self.old, "--output", "machine.xml")
        installed, offered = modules(self.old), modules(self.new)
        self.check_catalogue(offered)
        self.check_inventory(installed)
        report = json.loads(self.run_well("check", "--inventory", "machine.xml", "--catalogue",
                                          "catalogue", "--format", "json").stdout)
        print(self.old.name, self.new.name, report["summary"])
        found = {record["Name"]: (record["InstalledVersion"], record["SVVersion"], record["verdict"])
                 for record in report["records"]}
        self.assertEqual({name: pair[:2] for name, pair in found.items()},
                         {name.upper(): (installed[name][0], version)
                          for name, (version, _) in offered.items() if version and name in installed})
        reasons = {piece["name"]: piece["reason"] for piece in report["notCompared"]
                   if piece["type"] == "Driver"}
        self.assertEqual(found.keys() & reasons.keys(), set())
        self.assertEqual(found.keys() | reasons.keys(), {name.upper() for name in installed})
        for name, (version, _) in installed.items():
            if name.upper() in reasons:
                self.assertEqual(reasons[name.upper()], "not-offered" if version else "no-version")
        self.assertGreater(len(found), 2000)
        releases = [next((root / "lib/modules").iterdir()).name for root in (self.old, self.new)]
        self.assertGreater(sum(list(pair[:2]) == releases for pair in found.values()), 2000)
        sources = {name.upper(): source for name, (_, source) in installed.items()}
        same = {name.upper() for name, (_, source) in offered.items()
                if source and source == sources.get(name.upper())}
        print(sum(map(bool, sources.values())), "state their source,", len(same), "the same")
        self.assertEqual({record["Name"] for record in report["records"] if "sameSource" in record},
                         same & found.keys())
        for name, (before, after, verdict) in found.items():
            self.assertEqual(verdict == "current", before == after or name in same, name)
            # A version of its own has no order with the release of a kernel.
            self.assertEqual(verdict == "unknown", name not in same and
                             (before == releases[0]) != (after == releases[1]), name)
        self.check_table(releases, report["records"])

    def check_table(self, releases, records):
        table = self.run_well("check", "--inventory", "machine.xml", "--catalogue",
                              "catalogue").stdout
        many = sum([record["InstalledVersion"], record["SVVersion"], record["verdict"]]
                   == [*releases, "outdated"] for record in records)
        self.assertRegex(table, rf"(?m)^Driver  {re.escape(f'kernel {releases[0]} → {releases[1]}')}: "
                                rf"{many} drivers +outdated$")
        self.assertLess(table.count("\n"), len(records) / 5)


if __name__ == "__main__":
    for program in ("apt-get", "dpkg-deb", "modinfo"):
        if not shutil.which(program):
            print(f"skipped: {program} is not installed")
            sys.exit(SKIPPED)
    if len(kernels()) < 2:
        print("skipped: apt knows no two kernels; run apt-get update on Debian 12")
        sys.exit(SKIPPED)
    main()
