"""`--only` and `--sort` of `svcheck check` and `report`: which records are shown, and in which
order; what they come to stays that of all."""

import csv
import json

from program import SAMPLE, ProgramTest, main, records_of

FORMATS = ("table", "json", "ndjson", "csv", "html", "junit", "nagios", "prometheus", "cyclonedx",
           "sarif")
COUNTS = "10 outdated, 3 unknown, 3 newer, 5 current"


class Selection(ProgramTest):
    def setUp(self):
        super().setUp()
        result = self.check("--output", "report.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.saved = self.folder / "report.json"
        self.whole = json.loads(self.saved.read_text())

    def check(self, *arguments, form="json", **more):
        return self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                SAMPLE / "catalogue", "--format", form, *arguments, **more)

    def show(self, form, *arguments, status=0, **more):
        result = self.run_program("report", self.saved, "--format", form, *arguments, **more)
        self.assertEqual((result.returncode, result.stderr), (status, ""))
        return result.stdout

    def test_records_of_other_verdicts_are_hidden_and_counted(self):
        for only, hidden in (("unknown", 18), ("newer,outdated", 8), ("current", 16),
                             ("outdated,unknown,newer,current", 0)):
            records = [record for record in self.whole["records"]
                       if record["verdict"] in only.split(",")]
            for result in (self.check("--only", only).stdout, self.show("json", "--only", only)):
                told = json.loads(result)
                self.assertEqual((told.pop("hidden"), told["records"]), (hidden, records))
                notices = [f"{hidden} records not shown: --only {only}."] if hidden else []
                self.assertEqual(told["notices"], notices)
                for member in ("state", "outcome", "summary", "notCompared", "installed"):
                    self.assertEqual(told[member], self.whole[member])

    def test_each_format_says_how_many(self):
        sentence = "11 records not shown: --only outdated."
        for form in FORMATS:
            with self.subTest(form):
                status = int(form == "nagios")
                text = self.show(form, "--only", "outdated", status=status)
                if form in ("nagios", "prometheus"):
                    self.assertEqual(text, self.show(form, status=status))
                    continue
                self.assertIn(sentence, text)
                self.assertEqual(("YUE112A" in text, "TG3" in text), (True, False))
        rows = list(csv.reader(self.show("csv", "--only", "outdated").splitlines()))
        self.assertEqual([row[4] for row in rows[1:]], ["outdated"] * 10 + ["notice"])
        lines = records_of(self.show("ndjson", "--only", "outdated"))
        self.assertEqual((len(lines), lines[-1]["hidden"]), (11, 11))
        self.assertTrue(self.show("table", "--only", "newer").splitlines()[-2].startswith(
            f"21 records: {COUNTS}."))

    def test_without_the_options_nothing_is_said(self):
        self.assertNotIn("hidden", self.whole)
        for form in FORMATS:
            status = int(form == "nagios")
            plain = self.show(form, status=status)
            self.assertNotIn("not shown", plain)
            self.assertEqual(self.show(form, "--only", "all", "--sort", "query", status=status),
                             plain)

    def test_conditions_and_monitoring_go_by_all(self):
        for only in ("current", "newer", "outdated"):
            for condition in ("outdated", "unknown", "newer"):
                for command in (["check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                 SAMPLE / "catalogue"], ["report", self.saved]):
                    result = self.run_program(*command, "--only", only, "--fail-on", condition)
                    self.assertEqual((result.returncode, result.stderr), (2, ""))
            result = self.check("--only", only, "--fail-on", "nothing")
            self.assertEqual(result.returncode, 0)
            self.assertIn(f"WARNING - {COUNTS} |",
                          self.show("nagios", "--only", only, status=1))

    def test_records_are_sorted_by_each_key(self):
        def names(*arguments):
            return [record["Name"] for record in
                    json.loads(self.show("json", *arguments))["records"]]
        query = [record["Name"] for record in self.whole["records"]]
        self.assertEqual(names("--sort", "name"), sorted(query, key=str.lower))
        self.assertEqual(names("--sort", "-name"), sorted(query, key=str.lower, reverse=True))
        self.assertEqual(names("--sort", "type"), query[15:] + query[:15])
        self.assertEqual(names("--sort=-type"), query)
        ranks = ["outdated", "unknown", "newer", "current"]
        for key in ("verdict", "-verdict"):
            order = ranks if key == "verdict" else ranks[::-1]
            told = json.loads(self.check("--sort", key).stdout)
            self.assertNotIn("hidden", told)
            self.assertEqual(told["records"], sorted(self.whole["records"], key=lambda record:
                                                     order.index(record["verdict"])))
        drivers = json.loads(self.show("json", "--only", "current,outdated", "--sort",
                                       "type,offered"))["records"][:4]
        self.assertEqual([record["SVVersion"].strip() for record in drivers],
                         ["00.00.04.17", "1.3.10", "1.7.9", "1.9.20"])

    def test_an_unknown_word_is_a_mistake_that_names_those_there_are(self):
        verdicts = ["outdated", "unknown", "newer", "current"]
        keys = ["type", "name", "verdict", "installed", "offered", "-offered"]
        for option, value, words in (("--only", "waived", verdicts),
                                     ("--only", "", ["needs a value"]),
                                     ("--only", "newer,Outdated", verdicts),
                                     ("--only", "all,newer", ["all", "alone"]),
                                     ("--sort", "size", keys), ("--sort", "--name", keys),
                                     ("--sort", "name,query", ["query", "alone"])):
            with self.subTest(option + " " + value):
                for result in (self.check(f"{option}={value}"), self.run_program(
                        "report", self.saved, f"{option}={value}")):
                    self.assert_failed(result, 64, option, *words)
                    self.assertEqual(result.stdout, "")

    def test_they_are_settings_that_the_command_line_sets_aside(self):
        env = {"SVCHECK_ONLY": "newer", "SVCHECK_SORT": "-name"}
        set_so = json.loads(self.show("json", env=env))
        self.assertEqual((set_so["hidden"], [record["Name"] for record in set_so["records"]][0]),
                         (18, "TG3"))
        self.assertEqual(self.show("json", "--only", "all", "--sort", "query", env=env),
                         self.saved.read_text())

    def test_a_report_with_records_left_out_is_not_shown_as_if_it_were_whole(self):
        self.check("--only", "newer", "--output", "some.json")
        for command in (["report", "some.json"], ["diff", "report.json", "some.json"]):
            result = self.run_program(*command)
            self.assert_failed(result, 1, "some.json", "18 of its records", "--only all")
            self.assertEqual(result.stdout, "")


if __name__ == "__main__":
    main()
