"""What a check says of what it did not compare: its state with the reason, systems without a code,
installed pieces without a record, and the age of the catalogue."""

import csv
import io
import json
import os
import re

from program import (MACHINE, SAMPLE, SYSTEM, ProgramTest, bios, document, element, main, records_of)

FORMATS = ("table", "json", "ndjson", "csv", "html", "junit", "nagios", "prometheus")
BIOS = {"name": "bios", "description": "BIOS Update", "Version": "1.1-[YUE112A]-"}
OTHER = ["-[1111]-"]
DEBIAN = ("QRXSG_OperatingSystem", {"Version": "6.1", "OSType": 36, "BuildID": "Debian GNU/Linux 12",
                                    "HardwarePlatform": "x86_64"})


def driver(name, version="1.0", state="4"):
    return ("QRXSG_DeviceDriverInfo", {"Name": name, "Path": f"C:\\drivers\\{name}.ko",
                                       "Version": version, "CurrentState": state})


def drivers(text, **more):
    return element(name="drivers", description="Drivers", driverFiles=text, **more)


class StateTest(ProgramTest):
    def check(self, *arguments):
        return self.run_program("check", "--inventory", "inventory.xml", "--catalogue", "catalogue",
                                *arguments)

    def report(self, *arguments):
        result = self.check("--format", "json", *arguments)
        return json.loads(result.stdout)

    def machine(self, *pieces, system=SYSTEM):
        self.inventory(MACHINE, system, *pieces)


class NothingCompared(StateTest):
    def cases(self):
        """Each with the words of its reason."""
        self.machine(bios("YUE110B"))
        yield [], "the catalogue holds no update elements"
        for types, said in (
                (["-[1111]-"], "the catalogue's only element is not for machine type 4638; its only type "
                               "is 1111"),
                (["-[4639]-", "-[1111]-"], "its types are 4639 and 1111"),
                (["-[4639]-", "-[1111]-", "-[4630]-", "-[2638]-", "-[46]-"],
                 "; the nearest of its 5 types are 2638, 4630 and 4639"),
                ([], "it names no machine type")):
            yield [element(**BIOS | {"applicableMachineTypes": types})], said
        yield ([element(**BIOS | {"applicableMachineTypes": OTHER})] * 16,
               "none of the catalogue's 16 elements is for machine type 4638")
        yield ([element(name="x", description="Drivers", driverFiles="none.ko-#1")],
               "the catalogue offers updates for this machine, but none for what is installed")
        yield ([element(**BIOS | {"Version": "1.1-[ABC112A]-"})],
               "the only record could not be ordered: the build ids are of different series (1)")

    def test_every_format_says_so_and_why(self):
        for elements, said in self.cases():
            self.catalogue(*elements)
            report = self.report()
            with self.subTest(said):
                self.assertEqual((report["state"], report["summary"]["compared"]),
                                 ("nothing-compared", 0))
                self.assertIn(said, report["stateReason"])
                for form in FORMATS:
                    result = self.check("--format", form)
                    self.assertEqual(result.returncode, 3 if form == "nagios" else 0, result.stderr)
                    words = "svcheck_compared_records 0\nsvcheck" if form == "prometheus" else said
                    text = result.stdout.replace("&#39;", "'").replace("&apos;", "'")
                    self.assertIn(words.split("\n")[0], text)
                self.assertTrue(self.check().stdout.startswith("NOTHING COMPARED: "))
                self.assertIn("<h1>Nothing was compared</h1>", self.check("--format", "html").stdout)
                self.assertNotIn("|", self.check("--format", "nagios").stdout)
                self.assertIn("\nsvcheck_success 0\n", self.check("--format", "prometheus").stdout)
                for condition, status in (("nothing", 2), ("different", 2), ("outdated,newer", 0)):
                    self.assertEqual(self.check("--fail-on", condition).returncode, status)

    def test_one_record_that_can_be_ordered_is_enough(self):
        for installed, state in (("YUE110B", "updates"), ("YUE112A", "current"), ("YUE113A", "current"),
                                 ("ABC112A", "nothing-compared")):
            self.machine(bios(installed))
            self.catalogue(element(**BIOS))
            report = self.report()
            self.assertEqual(report["state"], state)
            self.assertEqual("stateReason" in report, state == "nothing-compared")
            self.assertEqual(self.check("--fail-on", "nothing").returncode,
                             2 if state == "nothing-compared" else 0)

    def test_a_machine_of_a_fleet_says_the_same(self):
        for elements, _ in self.cases():
            folder = self.catalogue(*elements)
            report = self.report()
            result = self.run_program("fleet", "--catalogue", folder, "--inventories", "inventory.xml",
                                      "--output", "-")
            last = records_of(result.stdout)[-1]
            self.assertEqual((last["state"], last["stateReason"], last["summary"]["compared"]),
                             ("nothing-compared", report["stateReason"], 0))
        page = self.folder / "pages"
        self.run_program("fleet", "--catalogue", folder, "--inventories", "inventory.xml", "--output",
                         "results.ndjson", "--html", page)
        self.assertIn("the only record could not be ordered",
                      next((page / "machines").iterdir()).read_text())


class UnknownSystem(StateTest):
    def setUp(self):
        super().setUp()
        self.catalogue(element(**BIOS), drivers("bnx2.ko-#2.0", applicableOperatingSystems=["RHEL5"]))

    def test_it_is_told_in_every_format_and_only_then(self):
        for system, known in ((SYSTEM, True), (DEBIAN, False)):
            self.machine(bios("YUE112A"), driver("bnx2"), system=system)
            report = self.report()
            self.assertEqual((report["osKnown"], len(report["notices"])), (known, 0 if known else 1))
            for form in FORMATS:
                text = self.check("--format", form).stdout
                said = ("svcheck_os_known 0" if form == "prometheus" else
                        "Catalogues have no code for this operating system")
                self.assertEqual(said in text, not known, form)

    def test_its_drivers_can_be_left_out_of_the_judgement(self):
        self.machine(bios("YUE112A"), driver("bnx2"), system=DEBIAN)
        for arguments, names, state in (([], ["System BIOS", "BNX2"], "updates"),
                                        (["--os-unknown", "compare"], ["System BIOS", "BNX2"], "updates"),
                                        (["--os-unknown", "skip-drivers"], ["System BIOS"], "current")):
            report = self.report(*arguments)
            self.assertEqual([record["Name"] for record in report["records"]], names)
            self.assertEqual((report["state"], report.get("driversLeftOut")),
                             (state, 1 if len(names) == 1 else None))
            self.assertEqual(self.check(*arguments, "--fail-on", "different").returncode,
                             2 if state == "updates" else 0)
        self.assertEqual(report["notCompared"], [{"type": "Driver", "name": "BNX2", "version": "1.0",
                                                  "reason": "other-system"}])
        self.assertIn("left out, 1 of them", report["notices"][0])

    def test_a_system_that_is_known_keeps_its_drivers(self):
        system = ("QRXSG_OperatingSystem", {"OSType": 36, "BuildID": "Red Hat Enterprise Linux release 5",
                                            "HardwarePlatform": "i686", "Version": "2.6"})
        self.machine(driver("bnx2"), system=system)
        report = self.report("--os-unknown", "skip-drivers")
        self.assertEqual((report["osKnown"], report["state"]), (True, "updates"))
        self.assertNotIn("driversLeftOut", report)


class Coverage(StateTest):
    def reasons(self, *arguments):
        return {piece["name"]: (piece["version"], piece["reason"])
                for piece in self.report(*arguments)["notCompared"]}

    def test_each_driver_has_its_reason(self):
        self.machine(driver("offered"), driver("silent", ""), driver("alone"), driver("machine"),
                     driver("system"), driver("stopped", state="1"), driver("both"),
                     driver("asked", ""))
        self.catalogue(drivers("offered.ko-#1.0 stopped.ko-#2 asked.ko-#3"),
                       drivers("machine.ko-#2 both.ko-#2", applicableMachineTypes=OTHER),
                       drivers("system.ko-#2 both.ko-#3", applicableOperatingSystems=["RHEL5"]))
        self.assertEqual(self.reasons(), {
            "SILENT": (None, "no-version"), "ALONE": ("1.0", "not-offered"),
            "MACHINE": ("1.0", "other-machine"), "SYSTEM": ("1.0", "other-system"),
            "STOPPED": ("1.0", "not-running"), "BOTH": ("1.0", "other-system")})
        self.assertEqual(self.report()["installed"], 8)

    def test_a_text_longer_than_any_name_is_cut(self):
        self.catalogue(drivers("none.ko-#1"))
        self.machine(driver("n" * 200, "1" * 200), driver("m" * 201, "2" * 201))
        self.assertEqual(
            [(piece["name"], piece["version"]) for piece in self.report()["notCompared"]],
            [("N" * 200, "1" * 200), ("M" * 200 + "...", "2" * 200 + "...")])

    def test_each_class_of_firmware_that_is_compared_counts(self):
        pieces = [bios("YUE110B"), ("QRXSG_DiagnosticVPD", {"BuildNumber": "D1", "Version": "V1"}),
                  ("QRXSG_SPROMFirmwareVPDMain", {"Name": "SP", "BuildNumber": "B1", "Version": "1"}),
                  ("QRXSG_SPROMFirmwareVPDMain", {"Name": "SQ", "Version": "1"}),
                  ("QRXSG_IPMIFirmwareElement", {"Name": "BMC", "Version": "M1"}),
                  ("QRXSG_BcmDeviceFirmwareElement", {"Name": "NIC", "Version": "4"}),
                  ("QRXSG_MegaLSIFWPackageBuildFirmwareElement", {"Name": "RAID", "Version": "7"}),
                  ("QRXSG_LSIFirmwareElement", {"Name": "LF", "Version": "1"}),
                  ("QRXSG_LSIBIOSElement", {"Name": "LB", "Version": "2"}),
                  ("SVC_FirmwareDevice", {"Name": "NVME", "Vendor": "X", "Version": "3"})]
        classes = ('<VALUE.OBJECT><CLASS NAME="SVC_FirmwareDevice"><PROPERTY NAME="Name" TYPE="string"/>'
                   '<PROPERTY NAME="Version" TYPE="string"/></CLASS></VALUE.OBJECT>')
        self.write("inventory.xml", document([MACHINE, SYSTEM, *pieces]).replace(
            "<DECLGROUP>", "<DECLGROUP>" + classes))
        self.catalogue(element(**BIOS | {"applicableMachineTypes": OTHER}),
                       element(name="bmc", category="BMC/H8", applicableMachineTypes=OTHER,
                               description="Baseboard Management Controller"))
        self.assertEqual(self.reasons(), {
            "System BIOS": ("YUE110B", "other-machine"), "Diagnostics": ("D1 - V1", "not-offered"),
            "SP": ("B1", "not-offered"), "SQ": (None, "no-version"), "BMC": ("M1", "other-machine"),
            "NIC": ("4", "not-offered"), "RAID": ("7", "not-offered"), "LF": ("1", "not-offered"),
            "LB": ("2", "not-offered"), "NVME": ("3", "not-offered")})

    def test_of_the_sample_only_what_has_no_record_is_named(self):
        text = (SAMPLE / "inventory.xml").read_text()
        self.write("inventory.xml", text)
        self.write("catalogue/index.xml", (SAMPLE / "catalogue" / "index.xml").read_bytes())
        self.assertEqual(self.reasons(), {
            "NetXtreme II BCM5708 management": ("ASFIPMI 6.02", "not-offered"),
            "USB-STORAGE": ("1.0", "not-running")})
        installed = len(re.findall(r'CLASSNAME="QRXSG_(?!ComputerSystem|OperatingSystem)', text))
        self.assertEqual(self.report()["installed"], installed)

    def test_a_server_whose_modules_state_no_version_is_told_so(self):
        compared = [f"mod{number}" for number in range(6)]
        self.machine(*map(driver, compared), *(driver(f"bare{n}", "") for n in range(20)), system=DEBIAN)
        self.catalogue(drivers(" ".join(f"{name}.ko-#1.0" for name in compared)))
        said = "26 installed pieces: 6 compared, 20 not: 20 state no version."
        for form in ("table", "html", "nagios"):
            self.assertIn(said, self.check("--format", form).stdout, form)
        self.assertIn("6 records: 6 current.", self.check().stdout)
        self.assertIn('<property name="notCompared.no-version" value="20"/>',
                      self.check("--format", "junit").stdout)
        for arguments, count in ([], 0), (["--csv-not-compared"], 20):
            rows = csv.DictReader(io.StringIO(self.check("--format", "csv", *arguments).stdout))
            self.assertEqual(sum(row["Verdict"] == "not compared: no-version" for row in rows), count)

    def test_the_page_folds_it(self):
        self.machine(bios("YUE112A"), driver("&lt;b&gt;", ""))
        self.catalogue(element(**BIOS))
        page = self.check("--format", "html").stdout
        self.assertIn("<summary>2 installed pieces: 1 compared, 1 not: 1 states no version.</summary>",
                      page)
        self.assertIn("<th scope=\"row\">&lt;B&gt;</th><td>Driver</td>", page)


class Age(StateTest):
    def dated(self, *days):
        self.machine(bios("YUE112A"))
        folder = self.catalogue(*(element(**BIOS, **({"releaseDate": day} if day else {}))
                                  for day in days))
        return folder / "index.xml"

    def test_it_is_of_the_newest_element_whenever_the_copy_was_made(self):
        for days, date in (((None,), None), (("2020-02-29",), "2020-02-29"),
                           (("2020-02-29", "2021-03-01", "2019-01-01", None), "2021-03-01"),
                           (("20210301",), "2021-03-01"), (("2021-03-01T10:00:00Z",), "2021-03-01"),
                           (("20210301100000.000000+000",), "2021-03-01"),
                           (("2021-02-29",), None), (("soon", "2021", "2021-3-1"), None),
                           (("2999-01-01", "2021-03-01"), "2021-03-01"), (("2999-01-01",), None)):
            self.dated(*days)
            report = self.report()
            self.assertEqual(report["catalogue"].get("date"), date and f"{date}T00:00:00Z", days)

    def test_too_old_a_one_is_a_warning(self):
        for days, age, status in ((("2020-02-29",), 365, 1), (("2020-02-29",), 99999, 0),
                                  ((None,), 1, 0)):
            self.dated(*days)
            more = ["--max-age", age]
            self.assertEqual(self.check("--format", "nagios", *more).returncode, status)
            self.assertEqual(self.check(*more).returncode, 0)
            for form in FORMATS:
                text = self.check("--format", form, *more).stdout
                said = "catalogue_too_old 1" if form == "prometheus" else "The catalogue is "
                self.assertEqual(said in text, status == 1, form)
        index = self.dated(None)
        os.utime(index, (86400, 86400))
        self.assertEqual(self.check("--format", "nagios", "--max-age", 1).returncode, 1)

    def test_it_is_a_setting_and_a_whole_number(self):
        self.dated("2020-02-29")
        for env, status in ({"SVCHECK_MAX_AGE": "30"}, 1), ({}, 0):
            result = self.run_program("check", "--inventory", "inventory.xml", "--catalogue", "catalogue",
                                      "--format", "nagios", env=env)
            self.assertEqual(result.returncode, status)
        for text in ("-1", "x", "1.5", ""):
            self.assertEqual(self.check("--max-age=" + text).returncode, 64, text)


class Doctor(StateTest):
    def findings(self, *arguments):
        result = self.run_program("doctor", "--format", "json", "--inventory", "inventory.xml",
                                  "--catalogue", "catalogue", *arguments)
        return {row["subject"]: row for row in json.loads(result.stdout)["findings"]}

    def test_nothing_compared_is_not_good(self):
        self.machine(bios("YUE110B"))
        for elements, installed, state, words in (
                ([element(**BIOS)], "YUE110B", "good", "1 of 1 record could be ordered"),
                ([element(**BIOS)], "ABC110B", "warning", "the only record could not be ordered"),
                ([element(**BIOS | {"applicableMachineTypes": OTHER})], "YUE110B", "warning",
                 "not for machine type 4638"),
                ([], "YUE110B", "warning", "no update elements")):
            self.machine(bios(installed))
            self.catalogue(*elements)
            found = self.findings()["comparison"]
            self.assertEqual(found["state"], state, found)
            self.assertIn(words, found["text"])
            self.assertEqual(found["advice"] is None, state == "good")

    def test_a_catalogue_for_another_type_is_told(self):
        self.machine(bios("YUE110B"))
        self.catalogue(element(**BIOS))
        self.assertIn("machine type 9999; its only type is 4638",
                      self.findings("--machine", "9999")["comparison"]["text"])

    def test_a_system_without_a_code_is_told(self):
        self.catalogue(element(**BIOS))
        for system, state, words in ((SYSTEM, "good", "SLES10_64"), (DEBIAN, "warning", "no code")):
            self.machine(bios("YUE110B"), system=system)
            found = self.findings()["operating system"]
            self.assertEqual(found["state"], state)
            self.assertIn(words, found["text"])

    def test_a_catalogue_that_cannot_be_read_is_no_comparison(self):
        self.machine(bios("YUE110B"))
        self.write("catalogue/index.xml", "<CIM>")
        found = self.findings()
        self.assertEqual((found["catalogue"]["state"], found["comparison"]["state"]),
                         ("problem", "warning"))

    def test_an_old_catalogue_is_old_whenever_it_was_copied(self):
        self.machine(bios("YUE110B"))
        for day, state in (("2020-01-01", "warning"), (None, "good")):
            self.catalogue(element(**BIOS, **({"ReleaseDate": day} if day else {})))
            self.assertEqual(self.findings()["catalogue"]["state"], state)


if __name__ == "__main__":
    main()
