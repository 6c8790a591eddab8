#!/usr/bin/env python3
"""The zip runs from any folder, on a system that has never seen the program."""

import gzip
import json
import shutil
import subprocess
import zipfile
from pathlib import Path

from wine_test import BIN, SAMPLE, WINE, Wine, WineTest, main, run, windows


class Package(WineTest):
    def setUp(self):
        super().setUp()
        self.drive = self.work / "prefix" / "drive_c"
        self.environment = {"WINEPREFIX": str(self.work / "prefix")}
        made = run("wineboot", "--init", environment=self.environment)
        self.assertEqual(made.returncode, 0, made.stderr)
        session = Wine(None, WINE, self.environment["WINEPREFIX"]).session()
        session.__enter__()
        self.addCleanup(session.__exit__, None, None, None)
        self.program = self.unpacked(self.drive / "Prüf mal")
        self.svcheck = str(self.program / "bin" / "svcheck.exe")
        self.sample = self.program / "share" / "svcheck" / "sample"

    def unpacked(self, folder):
        subprocess.run(["cpack", "-B", self.work / "made"], cwd=Path(BIN).parent, check=True,
                       stdout=subprocess.DEVNULL)
        (package,) = (self.work / "made").glob("*.zip")
        zipfile.ZipFile(package).extractall(folder)
        (program,) = folder.iterdir()
        return program

    def run_it(self, *arguments, **options):
        return self.run_program(*arguments, environment=self.environment, cwd="/", **options)

    def check(self, *arguments, **options):
        return self.run_it("check", "--inventory", windows(self.sample / "inventory.xml"),
                           *arguments, **options)

    def test_holds_what_it_needs_and_runs(self):
        files = list((self.program / "bin").iterdir())
        self.assertEqual({file.suffix for file in files}, {".dll", ".exe"})
        self.assertEqual([file.name for file in files if file.suffix == ".exe"], ["svcheck.exe"])
        self.assertEqual((self.sample / "inventory.xml").read_bytes(),
                         (SAMPLE / "inventory.xml").read_bytes())
        report, _ = self.check("--format", "json", "--catalogue",
                               windows(self.sample / "catalogue"))
        self.assertEqual(len(json.loads(report)["records"]), 21)
        self.assertIn("QRXSG_OperatingSystem", self.run_it("collect")[0])
        self.run_it("catalogue", "lint", windows(self.sample / "catalogue"))
        _, remarks = self.run_it("repository", "keygen", "--no-password", "--repository-key",
                                 windows(self.work / "k.pub"), "--secret-key",
                                 windows(self.work / "k.sec"))
        self.assertEqual(remarks, "")
        self.workers_start_where_the_program_lies()
        self.settings_of_the_user_hold()

    def workers_start_where_the_program_lies(self):
        packed = self.work / "m.xml.gz"
        packed.write_bytes(gzip.compress((SAMPLE / "inventory.xml").read_bytes()))
        results, _ = self.run_it("fleet", "--catalogue", windows(self.sample / "catalogue"),
                                 "--jobs", "2", "--inventories", windows(packed), windows(packed))
        self.assertEqual(results.count('"outcome":"done"'), 2)
        self.assertIn("zlib", (self.program / "licences/libz-mingw-w64-dev.txt").read_text())

    def settings_of_the_user_hold(self):
        (roaming,) = self.drive.glob("users/*/AppData/Roaming")
        settings = roaming / "svcheck" / "config.toml"
        settings.parent.mkdir()
        settings.write_bytes('format = "csv"\r\n[check]\r\ncatalogue = "каталог"\r\n'.encode())
        shutil.copytree(SAMPLE / "catalogue", settings.parent / "каталог")
        self.assertEqual(len(self.check()[0].splitlines()), 22)
        shown = json.loads(self.run_it("config", "--format", "json")[0])["settings"]
        (row,) = [row for row in shown if row["name"] == "format"]
        self.assertEqual((row["value"], row["line"]), ("csv", 1))
        self.assertTrue(row["file"].endswith("\\AppData\\Roaming\\svcheck\\config.toml"), row)
        settings.write_bytes(b'format = "csv"\r\ncatalog = "x"\r\n')
        _, errors = self.check(status=64)
        self.assertIn('config.toml:2: there is no setting "catalog"', errors)


if __name__ == "__main__":
    main()
