"""`svcheck catalogue build` on packages that somebody made to do harm: none runs a program, none is
unpacked over and over, and what stands beside them is built."""

import gzip
import io
import os
import resource
import stat
import tarfile

from made_files import cpio, deb, deb_of, kernel_module, rpm_of, tar
from program import ProgramTest, main

# Every program that libarchive, or what libarchive stood for once, may start.
PROGRAMS = ("lrzip", "grzip", "lzop", "gzip", "gunzip", "zcat", "bzip2", "bunzip2", "xz", "unxz",
            "lzma", "unlzma", "lzip", "zstd", "unzstd", "zstdcat", "lz4", "unlz4", "uudecode",
            "compress", "uncompress", "rpm2cpio", "dpkg-deb", "ar", "tar", "cpio", "sh")
# The first bytes by which each kind is told.
MAGIC = {
    "lrzip": b"LRZI\x00\x06" + bytes(64),
    "grzip": b"GRZipII\x00\x02\x04:)" + bytes(64),
    "lzop": b"\x89LZO\x00\r\n\x1a\n" + bytes(64),
    "gzip": b"\x1f\x8b\x08" + bytes(64),
    "bzip2": b"BZh91AY&SY" + bytes(64),
    "xz": b"\xfd7zXZ\x00\x00\x04" + bytes(64),
    "lzma": b"\x5d\x00\x00\x80\x00" + b"\xff" * 8 + bytes(64),
    "lzip": b"LZIP\x01\x0c" + bytes(64),
    "zstd": b"\x28\xb5\x2f\xfd" + bytes(64),
    "lz4": b"\x04\x22\x4d\x18\x64\x40\xa7" + bytes(64),
    "compress": b"\x1f\x9d\x90" + bytes(64),
    "uu": b"begin 644 x\n" + b"M" + b"0" * 60 + b"\n`\nend\n",
}


class Building(ProgramTest):
    def build(self, env=None):
        """What is offered of the folder "in", and what was said."""
        self.write("in/good.ko", kernel_module("2"))
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        result = self.run_program("catalogue", "build", "--output", "made", "--drivers", "in",
                                  "--machine", "4638", env=env)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        self.assertIn("good.ko-#2", (self.folder / "made/index.xml").read_text())
        return (self.folder / "made/index.xml").read_text(), result.stderr


class HostilePackages(Building):
    def test_no_other_program_is_started(self):
        mark = self.folder / "mark"
        for name in PROGRAMS:
            path = self.write(f"bin/{name}", f"#!/bin/sh\necho {name} >> '{mark}'\nexec /bin/cat\n")
            path.chmod(path.stat().st_mode | stat.S_IXUSR)
        for name, magic in MAGIC.items():
            self.write(f"in/bare-{name}.deb", magic)
            self.write(f"in/bare-{name}.rpm", magic)
            self.write(f"in/payload-{name}.rpm", rpm_of(magic))
            self.write(f"in/data-{name}.deb", deb_of(magic, "." + name))
            self.write(f"in/twice-{name}.rpm", rpm_of(gzip.compress(magic)))
            self.write(f"in/twice-{name}.deb", deb_of(gzip.compress(magic), ".gz"))
        _, told = self.build({"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"})
        self.assertFalse(mark.exists(), mark.exists() and mark.read_text())
        for path in (self.folder / "in").iterdir():
            if path.name != "good.ko":
                self.assertIn(f"{path.name}: the package cannot be read: ", told)

    def test_what_is_compressed_over_and_over_is_not_unpacked(self):
        huge = gzip.compress(bytes(1 << 26), mtime=0) * 300
        for _ in range(2):
            huge = gzip.compress(huge, mtime=0)
        self.assertLess(len(huge), 4000, "20 GB")
        self.write("in/a.deb", deb_of(huge, ".gz"))
        self.write("in/b.rpm", rpm_of(huge))
        self.write("in/c.rpm", gzip.compress(rpm_of(gzip.compress(cpio({})))))
        _, told = self.build()
        for name in ("a.deb", "b.rpm", "c.rpm"):
            self.assertIn(f"{name}: the package cannot be read: it is compressed more than once", told)
        self.assertLess(self.seconds, 20)

    def test_a_second_name_of_a_file_and_one_that_no_locale_has_are_no_hindrance(self):
        content = io.BytesIO()
        with tarfile.open(fileobj=content, mode="w", format=tarfile.PAX_FORMAT) as archive:
            module = kernel_module("5")
            for name, data in (("./usr/\u00e9", b"text"), ("./x.ko", module)):
                info = tarfile.TarInfo(name)
                info.size = len(data)
                archive.addfile(info, io.BytesIO(data))
            link = tarfile.TarInfo("./again.ko")
            link.type, link.linkname = tarfile.LNKTYPE, "./x.ko"
            archive.addfile(link)
        self.write("in/odd.deb", deb_of(gzip.compress(content.getvalue()), ".gz"))
        # Of the second of two names of one file, an archive of this form has no bytes.
        twice = cpio({"./y.ko": kernel_module("6"), "./again.ko": b""})
        first, second, rest = (b"070701" + part for part in twice.split(b"070701")[1:])
        linked = b"".join(part[:38] + b"00000002" + part[46:] for part in (first, second))
        linked = linked.replace(b"07070100000002", b"07070100000001")  # The same number.
        self.write("in/odd.rpm", rpm_of(gzip.compress(linked + rest)))
        made, told = self.build()
        self.assertEqual(told, "")
        for name in ("x.ko-#5", "y.ko-#6"):
            self.assertIn(name, made)
        self.assertNotIn("again", made)

    def test_one_that_is_usual_is_read_beside_them(self):
        self.write("in/usual.deb", deb({"x.ko": kernel_module("3")}, ".zst"))
        self.write("in/plain.deb", deb_of(tar({"./y.ko": kernel_module("4")}), ""))
        made, told = self.build()
        self.assertEqual(told, "")
        for name in ("x.ko-#3", "y.ko-#4"):
            self.assertIn(name, made)


if __name__ == "__main__":
    main()
