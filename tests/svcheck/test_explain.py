"""`svcheck explain`: each reason for which something is, or is not, in the report."""

import json
import re

from program import (MACHINE, SAMPLE, SOURCE, SYSTEM, ProgramTest, bios, element, main)

BIOS_UPDATE = {"name": "bios", "description": "BIOS Update", "Version": "1.1-[YUE112A]-"}


def driver(file, state="4", version="1.0"):
    return ("QRXSG_DeviceDriverInfo",
            {"Path": f"C:\\drivers\\{file}", "Version": version, "CurrentState": state})


class ExplainTest(ProgramTest):
    def explain(self, elements, *instances, component=None):
        arguments = ["--catalogue", self.catalogue(*elements),
                     "--inventory", self.inventory(MACHINE, SYSTEM, *instances)]
        result = self.run_program("explain", *arguments, *([component] if component else []))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout


class Explain(ExplainTest):
    def reason(self, *instances, **properties):
        """The block of the one element of a catalogue."""
        return self.explain([element(name="it", **properties)], *instances).split("\n\n")[0]

    def test_an_element_for_another_machine_type(self):
        block = self.reason(description="BIOS Update", applicableMachineTypes=["-[4639]-"])
        self.assertIn('Not for machine type 4638: "-[4638]-" is not in its machine types "-[4639]-".',
                      block)

    def test_braces_that_are_not_those_of_a_list_are_shown(self):
        for text in ("{-[4639]-", "-[4639]-}"):
            block = self.reason(description="BIOS Update", applicableMachineTypes=text)
            self.assertIn(f'"-[4638]-" is not in its machine types "{text}".', block)

    def test_only_elements_for_other_machine_types(self):
        text = self.explain([element(name="a", applicableMachineTypes=["4638"]),
                             element(name="b", applicableMachineTypes=[])])
        self.assertEqual(text.count("Not for machine type 4638"), 2)
        self.assertIn("Of 2 update elements:\n      2 for other machine types\n", text)

    def test_a_record_names_the_tests_that_held(self):
        block = self.reason(bios("YUE110B"), description="BIOS Update and uEFI",
                            Version="1.1-[YUE112A]-")
        self.assertIn("In the report.", block)
        self.assertIn('test B1 held: description "BIOS Update and uEFI" contains "BIOS Update"\n', block)
        self.assertIn('test 1 held: description "BIOS Update and uEFI" contains "uEFI"\n', block)
        self.assertEqual(block.count(" held: "), 2, "each once, whatever came of it")
        self.assertIn('offered: Version "1.1-[YUE112A]-"\n', block)
        for name in ("BIOS", "UEFI"):
            self.assertIn(f'record: "System {name}", installed "YUE110B", offered "YUE112A": outdated',
                          block)

    def test_each_test_goes_by_its_number_on_the_page(self):
        page = (SOURCE / "docs" / "catalogue-format.md").read_text()
        rows = re.findall(r"(?m)^\| (B?\d+[a-d]?) \| (\w+) \| `(.+)` \| .+ \|$", page)
        self.assertEqual(len(rows), 28)
        elements = []
        for label, name, text in rows:
            properties = {name: f"x {text.upper()} y"}
            if label.startswith("13") and label != "13":
                properties["category"] = "BMC/H8"
            elements.append(element(name=f"it {label}", **properties))
        blocks = self.explain(elements).split("\n\n")
        for (label, name, text), block in zip(rows, blocks):
            self.assertTrue(block.startswith(f"it {label}"), block)
            held = re.findall(r'test (\S+) held: (\w+) ".*" contains "(.*)"', block)
            if (label, name, text) not in held:
                # A narrower test that stands before it forestalls it; see the page.
                self.assertTrue(any(other.lower() in text.lower() for _, _, other in held), block)
            for row in held:
                self.assertIn(row, rows)

    def test_a_recognised_group_without_its_processor(self):
        block = self.reason(description="Some BMC", category="BMC/H8")
        self.assertIn('test 13 held: category "BMC/H8" contains "BMC/H8"', block)
        self.assertNotIn("In the report", block)

    def test_an_element_of_no_component(self):
        block = self.reason(description="Wallpaper", category="Fun")
        self.assertIn("No firmware: none of 24 tests found a component that it updates.", block)
        self.assertIn('tested: description "Wallpaper"', block)
        self.assertIn('tested: category "Fun"', block)

    def test_further_tests_that_none_holds(self):
        block = self.reason(description="Some other processor", category="BMC/H8")
        self.assertIn("its category was recognised, but none of 4 further tests held", block)

    def test_an_empty_inventory_value(self):
        block = self.reason(("QRXSG_IPMIFirmwareElement", {"Name": "BMC", "Version": ""}),
                            description="Baseboard Management Controller", category="BMC/H8")
        self.assertIn("nothing installed fits it; empty in the inventory is QRXSG_IPMIFirmwareElement.Version.", block)
        self.assertIn('installed: QRXSG_IPMIFirmwareElement.Name "BMC"', block)

    def test_an_inventory_without_the_component(self):
        block = self.reason(description="Baseboard Management Controller", category="BMC/H8")
        self.assertIn("the inventory has no instance of QRXSG_IPMIFirmwareElement.", block)

    def test_a_system_bios_is_recorded_without_an_installed_one(self):
        block = self.reason(description="BIOS Update", Version="2")
        self.assertIn("installed: QRXSG_SystemBIOSElement: no instance", block)
        self.assertIn('record: "System BIOS", installed "", offered "2": unknown, '
                      "no installed version was read\n", block + "\n")

    def test_an_installed_build_of_another_prefix(self):
        block = self.reason(("QRXSG_SPROMFirmwareVPDMain",
                             {"Name": "ISCP", "BuildNumber": "AAAA1", "Version": "1"}),
                            description="Integrated System Control Processor",
                            Version="1-[BBBB1]-")
        self.assertIn("No firmware record: nothing installed fits it.", block)
        self.assertIn('QRXSG_SPROMFirmwareVPDMain.BuildNumber "AAAA1"', block)

    def test_an_identifier_that_the_driver_files_do_not_name(self):
        block = self.reason(("QRXSG_BcmDeviceFirmwareElement",
                             {"Name": "n", "SoftwareElementID": "BCM1", "Version": "4.4"}),
                            description="Broadcom NetXtreme and NetXtreme II Firmware",
                            driverFiles="bcm2-#5.0 ")
        self.assertIn('looked for: "bcm1" is not in driverFiles "bcm2-#5.0 "', block)
        self.assertIn('installed "4.4", offered "4.4"', block)
        self.assertIn("no text of the element holds that: what is installed is shown as offered",
                      block)

    def test_an_identifier_that_the_driver_files_name(self):
        block = self.reason(("QRXSG_BcmDeviceFirmwareElement",
                             {"Name": "n", "SoftwareElementID": "BCM1", "Version": "5.0"}),
                            description="Broadcom NetXtreme and NetXtreme II Firmware",
                            driverFiles="bcm1-#5.0 ")
        self.assertIn('looked for: "bcm1" is in driverFiles "bcm1-#5.0 "', block)
        self.assertIn('installed "5.0", offered "5.0": current', block)
        self.assertNotIn("shown as offered", block)

    def test_an_integrated_controller_that_the_driver_files_do_not_name(self):
        block = self.reason(("QRXSG_LSIFirmwareElement",
                             {"Name": "n", "ProductID": "SAS1", "Version": "4.4"}),
                            description="LSI 1064", driverFiles="sas2-#5.0 ")
        self.assertIn("note: its driver files do not name the installed firmware", block)

    def test_controllers_that_differ(self):
        block = self.reason(("QRXSG_MegaLSIFWPackageBuildFirmwareElement",
                             {"Description": "QRX Arrayon-AX20i SAS", "Version": "7.0"}),
                            description="QRX Arrayon AX20i SAS Controller Firmware",
                            driverFiles="QRX Arrayon AX 20m Controller-#7.1")
        self.assertIn("the installed and the offered controller differ", block)

    def test_diagnostics_that_the_machine_type_skips(self):
        skipping = ("QRXSG_ComputerSystem", {"MachineType": "4620"})
        result = self.run_program(
            "explain", "--inventory", self.inventory(skipping, SYSTEM), "--catalogue",
            self.catalogue(element(name="d", description="Preboot Diagnostics",
                                   Version="1.10-[fdcp-1.10]-",
                                   applicableMachineTypes=["-[4620]-"])))
        self.assertIn("diagnostics of this release are not compared on this machine type",
                      result.stdout)

    def test_drivers_that_are_installed_not_running_and_missing(self):
        text = self.explain([element(name="d", driverFiles="a.sys-#2 b.sys-#2 c.sys-#2")],
                            driver("a.sys"), driver("b.sys", state="1"))
        self.assertIn('offers the drivers "a.sys-#2 b.sys-#2 c.sys-#2"', text)
        self.assertIn('offered driver A\n  In the report.\n'
                      '    record: "A", installed "1.0", offered "2": outdated\n', text)
        self.assertIn('offered driver B\n  No record: no driver of that name runs. Installed, '
                      'with the state "1", is "C:\\drivers\\b.sys".\n', text)
        self.assertIn("offered driver C\n  No record: no driver of that name is installed.\n",
                      text)
        self.assertIn("Of 3 offered drivers 1 is in the report; 1 of 2 installed ones runs.", text)

    def test_drivers_for_another_operating_system(self):
        text = self.explain([element(name="d", driverFiles="a.sys-#2",
                                     applicableOperatingSystems=["RHEL4"])], driver("a.sys"))
        self.assertIn('its drivers "a.sys-#2" are not for this operating system: "SLES10_64" is not in '
                      '"RHEL4"', text)
        self.assertIn("No driver is offered for this operating system.", text)

    def test_an_inventory_without_drivers(self):
        text = self.explain([element(name="d", driverFiles="a.sys-#2")])
        self.assertIn("No installed driver is in the inventory", text)

    def test_a_driver_that_no_element_offers(self):
        text = self.explain([element(name="d", driverFiles="a.sys-#2")], driver("z.sys"),
                            component="Z.SYS")
        self.assertIn('installed driver "C:\\drivers\\z.sys"\n'
                      "  No record: no element that applies offers it.\n", text)
        self.assertNotIn("offered driver A", text)
        self.assertNotIn("goes by", text)

    def test_a_component_leaves_the_others_out(self):
        elements = [element(**BIOS_UPDATE), element(name="wallpaper", description="Fun")]
        text = self.explain(elements, component="WALL")
        self.assertIn("wallpaper: Fun\n", text)
        self.assertNotIn("bios: BIOS Update", text)
        self.assertNotIn("goes by", text)
        bios_alone = self.explain(elements, component="system bios")
        self.assertIn("bios: BIOS Update", bios_alone)
        self.assertNotIn("goes by", bios_alone)

    def test_a_component_that_nothing_goes_by(self):
        text = self.explain([element(**BIOS_UPDATE)], component="nowhere")
        self.assertIn('No update element and no driver goes by "nowhere".', text)

    def test_the_sample_has_as_many_records_as_its_check(self):
        arguments = ["--inventory", SAMPLE / "inventory.xml", "--catalogue", SAMPLE / "catalogue"]
        explained = self.run_program("explain", *arguments)
        self.assertEqual(explained.returncode, 0, explained.stderr)
        checked = self.run_program("check", *arguments, "--format", "ndjson")
        records = [line for line in checked.stdout.splitlines() if '"verdict"' in line]
        self.assertTrue(records)
        self.assertEqual(explained.stdout.count("    record: "), len(records))

    def explain_json(self, elements, *instances, component=None):
        result = self.run_program("explain", "--catalogue", self.catalogue(*elements), "--inventory",
                                  self.inventory(MACHINE, SYSTEM, *instances), "--format", "json",
                                  *([component] if component else []))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return json.loads(result.stdout)

    def test_json_tells_the_same_in_parts(self):
        elements = [element(**BIOS_UPDATE), element(name="far", applicableMachineTypes=["-[1]-"]),
                    element(name="fun", description="Fun", driverFiles="a.sys-#2 c.sys-#1"),
                    element(name="off", description="x", driverFiles="a.sys-#2",
                            applicableOperatingSystems=["RHEL4"])]
        told = self.explain_json(elements, driver("a.sys"), driver("z.sys"))
        self.assertEqual(list(told), ["schema", "machine", "operatingSystem", "elements", "drivers",
                                      "notOffered", "summary"])
        self.assertEqual((told["machine"], told["operatingSystem"]),
                         ({"type": "4638"}, {"code": "SLES10_64"}))
        updated, far, fun, off = told["elements"]
        self.assertEqual([item["fate"] for item in told["elements"]],
                         ["record", "other-machine", "no-component", "no-component"])
        self.assertEqual(updated["held"], [{"test": "B1", "property": "description",
                                            "wanted": "BIOS Update", "found": "BIOS Update"}])
        self.assertEqual(updated["installed"], [{"class": "QRXSG_SystemBIOSElement"}])
        self.assertEqual(updated["offered"], {"Version": "1.1-[YUE112A]-"})
        self.assertEqual(updated["records"], [{
            "Type": "Firmware", "Name": "System BIOS", "InstalledVersion": "", "SVVersion": "YUE112A",
            "verdict": "unknown", "reason": "no installed version was read"}])
        self.assertIn('"-[4638]-" is not in its machine types "-[1]-"', far["said"])
        self.assertEqual((fun["testsMade"], fun["held"], fun["tested"]["description"]),
                         (24, [], "Fun"))
        self.assertEqual((fun["drivers"]["isForSystem"], off["drivers"]["isForSystem"]), (True, False))
        self.assertEqual([(item["name"], [record["verdict"] for record in item["records"]])
                          for item in told["drivers"]], [("A", ["outdated"]), ("C", [])])
        self.assertEqual(told["notOffered"], [])
        self.assertEqual(told["summary"], {
            "elements": 4, "record": 1, "no-record": 0, "no-component": 2, "other-system": 0,
            "other-machine": 1, "offeredDrivers": 2, "matchedDrivers": 1, "installedDrivers": 2,
            "runningDrivers": 2})
        named = self.explain_json(elements, driver("a.sys"), driver("z.sys"), component="z.sys")
        self.assertEqual([item["path"] for item in named["notOffered"]], ["C:\\drivers\\z.sys"])
        self.assertEqual((named["elements"], named["drivers"]), ([], []))

    def test_json_of_the_sample_has_the_records_of_its_check(self):
        arguments = ["--inventory", SAMPLE / "inventory.xml", "--catalogue", SAMPLE / "catalogue",
                     "--format", "json"]
        told = json.loads(self.run_program("explain", *arguments).stdout)
        checked = json.loads(self.run_program("check", *arguments).stdout)["records"]
        for record in checked:
            del record["update"]
        records = [{name: value for name, value in record.items() if name != "reason"}
                   for part in ("elements", "drivers") for item in told[part]
                   for record in item["records"]]
        self.assertEqual(records, [{name: value for name, value in record.items()
                                    if name != "reason"} for record in checked])

    def test_control_characters_do_not_reach_the_terminal(self):
        text = self.explain([element(name="evil\u009b2J", description="Fun")])
        self.assertNotIn("\u009b", text)

    def test_without_a_catalogue_the_command_line_is_wrong(self):
        self.assert_failed(self.run_program("explain"), 64, "--catalogue")

    def test_a_missing_catalogue_fails_as_a_check_does(self):
        self.assert_failed(self.run_program("explain", "--catalogue", self.folder / "none",
                                            "--inventory", self.inventory()), 4, "no catalogue")

    def test_an_inventory_without_a_machine_type_fails(self):
        result = self.run_program("explain", "--catalogue", self.catalogue(element(**BIOS_UPDATE)),
                                  "--inventory", self.inventory(SYSTEM))
        self.assert_failed(result, 1)

    def test_the_help_has_an_example(self):
        result = self.run_program("explain", "--help")
        self.assertEqual(result.returncode, 0)
        self.assertIn("svcheck explain --catalogue", result.stdout)
        self.assertIn("COMPONENT", result.stdout)


WHOLE_TEXT = """\
bios: BIOS Update
  In the report.
    test B1 held: description "BIOS Update" contains "BIOS Update"
    installed: QRXSG_SystemBIOSElement: no instance
    offered: Version "1.1-[YUE112A]-"
    record: "System BIOS", installed "", offered "YUE112A": unknown, no installed version was read

far
  Not for machine type 4638: "-[4638]-" is not in its machine types "-[1]-, -[2]-".

fun: Fun
  No firmware: none of 24 tests found a component that it updates.
    tested: description "Fun"
    tested: category "x"
    tested: installDirectory ""
    offers the drivers "a.sys-#2 b.sys-#2 c.sys-#2 a.sys-#1.0"

bmc: Baseboard Management Controller
  No firmware record: nothing installed fits it; empty in the inventory is QRXSG_IPMIFirmwareElement.Version.
    test 13 held: category "BMC/H8" contains "BMC/H8"
    test 13b held: description "Baseboard Management Controller" contains "Baseboard Management Controller"
    installed: QRXSG_IPMIFirmwareElement.Version ""
    installed: QRXSG_IPMIFirmwareElement.Name "BMC"
    offered: Version ""

iscp: Integrated System Control Processor
  No firmware record: nothing installed fits it.
    test 12 held: description "Integrated System Control Processor" contains "Integrated System Control Processor"
    installed: QRXSG_SPROMFirmwareVPDMain.BuildNumber "AAAA1"
    installed: QRXSG_SPROMFirmwareVPDMain.Name "ISCP"
    offered: Version "1-[BBBB1]-"

nic: Broadcom NetXtreme and NetXtreme II Firmware
  In the report.
    test 14 held: description "Broadcom NetXtreme and NetXtreme II Firmware" contains "Broadcom NetXtreme and NetXtreme II Firmware"
    installed: QRXSG_BcmDeviceFirmwareElement.SoftwareElementID "BCM1"
    installed: QRXSG_BcmDeviceFirmwareElement.Version "4.4"
    looked for: "bcm1" is not in driverFiles "bcm2-#5.0 "
    record: "Broadcom NetXtreme Network Device  0", installed "4.4", offered "4.4": current
      no text of the element holds that: what is installed is shown as offered
    offers the drivers "bcm2-#5.0 "

Some BMC
  No firmware record: its category was recognised, but none of 4 further tests held.
    test 13 held: category "BMC/H8" contains "BMC/H8"
    offered: Version ""

sys: Other
  No firmware: none of 24 tests found a component that it updates.
    tested: description "Other"
    tested: category ""
    tested: installDirectory ""
    its drivers "a.sys-#3" are not for this operating system: "SLES10_64" is not in "RHEL4"

offered driver A
  In the report.
    record: "A", installed "1.0", offered "2": current, both are built of the same source, by their srcversion

offered driver B
  No record: no driver of that name runs. Installed, with the state "1", is "C:\\drivers\\b.sys".

offered driver C
  No record: no driver of that name is installed.

offered driver A
  In the report.
    record: "A", installed "1.0", offered "1.0": current

offered driver BCM2
  No record: no driver of that name is installed.

Of 8 update elements:
      2 with firmware in the report
      3 with firmware that gave no record
      2 without firmware
      1 for other machine types
Of 5 offered drivers 2 are in the report; 2 of 3 installed ones run.
"""


WHOLE_LINES = (
    '{"name":"far","description":"","fate":"other-machine",'
    '"said":"Not for machine type 4638: \\"-[4638]-\\" is not in its machine types \\"-[1]-,'
    ' -[2]-\\".","testsMade":0,"held":[],"tested":{},"installed":[],"keys":[],"offered":{},'
    '"notes":[],"records":[]}',
    '{"name":"fun","description":"Fun","fate":"no-component",'
    '"said":"No firmware: none of 24 tests found a component that it updates.",'
    '"testsMade":24,"held":[],"tested":{"description":"Fun","category":"x",'
    '"installDirectory":""},"installed":[],"keys":[],"offered":{},"notes":[],"records":[],'
    '"drivers":{"files":"a.sys-#2 b.sys-#2 c.sys-#2 a.sys-#1.0","isForSystem":true}}',
    '{"name":"bmc","description":"Baseboard Management Controller","fate":"no-record",'
    '"said":"No firmware record: nothing installed fits it; empty in the inventory is QRXSG_I'
    'PMIFirmwareElement.Version.","testsMade":19,"held":[{"test":"13","property":"category",'
    '"wanted":"BMC/H8","found":"BMC/H8"},{"test":"13b","property":"description",'
    '"wanted":"Baseboard Management Controller","found":"Baseboard Management Controller"}],'
    '"tested":{"description":"Baseboard Management Controller","category":"BMC/H8",'
    '"installDirectory":""},"installed":[{"class":"QRXSG_IPMIFirmwareElement",'
    '"property":"Version","text":""},{"class":"QRXSG_IPMIFirmwareElement","property":"Name",'
    '"text":"BMC"}],"keys":[],"offered":{"Version":""},"notes":[],"records":[]}',
    '{"name":"nic","description":"Broadcom NetXtreme and NetXtreme II Firmware",'
    '"fate":"record","said":"In the report.","testsMade":18,"held":[{"test":"14",'
    '"property":"description","wanted":"Broadcom NetXtreme and NetXtreme II Firmware",'
    '"found":"Broadcom NetXtreme and NetXtreme II Firmware"}],'
    '"tested":{"description":"Broadcom NetXtreme and NetXtreme II Firmware","category":"",'
    '"installDirectory":""},"installed":[{"class":"QRXSG_BcmDeviceFirmwareElement",'
    '"property":"SoftwareElementID","text":"BCM1"},{"class":"QRXSG_BcmDeviceFirmwareElement",'
    '"property":"Version","text":"4.4"}],"keys":[{"wanted":"bcm1","files":"bcm2-#5.0 ",'
    '"isThere":false}],"offered":{"driverFiles":"bcm2-#5.0 "},"notes":[],'
    '"records":[{"Type":"Firmware","Name":"Broadcom NetXtreme Network Device  0",'
    '"InstalledVersion":"4.4","SVVersion":"4.4","verdict":"current"}],'
    '"drivers":{"files":"bcm2-#5.0 ","isForSystem":true}}',
    '{"name":"A","said":"In the report.","records":[{"Type":"Driver","Name":"A",'
    '"InstalledVersion":"1.0","SVVersion":"2","verdict":"current","sameSource":true}]}',
    '{"name":"B","said":"No record: no driver of that name runs. Installed,'
    ' with the state \\"1\\", is \\"C:\\\\drivers\\\\b.sys\\".","records":[]}',
    '{"name":"A","said":"In the report.","records":[{"Type":"Driver","Name":"A",'
    '"InstalledVersion":"1.0","SVVersion":"1.0","verdict":"current"}]}',
)


class Whole(ExplainTest):
    """All that is told, in which every kind of reason stands once."""

    ELEMENTS = (
        element(**BIOS_UPDATE), element(name="far", applicableMachineTypes=["-[1]-", "-[2]-"]),
        element(name="fun", description="Fun", category="x", driverSources="ABC:a.sys-#2",
                driverFiles="a.sys-#2 b.sys-#2 c.sys-#2 a.sys-#1.0"),
        element(name="bmc", description="Baseboard Management Controller", category="BMC/H8"),
        element(name="iscp", description="Integrated System Control Processor", Version="1-[BBBB1]-"),
        element(name="nic", description="Broadcom NetXtreme and NetXtreme II Firmware",
                driverFiles="bcm2-#5.0 "),
        element(description="Some BMC", category="BMC/H8"),
        element(name="sys", description="Other", driverFiles="a.sys-#3",
                applicableOperatingSystems=["RHEL4"]))
    INSTALLED = (
        ("QRXSG_DeviceDriverInfo", {**driver("a.sys")[1], "SourceVersion": "ABC"}),
        driver("b.sys", state="1"), driver("z.sys"),
        ("QRXSG_IPMIFirmwareElement", {"Name": "BMC", "Version": ""}),
        ("QRXSG_SPROMFirmwareVPDMain", {"Name": "ISCP", "BuildNumber": "AAAA1", "Version": "1"}),
        ("QRXSG_BcmDeviceFirmwareElement", {"Name": "n", "SoftwareElementID": "BCM1",
                                            "Version": "4.4"}))

    def test_as_text(self):
        self.maxDiff = None
        self.assertEqual(self.explain(self.ELEMENTS, *self.INSTALLED), WHOLE_TEXT)

    def test_as_json(self):
        self.maxDiff = None
        text = self.explain_text("--format", "json")
        told = json.loads(text)
        lines = [line.strip().rstrip(",") for line in text.splitlines()]
        self.assertEqual(len(lines), 24, "a line for each element and driver, and no other text")
        for line in WHOLE_LINES:
            self.assertIn(line, lines)
        self.assertEqual([item["fate"] for item in told["elements"]],
                         ["record", "other-machine", "no-component", "no-record", "no-record",
                          "record", "no-record", "no-component"])
        self.assertEqual([item["testsMade"] for item in told["elements"]],
                         [21, 0, 24, 19, 16, 18, 21, 24])
        self.assertEqual(told["summary"], {
            "elements": 8, "record": 2, "no-record": 3, "no-component": 2, "other-system": 0,
            "other-machine": 1, "offeredDrivers": 5, "matchedDrivers": 2, "installedDrivers": 3,
            "runningDrivers": 2})

    def explain_text(self, *more):
        result = self.run_program("explain", "--catalogue", self.catalogue(*self.ELEMENTS),
                                  "--inventory",
                                  self.inventory(MACHINE, SYSTEM, *self.INSTALLED), *more)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout


if __name__ == "__main__":
    main()
