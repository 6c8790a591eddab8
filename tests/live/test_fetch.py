"""`svcheck catalogue fetch`: a catalogue of what a repository has."""

import hashlib
import json
import os
import subprocess
import sys
import time
import unittest
from pathlib import Path
from xml.etree import ElementTree

from support import LiveTest, Nginx, clean_environment
from serial_notes import FOLDER, fetched_folder

SOURCE = Path(__file__).resolve().parents[2]
SVCHECK = os.environ["SVCHECK"]
SAMPLE = SOURCE / "data" / "sample"
Q35 = "Standard PC (Q35 + ICH9, 2009)"


def update(name, types=("4620",), systems=("RHEL5_64", "Linux"), class_name=None, **more):
    """An update element as text."""
    def array(key, values):
        texts = "".join(f"<VALUE>{value}</VALUE>" for value in values)
        return (f'<PROPERTY.ARRAY NAME="{key}" TYPE="string"><VALUE.ARRAY>{texts}</VALUE.ARRAY>'
                "</PROPERTY.ARRAY>")
    texts = {"name": name, "category": "BIOS", "Version": "-[YUE112A]-", **more}
    return (f'<INSTANCE CLASSNAME="{class_name or "QRXPSG_SystemUpdateElement"}">'
            + "".join(f'<PROPERTY NAME="{key}" TYPE="string"><VALUE>{value}</VALUE></PROPERTY>'
                      for key, value in texts.items())
            + array("applicableMachineTypes", [f"-[{each}]-" for each in types])
            + array("applicableOperatingSystems", systems) + "</INSTANCE>")


def description(*objects, encoding="UTF-8"):
    body = "".join(f"<VALUE.OBJECT>{each}</VALUE.OBJECT>" for each in objects)
    return (f'<?xml version="1.0" encoding="{encoding}"?><?sv-catalogue version="4.02"?>'
            f"<CIM><DECLARATION><DECLGROUP>{body}</DECLGROUP></DECLARATION></CIM>").encode(encoding)


class FetchTest(LiveTest):
    def setUp(self):
        super().setUp()
        self.catalogue = self.work / "catalogue"
        self.repository.add("a.xml", description(update("a"), update("b", ["4638", Q35])))
        self.repository.add("b.xml", description(update("c", systems=["DEBIAN12"])),
                            machineTypes=["4620"], os=0, arch=0)
        self.repository.entries[0]["machineTypes"] = ["4620", "4638", Q35]
        self.repository.publish()

    def serve(self):
        server = Nginx(self.server_folder, self.repository.folder)
        self.addCleanup(server.stop)
        return server

    def command(self, address, *more):
        return [SVCHECK, "catalogue", "fetch", "--repository", address, "--repository-key",
                self.keys.public, "--output", str(self.catalogue), *more]

    def run_command(self, command, status=0):
        process = subprocess.run(command, capture_output=True, text=True, timeout=60,
                                 env=self.environment())
        self.assertEqual(process.returncode, status, process.stderr + process.stdout)
        if status:
            self.assertEqual(len(process.stderr.splitlines()), 1, process.stderr)
        return process

    def environment(self):
        return clean_environment(HOME=str(self.work), XDG_STATE_HOME=str(self.work / "state"))

    def fetch(self, address, *more, status=0):
        return self.run_command(self.command(address, *more), status)

    def kept(self, server):
        """Where what was fetched from the server is kept between runs."""
        state = FOLDER.parent if os.geteuid() == 0 else self.work / "state" / "svcheck"
        return fetched_folder(server.address, state)

    def tree(self):
        return {str(path.relative_to(self.catalogue)): path.read_bytes()
                for path in self.catalogue.rglob("*") if path.is_file()}

    def listed(self):
        text = self.run_command([SVCHECK, "catalogue", "list", str(self.catalogue), "--format",
                                 "json"]).stdout
        return [item["name"] for item in json.loads(text)["elements"]]


class Fetch(FetchTest):
    def test_everything_of_a_repository_becomes_one_catalogue(self):
        server = self.serve()
        result = self.fetch(server.address)
        self.assertEqual(result.stdout, f"{self.catalogue}/index.xml: 3 update elements of 2 "
                                        "descriptions, serial 7\n")
        self.assertEqual(result.stderr, "")
        self.assertEqual(list(self.tree()), ["index.xml"])
        self.assertEqual(self.listed(), ["a", "b", "c"])
        self.assertIn(b'<?sv-catalogue version="4.02"?>', self.tree()["index.xml"])
        report = json.loads(self.run_command(
            [SVCHECK, "check", "--catalogue", str(self.catalogue), "--format", "json",
             "--inventory", str(SAMPLE / "inventory.xml")]).stdout)
        self.assertEqual([record["SVVersion"] for record in report["records"]], ["YUE112A"])

    def test_progress_is_shown_when_asked_for_and_nowhere_else(self):
        server = self.serve()
        for progress in ("never", "auto"):
            self.assertEqual(self.fetch(server.address, "--progress", progress).stderr, "")
        self.assertIn("Asking the repository",
                      self.fetch(server.address, "--progress", "always").stderr)

    def test_what_is_there_does_not_come_again(self):
        server = self.serve()
        self.fetch(server.address)
        first = self.tree()
        asked = len(server.requests())
        self.assertEqual(asked, 4)
        self.fetch(server.address)
        self.assertEqual(self.tree(), first)
        again = [request.split()[1] for request in server.requests()[asked:]]
        self.assertEqual(again, ["/sv-repository.json", "/sv-repository.json.minisig"])
        # Nor by another catalogue of the repository; what changed comes alone.
        asked = len(server.requests())
        self.repository.entries.pop()
        self.repository.add("b.xml", description(update("d")))
        self.repository.publish(serial=8)
        self.catalogue = self.work / "second"
        self.fetch(server.address)
        self.assertEqual(self.listed(), ["a", "b", "d"])
        self.assertEqual([request.split()[1] for request in server.requests()[asked:]],
                         ["/sv-repository.json", "/sv-repository.json.minisig", "/files/b.xml"])
        kept = [path.name for path in self.kept(server).iterdir()]
        self.assertEqual(sorted(kept), sorted(entry["sha256"]
                                              for entry in self.repository.entries))

    def test_a_kept_file_that_was_changed_comes_again(self):
        server = self.serve()
        self.fetch(server.address)
        first = self.tree()
        for path in self.kept(server).iterdir():
            path.write_bytes(b" " * path.stat().st_size)
        self.fetch(server.address)
        self.assertEqual(self.tree(), first)

    def test_machine_types(self):
        address = self.serve().address
        one, two = "1 update element of 1 description", "2 update elements of 2 descriptions"
        for types, names, count in (
                ([Q35], ["b"], one), ([Q35.upper()], ["b"], one), (["4638"], ["b"], one),
                (["4620"], ["a", "c"], two),
                (["4638", "4620"], ["a", "b", "c"], two.replace("2", "3", 1))):
            with self.subTest(types):
                words = [word for each in types for word in ("--machine", each)]
                self.assertEqual(self.fetch(address, *words).stdout,
                                 f"{self.catalogue}/index.xml: {count}, serial 7\n")
                self.assertEqual(self.listed(), names)
        before = self.tree()
        result = self.fetch(address, "--machine", "462", status=4)
        self.assertIn("no update element for 462", result.stderr)
        self.assertEqual(self.tree(), before)

    def test_each_element_comes_once_and_superseded_files_and_payloads_not_at_all(self):
        self.repository.add("c.xml", description(update("a"), update("e")))
        self.repository.add("old.xml", description(update("old")), latest=False)
        self.repository.add("payload.xml", description(update("payload")), payload=True)
        self.repository.publish()
        self.fetch(self.serve().address)
        self.assertEqual(self.listed(), ["a", "b", "c", "e"])

    def test_nothing_is_lost_of_what_a_description_says(self):
        declared = ('<CLASS NAME="My_Update" SUPERCLASS="QRXPSG_SystemUpdateElement"><PROPERTY '
                    'NAME="Version" TYPE="string"><VALUE>-[DEF]-</VALUE></PROPERTY></CLASS>')
        own = update("ä&amp;&lt;", class_name="My_Update", severity="<![CDATA[a & b]]>", Version="x")
        other = '<INSTANCE CLASSNAME="My_Note"><PROPERTY NAME="n"/></INSTANCE>'
        self.repository.entries.clear()
        self.repository.add("one.xml", description(declared, own, encoding="ISO-8859-1"))
        self.repository.add("two.xml", description(
            declared, '<CLASS NAME="My_Note"><PROPERTY NAME="n" TYPE="string"/></CLASS>', other,
            own.replace("ä", "ö"), encoding="UTF-16"))
        self.repository.publish()
        self.fetch(self.serve().address)
        text = self.tree()["index.xml"].decode()
        for part, times in ((declared, 1), (own, 1), (other, 1), (own.replace("ä", "ö"), 1)):
            self.assertEqual(text.count(part), times, part)
        self.assertLess(text.index(declared), text.index(own))
        ElementTree.fromstring(text)
        self.assertEqual(self.listed(), ["ä&<", "ö&<"])

    def test_a_catalogue_that_is_young_enough_stays(self):
        server = self.serve()
        index = self.catalogue / "index.xml"
        self.fetch(server.address, "--max-age", "2")
        asked = len(server.requests())
        self.assertGreater(asked, 0)

        def asks(*more):
            before = len(server.requests())
            told = self.fetch(server.address, *more).stdout
            asked_now = len(server.requests()) > before
            stays = f"{index}: came less than --max-age ago, and stays\n"
            self.assertEqual(told == stays, not asked_now, told)
            return asked_now

        self.assertFalse(asks("--max-age", "2"))
        for days, more, is_asked in ((1.9, (), False), (2.1, (), True), (-1, (), True),
                                     (1.9, ("--machine", "4620"), True),
                                     (1.9, ("--machine", "4620"), False)):
            with self.subTest(days, more=more):
                old = time.time() - days * 86400
                os.utime(index, (old, old))
                self.assertEqual(asks("--max-age", "2", *more), is_asked)
        self.assertTrue(asks("--machine", "4620"))
        index.write_text("a catalogue that was made by hand")
        self.assertTrue(asks("--machine", "4620", "--max-age", "2"))
        self.assertEqual(self.listed(), ["a", "c"])

    def test_hashes_are_those_of_the_manifest(self):
        server = self.serve()
        self.fetch(server.address)
        names = {path.name: hashlib.sha256(path.read_bytes()).hexdigest()
                 for path in self.kept(server).iterdir()}
        self.assertEqual(len(names), 2)
        self.assertEqual(list(names), list(names.values()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
