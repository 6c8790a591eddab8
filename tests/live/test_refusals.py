"""Repositories that are not to be trusted."""

import json
import unittest

from fault_server import FaultServer
from support import Keys, LiveTest, Repository

UNSAFE_NAMES = ["", ".", "..", "../up.xml", "a/b.xml", "a\\b.xml", "C:x.xml", "x.xml:stream",
                "CON", "con.xml", "Nul", "aux.xml", "PRN.txt", "COM1.xml", "lpt9", "CONOUT$",
                "tab\t.xml", "nul\0.xml", "dot.", "blank ", "x" * 256, "a*.xml", "what?.xml"]
UNSAFE_PATHS = ["", "/etc/passwd", "../up.xml", "files/../../up.xml", "files//one.xml",
                "http://elsewhere/one.xml", "files\\one.xml", "files/one.xml?x"]


class Refusals(LiveTest):
    def setUp(self):
        super().setUp()
        self.entry = self.repository.add("one.xml", b"<one/>" * 1000)
        self.server = FaultServer(self.repository)
        self.addCleanup(self.server.stop)

    def refused(self, code, *words, **changes):
        self.assert_refused(self.download(self.server.address, **changes), code, *words)

    def test_no_repository(self):
        self.assert_refused(self.download(""), 10, "--repository")

    def test_neither_key_nor_leave_to_do_without(self):
        self.repository.publish()
        self.refused(11, "--repository-key", "--allow-unsigned", key="")
        self.assertEqual(self.server.requests, [])

    def test_key_files_that_are_none(self):
        self.repository.publish()
        self.refused(12, "no such key", "cannot be read", key=str(self.work / "no such key"))
        self.refused(12, "no public key of minisign", key=self.keys.secret)

    def test_addresses_that_are_none(self):
        for address in ("ftp://server/sv", "server/sv", "http://", "http://server/a?b", "file:///x"):
            self.assert_refused(self.download(address), 14, "https://server/folder")

    def test_no_signature(self):
        self.repository.publish()
        self.repository.signature.unlink()
        self.refused(30, "not signed", "sv-repository.json.minisig")

    def test_another_key(self):
        self.repository.publish()
        Keys(self.work, "somebody").sign(self.repository.manifest)
        self.refused(31, "was made with key")

    def test_a_changed_manifest(self):
        for legacy in (False, True):
            self.repository.publish(legacy=legacy)
            text = self.repository.manifest.read_text()
            self.repository.manifest.write_text(text.replace("4620", "4621"))
            self.refused(31, "one of them was changed")

    def test_a_changed_trusted_comment(self):
        self.repository.publish()
        text = self.repository.signature.read_text()
        self.repository.signature.write_text(text.replace("for tests", "for ever!"))
        self.refused(31, "trusted comment")

    def test_signatures_that_are_none(self):
        self.repository.publish()
        lines = self.repository.signature.read_text().splitlines()
        for text in ("", "hello", "\n".join(lines[:2]), "\n".join(lines[:3]),
                     "\n".join([lines[0], lines[1][:-4], *lines[2:]])):
            self.repository.signature.write_text(text)
            self.refused(31, "minisign's form")

    def test_nothing_of_a_manifest_is_read_before_its_signature_is_good(self):
        self.repository.publish()
        self.repository.manifest.write_text("no JSON at all")
        self.refused(31, "signature")

    def test_manifests_that_say_too_little(self):
        wrong = [({"schema": 2}, "schema"), ({"schema": "1"}, "schema"), ({"serial": -1}, "serial"),
                 ({"serial": 1.5}, "serial"), ({"expires": "tomorrow"}, "expires"),
                 ({"expires": "2099-02-30T00:00:00Z"}, "expires"), ({"files": {}}, "files"),
                 ({"files": [7]}, "file 1"), ({"files": [{}]}, "file 1")]
        for changes, word in wrong:
            self.repository.publish(**changes)
            self.refused(32, word)

    def test_a_file_entry_that_is_wrong_anywhere(self):
        wrong = {"size": "6000", "sha256": "abc", "machineTypes": "4620", "os": None, "arch": 1e99,
                 "latest": "yes", "payload": 0}
        for member, value in wrong.items():
            for changed in ({**self.entry, member: value},
                            {key: self.entry[key] for key in self.entry if key != member}):
                self.repository.publish(files=[changed])
                self.refused(32, "file 1", member)

    def test_text_that_is_no_json(self):
        for text in ("", "{", "[]", "null", '{"schema": 1} more', "[" * 100000):
            self.repository.manifest.write_text(text)
            self.repository.keys.sign(self.repository.manifest)
            self.refused(32)

    def test_an_unsafe_name_in_any_entry(self):
        for name in UNSAFE_NAMES:
            bad = {**self.entry, "name": name, "machineTypes": ["other"]}
            self.repository.publish(files=[self.entry, bad])
            self.refused(32, "file 2", "name")

    def test_an_unsafe_path_in_any_entry(self):
        for path in UNSAFE_PATHS:
            bad = {**self.entry, "path": path, "machineTypes": ["other"]}
            self.repository.publish(files=[self.entry, bad])
            self.refused(32, "file 2", "path")

    def test_two_different_files_of_one_name(self):
        other = {**self.entry, "name": "ONE.XML", "sha256": "0" * 64}
        self.repository.publish(files=[self.entry, other])
        self.refused(32, "ONE.XML")

    def test_a_manifest_past_its_date(self):
        self.repository.publish(expires="2020-01-01T00:00:00Z")
        self.refused(33, "2020-01-01T00:00:00Z", "clock")

    def test_a_lower_serial_than_before(self):
        self.repository.publish(serial=9)
        self.assertEqual(self.download(self.server.address).code, 0)
        self.repository.add("two.xml", b"old")
        self.repository.publish(serial=8)
        self.assert_failed(self.download(self.server.address), 34, "serial 8", "serial 9")
        self.assertEqual(set(self.present()), {"one.xml"})
        self.repository.publish(serial=9)
        self.assertEqual(self.download(self.server.address).code, 0)

    def test_serials_are_counted_for_a_server_however_it_is_written(self):
        self.repository.publish(serial=9)
        self.assertEqual(self.download(self.server.address.replace("http", "HTTP")).code, 0)
        self.repository.publish(serial=8)
        for address in (self.server.address, self.server.address + "/./",
                        self.server.address.replace("//", "//me:secret@")):
            self.assert_failed(self.download(address), 34, "serial 8", "serial 9")

    def test_serials_are_counted_for_each_repository(self):
        self.repository.publish(serial=9)
        self.assertEqual(self.download(self.server.address).code, 0)
        other = Repository(self.work / "other", self.keys)
        other.publish(serial=1)
        server = FaultServer(other)
        self.addCleanup(server.stop)
        self.assertEqual(self.download(server.address).code, 0)

    def test_an_unsigned_manifest_is_held_to_the_same_rules(self):
        unsigned = {"key": "", "allowUnsigned": True}
        self.repository.publish(serial=9)
        self.assertEqual(self.download(self.server.address, **unsigned).code, 0)
        self.repository.publish(serial=8)
        self.assert_failed(self.download(self.server.address, **unsigned), 34)
        self.repository.publish(serial=10, expires="2020-01-01T00:00:00Z")
        self.assert_failed(self.download(self.server.address, **unsigned), 33)

    def test_a_damaged_note_of_the_last_serial(self):
        self.repository.publish()
        self.download(self.server.address)
        note, = (self.work / "state" / "repositories").iterdir()
        self.assertEqual(json.loads(note.read_text())["serial"], 7)
        note.write_text("{")
        self.assert_failed(self.download(self.server.address), 43, note.name)

    def test_a_tampered_file(self):
        self.repository.publish()
        (self.repository.folder / "files" / "one.xml").write_bytes(b"<0ne/>" * 1000)
        self.refused(35, "files/one.xml", "SHA-256")

    def test_a_file_of_another_length(self):
        self.repository.publish()
        for content in (b"<one/>" * 999, b"<one/>" * 1001, b""):
            (self.repository.folder / "files" / "one.xml").write_bytes(content)
            self.refused(35, "files/one.xml", f"has {len(content)} bytes, not 6000")

    def test_a_verified_sibling_may_stay(self):
        self.repository.add("two.xml", b"two")
        self.repository.publish()
        (self.repository.folder / "files" / "two.xml").write_bytes(b"owt")
        self.assert_failed(self.download(self.server.address, parallel=1), 35, "files/two.xml")
        self.assertEqual(set(self.present()), {"one.xml"})

    def test_sizes_beyond_the_limits(self):
        self.repository.publish()
        self.refused(36, "sv-repository.json", maxManifest=100)
        self.refused(36, "files/one.xml", maxDescription=5999)


if __name__ == "__main__":
    unittest.main()
