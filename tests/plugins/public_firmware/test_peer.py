"""The real client as judge: versions, GUIDs, hardware ids, and which release a device gets.

    test_peer.py BUILD COMPARE_VERSIONS

Skipped where the client, or the device that its package of tests brings, is not installed.
"""

import json
import os
import random
import shutil
import struct
import subprocess
import sys
import unittest
import uuid

COMPARE = sys.argv[2]

from program import ProgramTest, document, records_of  # noqa: E402
from public_metadata import component, metadata, release  # noqa: E402

SKIPPED = 77
FORMATS = ("plain", "number", "pair", "triplet", "quad", "bcd", "intel-me", "intel-me2",
           "intel-csme19", "surface", "surface-legacy", "dell-bios", "dell-bios-msb", "hex")
ORDERS = ("<", "==", ">")
WEBCAM = "b585990a-003e-5270-89d5-3705a17f9a43"  # Version 1.2.2, of the format triplet.
OTHER = "11111111-2222-3333-4444-555555555555"
SEED = int(os.environ.get("SVC_SEED", "1"))
VERSIONS = int(os.environ.get("SVC_PEER_VERSIONS", "25"))
CASES = int(os.environ.get("SVC_PEER_CASES", "60"))


def ours(lines):
    return subprocess.run([COMPARE], input="".join(line + "\n" for line in lines), text=True,
                          capture_output=True, check=True).stdout.splitlines()


class Peer(ProgramTest):
    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)
        self.write("etc/fwupd/fwupd.conf", "[fwupd]\nTestDevices=true\n")
        self.write("etc/fwupd/remotes.d/made.conf",
                   "[fwupd Remote]\nEnabled=true\nTitle=Made\n"
                   f"MetadataURI=file://{self.folder}/made.xml\n")
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                            "FWUPD_SYSCONFDIR": str(self.folder / "etc"),
                            "FWUPD_LOCALSTATEDIR": str(self.folder / "var")}

    def client(self, *arguments):
        return subprocess.run(["fwupdtool", *arguments], text=True, capture_output=True,
                              env=self.environment, timeout=300).stdout

    def version(self):
        part = self.random.choice
        kinds = (lambda: ".".join(str(part((0, 1, 2, 9, 10, 11, 255, 70000)))
                                  for _ in range(part((1, 2, 3, 4, 5)))),
                 lambda: part(("0x", "0x0", "")) + format(part((1, 15, 16, 255, 4096)), "x"),
                 lambda: part(("1.0", "1.2", "01.2")) + part(("~", "-", "a", "b", "rc", ".", "+"))
                 + part(("", "1", "2", "a")),
                 lambda: part(("20150915", "20160101", "4294967295", "4294967296")),
                 lambda: part(("V1.2", "A08", "A12", "1B2QEXM7", "GXA7701Q", "1..2", "1. 2")))
        return part(kinds)()

    def test_versions_have_the_same_order(self):
        pairs = [(kind, self.version(), self.version()) for kind in FORMATS
                 for _ in range(VERSIONS)]
        answers = ours("\t".join(pair) for pair in pairs)
        self.assertEqual(len(pairs), len(answers))
        seen = set()
        for (kind, first, second), answer in zip(pairs, answers):
            line = self.client("vercmp", first, second, kind).strip()
            judged, = [order for order in ORDERS if line == f"{first} {order} {second}"]
            self.assertEqual(judged, answer, f"{first} and {second} as {kind}")
            seen.add(judged)
        self.assertEqual(set(ORDERS), seen)

    def test_guids_are_the_same(self):
        texts = ["NVME\\VEN_144D&DEV_A808", "PCI\\VEN_8086&DEV_1572&SUBSYS_00028086",
                 "USB\\VID_273F&PID_1004", "TPM\\VEN_49465800", "main-system-firmware", "ü"]
        self.assertEqual([str(uuid.uuid5(uuid.NAMESPACE_DNS, text)) for text in texts],
                         ours("guid\t" + text for text in texts))

    def structures(self):
        """An SMBIOS table whose texts are as makers write them; some are not there."""
        texts = ("Example Ltd.", "R 1", "0815", " 007 ", "0R0", "00F ", "0", "Board & Co", " 0 1",
                 "Default string", "A" * 64)
        table = b""
        for number, kind, length, places in ((1, 0, 26, (4, 5)), (2, 1, 27, (4, 5, 0x19, 0x1A)),
                                             (3, 2, 15, (4, 5)), (4, 3, 22, ())):
            data = bytearray(length)
            data[:4] = struct.pack("<BBH", kind, length, number)
            chosen = [self.random.choice(texts) for _ in places]
            for index, place in enumerate(places, 1):
                data[place] = index if place == 4 or self.random.random() < 0.9 else 0
            if kind == 0:
                data[0x14:0x16] = self.random.randbytes(2)
            if kind == 3:
                data[5] = self.random.choice((1, 3, 10, 23, 0x8A, 0x97))
            ends = "".join(text + "\0" for text in chosen) or "\0"
            table += bytes(data) + ends.encode() + b"\0"
        return table + struct.pack("<BBH", 127, 4, 5) + b"\0\0"

    def write_tables(self, table):
        entry = bytearray(b"_SM3_\0\x18\x03\x04\0\x01\0" + struct.pack("<IQ", len(table), 0))
        entry[5] = -sum(entry) & 0xFF
        self.write("tree/sys/firmware/dmi/tables/DMI", table)
        self.write("tree/sys/firmware/dmi/tables/smbios_entry_point", bytes(entry))

    def hardware_ids(self):
        self.environment["FWUPD_SYSFSFWDIR"] = str(self.folder / "tree/sys/firmware")
        return [line.split("}")[0][1:] for line in self.client("hwids").splitlines()
                if line.startswith("{")]

    def test_hardware_ids_are_the_same(self):
        """Each id is what a release for a device of its own asks for."""
        most = 0
        for case in range(CASES // 3):
            table = self.structures()
            self.write_tables(table)
            told = [*self.hardware_ids(), OTHER]
            most = max(most, len(told) - 1)
            guids = [f"{number:08x}-0000-4000-8000-000000000000" for number in range(len(told))]
            self.import_components([
                component(release("2.0.0"), identifiers=(guid,), name=f"N{number}",
                          requires=f"<hardware>{told[number]}</hardware>")
                for number, guid in enumerate(guids)])
            self.write("devices.json", json.dumps({"Devices": [
                {"Name": f"D{number}", "Version": "1.0.0", "Guid": [guid]}
                for number, guid in enumerate(guids)]}))
            collected = self.run_program("collect", "--root", "tree", "--fwupd", "devices.json",
                                         "--output", "inventory.xml", "--quiet")
            self.assertEqual(0, collected.returncode, collected.stderr)
            self.assertEqual([f"D{number}" for number in range(len(told) - 1)],
                             [record["Name"] for record in self.outdated()], f"{case}: {table}")
        self.assertEqual(18, most)

    def offered(self, components, *more):
        """What this program offers the webcam beyond what it has; none for nothing."""
        self.import_components(components)
        webcam = ("SVC_FirmwareDevice", {"Name": "Webcam", "Version": "1.2.2",
                                         "VersionFormat": "triplet",
                                         "Identifiers": [WEBCAM, "USB\\VID_046D"]})
        self.write("inventory.xml", document([webcam, *more]))
        newer = [record["SVVersion"] for record in self.outdated()]
        return newer[0] if newer else None

    def import_components(self, components):
        file = self.write("made.xml", metadata(*components))
        made = self.run_program("catalogue", "import", "--lvfs", file, "--output", "public",
                                "--allow-unsigned")
        self.assertEqual(0, made.returncode, made.stderr)

    def outdated(self):
        result = self.run_program("check", "--inventory", "inventory.xml", "--catalogue", "public",
                                  "--format", "ndjson")
        self.assertEqual(0, result.returncode, result.stderr)
        return [record for record in records_of(result.stdout)
                if record.get("verdict") == "outdated"]

    def judged(self):
        """What the client offers of the same metadata."""
        told = json.loads(self.client("--json", "get-updates", "--plugins", "test"))
        releases = [item for device in told.get("Devices", ())
                    for item in device.get("Releases", ()) if item.get("RemoteId") == "made"]
        return releases[0]["Version"] if releases else None

    def requirement(self):
        pick = self.random.choice
        version = f"1.2.{pick(range(5))}"
        return pick((
            "", "", f'<firmware compare="{pick(("ge", "gt", "le", "lt", "eq", "ne"))}" '
            f'version="{version}"/>',
            f'<firmware compare="glob" version="{pick(("1.2.*", "1.3.*", "1.?.2"))}"/>',
            '<firmware compare="regex" version="'
            f'{pick(("USB:0x046D", "PCI:0x8086|USB:0x046D", "^USB:0x046D$"))}">'
            "vendor-id</firmware>",
            f"<hardware>{OTHER}</hardware>", f"<not_hardware>{OTHER}</not_hardware>",
            f"<firmware>{OTHER}</firmware>", f"<firmware>{WEBCAM}</firmware>",
            f'<firmware compare="{pick(("ge", "lt"))}" version="{version}">{WEBCAM}</firmware>'))

    def component(self, number):
        pick = self.random.choice
        versions = {f"1.{pick((2, 2, 3, 10))}.{pick(range(6))}" for _ in range(pick((1, 2, 3)))}
        return component(
            *[release(version, location="a.cab",
                      more='<checksum type="sha1" target="container">aa</checksum>')
              for version in sorted(versions)],
            identifiers=(pick((WEBCAM, WEBCAM, WEBCAM, OTHER)),), name=f"Cam{number}",
            requires='<id compare="ge" version="2.0.0">org.freedesktop.fwupd</id>'
                     + self.requirement() + self.requirement(),
            more=pick(("", "", "", "<branch>other</branch>")))

    def test_a_device_gets_the_same_release(self):
        seen = set()
        for case in range(CASES):
            components = [self.component(number) for number in range(self.random.choice((1, 2, 3)))]
            mine = self.offered(components)
            self.assertEqual(self.judged(), mine, f"case {case}: {components}")
            seen.add(mine)
        self.assertGreater(len(seen), 4)
        self.assertIn(None, seen)


if __name__ == "__main__":
    if not shutil.which("fwupdtool"):
        print("fwupdtool is not installed")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
