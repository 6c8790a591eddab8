"""The real client as judge of real devices: its daemon emulates those that its tests recorded.

    test_peer_devices.py BUILD NETLINK_PORT

Skipped where the client, its recordings, a message bus or its authority is not installed, or for who
is not root. Both look at the same metadata: made releases for all identifiers of all devices.
"""

import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import uuid

NETLINK_PORT = str(pathlib.Path(sys.argv[2]).resolve())

from program import ProgramTest, records_of  # noqa: E402
from public_metadata import component, metadata, release  # noqa: E402

SKIPPED = 77
RECORDINGS = pathlib.Path("/usr/share/installed-tests/fwupd/enumeration-data")
DAEMON = pathlib.Path("/usr/libexec/fwupd/fwupd")
AUTHORITY = pathlib.Path("/usr/lib/polkit-1/polkitd")
SEED = int(os.environ.get("SVC_SEED", "1"))
ROUNDS = int(os.environ.get("SVC_PEER_ROUNDS", "3"))
OTHER = "11111111-2222-3333-4444-555555555555"
BUS = """<busconfig><type>system</type><listen>unix:path={}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*"/><allow own="*"/><allow user="*"/>
<allow receive_sender="*"/></policy></busconfig>"""


def beside(version, number):
    """A version of the same form, whose last number is that much another."""
    digits = len(version) - len(version.rstrip("0123456789"))
    if version.startswith("0x"):
        return f"0x{max(0, int(version, 16) + number):0{len(version) - 2}x}"
    if digits == 0 or len(version[-digits:]) > 9:
        return version + ("a" if number > 0 else "")
    last = version[-digits:]
    return version[:-digits] + f"{max(0, int(last) + number):0{len(last)}d}"


class Devices(ProgramTest):
    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)
        self.folder.chmod(0o755)
        place = tempfile.mkdtemp()  # A bus's address takes no blank as it is.
        self.addCleanup(shutil.rmtree, place, ignore_errors=True)
        pathlib.Path(place).chmod(0o755)
        bus = pathlib.Path(place) / "bus"
        self.write("bus.conf", BUS.format(bus))
        self.write("etc/fwupd/fwupd.conf", "[fwupd]\n")
        self.write("etc/fwupd/remotes.d/made.conf",
                   "[fwupd Remote]\nEnabled=true\nTitle=Made\n"
                   f"MetadataURI=file://{self.folder}/made.xml\n")
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "NO_COLOR": "1",
                            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={bus}",
                            "FWUPD_SYSCONFDIR": str(self.folder / "etc"),
                            "FWUPD_LOCALSTATEDIR": str(self.folder / "var")}
        self.start("dbus-daemon", "--config-file=bus.conf", "--nofork")
        self.wait_for(bus.exists)
        bus.chmod(0o777)
        self.start(AUTHORITY)

    def start(self, *command, **more):
        process = subprocess.Popen([str(word) for word in command], cwd=self.folder,
                                   env={**self.environment, **more}, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait, 30)
        self.addCleanup(process.terminate)
        return process

    def wait_for(self, holds):
        for _ in range(600):
            if holds():
                return
            time.sleep(0.1)
        self.fail("it does not start")

    def client(self, *arguments):
        result = subprocess.run(["fwupdmgr", *arguments, "--json"], text=True, capture_output=True,
                                env=self.environment, timeout=120)
        return json.loads(result.stdout) if result.stdout.strip() else {}

    def with_daemon(self):
        daemon = self.start(DAEMON, LD_PRELOAD=NETLINK_PORT)
        self.wait_for(lambda: "Devices" in self.client("get-devices"))
        return daemon

    def emulated(self, recording):
        """What the daemon knows with the devices of a recording."""
        self.client("emulation-load", recording)
        return self.client("get-devices")

    def component(self, device, number):
        pick = self.random.choice
        version, form = device["Version"], device["VersionFormat"]
        requires = pick(("", "", "",
                         f'<firmware compare="{pick(("ge", "lt"))}" version="{version}"/>',
                         f'<firmware compare="ge" version="{beside(version, 1)}"/>',
                         f"<firmware>{OTHER}</firmware>"))
        if device.get("VendorIds"):
            requires += ('<firmware compare="regex" version="'
                         f'{pick(sorted(device["VendorIds"]))}">vendor-id</firmware>')
        if "VersionBootloader" in device:
            boot = beside(device["VersionBootloader"], pick((0, 1)))
            requires += f'<firmware compare="ge" version="{boot}">bootloader</firmware>'
        versions = {beside(version, pick((-1, 0, 1, 2, 3))) for _ in range(2)}
        protocol = (device.get("Protocols") or ["org.example"])[0]
        branch = pick((device.get("Branch"), device.get("Branch"), "elsewhere"))
        return component(
            *[release(one, location="a.cab",
                      more='<checksum type="sha1" target="container">aa</checksum>')
              for one in sorted(versions)],
            identifiers=(pick(device["Guid"]),), name=f"Made{number}", version_format=form,
            requires=requires,
            more=(f"<branch>{branch}</branch>" if branch else "")
            + f'<custom><value key="LVFS::UpdateProtocol">{protocol}</value></custom>')

    def ours(self, known):
        """The newer release that this program offers, by the device's id."""
        offered = {}
        named = [{**device, "Name": device["DeviceId"]} for device in known["Devices"]]
        self.write("devices.json", json.dumps({"Devices": named}))
        collected = self.run_program("collect", "--fwupd", "devices.json", "--only-fwupd",
                                     "--output", "inventory.xml")
        self.assertEqual(0, collected.returncode, collected.stderr)
        result = self.run_program("check", "--inventory", "inventory.xml", "--catalogue", "public",
                                  "--format", "ndjson")
        for record in records_of(result.stdout):
            if record.get("verdict") == "outdated":
                offered[record["Name"]] = record["SVVersion"]
        return offered

    def judged(self):
        told = self.client("get-updates", "--no-unreported-check", "--no-metadata-check",
                           "--no-remote-check")
        return {device["DeviceId"]: device["Releases"][0]["Version"]
                for device in told.get("Devices", ()) if device.get("Releases")}

    def test_each_recorded_device_gets_the_same_release(self):
        recordings = sorted(RECORDINGS.glob("*.json"))
        daemon = self.with_daemon()
        known = {path: self.emulated(path) for path in recordings}
        self.client("quit")
        daemon.wait(120)
        devices = {device["Guid"][0]: device for told in known.values()
                   for device in told["Devices"] if device.get("Guid") and device.get("Version")}
        self.assertGreater(len(devices), 30)
        for device in devices.values():
            for instance in device.get("InstanceIds", ()):
                self.assertIn(str(uuid.uuid5(uuid.NAMESPACE_DNS, instance)), device["Guid"])
        seen = {"same": 0, "none": 0}
        self.different = []
        for number in range(ROUNDS):
            self.compare(recordings, list(devices.values()), seen)
        print(f"\n{len(devices)} devices of {len(recordings)} recordings: {seen}")
        self.assertEqual([], self.different, "\n\n".join(self.different))
        self.assertGreater(seen["same"], 10)
        self.assertGreater(seen["none"], 10)

    def compare(self, recordings, devices, seen):
        text = metadata(*[self.component(device, place * 2 + i) for i in range(2)
                          for place, device in enumerate(devices)])
        self.write("made.xml", text)
        made = self.run_program("catalogue", "import", "--lvfs", "made.xml", "--output", "public",
                                "--allow-unsigned")
        self.assertEqual(0, made.returncode, made.stderr)
        daemon = self.with_daemon()
        for recording in recordings:
            known = self.emulated(recording)
            judged, ours = self.judged(), self.ours(known)
            for device in known["Devices"]:
                # What the client cannot install is offered by a catalogue alone.
                if ("updatable" not in device["Flags"] or not device.get("Version")
                        or "non-generic-message" in device.get("RequestFlags", ())):
                    continue
                name = device["DeviceId"]
                if judged.get(name) != ours.get(name):
                    told = [line for line in text.splitlines()
                            if any(guid in line for guid in device["Guid"])]
                    self.different.append(
                        f"{recording.name}: {device.get('Name')} {device['Version']} {device['Flags']}: the client "
                        f"{judged.get(name)}, this program {ours.get(name)}\n" + "\n".join(told))
                seen["none" if name not in ours else "same"] += 1
        self.client("quit")
        daemon.wait(120)


if __name__ == "__main__":
    needed = [RECORDINGS, DAEMON, AUTHORITY, *map(shutil.which, ("fwupdmgr", "dbus-daemon"))]
    if os.geteuid() != 0 or not all(place and pathlib.Path(place).exists() for place in needed):
        print("fwupd, its tests, dbus-daemon and polkitd are needed, and root")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
