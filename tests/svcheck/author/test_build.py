"""`svcheck catalogue build`: a catalogue of what an administrator has, and what a check says with
it."""

import json
import lzma
import os
import signal
import subprocess
import time

from made_files import (cab, deb, endless_deb, kernel_module, module_of_kernel, rpm, windows_driver,
                        zstd)
from program import BUILD, MACHINE, PROGRAM, SYSTEM, ProgramTest, main, usual_signals

MACHINES = ("--machine", "4638", "--machine", "4620")


def driver(file, version, **more):
    return ("QRXSG_DeviceDriverInfo",
            {"Path": f"\\lib\\modules\\{file}", "Version": version, "CurrentState": "4", **more})


class BuildTest(ProgramTest):
    def build(self, *arguments):
        result = self.run_program("catalogue", "build", "--output", "made", *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        lint = self.run_program("catalogue", "lint", "made")
        self.assertEqual(lint.returncode, 0, lint.stdout)
        self.assertIn(": 0 errors, 0 warnings.", lint.stdout)
        return result

    def elements(self, *options):
        result = self.run_program("catalogue", "list", "made", "--format", "json", *options)
        return {item["name"]: item for item in json.loads(result.stdout)["elements"]}

    def offered(self):
        return {driver["name"]: driver["version"] for item in self.elements().values()
                for driver in item["drivers"]}

    def records(self, *instances):
        inventory = self.inventory(MACHINE, SYSTEM, *instances)
        result = self.run_program("check", "--inventory", inventory, "--catalogue", "made",
                                  "--format", "json")
        self.assertEqual(result.returncode, 0, result.stderr)
        return [tuple(record[key] for key in ("Name", "InstalledVersion", "SVVersion", "verdict"))
                for record in json.loads(result.stdout)["records"]]

    def test_a_folder_of_drivers(self):
        self.write("in/net/e1000e.ko", kernel_module("3.8.7"))
        self.write("in/bnx2.ko.xz", lzma.compress(kernel_module("2.2.6"),
                                                  check=lzma.CHECK_CRC32))
        self.write("in/snd-hda.ko.zst", zstd(kernel_module("1.0 beta & more")))
        self.write("in/plain.ko", kernel_module())
        self.write("in/megasas.sys", windows_driver("4.17.0.64"))
        self.write("in/narrow.sys", windows_driver("1.2.3.4", wide=False))
        self.write("in/silent.sys", windows_driver(None))
        self.write("in/broken.ko", b"no module")
        self.write("in/notes.txt", b"x")
        result = self.build("--drivers", "in", *MACHINES)
        self.assertEqual(self.offered(), {"e1000e.ko": "3.8.7", "bnx2.ko": "2.2.6",
                                          "snd-hda.ko": "1.0 beta & more",
                                          "megasas.sys": "4.17.0.64", "narrow.sys": "1.2.3.4"})
        self.assertIn("2 of 8 drivers state no version", result.stderr)
        self.assertIn("broken.ko is no driver", result.stderr)
        self.assertEqual(self.records(driver("e1000e.ko", "3.8.4"), driver("bnx2.ko.xz", "2.2.6"),
                                      driver("snd-hda.ko", "1.0"), driver("megasas.sys", "1")),
                         [("BNX2", "2.2.6", "2.2.6", "current"),
                          ("E1000E", "3.8.4", "3.8.7", "outdated"),
                          ("SND-HDA", "1.0", "1.0 beta & more", "unknown")])

    def test_packages(self):
        for extension, make in (("deb", deb), ("rpm", rpm)):
            for compression in ("", ".gz", ".xz", ".zst"):
                with self.subTest(extension, compression=compression):
                    files = {"lib/modules/6.1/kernel/e1000e.ko": kernel_module("3.8.7"),
                             "lib/modules/6.1/kernel/bnx2.ko.xz":
                                 lzma.compress(kernel_module("2.2.6"), check=lzma.CHECK_CRC32),
                             "usr/share/doc/readme": b"text"}
                    path = self.write(f"kernel.{extension}", make(files, compression))
                    self.build("--drivers", path, *MACHINES)
                    self.assertEqual(self.offered(), {"e1000e.ko": "3.8.7", "bnx2.ko": "2.2.6"})
        self.assertEqual(self.records(driver("e1000e.ko", "3.8.8")),
                         [("E1000E", "3.8.8", "3.8.7", "newer")])

    def test_modules_of_a_kernel_go_by_its_release(self):
        release = "6.12.117+deb12-amd64"
        self.write("in/plain.ko", module_of_kernel(release))
        self.write("in/own.ko", module_of_kernel(release, version="2.1"))
        self.write("in/first.ko", module_of_kernel(release, srcversion="ABC"))
        self.write("in/other.ko", kernel_module(vermagic=release + " SMP"))
        self.write("in/not.ko", kernel_module(intree="N", vermagic=release + " SMP"))
        self.write("in/mute.ko", kernel_module(intree="Y"))
        result = self.build("--drivers", "in", *MACHINES)
        self.assertEqual(self.offered(), {"plain.ko": release, "first.ko": release, "own.ko": "2.1"})
        self.assertIn("3 of 6 drivers state no version", result.stderr)
        self.assertEqual(self.records(driver("plain.ko", "6.1.0-47-amd64"), driver("own.ko", "2.1"),
                                      driver("first.ko", release)),
                         [("FIRST", release, release, "current"), ("OWN", "2.1", "2.1", "current"),
                          ("PLAIN", "6.1.0-47-amd64", release, "outdated")])

    def test_modules_that_are_built_of_the_same_source_are_current(self):
        old, new = "6.1.0-47-amd64", "6.12.117+deb12-amd64"
        self.write("in/same.ko", module_of_kernel(new, srcversion="AB12"))
        self.write("in/other.ko", module_of_kernel(new, srcversion="AB12"))
        self.write("in/own.ko", kernel_module("2.0", srcversion="CD34"))
        self.write("in/silent.ko", module_of_kernel(new))
        self.write("in/strange.ko", module_of_kernel(new, srcversion="no checksum"))
        self.build("--drivers", "in", *MACHINES)
        index = (self.folder / "made" / "index.xml").read_text()
        self.assertIn(f"<VALUE>AB12:same.ko-#{new}</VALUE>", index)
        self.assertEqual(index.count('NAME="driverSources"'), 3)
        machine = [driver(f"{name}.ko", old, SourceVersion=source)
                   for name, source in (("same", "AB12"), ("other", "AB13"), ("silent", "AB12"),
                                        ("strange", "no checksum"))]
        self.assertEqual(self.records(*machine, driver("own.ko", "1.0", SourceVersion="CD34")),
                         [("OTHER", old, new, "outdated"), ("OWN", "1.0", "2.0", "current"),
                          ("SAME", old, new, "current"), ("SILENT", old, new, "outdated"),
                          ("STRANGE", old, new, "outdated")])
        arguments = ["--inventory", self.inventory(MACHINE, SYSTEM, *machine), "--catalogue", "made"]
        for form, text in (("ndjson", '"verdict":"current","sameSource":true'),
                           ("csv", f"SAME,{old},{new},current"),
                           ("table", "current (same source)"), ("nagios", "current=1"),
                           ("prometheus", 'verdict="current"} 1\n'), ("junit", 'failures="3"'),
                           ("html", "built of the same source")):
            with self.subTest(form):
                self.assertIn(text, self.run_program("check", *arguments, "--format", form).stdout)
        told = self.run_program("explain", *arguments, "same").stdout
        self.assertIn(f'record: "SAME", installed "{old}", offered "{new}": current, both are built '
                      "of the same source, by their srcversion\n", told)
        told = json.loads(self.run_program("explain", *arguments, "--format", "json").stdout)
        self.assertEqual([record["verdict"] for each in told["drivers"] for record in each["records"]
                          if "sameSource" in record], ["current"])
        # A machine of a fleet goes by the same rule.
        (self.folder / "machines").mkdir()
        (self.folder / "inventory.xml").rename(self.folder / "machines" / "one.xml")
        told = self.run_program("fleet", "--inventories", "machines", "--catalogue", "made").stdout
        self.assertIn('"current":1', told)

    def test_what_leaves_open_of_which_source_a_driver_is_says_nothing(self):
        new = "6.12.117-amd64"
        self.write("in/e.ko", module_of_kernel(new, srcversion="AB12"))
        self.build("--drivers", "in", *MACHINES)
        one = driver("e.ko", "6.1.0-amd64", SourceVersion="AB12")
        for other in (driver("e.ko", "6.1.0-amd64", SourceVersion="CD34"),
                      driver("e.ko", "6.1.0-amd64")):
            for machine in ((one, other), (other, one)):
                self.assertEqual([record[-1] for record in self.records(*machine)],
                                 ["outdated", "outdated"])
        self.assertEqual([record[-1] for record in self.records(one, one)], ["current", "current"])
        # A version that somebody changed by hand is not the one that the source was told of.
        index = self.folder / "made" / "index.xml"
        index.write_text(index.read_text().replace(f"<VALUE>e.ko-#{new}", "<VALUE>e.ko-#6.13-amd64"))
        self.assertEqual(self.records(one), [("E", "6.1.0-amd64", "6.13-amd64", "outdated")])

    def test_sources_that_dkms_builds(self):
        texts = {
            "one": ('PACKAGE_NAME="mlnx"\nPACKAGE_VERSION="5.8"\n', {"mlnx.ko": "5.8"}),
            "two": ("PACKAGE_NAME=x # a\n PACKAGE_VERSION='1.2' \nBUILT_MODULE_NAME[0]=\"$PACKAGE_NAME"
                    "-a\"\nBUILT_MODULE_NAME[1]=b\nDEST_MODULE_NAME[1]=\"${PACKAGE_NAME}_c\"\n"
                    "#BUILT_MODULE_NAME[2]=d\nMAKE[0]=\"make V=1\"\n", {"x-a.ko": "1.2", "x_c.ko": "1.2"}),
            "old": ("PACKAGE_NAME=y\r\nPACKAGE_VERSION=7\r\nBUILT_MODULE_NAME=z\r\n", {"z.ko": "7"})}
        for name, (text, offered) in texts.items():
            for place in (self.write("in/dkms.conf", text),
                          self.write("in.deb", deb({f"usr/src/{name}-1/dkms.conf": text.encode()})),
                          self.write("in.rpm", rpm({f"usr/src/{name}-1/dkms.conf": text.encode()}))):
                with self.subTest(name, place=place.name):
                    self.build("--drivers", place, *MACHINES)
                    self.assertEqual(self.offered(), offered)
        self.write("in/good.ko", kernel_module("1"))
        for text, word in (("PACKAGE_NAME=x\n", "PACKAGE_VERSION"), ("PACKAGE_VERSION=1\n", "PACKAGE_NAME"),
                           ("PACKAGE_NAME=x\nPACKAGE_VERSION=$(date)\n", "shell"),
                           ("PACKAGE_NAME=x\nPACKAGE_VERSION=#MODULE_VERSION#\n", "PACKAGE_VERSION"),
                           ("PACKAGE_NAME=$PACKAGE_NAME\nPACKAGE_VERSION=1\n", "shell"),
                           ("PACKAGE_NAME=../x\nPACKAGE_VERSION=1\n", "shell"),
                           ("PACKAGE_NAME=x\nPACKAGE_VERSION=1\nBUILT_MODULE_NAME=\n", "module")):
            with self.subTest(text):
                self.write("in/dkms.conf", text)
                result = self.build("--drivers", "in", *MACHINES)
                self.assertEqual(self.offered(), {"good.ko": "1"})
                self.assertIn("dkms.conf cannot be used: ", result.stderr)
                self.assertIn(word, result.stderr)

    def test_drivers_of_windows_and_what_their_inf_file_says(self):
        inf = ("; a comment\r\n[Version]\r\ndriverver = 06/21/2006, 5.1.2600.1 ; b\r\n[Other]\r\nx=1\r\n"
               "[SourceDisksFiles.amd64]\r\nsilent.sys = 1\r\nLOUD.SYS=1,,\r\nread.txt=1\r\n")
        files = {"drv/SILENT.SYS": windows_driver(None), "drv/loud.sys": windows_driver("4.17.0.64"),
                 "drv/x.inf": inf.encode(), "drv/readme": b"x" * 70000}
        offered = {"silent.sys": "5.1.2600.1", "loud.sys": "4.17.0.64"}
        for name, content in files.items():
            self.write(name, content)
        wide = {**files, "drv/x.inf": b"\xff\xfe" + inf.encode("utf-16-le")}
        for path in (self.folder / "drv", self.write("drivers.CAB", cab(files)),
                     self.write("wide.cab", cab(wide))):
            with self.subTest(path.name):
                result = self.build("--drivers", path, *MACHINES)
                self.assertEqual(self.offered(), offered)
                self.assertEqual(result.stderr, "")
        self.write("drv/x.inf", inf + "a-#b.sys=1\nc\x01.sys=1\n")
        result = self.build("--drivers", "drv", *MACHINES)
        self.assertEqual(self.offered(), offered)
        self.assertEqual(result.stderr.count("cannot stand in a catalogue"), 2)
        for text in (inf.replace(", 5.1.2600.1", ""), inf.replace("5.1.2600.1", "%v%"), ""):
            self.write("drv/x.inf", text)
            result = self.build("--drivers", "drv", *MACHINES)
            self.assertEqual(self.offered(), {"loud.sys": "4.17.0.64"})
            self.assertIn("1 of 2 drivers states no version", result.stderr)

    def test_the_latest_of_a_name_is_offered(self):
        self.write("in/a/x.ko", kernel_module("1.9"))
        self.write("in/b/X.ko", kernel_module("1.10"))
        self.write("in/c/x.ko", kernel_module("1.2"))
        self.write("in/d/x.ko", kernel_module("alpha"))
        self.write("in/x.sys", windows_driver("1.0.0.0"))
        result = self.build("--drivers", "in", *MACHINES)
        self.assertEqual(self.offered(), {"X.ko": "1.10", "x.sys": "1.0.0.0"})
        self.assertIn("x.ko alpha is passed over", result.stderr)

    def test_an_installer_of_windows_is_to_be_unpacked_first(self):
        content = b"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1" + bytes(504)  # [MS-CFB]
        path = self.write("drivers/setup.MSI", content)
        self.assert_failed(self.run_program("catalogue", "build", "--output", "made", "--drivers",
                                            path, *MACHINES), 1, str(path), "unpack it first",
                           "msiextract", "msiexec /a")
        self.assertFalse((self.folder / "made").exists())
        self.write("drivers/good.sys", windows_driver("1.2.3.4"))
        result = self.build("--drivers", "drivers", *MACHINES)
        self.assertEqual(self.offered(), {"good.sys": "1.2.3.4"})
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        self.assertIn("setup.MSI: ", result.stderr)
        self.assertIn("msiextract", result.stderr)

    def test_operating_systems(self):
        self.write("in/x.ko", kernel_module("1"))
        self.write("in/y.sys", windows_driver("1.0.0.0"))
        self.build("--drivers", "in", *MACHINES)
        systems = {name: item["operatingSystems"] for name, item in self.elements().items()}
        self.assertTrue({"RHEL3", "SLES11_64", "Linux"} < set(systems["x"]))
        self.assertEqual(systems["y"], ["Windows 2003", "Windows 2000", "Windows 2008"])
        self.assertEqual(self.elements()["x"]["machineTypes"], ["4620", "4638"])
        result = self.build("--drivers", "in", *MACHINES, "--os", "RHEL5_64", "--os", "SLES9")
        self.assertEqual([item["operatingSystems"] for item in self.elements().values()],
                         [["RHEL5_64", "Linux", "SLES9"]])
        self.assertIn("1 driver is for none of the operating systems", result.stderr)
        self.build("--drivers", "in", *MACHINES, "--os", "Linux")
        self.assertEqual(self.elements()["x"]["operatingSystems"], ["Linux"])

    def test_firmware(self):
        self.write("list.csv", """\
Type,Name,Version,Machine types,Operating systems,Build
bios,BIOS of 4638,YUE112A,4638 4636,RHEL5_64;Windows 2003
diagnostics,Preboot,1.10-[fdcp-1.10]-,4638,Linux,DSYT92A
RWA II,Card,RWYU10A,4638,
iscp,Processor,YUOO99B,4638,
bmc,Board,BMYE40A,"4638;4620",
broadcom,NX2FW_bcm5708,4.6.4,4638,
Broadcom,nx2fw_bcm5709,4.6.8,4638,
MegaRAID,AX20i,7.0.1-0056,4638,
LSI firmware,SAS1078,2.0,4638,
LSI BIOS,SAS1064E rev 2,6.28.00,4638,
LSI BIOS,SAS1078,9.9,4638,
LSI firmware,SAS1064E,1.27.82,4638,
driver,e1000e.ko,3.8.7,4638,SLES10_64
""")
        self.build("--firmware", "list.csv")
        self.assertEqual(len(self.elements()), 9)
        self.assertEqual(self.records(
            ("QRXSG_SystemBIOSElement", {"Version": "YUE110A"}),
            ("QRXSG_DiagnosticVPD", {"BuildNumber": "DSYT89A", "Version": "fdcp-1.10"}),
            ("QRXSG_SPROMFirmwareVPDMain",
             {"Name": "P", "BuildNumber": "YUOO99A", "Version": "1"}),
            ("QRXSG_IPMIFirmwareElement", {"Name": "BMC", "Version": "BMYE40A"}),
            ("QRXSG_BcmDeviceFirmwareElement",
             {"SoftwareElementID": "nx2fw_bcm5708", "Version": "4.4"}),
            ("QRXSG_MegaLSIFWPackageBuildFirmwareElement",
             {"Description": "QRX Arrayon-AX20i SAS", "Version": "7.0.1-0030"}),
            ("QRXSG_LSIFirmwareElement",
             {"Name": "LSI", "ProductID": "SAS1064E", "Version": "1.26"}),
            ("QRXSG_LSIBIOSElement",
             {"Name": "LSI BIOS", "ProductID": "LSI SAS1064E BIOS", "Version": "6.28.00"}),
            driver("e1000e.ko", "3.8.7")), [
                ("System BIOS", "YUE110A", "YUE112A", "outdated"),
                ("Diagnostics", "DSYT89A - fdcp-1.10", "fdcp-1.10 - DSYT92A", "outdated"),
                ("P", "1 (YUOO99A) ", "1 (RWYU10A) ", "unknown"),
                ("P", "YUOO99A", "YUOO99B", "outdated"),
                ("BMC", "BMYE40A", "BMYE40A", "current"),
                ("Broadcom NetXtreme Network Device  0", "4.4", "4.6.4", "outdated"),
                ("QRX Arrayon AX 20i SAS Controller Firmware", "7.0.1-0030", "7.0.1-0056",
                 "outdated"),
                ("LSI", "1.26", "1.27.82", "outdated"),
                ("LSI BIOS", "6.28.00", "6.28.00", "current"),
                ("E1000E", "3.8.7", "3.8.7", "current")])

    def test_a_list_from_a_spreadsheet(self):
        self.write("list.csv", b"\xef\xbb\xbfVERSION;machine_types;name;type\r\n"
                               b"\"1;2\";4638,4620;\"B \"\"x\"\"\";bios\r\n\r\n")
        self.build("--firmware", "list.csv")
        item = self.elements()['B "x"']
        self.assertEqual((item["version"], item["machineTypes"]), ("1;2", ["4620", "4638"]))

    def test_a_list_with_letters_of_all_the_world_and_a_column_without_a_name(self):
        self.write("list.csv", "type,name,version,\nbios,Größe 機種,1,\n")
        self.build("--firmware", "list.csv", *MACHINES)
        self.assertEqual(list(self.elements()), ["Größe 機種"])

    def test_rows_that_name_no_machine_are_for_those_of_the_command(self):
        self.write("list.csv", "type,name,version\nbios,b,1\n")
        self.build("--firmware", "list.csv", *MACHINES, "--os", "RHEL5")
        self.assertEqual(self.elements()["b"]["operatingSystems"], ["RHEL5", "Linux"])
        self.assertEqual(self.elements()["b"]["machineTypes"], ["4620", "4638"])

    def test_machine_types_that_are_names_of_products(self):
        q35, dell = "Standard PC (Q35 + ICH9, 2009)", "PowerEdge R750"
        self.write("list.csv", f"""\
type,name,version,machine types,Machine_Types
bios,quoted,1,"{q35}",
bios,barred,2,"{dell}|{q35}|4638",
bios,plain,3,{dell},
bios,columns,4,4620 4621,"{q35}"
bios,numbers,5,4638 4639,
bios,command,6,,
""")
        result = self.run_program("catalogue", "build", "--output", "made", "--firmware",
                                  "list.csv", "--machine", q35, "--machine", "A [b] & \"c\"")
        self.assertEqual(result.returncode, 0, result.stderr)
        types = {name: item["machineTypes"] for name, item in self.elements().items()}
        self.assertEqual(types, {
            "quoted": [q35], "barred": ["4638", dell, q35], "plain": [dell],
            "columns": ["4620", "4621", q35], "numbers": ["4638", "4639"],
            "command": ['A [b] & "c"', q35]})

    def test_a_machine_whose_type_is_the_name_of_a_product(self):
        type_ = "Standard PC (Q35 + ICH9, 2009)"
        self.write("list.csv", "type,name,version,machine types,operating systems\n"
                               f'bios,b,YUE112A,"{type_}",any\n')
        self.write("in/x.ko", kernel_module("2"))
        self.build("--firmware", "list.csv", "--drivers", "in", "--machine", type_, "--os", "any")
        codes = self.elements()["b"]["operatingSystems"]
        self.assertEqual(len(codes), 21)
        self.assertEqual(self.elements()["x"]["operatingSystems"], codes)
        for system in (SYSTEM[1]["BuildID"], "Debian GNU/Linux 12 (bookworm)"):
            with self.subTest(system):
                inventory = self.inventory(
                    ("QRXSG_ComputerSystem", {"MachineType": type_}),
                    ("QRXSG_OperatingSystem", {**SYSTEM[1], "BuildID": system}),
                    ("QRXSG_SystemBIOSElement", {"Version": "YUE110A"}), driver("x.ko", "1"))
                result = self.run_program("check", "--inventory", inventory, "--catalogue", "made",
                                          "--format", "json")
                self.assertEqual([(record["Name"], record["verdict"])
                                  for record in json.loads(result.stdout)["records"]],
                                 [("System BIOS", "outdated"), ("X", "outdated")])
                text = self.run_program("explain", "b", "--inventory", inventory, "--catalogue",
                                        "made")
                self.assertEqual(text.returncode, 0, text.stderr)
                self.assertIn("YUE112A", text.stdout)

    def test_lists_that_cannot_be_used(self):
        head = "type,name,version,machine types,operating systems\n"
        for text, *words in (("", "1", "empty"), ("name,version\n", "1", "type"),
                             (head + "bios,b,1,4638,\nvalve,b,1,4638,", "3", "valve", "BIOS"),
                             (head + "bios,b,,4638,", "2", "empty"),
                             (head + "bios,b,1,,", "2", "--machine"),
                             (head + "bios,b,1,-[4638]-,", "2", "-[4638]-"),
                             (head + "bios,b,1,a\x01b,", "2", "machine type"),
                             (head + "bios,b,1,4638,RHEL9", "2", "RHEL9", "RHEL6_64", "any"),
                             (head + "bios,b,1-[2,4638,", "2", "marks"),
                             (head + "diagnostics,b,fdcp-1.10,4638,", "2", "build"),
                             (head + "broadcom,b,1 2,4638,", "2", "blank"),
                             (head + "megaraid,AX30,1,4638,", "2", "AX20M"),
                             (head + "lsi bios,SAS1064E,1,4638,", "2", "LSI firmware"),
                             (head + "driver,x.ko,1-#2,4638,", "2", "-#"),
                             (head + "bios,\"b,1,4638,", "2", "not closed"),
                             ("type,name,versoin\nbios,b,1", "1", 'no column "versoin"',
                              'did you mean "version"?'),
                             ("type,name,version,machine type\nbios,b,1,4638", "1",
                              'no column "machine type"', 'did you mean "machine types"?'),
                             ("type,name,version,colour\nbios,b,1,red", "1", 'no column "colour"',
                              "the columns are type, name, version, machine types"),
                             ("type,name,version,Name\nbios,b,1,c", "1", '"name" is there twice'),
                             ((head + "bios,b\u00e9,1,4638,").encode("latin-1"), "2", "UTF-8"),
                             ((head + "bios,b,1,4638,\n\n# \u00e9").encode("latin-1"), "4",
                              "UTF-8"),
                             (head.encode("utf-16"), "1", "UTF-8")):
            with self.subTest(text):
                self.write("list.csv", text)
                result = self.run_program("catalogue", "build", "--output", "made", "--firmware",
                                          "list.csv")
                self.assert_failed(result, 1, "list.csv:" + words[0], *words[1:])
                self.assertFalse((self.folder / "made").exists())

    def test_failures(self):
        self.write("in/x.ko", kernel_module("1"))
        build = ("catalogue", "build", "--output", "made")
        self.assert_failed(self.run_program(*build), 64, "--drivers", "--firmware")
        self.assert_failed(self.run_program(*build, "--drivers", "in"), 64, "--machine")
        self.assert_failed(self.run_program(*build, "--drivers", "in", "--machine", "-[4638]-"), 64)
        self.assert_failed(self.run_program(*build, "--drivers", "in", *MACHINES, "--os", "x"), 64,
                           "RHEL3")
        self.assert_failed(self.run_program(*build, "--drivers", "gone", *MACHINES), 1, "gone")
        self.assert_failed(self.run_program(*build, "--firmware", "gone.csv"), 1, "gone.csv")
        self.assertFalse((self.folder / "made").exists())

    def test_a_broken_package_is_told_and_the_rest_is_built(self):
        whole = deb({"x.ko": kernel_module("1")})
        self.write("in/cut.deb", whole[:-200])
        self.write("in/text.rpm", b"no package")
        self.write("in/good.ko", kernel_module("2"))
        result = self.build("--drivers", "in", *MACHINES)
        self.assertEqual(self.offered(), {"good.ko": "2"})
        self.assertIn("cut.deb", result.stderr)
        self.assertIn("text.rpm", result.stderr)

    def test_an_older_catalogue_stays_until_the_new_one_is_whole(self):
        old = self.write("made/index.xml", "old")
        self.write("list.csv", "type,name,version,machine types\nbios,b,1,4638\nbios,b,2,4638\n")
        result = self.run_program("catalogue", "build", "--output", "made", "--firmware", "list.csv")
        self.assertEqual(result.returncode, 0)
        self.assertIn("warning: b: another version is offered", result.stderr)
        self.assertNotEqual(old.read_text(), "old")
        old.write_text("old")
        self.write("list.csv", "type,name,version,machine types\nbios,b,1,4638\nbios,b,1,4638\n")
        result = self.run_program("catalogue", "build", "--output", "made", "--firmware", "list.csv")
        self.assertEqual(result.returncode, 1)
        self.assertIn("twice", result.stderr)
        self.assertEqual(old.read_text(), "old")
        self.assertEqual(self.leftovers(), [])

    def test_an_interruption_stops_it_at_once_and_leaves_nothing(self):
        # Each takes a moment until it is refused.
        first = self.write("in/0.deb", endless_deb())
        for number in range(1, 400):
            os.link(first, self.folder / f"in/{number}.deb")
        process = subprocess.Popen([PROGRAM, "catalogue", "build", "--output", "made", "--drivers",
                                    "in", *MACHINES], cwd=self.folder, stderr=subprocess.PIPE,
                                   preexec_fn=usual_signals)
        self.addCleanup(process.stderr.close)
        while not self.has_opened(process, first.parent):
            if process.poll() is not None:
                self.fail(f"ended with {process.returncode}: {process.stderr.read()}")
            time.sleep(0.001)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=1), -signal.SIGINT)
        self.assertFalse((self.folder / "made").exists())
        self.assertEqual(self.leftovers(), [])

    @staticmethod
    def has_opened(process, folder):
        try:
            open_files = f"/proc/{process.pid}/fd"
            return any(os.readlink(f"{open_files}/{name}").startswith(f"{folder}/")
                       for name in os.listdir(open_files))
        except FileNotFoundError:
            return False

    def test_a_query_loads_nothing_of_it(self):
        with open(PROGRAM, "rb") as file:
            program = file.read()
        for library in (b"libkmod.so", b"libarchive.so"):
            self.assertNotIn(library, program)
        self.assertTrue((BUILD / "lib" / "libsvcheck-catalogue.so").exists())


if __name__ == "__main__":
    main()
