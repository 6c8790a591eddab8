"""What the machine itself may do to a download."""

import os
import random
import signal
import subprocess
import time
import unittest

from fault_server import FaultServer, slow, whole
from support import LiveTest, Nginx, Result

KILLS = 50


class Machine(LiveTest):
    def serve(self, **options):
        server = Nginx(self.server_folder, self.repository.folder, **options)
        self.addCleanup(server.stop)
        return server

    def fault_server(self):
        server = FaultServer(self.repository)
        self.addCleanup(server.stop)
        return server

    def test_killed_at_any_moment(self):
        for number in range(8):
            self.repository.add(f"{number}.xml", bytes([number]) * 300_000)
        self.repository.publish()
        address = self.serve(more="limit_rate 4m;").address
        chance = random.Random(4620)
        for _ in range(KILLS):
            for path in self.folder.glob("*"):
                if chance.random() < 0.5:
                    path.unlink()
            process = self.start(address)
            time.sleep(chance.uniform(0, 0.2))
            process.kill()
            process.communicate()
            self.assert_whole()
        result = self.download(address)
        self.assertEqual((result.code, result.stderr), (0, ""))
        self.assertEqual(self.present(), self.repository.contents)

    def test_two_downloads_at_once_wait_for_each_other(self):
        self.repository.add("one.xml", b"<one/>" * 20000)
        self.repository.publish()
        server = self.serve(more="limit_rate 200k;")
        both = [self.start(server.address) for _ in range(2)]
        for process in both:
            output, error = process.communicate(timeout=30)
            self.assertEqual((process.returncode, error), (0, ""))
            self.assertIn('"return":0', output)
        self.assertEqual(sum("one.xml" in line for line in server.requests()), 1)
        self.assertEqual(self.present(), self.repository.contents)

    def test_waiting_for_another_download_has_an_end(self):
        self.repository.add("one.xml", b"<one/>" * 100)
        self.repository.publish()
        server = self.fault_server()
        server.faults["files/one.xml"] = slow(server)
        first = self.start(server.address, stall=20000)
        while not any("one.xml" in path for path, _ in server.requests):
            time.sleep(0.01)
        second = self.start(server.address, lock=200)
        output, error = second.communicate(timeout=30)
        self.assertIn('"return":42', output)
        self.assertIn("SV.lock", error)
        first.kill()
        first.communicate()

    def test_stops_within_a_second_when_told_to(self):
        self.repository.add("one.xml", b"<one/>" * 100)
        self.repository.publish()
        server = self.fault_server()
        server.faults["files/one.xml"] = slow(server)
        process = self.start(server.address, stall=20000)
        while not any("one.xml" in path for path, _ in server.requests):
            time.sleep(0.01)
        begin = time.monotonic()
        process.send_signal(signal.SIGINT)
        process.stdout, process.stderr = process.communicate(timeout=30)
        self.assertLess(time.monotonic() - begin, 1)
        self.assert_refused(Result(process), 50, "stopped")
        self.assertFalse(self.folder.with_name("SV.part").exists())

    def test_stops_while_it_pauses_and_while_it_waits(self):
        self.repository.publish()
        server = self.fault_server()
        server.faults["sv-repository.json"] = whole
        self.repository.manifest.unlink()
        process = self.start("http://127.0.0.1:9", firstPause=20000)
        time.sleep(0.5)
        process.send_signal(signal.SIGINT)
        output, _ = process.communicate(timeout=2)
        self.assertIn('"return":50', output)

    def mounted(self, script, **changes):
        """Runs a download where a script may mount; what it leaves is looked at from inside."""
        namespace = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])
        probe = subprocess.run([*namespace, "mount", "-t", "tmpfs", "none", "/mnt"],
                               capture_output=True)
        if probe.returncode:
            self.skipTest("this machine lets nobody mount")
        script += '; "$@"; status=$?; find . -type f -not -name "*.lock" >&2; exit $status'
        return self.download(self.serve().address, **changes,
                             prefix=[*namespace, "sh", "-c", f"cd '{self.work}'; {script}", "sh"])

    def test_a_full_disk(self):
        self.repository.add("big.xml", b"x" * 3_000_000)
        self.repository.publish()
        (self.work / "small").mkdir()
        self.folder = self.work / "small" / "SV"
        result = self.mounted("mount -t tmpfs -o size=1m none small && cd small",
                              stall=10000)
        self.assertEqual(result.code, 41, result.stderr)
        self.assertEqual(len(result.stderr.splitlines()), 1, "something is left: " + result.stderr)
        self.assertIn("No space left on device; make room there", result.stderr)

    def test_a_folder_that_is_a_file_system_of_its_own(self):
        self.repository.add("one.xml", b"one")
        self.repository.publish()
        self.folder.mkdir(parents=True)
        result = self.mounted("mount -t tmpfs none downloads/SV && cd downloads")
        self.assertEqual(result.code, 40, result.stderr)
        self.assertEqual(len(result.stderr.splitlines()), 1, "something is left: " + result.stderr)
        self.assertIn("mount the parent folder instead", result.stderr)

    def test_a_file_where_a_folder_should_be(self):
        self.repository.publish()
        self.folder.parent.write_text("in the way")
        result = self.start(self.serve().address)
        output, error = result.communicate()
        self.assertIn('"return":40', output)
        self.assertIn("cannot be written: Not a directory", error)

    def test_a_state_folder_that_cannot_be_made(self):
        self.repository.add("one.xml", b"one")
        self.repository.publish()
        (self.work / "state").write_text("in the way")
        self.assert_refused(self.download(self.serve().address), 43, "accepted last")


if __name__ == "__main__":
    unittest.main()
