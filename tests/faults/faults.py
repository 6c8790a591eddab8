"""Runs the program with the library that makes calls fail."""

import os
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))
from report_schema import read_report  # noqa: E402
from serial_notes import forget_server  # noqa: E402

BUILD = Path(sys.argv[1]).resolve()
# The loader takes a blank in LD_PRELOAD for the end of a name: the library is named by a link.
LINKS = tempfile.TemporaryDirectory(prefix="faults-")
LIBRARY = Path(LINKS.name) / "faults.so"
LIBRARY.symlink_to(Path(sys.argv[2]).resolve())
PROGRAM = BUILD / "bin" / "svcheck"
SAMPLE = BUILD / "share" / "svcheck" / "sample"
CALLS, MEMORY = "calls", "memory"

# Calls that move bytes and may move fewer than asked for.
TRANSFERS = {"read", "write", "pread", "send", "recv", "fread", "fwrite"}


class FaultTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="faults ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()

    def step(self, usual):
        """How many calls a fault goes on by; 1 with FAULTS=all, which takes minutes."""
        return 1 if os.environ.get("FAULTS") == "all" else usual

    def run_program(self, *arguments, folder=None, **environment):
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.folder), "LC_ALL": "C",
                       "XDG_STATE_HOME": str(Path(folder or self.folder) / "state"), **environment}
        return subprocess.run([PROGRAM, *map(str, arguments)], cwd=folder or self.folder, text=True,
                              env=environment, capture_output=True, timeout=60)

    def run_faulty(self, what, number, kind, folder, *arguments, log=None):
        more = {"FAULT_LOG": str(log)} if log else {}
        return self.run_program(*arguments, folder=folder, LD_PRELOAD=str(LIBRARY),
                                FAULT_WHAT=what, FAULT_AT=str(number), FAULT_KIND=str(kind), **more)

    def calls(self, what, *arguments):
        """The names of the calls that a run without a fault makes, in order."""
        log = self.folder / "calls"
        with tempfile.TemporaryDirectory(dir=self.folder) as folder:
            run = self.run_faulty(what, 0, 0, folder, *arguments, log=log)
        self.assertEqual(run.returncode, 0, run.stderr)
        names = log.read_text().splitlines()
        log.unlink()
        return names

    def each_call(self, what, kinds, step, try_one, *arguments):
        """Calls try_one(number, kind, folder) for each call of the run, with an empty folder."""
        names = self.calls(what, *arguments)
        self.assertGreater(len(names), 30)

        def attempt(number, kind):
            with tempfile.TemporaryDirectory(dir=self.folder) as folder:
                try:
                    try_one(number, kind, Path(folder))
                except Exception as failure:
                    failure.args = (f"call {number} ({names[number - 1]}), fault {kind}: {failure}",)
                    raise

        # What comes last, one by one: a report is there by then, and nothing may fail any more.
        numbers = [*range(1, len(names) + 1, step)]
        numbers += [number for number in range(len(names) - 40, len(names) + 1)
                    if number > 0 and number not in numbers]
        faults = [(number, kind) for number in numbers for kind in kinds
                  if kind != "short" or names[number - 1] in TRANSFERS]
        with ThreadPoolExecutor(4 * os.cpu_count()) as pool:
            failures = [future.exception() for future in
                        [pool.submit(attempt, *fault) for fault in faults]]
        failures = [str(failure) for failure in failures if failure]
        self.assertEqual(failures, [], f"{len(failures)} of {len(faults)}")

    def assert_told(self, run, statuses):
        """The program ends by itself; where it fails, with one line that says so."""
        self.assertIn(run.returncode, (0, *statuses), run.stderr)
        if run.returncode != 0:
            self.assertTrue(run.stderr.startswith("svcheck: "), run.stderr)
            self.assertGreater(len(run.stderr), 30, run.stderr)


def main():
    unittest.main(argv=sys.argv[:1])
