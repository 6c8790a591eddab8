"""Installs what writers of plug-ins get, builds the example with it, and loads it."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
CMAKE, COMPILER = sys.argv[3:5]
SAMPLE = BUILD / "share" / "svcheck" / "sample"


def run(*command, **more):
    return subprocess.run(list(map(str, command)), text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=300, **more)


class Example(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="plugin example ")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.prefix = cls.folder / "prefix"
        for component in ("libsvchecker", "libsvchecker-dev"):
            cls.succeed(CMAKE, "--install", BUILD, "--prefix", cls.prefix, "--component", component)
        cls.example = cls.build_example()

    @staticmethod
    def succeed(*command, **more):
        result = run(*command, **more)
        if result.returncode != 0:
            raise AssertionError(result.stdout)
        return result.stdout

    @classmethod
    def build_example(cls):
        build = cls.folder / "build"
        cls.succeed(CMAKE, "-S", SOURCE / "examples" / "plugin", "-B", build, "-G", "Ninja",
                    f"-DCMAKE_PREFIX_PATH={cls.prefix}", f"-DCMAKE_CXX_COMPILER={COMPILER}",
                    "-DCMAKE_CXX_FLAGS=-O0 -Wall -Wextra -Wpedantic -Werror")
        cls.succeed(CMAKE, "--build", build)
        return build / "libinventory_summary.so"

    def setUp(self):
        self.asked = ["--inventory", SAMPLE / "inventory.xml", "--plugin", self.example]

    def svcheck(self, verb, *arguments):
        """Status, and what it printed."""
        result = run(BUILD / "bin" / "svcheck", verb, *self.asked, *arguments)
        return result.returncode, result.stdout

    def records(self):
        status, printed = self.svcheck("query")
        self.assertEqual(status, 0, printed)
        return [json.loads(line) for line in printed.splitlines()]

    def test_a_check_shows_its_records_with_and_without_a_catalogue(self):
        for more in ([], ["--catalogue", SAMPLE / "catalogue"], ["--catalogue", self.folder]):
            with self.subTest(more):
                status, printed = self.svcheck("check", "--format", "json", *more)
                self.assertEqual(status, 0, printed)
                report = json.loads(printed)
                self.assertEqual((report["outcome"], report["errors"]), ("done", []))
                self.assertEqual(report["tool"]["plugin"]["name"], "Inventory summary")
                self.assertEqual(report["catalogue"]["path"], str(more[1]) if more else "")
                found = [{key: record[key] for key in
                          ("Type", "Name", "InstalledVersion", "SVVersion")}
                         for record in report["records"]]
                self.assertEqual(found, self.records())
                self.assertEqual({record["verdict"] for record in report["records"]}, {"unknown"})

    def test_every_format_shows_its_records(self):
        count = len(self.records())
        for form in ("table", "ndjson", "csv", "html", "junit", "prometheus"):
            status, printed = self.svcheck("check", "--format", form)
            self.assertEqual(status, 0, printed)
            self.assertIn("bnx2" if form != "prometheus" else f'verdict="unknown"}} {count}\n',
                          printed)

    def test_a_check_ends_with_1_where_an_exception_leaves_it(self):
        bare = self.folder / "bare.xml"
        bare.write_text("<CIM><DECLARATION><DECLGROUP/></DECLARATION></CIM>")
        self.asked[1] = bare
        status, printed = self.svcheck("check", "--no-builtin-classes", "--catalogue",
                                       self.folder / "none")
        self.assertEqual(status, 1, printed)
        self.assertIn("QRXSG_", printed)
        self.assertNotIn("catalogue at that place", printed)

    def test_a_fleet_is_asked_as_well(self):
        result = run(BUILD / "bin" / "svcheck", "fleet", "--plugin", self.example, "--inventories",
                     SAMPLE / "inventory.xml", "--catalogue", SAMPLE / "catalogue")
        self.assertEqual(result.returncode, 0, result.stdout)
        lines = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual([line.get("Name") for line in lines[:-1]],
                         [record["Name"] for record in self.records()])
        self.assertEqual(lines[-1]["outcome"], "done")

    def test_its_steps_cannot_be_explained(self):
        status, printed = self.svcheck("explain", "--catalogue", SAMPLE / "catalogue")
        self.assertEqual(status, 1, printed)
        self.assertIn("Inventory summary", printed)
        self.assertIn("svcheck query --log", printed)

    def test_the_installed_one_wants_a_catalogue_though_it_is_named(self):
        self.asked[-1] = BUILD / "lib" / "libsvchecker.so"
        status, printed = self.svcheck("check")
        self.assertEqual(status, 64, printed)
        self.assertEqual(printed.count("\n"), 1, printed)
        self.assertIn("--catalogue DIR", printed)

    def test_the_example_builds_and_answers(self):
        log = self.folder / "log"
        status, printed = self.svcheck("query", "--log", log)
        self.assertEqual(status, 0, printed)
        records = [json.loads(line) for line in printed.splitlines()]
        self.assertIn({"Type": "Running driver", "Name": "bnx2", "InstalledVersion": "1.7.9",
                       "SVVersion": ""}, records)
        self.assertEqual(json.loads(log.read_text()),
                         {"level": 3, "message": f"Looked at {len(records)} drivers"})

    @unittest.skipUnless(shutil.which("pkg-config"), "pkg-config is not installed")
    def test_pkg_config_names_folders_that_exist(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.prefix / "lib" / "pkgconfig")}
        include = self.succeed("pkg-config", "--variable=includedir", "svcheck-host",
                               env=environment).strip().replace("\\ ", " ")
        self.assertTrue((pathlib.Path(include) / "host" / "hskcore" / "cim.h").is_file(), include)
        flags = self.succeed("pkg-config", "--cflags", "--libs", "svcheck-host", env=environment)
        self.assertIn("-DBOOST_ENABLE_ASSERT_HANDLER", flags)
        self.assertIn("-lhskcore", flags)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
