"""Boots a server in QEMU, in software, with devices whose firmware the test knows, and runs the
program on it: what `svcheck collect` reads there and what `svcheck check` says of it."""

import argparse
import glob
import json
import os
import shutil
import subprocess
import sys
import tarfile
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

import guest_image

HERE = os.path.dirname(os.path.abspath(__file__))
SKIPPED = 77
DRIVERS = ["e1000e", "nvme", "mptsas", "megaraid_sas", "ipmi_si", "ipmi_devintf"]
LIBRARIES = ["hskcore", "plugin.nsp", "xmlparser", "acquire", "svchecker", "svcheck-collect"]
RELEASE = "Red Hat Enterprise Linux Server release 6.4 (Santiago)"
SERVER = [
    "-smbios", "type=0,vendor=QRX,version=QKL118A,date=03/07/2010",
    "-smbios", "type=1,manufacturer=QRX,product=QRX Rackwell 3650 -[4620AC1]-,serial=KQ12345,"
               "uuid=00112233-4455-6677-8899-aabbccddeeff",
    "-device", "ipmi-bmc-sim,id=bmc,fwrev1=1,fwrev2=0x23", "-device", "isa-ipmi-kcs,bmc=bmc",
    "-device", "megasas", "-device", "mptsas1068",
    "-netdev", "user,id=net,restrict=on", "-device", "e1000e,netdev=net",
]
options = None


def fill_root(root, modules):
    for source, target in ((guest_image.tool("busybox"), "/bin/busybox"), (f"{HERE}/init", "/init"),
                           (f"{HERE}/catalogue/index.xml", "/catalogue/index.xml"),
                           (f"{options.data}/sv/sv.definitions.xml",
                            "/svcheck/share/svcheck/sv/sv.definitions.xml"),
                           (f"{options.data}/sv/header.xml",
                            "/svcheck/share/svcheck/sv/header.xml")):
        os.makedirs(os.path.dirname(root + target), exist_ok=True)
        shutil.copy(source, root + target)
    os.chmod(f"{root}/init", 0o755)
    os.makedirs(f"{root}/etc")
    for name, text in (("server-modules", " ".join(DRIVERS)), ("redhat-release", RELEASE)):
        with open(f"{root}/etc/{name}", "w") as file:
            file.write(text + "\n")
    for program in (options.svcheck, options.ask_devices):
        guest_image.copy_program(root, program, f"/svcheck/bin/{os.path.basename(program)}")
    for name in LIBRARIES:
        guest_image.copy_program(root, f"{options.libraries}/lib{name}.so",
                                 f"/svcheck/lib/lib{name}.so")
    modules.copy_to(root, DRIVERS)


def boot(kernel, work):
    """Runs the server until it powers off; its disk then holds a tar of what it wrote."""
    with open(f"{work}/disk", "wb") as disk:
        disk.truncate(64 << 20)
    subprocess.run(
        [guest_image.tool("qemu-system-x86_64"), "-accel", "tcg", "-machine", "q35", "-m", "512",
         "-nodefaults", "-display", "none", "-no-reboot", "-serial", f"file:{work}/console",
         "-kernel", glob.glob(f"{kernel}/boot/vmlinuz-*")[0], "-initrd", f"{work}/initramfs",
         "-append", "console=ttyS0 quiet panic=-1",
         "-drive", f"file={work}/disk,if=none,id=disk,format=raw",
         "-device", "nvme,drive=disk,serial=1", *SERVER],
        check=True, timeout=540, stderr=subprocess.DEVNULL)


def instances(document):
    found = []
    for instance in ElementTree.fromstring(document).iter("INSTANCE"):
        values = {each.get("NAME"): each.findtext("VALUE") for each in instance.iter("PROPERTY")}
        found.append((instance.get("CLASSNAME"), values))
    return found


# What only hardware ids are made of.
ODDS = {"BIOSVendor": "QRX", "BIOSVersion": "QKL118A", "BIOSMajorRelease": "0",
        "BIOSMinorRelease": "0", "EnclosureType": "1"}


class VirtualServer(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        os.makedirs(options.cache, exist_ok=True)
        kernel = guest_image.unpack_kernel(options.cache)
        cls.modules = guest_image.Modules(kernel)
        cls.folder = tempfile.TemporaryDirectory(prefix="svcheck-virtual-server-")
        cls.addClassCleanup(cls.folder.cleanup)
        work = cls.folder.name
        fill_root(f"{work}/root", cls.modules)
        guest_image.pack(f"{work}/root", f"{work}/initramfs")
        boot(kernel, work)
        cls.out = f"{work}/out"
        try:
            with tarfile.open(f"{work}/disk") as disk:
                disk.extractall(cls.out)
        except tarfile.TarError as error:
            with open(f"{work}/console", errors="replace") as console:
                raise AssertionError("the server did not finish:\n" + console.read()) from error

    def read(self, name):
        with open(f"{self.out}/{name}", encoding="utf-8") as file:
            return file.read()

    def inventory(self, name="inventory"):
        self.assertEqual(self.read(f"{name}.status"), "0\n", self.read(f"{name}.err"))
        return instances(self.read(f"{name}.out"))

    def the(self, class_name):
        found = [values for name, values in self.inventory() if name == class_name]
        self.assertEqual(len(found), 1, class_name)
        return found[0]

    def mpt(self, kind):
        return self.read(f"mpt_{kind}").strip()

    def module_version(self, name):
        return self.modules.field(name, "version")

    def test_identity_and_bios_are_those_given_to_the_machine(self):
        self.assertEqual(self.the("QRXSG_ComputerSystem"), {
            "MachineType": "4620", "Manufacturer": "QRX", "Model": "QRX Rackwell 3650 -[4620AC1]-",
            "SerialNumber": "KQ12345", "UUID": "00112233-4455-6677-8899-aabbccddeeff", **ODDS})
        self.assertEqual(self.the("QRXSG_SystemBIOSElement"), {
            "Name": "System BIOS", "Version": "QKL118A", "Manufacturer": "QRX",
            "ReleaseDate": "03/07/2010"})

    def test_operating_system_is_that_of_the_release_file_and_the_kernel(self):
        self.assertEqual(self.the("QRXSG_OperatingSystem"), {
            "Version": self.modules.release, "OSType": "36", "BuildID": RELEASE,
            "HardwarePlatform": "x86_64", "Caption": RELEASE})

    def test_management_controller_tells_its_revision(self):
        self.assertEqual(self.the("QRXSG_IPMIFirmwareElement")["Version"], "1.23")
        self.assertIn("ipmi=1.23\n", self.read("devices.out"), "asked through /dev/ipmi0")

    def test_network_driver_tells_its_firmware(self):
        self.assertRegex(self.read("devices.out"), r"(?m)^ethtool=\d+\.\d+")

    def test_disk_and_network_adapter_are_firmware_of_any_kind(self):
        devices = {values["Source"]: values for name, values in self.inventory()
                   if name == "SVC_FirmwareDevice"}
        self.assertEqual(devices["nvme"]["Name"], "QEMU NVMe Ctrl")
        self.assertRegex(devices["nvme"]["Version"], r"^\d+\.\d")
        self.assertIn(f"ethtool={devices['ethtool']['Version']}\n", self.read("devices.out"))

    def test_raid_controller_tells_its_package(self):
        controller = self.the("QRXSG_MegaLSIFWPackageBuildFirmwareElement")
        self.assertEqual(controller["Description"], "LSI MegaRAID SAS 8708EM2")
        self.assertRegex(controller["Version"], r"^\d.*QEMU$")

    def test_sas_controller_tells_firmware_and_bios(self):
        for kind, class_name in (("firmware", "QRXSG_LSIFirmwareElement"),
                                 ("bios", "QRXSG_LSIBIOSElement")):
            element = self.the(class_name)
            self.assertEqual(element["ProductID"], "LSISAS1068 A0")
            self.assertRegex(element["Version"], r"^\d\d\.\d\d\.\d+\.\d\d$")
            self.assertEqual(element["Version"], self.mpt(kind))

    def test_drivers_are_all_that_are_loaded_with_the_versions_of_their_files(self):
        drivers = {values["Name"]: values for name, values in self.inventory()
                   if name == "QRXSG_DeviceDriverInfo"}
        self.assertEqual(sorted(drivers),
                         sorted(line.split()[0] for line in self.read("modules").splitlines()))
        for name, values in drivers.items():
            file = os.path.relpath(self.modules.paths[name], self.modules.base)
            path = f"/lib/modules/{self.modules.release}/{file}"
            self.assertEqual(values["Path"], path.replace("/", "\\"))
            version = self.module_version(name) or self.modules.release  # They are all in tree.
            self.assertEqual(values["Version"], version, name)
            self.assertEqual(values["CurrentState"], "4")

    def test_inventory_is_the_same_twice_and_nothing_is_missing(self):
        self.assertEqual(self.read("inventory.out"), self.read("again.out"))
        self.assertEqual(self.read("inventory.err"), "")

    def test_redacted_inventory_does_not_tell_which_machine_it_is(self):
        system = dict(self.inventory("redacted"))["QRXSG_ComputerSystem"]
        self.assertEqual(sorted(system),
                         sorted(["MachineType", "Manufacturer", "Model", *ODDS]))

    def test_captured_tree_gives_what_files_tell(self):
        self.assertEqual(self.read("capture.status"), "0\n", self.read("capture.err"))
        with tempfile.TemporaryDirectory() as tree:
            with tarfile.open(f"{self.out}/capture.tar") as capture:
                capture.extractall(tree)
            captured = subprocess.run([options.svcheck, "collect", "--root", tree],
                                      check=True, capture_output=True, text=True)
        self.assertEqual(instances(captured.stdout),
                         [(name, values) for name, values in self.inventory()
                          if name != "QRXSG_MegaLSIFWPackageBuildFirmwareElement"
                          and values.get("Source") != "ethtool"])
        self.assertIn("MegaRAID controller", captured.stderr)

    def check_records(self, name):
        self.assertEqual(self.read(f"{name}.status"), "0\n", self.read(f"{name}.err"))
        return [[record[key] for key in
                 ("Type", "Name", "InstalledVersion", "SVVersion", "verdict")]
                for record in json.loads(self.read(f"{name}.out"))["records"]]

    def test_check_pairs_what_is_installed_with_what_is_offered(self):
        records = self.check_records("check")
        package = self.the("QRXSG_MegaLSIFWPackageBuildFirmwareElement")["Version"]
        raid = records.pop(2)
        self.assertEqual(raid[:4], ["Firmware", "Controller_Package", package, "2.6"])
        self.assertEqual(records, [
            ["Firmware", "System BIOS", "QKL118A", "QKL119A", "outdated"],
            ["Firmware", "Baseboard Management Controller", "1.23", "1.30", "outdated"],
            ["Firmware", "QEMU MPT Fusion Firmware", self.mpt("firmware"), "01.52.00.00",
             "outdated"],
            ["Firmware", "QEMU MPT Fusion BIOS", self.mpt("bios"), "00.00.02.00", "outdated"],
            ["Driver", "E1000E", self.modules.release, "3.8.4", "unknown"],
            ["Driver", "MPTSAS", self.module_version("mptsas"), "4.28.20.01", "outdated"],
            ["Driver", "MEGARAID_SAS", self.module_version("megaraid_sas"), "07.720.00.00",
             "outdated"],
            ["Driver", "NVME", self.module_version("nvme"), "1.0", "current"],
        ])

    def test_check_of_the_machine_itself_says_the_same(self):
        self.assertEqual(self.check_records("check_live"), self.check_records("check"))


def main():
    global options
    parser = argparse.ArgumentParser()
    for name in ("svcheck", "ask-devices", "libraries", "data", "cache"):
        parser.add_argument(f"--{name}", required=True)
    options, rest = parser.parse_known_args()
    try:
        for tool in ("qemu-system-x86_64", "busybox", "cpio", "depmod", "modinfo", "dpkg-deb"):
            guest_image.tool(tool)
        os.makedirs(options.cache, exist_ok=True)
        guest_image.unpack_kernel(options.cache)
    except guest_image.Unavailable as reason:
        print(f"skipped: no virtual server here: {reason}")
        sys.exit(SKIPPED)
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
