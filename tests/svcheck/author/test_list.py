"""`svcheck catalogue list`: what the elements are, as a check sees them."""

import csv
import io
import json
import re

from program import MACHINE, SAMPLE, SOURCE, SYSTEM, ProgramTest, document, element, main

# An element for each way to name a component, and the name of its record.
WAYS = [
    ({"description": "a bios update b"}, "System BIOS"),
    ({"category": "xBIOSx"}, "System BIOS"),
    ({"description": "BIOS Flash"}, "System BIOS"),
    ({"description": "flash bios"}, "System BIOS"),
    ({"description": "UEFI"}, "System UEFI"),
    ({"category": "uefi"}, "System UEFI"),
    ({"installDirectory": "/pkgs/diag"}, "Diagnostics"),
    ({"description": "Diagnostic"}, "Diagnostics"),
    ({"description": "Preboot HSK"}, "Diagnostics"),
    ({"description": "HSK Preboot"}, "Diagnostics"),
    ({"installDirectory": "/PKGS/RWA2"}, "Remote Watch Adapter II"),
    ({"description": "Remote Watch Adapter II"}, "Remote Watch Adapter II"),
    ({"installDirectory": "/PKGS/REMOTWAT"}, "Remote Watch Adapter"),
    ({"description": "Remote Watch Adapter"}, "Remote Watch Adapter"),
    ({"description": "Integrated System Control Processor", "category": "BMC/H8"}, "ISCP"),
    ({"category": "BMC/H8", "description": "Integrated System Control, mBMC Firmware Update"},
     "H8"),
    ({"category": "BMC/H8", "description": "Baseboard Management Controller"}, "BMC"),
    ({"category": "BMC/H8", "description": "mBMC Firmware Update"}, "BMC"),
    ({"category": "BMC/H8", "description": "Integrated Control Module"}, "BMC"),
    ({"description": "Broadcom NetXtreme and NetXtreme II Firmware"}, "Broadcom NetXtreme"),
    ({"description": "QRX Arrayon AX20i SAS Controller Firmware"}, "LSI MegaRAID"),
    ({"description": "QRX Arrayon AX20is SAS Controller Firmware"}, "LSI MegaRAID"),
    ({"description": "QRX Arrayon AX20M SAS Controller Firmware"}, "LSI MegaRAID"),
    ({"description": "LSI 1064"}, "LSI integrated RAID"),
    ({"description": "LSI 1078 SAS"}, "LSI integrated RAID"),
    ({"description": "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell"},
     "LSI integrated RAID"),
    ({"category": "BMC/H8", "description": "Something"}, None),
    ({"description": "Something"}, None),
]

# What is installed of each component; the text tells in a record which one was read.
INSTALLED = {
    "QRXSG_SystemBIOSElement": {"Version": "bios"},
    "QRXSG_DiagnosticVPD": {"BuildNumber": "dsa", "Version": "1"},
    "QRXSG_SPROMFirmwareVPDMain": {"BuildNumber": "same", "Version": "1",
                                   "Name": "QRX Integrated Systems Control Processor"},
    "QRXSG_IPMIFirmwareElement": {"Name": "bmc", "Version": "bmc"},
    "QRXSG_BcmDeviceFirmwareElement": {"Version": "bcm", "SoftwareElementID": "x"},
    "QRXSG_MegaLSIFWPackageBuildFirmwareElement": {"Version": "mr", "Description": ""},
    "QRXSG_LSIFirmwareElement": {"Name": "lsi", "Version": "lsi", "ProductID": "x"},
}
READS = {"System BIOS": "bios", "System UEFI": "bios", "Diagnostics": "dsa - 1",
         "Remote Watch Adapter II": "1 (same) ", "Remote Watch Adapter": "1 (same) ",
         "ISCP": "same", "H8": "same", "BMC": "bmc", "Broadcom NetXtreme": "bcm",
         "LSI MegaRAID": "mr", "LSI integrated RAID": "lsi"}


class ListTest(ProgramTest):
    def list(self, folder, *options):
        result = self.run_program("catalogue", "list", folder, "--format", "json", *options)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(result.stdout.endswith("}\n"), result.stdout[-20:])
        return json.loads(result.stdout)

    def test_components_are_those_that_a_query_compares(self):
        inventory = self.inventory(MACHINE, SYSTEM, *INSTALLED.items())
        for properties, name in WAYS:
            with self.subTest(properties):
                folder = self.catalogue(element(Version="-[same]-", **properties))
                listed = self.list(folder)["elements"][0]["components"]
                self.assertEqual(listed, [name] if name else [])
                result = self.run_program("query", "--inventory", inventory,
                                          "--context", f"svPath={folder}")
                records = [json.loads(line) for line in result.stdout.splitlines() if line]
                self.assertEqual({record["InstalledVersion"] for record in records},
                                 {READS[name]} if name else set())
                if name and name.startswith("System"):
                    self.assertEqual([record["Name"] for record in records], [name])

    def test_the_page_names_each_test_in_its_order(self):
        page = (SOURCE / "docs" / "catalogue-format.md").read_text()
        rows = re.findall(r"(?m)^\| \d+ \| (\w+) \| `(.+)` \| (.+) \|$", page)
        self.assertEqual(len(rows), 20)
        named = {"Broadcom network devices": ["Broadcom NetXtreme"], "H8 or BMC, see below": []}
        both, expected = [], []
        for i, (first, text, component) in enumerate(rows):
            for later, other, _ in rows[i:]:
                # The narrower text would be found in the wider one; in two properties each stands.
                properties = {later: f"x {other.upper()}"}
                properties[first] = f"{properties.get(first, '')} and {text.lower()} y"
                both.append(element(**properties))
                expected.append(named.get(component, [component]))
        listed = self.list(self.catalogue(*both))["elements"]
        self.assertEqual([item["components"] for item in listed], expected)

    def test_the_sample(self):
        elements = {item["name"]: item for item in self.list(SAMPLE / "catalogue")["elements"]}
        self.assertEqual(elements["bios"]["components"], ["System BIOS", "System UEFI"])
        self.assertEqual(elements["bios"]["version"], "YUE112A")
        self.assertEqual(elements["bios"]["line"], 9)
        self.assertEqual(elements["bnx2-driver"]["components"], ["Driver"])
        self.assertEqual(elements["bnx2-driver"]["drivers"],
                         [{"name": "bnx2.ko", "version": "1.7.9"}])
        self.assertEqual(elements["bnx2-driver"]["machineTypes"], ["4638"])

    def test_json_is_whole_and_ends_its_last_line(self):
        folder = self.catalogue(element(name="bios", category="BIOS", Version="1-[Y]-"),
                                element(name="set", driverFiles="a.ko-#1 b.ko-#2"))
        text = self.run_program("catalogue", "list", folder, "--format", "json").stdout
        self.assertTrue(text.endswith('"all": 2\n}\n'), text)
        rest = {"machineTypes": ["4638"], "operatingSystems": ["SLES10_64"], "file": "index.xml"}
        self.assertEqual(json.loads(text), {
            "schema": 1, "shown": 2, "all": 2,
            "elements": [{"name": "bios", "components": ["System BIOS"], "version": "Y",
                          "drivers": [], "line": 3, **rest},
                         {"name": "set", "components": ["Driver"], "version": "", "line": 10,
                          "drivers": [{"name": "a.ko", "version": "1"},
                                      {"name": "b.ko", "version": "2"}], **rest}]})
        none = self.run_program("catalogue", "list", folder, "--format", "json", "--machine", "1")
        self.assertEqual(json.loads(none.stdout),
                         {"schema": 1, "elements": [], "shown": 0, "all": 2})
        self.assertTrue(none.stdout.endswith("}\n"))

    def test_three_of_what_is_offered_are_shown(self):
        for drivers, shown in ((3, "d0.ko 0, d1.ko 1, d2.ko 2 "),
                               (4, "d0.ko 0, d1.ko 1, d2.ko 2 and 1 more ")):
            files = " ".join(f"d{number}.ko-#{number}" for number in range(drivers))
            folder = self.catalogue(element(name="set", driverFiles=files))
            table = self.run_program("catalogue", "list", folder).stdout.splitlines()
            self.assertIn(shown, table[1])
            self.assertEqual(table[2], "1 update element.")
        table = self.run_program("catalogue", "list", folder, "--machine", "1").stdout
        self.assertTrue(table.endswith("0 of 1 update element.\n"), table)

    def test_filters(self):
        for options, names in ((("--machine", "4638"), {"a", "c"}), (("--machine", "463"), set()),
                               (("--os", "RHEL5"), {"a", "b"}), (("--os", "windows 2003"), {"c"}),
                               (("--os", "debian12"), {"d"}), (("--os", "RHEL6"), set()),
                               (("--machine", "4638", "--os", "RHEL5_64"), {"a"})):
            folder = self.catalogue(
                element(name="a", applicableOperatingSystems=["RHEL5_64"]),
                element(name="b", applicableMachineTypes=["-[4620]-"],
                        applicableOperatingSystems=["RHEL5"]),
                element(name="c", applicableOperatingSystems=["Windows 2003"]),
                element(name="d", applicableOperatingSystems=["DEBIAN12"],
                        applicableMachineTypes=["-[4620]-"]))
            with self.subTest(options):
                report = self.list(folder, *options)
                self.assertEqual({item["name"] for item in report["elements"]}, names)
                self.assertEqual((report["shown"], report["all"]), (len(names), 4))
                result = self.run_program("catalogue", "list", folder, "--os", "UBUNTU")
                self.assertEqual(result.returncode, 64)
                self.assertIn('--os "UBUNTU" is unknown', result.stderr)

    def test_machine_types_that_are_names_of_products(self):
        q35, dell = "Standard PC (Q35 + ICH9, 2009)", "PowerEdge R750"
        folder = self.catalogue(
            element(name="a", applicableMachineTypes=[f"-[{q35}]-", f"-[{dell}]-"]),
            element(name="b", applicableMachineTypes=["-[46a0]-", "-[4638]-"]))
        both = {item["name"]: item["machineTypes"] for item in self.list(folder)["elements"]}
        self.assertEqual(both, {"a": [dell, q35], "b": ["4638", "46A0"]})
        for machine, names in ((q35, ["a"]), (dell.upper(), ["a"]), ("PowerEdge", []),
                               ("R750", []), ("46a0", ["b"])):
            with self.subTest(machine):
                found = self.list(folder, "--machine", machine)["elements"]
                self.assertEqual([item["name"] for item in found], names)
        table = self.run_program("catalogue", "list", folder).stdout.splitlines()
        self.assertTrue(table[1].endswith(f"{dell} | {q35}"), table[1])
        self.assertTrue(table[2].endswith("4638 46A0"), table[2])
        text = self.run_program("catalogue", "list", folder, "--format", "csv").stdout
        rows = list(csv.DictReader(io.StringIO(text)))
        self.assertEqual(rows[0]["machineTypes"], f"{dell};{q35}")

    def test_elements_for_every_system(self):
        self.write("list.csv", "type,name,version,machine types,operating systems\n"
                               "bios,every,1,4638,any\nbios,some,1,4638,RHEL5\n")
        self.run_program("catalogue", "build", "--output", "made", "--firmware", "list.csv")
        found = self.list("made", "--os", "any")
        self.assertEqual([item["name"] for item in found["elements"]], ["every"])
        self.assertEqual(found["all"], 2)

    def test_table_and_csv(self):
        folder = self.catalogue(element(name="é, \"x\"", driverFiles="a.ko-#1 b.ko-#2"),
                                element(name="bios", category="BIOS", Version="1-[Y]-"))
        table = self.run_program("catalogue", "list", folder).stdout.splitlines()
        self.assertEqual(table[0].split(), ["NAME", "COMPONENT", "OFFERED", "MACHINE", "TYPES"])
        self.assertEqual(table[1].split("  ")[0], 'é, "x"')
        self.assertEqual({line.index("4638") for line in table[1:3]}, {table[0].index("MACHINE")})
        self.assertEqual(table[3], "2 update elements.")
        text = self.run_program("catalogue", "list", folder, "--format", "csv").stdout
        lines = ["name,components,version,drivers,machineTypes,operatingSystems,file,line",
                 '"é, ""x""",Driver,,"a.ko 1;b.ko 2",4638,SLES10_64,index.xml,3',
                 "bios,System BIOS,Y,,4638,SLES10_64,index.xml,9", ""]
        self.assertEqual(text.split("\n"), lines)
        rows = list(csv.DictReader(io.StringIO(text)))
        self.assertEqual((rows[0]["name"], rows[1]["version"]), ('é, "x"', "Y"))

    def test_a_long_list_of_drivers_is_one_field_of_csv(self):
        for size in (1000, 60_000):  # Below a mebibyte altogether, and above.
            names = [f"{letter * size}.ko" for letter in "abcd=fghijklmnopqrst"]
            folder = self.catalogue(element(name="many",
                                            driverFiles=" ".join(f"{name}-#1" for name in names)))
            text = self.run_program("catalogue", "list", folder, "--format", "csv").stdout
            field = ";".join("'" * name.startswith("=") + f"{name} 1" for name in names)
            self.assertEqual(text.split("\n")[1],
                             f'many,Driver,,"{field}",4638,SLES10_64,index.xml,3')

    def test_a_field_of_csv_is_long_from_a_mebibyte_on(self):
        """What no quotes are needed for has them where it is long."""
        half = 1 << 19
        for more, quote in ((-1, ""), (0, '"')):
            name, version = "n" * half, "1" * (half + more)
            folder = self.catalogue(element(name="one", driverFiles=f"{name}-#{version}"))
            text = self.run_program("catalogue", "list", folder, "--format", "csv").stdout
            field = f"{quote}{name} {version}{quote}"
            self.assertEqual(text.split("\n")[1] == f"one,Driver,,{field},4638,SLES10_64,index.xml,3",
                             True, text[:100])

    def test_output_file(self):
        folder = self.catalogue(element(name="a"))
        result = self.run_program("catalogue", "list", folder, "--format", "json",
                                  "--output", "list.json")
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        self.assertEqual(json.loads((self.folder / "list.json").read_text())["all"], 1)

    def test_a_catalogue_that_no_check_takes_is_not_listed(self):
        folder = self.catalogue(element(name="a"), instruction="")
        self.assert_failed(self.run_program("catalogue", "list", folder), 4, "index.xml", "4.02")
        folder = self.catalogue(("Nothing", {}))
        self.assert_failed(self.run_program("catalogue", "list", folder), 4, "index.xml:3",
                           "Nothing")
        self.assert_failed(self.run_program("catalogue", "list", "gone"), 4, "gone")


if __name__ == "__main__":
    main()
