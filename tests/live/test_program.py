"""Live queries and checks of the program, from a repository that it published itself."""

import json
import os
import subprocess
import sys
import unittest
from pathlib import Path

from fault_server import FaultServer, slow, status
from support import LiveTest, Nginx, clean_environment

SOURCE = Path(__file__).resolve().parents[2]
sys.path.append(str(SOURCE / "tests" / "support"))
from report_schema import read_report  # noqa: E402

SVCHECK = os.environ["SVCHECK"]
SAMPLE = SOURCE / "data" / "sample"


class Program(LiveTest):
    def setUp(self):
        super().setUp()
        content = (SAMPLE / "catalogue" / "index.xml").read_bytes()
        self.repository.contents["sample.xml"] = content
        (self.repository.folder / "files" / "sample.xml").write_bytes(content)
        folder = str(self.repository.folder)
        self.svcheck("repository", "build", folder)
        self.svcheck("repository", "sign", folder, "--secret-key", self.keys.secret)
        self.folder = self.work / "drives" / "c" / "QRX_Support" / "SV"

    def svcheck(self, *arguments, status=0):
        process = subprocess.run([SVCHECK, *arguments], capture_output=True, text=True,
                                 env=clean_environment(HOME=str(self.work)))
        self.assertEqual(process.returncode, status, process.stderr + process.stdout)
        return process

    def serve(self):
        server = Nginx(self.server_folder, self.repository.folder)
        self.addCleanup(server.stop)
        return server.address

    def live(self, address):
        return ["--repository", address, "--repository-key", self.keys.public,
                "--drive-root", str(self.work / "drives"),
                "--inventory", str(SAMPLE / "inventory.xml")]

    def query(self, address, *more):
        return self.svcheck("query", "--context", "svPath=_live_", *self.live(address), *more)

    def test_a_live_query_delivers_what_the_folder_query_delivers(self):
        live = [json.loads(line) for line in self.query(self.serve()).stdout.splitlines()
                if line.startswith("{")]
        self.assertGreater(len(live), 0)
        self.assertEqual(self.present(), self.repository.contents)
        folder = self.svcheck("query", "--context", f"svPath={SAMPLE / 'catalogue'}",
                              "--inventory", str(SAMPLE / "inventory.xml")).stdout
        for record in live:
            self.assertIn(json.dumps(record["Name"]), folder)

    def test_a_failed_download_ends_the_query_with_its_number(self):
        self.repository.signature.unlink()
        log = self.work / "log"
        process = self.query(self.serve(), "--log", str(log))
        self.assertIn("Warning: Cannot reach server", process.stdout)
        self.assertIn("svcheck: download: the repository is not signed", process.stderr)
        self.assertIn("SV download failed, return value: 30", log.read_text())

    def test_a_check_says_why_the_download_failed(self):
        self.repository.signature.unlink()
        process = self.svcheck("check", "--live", "--format", "json", *self.live(self.serve()),
                               status=4)
        report = read_report(process.stdout)
        self.assertTrue(any("not signed" in error for error in report["errors"]), report)

    def test_offline_uses_what_was_downloaded_before(self):
        address = self.serve()
        before = self.query(address).stdout
        after = self.query("http://127.0.0.1:1", "--offline")
        self.assertEqual((after.stdout, after.stderr), (before, ""))

    def check(self, address, *more):
        process = self.svcheck("check", "--live", "--format", "json", *self.live(address), *more)
        return read_report(process.stdout)["errors"], process.stderr

    def test_offline_says_that_nothing_was_verified(self):
        address = self.serve()
        self.assertEqual(self.check(address), ([], ""))
        errors, stderr = self.check("http://127.0.0.1:1", "--offline")
        self.assertEqual(errors, [f"nothing was verified now, being offline: {self.folder} counts as "
                                  "it is"])
        self.assertEqual(stderr, "")
        table = self.svcheck("check", "--live", "--offline", *self.live(address)).stdout
        self.assertIn("nothing was verified now", table)

    def test_the_catalogue_is_as_old_as_its_newest_file(self):
        self.query(self.serve())
        (self.folder / "older.txt").write_text("no description")
        for days, name in enumerate(sorted(os.listdir(self.folder)), 1):
            os.utime(self.folder / name, (days * 86400, days * 86400))
        newest = self.folder / "sample.xml"
        os.utime(newest, (31 * 86400, 31 * 86400))
        process = self.svcheck("check", "--live", "--offline", "--format", "json",
                               *self.live("http://127.0.0.1:1"))
        self.assertEqual(read_report(process.stdout)["catalogue"]["modified"],
                         "1970-02-01T00:00:00Z")

    def test_what_the_repository_does_not_offer_any_more_is_said(self):
        address = self.serve()
        self.assertEqual(self.check(address), ([], ""))
        (self.repository.folder / "files" / "sample.xml").rename(
            self.repository.folder / "files" / "newer.xml")
        folder = str(self.repository.folder)
        self.svcheck("repository", "build", folder)
        self.svcheck("repository", "sign", folder, "--secret-key", self.keys.secret)
        remark = (f"the repository does not offer sample.xml, which {self.folder} holds and which "
                  "counts")
        advice = "what was withdrawn or superseded is removed from there by hand"
        self.assertEqual(self.check(address), ([f"{remark}; {advice}"],
                                               f"svcheck: {remark}; {advice}\n"))
        doctor = subprocess.run([SVCHECK, "doctor", "--format", "json", "--repository", address,
                                 "--allow-unsigned", "--drive-root", str(self.work / "drives")],
                                capture_output=True, text=True,
                                env=clean_environment(HOME=str(self.work)))
        finding, = [row for row in json.loads(doctor.stdout)["findings"]
                    if row["subject"] == "repository"]
        self.assertEqual(finding["state"], "warning")
        self.assertTrue(finding["text"].endswith(remark), finding)
        self.assertEqual(finding["advice"], advice)
        (self.folder / "sample.xml").unlink()
        self.assertEqual(self.check(address), ([], ""))

    def test_a_link_in_a_files_place_is_replaced_and_any_other_counts_and_is_said(self):
        self.folder.mkdir(parents=True)
        elsewhere = self.work / "elsewhere.xml"
        elsewhere.write_bytes(self.repository.contents["sample.xml"])
        (self.folder / "sample.xml").symlink_to(elsewhere)
        (self.folder / "link.xml").symlink_to(elsewhere)
        errors, stderr = self.check(self.serve())
        self.assertEqual(len(errors), 1)
        self.assertIn("does not offer link.xml, which", errors[0])
        self.assertIn("link.xml", stderr)
        self.assertFalse((self.folder / "sample.xml").is_symlink())
        self.assertTrue((self.folder / "link.xml").is_symlink())
        self.assertEqual(elsewhere.read_bytes(), self.repository.contents["sample.xml"])

    def test_a_doctor_asks_a_busy_repository_once_and_says_what_that_answered(self):
        server = FaultServer(self.repository)
        self.addCleanup(server.stop)
        server.faults["sv-repository.json"] = status(503)
        doctor = subprocess.run([SVCHECK, "doctor", "--format", "json", "--repository",
                                 server.address, "--allow-unsigned", "--drive-root",
                                 str(self.work / "drives")],
                                capture_output=True, text=True,
                                env=clean_environment(HOME=str(self.work)))
        finding, = [row for row in json.loads(doctor.stdout)["findings"]
                    if row["subject"] == "repository"]
        self.assertEqual(finding["state"], "problem")
        self.assertIn("503", finding["text"])
        self.assertRegex(finding["advice"], r"^number \d+ of the table in docs/live-mode.md$")
        self.assertEqual([path for path, _ in server.requests], ["sv-repository.json"])

    def test_whom_to_trust_has_to_be_said(self):
        process = self.svcheck("query", "--context", "svPath=_live_", "--repository",
                               "http://127.0.0.1:1", "--inventory", str(SAMPLE / "inventory.xml"),
                               status=64)
        self.assertIn("--repository-key", process.stderr)

    def test_progress_is_shown_when_asked_for(self):
        process = self.svcheck("check", "--live", "--progress", "always", *self.live(self.serve()))
        self.assertIn("Asking the repository", process.stderr)
        self.assertIn("of 1 files", process.stderr)

    def test_a_check_stops_within_a_second(self):
        server = FaultServer(self.repository)
        self.addCleanup(server.stop)
        server.faults["files/sample.xml"] = slow(server)
        process = subprocess.Popen([SVCHECK, "check", "--live", *self.live(server.address)],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                   env=clean_environment(HOME=str(self.work)))
        while not any("sample.xml" in path for path, _ in server.requests):
            self.assertIsNone(process.poll())
        process.terminate()
        process.communicate(timeout=2)
        self.assertNotEqual(process.returncode, 0)
        self.assertEqual(self.present(), {})
        self.assertFalse(self.folder.with_name("SV.part").exists())

    def test_nothing_of_networks_is_loaded_at_the_start(self):
        libraries = subprocess.run(["ldd", SVCHECK], capture_output=True, text=True).stdout
        self.assertIn("libacquire", libraries)
        for name in ("curl", "gcrypt", "ssl"):
            self.assertNotIn(name, libraries)


if __name__ == "__main__":
    unittest.main()
