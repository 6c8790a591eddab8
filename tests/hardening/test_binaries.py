"""Reads the protection of programs and libraries out of the files that are shipped."""

import struct
import sys
import unittest
from pathlib import Path

from elf import Elf

BUILD = Path(sys.argv[1]).resolve()
LIBRARIES = ["svchecker", "publicfirmware", "hskcore", "plugin.nsp", "xmlparser", "acquire"]
MODULES = ["libacquire-engine.so", "libsvcheck-collect.so", "libsvcheck-redfish.so",
           "libsvcheck-import.so"]
OWN_FOLDERS = {"$ORIGIN", "$ORIGIN/../lib"}

# PE: the optional header's DllCharacteristics.
HIGH_ENTROPY, DYNAMIC_BASE, NX_COMPAT = 0x20, 0x40, 0x100
RELOCATIONS_STRIPPED = 1


def is_for_windows():
    return (BUILD / "bin" / "svcheck.exe").exists()


@unittest.skipIf(is_for_windows(), "of ELF files")
class ElfFiles(unittest.TestCase):
    def setUp(self):
        names = [BUILD / "bin" / "svcheck", *(BUILD / "lib" / name for name in MODULES),
                 *(BUILD / "lib" / f"lib{name}.so" for name in LIBRARIES)]
        self.files = {path.name: Elf(path) for path in names}

    def expect(self, holds):
        for name, file in self.files.items():
            with self.subTest(name):
                self.assertTrue(holds(file))

    def test_lie_anywhere_in_memory(self):
        self.expect(Elf.is_position_independent)

    def test_are_bound_at_the_start_and_read_only_then(self):
        self.expect(Elf.is_read_only_after_relocation)

    def test_have_no_code_that_can_be_written(self):
        self.expect(lambda file: not file.has_executable_stack())
        self.expect(lambda file: not file.has_writable_code())

    def test_check_their_stack(self):
        self.expect(lambda file: file.names("__stack_chk_fail"))

    def test_check_the_sizes_of_buffers(self):
        checks = ("__memcpy_chk", "__snprintf_chk", "__fprintf_chk", "__vsnprintf_chk",
                  "__printf_chk", "__openat_2")
        # Not every library fills a buffer of a known size.
        for name in ("svcheck", "libsvcheck-collect.so"):
            self.assertTrue(any(map(self.files[name].names, checks)), name)

    def test_jump_and_return_only_where_they_may(self):
        self.expect(Elf.marks_where_calls_may_land)
        self.expect(Elf.guards_where_functions_return)

    def test_look_names_up_in_the_systems_libraries_first(self):
        """Nearly all of them are there, and each library before costs a look-up of each."""
        needed = self.files["svcheck"].needed()
        if "libstdc++.so.6" not in needed:
            self.skipTest("built with another C++ library")
        self.assertEqual(needed[:2], ["libstdc++.so.6", "libc.so.6"])
        self.assertLessEqual({"libhskcore.so", "libxmlparser.so"}, set(needed[2:]))

    def test_find_libraries_only_beside_themselves(self):
        self.expect(lambda file: not file.search_path() or
                    set(file.search_path().split(":")) <= OWN_FOLDERS)
        self.assertEqual(self.files["svcheck"].search_path(), "$ORIGIN/../lib")


@unittest.skipUnless(is_for_windows(), "of PE files")
class PeFiles(unittest.TestCase):
    def test_lie_anywhere_and_run_no_data(self):
        wanted = HIGH_ENTROPY | DYNAMIC_BASE | NX_COMPAT
        for name in ["svcheck.exe", *(f"{name}.dll" for name in LIBRARIES)]:
            data = (BUILD / "bin" / name).read_bytes()
            header, = struct.unpack_from("<I", data, 60)
            self.assertEqual(data[header:header + 4], b"PE\0\0", name)
            kind, = struct.unpack_from("<H", data, header + 22)
            characteristics, = struct.unpack_from("<H", data, header + 24 + 70)
            self.assertEqual(characteristics & wanted, wanted, name)
            self.assertFalse(kind & RELOCATIONS_STRIPPED, name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
