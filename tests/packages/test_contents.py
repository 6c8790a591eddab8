"""What is in the Debian packages."""

import shutil
import tempfile
import unittest

import packages
from packages import NAMES, field, run, succeed


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="packages-")
        cls.addClassCleanup(folder.cleanup)
        cls.packages = packages.make(folder.name)
        cls.files = {name: cls.listed(path) for name, path in cls.packages.items()}

    @staticmethod
    def listed(path):
        lines = succeed("dpkg-deb", "--contents", path).splitlines()
        return {line.split()[5].removeprefix(".") for line in lines if not line.startswith("d")}

    def test_there_are_three(self):
        self.assertEqual(sorted(self.packages), sorted(NAMES))

    def test_each_file_is_in_one_package(self):
        everything = [file for files in self.files.values() for file in files]
        self.assertEqual(len(everything), len(set(everything)))

    def test_what_belongs_where(self):
        self.assertLessEqual(
            {"/usr/bin/svcheck", "/usr/share/svcheck/sv/sv.definitions.xml",
             "/usr/share/man/man1/svcheck.1.gz", "/usr/share/man/man1/svcheck-check.1.gz",
             "/usr/share/bash-completion/completions/svcheck",
             "/usr/share/zsh/vendor-completions/_svcheck",
             "/usr/share/fish/vendor_completions.d/svcheck.fish"}, self.files["svcheck"])
        self.assertLessEqual({f"/usr/lib/lib{name}.so" for name in
                              ("svchecker", "hskcore", "plugin.nsp", "xmlparser", "acquire")},
                             self.files["libsvchecker"])
        self.assertLessEqual({"/usr/include/svcheck/host/hskcore/cim.h",
                              "/usr/lib/cmake/svcheck/svcheck-config.cmake",
                              "/usr/lib/pkgconfig/svcheck-host.pc"}, self.files["libsvchecker-dev"])
        for name in NAMES:
            self.assertLessEqual({f"/usr/share/doc/{name}/copyright",
                                  f"/usr/share/doc/{name}/changelog.gz"}, self.files[name])

    def test_dependencies_are_named(self):
        self.assertIn("libsvchecker (=", field(self.packages["svcheck"], "Depends"))
        self.assertIn("libcurl4", field(self.packages["libsvchecker"], "Depends"))
        self.assertIn("libboost-dev", field(self.packages["libsvchecker-dev"], "Depends"))

    @unittest.skipUnless(shutil.which("lintian"), "lintian is not installed")
    def test_lintian_finds_no_error(self):
        result = run("lintian", "--allow-root", "--fail-on", "error", "--tag-display-limit", "0",
                     *self.packages.values())
        print(result.stdout)
        self.assertEqual(result.returncode, 0, result.stdout)


if __name__ == "__main__":
    packages.skip_without("dpkg-deb", "dpkg-shlibdeps", package="dpkg-dev")
    unittest.main(argv=["test_contents.py"])
