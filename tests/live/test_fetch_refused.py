"""`svcheck catalogue fetch` that is refused, fails or is interrupted, and what stays then."""

import os
import signal
import subprocess
import sys
import time
import unittest

from fault_server import FaultServer, slow
from test_fetch import SAMPLE, SVCHECK, FetchTest, description, update
from usual_signals import usual_signals


class Refused(FetchTest):
    def test_an_older_catalogue_stays_when_something_is_refused(self):
        server = self.serve()
        self.fetch(server.address)
        before = self.tree()
        entry = self.repository.add("new.xml", description(update("new")))
        good = dict(entry)
        for change, publish, *words in (
                ({}, {"serial": 6}, "serial 6", "serial 7"),
                ({}, {"expires": "2020-01-01T00:00:00Z"}, "2020-01-01"),
                ({}, {"schema": 2}, "schema"),
                ({"name": "../x.xml"}, {}, "plain file name"),
                ({"path": "../x.xml"}, {}, "below the repository"),
                ({"sha256": "0" * 64}, {}, "new.xml", "SHA-256"),
                ({"size": 5}, {}, "new.xml", "bytes"),
                ({"size": 10**12}, {}, "new.xml", "bytes"),
                ({"path": "files/gone.xml"}, {}, "404")):
            with self.subTest(change, publish=publish):
                entry.update(good, **change)
                self.repository.publish(**{"serial": 7, **publish})
                result = self.fetch(server.address, status=4)
                for word in words:
                    self.assertIn(word, result.stderr)
                self.assertEqual(self.tree(), before)
        entry.update(good)
        for content, word in ((b"<CIM>", "new.xml:1"), (b"", "new.xml"),
                              (description('<INSTANCE CLASSNAME="None"/>'), "None"),
                              (description(update("x")).replace(b"4.02", b"4.01"), "4.02")):
            with self.subTest(content):
                self.repository.entries.pop()
                self.repository.add("new.xml", content)
                self.repository.publish()
                self.assertIn(word, self.fetch(server.address, status=4).stderr)
                self.assertEqual(self.tree(), before)

    def test_signatures(self):
        server = self.serve()
        self.repository.signature.write_text(self.repository.signature.read_text()[::-1])
        self.fetch(server.address, status=4)
        self.repository.signature.unlink()
        self.assertIn("not signed", self.fetch(server.address, status=4).stderr)
        self.assertFalse(self.catalogue.exists())
        command = self.command(server.address)
        at = command.index("--repository-key")
        command[at:at + 2] = ["--allow-unsigned"]
        self.run_command(command)
        self.assertEqual(self.listed(), ["a", "b", "c"])

    def test_command_lines(self):
        self.assertIn("--repository", self.run_command(
            [SVCHECK, "catalogue", "fetch", "--output", str(self.catalogue)], 64).stderr)
        self.assertIn("--allow-unsigned", self.run_command(
            [SVCHECK, "catalogue", "fetch", "--output", str(self.catalogue), "--repository",
             "http://127.0.0.1:1"], 64).stderr)
        self.fetch("http://127.0.0.1:1", "--machine", "", status=64)
        self.fetch("http://127.0.0.1:1", "--max-age", "-1", status=64)
        nothing = self.serve().address + "/nothing"
        self.assertEqual(self.fetch(nothing, status=4).stdout, "")
        self.fetch("ftp://127.0.0.1:1", status=4)
        self.assertFalse(self.catalogue.exists())

    def test_a_pipe_in_the_place_of_a_catalogue_is_not_waited_for(self):
        self.catalogue.mkdir()
        os.mkfifo(self.catalogue / "index.xml")
        nothing = self.serve().address + "/nothing"
        self.assertIn(nothing, self.fetch(nothing, "--max-age", "2", status=4).stderr)

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

    def test_a_live_check_on_another_system_names_the_command(self):
        inventory = self.work / "debian.xml"
        text = (SAMPLE / "inventory.xml").read_text()
        build = next(line for line in text.splitlines() if 'NAME="BuildID"' in line)
        inventory.write_text(text.replace(build, '<PROPERTY NAME="BuildID" TYPE="string"><VALUE>'
                                                 "Debian GNU/Linux 12</VALUE></PROPERTY>"))
        process = self.run_command(
            [SVCHECK, "check", "--live", "--repository", "http://127.0.0.1:1", "--repository-key",
             self.keys.public, "--inventory", str(inventory)], 1)
        self.assertIn("Live checks do not know this operating system", process.stderr)
        self.assertIn("svcheck catalogue fetch --repository URL --output DIR", process.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
