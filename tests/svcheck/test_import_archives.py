"""`svcheck catalogue import` of a folder of archives: what each holds is what its metadata says."""

import hashlib
import os
import struct

from program import main
from public_metadata import cabinet, component, release
from test_import import Importing


class ArchiveTest(Importing):
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
            name = "Hub" if "/one." in line else "Dock"
            kind = "sha1" if "/half." in line else "sha256"
            self.assertEqual(line.partition(" is refused: ")[2],
                             f"firmware.bin of {name} 1.2.0 is not what its metadata says: its {kind} "
                             "is another, or it is not there once")
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

    def test_one_release_that_tells_of_no_content_makes_no_archive_right(self):
        self.write("cabs/a.cab", cabinet({
            "firmware.bin": b"x", "a.metainfo.xml": component(
                release("2.0.0", more='<checksum type="sha1" target="content">00</checksum>'),
                release("1.0.0")).encode()}))
        result, lines = self.import_cabinets()
        self.assertEqual((4, 2), (result.returncode, len(lines)), lines)
        self.assertIn("Dock 2.0.0 is not what its metadata says: its sha1 ", lines[0])

    def test_a_broken_archive_is_named_and_the_rest_goes_on(self):
        good = cabinet({"a.metainfo.xml": component(release("1")).encode()})
        broken = {
            "a": (b"MSCF" + b"\0" * 100, "cannot be unpacked"),
            "b": (good[:-20], "cannot be unpacked"), "c\x1b[2J": (b"", "cannot be unpacked"),
            "d": (cabinet({"a.metainfo.xml": b"<component>\n</p>"}), "line 2 of its metadata: "),
            "e": (cabinet({"a.metainfo.xml": component(release("v" * 4097)).encode()}), "longer")}
        for name, (text, _) in broken.items():
            self.write(f"cabs/{name}.cab", text)
        (self.folder / "cabs/loop.cab").symlink_to("loop.cab")
        (self.folder / "cabs/none.cab").symlink_to("absent")
        (self.folder / "cabs/folder.cab").mkdir()
        for count in (0, 1):
            result, lines = self.import_cabinets()
            self.assertEqual(0 if count else 4, result.returncode, result.stderr)
            for line, (name, (_, words)) in zip(lines, broken.items(), strict=bool(count)):
                shown = name.replace("\x1b", "\ufffd")
                self.assertIn(f" cabs/{shown}.cab is refused: ", line)
                self.assertIn(words, line)
            self.assertEqual(bool(count), (self.folder / "made/firmware.xml").exists())
            self.write("cabs/z.cab", good)
        self.assertEqual(["1"], [offer["Version"] for offer in self.offers()])
        self.assertEqual([], self.leftovers())

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
            self.assertEqual(4, result.returncode)
            self.assertIn("cabs/a.cab is refused: cannot be unpacked: ", result.stderr)
            self.assertEqual("larger than any" in result.stderr, is_refused, result.stderr)

    def test_a_pipe_in_an_archives_place_is_not_waited_for(self):
        (self.folder / "cabs").mkdir()
        os.mkfifo(self.folder / "cabs/a.cab")
        result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                  "--allow-unsigned")
        self.assert_failed(result, 4, "no firmware with identifiers and releases")


if __name__ == "__main__":
    main()
