#!/usr/bin/env python3
"""The verbs of the program: names of any script, deep folders, what is shown, this machine."""

import json
import shutil
import subprocess
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from wine_test import SAMPLE, WINE, WineTest, main, run, windows

FORMATS = ("table", "json", "ndjson", "csv", "html", "junit", "nagios", "prometheus",
           "cyclonedx", "sarif")


class ProgramTest(WineTest):
    def setUp(self):
        super().setUp()
        shutil.copy(SAMPLE / "inventory.xml", self.work / "инвентарь.xml")
        self.catalogue = windows(SAMPLE / "catalogue")
        self.sample = ("--inventory", "инвентарь.xml", "--catalogue", self.catalogue)

    def query(self, *arguments, catalogue=None, inventory="инвентарь.xml", **options):
        return self.run_program("query", "--inventory", inventory, "--context",
                                f"svPath={catalogue or self.catalogue}", *arguments, **options)

    def check(self, *arguments, **options):
        return self.run_program("check", *self.sample, *arguments, **options)


class Start(ProgramTest):
    def test_wine_finds_its_page_free_since_no_address_is_chosen_by_chance(self):
        no_randomization = 0x0040000  # ADDR_NO_RANDOMIZE of personality(2)
        if subprocess.run(["setarch", "-R", "true"], stderr=subprocess.DEVNULL,
                          check=False).returncode:
            self.skipTest("this system lets nobody fix its addresses")
        with subprocess.Popen([WINE, "cmd"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as waiting:
            waiting.stdout.read(1)  # It runs.
            personality = Path(f"/proc/{waiting.pid}/personality").read_text(encoding="ascii")
            waiting.kill()
        self.assertTrue(int(personality, 16) & no_randomization, personality)


class Query(ProgramTest):
    def test_takes_and_makes_files_with_names_of_any_script(self):
        self.query("--records", "ž.ndjson", "--log", "log é.ndjson")
        records = (self.work / "ž.ndjson").read_text(encoding="utf-8").splitlines()
        self.assertEqual(len(records), 21)
        self.assertEqual(list(json.loads(records[0])),
                         ["Type", "Name", "InstalledVersion", "SVVersion"])
        log = (self.work / "log é.ndjson").read_text(encoding="utf-8")
        self.assertEqual(json.loads(log.splitlines()[0]), {"level": 4, "message": "In RunQuery"})

    def test_finds_files_that_lie_deep(self):
        deep = self.work
        for letter in "abcdefgh":
            deep = deep / (letter * 40)
        deep.mkdir(parents=True)
        shutil.copytree(SAMPLE / "catalogue", deep / "catalogue")
        shutil.copy(SAMPLE / "inventory.xml", deep)
        self.query("--records", windows(deep / "ž.ndjson"), catalogue=windows(deep / "catalogue"),
                   inventory=windows(deep / "inventory.xml"))
        self.assertEqual(len((deep / "ž.ndjson").read_bytes().splitlines()), 21)

    def test_line_ends_of_windows_in_a_catalogue_change_nothing(self):
        folder = self.work / "каталог"
        folder.mkdir()
        text = (SAMPLE / "catalogue" / "index.xml").read_bytes().replace(b"\r\n", b"\n")
        (folder / "index.xml").write_bytes(text.replace(b"\n", b"\r\n"))
        same = [self.query(catalogue=path)[0] for path in (self.catalogue, windows(folder))]
        self.assertIn('"Type":"Driver"', same[0])
        self.assertEqual(same[0], same[1])


class Check(ProgramTest):
    def test_every_format_shows_every_record(self):
        output = {form: self.check("--format", form, status=int(form == "nagios"))[0]
                  for form in FORMATS}
        report = json.loads(output["json"])
        self.assertEqual(report["catalogue"]["path"], self.catalogue)
        self.assertEqual(len(report["records"]), 21)
        for form in ("table", "ndjson", "csv", "html", "junit"):
            for record in report["records"]:
                self.assertIn(record["Name"], output[form], form)
        self.assertTrue(output["nagios"].startswith("SVCHECK WARNING - 10 outdated"))
        self.assertIn('svcheck_records{verdict="outdated"} 10\n', output["prometheus"])

    def test_saved_reports_are_shown_again_compared_and_waived(self):
        self.check("--format", "json", "--output", "отчёт.json")
        saved = (self.work / "отчёт.json").read_text(encoding="utf-8")
        self.assertEqual(self.run_program("report", "отчёт.json", "--format", "json")[0], saved)
        (self.work / "новый.json").write_text(saved.replace('"outdated"', '"current"', 1))
        changes, _ = self.run_program("diff", "отчёт.json", "новый.json")
        self.assertIn("outdated", changes)
        (self.work / "ž.toml").write_bytes(
            b'[[waiver]]\r\ntype = "firmware"\r\nname = "*"\r\n'
            b'reason = "window in January"\r\nexpires = 2999-01-31\r\n')
        self.assertIn("outdated (waived: window in January)", self.check("--waivers", "ž.toml")[0])

    def test_how_it_ends(self):
        self.check("--fail-on", "outdated", status=2)
        self.assert_failed(64, "check", "--inventory", "инвентарь.xml", words=["--catalogue"])
        self.assert_failed(64, "check", *self.sample, "--format", "xml", words=["xml"])
        self.assert_failed(64, "нет", words=["нет"])
        for form, status in (("json", 4), ("nagios", 3)):
            output = self.assert_failed(status, "check", "--inventory", "инвентарь.xml",
                                        "--catalogue", "нет", "--format", form, words=["нет"])
            self.assertIn("no-catalogue" if form == "json" else "UNKNOWN", output)
        self.assert_failed(1, "check", *self.sample, "--plugin", "нет.dll", words=["нет.dll"])
        self.assert_failed(1, "check", *self.sample, "--output", "нет\\x", words=["нет\\x"])
        self.assert_failed(1, "query", "--inventory", "нет.xml", words=["нет.xml", "wine Ж日 "])
        self.assert_failed(3, "query", "--inventory", "инвентарь.xml", words=["status 32"])

    def test_explain_tells_how_a_record_came_about(self):
        output, _ = self.run_program("explain", *self.sample)
        self.assertIn("System BIOS", output)
        self.assertIn("In the report.", output)


class Installation(ProgramTest):
    def test_settings_of_the_environment_hold(self):
        output, _ = self.run_program(
            "check", "--inventory", "инвентарь.xml",
            environment={"SVCHECK_CATALOGUE": self.catalogue, "SVCHECK_FORMAT": "json"})
        self.assertEqual(len(json.loads(output)["records"]), 21)

    def test_doctor_looks_at_the_installation(self):
        shutil.copytree(SAMPLE / "catalogue", self.work / "каталог")
        output, _ = self.run_program("doctor", "--format", "json", "--catalogue", "каталог")
        found = {row["subject"]: row for row in json.loads(output)["findings"]}
        for subject in ("plug-in", "data folder", "catalogue", "state folder"):
            self.assertEqual(found[subject]["state"], "good", found[subject])
        self.assertIn("каталог, 16 update elements", found["catalogue"]["text"])
        for source in ("machine type", "system firmware", "operating system", "drivers"):
            self.assertEqual(found[source]["state"], "good", found[source])
        self.assertIn("Win32_BIOS in root\\cimv2", found["system firmware"]["text"])
        for source in ("management controller", "storage adapters"):
            self.assertIn("in root\\WMI, which tells of none", found[source]["text"])
        self.assertEqual(found["disks"]["state"], "good", found["disks"])
        self.assertIn("HKLM\\HARDWARE\\UEFI\\ESRT, which tells of none",
                      found["firmware resources"]["text"])
        self.assertIn("HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor",
                      found["microcode"]["text"])
        table, _ = self.run_program("doctor", "--catalogue", "нет", status=1)
        self.assertRegex(table, r"(?m)^catalogue +problem +.*нет\\index.xml.*\n +-> ")

    def test_help_version_and_completion(self):
        self.assertIn("fleet", self.run_program("--help")[0])
        self.assertRegex(self.run_program("--version")[0], r"\d+\.\d+\.\d+")
        self.assertIn("_svcheck", self.run_program("completion", "bash")[0])


class ThisMachine(ProgramTest):
    PROCESSOR = "HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0"

    def collect(self):
        """The properties of the instances by their classes; of an array its elements."""
        self.run_program("collect", "--output", "ž.xml")
        found = {}
        for instance in ElementTree.parse(self.work / "ž.xml").getroot().iter("INSTANCE"):
            properties = {prop.get("NAME"): prop.findtext("VALUE")
                          for prop in instance.iter("PROPERTY")}
            for prop in instance.iter("PROPERTY.ARRAY"):
                properties[prop.get("NAME")] = [value.text for value in prop.iter("VALUE")]
            found.setdefault(instance.get("CLASSNAME"), []).append(properties)
        return found

    def registry(self, verb, *arguments):
        process = run("reg", verb, self.PROCESSOR, "/v", "Update Revision", *arguments, "/f")
        self.assertEqual(process.returncode, 0, process)

    def test_collect_tells_what_it_answers(self):
        found = self.collect()
        system = found["QRXSG_OperatingSystem"][0]
        self.assertEqual(system["OSType"], "18")
        self.assertRegex(system["Version"], r"^\d+\.\d+$")
        self.assertEqual(system["HardwarePlatform"], "64-bit")
        drivers = {driver["Name"].lower(): driver for driver in found["QRXSG_DeviceDriverInfo"]}
        self.assertEqual(drivers["mountmgr"]["CurrentState"], "4")
        self.assertRegex(drivers["mountmgr"]["Path"].lower(),
                         r"^c:\\windows\\.*\\mountmgr\.sys$")

    def test_collect_tells_the_microcode_that_the_registry_keeps(self):
        self.assertNotIn("SVC_FirmwareDevice", self.collect())
        self.registry("add", "/t", "REG_BINARY", "/d", "3712A00800000000")
        self.addCleanup(self.registry, "delete")
        device, = self.collect()["SVC_FirmwareDevice"]
        self.assertEqual((device["Version"], device["VersionFormat"], device["Source"]),
                         ("0x8a01237", "hex", "microcode"))
        self.assertRegex(device["Identifiers"][0],
                         r"^CPUID\\PRO_0&FAM_[0-9A-F]{2}&MOD_[0-9A-F]{2}&STP_[0-9A-F]$")
        self.assertEqual(len(device["Identifiers"]), 3)

    def test_collect_reads_the_running_system_only(self):
        self.assert_failed(1, "collect", "--root", "C:\\windows",
                           words=["only the running system is read"])


if __name__ == "__main__":
    main()
