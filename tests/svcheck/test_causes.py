"""What a failed check gives for its cause: the right one, and once."""

import json
import os
import pty
import select
import shutil
import subprocess
import time
import unittest

from program import DIALECT, PROGRAM, SAMPLE, SANITIZED, SYSTEM, ProgramTest, document, main
from serial_notes import serve_folder

NOBODY = 65534
NO_MACHINE = [SYSTEM]


class CauseTest(ProgramTest):
    def setUp(self):
        super().setUp()
        os.chmod(self.folder, 0o755)
        self.nameless = self.write("nameless.xml", document(NO_MACHINE))
        self.folder_of = shutil.copytree(SAMPLE / "catalogue", self.folder / "catalogue")

    def report(self, *arguments, **more):
        result = self.run_program("check", "--format", "json", *arguments, **more)
        report = json.loads(result.stdout)
        return result, report["outcome"], report["errors"]


@unittest.skipIf(os.geteuid() != 0, "becomes another user")
class Unreadable(CauseTest):
    SENTENCE = "The catalogue cannot be read. "
    ADVICE = "give this user the right to read it"

    def forbid(self, *, folder):
        os.chmod(self.folder_of if folder else self.folder_of / "index.xml", 0)

    def as_nobody(self, *arguments):
        return self.run_program(*arguments, user=NOBODY, group=NOBODY, extra_groups=[])

    def setUp(self):
        super().setUp()
        probe = subprocess.run([PROGRAM, "--help"], user=NOBODY, group=NOBODY, extra_groups=[],
                               capture_output=True, check=False)
        if probe.returncode != 0:
            self.skipTest("nobody but root may come to the program")

    def assert_told(self, *arguments):
        result = self.as_nobody(*arguments)
        self.assert_failed(result, 4, self.SENTENCE, "catalogue/index.xml", "Permission denied",
                           self.ADVICE)
        for wrong in ("There is no catalogue", "not found", "holds index.xml"):
            self.assertNotIn(wrong, result.stdout + result.stderr)
        return result

    def test_is_not_missing(self):
        machine = ["--inventory", SAMPLE / "inventory.xml"]
        for folder in (False, True):
            self.forbid(folder=folder)
            with self.subTest(folder=folder):
                result = self.assert_told("check", "--catalogue", self.folder_of, *machine,
                                          "--format", "json")
                report = json.loads(result.stdout)
                self.assertEqual((report["outcome"], report["errors"][1:]),
                                 ("unreadable-catalogue", [self.ADVICE]))
                self.assert_told("explain", "--catalogue", self.folder_of, *machine)
                self.assert_told("fleet", "--catalogue", self.folder_of, "--inventories",
                                 SAMPLE / "inventory.xml")
                saved = self.write("saved.json", result.stdout)
                self.assert_told("report", saved)

    def test_doctor_names_the_file_once_and_who_may_not_read_it(self):
        for folder in (False, True):
            self.forbid(folder=folder)
            result = self.as_nobody("doctor", "--catalogue", self.folder_of, "--format", "json")
            row = next(row for row in json.loads(result.stdout)["findings"]
                       if row["subject"] == "catalogue")
            self.assertEqual((row["state"], row["advice"]), ("problem", self.ADVICE))
            self.assertIn("Permission denied", row["text"])
            self.assertEqual(row["text"].count("index.xml"), 1, row)

    def test_doctor_tells_of_what_a_user_may_not_read_of_the_machine(self):
        """Also of what alone tells whose machine it is."""
        script = ("mount -t tmpfs none /sys/class && mkdir -p /sys/class/dmi/id && "
                  "cd /sys/class/dmi/id && echo 4638 > product_name && echo S > product_serial && "
                  "chmod 400 product_serial && cd / && exec setpriv --reuid=65534 --regid=65534 "
                  '--clear-groups "$0" doctor --format json')
        result = subprocess.run(["unshare", "-m", "sh", "-c", script, PROGRAM], text=True,
                                env={"HOME": str(self.folder), "PATH": os.environ["PATH"]},
                                capture_output=True, check=False)
        if "mount:" in result.stderr or "unshare:" in result.stderr:
            self.skipTest(result.stderr)
        told = [row for row in json.loads(result.stdout)["findings"]
                if row["subject"] in ("machine", "inventory")]
        self.assertEqual((told[0]["state"], told[0]["text"]), ("good", "type 4638"))
        self.assertIn({"subject": "inventory", "state": "warning", "advice": None,
                       "text": "/sys/class/dmi/id/product_serial: Permission denied (root can read "
                               "it); left out"}, told)

    def test_a_missing_one_stays_missing_to_another_user(self):
        result = self.as_nobody("check", "--catalogue", self.folder / "none", "--inventory",
                                SAMPLE / "inventory.xml")
        self.assert_failed(result, 4, "There is no catalogue at that place.", "holds index.xml")


class SeveralCauses(CauseTest):
    """What is wrong with the catalogue decides the status, whatever else is wrong."""

    BROKEN = {"missing": "no-catalogue", "cut": "unreadable-catalogue",
              "old": "unsupported-catalogue"}

    def setUp(self):
        super().setUp()
        self.write("cut/index.xml", DIALECT + "<CIM>")
        self.write("old/index.xml", document([], DIALECT.replace("4.02", "4.1")))

    def others(self):
        good = ["--inventory", SAMPLE / "inventory.xml"]
        yield ["--inventory", self.nameless], "The inventory does not tell the machine type"
        yield ["--inventory", self.folder / "none.xml"], "none.xml"
        yield [*good, "--plugin", "/none.so"], "/none.so"

    def test_check(self):
        for other, word in self.others():
            for name, expected in self.BROKEN.items():
                with self.subTest(name=name, other=other):
                    result, outcome, errors = self.report("--catalogue", name, *other)
                    self.assert_failed(result, 4, f"{name}/index.xml")
                    self.assertEqual(outcome, expected)
                    self.assertIn(f"{name}/index.xml", errors[0])
                    self.assertTrue(any(word in error for error in errors[1:]), errors)

    def test_the_others_alone_are_status_1(self):
        for other, word in self.others():
            result, outcome, _ = self.report("--catalogue", self.folder_of, *other)
            self.assert_failed(result, 1, word)
            self.assertIn(outcome, ("unknown-machine", "failed"))

    def test_explain(self):
        for other, word in self.others():
            result = self.run_program("explain", "--catalogue", "missing", *other)
            self.assert_failed(result, 4, "missing/index.xml")
            result = self.run_program("explain", "--catalogue", self.folder_of, *other)
            self.assert_failed(result, 1, word)

    def test_without_definitions_a_catalogue_that_is_there_is_not_blamed(self):
        other = ["--inventory", self.nameless, "--data-dir", self.folder]
        self.assertEqual(self.report("--catalogue", self.folder_of, *other)[0].returncode, 1)
        self.assertEqual(self.report("--catalogue", "missing", *other)[0].returncode, 4)

    def test_a_wrong_command_line_stays_one(self):
        for arguments in (["--width", "x"], ["--context", "x"]):
            result = self.run_program("check", "--catalogue", "missing", "--inventory",
                                      self.nameless, *arguments)
            self.assert_failed(result, 64)


class OnATerminal(CauseTest):
    """Standard output and standard error show on one screen."""

    def on_terminal(self, *arguments, error=None):
        ours, theirs = pty.openpty()
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.folder), "LC_ALL": "C",
                       "XDG_STATE_HOME": str(self.folder / "state"), "TERM": "dumb"}
        with subprocess.Popen([PROGRAM, *map(str, arguments)], stdout=theirs,
                              stderr=error or theirs, stdin=theirs, cwd=self.folder,
                              env=environment) as process:
            os.close(theirs)
            shown, deadline = b"", time.monotonic() + 300
            while time.monotonic() < deadline:
                if select.select([ours], [], [], 1)[0]:
                    try:
                        part = os.read(ours, 65536)
                    except OSError:
                        break  # Nobody holds the other end.
                    shown += part
        os.close(ours)
        return process.returncode, shown.decode()

    def assert_once(self, status, words, *arguments):
        found, shown = self.on_terminal(*arguments)
        self.assertEqual(found, status, shown)
        for word in words:
            self.assertEqual(shown.count(word), 1, shown)
        return shown

    def test_a_missing_catalogue(self):
        words = ["none/index.xml", "does not exist", "give the folder that holds index.xml",
                 "There is no catalogue at that place."]
        check = ["check", "--catalogue", "none", "--inventory", SAMPLE / "inventory.xml"]
        shown = self.assert_once(4, words, *check)
        self.assertNotIn("ERROR", shown)
        _, report = self.on_terminal(*check, "--format", "json")
        self.assertNotIn("svcheck: ", report)
        self.assertEqual(json.loads(report[report.index("{"):])["outcome"], "no-catalogue")
        self.assert_once(4, words[:2], *check, "--format", "prometheus")
        self.assert_once(4, words, *check, "--output", "report.txt")
        self.assertIn(words[0], (self.folder / "report.txt").read_text())
        saved = self.run_program(*check, "--format", "json")
        self.write("saved.json", saved.stdout)
        self.assert_once(4, words, "report", "saved.json")

    def test_an_unknown_machine_and_what_the_collector_says(self):
        root = self.folder / "root"
        (root / "proc").mkdir(parents=True)
        self.assert_once(1, ["the machine type is unknown", "MachineType with --inventory",
                             "/proc/modules:"],
                         "check", "--catalogue", self.folder_of, "--root", root)

    def test_a_download_that_fails(self):
        (self.folder / "nothing").mkdir()
        address = serve_folder(self, self.folder / "nothing")
        self.assert_once(4, [f"{address}/sv-repository.json",
                             "The catalogue could not be downloaded."],
                         "check", "--live", "--repository", address,
                         "--allow-unsigned", "--inventory", SAMPLE / "inventory.xml")

    def test_a_standard_error_elsewhere_has_its_line(self):
        with open(self.folder / "errors", "wb") as errors:
            status, shown = self.on_terminal("check", "--catalogue", "none", "--inventory",
                                             SAMPLE / "inventory.xml", error=errors)
        self.assertEqual(status, 4)
        self.assertIn("none/index.xml", shown)
        line = (self.folder / "errors").read_text()
        self.assertEqual(line.count("\n"), 1)
        self.assertIn("none/index.xml", line)

    def test_what_the_report_does_not_say_is_told_on_standard_error(self):
        root = self.folder / "root"
        dmi = root / "sys/class/dmi/id"
        dmi.mkdir(parents=True)
        (dmi / "product_name").write_text("Rackwell 4638 -[4638A2G]-\n")
        _, shown = self.on_terminal("check", "--catalogue", self.folder_of, "--root", root)
        self.assertEqual(shown.count("svcheck: /proc/modules:"), 1, shown)


class Advice(ProgramTest):
    @unittest.skipIf(SANITIZED or shutil.which("strace") is None, "traces the program")
    def test_proc_is_not_to_be_mounted_where_it_is(self):
        absent = ["strace", "-f", "-qq", "-o", "/dev/null", "-P", "/proc/modules", "-e",
                  "trace=openat", "-e", "inject=openat:error=ENOENT"]
        result = subprocess.run([*absent, PROGRAM, "doctor", "--format", "json"], text=True,
                                cwd=self.folder, env={"HOME": str(self.folder)},
                                capture_output=True, timeout=120, check=False)
        row = next(row for row in json.loads(result.stdout)["findings"]
                   if row["subject"] == "running modules")
        self.assertEqual(row["state"], "warning")
        self.assertNotIn("mount", row["advice"])
        self.assertIn("this kernel loads no modules", row["advice"])


if __name__ == "__main__":
    main()
