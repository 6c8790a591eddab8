"""`svcheck report`, `svcheck diff` and waivers: saved reports shown again, compared, accepted."""

import json
import subprocess
import tomllib

from program import SAMPLE, MACHINE, SYSTEM, ProgramTest, bios, element, main

FORMATS = ("table", "json", "ndjson", "csv", "html", "junit", "nagios", "prometheus",
           "cyclonedx", "sarif")
WAIVERS = """# Until the next window.
[[waiver]]
type = "firmware"
name = "System *"     # BIOS and UEFI
offered = "YUE1*"
reason = "window in January"
expires = 2999-01-31

[[waiver]]
name = 'megaraid_sas'
reason = "vendor \\"hold\\""
expires = 2020-01-01
"""


class ReportTest(ProgramTest):
    def check(self, *arguments, name="report.json", status=0):
        result = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                  SAMPLE / "catalogue", "--format", "json", "--output", name,
                                  *arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        return self.folder / name

    def change(self, name, change):
        report = json.loads(self.check(name=name).read_text())
        change(report["records"])
        return self.write(name, json.dumps(report))

    def failed_report(self):
        self.run_program("check", "--inventory", self.inventory(), "--catalogue", "none", "--format",
                         "json", "--output", "failed.json")
        return self.folder / "failed.json"


class SavedReport(ReportTest):
    def test_it_is_shown_again_as_the_check_showed_it(self):
        saved = self.check()
        again = self.run_program("report", saved, "--format", "json")
        self.assertEqual((again.returncode, again.stderr), (0, ""))
        self.assertEqual(again.stdout, saved.read_text())
        with open(saved, "rb") as stream:
            piped = self.run_program("report", "-", "--format", "json", stdin=stream)
        self.assertEqual(piped.stdout, saved.read_text())

    def test_it_is_shown_in_every_format(self):
        saved = self.check()
        for form in FORMATS:
            with self.subTest(form):
                result = self.run_program("report", saved, "--format", form)
                self.assertEqual((result.returncode, result.stderr), (int(form == "nagios"), ""))
                self.assertIn("9 updates to install" if form == "html" else "10"
                              if form in ("table", "nagios", "prometheus", "junit", "ndjson")
                              else "YUE112A", result.stdout)

    def test_a_condition_and_a_width_hold_for_it_as_well(self):
        saved = self.check()
        self.assertEqual(self.run_program("report", saved, "--fail-on", "outdated").returncode, 2)
        narrow = self.run_program("report", saved, "--width", "60").stdout.splitlines()
        self.assertTrue(all(len(line) <= 60 for line in narrow[3:-2]), narrow)
        self.assertEqual(self.run_program("report", saved, "--width", "terminal").stdout,
                         self.run_program("report", saved).stdout)
        self.assert_failed(self.run_program("report", saved, "--width", "wide"), 64, "wide")

    def test_one_of_a_check_that_failed_fails_again(self):
        failed = self.failed_report()
        for form, status in (("table", 4), ("json", 4), ("nagios", 3)):
            result = self.run_program("report", failed, "--format", form)
            self.assert_failed(result, status, "failed.json", "no catalogue", "--catalogue")
        self.assertTrue(self.run_program("report", failed).stdout.endswith(
            "NOT CHECKED: There is no catalogue at that place.\n"))

    def test_what_is_no_report_is_refused(self):
        whole = self.check().read_text()
        for name, text, word in (("cut", whole[:300], "line "), ("list", "[]", "schema"),
                                 ("foreign", '{"schema":"x"}', 'schema "x"'), ("empty", "", "JSON"),
                                 ("later", whole.replace('"schema": 1', '"schema": 2'), "schema 2"),
                                 ("bytes", b"\xff\x00" * 50, "JSON"),
                                 ("record", whole.replace('"verdict":"outdated"', '"verdict":7', 1),
                                  "records[0].verdict")):
            with self.subTest(name):
                path = self.write(f"{name}.json", text)
                for command in (["report", path], ["diff", path, path]):
                    self.assert_failed(self.run_program(*command), 1, f"{name}.json", word,
                                       "svcheck check --format json")
        self.assert_failed(self.run_program("report", "none.json"), 1, "none.json")
        self.assert_failed(self.run_program("report", self.folder), 1, "folder")
        self.assert_failed(self.run_program("report"), 64)


class Diff(ReportTest):
    def test_it_tells_what_changed(self):
        def change(records):
            records[0].update(InstalledVersion="YUE112A", verdict="current")
            records.append({**records[1], "Name": "New one"})
            del records[1]
        old, new = self.check(), self.change("new.json", change)
        result = self.run_program("diff", old, new, "--fail-on", "none")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("YUE110B → YUE112A", result.stdout)
        self.assertIn("outdated → current", result.stdout)
        self.assertTrue(result.stdout.endswith(
            "1 changed, 1 added, 1 removed; 19 records are the same.\n"), result.stdout)
        told = json.loads(self.run_program("diff", old, new, "--format", "json").stdout)
        self.assertEqual(told["summary"], {"changed": 1, "added": 1, "removed": 1, "same": 19})
        self.assertEqual([(change["change"], change["Name"]) for change in told["changes"]],
                         [("changed", "System BIOS"), ("added", "New one"),
                          ("removed", "System UEFI")])
        self.assertEqual(told["old"]["file"], str(old))

    def test_its_condition_is_about_what_became_so(self):
        def worse(records):
            records[14]["verdict"] = "outdated"
        old, new = self.check(), self.change("new.json", worse)
        for arguments, status in (((old, new, "--fail-on", "outdated"), 2), ((old, new), 0),
                                  ((old, new, "--fail-on", "different"), 2),
                                  ((new, old, "--fail-on", "different"), 0),
                                  ((new, new, "--fail-on", "outdated"), 0)):
            self.assertEqual(self.run_program("diff", *arguments).returncode, status, arguments)
        self.assertIn("Nothing changed: 21 records are the same.",
                      self.run_program("diff", old, old).stdout)

    def test_a_check_that_did_not_take_place_is_not_compared(self):
        good, failed = self.check(), self.failed_report()
        for pair in ((good, failed), (failed, good)):
            result = self.run_program("diff", *pair)
            self.assert_failed(result, 4, "failed.json", "did not take place")
            self.assertEqual(result.stdout, "")


class Waivers(ReportTest):
    def test_records_are_shown_as_waived_and_counted_apart(self):
        waivers = self.write("waivers.toml", WAIVERS)
        self.assertEqual(len(tomllib.loads(WAIVERS)["waiver"]), 2)
        result = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                  SAMPLE / "catalogue", "--waivers", waivers)
        self.assert_failed(result, 0, "waivers.toml:9:", "megaraid_sas", "expired on 2020-01-01")
        self.assertIn("outdated (waived: window in January)", result.stdout)
        self.assertIn('outdated (waiver expired 2020-01-01: vendor "hold")', result.stdout)
        self.assertIn("8 outdated, 3 unknown, 3 newer, 5 current, 2 waived; 1 waiver has expired.\n",
                      result.stdout)

    def test_they_apply_to_a_saved_report_and_stay_in_it(self):
        waivers = self.write("waivers.toml", WAIVERS)
        plain, waived = self.check(), self.check("--waivers", waivers, name="waived.json")
        again = self.run_program("report", plain, "--waivers", waivers, "--format", "json")
        records = json.loads(waived.read_text())["records"]
        self.assertEqual(json.loads(again.stdout)["records"], records)
        self.assertEqual(records[0]["waived"],
                         {"reason": "window in January", "expires": "2999-01-31"})
        none = self.write("none.toml", "# Nothing any more.\n")
        report = json.loads(self.run_program("report", waived, "--waivers", none, "--format",
                                             "json").stdout)
        self.assertEqual((report["summary"]["waived"], report["summary"]["outdated"]), (0, 10))

    def test_what_is_waived_makes_no_condition_hold(self):
        machine = ["--inventory", self.inventory(MACHINE, SYSTEM, bios("YUE110B")), "--catalogue",
                   self.catalogue(element(description="BIOS Update", Version="1.1-[YUE112A]-"))]
        every = self.write("every.toml", "[[waiver]]\nname = '*'\nreason = 'agreed'\n")
        for more, status in ([], 2), (["--waivers", every], 0):
            for condition in ("outdated", "different"):
                result = self.run_program("check", *machine, "--fail-on", condition, *more)
                self.assertEqual(result.returncode, status, result.stdout)

    def test_a_broken_file_is_refused_with_file_and_line(self):
        saved = self.check()
        for text, line, word in (("[[waiver]]\nnane = 'x'\n", 2, "nane"),
                                 ("\n[[waiver]]\nname = 'x'\n", 2, "reason"),
                                 ("[[waiver]]\nexpires = 2027-02-30\n", 2, "2027-02-30"),
                                 ("[[waiver]]\nname = x\n", 2, "quotation marks")):
            with self.subTest(text):
                waivers = self.write("bad.toml", text)
                result = self.run_program("report", saved, "--waivers", waivers)
                self.assert_failed(result, 1, f"bad.toml:{line}: ", word)
                self.assertEqual(result.stdout, "")
                checked = self.run_program(
                    "check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                    SAMPLE / "catalogue", "--waivers", waivers, "--format", "json")
                self.assert_failed(checked, 1, f"bad.toml:{line}: ", word)
                self.assertEqual(json.loads(checked.stdout)["outcome"], "failed")
        self.assert_failed(self.run_program("report", saved, "--waivers", "none.toml"), 1,
                           "none.toml")


class Progress(ReportTest):
    def test_it_names_the_phases_and_leaves_an_empty_line(self):
        result = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                  SAMPLE / "catalogue", "--progress", "always")
        # Read as text, each carriage return is a line end.
        phases = [line.strip() for line in result.stderr.splitlines() if line.strip()]
        self.assertEqual(phases[0], "Reading the inventory")
        self.assertRegex(phases[1], r"^Loading the catalogue, \d+(\.\d)? KiB$")
        self.assertEqual(phases[2:], ["Comparing"])
        self.assertTrue(result.stderr.endswith("\n"))
        quiet = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                 SAMPLE / "catalogue", stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE)
        self.assertEqual(quiet.stderr, "")


if __name__ == "__main__":
    main()
