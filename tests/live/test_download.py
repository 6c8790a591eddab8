"""Downloads that go well, from nginx."""

import os
import subprocess
import unittest

from certificates import make_certificate
from support import LiveTest, Nginx, clean_environment


class Downloads(LiveTest):
    def setUp(self):
        super().setUp()
        self.repository.add("one.xml", b"<one/>" * 1000)
        self.repository.add("two.xml", b"<two/>" * 200000)

    def serve(self, **options):
        server = Nginx(self.server_folder, self.repository.folder, **options)
        self.addCleanup(server.stop)
        return server

    def test_brings_every_file_of_the_machine(self):
        self.repository.publish()
        result = self.download(self.serve().address)
        self.assertEqual((result.code, result.stderr), (0, ""))
        self.assertEqual(self.present(), self.repository.contents)
        self.assertEqual(result.progress, {"phase": 3, "files": 2, "filesTotal": 2,
                                           "bytes": 1206000, "bytesTotal": 1206000})

    def test_tells_the_callback(self):
        self.repository.publish()
        result = self.download(self.serve().address)
        machine = "4620:Red Hat Enterprise Linux 5 x64"
        self.assertEqual(result.texts(3), [machine])
        self.assertEqual(result.texts(4), [machine + ":2"])
        self.assertEqual(sorted(result.texts(0)), ["one.xml:6000", "two.xml:1200000"])
        self.assertEqual(sorted(result.texts(13)), ["one.xml:verified", "two.xml:verified"])
        self.assertEqual(result.texts(6), [machine])
        self.assertEqual(result.texts(7), [machine + ":2"])
        self.assertEqual(result.texts(8), ["one.xml:6000", "two.xml:1200000"])
        self.assertEqual(result.texts(9), ["one.xml:verified", "two.xml:verified"])
        self.assertEqual([m["code"] for m in result.messages if m["kind"] == 5], [0])
        self.assertEqual({m["code"] for m in result.messages if m["kind"] != 5}, {3})
        self.assertEqual([m["kind"] for m in result.messages][:2], [3, 4])

    def test_takes_only_what_is_asked_for(self):
        self.repository.add("other machine.xml", b"a", machineTypes=["4621", "46200"])
        self.repository.add("other system.xml", b"b", os=204)
        self.repository.add("other architecture.xml", b"c", arch=1)
        self.repository.add("superseded.xml", b"d", latest=False)
        self.repository.add("payload.bin", b"e", payload=True)
        self.repository.publish()
        address = self.serve().address
        self.assertEqual(self.download(address).code, 0)
        self.assertEqual(set(self.present()), {"one.xml", "two.xml"})
        self.download(address, latest=False)
        self.assertEqual(set(self.present()), {"one.xml", "two.xml", "superseded.xml"})
        self.download(address, payloads=True)
        self.assertIn("payload.bin", self.present())

    def test_nothing_for_the_machine_is_no_failure(self):
        self.repository.publish()
        result = self.download(self.serve().address, machineTypes=["9999"])
        self.assertEqual((result.code, self.present()), (0, {}))

    def test_a_file_that_is_there_is_not_fetched_again(self):
        self.repository.publish()
        server = self.serve()
        self.download(server.address)
        before = len(server.requests())
        self.folder.joinpath("one.xml").write_bytes(b"<one?>" * 1000)
        result = self.download(server.address)
        self.assertEqual(result.code, 0)
        self.assertEqual(self.present(), self.repository.contents)
        fetched = server.requests()[before:]
        self.assertEqual([line for line in fetched if "files/" in line],
                         ["GET /files/one.xml HTTP/1.1"])

    def test_a_newer_file_takes_the_place_of_an_older(self):
        self.repository.publish()
        address = self.serve().address
        self.download(address)
        self.repository.entries.clear()
        self.repository.add("one.xml", b"newer")
        self.repository.publish(serial=8)
        self.assertEqual(self.download(address).code, 0)
        self.assertEqual(self.present()["one.xml"], b"newer")

    def test_a_link_in_the_folder_is_replaced_not_followed(self):
        self.repository.publish()
        self.folder.mkdir(parents=True)
        outside = self.work / "outside"
        outside.write_bytes(b"mine")
        self.folder.joinpath("one.xml").symlink_to(outside)
        self.assertEqual(self.download(self.serve().address).code, 0)
        self.assertEqual(outside.read_bytes(), b"mine")
        self.assertFalse(self.folder.joinpath("one.xml").is_symlink())

    def test_leftovers_of_a_killed_run_are_cleared(self):
        self.repository.publish()
        leftovers = self.folder.with_name("SV.part")
        leftovers.mkdir(parents=True)
        leftovers.joinpath("1").write_bytes(b"half")
        self.assertEqual(self.download(self.serve().address).code, 0)
        self.assertEqual(sorted(path.name for path in self.folder.parent.iterdir()),
                         ["SV", "SV.lock"])

    def test_a_name_with_blanks_and_letters_of_all_kinds(self):
        self.repository.entries.clear()
        self.repository.contents.clear()
        self.repository.add("Käse + 100% (neu) #1.xml", b"odd")
        self.repository.publish()
        self.assertEqual(self.download(self.serve().address).code, 0)
        self.assertEqual(self.present(), self.repository.contents)

    def test_the_address_of_the_manifest_is_that_of_its_folder(self):
        self.repository.publish()
        address = self.serve().address
        for text in ("/", "//", "/sv-repository.json"):
            self.assertEqual(self.download(address + text).code, 0, text)

    def test_a_legacy_signature_of_a_long_manifest(self):
        for number in range(400):
            self.repository.add(f"{number}.xml", b"x", machineTypes=["none"])
        self.repository.publish(legacy=True)
        self.assertGreater(self.repository.manifest.stat().st_size, 65536)
        self.assertEqual(self.download(self.serve().address).code, 0)

    def test_unsigned_when_that_is_allowed(self):
        self.repository.publish()
        self.repository.signature.unlink()
        result = self.download(self.serve().address, key="", allowUnsigned=True)
        self.assertEqual(result.code, 0)
        self.assertEqual(self.present(), self.repository.contents)

    def test_over_tls_with_the_authority_named(self):
        self.repository.publish()
        authority = make_certificate(self.server_folder)
        server = self.serve(certificate=self.server_folder / "server")
        self.assert_refused(self.download(server.address), 21, "certificate", "--ca-file")
        self.assertEqual(self.download(server.address, caFile=authority).code, 0)
        self.assertEqual(self.present(), self.repository.contents)

    def test_a_certificates_name_reaches_no_terminal_as_it_is(self):
        authority = make_certificate(self.server_folder, name="a\x1b[2Jb\x07\u202e\u009bc", others="")
        server = self.serve(certificate=self.server_folder / "server")
        result = self.download(server.address, caFile=authority)
        self.assertEqual(result.code, 21, result.stderr)
        self.assertRegex(result.stderr, r"^svcheck: download: [\x20-\x7e\ufffd]+\n$")

    def test_a_certificate_for_another_name_is_refused(self):
        self.repository.publish()
        authority = make_certificate(self.server_folder)
        server = self.serve(certificate=self.server_folder / "server", host="127.0.0.2")
        self.assert_refused(self.download(server.address, caFile=authority), 21, "certificate")

    def test_offline_opens_no_socket(self):
        self.repository.publish()
        server = self.serve()
        result = self.download(server.address, offline=True)
        self.assertEqual((result.code, result.stderr), (0, ""))
        self.assertEqual(server.requests(), [])

    def test_a_folder_in_windows_form(self):
        self.repository.publish()
        drives = self.work / "drives"
        result = self.download(self.serve().address, folder="C:\\QRX_Support\\SV",
                               driveRoot=str(drives))
        self.assertEqual(result.code, 0, result.stderr)
        self.folder = drives / "c" / "QRX_Support" / "SV"
        self.assertEqual(self.present(), self.repository.contents)

    def test_the_serial_is_kept_in_the_users_state_folder(self):
        self.repository.publish()
        self.work.chmod(0o777)
        nobody = ["setpriv", "--reuid=65534", "--clear-groups"] if os.geteuid() == 0 else []
        if subprocess.run([*nobody, "test", "-r", __file__], check=False).returncode != 0:
            self.skipTest("nobody but root may come into this folder")
        result = self.download(self.serve().address, state="", prefix=nobody,
                               environment=clean_environment(XDG_STATE_HOME=f"{self.work}/home"))
        self.assertEqual(result.code, 0, result.stderr)
        self.assertEqual(len(list(self.work.glob("home/svcheck/repositories/*.json"))), 1)


if __name__ == "__main__":
    unittest.main()
