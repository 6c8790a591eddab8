"""What goes out beside the formats: raw records, the log, lists of a catalogue; and the options that
say how a report is shown."""

import csv
import io
import json
import pathlib
import re
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "svcheck"))
from odd_report import report  # noqa: E402
from program import (MACHINE, SAMPLE, SOURCE, SYSTEM, ProgramTest, bios, document,  # noqa: E402
                     element, main)

UNSAFE = re.compile("[\0-\x09\x0b-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069]")
NAME = "=\x7f\u009b31m\u202eBIOS"
OFFER = {"name": NAME, "description": "BIOS Update", "Version": "-\x9f1-[YUE112A]-"}
CURRENT = {"Type": "T", "Name": "N", "InstalledVersion": "1", "SVVersion": "1", "verdict": "current"}
OUTDATED = {**CURRENT, "Name": "O", "SVVersion": "2", "verdict": "outdated"}
METRIC = "svcheck_last_success_timestamp_seconds"


class OutputTest(ProgramTest):
    def machine(self):
        return ["--inventory", self.inventory(MACHINE, SYSTEM, bios("YUE\x7f\u009b\u2066110B"))]

    def saved(self, **more):
        return self.write("saved.json", json.dumps(report(**more)))


class TextsOfOthers(OutputTest):
    def test_raw_records_and_the_log_escape_what_a_terminal_obeys(self):
        said = {"fdcp-1.10": "fd\x7f\u009b\u2066cp", "1.7.9": "1\u2069.\u0080\u009f\u00a0"}
        for name in ("inventory.xml", "catalogue/index.xml"):
            text = (SAMPLE / name).read_text()
            for plain, odd in said.items():
                text = text.replace(plain, odd)
            self.write(name, text)
        for place in ("-", "records.ndjson"):
            result = self.run_program(
                "query", "--inventory", "inventory.xml", "--records", place, "--log", "log.json",
                "--context", f"svPath={self.folder / 'catalogue'}")
            self.assertEqual(result.returncode, 0, result.stderr)
            text = result.stdout if place == "-" else (self.folder / place).read_text()
            log = (self.folder / "log.json").read_text()
            self.assertNotRegex(text + log + result.stderr, UNSAFE)
            records = [json.loads(line) for line in text.split("\n")[:-1]]
            self.assertIn(said["1.7.9"], [record["InstalledVersion"] for record in records])
            self.assertIn("1\\u2069.\\u0080\\u009f\u00a0", text)
            messages = [json.loads(line)["message"] for line in log.split("\n")[:-1]]
            self.assertIn(said["fdcp-1.10"], messages)
            self.assertIn("fd\\u007f\\u009b\\u2066cp", log)

    def test_a_list_of_a_catalogue_has_no_formulas_unless_asked(self):
        folder = self.catalogue(element(**OFFER))
        for more, mark in ([], "'"), (["--csv-raw"], ""):
            result = self.run_program("catalogue", "list", folder, "--format", "csv", *more, text=False)
            text = result.stdout.decode()
            self.assertNotRegex(text.replace("\r\n", "\n"), UNSAFE)
            row = next(csv.DictReader(io.StringIO(text, newline=""), strict=True))
            self.assertEqual(row["name"], mark + "=\ufffd\ufffd31m\ufffdBIOS")

    def test_pages_of_a_fleet_show_none_of_it(self):
        self.write("machines/m\u009b1.xml", document([("QRXSG_ComputerSystem", {
            "MachineType": "46\u009b38\u202e"}), SYSTEM]))
        result = self.run_program("fleet", "--catalogue", SAMPLE / "catalogue", "--inventories",
                                  self.folder / "machines", "--output", "results.ndjson",
                                  "--html", "pages")
        self.assertIn(result.returncode, (0, 1), result.stderr)
        page = (self.folder / "pages" / "index.html").read_text()
        self.assertIn("m\ufffd1", page)
        self.assertNotRegex(re.sub(r'href="[^"]*"', "", page), UNSAFE)
        self.assertNotRegex((self.folder / "results.ndjson").read_text(), UNSAFE)


class Documents(OutputTest):
    """What docs/ tells of the outputs, name by name."""

    def test_monitoring_names_every_metric_and_no_other(self):
        text = self.run_program("report", self.saved(osKnown=True, records=[{
            "Type": "T", "Name": "N", "InstalledVersion": "1", "SVVersion": "2",
            "verdict": "outdated"}]), "--format", "prometheus", "--max-age", "1").stdout
        page = (SOURCE / "docs" / "monitoring.md").read_text()
        named = set(re.findall(r"svcheck_[a-z_]*[a-z]", page))
        self.assertEqual(named, set(re.findall("(?m)^# TYPE (.*) gauge$", text)))
        labels = dict(re.findall(r"(?m)^\| `(svcheck_[a-z]+)\{([a-z,]+)\}`", page))
        self.assertEqual(labels, {
            name: ",".join(re.findall(r'([a-z]+)="', re.search(rf"(?m)^{name}\{{(.*)\}}", text)[1]))
            for name in ("svcheck_outdated", "svcheck_info")})

    def test_reports_names_every_format_and_the_members_of_a_difference(self):
        page = (SOURCE / "docs" / "reports.md").read_text()
        table = page[page.index("| format | what"):page.index("The table is as wide")]
        formats = re.findall(r"(?m)^\| `(\w+)`", table)
        refused = self.run_program("report", "x", "--format", "none").stderr
        self.assertIn(f"none of {', '.join(formats)}", refused)
        old = self.saved(records=[{"Type": "T", "Name": "N", "InstalledVersion": "1", "SVVersion": "2",
                                   "verdict": "outdated"}])
        told = json.loads(self.run_program("diff", old, self.write(
            "new.json", json.dumps(report())), "--format", "json").stdout)
        self.assertEqual(list(told), ["schema", "old", "new", "changes", "summary"])
        self.assertEqual(list(told["old"]), ["file", "generated", "machine", "operatingSystem",
                                             "catalogue", "outcome"])
        self.assertEqual(told["changes"], [{
            "change": "removed", "Type": "T", "Name": "N", "new": None,
            "old": {"InstalledVersion": "1", "SVVersion": "2", "verdict": "outdated"}}])
        self.assertEqual(told["summary"], {"changed": 0, "added": 0, "removed": 1, "same": 0})

    def test_every_key_and_condition_of_a_waiver_is_told(self):
        page = (SOURCE / "docs" / "waivers.md").read_text()
        keys = set(re.findall(r"(?m)^\| `(\w+)` \|", page))
        waivers = self.write("bad.toml", "[[waiver]]\nother = 'x'\n")
        refused = self.run_program("report", self.saved(), "--waivers", waivers).stderr
        self.assertEqual(set(re.search("a waiver has (.*)$", refused)[1].split(", ")), keys)


class Options(OutputTest):
    def test_the_raw_form_of_csv_can_be_a_setting(self):
        saved = self.saved(errors=["=1"], outcome="failed")
        for env, cell in ({}, "'=1"), ({"SVCHECK_CSV_RAW": "true"}, "=1"), (
                {"SVCHECK_CSV_RAW": "false"}, "'=1"):
            text = self.run_program("report", saved, "--format", "csv", env=env).stdout
            self.assertTrue(text.splitlines()[-1].startswith(f"Error,{cell},"), text)
        checked = ["check", "--catalogue", self.catalogue(element(**OFFER)), *self.machine(),
                   "--format", "csv"]
        for more, first in ([], "'-"), (["--csv-raw"], "-"):
            rows = list(csv.reader(io.StringIO(self.run_program(*checked, *more).stdout)))
            self.assertIn("YUE\ufffd\ufffd\ufffd110B", rows[1])
        self.assert_failed(self.run_program("diff", saved, saved, "--csv-raw"), 64, "--csv-raw")

    def test_a_width_has_up_to_five_digits(self):
        saved = self.saved()
        for width in ("0", "1", "99999", "00001"):
            self.assertEqual(self.run_program("report", saved, "--width", width).returncode, 0, width)
        for width in ("100000", "-1", "+1", "1.0", "1e3", " 1", "0x10", "2147483648", "4294967297",
                      "18446744073709551617"):
            result = self.run_program("report", saved, f"--width={width}")
            self.assert_failed(result, 64, f"--width {width} is no number of columns")

    def last_success(self, before, **more):
        """The one of metrics written over a file of ours that says `before`; none where it has none."""
        place = self.write("svcheck.prom", f'svcheck_info{{x="y"}} 1\n{METRIC} {before}\n')
        self.run_program("report", self.saved(**more), "--format", "prometheus", "--output", place)
        found = re.search(f"(?m)^{METRIC} (.*)$", place.read_text())
        return found and found[1]

    def test_a_failed_check_keeps_when_one_went_well(self):
        for value in ("1", "1814000000", "2147483648", "4294967303", "9223372036854775807", "-1"):
            self.assertEqual(self.last_success(value, outcome="failed"), value)
        for value in ("0", "9223372036854775808", "18446744073709551617", "1e9", "1 2", "x", ""):
            self.assertIsNone(self.last_success(value, outcome="failed"), value)
        self.assertEqual(self.last_success("17", records=[CURRENT]), "1814313600")
        self.assertEqual(self.last_success("17"), "17", "nothing was compared")
        place = self.write("other.prom", f"{METRIC} 17\n")
        self.run_program("report", self.saved(outcome="failed"), "--format", "prometheus", "--output",
                         place)
        self.assertNotIn(METRIC, place.read_text())

    def test_a_failed_check_keeps_the_counts_of_the_file_that_it_replaces(self):
        place = self.folder / "svcheck.prom"
        shown = {}
        for day, more in enumerate(({"records": [CURRENT, OUTDATED]}, {"outcome": "failed"},
                                    {"outcome": "no-catalogue"}, {"records": [CURRENT]})):
            self.run_program("report", self.saved(**more), "--format", "prometheus", "--output", place)
            shown[day] = dict(re.findall(r"(?m)^(svcheck_[^ ]+|svcheck_outdated\{.*\}) (\d+)$",
                                         place.read_text()))
        counted = {name: value for name, value in shown[0].items()
                   if re.match("svcheck_(records|compared|outdated|last_success)", name)}
        self.assertEqual(counted['svcheck_records{verdict="outdated"}'], "1")
        self.assertGreater(len(counted), 8)
        for day in (1, 2):
            self.assertEqual({name: shown[day].get(name) for name in counted}, counted)
            self.assertEqual(shown[day]["svcheck_success"], "0")
        self.assertEqual(shown[3]["svcheck_success"], "1")
        self.assertEqual(shown[3]['svcheck_records{verdict="outdated"}'], "0")

    def test_conditions_and_states(self):
        def record(verdict, **more):
            return {"Type": "T", "Name": "N", "InstalledVersion": "1", "SVVersion": "2",
                    "verdict": verdict, **more}
        waived = {"waived": {"reason": "r"}}
        expired = {"expiredWaiver": {"reason": "r", "expires": "2026-01-01"}}
        for item, outdated, different, nagios in (
                (record("outdated"), 2, 2, 1), (record("unknown"), 0, 2, 0),
                (record("newer"), 0, 2, 0), (record("current"), 0, 0, 0),
                (record("outdated", **waived), 0, 0, 0), (record("newer", **waived), 0, 0, 0),
                (record("outdated", **expired), 2, 2, 1), (record("unknown", **expired), 0, 2, 0)):
            saved = self.saved(records=[record("current"), item], with_waivers=True)
            for condition, status in (("none", 0), ("outdated", outdated), ("different", different)):
                shown = self.run_program("report", saved, "--fail-on", condition)
                self.assertEqual(shown.returncode, status, (item, condition))
                line = self.run_program("report", saved, "--fail-on", condition, "--format", "nagios")
                self.assertEqual(line.returncode, status or nagios, (item, condition))
                self.assertIn(("OK", "WARNING", "CRITICAL")[line.returncode], line.stdout)

    def test_a_condition_is_a_list(self):
        unknown = {**CURRENT, "verdict": "unknown"}
        newer = {**CURRENT, "verdict": "newer"}
        for records, holding in (([CURRENT], ()), ([CURRENT, OUTDATED], ("outdated",)),
                                 ([CURRENT, unknown], ("unknown",)), ([newer], ("newer",)),
                                 ([unknown], ("unknown", "nothing")), ([], ("nothing",))):
            saved = self.saved(records=records)
            for text in ("outdated", "unknown", "newer", "nothing", "outdated,newer",
                         "nothing,unknown", "outdated,unknown,newer,nothing", "different"):
                names = "outdated,unknown,newer,nothing" if text == "different" else text
                status = 2 if set(names.split(",")) & set(holding) else 0
                shown = self.run_program("report", saved, "--fail-on", text)
                self.assertEqual(shown.returncode, status, (records, text))
        for text, words in (("outdate", '"outdate" is none of'), ("outdated,", '"" is none of'),
                            ("none,outdated", '"none" stands alone'), ("newer, nothing", "none of")):
            self.assert_failed(self.run_program("report", saved, "--fail-on", text), 64, words)

    def test_the_greatest_age_can_be_a_setting(self):
        saved = self.saved(records=[CURRENT])
        for env, status in (({}, 0), ({"SVCHECK_MAX_AGE": "2"}, 1), ({"SVCHECK_MAX_AGE": "3"}, 0)):
            line = self.run_program("report", saved, "--format", "nagios", env=env)
            self.assertEqual(line.returncode, status, line.stdout)
            self.assertEqual("; the catalogue is too old |" in line.stdout, status == 1)
        self.assert_failed(self.run_program("report", saved, "--max-age=-1"), 64, "--max-age")

    def test_a_later_reader_passes_over_members_that_it_does_not_know(self):
        saved = self.saved(later={"a": [1]})
        shown = self.run_program("report", saved, "--format", "json")
        self.assertNotIn("later", json.loads(shown.stdout))

    def check_reports(self, arguments, result):
        """The schema is not what is tested here."""


if __name__ == "__main__":
    main()
