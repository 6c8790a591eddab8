"""`svcheck catalogue import`: what a public firmware service publishes becomes a catalogue."""

import gzip
import lzma
import subprocess
import xml.etree.ElementTree as ElementTree

from program import ProgramTest, main
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
                        component(release("4"), release(""), release("5"), name="Hub"))
        result = self.import_file(text)
        self.assertEqual("made/firmware.xml: 3 releases of 2 components\n", result.stdout)
        self.assertEqual(["2", "4", "5"], [offer["Version"] for offer in self.offers()])
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

    def test_whom_it_comes_from_must_be_said(self):
        file = self.write("firmware.xml", metadata(component(release("1"))))
        result = self.run_program("catalogue", "import", "--lvfs", file, "--output", "made")
        self.assert_failed(result, 64, "--jcat FILE", "--allow-unsigned")
        self.assertFalse((self.folder / "made").exists())
        both = self.run_program("catalogue", "import", "--lvfs", file, "--output", "made", "--jcat",
                                "a.jcat", "--allow-unsigned")
        self.assert_failed(both, 64, "--jcat", "--allow-unsigned")
        self.assertFalse((self.folder / "made").exists())
        self.write("cabs/a.cab", cabinet({"a.metainfo.xml": b"<component/>"}))
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--jcat", "a.jcat")
        self.assert_failed(result, 64, "--allow-unsigned")

    def test_a_folder_that_cannot_be_made_is_named(self):
        file = self.write("firmware.xml", metadata(component(release("1"))))
        result = self.run_program("catalogue", "import", "--lvfs", file, "--output",
                                  "firmware.xml/made", "--allow-unsigned")
        self.assertEqual((1, "", "svcheck: cannot make the folder firmware.xml/made: Not a directory; "
                          "name one that can be written\n"),
                         (result.returncode, result.stdout, result.stderr))

    def test_nothing_found_leaves_what_was_there(self):
        self.import_file(metadata(component(release("1"))))
        before = (self.folder / "made/firmware.xml").read_bytes()
        result = self.import_file(metadata())
        self.assert_failed(result, 4, "no firmware with identifiers and releases")
        self.assertEqual(before, (self.folder / "made/firmware.xml").read_bytes())
        self.assertEqual([], self.leftovers())

    def test_what_is_no_metadata_is_named_with_its_line(self):
        result = self.import_file("<html/>")
        self.assertEqual((4, f"svcheck: {self.folder}/firmware.xml:1: the root element is neither "
                          '"components" nor "component"\n'), (result.returncode, result.stderr))
        self.refused("<components>\n<component>\n</components>", "firmware.xml:3: ")
        self.refused("", "firmware.xml")
        self.refused("no xml", "firmware.xml:1: ")
        result = self.run_program("catalogue", "import", "--lvfs", "absent.xml", "--output", "made",
                                  "--allow-unsigned")
        self.assert_failed(result, 4, "absent.xml")


if __name__ == "__main__":
    main()
