"""`svcheck doctor`: what a machine can and cannot do."""

import functools
import http.server
import json
import os
import shutil
import threading

from program import ProgramTest, SAMPLE, main


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class BusyHandler(QuietHandler):
    """Has no time for anybody, and no time either to be asked again later."""
    asked = []

    def do_GET(self):
        self.asked.append(self.path)
        self.send_response(503)
        self.send_header("Retry-After", "0")
        self.send_header("Content-Length", "0")
        self.end_headers()


class Doctor(ProgramTest):
    def findings(self, *arguments, env=None):
        result = self.run_program("doctor", "--format", "json", *arguments, env=env)
        self.assertEqual(result.stderr, "")
        report = json.loads(result.stdout)
        problems = [row for row in report["findings"] if row["state"] == "problem"]
        self.assertEqual(len(problems), report["problems"])
        self.assertEqual(result.returncode, 1 if problems else 0)
        for row in report["findings"]:
            self.assertTrue(row["text"])
            self.assertTrue(row["advice"] or row["state"] == "good" or row["subject"] == "inventory",
                            row)
        return {row["subject"]: row for row in report["findings"]}

    def state(self, subject, *arguments, env=None):
        row = self.findings(*arguments, env=env)[subject]
        return row["state"], row["text"]

    def repository(self):
        folder = self.folder / "sv"
        folder.mkdir()
        self.write("sv/a.xml", (SAMPLE / "catalogue" / "index.xml").read_bytes())
        for arguments in (("build", folder),
                          ("keygen", "--no-password", "--repository-key", "k.pub", "--secret-key",
                           "k.sec"), ("sign", folder, "--secret-key", "k.sec")):
            result = self.run_program("repository", *arguments)
            self.assertEqual(result.returncode, 0, result.stderr)
        return self.serve(functools.partial(QuietHandler, directory=folder))

    def serve(self, handler):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return f"http://127.0.0.1:{server.server_port}"

    def test_an_installation_that_is_whole(self):
        found = self.findings()
        self.assertEqual(found["plug-in"]["state"], "good")
        self.assertIn("Sorvane Version Checker 1.0", found["plug-in"]["text"])
        self.assertEqual(found["data folder"]["state"], "good")
        self.assertEqual(found["catalogue"]["state"], "unset")
        self.assertEqual(found["repository"]["state"], "unset")
        for source in ("firmware tables", "management controller", "running modules"):
            self.assertIn(source, found)

    def test_the_table_says_the_same_with_advice(self):
        result = self.run_program("doctor", "--catalogue", "none")
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stdout, r"(?m)^catalogue +problem +.*none/index.xml.*\n +-> ")
        self.assertRegex(result.stdout,
                         r"\n(1 problem|[02-9] problems), (1 warning|\d+ warnings)\.\n$")

    def test_the_catalogue_and_its_age(self):
        state, text = self.state("catalogue", "--catalogue", SAMPLE / "catalogue")
        self.assertEqual(state, "good")
        self.assertIn("16 update elements", text)
        old = self.folder / "old"
        shutil.copytree(SAMPLE / "catalogue", old)
        os.utime(old / "index.xml", (1, 1))
        self.assertEqual(self.state("catalogue", "--catalogue", old)[0], "warning")
        self.write("old/index.xml", "<CIM>")
        self.assertEqual(self.state("catalogue", "--catalogue", old)[0], "problem")
        self.assertEqual(self.state("catalogue", "--catalogue", self.catalogue(instruction=""))[0],
                         "problem")
        self.assertEqual(self.state("catalogue", "--catalogue", self.catalogue())[0], "warning")

    def test_settings_count(self):
        env = {"SVCHECK_CATALOGUE": str(SAMPLE / "catalogue"), "SVCHECK_FORMAT": "html"}
        self.assertEqual(self.state("catalogue", env=env)[0], "good")

    def test_a_broken_installation(self):
        self.assertEqual(self.state("plug-in", "--plugin", self.write("x.so", ""))[0], "problem")
        self.assertEqual(self.state("data folder", "--data-dir", self.folder)[0], "problem")

    def test_a_repository(self):
        address = self.repository()
        asked = ("repository", "--repository", address)
        state, text = self.state(*asked, "--repository-key", "k.pub")
        self.assertEqual((state, text), ("good", f"{address}, reachable, its signature is good"))
        self.assertEqual(self.state(*asked, "--allow-unsigned")[0], "good")
        self.assertEqual(self.state(*asked)[0], "problem")
        self.assertEqual(self.state(*asked, "--repository-key", "none.pub")[0], "problem")
        self.assertEqual(self.state("repository", "--repository", "http://127.0.0.1:1",
                                    "--allow-unsigned")[0], "problem")
        self.assertFalse((self.folder / "state").exists(), "a serial was noted")

    def test_a_repository_that_is_busy_is_asked_once(self):
        BusyHandler.asked.clear()
        state, text = self.state("repository", "--repository", self.serve(BusyHandler),
                                 "--allow-unsigned")
        self.assertEqual(state, "problem", text)
        self.assertIn("503", text)
        self.assertEqual(BusyHandler.asked, ["/sv-repository.json"])


if __name__ == "__main__":
    main()
