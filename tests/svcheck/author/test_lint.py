"""`svcheck catalogue lint`: each rule finds what it is for, where it stands, and nothing else."""

import json

from program import DIALECT, MACHINE, SAMPLE, ProgramTest, document, element, main


def bios(**more):
    return {"name": "b", "category": "BIOS", "Version": "-[YUE112A]-", **more}


def drivers(files, **more):
    return {"name": "d", "driverFiles": files, **more}


def adapter(description, files):
    return {"name": "a", "description": description, "driverFiles": files}


BROADCOM = "Broadcom NetXtreme and NetXtreme II Firmware"
MEGARAID = "QRX Arrayon AX20i SAS Controller Firmware"
FIRST = "-[fdcp-1.10]-"

# Elements that are good, each with what makes it worth a test.
GOOD = [
    bios(),
    bios(colour="blue"),
    bios(Versionxyz="1"),
    bios(description="BIOS Update (uEFI)"),
    drivers("e1000e.ko-#1.0 bnx2.ko-#1.9.20"),
    drivers("e1000e.ko-#1.0 with words"),
    drivers("scsi_mod-#1.0"),
    drivers("e1000e.ko-#1", applicableOperatingSystems=["for RHEL5_64 and others"]),
    drivers("e1000e.ko-#1", applicableOperatingSystems=["Linux"]),
    drivers("e1000e.ko-#1", applicableMachineTypes=["Rackwell -[4638]-, -[4620]-"]),
    drivers("e1000e.ko-#1", applicableMachineTypes=["-[PowerEdge R750]-",
                                                    "-[Standard PC (Q35 + ICH9, 2009)]-",
                                                    "-[A [b]]-"]),
    adapter(BROADCOM, "nx2fw_bcm5708-#4.6.4"),
    adapter(MEGARAID, "QRX Arrayon AX 20i SAS Controller Firmware-#7.0.1-0056"),
    adapter("LSI 1064", "lsi_fw_sas1064e-#1.27 lsi_bios_1064e-#6.28"),
    {"name": "x", "category": "BMC/H8", "description": "Baseboard Management Controller",
     "Version": "-[BMYE40A]-"},
    {"name": "x", "installDirectory": "/PKGS/DIAG", "Version": FIRST, "BuildNumber": "-[DSYT92A]-"},
    {"name": "x", "description": "Diagnostics", "Version": FIRST, "BuildNumber": "-[DSYT92A]-",
     "applicableMachineTypes": ["-[4620]-", "-[4638]-"]},
]

# Rule, then an element that breaks it and no other.
BAD = [
    ("name-missing", bios(name="")),
    ("property-mistyped", bios(driverFile="e1000e.ko-#1")),
    ("property-mistyped", bios(Versionxy="1")),
    ("property-form", drivers("e1000e.ko-#1", applicableMachineTypes="-[4638]-")),
    ("property-type", bios(BuildNumber=7)),
    ("machine-types-missing", bios(applicableMachineTypes=[])),
    ("machine-type-marks", bios(applicableMachineTypes=["4638", "-[4638]-"])),
    ("machine-type-marks", bios(applicableMachineTypes=["]-4638-["])),
    ("machine-type-unreachable", bios(applicableMachineTypes=["-[]-"])),
    ("machine-type-unreachable", bios(applicableMachineTypes=["-[ 4638 ]-"])),
    ("drivers-without-system", drivers("e1000e.ko-#1", applicableOperatingSystems=[])),
    ("systems-missing", bios(applicableOperatingSystems=[])),
    ("system-unknown", bios(applicableOperatingSystems=["RHEL9", "RHEL5"])),
    ("system-case", drivers("e1000e.ko-#1", applicableOperatingSystems=["rhel5_64"])),
    ("updates-nothing", {"name": "n", "description": "Something"}),
    ("processor-unnamed", {"name": "n", "category": "BMC/H8"}),
    ("also-bios", bios(description="Remote Watch Adapter")),
    ("folder-form", drivers("e1000e.ko-#1", installDirectory="\\PKGS\\DIAG")),
    ("version-missing", bios(Version="-[]-")),
    ("version-missing", bios(Version="")),
    ("version-unmarked", bios(Version="1.12")),
    ("version-half-marked", bios(Version="1.12-[YUE112A")),
    ("version-half-marked", bios(Version="x]-y-[z")),
    ("version-blanks", bios(Version="-[YUE112A ]-")),
    ("build-missing", {"name": "x", "description": "Diagnostics", "Version": FIRST}),
    ("diagnostics-skipped", {"name": "x", "description": "Diagnostics", "Version": FIRST,
                             "BuildNumber": "-[DSYT92A]-",
                             "applicableMachineTypes": ["-[4620]-", "-[2705]-"]}),
    ("adapter-files-missing", adapter(BROADCOM, "")),
    ("broadcom-case", adapter(BROADCOM, "NX2FW_BCM5708-#4.6.4")),
    ("megaraid-key", adapter(MEGARAID, "QRX Arrayon AX 20i SAS controller Firmware-#7.0.1")),
    ("megaraid-model", adapter(MEGARAID, "QRX Arrayon AX20i SAS Controller Firmware-#7.0.1")),
    ("megaraid-model", adapter(MEGARAID, "Another Controller Firmware-#7.0.1")),
    ("lsi-bios-missing", adapter("LSI 1078 SAS", "lsi_fw_sas1078-#1.27")),
    ("drivers-unversioned", drivers("e1000e.ko 1.0")),
    ("driver-entry-empty", drivers("e1000e.ko-#1 bnx2.ko-#")),
    ("driver-unreachable", drivers("e1000e.ko-#1  bnx2.ko-#1")),
    ("driver-unreachable", drivers("kernel/e1000e.ko-#1")),
    ("driver-unreachable", drivers(".ko-#1")),
    ("driver-name-blanks", drivers("e1000e.ko-#1 2 bnx2.ko-#1")),
    ("driver-version-blanks", drivers("e1000e.ko-#1 ")),
]


class LintTest(ProgramTest):
    def lint(self, folder, *options):
        result = self.run_program("catalogue", "lint", folder, "--format", "json", *options)
        self.assertEqual(result.stderr, "")
        return json.loads(result.stdout), result.returncode

    def rules_of(self, folder, *options):
        report, status = self.lint(folder, *options)
        self.assertEqual(status, 2 if report["summary"]["error"] else 0)
        return [finding["rule"] for finding in report["findings"]]

    def test_good_elements_have_no_finding(self):
        for properties in GOOD:
            with self.subTest(properties):
                self.assertEqual(self.rules_of(self.catalogue(element(**properties))), [])

    def test_each_rule_finds_what_it_is_for(self):
        for rule, properties in BAD:
            with self.subTest(rule, properties=properties):
                found = self.rules_of(self.catalogue(element(**properties)))
                self.assertEqual(found, [rule])

    def test_systems_without_a_code_are_told_once_and_are_no_error(self):
        folder = self.catalogue(*(element(**drivers(f"m{n}.ko-#1", name=f"d{n}",
                                                    applicableOperatingSystems=[f"SYSTEM{n}"]))
                                  for n in range(5)))
        report, status = self.lint(folder)
        self.assertEqual([(found["rule"], found["severity"], found["element"], found["detail"])
                          for found in report["findings"]],
                         [("system-unknown", "warning", "d0",
                           '"SYSTEM0", "SYSTEM1", "SYSTEM2" and 2 more')])
        self.assertIn("every driver counts", report["findings"][0]["what"])
        self.assertEqual(status, 0)
        # And so it is: on a system without a code they are compared.
        inventory = self.inventory(
            MACHINE, ("QRXSG_OperatingSystem", {"Version": "12", "OSType": 36,
                                                "BuildID": "Debian GNU/Linux 12",
                                                "HardwarePlatform": "x86_64"}),
            *(("QRXSG_DeviceDriverInfo", {"Path": f"\\m{n}.ko", "Version": "1",
                                          "CurrentState": "4"}) for n in range(5)))
        result = self.run_program("query", "--inventory", inventory, "--context",
                                  f"svPath={folder}")
        self.assertEqual(len(result.stdout.splitlines()), 5, result.stdout)

    def test_drivers_for_no_system_are_no_error(self):
        folder = self.catalogue(element(**drivers("m.ko-#1", applicableOperatingSystems=[])))
        report, status = self.lint(folder)
        self.assertEqual([(found["rule"], found["severity"]) for found in report["findings"]],
                         [("drivers-without-system", "warning")])
        self.assertEqual(status, 0)

    def test_glued_entries_are_told_with_the_name_that_comes_of_them(self):
        found = self.rules_of(self.catalogue(element(**drivers("a.ko-#1b.ko-#2"))))
        self.assertEqual(found, ["drivers-glued"])
        found = self.rules_of(self.catalogue(element(**drivers("a.ko-#1\nb.ko-#2"))))
        self.assertIn("drivers-glued", found)

    def test_a_finding_names_file_line_and_advice(self):
        folder = self.catalogue(element(**bios()), element(**bios(name="second", Version="1.12")))
        text = (folder / "index.xml").read_text().splitlines()
        line = 1 + max(i for i, found in enumerate(text) if "1.12" in found)
        result = self.run_program("catalogue", "lint", folder)
        self.assertIn(f"index.xml:{line}: warning: second: ", result.stdout)
        self.assertIn("[version-unmarked]\n    Put what", result.stdout)
        self.assertEqual(result.returncode, 0)

    def test_lines_hold_behind_texts_that_are_rewritten_while_they_are_read(self):
        folder = self.catalogue(
            element(**bios(description="a &amp;\r\n b\r\n<![CDATA[\n]]><!--\n\n--> &lt;")),
            element(**bios(name="second", Version="1.12")))
        lines = (folder / "index.xml").read_bytes().replace(b"\r\n", b"\n").split(b"\n")
        line = 1 + max(i for i, text in enumerate(lines) if b"1.12" in text)
        finding = self.lint(folder)[0]["findings"][-1]
        self.assertEqual((finding["element"], finding["line"]), ("second", line))

    def test_what_is_also_a_bios_is_told_at_the_property_that_says_so(self):
        for category, description, named in (
                ("BIOS", "Remote Watch Adapter", "category"),
                ("BMC/H8", "BIOS Update of a Remote Watch Adapter", "description")):
            with self.subTest(named):
                folder = self.catalogue(element(**bios(category=category,
                                                       description=description)))
                lines = (folder / "index.xml").read_text().splitlines()
                found = [(each["rule"], lines[each["line"] - 1])
                         for each in self.lint(folder)[0]["findings"]]
                self.assertEqual([rule for rule, _ in found], ["also-bios"])
                self.assertIn(f'NAME="{named}"', found[0][1])

    def test_duplicates(self):
        twice = element(**bios())
        self.assertEqual(self.rules_of(self.catalogue(twice, twice)), ["duplicate-element"])
        self.assertEqual(self.rules_of(self.catalogue(
            element(**bios(Version="-[A]-")), element(**bios(Version="-[B]-")))),
            ["duplicate-name", "conflicting-firmware"])
        self.assertEqual(self.rules_of(self.catalogue(
            element(**drivers("a.ko-#1 A.sys-#2")))), ["duplicate-driver"])
        self.assertEqual(self.rules_of(self.catalogue(
            element(**drivers("a.ko-#1")), element(**drivers("a.ko-#2", name="other")))),
            ["duplicate-driver"])
        self.assertEqual(self.rules_of(self.catalogue(
            element(**drivers("a.ko-#1")),
            element(**drivers("a.ko-#2", applicableMachineTypes=["-[4620]-"])))), [])

    def test_dialects(self):
        for instruction, rule, line in (("", "dialect-missing", 1),
                                        ("\n\n", "dialect-missing", 1),
                                        ('<?sv-catalogue version="4.01"?>', "dialect-old", 1),
                                        ('\n<?sv-catalogue version="new"?>', "dialect-old", 2)):
            with self.subTest(instruction):
                folder = self.catalogue(element(**bios(name="")), instruction=instruction)
                self.assertEqual(sorted(self.rules_of(folder)), [rule, "name-missing"])
                found, = (found for found in self.lint(folder)[0]["findings"]
                          if found["rule"] == rule)
                self.assertEqual(found["line"], line)

    def test_what_the_loader_refuses_is_found_with_its_line(self):
        folder = self.catalogue(element(**bios()), ("No_Such_Class", {"name": "x"}))
        report, status = self.lint(folder)
        refused = [found for found in report["findings"] if found["rule"] == "refused"]
        self.assertEqual((len(refused), status), (1, 2))
        lines = (folder / "index.xml").read_text().splitlines()
        self.assertIn("No_Such_Class", lines[refused[0]["line"] - 1])
        self.assertIn("No_Such_Class", refused[0]["detail"])

    def test_a_malformed_file_cannot_be_read(self):
        self.write("catalogue/index.xml", document([element(**bios(name=""))], DIALECT)
                   .replace("</DECLGROUP>", "</DECLARATION>"))
        report, status = self.lint(self.folder / "catalogue")
        self.assertEqual(status, 4)
        self.assertEqual([found["rule"] for found in report["findings"]],
                         ["name-missing", "malformed"])

    def test_a_file_that_no_check_loads(self):
        folder = self.catalogue(element(**bios()))
        self.write("catalogue/more.XML", "x")
        self.write("catalogue/readme.txt", "x")
        report, status = self.lint(folder)
        self.assertEqual([(f["rule"], f["file"], f["line"]) for f in report["findings"]],
                         [("not-loaded", "more.XML", None)])
        self.assertEqual(status, 0)

    def test_an_empty_catalogue(self):
        self.assertEqual(self.rules_of(self.catalogue()), ["no-elements"])

    def test_downloaded_descriptions(self):
        self.write("live/darwin.xml", document([element(
            **drivers("a.ko-#1", applicableOperatingSystems=["RHEL5", "Linux"]))], DIALECT))
        self.write("live/linux_.xml", document([element(
            **drivers("b.sys-#1", name="b", applicableOperatingSystems=["Windows 2003"]))], DIALECT))
        self.write("live/family.xml.txt", document([element(
            **drivers("c.ko-#1", applicableOperatingSystems=["RHEL5"], name="c"))], DIALECT))
        self.write("live/README.XML", "x")
        report, status = self.lint(self.folder / "live", "--live")
        self.assertEqual([(found["file"], found["rule"]) for found in report["findings"]],
                         [("README.XML", "not-loaded"), ("darwin.xml", "passed-over-linux"),
                          ("family.xml.txt", "family-missing"),
                          ("linux_.xml", "passed-over-windows")])
        self.assertEqual((status, report["elements"]), (2, 3))

    def test_derived_classes_and_their_defaults(self):
        text = document([], DIALECT).replace("<DECLGROUP>", """<DECLGROUP>
<VALUE.OBJECT><CLASS NAME="Base"><PROPERTY NAME="n" TYPE="string"/></CLASS></VALUE.OBJECT>
<VALUE.OBJECT><CLASS NAME="My_Update" SUPERCLASS="QRXPSG_SystemUpdateElement">
<PROPERTY NAME="name" TYPE="string"><VALUE>default</VALUE></PROPERTY></CLASS></VALUE.OBJECT>
<VALUE.OBJECT><INSTANCE CLASSNAME="MY_UPDATE"/></VALUE.OBJECT>
<VALUE.OBJECT><INSTANCE CLASSNAME="Base"/></VALUE.OBJECT>""")
        folder = self.write("catalogue/index.xml", text).parent
        self.assertEqual(self.rules_of(folder), ["machine-types-missing", "systems-missing",
                                                 "updates-nothing", "other-class"])

    def test_the_sample_has_no_error(self):
        report, status = self.lint(SAMPLE / "catalogue")
        self.assertEqual((status, report["summary"]["error"]), (0, 0))
        self.assertEqual({found["rule"] for found in report["findings"]}, {"duplicate-driver"})

    def test_failures(self):
        self.assert_failed(self.run_program("catalogue", "lint", self.folder / "none"), 4, "none")
        (self.folder / "empty").mkdir()
        self.assert_failed(self.run_program("catalogue", "lint", "empty"), 4, "index.xml", "--live")
        self.assert_failed(self.run_program("catalogue", "lint", "--live", "empty"), 4, "xml")
        self.assert_failed(self.run_program("catalogue", "lint"), 64)
        self.assert_failed(self.run_program("catalogue"), 64)
        self.assert_failed(self.run_program("catalogue", "lint", "x", "--format", "html"), 64)
        folder = self.catalogue(element(**bios()))
        self.assert_failed(self.run_program("catalogue", "lint", folder, "--data-dir", "empty"), 1,
                           "sv.definitions.xml", "--data-dir")

    def test_help(self):
        result = self.run_program("catalogue", "lint", "--help")
        self.assertEqual(result.returncode, 0)
        self.assertIn("Usage: svcheck catalogue lint [OPTIONS] DIR", result.stdout)
        self.assertIn("svcheck catalogue lint --live --format json /srv/descriptions",
                      result.stdout)


if __name__ == "__main__":
    main()
