"""Inputs of public firmware that say little and mean much: catalogues of releases, inventories of
devices and the metadata that catalogues are made of. Every verb works through them in memory that
is bounded by 8 times its documents and 64 MB, and in time that grows as they and what it writes do.
"""

import hashlib
import json
import sys
from pathlib import Path

from documents import ALLOWANCE_OF_A_VERB, TIMES_WHAT_IS_GIVEN, DocumentTest, main

for place in ("collect/redfish", "svcheck"):
    sys.path.append(str(Path(__file__).resolve().parents[1] / place))
from mockup_server import MockupServer, send  # noqa: E402
from public_metadata import cabinet  # noqa: E402

HEAD = ('<?xml version="1.0" encoding="UTF-8"?><CIM><DECLARATION><DECLGROUP>\n')
TAIL = "</DECLGROUP></DECLARATION></CIM>\n"
GUID = "12345678-1234-5678-9abc-123456789abc"


def text(name, value):
    return f"<PROPERTY NAME='{name}' TYPE='string'><VALUE>{value}</VALUE></PROPERTY>"


def texts(name, values):
    inner = "".join(f"<VALUE>{value}</VALUE>" for value in values)
    return (f"<PROPERTY.ARRAY NAME='{name}' TYPE='string'><VALUE.ARRAY>{inner}</VALUE.ARRAY>"
            "</PROPERTY.ARRAY>")


def instance(name, *properties):
    return (f"<VALUE.OBJECT><INSTANCE CLASSNAME='{name}'>{''.join(properties)}</INSTANCE>"
            "</VALUE.OBJECT>\n")


def subclass(name, base, *properties):
    return (f"<VALUE.OBJECT><CLASS NAME='{name}' SUPERCLASS='{base}'>{''.join(properties)}</CLASS>"
            "</VALUE.OBJECT>\n")


OFFERS = "<VALUE.OBJECT><CLASS NAME='SVC_FirmwareOffer'/></VALUE.OBJECT>\n"
FOR_ALL = texts("Identifiers", [GUID])


def catalogue(body):
    return HEAD + OFFERS + body + TAIL


def release(version="2", *properties, identifiers=FOR_ALL, name="SVC_FirmwareOffer"):
    return instance(name, identifiers, text("Version", version) if version else "", *properties)


def requires(*requirements):
    return texts("Requirements", requirements)


def device(version="1", identifiers=(GUID,), name="Dock"):
    return instance("SVC_FirmwareDevice", text("Name", name), text("Version", version),
                    texts("Identifiers", identifiers))


def inventory(*devices):
    return HEAD + "".join(devices) + TAIL


def default_of(*properties):
    """A long default of a class, and as many bytes of short instances of it."""
    declared = subclass("X", "SVC_FirmwareOffer", *properties)
    return catalogue(declared + release("2", identifiers="", name="X") * (len(declared) // 80))


def guid(number):
    return f"{number:08x}-1234-5678-9abc-123456789abc"


def vendors(count):
    return [f"USB\\VID_{number:04X}" for number in range(count)]


def component(inner):
    """As metadata of a public service tells of it."""
    return ("<component type='firmware'><id>a</id><provides>"
            f"<firmware type='flashed'>{GUID}</firmware></provides>{inner}</component>")


def releases_of(count):
    return "<releases>" + "<release version='1'/>" * count + "</releases>"


RELEASES = releases_of(1)

# What is written, by the count: the catalogue, and the inventory.
AMPLIFIERS = {
    "many releases for many devices": (
        400, lambda n: catalogue("".join(release(str(i)) for i in range(2, n + 2))),
        lambda n: inventory(device() * n)),
    "many devices of a release that asks much": (
        400, lambda n: catalogue(release("2", requires(*["firmware ge 0"] * 8 * n))),
        lambda n: inventory(device() * n)),
    "a pattern of stars": (
        20_000, lambda n: catalogue(release("2", requires("firmware glob " + "*a" * n + "b"))),
        lambda n: inventory(device("a" * n))),
    "a pattern of one star": (
        60_000, lambda n: catalogue(release("2", requires("firmware glob *" + "a" * n + "b"))),
        lambda n: inventory(device("a" * 2 * n))),
    "many patterns for a long version": (
        6_000, lambda n: catalogue(release("2", requires(*["firmware glob *1?"] * n))),
        lambda n: inventory(device("1" * 20 * n))),
    "many vendors of a device, and as many asked for": (
        4_000, lambda n: catalogue(release("2", requires(
            *["firmware - ^USB:0xFFFF$|" + "USB:0xFFFE|" * 3 + " vendor-id"] * n))),
        lambda n: inventory(device("1", [GUID, *vendors(n)]))),
    "a list of vendors": (
        10_000, lambda n: catalogue(release("2", requires(
            "firmware - " + "|".join(["USB:0xFFFF"] * n) + " vendor-id"))),
        lambda n: inventory(device("1", [GUID, *vendors(n)]))),
    "requirements about another device": (
        4_000, lambda n: catalogue(release("2", requires(
            *[f"firmware - - {guid(i)}" for i in range(n)]))),
        lambda n: inventory(device(), device("1", [guid(n - 1 - i) for i in range(n)]))),
    "requirements about one of many devices": (
        4_000, lambda n: catalogue(release("2", requires(
            *[f"firmware ge 1 {guid(i)}" for i in range(n)]))),
        lambda n: inventory(device(), *[device("1", [guid(i)]) for i in range(n)])),
    "a way of many steps": (
        2_000, lambda n: catalogue("".join(
            release(str(i), requires(f"firmware ge {i - 1}")) for i in range(2, n + 2))),
        lambda n: inventory(device())),
    "long versions": (
        200_000, lambda n: catalogue(release("1." * n + "2") + release("1." * n + "1")),
        lambda n: inventory(device("1." * n))),
    "default identifiers": (
        2_000, lambda n: default_of(texts("Identifiers", map(guid, range(n)))),
        lambda n: inventory(device())),
    "default identifiers of what is there": (
        1_000, lambda n: default_of(texts("Identifiers", map(guid, range(n)))),
        lambda n: inventory(device("1", [guid(0)]))),
    "default requirements": (
        4_000, lambda n: default_of(FOR_ALL, requires(*["firmware ge 0"] * n)),
        lambda n: inventory(device())),
    "a default requirement that is long": (
        60_000, lambda n: default_of(FOR_ALL, requires("firmware ge " + "1." * n)),
        lambda n: inventory(device())),
    "a default version": (
        60_000, lambda n: default_of(FOR_ALL, text("Version", "2." * n)).replace(
            text("Version", "2"), ""),
        lambda n: inventory(device())),
    "a default branch": (
        60_000, lambda n: default_of(FOR_ALL, text("Branch", "b" * n)),
        lambda n: inventory(device())),
    "default identifiers of devices": (
        1_000, lambda n: catalogue(release()),
        lambda n: inventory(subclass("D", "SVC_FirmwareDevice",
                                     texts("Identifiers", map(guid, range(n)))),
                            instance("D", text("Version", "1")) * n)),
    "a description of one release for many devices": (
        40_000, lambda n: catalogue(release("2", text("Description", "d" * n))),
        lambda n: inventory(*[device(name="n" + str(i)) for i in range(n // 400)])),
    "a long default of systems": (
        20_000, lambda n: catalogue(release()),
        lambda n: inventory(device(), subclass("S", "QRXSG_ComputerSystem",
                                               text("Manufacturer", "m" * n)),
                            instance("S", text("Model", "x")) * (n // 80))),
    "a default name of devices": (
        20_000, lambda n: catalogue(release()),
        lambda n: inventory(subclass("D", "SVC_FirmwareDevice", text("Name", "n" * n), FOR_ALL),
                            instance("D", text("Version", "1")) * (n // 80))),
    "a default version of devices": (
        20_000, lambda n: catalogue(release()),
        lambda n: inventory(subclass("D", "SVC_FirmwareDevice", text("Version", "1." * n),
                                     text("Name", "d"), FOR_ALL),
                            instance("D", text("Name", "x")) * (n // 80))),
}

VERBS = (["query"], ["check", "--format", "json"], ["explain"], ["fleet", "--jobs", "1"])


class FirmwareAmplifiers(DocumentTest):
    def commands(self):
        there = self.folder / "inventory.xml"
        for verb in VERBS:
            if verb == ["query"]:
                where = ["--inventory", there, "--context", f"svPath={self.folder}"]
            elif verb[0] == "fleet":
                where = ["--inventories", there, "--catalogue", self.folder]
            else:
                where = ["--inventory", there, "--catalogue", self.folder]
            yield verb + where

    def measure(self, count, of_catalogue, of_inventory):
        (self.folder / "firmware.xml").write_text(of_catalogue(count))
        (self.folder / "inventory.xml").write_text(of_inventory(count))
        size = sum((self.folder / name).stat().st_size
                   for name in ("firmware.xml", "inventory.xml"))
        return {" ".join(map(str, command[:3])): self.run_one(command, size, (0, 1, 2, 3, 4))
                for command in self.commands()}

    def test_every_verb_with_every_catalogue(self):
        for name, (count, of_catalogue, of_inventory) in AMPLIFIERS.items():
            with self.subTest(amplifier=name):
                self.check_growth(lambda n, make=(of_catalogue, of_inventory): self.measure(n, *make),
                                  count, middle=False)

    def test_what_defaults_repeat_far_beyond_the_file_is_refused(self):
        there = self.folder / "inventory.xml"
        there.write_text(inventory(device()))
        for of_catalogue, words in (
                (default_of(texts("Identifiers", map(guid, range(8_000)))), "defaults of its"),
                (default_of(FOR_ALL, requires(*["firmware ge 0"] * 8_000)), "defaults of its"),
                (catalogue(release("2", requires(*["firmware ge 0"] * 8_000))), "")):
            (self.folder / "firmware.xml").write_text(of_catalogue)
            load = self.run_program("check", "--inventory", there, "--catalogue", self.folder)
            self.assertEqual(load.status, 4 if words else 0, load.errors[:500])
            self.assertIn(words, load.errors)

    def import_metadata(self, given, *options):
        """Processor time, and the bytes that were read and written."""
        made = self.folder / "made" / "firmware.xml"
        made.unlink(missing_ok=True)
        size = given.stat().st_size
        source = given.parent if given.suffix == ".cab" else given
        seconds, _ = self.run_one(["catalogue", "import", "--lvfs", source, "--output", made.parent,
                                   *(options or ["--allow-unsigned"])], size, (0, 4))
        return seconds, size + (made.stat().st_size if made.exists() else 0)

    def test_metadata_of_many_kinds(self):
        for name, count, make in (
                ("components", 5_000, lambda n: component(RELEASES) * n),
                ("releases", 900, lambda n: component(releases_of(n))),
                ("identifiers and releases", 400, lambda n: component(
                    "<provides>" + f"<firmware type='flashed'>{GUID}</firmware>" * n + "</provides>"
                    + releases_of(n))),
                ("requirements", 900, lambda n: component(
                    "<requires>" + "<id compare='ge' version='1'/>" * n + "</requires>" + RELEASES)),
                ("names", 50_000, lambda n: component(
                    "<a/>" * n + "<name xml:lang='x'>" * 200 + "</name>" * 200 + RELEASES)),
                ("descriptions", 50_000, lambda n: component(
                    "<releases><release version='1'><description><p>" + "d " * (n // 8)
                    + "</p></description></release></releases>"))):
            def read(n, make=make):
                file = self.folder / "metadata.xml"
                file.write_text(f"<components>{make(n)}</components>")
                taken = self.import_metadata(file)
                self.assertGreater(taken[1], file.stat().st_size, "it is taken")
                return taken
            with self.subTest(name):
                self.check_growth(read, count)

    def write_cabinet(self, metadata, others=()):
        (self.folder / "cabs").mkdir(exist_ok=True)
        file = self.folder / "cabs" / "a.cab"
        file.write_bytes(cabinet({"a.metainfo.xml": metadata.encode(),
                                  **dict.fromkeys(others, b"")}))
        return file

    def test_cabinets_of_short_things(self):
        """They are kept until the content was looked at: up to what memory has room for."""
        most = 3_600
        for name, each, make in (
                ("releases", 22 * most, component(releases_of(most))),
                ("requirements", 4 * most, component("<requires>" + "<a/>" * most + "</requires>"
                                                     + RELEASES)),
                ("components", 150, component(RELEASES)),
                ("issues", 16 * most, component(
                    "<releases><release version='1'><issues>" + "<issue>a</issue>" * most
                    + "</issues></release></releases>")),
                ("checksums", 60 * most, component(
                    "<releases><release version='1'>" + most
                    * "<checksum type='sha1' target='content' filename='x'>a</checksum>"
                    + "</release></releases>"))):
            with self.subTest(name):
                self.check_growth(lambda n, make=make, each=each: self.import_metadata(
                    self.write_cabinet(f"<components>{make * (n // each)}</components>")), 4_000_000)

    def test_a_cabinet_of_more_than_is_kept_is_refused_as_a_whole(self):
        for count, is_refused in ((8, False), (20, True)):
            file = self.write_cabinet(
                f"<components>{component(releases_of(4_000)) * count}</components>")
            load = self.run_program("catalogue", "import", "--lvfs", file.parent, "--output",
                                    self.folder / "made", "--allow-unsigned")
            self.assertEqual(load.status, 4 if is_refused else 0, load.errors)
            self.assertEqual("a.cab is refused: its metadata tells of more than" in load.errors,
                             is_refused, load.errors)

    def test_a_cabinet_of_many_files_with_checksums(self):
        empty = hashlib.sha256(b"").hexdigest()

        def read(count):
            names = [f"f{number}" for number in range(count)]
            told = [f"<checksum type='sha256' target='content' filename='{name}'>{empty}"
                    "</checksum>" for name in names]
            file = self.write_cabinet("<components>" + "".join(component(
                f"<releases><release version='1'>{''.join(told[start:start + 100])}</release>"
                "</releases>") for start in range(0, len(told), 100)) + "</components>", names)
            taken = self.import_metadata(file)
            self.assertGreater(taken[1], file.stat().st_size, "it is taken")
            return taken
        self.check_growth(read, 4_000)

    def test_signature_files(self):
        metadata = self.folder / "metadata.xml"
        metadata.write_text(f"<components>{component(RELEASES) * 10_000}</components>")
        keys = self.folder / "keys"
        keys.mkdir()
        begin = '{"JcatVersionMajor":0,"JcatVersionMinor":1,"Items":['
        blob = '{"Kind":1,"Flags":1,"Data":"%064x"}'
        for name, make in (
                ("objects", lambda n: "{}," * n + "{}"), ("lists", lambda n: "[]," * n + "[]"),
                ("items", lambda n: ",".join(f'{{"Id":"i{number}"}}' for number in range(n))),
                ("checksums", lambda n: '{"Id":"metadata.xml","Blobs":['
                 + ",".join(blob % number for number in range(n // 40)) + "]}"),
                ("a long text", lambda n: f'{{"Id":"{"i" * 2 * n}"}}')):
            def read(n, make=make):
                signature = self.folder / "metadata.xml.jcat"
                signature.write_text(begin + make(n) + "]}")
                return self.import_metadata(metadata, "--jcat", signature, "--keys", keys)
            for count in (10_000, 300_000):
                with self.subTest(name, count=count):
                    self.check_growth(read, count)


ROOT = "/redfish/v1"


def reference(place):
    return {"@odata.id": f"{ROOT}/{place}"}


# A resource of so many bytes; as a text, since a process begins with what this one holds.
SYSTEM = reference("Systems/1")["@odata.id"]
AT_ITSELF = json.dumps(reference("Systems/1"))
SERVICES = {
    "empty objects": lambda n: '{"Storage":[' + "{}," * (n // 3) + "{}]}",
    "empty lists": lambda n: '{"a":[' + "[]," * (n // 3) + "[]]}",
    "numbers": lambda n: '{"a":[' + "0," * (n // 2) + "0]}",
    "objects in objects": lambda n: '{"a":[' + '{"a":{}},' * (n // 9) + "0]}",
    "modules": lambda n: '{"TrustedModules":[' + '{"FirmwareVersion":"1"},' * (n // 24) + "0]}",
    "managers": lambda n: '{"Links":{"ManagedBy":[' + f'{{"@odata.id":"{SYSTEM}"}},' * (n // 40)
    + "0]}}",
    "other servers": lambda n: '{"Links":{"ManagedBy":[' + '{"@odata.id":"//o"},' * (n // 20)
    + "0]}}",
    "members": lambda n: '{"Members":[' + '{"Version":"1","Name":"n"},' * (n // 27) + "0]}",
    "long texts": lambda n: '{"Model":"' + "m" * (n // 2) + '","BiosVersion":"' + "1" * (n // 2)
    + '"}',
    "an adapter's name and its versions": lambda n: '{"NetworkInterfaces":' + AT_ITSELF
    + ',"Members":[{"Links":{"NetworkAdapter":' + AT_ITSELF + '},"Id":"1"}],"Model":"'
    + "m" * (n // 2) + '","Controllers":[' + ",".join(
        f'{{"FirmwarePackageVersion":"{i}"}}' for i in range(n // 80)) + "]}",
    "names of which each character takes six": lambda n: '{"Storage":' + AT_ITSELF
    + ',"Members":[{"Id":"1","StorageControllers":[' + ",".join(
        ['{"FirmwareVersion":"1","Model":"megaraid' + '\\"' * 10_000 + '"}'] * (n // 20_000))
    + "]}]}",
    "long places of what is told, and as many items": lambda n: '{"Storage":' + AT_ITSELF
    + ',"Members":[{"Id":"1","StorageControllers":[' + ",".join(
        f'{{"@odata.id":"/{"x" * 1900}{i}","FirmwareVersion":"1","Model":"m"}}'
        for i in range(n // 2100)) + ']}' + ',{"Name":"n","Version":"1"}' * (n // 2100) + "]}",
    "depth": lambda n: "[" * n,
    "a text without an end": lambda n: '{"a":"' + "\\u0000" * (n // 6),
}


class Services(DocumentTest):
    """A management controller that answers much: the documents are its answers."""

    def collect(self, system):
        root = {"Systems": reference("Systems"), "RedfishVersion": "1",
                "Links": {"Sessions": reference("Systems/1")},
                "UpdateService": {"@odata.id": f"{ROOT}/Update"}}
        answers = {f"{ROOT}/": root, f"{ROOT}/Systems": {"Members": [reference("Systems/1")]},
                   f"{ROOT}/Systems/1": system,
                   f"{ROOT}/Update": {"FirmwareInventory": reference("Systems/1")}}
        server = MockupServer(self.folder)
        sent = {place: (text if isinstance(text, str) else json.dumps(text)).encode()
                for place, text in answers.items()}
        for place, text in sent.items():
            server.faults[place] = lambda handler, _, text=text: send(
                handler, 201 if handler.command == "POST" else 200, text, X_Auth_Token="t")
        password = self.folder / "password"
        password.write_text("p\n")
        try:
            load = self.run_program("collect", "--redfish", server.address, "--user", "u",
                                    "--password-file", password)
        finally:
            server.stop()
            server.faults.clear()  # What this process holds counts as the next one's.
        size = sum(len(sent.get(place, b"")) for _, place, _ in server.requests)
        self.assertIn(load.status, (0, 1), load.errors[:500])
        self.assertLess(len(load.errors), 1_000_000)
        self.assertLessEqual(load.peak, TIMES_WHAT_IS_GIVEN * size + ALLOWANCE_OF_A_VERB,
                             f"{load.peak >> 20} MB for {size >> 10} KB")
        return load.seconds

    def test_every_answer(self):
        # Of the short ones all values are taken.
        for size in (90_000, 1_000_000):
            for name, system in SERVICES.items():
                with self.subTest(name, size=size):
                    self.check_growth(lambda n, system=system: (self.collect(system(n)), n), size,
                                      middle=False)


if __name__ == "__main__":
    main()
