"""What is in the Debian packages."""

import gzip
import os
import pathlib
import re
import shutil
import tempfile
import unittest

import packages
from packages import NAMES, field, run, succeed

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PLACE = re.compile(r"(?<![\w.])/usr/(?:bin|lib|share)/[\w./-]*svcheck(?:[\w./-]*\w)?")


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="packages-")
        cls.addClassCleanup(folder.cleanup)
        cls.packages = packages.make(folder.name)
        cls.files = {name: cls.listed(path) for name, path in cls.packages.items()}
        cls.root = pathlib.Path(folder.name) / "root"
        for package in cls.packages.values():
            succeed("dpkg-deb", "--extract", package, cls.root)

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
        self.assertLessEqual({f"/usr/lib/svcheck/lib/lib{name}.so" for name in
                              ("svchecker", "publicfirmware", "hskcore", "plugin.nsp", "xmlparser", "acquire")},
                             self.files["libsvchecker"])
        self.assertLessEqual({"/usr/include/svcheck/host/hskcore/cim.h",
                              "/usr/lib/cmake/svcheck/svcheck-config.cmake",
                              "/usr/share/doc/libsvchecker-dev/examples/plugin/CMakeLists.txt",
                              "/usr/share/doc/libsvchecker-dev/examples/plugin/"
                              "inventory_summary.cpp"}, self.files["libsvchecker-dev"])
        for name in NAMES:
            self.assertLessEqual({f"/usr/share/doc/{name}/copyright",
                                  f"/usr/share/doc/{name}/changelog.gz"}, self.files[name])

    def test_no_library_lies_where_the_system_looks_for_others(self):
        """Their names are the interface's own and carry no version."""
        public = {file for files in self.files.values() for file in files
                  if re.fullmatch(r"(/usr)?/lib(/[^/]*-linux-gnu)?/[^/]*\.so[^/]*", file)}
        self.assertEqual(public, set())

    def test_every_page_job_and_role_of_the_sources_is_in_it(self):
        pages = {f"/usr/share/doc/svcheck/docs/{page.relative_to(SOURCE / 'docs')}"
                 for page in (SOURCE / "docs").rglob("*") if page.is_file()}
        jobs = {f"/usr/share/svcheck/{file.relative_to(SOURCE / 'packaging')}"
                for folder in ("slurm", "ansible")
                for file in (SOURCE / "packaging" / folder).rglob("*") if file.is_file()}
        self.assertGreater(min(len(pages), len(jobs)), 5)
        self.assertLessEqual(pages | jobs | {"/usr/share/doc/svcheck/README.md",
                                             "/usr/share/doc/svcheck/SECURITY.md"},
                             self.files["svcheck"])

    def pages(self):
        for page in self.root.rglob("*.md"):
            yield page, page.read_text()

    def test_every_link_of_a_page_leads_somewhere(self):
        followed = 0
        for page, text in self.pages():
            for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", text):
                with self.subTest(page.name, target=target):
                    followed += 1
                    self.assertTrue((page.parent / target).exists())
        self.assertGreater(followed, 50)

    def test_every_place_of_the_installed_program_that_is_named_is_there(self):
        """In pages, manual, units, jobs and role."""
        manual = [(page, gzip.open(page, "rt").read().replace("\\-", "-"))
                  for page in self.root.rglob("*.1.gz")]
        others = [(file, file.read_text()) for folder in ("share/svcheck", "lib/systemd")
                  for file in (self.root / "usr" / folder).rglob("*") if file.is_file()]
        named = 0
        for page, text in [*self.pages(), *manual, *others]:
            for place in PLACE.findall(text):
                with self.subTest(page.name, place=place):
                    named += 1
                    self.assertTrue(os.path.lexists(f"{self.root}{place}"))
        self.assertGreaterEqual(named, 5)

    def test_pkg_config_finds_headers_and_libraries(self):
        file, = self.root.glob("usr/lib/*/pkgconfig/svcheck-host.pc")
        self.assertRegex(file.parts[-3], r"^\w+-linux-gnu$")
        flags = succeed("pkg-config", "--cflags", "--libs", "svcheck-host", env={
            **os.environ, "PKG_CONFIG_LIBDIR": str(file.parent),
            "PKG_CONFIG_SYSROOT_DIR": str(self.root)})
        self.assertIn(f"-L{self.root}/usr/lib/svcheck/lib ", flags)
        headers, = re.findall(r"-I(\S+)", flags)
        self.assertTrue((pathlib.Path(headers) / "host" / "hskcore" / "cim.h").is_file())

    def test_the_program_runs_where_the_packages_put_it(self):
        program = self.root / "usr/bin/svcheck"
        sample = f"{self.root}/usr/share/svcheck/sample"
        shown = succeed(program, "check", "--inventory", f"{sample}/inventory.xml",
                        "--catalogue", f"{sample}/catalogue", env={"HOME": str(self.root)})
        self.assertIn("\n21 records: 10 outdated, 3 unknown, 3 newer, 5 current.\n", shown)
        self.assertIn(f"{self.root}/usr/lib/svcheck/lib/libsvchecker.so",
                      succeed(program, "--version"))

    def test_dependencies_are_named(self):
        self.assertIn("libsvchecker (=", field(self.packages["svcheck"], "Depends"))
        self.assertIn("libcurl4", field(self.packages["libsvchecker"], "Depends"))
        self.assertIn("libboost-dev", field(self.packages["libsvchecker-dev"], "Depends"))

    @unittest.skipUnless(shutil.which("lintian"), "lintian is not installed")
    def test_lintian_finds_nothing_to_warn_of(self):
        result = run("lintian", "--allow-root", "--fail-on", "error,warning", "--tag-display-limit", "0",
                     *self.packages.values())
        print(result.stdout)
        self.assertEqual(result.returncode, 0, result.stdout)


if __name__ == "__main__":
    packages.skip_without("dpkg-deb", "dpkg-shlibdeps", package="dpkg-dev")
    unittest.main(argv=["test_contents.py"])
