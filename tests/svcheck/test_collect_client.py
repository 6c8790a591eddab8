"""`svcheck collect --fwupd`: devices that the client of public firmware knows of a machine.

docs/examples/devices.json is what `fwupdmgr get-devices --json` of fwupd 2.0.20 printed while it
emulated a wireless receiver.
"""

import json
import re
import xml.etree.ElementTree as ElementTree

from program import SOURCE, ProgramTest, main, records_of
from public_metadata import component, metadata, release

REAL = SOURCE / "docs/examples/devices.json"
RECEIVER = "1a6daa47-6506-55db-8eaa-d25b1b4b1e4b"
MOST_BYTES, MOST_DEVICES, MOST_IDS, LONGEST, DEEPEST = 4 << 20, 4096, 256, 4096, 16


def devices_in(document):
    """Name to properties, of each SVC_FirmwareDevice."""
    found = {}
    for instance in ElementTree.fromstring(document).iter("INSTANCE"):
        if instance.get("CLASSNAME") != "SVC_FirmwareDevice":
            continue
        told = {item.get("NAME"): item.findtext("VALUE") for item in instance.iter("PROPERTY")}
        told.update({item.get("NAME"): [value.text for value in item.iter("VALUE")]
                     for item in instance.iter("PROPERTY.ARRAY")})
        found[told.pop("Name", None)] = told
    return found


def listed(*devices):
    return json.dumps({"Devices": devices})


def device(name="Dock", **more):
    return {"Name": name, "Guid": [RECEIVER], **more}


class ClientTest(ProgramTest):
    def only(self, text, *options):
        file = self.write("devices.json", text)
        return self.run_program("collect", "--fwupd", file, "--only-fwupd", *options)

    def devices(self, text):
        result = self.only(text)
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        return devices_in(result.stdout)

    def test_what_the_client_prints_is_taken_over_whole(self):
        receiver, radio, processor = self.devices(REAL.read_text()).items()
        vendors = ["HIDRAW:0x046D", "USB:0x046D"]
        self.assertEqual(("Bolt Receiver", {
            "Vendor": "Logitech", "Version": "MPR05.00_B0008", "VersionFormat": "plain",
            "Identifiers": ["UFY\\VID_046D&PID_C548", "HIDRAW\\VEN_046D&DEV_C548", RECEIVER,
                            "f70d9241-2656-546b-a8e4-211bac348667"],
            "Source": "fwupd", "VendorIds": vendors,
            "BootloaderVersion": "BOT30.00_B0005"}), receiver)
        self.assertEqual(("Bolt Receiver (Radio)", {
            "Vendor": "Logitech", "Version": "0x0112", "VersionFormat": "hex",
            "Identifiers": ["HIDRAW\\VEN_046D&DEV_C548&ENT_05",
                            "4721886b-1602-51e2-abf0-d776a785f527"],
            "Source": "fwupd", "VendorIds": vendors}), radio)
        self.assertEqual(("EPYC", {
            "Vendor": "AMD", "Source": "fwupd",
            "Identifiers": ["CPUID\\PRO_0&FAM_19&MOD_11", "CPUID\\PRO_0&FAM_19&MOD_11&STP_1",
                            "f9203adb-b862-5263-88e9-373204438174",
                            "3e9793d5-b325-517a-81ec-6ebc6f5a6c02"]}), processor)

    def test_standard_input_gives_the_same(self):
        piped = self.run_program("collect", "--fwupd", "-", "--only-fwupd", input=REAL.read_text())
        self.assertEqual((0, ""), (piped.returncode, piped.stderr))
        self.assertEqual(self.only(REAL.read_text()).stdout, piped.stdout)

    def test_a_machines_devices_are_told_once(self):
        self.write("tree/proc/cpuinfo", "processor\t: 0\nvendor_id\t: AuthenticAMD\n"
                   "cpu family\t: 25\nmodel\t\t: 17\nmodel name\t: AMD EPYC 9354\n"
                   "stepping\t: 1\nmicrocode\t: 0xa101148\n")
        self.write("tree/sys/firmware/efi/esrt/entries/entry0/fw_class", RECEIVER.upper() + "\n")
        self.write("tree/sys/firmware/efi/esrt/entries/entry0/fw_type", "2\n")
        self.write("tree/sys/firmware/efi/esrt/entries/entry0/fw_version", "7\n")
        self.write("tree/sys/class/dmi/id/product_name", "4638\n")
        alone = self.run_program("collect", "--root", "tree", "--quiet")
        self.assertEqual(["AMD EPYC 9354", "Device Firmware"], list(devices_in(alone.stdout)))
        merged = self.run_program("collect", "--root", "tree", "--quiet", "--fwupd", REAL)
        self.assertEqual((0, ""), (merged.returncode, merged.stderr))
        found = devices_in(merged.stdout)
        self.assertEqual(["EPYC", "Bolt Receiver", "Bolt Receiver (Radio)"], list(found))
        processor = found["EPYC"]
        # Neither knows all of it: the client has no version, the kernel the longer ids.
        self.assertEqual(("AMD", "0xa101148", "hex", "fwupd"),
                         tuple(processor[name] for name in ("Vendor", "Version", "VersionFormat",
                                                            "Source")))
        self.assertEqual("CPUID\\PRO_0&FAM_19", processor["Identifiers"][-1])
        self.assertEqual(5, len(set(processor["Identifiers"])))
        self.assertEqual("MPR05.00_B0008", found["Bolt Receiver"]["Version"])
        for name in ("QRXSG_ComputerSystem", "4638"):
            self.assertIn(name, merged.stdout)

    def test_a_fleet_is_told_what_is_offered(self):
        line = self.only(REAL.read_text(), "--format", "ndjson", "--machine", "desk-7")
        self.assertEqual((0, ""), (line.returncode, line.stderr))
        self.write("fleet.ndjson", line.stdout)
        self.write("made.xml", metadata(component(
            release("MPR06.00_B0001"), identifiers=(RECEIVER,), version_format="plain",
            requires='<firmware compare="ge" version="BOT30">bootloader</firmware>'
                     '<firmware compare="regex" version="USB:0x046D">vendor-id</firmware>')))
        made = self.run_program("catalogue", "import", "--lvfs", "made.xml", "--output", "public",
                                "--allow-unsigned")
        self.assertEqual(0, made.returncode, made.stderr)
        result = self.run_program("fleet", "--catalogue", "public", "--inventories", "fleet.ndjson")
        found, = [item for item in records_of(result.stdout) if "Type" in item]
        self.assertEqual(("desk-7", "Bolt Receiver", "MPR05.00_B0008", "MPR06.00_B0001"),
                         tuple(found[name] for name in ("machine", "Name", "InstalledVersion",
                                                        "SVVersion")))

    def test_the_commands_of_the_page_do_what_it_says(self):
        page = (SOURCE / "docs/inventory-sources.md").read_text()
        block, = re.findall(r"(?ms)^<!-- tried -->\n```sh\n(.*?)^```$", page)
        (self.folder / "docs").symlink_to(SOURCE / "docs")
        first, second = [self.run_program(*line.split()[1:]) for line in block.splitlines()]
        self.assertEqual((0, "", 0, ""), (first.returncode, first.stderr, second.returncode,
                                          second.stderr))
        line = json.loads(second.stdout)
        self.assertEqual(("desk-7", (self.folder / "devices.xml").read_text()),
                         (line["machine"], line["inventory"]))

    def test_older_clients_forms_are_taken(self):
        found = self.devices(listed(
            device("A", VendorId="USB:0x1111|PCI:0x2222", VersionFormat="unknown", Version="1"),
            device("B", Branch="main", Serial="SECRET", Guid=RECEIVER.upper())))
        self.assertEqual(["USB:0x1111", "PCI:0x2222"], found["A"]["VendorIds"])
        self.assertNotIn("VersionFormat", found["A"])
        self.assertEqual({"Branch": "main", "Identifiers": [RECEIVER], "Source": "fwupd"},
                         found["B"])

    def test_what_is_of_another_kind_counts_as_not_told(self):
        text = listed(7, None, [], device("A", Version=7, Vendor=["x"], VendorIds={"a": 1},
                                          Branch="a\nb\x1b[2J\u0007"),
                      device("No GUID", Guid=["not one"]), {"Name": "Nothing"},
                      device("B", Guid=[RECEIVER, 7, None, {}], InstanceIds="USB\\VID_1&PID_2"))
        found = self.devices(text)
        self.assertEqual(["A", "B"], list(found))
        self.assertEqual({"Branch", "Identifiers", "Source"}, set(found["A"]))
        self.assertEqual("a b\ufffd[2J\ufffd", found["A"]["Branch"])
        self.assertEqual(["USB\\VID_1&PID_2", RECEIVER], found["B"]["Identifiers"])
        self.assertEqual({}, self.devices(listed()))

    def test_more_than_is_reasonable_is_refused(self):
        ids = [f"USB\\VID_{number:04X}" for number in range(MOST_IDS)]
        nested = "[" * (DEEPEST - 1) + "]" * (DEEPEST - 1)
        padded = listed(device())
        for fits, beyond, words in (
                (padded + " " * (MOST_BYTES - len(padded)),
                 padded + " " * (MOST_BYTES + 1 - len(padded)), "larger"),
                (listed(*[device(str(i)) for i in range(MOST_DEVICES)]),
                 listed(*[device(str(i)) for i in range(MOST_DEVICES + 1)]), "4096 devices"),
                (listed(device(InstanceIds=ids)), listed(device(InstanceIds=[*ids, "X"])), "ids"),
                (listed(device("n" * LONGEST)), listed(device("n" * (LONGEST + 1))), "longer"),
                ('{"Devices":[],"x":' + nested + "}", '{"Devices":[],"x":[' + nested + "]}",
                 "nested")):
            self.assertEqual(0, self.only(fits).returncode, words)
            self.assert_failed(self.only(beyond), 1, "--fwupd", "devices.json", words)
        self.assert_failed(self.only("[" * 1000000), 1, "nested")
        bars = listed(device(VendorId="|".join(["a"] * (MOST_IDS + 1))))
        self.assert_failed(self.only(bars), 1, "ids")

    def test_what_is_no_list_of_devices_is_named(self):
        for text in ("", "no json", "[]", "7", "{}", '{"Devices":{}}', '{"Devices":[',
                     b'{"Devices":[],"a":"\xff"}'):
            result = self.only(text)
            self.assert_failed(result, 1, "--fwupd", "devices.json", "fwupdmgr get-devices --json")
        failed = self.only(json.dumps({"Error": {"Message": "Failed to connect\nto daemon"}}))
        self.assert_failed(failed, 1, "the client failed: Failed to connect to daemon")
        absent = self.run_program("collect", "--fwupd", "absent.json", "--only-fwupd",
                                  "--output", "made.xml")
        self.assert_failed(absent, 1, "absent.json")
        self.assertFalse((self.folder / "made.xml").exists())

    def test_options_that_exclude_each_other_are_refused(self):
        for arguments, word in (
                (["--only-fwupd"], "FILE"),
                (["--fwupd", REAL, "--capture", "x.tar"], "--capture"),
                (["--fwupd", REAL, "--only-fwupd", "--root", self.folder], "--root"),
                (["--fwupd", REAL, "--only-fwupd", "--redfish", "https://bmc"], "--redfish"),
                (["--fwupd", REAL, "--only-fwupd", "--format", "ndjson"], "--machine")):
            self.assert_failed(self.run_program("collect", *arguments), 64, word)


if __name__ == "__main__":
    main()
