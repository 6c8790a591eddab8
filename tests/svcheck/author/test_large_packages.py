"""`svcheck catalogue build` on packages that somebody made to become very much: none becomes more than
its share, and what stands beside them is built."""

import gzip
import io
import os
import tarfile

from made_files import cpio, deb_of, endless_deb, kernel_module, rpm_of
from program import main
from test_hostile_packages import Building

MOST = 64 << 20
RATIO = 64


class LargePackages(Building):
    def test_what_is_unpacked_has_its_share_of_the_package(self):
        piece = gzip.compress(bytes(1 << 26))
        self.write("in/unwanted.deb", endless_deb())
        self.write("in/wanted.deb", endless_deb("x.ko"))
        self.write("in/junk.rpm", rpm_of(gzip.compress(cpio({"./x": b""})[:-124]) + piece * 60))
        member = cpio({"./x": bytes(1 << 24)}).partition(b"070701" + b"00000002")[0]
        self.write("in/many.rpm", rpm_of(gzip.compress(member) * 240))
        _, told = self.build()
        for name in ("unwanted.deb", "junk.rpm", "many.rpm"):
            self.assertIn(f"{name}: the package cannot be read: "
                          "unpacked it is out of proportion to its size", told)
        self.assertIn("wanted.deb: a driver is too large", told)
        self.assertLess(self.seconds, 20)

    def test_a_driver_has_up_to_256_mebibytes(self):
        most = 256 << 20
        for name, size in (("fits.sys", most), ("large.sys", most + 1), ("fits.ko", most),
                           ("large.ko", most + 1)):
            self.write(f"in/{name}", b"")
            os.truncate(self.folder / "in" / name, size)  # A file with a hole takes no room.
        _, told = self.build()
        for line in told.splitlines():
            self.assertEqual("too large" in line, "/large." in line, told)
        self.assertEqual(told.count("too large"), 2, told)
        self.assertIn("fits.sys is no driver that can be read", told)
        self.assertIn("fits.ko is no driver that can be read", told)

    def test_the_share_ends_where_it_says(self):
        """64 MiB, and 64 times what the package has."""
        content = io.BytesIO()
        with tarfile.open(fileobj=content, mode="w") as archive:
            module = kernel_module("1")
            for name, data in (("./zeros", bytes((96 << 20) - 512 * 4)), ("./last.ko", module)):
                info = tarfile.TarInfo(name)
                info.size = len(data)
                archive.addfile(info, io.BytesIO(data))
        plain = content.getvalue()[:96 << 20]  # Without the end's two blocks: all is read.
        self.assertEqual(len(module) <= 512, True)
        size = (len(plain) - MOST) // RATIO
        package = deb_of(gzip.compress(plain), ".gz")
        header = f"{'padding':<16}{0:<12}{0:<6}{0:<6}{100644:<8}{0:<10}`\n".encode()
        for name, length, isRead in (("in/a.deb", size, True), ("in/b.deb", size - 1, False),
                                     ("in/c.deb", size + 1, True)):
            self.write(name, (package + header).ljust(length, b"\0"))
        made, told = self.build()
        self.assertIn("last.ko-#1", made)
        for name, isRead in (("a.deb", True), ("b.deb", False), ("c.deb", True)):
            self.assertEqual(f"{name}: the package" in told, not isRead, told)


if __name__ == "__main__":
    main()
