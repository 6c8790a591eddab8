"""The rules for alerts in docs/monitoring.md, played over ten days of checks by promtool."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PAGE = pathlib.Path(sys.argv[1]).resolve() / "docs" / "monitoring.md"
SKIPPED = 77
STEP = 5  # Minutes between two samples; Prometheus takes a sample for as long.
HOUR = 60 // STEP
DAY = 24 * HOUR
DAYS = 10
LABELS = 'instance="web-01",job="node"'
OLD = 90 * 86400


def rules():
    found, = re.findall(r"(?ms)^```yaml\n(groups:.*?)^```$", PAGE.read_text())
    return found


class Checks:
    """What the file of a machine says, sample by sample, whose check runs at the start of a day."""

    def __init__(self, outdated=lambda day: 3, failing=(), age=lambda day: 1000, nothing=()):
        success, counts = "_", ("_", "_")
        self.series = {name: [] for name in (
            'records{verdict="outdated",', "compared_records{", "success{",
            "last_success_timestamp_seconds{", "catalogue_age_seconds{")}
        for day in range(DAYS):
            # As the program writes them: a failed check keeps what was counted before it, and says
            # no age of what could not be read.
            failed = day in failing
            if not failed:
                counts = (0, 0) if day in nothing else (outdated(day), 7)
                success = success if day in nothing else day * 86400
            values = (*counts, int(not failed and day not in nothing), success,
                      "_" if failed else age(day))
            for name, value in zip(self.series, values):
                self.series[name].append(value)

    def as_input(self):
        for name, days in self.series.items():
            values = " ".join(f"_x{DAY}" if value == "_" else f"{value}+0x{DAY - 1}"
                              for value in days)
            yield {"series": f"svcheck_{name}{LABELS}}}", "values": values}


SUMMARIES = {
    "UpdatesOutstanding": "web-01: 3 updates outstanding for a week",
    "UpdateCheckFails": "web-01: no check went well for three days, or ever",
    "UpdateCheckComparesNothing":
        "web-01: nothing could be compared; is the catalogue for this machine?",
    "UpdateCatalogueOld": "web-01: the catalogue is older than 90 days"}


def days(number):
    """In minutes."""
    return number * 24 * 60


class Alerts(unittest.TestCase):
    def play(self, checks, expected):
        """`expected`: of each alert whether it fires so many minutes after the start."""
        cases = [{"eval_time": f"{minutes}m", "alertname": alert,
                  "exp_alerts": [self.alert(alert)] if fires else []}
                 for alert, times in expected.items() for minutes, fires in times.items()]
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            (place / "rules.yml").write_text(rules())
            # What is JSON is YAML.
            (place / "test.yml").write_text(json.dumps({
                "rule_files": ["rules.yml"], "evaluation_interval": "5m",
                "tests": [{"interval": f"{STEP}m", "input_series": list(checks.as_input()),
                           "alert_rule_test": cases}]}))
            result = subprocess.run(["promtool", "test", "rules", "test.yml"], cwd=place, text=True,
                                    capture_output=True, timeout=300)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    @staticmethod
    def alert(name):
        labels = {"instance": "web-01", "job": "node"}
        if name == "UpdatesOutstanding":
            labels["verdict"] = "outdated"
        return {"exp_labels": labels, "exp_annotations": {"summary": SUMMARIES[name]}}

    def test_a_day_of_failures_does_not_start_the_week_again(self):
        for failing in ((), (4,), (1,), (6,)):
            with self.subTest(failing):
                self.play(Checks(failing=failing), {
                    "UpdatesOutstanding": {0: False, days(7) - STEP: False, days(7): True,
                                           days(8): True, days(10) - STEP: True},
                    "UpdateCheckFails": {days(day): False for day in range(DAYS)},
                    "UpdateCatalogueOld": {days(day): False for day in range(DAYS)}})

    def test_an_alert_outlives_a_day_of_failures_and_ends_with_the_update(self):
        self.play(Checks(outdated=lambda day: 3 if day < 9 else 0, failing=(8,)), {
            "UpdatesOutstanding": {days(7): True, days(8): True, days(9) - STEP: True,
                                   days(9) + 60: False}})

    def test_an_update_within_the_week_raises_none(self):
        self.play(Checks(outdated=lambda day: 3 if day < 6 else 0, failing=(3,)), {
            "UpdatesOutstanding": {days(day): False for day in range(DAYS)}})

    def test_a_check_that_fails_for_more_than_three_days_is_told(self):
        self.play(Checks(failing=range(2, 8)), {
            "UpdateCheckFails": {days(2): False, days(4): False, days(4) + STEP: True,
                                 days(8) - STEP: True, days(8): False},
            "UpdatesOutstanding": {days(7) - STEP: False, days(7): True, days(10) - STEP: True}})

    def test_a_check_that_never_went_well_is_told(self):
        self.play(Checks(failing=range(DAYS)), {
            "UpdateCheckFails": {0: True, days(3): True, days(9): True},
            "UpdateCheckComparesNothing": {days(9): False},
            "UpdatesOutstanding": {days(9): False}})

    def test_one_that_fails_until_the_third_day_is_told_until_then(self):
        self.play(Checks(failing=range(2)), {
            "UpdateCheckFails": {0: True, days(2) - STEP: True, days(2): False, days(5): False}})

    def test_one_that_compares_nothing_is_told_and_is_no_success(self):
        self.play(Checks(nothing=range(4, 9)), {
            "UpdateCheckComparesNothing": {days(4) - STEP: False, days(4) + 30: False,
                                           days(4) + 60: True, days(9) - STEP: True,
                                           days(9) + STEP: False},
            "UpdateCheckFails": {days(5): False, days(6): False, days(6) + STEP: True,
                                 days(9) - STEP: True, days(9): False},
            "UpdatesOutstanding": {days(7): False, days(10) - STEP: False}})

    def test_a_day_of_failures_does_not_hide_that_nothing_is_compared(self):
        self.play(Checks(nothing=range(4, 9), failing=(6,)), {
            "UpdateCheckComparesNothing": {days(6) + 60: True, days(7): True, days(9) + STEP: False}})

    def test_an_old_catalogue_is_told_on_a_day_of_failures_too(self):
        self.play(Checks(age=lambda day: OLD + (1 if day >= 4 else 0), failing=(6,)), {
            "UpdateCatalogueOld": {days(4) - STEP: False, days(4) + 60: True, days(6): True,
                                   days(7) - STEP: True, days(9): True}})


if __name__ == "__main__":
    if not shutil.which("promtool"):
        print("skipped: promtool is not installed (package prometheus)")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
