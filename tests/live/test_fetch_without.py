"""`svcheck catalogue fetch` where nothing comes: a repository out of reach, an interruption."""

import os
import signal
import subprocess
import sys
import time
import unittest

from fault_server import FaultServer, slow
from test_fetch import SVCHECK, Fetching, description, update
from usual_signals import usual_signals


class FetchWithout(Fetching):
    def test_command_lines(self):
        self.assertIn("--repository", self.run_command(
            [SVCHECK, "catalogue", "fetch", "--output", str(self.catalogue)], 64).stderr)
        self.assertIn("--allow-unsigned", self.run_command(
            [SVCHECK, "catalogue", "fetch", "--output", str(self.catalogue), "--repository",
             "http://127.0.0.1:1"], 64).stderr)
        self.fetch("http://127.0.0.1:1", "--machine", "", status=64)
        self.fetch("http://127.0.0.1:1", "--max-age", "-1", status=64)
        self.fetch("http://127.0.0.1:1", status=4)
        self.fetch("ftp://127.0.0.1:1", status=4)
        self.assertFalse(self.catalogue.exists())

    def test_a_pipe_in_the_place_of_a_catalogue_is_not_waited_for(self):
        self.catalogue.mkdir()
        os.mkfifo(self.catalogue / "index.xml")
        told = self.fetch("http://127.0.0.1:1", "--max-age", "2", status=4).stderr
        self.assertIn("127.0.0.1:1", told)

    def test_an_interruption_keeps_the_older_catalogue(self):
        self.fetch(self.serve().address)
        before = self.tree()
        large = description(*(update(f"x{n}") for n in range(2000)))
        entry = self.repository.add("large.xml", large)
        self.repository.publish()
        server = FaultServer(self.repository)
        self.addCleanup(server.stop)
        server.faults[entry["path"]] = slow(server)
        process = subprocess.Popen(self.command(server.address), stderr=subprocess.PIPE, text=True,
                                   env=self.environment(), preexec_fn=usual_signals)
        staged = self.kept(server).with_suffix(".part")
        while not list(staged.glob("*")):
            self.assertIsNone(process.poll())
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        _, error = process.communicate(timeout=20)
        self.assertNotEqual(process.returncode, 0, error)
        self.assertEqual(self.tree(), before)
        self.assertEqual(list(staged.glob("*")), [])
        self.assertEqual([path for path in self.work.rglob("*.svcheck-*")], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
