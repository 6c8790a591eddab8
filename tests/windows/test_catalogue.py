#!/usr/bin/env python3
"""Catalogues made, checked and listed by the program for Windows."""

import json
import shutil
import sys

from wine_test import SAMPLE, SOURCE, WineTest, main, windows

sys.path.append(str(SOURCE / "tests" / "svcheck" / "author"))
sys.path.append(str(SOURCE / "tests" / "svcheck"))

from made_files import kernel_module, windows_driver  # noqa: E402 (found by the lines above)
from public_metadata import component, metadata, release  # noqa: E402


class Catalogue(WineTest):
    def test_lint_and_list_read_files_of_any_script(self):
        shutil.copytree(SAMPLE / "catalogue", self.work / "каталог")
        self.run_program("catalogue", "lint", "каталог")
        listed = json.loads(self.run_program("catalogue", "list", "каталог", "--format", "json")[0])
        self.assertEqual(len(listed["elements"]), 16)
        (self.work / "каталог" / "описание.xml").write_bytes(b"<CIM>\r\n")
        output, _ = self.run_program("catalogue", "lint", "каталог", "--live", status=4)
        self.assertIn("описание.xml:2", output)
        self.assert_failed(4, "catalogue", "lint", "нет", words=["the catalogue нет cannot be read"])

    def test_build_takes_driver_files_and_firmware_lists(self):
        drivers = self.work / "драйверы" / "глубже"
        drivers.mkdir(parents=True)
        (drivers / "megasas.sys").write_bytes(windows_driver("4.17.0.64"))
        (drivers / "bnx2.ko").write_bytes(kernel_module("2.2.6"))
        (self.work / "список.csv").write_bytes(
            b"type,name,version,machine types,operating systems\r\n"
            b"BIOS,BIOS,YUE112A,4638,SLES10_64\r\n")
        _, errors = self.run_program(
            "catalogue", "build", "--output", "новый", "--drivers", "драйверы", "--firmware",
            "список.csv", "--machine", "4638", "--os", "Windows 2003")
        self.assertIn("bnx2.ko is no driver that can be read: kernel modules are read by svcheck "
                      "for Linux alone", errors)
        listed, _ = self.run_program("catalogue", "list", "новый", "--format", "csv")
        self.assertIn("megasas.sys", listed)
        self.assertIn("4.17.0.64", listed)
        self.assertIn("YUE112A", listed)
        shutil.copy(SAMPLE / "inventory.xml", self.work)
        self.run_program("check", "--inventory", "inventory.xml", "--catalogue",
                         windows(self.work / "новый"))

    def test_public_firmware_is_offered_what_fwupd_knows(self):
        public = "публичный"
        shutil.copy(SOURCE / "docs/examples/devices.json", self.work)
        (self.work / "made.xml").write_text(metadata(component(
            release("MPR06.00_B0001", "high"), version_format="plain",
            identifiers=("1a6daa47-6506-55db-8eaa-d25b1b4b1e4b",),
            requires='<firmware compare="ge" version="BOT30">bootloader</firmware>')))
        self.run_program("catalogue", "import", "--lvfs", "made.xml", "--allow-unsigned",
                         "--output", public)
        self.run_program("collect", "--fwupd", "devices.json", "--only-fwupd", "--output",
                         "devices.xml")
        checked, _ = self.run_program("check", "--inventory", "devices.xml", "--catalogue", public,
                                      "--format", "json", "--fail-on", "outdated", status=2)
        found = [(record["Name"], record["InstalledVersion"], record["SVVersion"],
                  record["verdict"]) for record in json.loads(checked)["records"]]
        self.assertEqual(found, [("Bolt Receiver", "MPR05.00_B0008", "MPR06.00_B0001",
                                  "outdated")])
        explained, _ = self.run_program("explain", "--inventory", "devices.xml", "--catalogue",
                                        public)
        self.assertIn("  Bolt Receiver: MPR06.00_B0001 is offered, MPR05.00_B0008 is installed",
                      explained)


if __name__ == "__main__":
    main()
