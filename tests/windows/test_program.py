#!/usr/bin/env python3
"""The verbs of the program: names of any script, deep folders, what is shown, this machine."""

import json
import shutil
import xml.etree.ElementTree as ElementTree

from wine_test import SAMPLE, WineTest, main, windows


class Verbs(WineTest):
    def setUp(self):
        super().setUp()
        shutil.copy(SAMPLE / "inventory.xml", self.work / "инвентарь.xml")
        self.catalogue = windows(SAMPLE / "catalogue")

    def test_query_takes_and_makes_files_with_names_of_any_script(self):
        self.run_program("query", "--inventory", "инвентарь.xml",
                         "--context", f"svPath={self.catalogue}",
                         "--records", "ž.ndjson", "--log", "log é.ndjson")
        records = (self.work / "ž.ndjson").read_text(encoding="utf-8").splitlines()
        self.assertGreater(len(records), 5)
        self.assertEqual(list(json.loads(records[0])),
                         ["Type", "Name", "InstalledVersion", "SVVersion"])
        log = (self.work / "log é.ndjson").read_text(encoding="utf-8")
        self.assertEqual(json.loads(log.splitlines()[0]), {"level": 4, "message": "In RunQuery"})

    def test_query_finds_files_that_lie_deep(self):
        deep = self.work
        for letter in "abcdefgh":
            deep = deep / (letter * 40)
        deep.mkdir(parents=True)
        shutil.copytree(SAMPLE / "catalogue", deep / "catalogue")
        shutil.copy(SAMPLE / "inventory.xml", deep)
        output, _ = self.run_program("query", "--inventory", windows(deep / "inventory.xml"),
                                     "--context", f"svPath={windows(deep / 'catalogue')}")
        self.assertIn('"Type":"Firmware"', output)

    def test_messages_show_names_of_any_script(self):
        _, errors = self.run_program("query", "--inventory", "нет.xml", status=1)
        self.assertIn("нет.xml", errors)
        self.assertIn("wine Ж日 ", errors)

    def test_a_catalogue_with_line_ends_of_windows_gives_the_same(self):
        folder = self.work / "crlf"
        folder.mkdir()
        text = (SAMPLE / "catalogue" / "index.xml").read_bytes().replace(b"\r\n", b"\n")
        (folder / "index.xml").write_bytes(text.replace(b"\n", b"\r\n"))
        same = [self.run_program("query", "--inventory", "инвентарь.xml",
                                 "--context", f"svPath={path}")[0]
                for path in (self.catalogue, windows(folder))]
        self.assertIn('"Type":"Driver"', same[0])
        self.assertEqual(same[0], same[1])

    def test_check_reports(self):
        output, _ = self.run_program("check", "--inventory", "инвентарь.xml",
                                     "--catalogue", self.catalogue, "--format", "json")
        report = json.loads(output)
        self.assertEqual(report["schema"], 1)
        self.assertGreater(len(report["records"]), 5)
        table, _ = self.run_program("check", "--inventory", "инвентарь.xml",
                                    "--catalogue", self.catalogue)
        self.assertIn(report["records"][0]["Name"], table)

    def test_explain_tells_how_a_record_came_about(self):
        output, _ = self.run_program("explain", "--inventory", "инвентарь.xml",
                                     "--catalogue", self.catalogue)
        self.assertIn("System BIOS", output)

    def test_collect_tells_what_this_machine_answers(self):
        self.run_program("collect", "--output", "ž.xml")
        instances = ElementTree.parse(self.work / "ž.xml").getroot().iter("INSTANCE")
        found = {}
        for instance in instances:
            found.setdefault(instance.get("CLASSNAME"), []).append(
                {prop.get("NAME"): prop.findtext("VALUE") for prop in instance.iter("PROPERTY")})
        system = found["QRXSG_OperatingSystem"][0]
        self.assertEqual(system["OSType"], "18")
        self.assertRegex(system["Version"], r"^\d+\.\d+$")
        self.assertEqual(system["HardwarePlatform"], "64-bit")
        drivers = {driver["Name"].lower(): driver for driver in found["QRXSG_DeviceDriverInfo"]}
        self.assertEqual(drivers["mountmgr"]["CurrentState"], "4")
        self.assertRegex(drivers["mountmgr"]["Path"].lower(),
                         r"^c:\\windows\\.*\\mountmgr\.sys$")

    def test_collect_reads_the_running_system_only(self):
        _, errors = self.run_program("collect", "--root", "C:\\windows", status=1)
        self.assertIn("only the running system is read", errors)


if __name__ == "__main__":
    main()
