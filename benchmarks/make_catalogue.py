#!/usr/bin/env python3
"""Makes catalogues to measure with: realistic ones of any size, and adversarial ones.

    make_catalogue.py FOLDER --elements 10000        FOLDER/index.xml and FOLDER/inventory.xml
    make_catalogue.py FOLDER --elements 10000 --kind shared      nine texts in ten stood before
    make_catalogue.py FOLDER --family huge-value --scale 16

The same arguments give the same bytes on every machine.
"""

import argparse
import pathlib
import random
import sys

MACHINE_TYPE = "4620"
APPLICABLE_SHARE = 0.035
INSTALLED_DRIVERS = 300
OFFERED_DRIVERS = 2400
SYSTEMS = [
    "RHEL3", "RHEL3_64", "RHEL4", "RHEL4_64", "RHEL5", "RHEL5_64", "RHEL6", "RHEL6_64", "SLES9",
    "SLES9_64", "SLES10", "SLES10_64", "SLES11", "SLES11_64", "VMWARE3", "VMWARE4", "Windows 2000",
    "Windows 2003", "Windows 2008", "Linux", "VMware",
]
SENTENCES = [
    "Corrects a problem where the adapter may not be found after a warm start.",
    "Improves the throughput of large sequential writes.",
    "Adds support for dual-rank memory modules of 8 GB.",
    "Resolves an event log entry that was written twice when a power supply was removed.",
    "Install this update before the one for the management processor.",
    "A restart is needed for the new level to become active.",
    "Updates the built-in help and the translated messages.",
    "Reduces the time that the server needs to start by some seconds.",
    "Addresses a rare hang of the second port under heavy broadcast load.",
    "Shows the right fan speeds when a fan pack has been replaced in operation.",
]
PACKAGES = [
    ("BIOS", "BIOS Update for the system board", "bios"),
    ("Diagnostics", "Preboot Diagnostics", "diag"),
    ("BMC/H8", "Baseboard Management Controller update", "bmc"),
    ("RAID", "Disk controller firmware update", "raid"),
    ("Network", "NetXtreme II firmware update", "net"),
]

HEAD = """<?xml version="1.0" encoding="UTF-8"?>
<?sv-catalogue version="4.02"?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0">
  <DECLARATION>
    <DECLGROUP>
"""
TAIL = """    </DECLGROUP>
  </DECLARATION>
</CIM>
"""


def scalar(name, value, type_name="string"):
    return (f'          <PROPERTY NAME="{name}" TYPE="{type_name}">'
            f"<VALUE>{value}</VALUE></PROPERTY>\n")


def array(name, values):
    rows = "".join(f"              <VALUE>{value}</VALUE>\n" for value in values)
    return (f'          <PROPERTY.ARRAY NAME="{name}" TYPE="string">\n            <VALUE.ARRAY>\n'
            f"{rows}            </VALUE.ARRAY>\n          </PROPERTY.ARRAY>\n")


def instance(class_name, properties):
    return (f'      <VALUE.OBJECT>\n        <INSTANCE CLASSNAME="{class_name}">\n{properties}'
            "        </INSTANCE>\n      </VALUE.OBJECT>\n")


DRIVERS = [f"{'abcdefghijklmnopqrstuvwxyz'[n % 26]}drv{n:04d}.sys" for n in range(OFFERED_DRIVERS)]


class CatalogueMaker:
    """Realistic update elements: of about 3.8 KB each; of 600 bytes; or such that of ten, nine have
    the descriptions and the file list of one before."""

    def __init__(self, seed, kind="usual"):
        self.random = random.Random(seed)
        self.kind = kind
        self.stood = {}
        others = sorted(self.random.sample(range(1000, 9999), 160))
        self.machine_types = [str(t) for t in others if str(t) != MACHINE_TYPE]

    def types(self, applies):
        chosen = self.random.sample(self.machine_types, self.random.randint(4, 14))
        if applies:
            chosen.append(MACHINE_TYPE)
        return [f"-[{t}]-" for t in sorted(chosen)]

    def driver_files(self):
        count = self.random.randint(18, 36)
        first = self.random.randrange(OFFERED_DRIVERS - count)
        version = f"{self.random.randint(1, 9)}.{self.random.randint(0, 99)}"
        return " ".join([f"{driver}-#{version}.{i}.{first % 97}"
                         for i, driver in enumerate(DRIVERS[first:first + count])])

    def text(self, sentences):
        return " ".join(self.random.sample(SENTENCES, sentences))

    def shared(self, name, make):
        """What `make` gives; of a maker that shares, nine times in ten what it gave before."""
        if self.kind != "shared":
            return make()
        stood = self.stood.setdefault(name, [])
        if stood and self.random.random() < 0.9:
            return self.random.choice(stood)
        stood.append(make())
        return stood[-1]

    def small_element(self, number):
        """What a query reads, and hardly more."""
        rng = self.random
        types = rng.sample(self.machine_types, 2)
        if rng.random() < APPLICABLE_SHARE:
            types[0] = MACHINE_TYPE
        return instance("QRXPSG_SystemUpdateElement", "".join([
            scalar("name", f"fw_{number:06d}"), scalar("category", "BIOS"),
            scalar("Version", f"{rng.randint(1, 9)}.{rng.randint(0, 99):02d}"),
            array("applicableMachineTypes", [f"-[{t}]-" for t in types])]))

    def element(self, number):
        rng = self.random
        applies = rng.random() < APPLICABLE_SHARE
        is_driver = rng.random() < 0.8
        kind = ("Device driver", "Device driver", "dd") if is_driver else rng.choice(PACKAGES)
        category, title, short = kind
        level = f"{rng.randint(1, 9)}.{rng.randint(0, 99):02d}"
        build = f"Y{rng.choice('OUTE')}{rng.choice('ABCDEFGH')}{rng.randint(0, 99):02d}A"
        name = f"qrx_fw_{short}_{build.lower()}_{number:06d}"
        described = self.shared("description", lambda: f"{title}, level {level}")
        parts = [
            scalar("name", name),
            scalar("description", described),
            scalar("category", category),
            scalar("installDirectory", f"/PKGS/{short.upper()}/{name}"),
            scalar("Version", f"{level}-[{build}]-"),
            scalar("BuildNumber", f"{level}-[{build}]-"),
        ]
        if is_driver or rng.random() < 0.4:
            parts.append(scalar("driverFiles", self.shared("files", self.driver_files)))
        parts += [
            array("applicableMachineTypes", self.types(applies)),
            array("applicableOperatingSystems", rng.sample(SYSTEMS, rng.randint(3, 9))),
            scalar("vendor", "QRX"),
            scalar("releaseDate", f"20{rng.randint(5, 9):02d}{rng.randint(1, 12):02d}"
                                  f"{rng.randint(1, 28):02d}120000.000000+000", "datetime"),
            scalar("severity", rng.choice(["Critical", "Suggested", "Initial release"])),
            scalar("sizeInBytes", rng.randint(20_000, 60_000_000), "uint64"),
            scalar("rebootRequired", rng.choice(["TRUE", "FALSE"]), "boolean"),
            scalar("checksum", f"{rng.getrandbits(128):032x}"),
            scalar("packageFile", f"{name}_windows_32-64.exe"),
            scalar("readme", f"{name}_windows_32-64.txt"),
            scalar("changes", self.shared("changes", lambda: self.text(rng.randint(2, 5)))),
            scalar("prerequisites", self.text(1)),
        ]
        if rng.random() < 0.5:
            parts.append(scalar("supersedes", f"qrx_fw_{short}_{rng.randint(0, 99):02d}_old"))
        if rng.random() < 0.3:
            parts.append(scalar("note", "See the change history &amp; the &quot;read me&quot; file."))
        return instance("QRXPSG_SystemUpdateElement", "".join(parts))


def write_catalogue(folder, elements, kind):
    maker = CatalogueMaker(4620, kind)
    element = maker.small_element if kind == "small" else maker.element
    with open(folder / "index.xml", "w", encoding="utf-8", newline="\n") as out:
        out.write(HEAD)
        for first in range(0, elements, 1000):
            out.write("".join(element(n) for n in range(first, min(first + 1000, elements))))
        out.write(TAIL)


def write_inventory(folder):
    rng = random.Random(300)
    objects = [
        ("QRXSG_ComputerSystem", {"MachineType": MACHINE_TYPE, "Manufacturer": "QRX",
                                  "Model": f"QRX Rackwell -[{MACHINE_TYPE}A2G]-"}),
        ("QRXSG_OperatingSystem", {"Version": "5.2.3790", "OSType": "69",
                                   "Caption": "Microsoft Windows Server 2003"}),
        ("QRXSG_SystemBIOSElement", {"Name": "BIOS", "Version": "YUE110B",
                                     "BuildNumber": "YUE110B"}),
        ("QRXSG_DiagnosticVPD", {"BuildNumber": "DSYT89A", "Version": "fdcp-1.10"}),
        ("QRXSG_IPMIFirmwareElement", {"Name": "BMC", "Version": "BMYE40A"}),
        ("QRXSG_BcmDeviceFirmwareElement", {"Name": "NetXtreme II port 1",
                                            "SoftwareElementID": "bcm5708", "Version": "4.4.1"}),
    ]
    for number in sorted(rng.sample(range(OFFERED_DRIVERS), INSTALLED_DRIVERS)):
        objects.append(("QRXSG_DeviceDriverInfo", {
            "Name": DRIVERS[number][:-4],
            "Path": f"C:\\Windows\\system32\\drivers\\{DRIVERS[number]}",
            "Version": f"{rng.randint(1, 9)}.{rng.randint(0, 99)}.0.{number % 97}",
            "CurrentState": "4"}))
    with open(folder / "inventory.xml", "w", encoding="utf-8", newline="\n") as out:
        out.write(HEAD.replace('<?sv-catalogue version="4.02"?>\n', ""))
        for class_name, values in objects:
            out.write(instance(class_name, "".join(
                scalar(k, v, "uint16" if k == "OSType" else "string") for k, v in values.items())))
        out.write(TAIL)


# What a document may be made of to hurt a reader. Each takes the factor by which the input grows.

def one_instance(properties):
    return instance("QRXPSG_SystemUpdateElement", properties)


def huge_value(scale):
    yield one_instance(scalar("name", "all work and no play " * (50_000 * scale)))


def many_names(scale):
    rows = "".join(scalar(f"property{n}", n) for n in range(10_000 * scale))
    yield one_instance(rows)


def own_name(scale):
    for n in range(6_000 * scale):
        yield one_instance(scalar(f"property{n}", n))


def deep_nesting(scale):
    depth = 240
    opened = "".join(f'<QUALIFIER NAME="n{n}">' for n in range(depth))
    closed = "</QUALIFIER>" * depth
    for _ in range(100 * scale):
        yield one_instance(opened + closed + scalar("name", "deep"))


def attributes(scale):
    written = " ".join(f'a{n}="{n}"' for n in range(60_000 * scale))
    yield one_instance(f'<PROPERTY NAME="name" TYPE="string" {written}><VALUE>x</VALUE></PROPERTY>')


def many_classes(scale):
    for n in range(10_000 * scale):
        yield (f'<VALUE.OBJECT><CLASS NAME="Class{n}"><PROPERTY NAME="name" TYPE="string">'
               "</PROPERTY></CLASS></VALUE.OBJECT>\n")


def tiny_instances(scale):
    row = '<VALUE.OBJECT><INSTANCE CLASSNAME="QRXPSG_SystemUpdateElement"></INSTANCE></VALUE.OBJECT>\n'
    for _ in range(100 * scale):
        yield row * 120


def many_references(scale):
    yield one_instance(scalar("name", "&lt;&#65;&amp;\r\n" * (60_000 * scale)))


def long_array(scale):
    yield one_instance(array("applicableMachineTypes", [f"-[{n}]-" for n in range(20_000 * scale)]))


FAMILIES = {
    "huge-value": huge_value, "many-names": many_names, "own-name": own_name,
    "deep-nesting": deep_nesting, "attributes": attributes, "many-classes": many_classes,
    "tiny-instances": tiny_instances, "references": many_references, "long-array": long_array,
}


def write_family(folder, family, scale):
    with open(folder / "index.xml", "w", encoding="utf-8", newline="") as out:
        out.write(HEAD)
        out.writelines(FAMILIES[family](scale))
        out.write(TAIL)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--elements", type=int, default=10_000)
    parser.add_argument("--kind", choices=["usual", "small", "shared"], default="usual")
    parser.add_argument("--family", choices=sorted(FAMILIES))
    parser.add_argument("--scale", type=int, default=1)
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    if arguments.family:
        write_family(arguments.folder, arguments.family, arguments.scale)
    else:
        write_catalogue(arguments.folder, arguments.elements, arguments.kind)
    write_inventory(arguments.folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
