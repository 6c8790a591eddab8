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

    @staticmethod
    def succeed(*command, **more):
        result = run(*command, **more)
        if result.returncode != 0:
            raise AssertionError(result.stdout)
        return result.stdout

    def test_the_example_builds_and_answers(self):
        build = self.folder / "build"
        self.succeed(CMAKE, "-S", SOURCE / "examples" / "plugin", "-B", build, "-G", "Ninja",
                     f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_CXX_COMPILER={COMPILER}",
                     "-DCMAKE_CXX_FLAGS=-O0 -Wall -Wextra -Wpedantic -Werror")
        self.succeed(CMAKE, "--build", build)
        log = self.folder / "log"
        printed = self.succeed(BUILD / "bin" / "svcheck", "query", "--inventory",
                               SAMPLE / "inventory.xml", "--plugin",
                               build / "libinventory_summary.so", "--log", log)
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
