"""A test of the program for Windows, as its user calls it, under Wine.

  test_….py BIN-FOLDER WINE
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
sys.path.append(str(SOURCE / "tests" / "end_to_end"))

from platforms import Wine, windows_path  # noqa: E402 (found by the line above)

BIN, WINE = map(os.path.abspath, sys.argv[1:3])
SAMPLE = SOURCE / "data" / "sample"


def windows(path):
    return windows_path(str(path))


def run(program, *arguments, environment=None, **options):
    """Runs it under Wine. What it writes goes to files: the services that Wine starts meanwhile
    write there too, and a pipe would not end before they do."""
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
        process = subprocess.run([WINE, program, *map(str, arguments)], stdout=output,
                                 stderr=errors, timeout=120, check=False,
                                 env={**os.environ, **(environment or {})},
                                 **{} if "input" in options else {"stdin": subprocess.DEVNULL},
                                 **options)
        for name, file in (("stdout", output), ("stderr", errors)):
            file.seek(0)
            setattr(process, name, file.read())
    return process


class WineTest(unittest.TestCase):
    """A folder of its own, whose name is none of ASCII, and the program."""

    svcheck = os.path.join(BIN, "svcheck.exe")

    @classmethod
    def setUpClass(cls):
        session = Wine(cls.svcheck, WINE).session()
        session.__enter__()
        cls.addClassCleanup(session.__exit__, None, None, None)

    def setUp(self):
        self.work = Path(tempfile.mkdtemp(prefix="wine Ж日 "))
        self.addCleanup(shutil.rmtree, self.work, ignore_errors=True)

    def run_program(self, *arguments, status=0, **options):
        """What it writes, its line ends those of the platform and nothing else."""
        process = run(self.svcheck, *arguments, **{"cwd": self.work, **options})
        output, errors = process.stdout.decode(), process.stderr.decode()
        self.assertEqual(process.returncode, status, output + errors)
        self.assertEqual(output.count("\n"), output.count("\r\n"), repr(output))
        return output.replace("\r\n", "\n"), errors.replace("\r\n", "\n")

    def assert_failed(self, status, *arguments, words=(), **options):
        """It ends with the status, and with one line that says why."""
        output, errors = self.run_program(*arguments, status=status, **options)
        self.assertEqual(errors.count("\n"), 1, errors)
        self.assertTrue(errors.startswith("svcheck: "), errors)
        for word in words:
            self.assertIn(word, errors)
        return output


def main():
    unittest.main(argv=sys.argv[:1])
