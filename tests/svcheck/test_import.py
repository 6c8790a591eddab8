"""`svcheck catalogue import`: what a public firmware service publishes becomes a catalogue."""

import gzip
import hashlib
import json
import lzma
import os
import pathlib
import resource
import struct
import subprocess
import time
import xml.etree.ElementTree as ElementTree

from program import BUILD, PROGRAM, SANITIZED, ProgramTest, main
from public_metadata import GUID, cabinet, component, metadata, release


def properties(instance):
    found = {item.get("NAME"): item.findtext("VALUE", "") for item in instance.iter("PROPERTY")}
    for item in instance.iter("PROPERTY.ARRAY"):
        found[item.get("NAME")] = [value.text for value in item.iter("VALUE")]
    return found


class Importing(ProgramTest):
    def import_file(self, text, name="firmware.xml", *options):
        file = self.write(name, text)
        return self.run_program("catalogue", "import", "--lvfs", file, "--output", "made",
                                *(options or ["--allow-unsigned"]))

    def offers(self):
        root = ElementTree.parse(self.folder / "made/firmware.xml").getroot()
        return [properties(instance) for instance in root.iter("INSTANCE")]

    def refused(self, text, *words, name="firmware.xml"):
        self.assert_failed(self.import_file(text, name), 4, *words)
        self.assertFalse((self.folder / "made/firmware.xml").exists())
        self.assertEqual([], self.leftovers())


class ImportTest(Importing):
    def test_a_release_is_told_whole(self):
        text = metadata(component(
            release("1.2.0", "high", "1700000000",
                    "<p>Mends <em>all</em>\n  of it.</p><ul><li>one</li><li>&lt;two&gt;</li></ul>"
                    '<p xml:lang="de">Alles</p>', "https://example.com/a.cab",
                    '<checksum type="sha1" target="content">00</checksum>'
                    '<checksum type="sha256" target="container">ab</checksum>'
                    '<size type="installed">9</size><size type="download">1234</size>'
                    '<issues><issue type="cve">CVE-2027-1</issue></issues>'),
            identifiers=(GUID, "11111111-2222-3333-4444-555555555555"),
            requires='<id compare="ge" version="1.9.1">org.freedesktop.fwupd</id>'
                     '<firmware compare="ge" version="1.0.5"/>'
                     f'<firmware compare="lt" version="2">{GUID}</firmware>'
                     '<firmware compare="ge" version="3" depth="1"/>'
                     '<firmware compare="ge" version="a b"/>'
                     '<hardware>6de5d951-d755-576b-bd09-c5cf66b27234</hardware>',
            more='<branch>main</branch><name xml:lang="de">Andockstation</name>'
                 '<custom><value key="LVFS::UpdateProtocol">org.usb.dfu</value></custom>'))
        result = self.import_file(text)
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertEqual("made/firmware.xml: 1 releases of 1 components\n", result.stdout)
        self.assertEqual([{
            "ComponentId": "com.example.Dock", "Name": "Dock", "Vendor": "Example",
            "Version": "1.2.0", "VersionFormat": "triplet", "Urgency": "high",
            "ReleaseDate": "2023-11-14", "Size": "1234", "Location": "https://example.com/a.cab",
            "Branch": "main", "Protocol": "org.usb.dfu",
            "Description": "Mends all of it.\n- one\n- <two>",
            "Identifiers": [GUID, "11111111-2222-3333-4444-555555555555"],
            "Requirements": ["id ge 1.9.1 org.freedesktop.fwupd", "firmware ge 1.0.5",
                             f"firmware lt 2 {GUID}", "firmware ge 3 parent", "unreadable - -",
                             "hardware - - 6de5d951-d755-576b-bd09-c5cf66b27234"],
            "Hashes": ["sha256:ab"], "Issues": ["CVE-2027-1"]}], self.offers())

    def test_an_artifact_tells_of_the_archive_as_well(self):
        more = ('<artifacts><artifact type="source"><location>s</location></artifact>'
                '<artifact type="binary"><location>https://example.com/b.cab</location>'
                '<checksum type="sha256">cd</checksum><size type="download">7</size></artifact>'
                "</artifacts>")
        self.import_file(metadata(component(release("1", more=more))))
        offer, = self.offers()
        self.assertEqual(("https://example.com/b.cab", ["sha256:cd"], "7"),
                         (offer["Location"], offer["Hashes"], offer["Size"]))

    def test_what_is_for_nobody_is_passed_over(self):
        text = metadata(component(release("1"), kind="desktop"), component(release("2")),
                        component(release("3"), identifiers=()), component(),
                        component(release("4"), release(""), name="Hub"))
        self.import_file(text)
        self.assertEqual(["2", "4"], [offer["Version"] for offer in self.offers()])
        self.assertNotIn("Urgency", self.offers()[0])

    def test_compressed_files_give_the_same(self):
        text = metadata(component(release("1.2.0"))).encode()
        zstd = subprocess.run(["zstd", "-q"], input=text, stdout=subprocess.PIPE, check=True)
        made = []
        for name, content in (("f.xml", text), ("f.xml.gz", gzip.compress(text)),
                              ("f.xml.xz", lzma.compress(text)), ("f.xml.zst", zstd.stdout)):
            self.assertEqual(0, self.import_file(content, name).returncode)
            made.append((self.folder / "made/firmware.xml").read_bytes())
        self.assertEqual(1, len(set(made)))

    def test_a_folder_of_archives_is_read(self):
        one = component(release("1.2.0")).encode()
        two = component(release("2.0.0"), name="Hub").encode()
        self.write("cabs/b.cab", cabinet({"firmware.bin": b"\0" * 70000,
                                          "com.example.hub.metainfo.xml": two}))
        self.write("cabs/a.cab", cabinet({"../../evil.metainfo.xml": one, "note.xml": b"<a/>"}))
        self.write("cabs/readme.txt", "no archive")
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--allow-unsigned")
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertEqual([("1.2.0", "a.cab"), ("2.0.0", "b.cab")],
                         [(offer["Version"], offer["Location"]) for offer in self.offers()])
        size = (self.folder / "cabs/b.cab").stat().st_size
        self.assertEqual(str(size), self.offers()[1]["Size"])
        self.assertEqual([], [path for path in self.folder.parent.glob("evil*")])

    def content(self, *checksums, version="1.2.0", **more):
        """The metadata of an archive whose release states checksums of its content."""
        stated = "".join(f'<checksum type="{kind}" target="content"{name}>{value}</checksum>'
                         for kind, name, value in checksums)
        return component(release(version, more=stated), **more).encode()

    def import_cabinets(self):
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--allow-unsigned")
        return result, result.stderr.splitlines()

    def test_an_archives_size_and_hash_are_told(self):
        stated = ('<artifacts><artifact type="binary"><checksum type="sha256">00</checksum>'
                  '<checksum type="sha1">11</checksum></artifact></artifacts>')
        archive = cabinet({"a.metainfo.xml": component(release("1.2.0", more=stated)).encode()})
        self.write("cabs/a.cab", archive)
        self.assertEqual((0, []), (self.import_cabinets()[0].returncode, self.import_cabinets()[1]))
        offer, = self.offers()
        self.assertEqual((str(len(archive)), ["sha1:11", "sha256:"
                                              + hashlib.sha256(archive).hexdigest()]),
                         (offer["Size"], offer["Hashes"]))

    def test_content_that_its_metadata_describes_is_taken(self):
        data = b"\1\2" * 50000
        for kind in ("sha1", "sha256", "sha512"):
            value = hashlib.new(kind, data).hexdigest()
            self.write(f"cabs/{kind}.cab", cabinet({
                "a.metainfo.xml": self.content((kind, "", value), version=f"1.0.{len(kind)}"),
                "deeper/firmware.bin": data}))
            self.write(f"cabs/{kind}-named.cab", cabinet({
                "x.fw": data, "other.bin": b"",
                "a.metainfo.xml": self.content((kind, ' filename="x.fw"', value.upper()))}))
        self.write("cabs/later.cab", cabinet({
            "x.fw": data, "a.metainfo.xml": self.content(("blake9", "", "00"), ("sha256", "", ""))}))
        result, lines = self.import_cabinets()
        self.assertEqual((0, []), (result.returncode, lines))
        self.assertEqual(7, len(self.offers()))

    def test_an_archive_with_other_content_is_refused_and_the_rest_goes_on(self):
        data = b"firmware"
        right = hashlib.sha256(data).hexdigest()
        wrong = {
            "changed": {"firmware.bin": data + b"\0"}, "absent": {"other.bin": data},
            "twice": {"a/firmware.bin": data, "b/firmware.bin": data},
            "elsewhere": {"firmware.bin.old": data}}
        for name, files in wrong.items():
            self.write(f"cabs/{name}.cab", cabinet(
                {**files, "a.metainfo.xml": self.content(("sha256", "", right))}))
        self.write("cabs/half.cab", cabinet({
            "firmware.bin": data, "a.metainfo.xml": self.content(("sha256", "", right),
                                                                 ("sha1", "", "00"))}))
        # Of two components one is right.
        self.write("cabs/one.cab", cabinet({
            "firmware.bin": data, "a.metainfo.xml": self.content(("sha256", "", right)),
            "b.metainfo.xml": self.content(("sha256", "", "00"), name="Hub")}))
        self.write("cabs/right.cab", cabinet({
            "firmware.bin": data, "a.metainfo.xml": self.content(("sha256", "", right),
                                                                 version="7.0.0")}))
        result, lines = self.import_cabinets()
        self.assertEqual(0, result.returncode, result.stderr)
        self.assertEqual(["7.0.0"], [offer["Version"] for offer in self.offers()])
        self.assertEqual(sorted([*wrong, "half", "one"]),
                         [line.split("cabs/")[1].split(".cab is refused: ")[0] for line in lines])
        for line in lines:
            self.assertIn("is refused: firmware.bin of ", line)
            self.assertIn("sha1" if "half" in line else "sha256", line)
        (self.folder / "cabs/right.cab").unlink()
        before = (self.folder / "made/firmware.xml").read_bytes()
        result, lines = self.import_cabinets()
        self.assertEqual((4, 7), (result.returncode, len(lines)))
        self.assertIn("no firmware with identifiers and releases", lines[-1])
        self.assertEqual(before, (self.folder / "made/firmware.xml").read_bytes())

    def test_an_older_release_is_in_another_archive(self):
        data = b"firmware"
        stated = [f'<checksum type="sha1" target="content">{hashlib.sha1(text).hexdigest()}'
                  "</checksum>" for text in (data, b"older")]
        self.write("cabs/a.cab", cabinet({
            "firmware.bin": data,
            "a.metainfo.xml": component(release("2.0.0", more=stated[0]),
                                        release("1.0.0", more=stated[1])).encode()}))
        result, lines = self.import_cabinets()
        self.assertEqual((0, []), (result.returncode, lines))
        self.assertEqual(["2.0.0"], [offer["Version"] for offer in self.offers()])

    def test_a_broken_archive_is_named(self):
        self.write("cabs/a.cab", b"MSCF" + b"\0" * 100)
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--allow-unsigned")
        self.assert_failed(result, 4, "cabs/a.cab", "cannot be unpacked")

    def test_an_archive_holds_no_more_than_firmware_becomes(self):
        archive = cabinet({"a.metainfo.xml": component(release("1")).encode(), "b.bin": b""})
        others = len(component(release("1")))
        most = (16 << 20) + 256 * len(archive) - others
        place = archive.index(b"b.bin\0") - 16  # The size that the archive tells of this file.
        for size, is_refused in ((most, False), (most + 1, True)):
            self.write("cabs/a.cab",
                       archive[:place] + struct.pack("<I", size) + archive[place + 4:])
            result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                      "--allow-unsigned")
            self.assert_failed(result, 4, "cabs/a.cab", "cannot be unpacked")
            self.assertEqual("larger than any" in result.stderr, is_refused, result.stderr)

    def test_a_pipe_in_an_archives_place_is_not_waited_for(self):
        (self.folder / "cabs").mkdir()
        os.mkfifo(self.folder / "cabs/a.cab")
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--allow-unsigned")
        self.assert_failed(result, 4, "no firmware with identifiers and releases")

    def test_whom_it_comes_from_must_be_said(self):
        file = self.write("firmware.xml", metadata(component(release("1"))))
        result = self.run_program("catalogue", "import", "--lvfs", file, "--output", "made")
        self.assert_failed(result, 64, "--jcat FILE", "--allow-unsigned")
        self.assertFalse((self.folder / "made").exists())
        self.write("cabs/a.cab", cabinet({"a.metainfo.xml": b"<component/>"}))
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--jcat", "a.jcat")
        self.assert_failed(result, 64, "--allow-unsigned")

    def test_nothing_found_leaves_what_was_there(self):
        self.import_file(metadata(component(release("1"))))
        before = (self.folder / "made/firmware.xml").read_bytes()
        result = self.import_file(metadata())
        self.assert_failed(result, 4, "no firmware with identifiers and releases")
        self.assertEqual(before, (self.folder / "made/firmware.xml").read_bytes())
        self.assertEqual([], self.leftovers())

    def test_entities_are_not_expanded(self):
        levels = "".join(f'<!ENTITY a{i} "{f"&a{i - 1};" * 10}">' for i in range(1, 10))
        text = (f'<!DOCTYPE components [<!ENTITY a0 "aaaaaaaaaa">{levels}]>'
                + metadata(component(release("1"), name="NAME")).split("\n", 1)[1])
        self.refused(text.replace("<name>NAME", "<name>&a9;"), "firmware.xml:")
        text = ('<!DOCTYPE components [<!ENTITY a SYSTEM "file:///etc/passwd">]>'
                + metadata(component(release("1"), name="NAME")).split("\n", 1)[1])
        self.refused(text.replace("<name>NAME", "<name>&a;"), "firmware.xml:")

    def test_more_than_is_reasonable_is_refused(self):
        self.refused("<components>" * 100000, "firmware.xml:1: ")
        nested = "<ul>" * 300 + "</ul>" * 300
        self.refused(metadata(component(release("1", description=nested))), "firmware.xml:")
        most = 4096
        for fits in (component(release("1"), more="<branch>" + "n" * most + "</branch>"),
                     component(*[release("1")] * most),
                     component(release("1"), identifiers=[GUID] * most)):
            self.assertEqual(0, self.import_file(metadata(fits)).returncode)
            (self.folder / "made/firmware.xml").unlink()
        self.refused(metadata(component(release("1"),
                                        more="<branch>" + "n" * (most + 1) + "</branch>")),
                     "a text is longer")
        self.refused(metadata(component(*[release("1")] * (most + 1))), "more releases")
        self.refused(metadata(component(release("1"), identifiers=[GUID] * (most + 1))),
                     "more items")
        self.refused(metadata(component(release("v" * 4097))), "an attribute is longer")
        paragraphs = "<p>" + "x" * 1000 + "</p>"
        self.refused(metadata(component(release("1", description=paragraphs * 70))),
                     "a description is longer")

    def test_few_bytes_that_would_become_very_many_are_refused_before_they_are_written(self):
        file = self.write("firmware.xml", metadata(
            component(release("1")),
            component(*[release("1")] * 4096, identifiers=["i" * 4000] * 4096)))
        command = [PROGRAM, "catalogue", "import", "--lvfs", file, "--output", "made",
                   "--allow-unsigned"]
        little_room = (1 << 20, 1 << 20)
        result = subprocess.run(
            command, cwd=self.folder, capture_output=True, text=True,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, little_room))
        self.assert_failed(result, 4, "larger than can be read")
        self.assertFalse((self.folder / "made/firmware.xml").exists())

    def test_what_grows_out_of_proportion_is_refused(self):
        bomb = gzip.compress(b"<components>" + b" " * (64 << 20) + b"</components>")
        self.refused(bomb, "unpacked it is larger", name="f.xml.gz")
        twice = gzip.compress(gzip.compress(metadata(component(release("1"))).encode()))
        self.refused(twice, "more than once", name="f.xml.gz")

    def test_what_is_no_metadata_is_named_with_its_line(self):
        self.refused("<html/>", "firmware.xml:1: ", "root element")
        self.refused("<components>\n<component>\n</components>", "firmware.xml:3: ")
        self.refused("", "firmware.xml")
        self.refused("no xml", "firmware.xml:1: ")
        result = self.run_program("catalogue", "import", "--lvfs", "absent.xml", "--output", "made",
                                  "--allow-unsigned")
        self.assert_failed(result, 4, "absent.xml")

    def test_three_thousand_components_take_little_time_and_memory(self):
        notes = "".join(f"<p>Release note {i} of a maker, as long as these are.</p>"
                        for i in range(12))
        components = [component(*[release(f"1.{i}.0", "high", "1700000000", notes)
                                  for i in range(5)],
                                identifiers=[f"{k:08x}-0000-4000-8000-{i:012x}" for i in range(4)],
                                requires='<firmware compare="ge" version="1.0.5"/>')
                      for k in range(3000)]
        file = self.write("f.xml.xz", lzma.compress(metadata(*components).encode(), preset=0))
        command = ["/usr/bin/env", "python3", "-c",
                   "import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True);"
                   "u = resource.getrusage(resource.RUSAGE_CHILDREN);"
                   "print(u.ru_utime + u.ru_stime, u.ru_maxrss)",
                   str(BUILD / "bin/svcheck"), "catalogue", "import", "--lvfs", str(file),
                   "--output", str(self.folder / "made"), "--allow-unsigned"]
        output = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        self.assertIn("15000 releases of 3000 components", output)
        seconds, kibibytes = map(float, output.splitlines()[-1].split())
        print(f"\n3,000 components: {seconds:.2f} s of processor time, {kibibytes / 1024:.0f} MiB")
        self.assertLess(seconds, 20)
        if not SANITIZED:
            self.assertLess(kibibytes / 1024, 200)


class SignatureTest(Importing):
    """With signatures that the publisher's own tool makes."""

    def setUp(self):
        super().setUp()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                        "key.pem", "-out", "cert.pem", "-days", "30", "-subj", "/CN=Publisher",
                        "-addext", "keyUsage=digitalSignature,keyCertSign"],
                       cwd=self.folder, check=True, capture_output=True)
        self.write("keys/cert.pem", (self.folder / "cert.pem").read_bytes())
        self.text = metadata(component(release("1.2.0")))
        self.write("firmware.xml", self.text)

    def jcat(self, *arguments):
        subprocess.run(["jcat-tool", *arguments], cwd=self.folder, check=True, capture_output=True,
                       env={"HOME": str(self.folder), "PATH": "/usr/bin:/bin"})

    def sign(self, name="firmware.xml.jcat", file="firmware.xml"):
        self.jcat("sign", name, file, "cert.pem", "key.pem")
        self.jcat("self-sign", name, file, "--kind", "sha256")
        return self.folder / name

    def signed_import(self, signature, text=None, keys="keys"):
        return self.import_file(text or self.text, "firmware.xml", "--jcat", signature, "--keys",
                                self.folder / keys)

    def refused_signature(self, *arguments, **more):
        self.assert_failed(self.signed_import(*arguments, **more), 4, "the signature", "--keys")
        self.assertFalse((self.folder / "made/firmware.xml").exists())

    def test_what_is_signed_is_taken(self):
        result = self.signed_import(self.sign())
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertEqual("1.2.0", self.offers()[0]["Version"])
        self.assertFalse(list(self.folder.glob(".gnupg*")))

    def test_a_single_byte_that_is_another_is_refused(self):
        self.refused_signature(self.sign(), self.text.replace("1.2.0", "1.2.1"))

    def test_a_signature_by_somebody_else_is_refused(self):
        signature = self.sign()
        pathlib.Path(self.folder / "others").mkdir()
        self.refused_signature(signature, keys="others")
        self.refused_signature(signature, keys="absent")

    def test_a_pipe_among_the_keys_is_not_waited_for(self):
        os.mkfifo(self.folder / "keys/a.pem")
        (self.folder / "keys/old").mkdir()
        signature = self.sign()
        self.assert_failed(self.signed_import(signature), 4, "keys/a.pem is a pipe", "--keys")
        (self.folder / "keys/a.pem").unlink()
        self.assertEqual(0, self.signed_import(signature).returncode)

    def test_a_signature_that_lacks_a_part_is_refused(self):
        whole = json.loads(gzip.decompress(self.sign().read_bytes()))
        blobs = whole["Items"][0]["Blobs"]
        for kept in ([], blobs[:1], blobs[1:]):
            whole["Items"][0]["Blobs"] = kept
            signature = self.write("part.jcat", gzip.compress(json.dumps(whole).encode()))
            self.refused_signature(signature)
        whole["Items"] = []
        self.refused_signature(self.write("none.jcat", gzip.compress(json.dumps(whole).encode())))

    def test_a_signature_file_has_up_to_ten_thousand_values(self):
        def values_of(item):
            """Names, texts and numbers count, and both ends of what holds others."""
            if isinstance(item, dict):
                return 2 + sum(1 + values_of(value) for value in item.values())
            return 2 + sum(map(values_of, item)) if isinstance(item, list) else 1

        whole = json.loads(gzip.decompress(self.sign().read_bytes()))
        whole["More"] = []
        room = 10_000 - values_of(whole)
        for more, is_taken in ((room, True), (room + 1, False)):
            whole["More"] = [0] * more
            signature = self.write("more.jcat", gzip.compress(json.dumps(whole).encode()))
            result = self.signed_import(signature)
            self.assertEqual(0 if is_taken else 4, result.returncode, result.stderr)
            self.assertEqual(is_taken, "it has too many values" not in result.stderr)
            self.assertEqual(is_taken, "does not hold" not in result.stderr)

    def test_what_is_no_signature_file_is_refused(self):
        for content in (b"", b"{}", b"no json", gzip.compress(b"[" * 100000),
                        b'{"a":' * 100000, b'{"Items":[' + b"[" * 100, b'{"a":"{[', b'{"a":"\\',
                        b"[]", b"1", b'{"a":"\xff"}', b'{"a":1}{', b'{"a":' * 20 + b"1" + b"}" * 20,
                        gzip.compress(b" " * (64 << 20))):
            self.refused_signature(self.write("broken.jcat", content))
        self.refused_signature(self.folder / "absent.jcat")


if __name__ == "__main__":
    main()
