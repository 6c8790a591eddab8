"""What public catalogues offer, beside what the version checker finds and alone."""

import json
import os
import re
import shutil

from program import (BUILD, MACHINE, SOURCE, SYSTEM, ProgramTest, bios, document, element, main,
                     records_of)
from public_metadata import DOCK, GUID, component, metadata, release

OTHER = "11111111-2222-3333-4444-555555555555"
BIOS_RECORD = {"Type": "System BIOS", "Name": "System BIOS"}


def device(name="Dock", version="1.0.3", identifiers=(DOCK, GUID), version_format=""):
    return ("SVC_FirmwareDevice",
            {"Name": name, "Version": version, "VersionFormat": version_format,
             "Identifiers": [text.replace("&", "&amp;") for text in identifiers],
             "Source": "usb"})


def record(name, installed, offered):
    return {"Type": "Firmware", "Name": name, "InstalledVersion": installed, "SVVersion": offered}


class PublicFirmwareTest(ProgramTest):
    def offers(self, *components, folder="catalogue"):
        file = self.write("metadata.xml", metadata(*components))
        result = self.run_program("catalogue", "import", "--lvfs", file, "--output", folder,
                                  "--allow-unsigned")
        self.assertEqual(0, result.returncode, result.stderr)
        return self.folder / folder

    def steps(self):
        return component(
            release("1.4.0", "critical", "1700000000", "<p>Mends it &lt;b&gt;all&lt;/b&gt;.</p>"
                    "<p>Second line.</p>"),
            release("1.0.5", "high", "1690000000"), release("1.0.3"),
            requires='<firmware compare="ge" version="1.0.3"/>')

    def held(self):
        return [component(release("1.4.0", "critical"), identifiers=(DOCK,), name="New",
                          requires='<firmware compare="ge" version="1.0.5"/>'),
                component(release("1.0.5", "high", "1690000000", "<p>First step.</p>"),
                          name="Step"),
                component(release("9.0.0"), name="Others",
                          requires=f"<hardware>{OTHER}</hardware>")]

    def query(self, catalogue, *options, inventory=None):
        return self.run_program("query", "--inventory", inventory or self.folder / "inventory.xml",
                                "--context", f"svPath={catalogue}", "--log", "query.log", *options)

    def check(self, catalogue, *options):
        result = self.run_program("check", "--inventory", self.folder / "inventory.xml",
                                  "--catalogue", catalogue, "--format", "json", *options)
        return result, json.loads(result.stdout)

    def with_elements(self):
        self.inventory(MACHINE, SYSTEM, bios("1.00"), device())
        return self.catalogue(element(description="Flash BIOS Update", category="BIOS",
                                      Version="2.00"))

    def test_a_query_delivers_what_is_offered_behind_the_first_plug_ins_records(self):
        catalogue = self.with_elements()
        alone = self.query(catalogue)
        alone_log = (self.folder / "query.log").read_bytes()
        self.assertEqual(1, len(records_of(alone.stdout)), alone.stdout)
        self.offers(*self.held())
        both = self.query(catalogue)
        self.assertEqual((0, ""), (both.returncode, both.stderr))
        self.assertTrue(both.stdout.startswith(alone.stdout))
        self.assertEqual([record("Dock", "1.0.3", "1.0.5")],
                         records_of(both.stdout[len(alone.stdout):]))
        log = (self.folder / "query.log").read_bytes()
        self.assertTrue(log.startswith(alone_log))
        self.assertEqual(
            ["Public firmware: Dock: 1.0.5 is offered, 1.0.3 is installed",
             "Public firmware: Dock: 9.0.0 is held back: for another hardware id",
             "Public firmware: Dock: 1.4.0 is held back: needs 1.0.5 installed first",
             "Public firmware: Dock: the way to the highest: 1.0.5, then 1.4.0"],
            [entry["message"] for entry in records_of(log[len(alone_log):].decode())])

    def test_a_catalogue_without_offers_changes_nothing(self):
        catalogue = self.with_elements()
        before = self.query(catalogue)
        log = (self.folder / "query.log").read_bytes()
        self.write("catalogue/firmware.xml", document([]))
        after = self.query(catalogue)
        self.assertEqual((before.returncode, before.stdout, before.stderr),
                         (after.returncode, after.stdout, after.stderr))
        self.assertEqual(log, (self.folder / "query.log").read_bytes())

    def test_a_plug_in_is_chosen_by_name_or_file(self):
        catalogue = self.with_elements()
        self.offers(*self.held())
        first = [item["Name"] for item in records_of(
            self.query(catalogue, "--plugin", "version-checker").stdout)]
        self.assertEqual(1, len(first))
        self.assertNotIn("Dock", first)
        second = [record("Dock", "1.0.3", "1.0.5")]
        for chosen in ("public-firmware", BUILD / "lib/libpublicfirmware.so"):
            self.assertEqual(second,
                             records_of(self.query(catalogue, "--plugin", chosen).stdout))
        by_file = self.query(catalogue, "--plugin", BUILD / "lib/libsvchecker.so")
        self.assertEqual(first, [item["Name"] for item in records_of(by_file.stdout)])

    def test_a_folder_may_be_for_public_firmware_alone(self):
        self.inventory(device())
        catalogue = self.offers(*self.held(), folder="alone")
        self.assertEqual([record("Dock", "1.0.3", "1.0.5")],
                         records_of(self.query(catalogue).stdout))
        result, report = self.check(catalogue)
        self.assertEqual((0, "done", []), (result.returncode, report["outcome"], report["errors"]))
        self.assertEqual("Public Firmware", report["tool"]["plugin"]["name"])
        self.assertEqual(3, report["catalogue"]["elements"])
        self.assertIn("modified", report["catalogue"])
        self.assertEqual([{**record("Dock", "1.0.3", "1.0.5"), "verdict": "outdated",
                           "urgency": "high", "releaseDate": "2023-07-22",
                           "releaseNotes": "First step."}], report["records"])

    def test_a_relative_folder_is_seen_from_the_data_folder_as_by_the_query(self):
        self.inventory(device())
        self.offers(*self.held(), folder="data/public")
        shutil.copytree(BUILD / "share/svcheck/sv", self.folder / "data/sv")
        found = self.query("public", "--data-dir", "data")
        self.assertEqual([record("Dock", "1.0.3", "1.0.5")], records_of(found.stdout))

    def test_a_check_reports_both(self):
        catalogue = self.with_elements()
        before = self.check(catalogue)[1]
        self.offers(*self.held())
        result, report = self.check(catalogue)
        self.assertEqual((0, "done"), (result.returncode, report["outcome"]))
        self.assertEqual(before["records"], report["records"][:-1])
        self.assertEqual(before["catalogue"]["elements"], report["catalogue"]["elements"])
        self.assertEqual("outdated", report["records"][-1]["verdict"])
        self.assertEqual(before["summary"]["outdated"] + 1, report["summary"]["outdated"])
        failing = self.check(catalogue, "--fail-on", "outdated")[0]
        self.assertEqual(2, failing.returncode)

    def test_what_is_found_counts_where_the_first_plug_in_has_nothing(self):
        self.inventory(("QRXSG_ComputerSystem", {"MachineType": "0000"}), SYSTEM, device())
        catalogue = self.catalogue(element(description="Flash BIOS Update", Version="2.00"))
        self.assertEqual("nothing-applicable", self.check(catalogue)[1]["outcome"])
        self.offers(*self.held())
        self.assertEqual("done", self.check(catalogue)[1]["outcome"])
        self.inventory(("QRXSG_ComputerSystem", {"MachineType": "0000"}), SYSTEM)
        self.assertEqual("nothing-applicable", self.check(catalogue)[1]["outcome"])

    def test_verdicts_are_those_of_the_makers_count(self):
        releases = {"plain": ("9", "10"), "hex": ("0x10", "16"), "triplet": ("1.0~rc1", "1.0")}
        for version_format, (installed, offered) in releases.items():
            self.inventory(device(version=installed))
            catalogue = self.offers(component(release(offered), version_format=version_format),
                                    folder=version_format)
            verdict = self.check(catalogue)[1]["records"][0]["verdict"]
            self.assertEqual({"plain": "newer", "hex": "current",
                              "triplet": "outdated"}[version_format], verdict)

    def test_only_the_urgent_ones_are_shown_where_it_is_asked_for(self):
        catalogue = self.with_elements()
        self.offers(*self.held())
        shown = {level: [item["Name"] for item in
                         self.check(catalogue, "--only-urgency", level)[1]["records"]]
                 for level in ("any", "low", "medium", "high", "critical")}
        self.assertEqual(2, len(shown["any"]))
        self.assertEqual([["Dock"]] * 3 + [[]],
                         [shown[level] for level in ("low", "medium", "high", "critical")])
        self.assert_failed(self.run_program("check", "--only-urgency", "soon"), 64, "soon")

    def test_a_page_shows_what_a_release_says_escaped(self):
        self.inventory(device())
        catalogue = self.offers(self.steps(), folder="alone")
        page = self.run_program("check", "--inventory", "inventory.xml", "--catalogue", catalogue,
                                "--format", "html").stdout
        self.assertIn("urgency critical, 2023-11-14", page)
        self.assertIn("<small>Mends it &lt;b&gt;all&lt;/b&gt;.</small><small>Second line.</small>",
                      page)
        saved = self.run_program("check", "--inventory", "inventory.xml", "--catalogue", catalogue,
                                 "--format", "json", "--output", "saved.json")
        self.assertEqual(0, saved.returncode)
        again = self.run_program("report", "saved.json", "--format", "json")
        self.assertEqual((self.folder / "saved.json").read_text(), again.stdout)

    def test_explain_tells_what_is_held_back_and_the_way(self):
        catalogue = self.with_elements()
        self.offers(*self.held())
        told = ["Public firmware",
                "  Dock: 1.0.5 is offered, 1.0.3 is installed",
                "  Dock: 9.0.0 is held back: for another hardware id",
                "  Dock: 1.4.0 is held back: needs 1.0.5 installed first",
                "  Dock: the way to the highest: 1.0.5, then 1.4.0"]
        explained = self.run_program("explain", "--inventory", "inventory.xml", "--catalogue",
                                     catalogue)
        self.assertEqual((0, ""), (explained.returncode, explained.stderr))
        self.assertEqual(told, explained.stdout.splitlines()[-5:])
        os.remove(catalogue / "firmware.xml")
        without = self.run_program("explain", "--inventory", "inventory.xml", "--catalogue",
                                   catalogue)
        self.assertEqual(without.stdout + "\n" + "\n".join(told) + "\n", explained.stdout)
        self.offers(*self.held(), folder="alone")
        alone = self.run_program("explain", "--inventory", "inventory.xml", "--catalogue", "alone")
        self.assertEqual("\n" + "\n".join(told) + "\n", alone.stdout)
        alone = self.run_program("explain", "held back", "--inventory", "inventory.xml",
                                 "--catalogue", "alone")
        self.assertEqual("\n" + "\n".join([told[0], *told[2:4]]) + "\n", alone.stdout)

    def test_the_commands_of_the_page_do_what_it_says(self):
        page = (SOURCE / "docs/public-firmware.md").read_text()
        block, = re.findall(r"(?ms)^<!-- tried -->\n```sh\n(.*?)^```$", page)
        shutil.copytree(BUILD / "share/svcheck/sample", self.folder / "sample")
        (self.folder / "docs").symlink_to(SOURCE / "docs")
        for line in block.splitlines():
            result = self.run_program(*line.split()[1:])
            self.assertEqual((0, ""), (result.returncode, result.stderr), line)
        self.assertEqual(3, len(block.splitlines()))
        self.assertTrue((self.folder / "public/firmware.xml").is_file())

    def test_a_broken_file_of_offers_is_named(self):
        catalogue = self.with_elements()
        self.write("catalogue/firmware.xml", "<CIM>\n<DECLARATION>\n</CIM>")
        result, report = self.check(catalogue)
        self.assertEqual((4, "unreadable-catalogue"), (result.returncode, report["outcome"]))
        self.assertIn(f"{catalogue}/firmware.xml:3: ", report["errors"][0])
        self.assertEqual(1, len(report["records"]))
        result = self.query(catalogue)
        self.assert_failed(result, 3, f"{catalogue}/firmware.xml:3: ")
        self.assertEqual(1, len(records_of(result.stdout)))

    def test_a_fleet_is_compared_with_both(self):
        catalogue = self.with_elements()
        self.offers(*self.held())
        for number in range(40):
            version = f"1.0.{number % 7}"
            self.write(f"fleet/m{number:02}.xml",
                       document([MACHINE, SYSTEM, bios("1.00"), device(version=version)]))
        whole = self.run_program("fleet", "--catalogue", catalogue, "--inventories", "fleet",
                                 "--html", "pages")
        self.assertEqual((0, ""), (whole.returncode, whole.stderr))
        lines = records_of(whole.stdout)
        found = {line["machine"]: (line["SVVersion"], line["verdict"]) for line in lines
                 if line.get("Type") == "Firmware"}
        self.assertEqual(40, len(found))
        for machine, (offered, verdict) in found.items():
            patch = int(machine.removesuffix(".xml")[-2:]) % 7
            self.assertEqual(("1.4.0", "outdated") if patch >= 5 else ("1.0.5", "outdated"),
                             (offered, verdict), machine)
        self.assertEqual(40, len([line for line in lines if line.get("outcome") == "done"]))
        pages = "".join(path.read_text() for path in (self.folder / "pages").rglob("*.html"))
        self.assertIn("urgency critical", pages)
        urgent = self.run_program("fleet", "--catalogue", catalogue, "--inventories", "fleet",
                                  "--only-urgency", "critical")
        shown = [line for line in records_of(urgent.stdout) if "Type" in line]
        self.assertEqual({"1.4.0"}, {line["SVVersion"] for line in shown})
        self.assertEqual(sum(number % 7 >= 5 for number in range(40)), len(shown))


if __name__ == "__main__":
    main()
