"""A check while one call of the C library after another fails: it says so, or does without."""

import errno
import unittest

from faults import CALLS, MEMORY, SAMPLE, FaultTest, main, read_report

OLD = "the report of another day\n"
ERRORS = [errno.EIO, errno.ENOSPC, errno.EINTR, errno.ENOMEM, errno.EMFILE, "short"]


def without_times(report):
    """When the catalogue was made is left out where it cannot be told."""
    report = read_report(report)
    report.pop("generated")
    report["catalogue"].pop("modified", None)
    return report


def without_places(report):
    records = [{key: value for key, value in record.items() if key != "update"}
               for record in report["records"]]
    return report | {"records": records}


class ACheck(FaultTest):
    def setUp(self):
        super().setUp()
        self.command = ["check", "--inventory", SAMPLE / "inventory.xml",
                        "--catalogue", SAMPLE / "catalogue", "--format", "json"]
        self.expected = without_times(self.run_program(*self.command).stdout)

    def check_report(self, run, text):
        """A whole report, that of a check without faults where the program says that all is well."""
        report = without_times(text)
        if run.returncode == 0:
            # Where an update stands is read at the end; what cannot be read then is not told.
            places = all("update" in record for record in report["records"])
            self.assertEqual(report, self.expected if places else without_places(self.expected))
        else:
            self.assertTrue(report["errors"], "a report that looks like good news")

    def check_file(self, run, folder):
        text = (folder / "report.json").read_text()
        if run.returncode != 0 and text == OLD:
            return
        if "stable storage" in run.stderr:  # It is there, and may be gone after a power cut.
            self.assertEqual((run.returncode, without_times(text)), (1, self.expected))
            return
        self.check_report(run, text)

    def sweep(self, what, kinds, step=1):
        def try_one(number, kind, folder):
            (folder / "report.json").write_text(OLD)
            run = self.run_faulty(what, number, kind, folder, *self.command,
                                  "--output", folder / "report.json")
            self.assert_told(run, statuses=(1, 4))
            self.check_file(run, folder)
            self.assertEqual([path.name for path in folder.iterdir()], ["report.json"])
        self.each_call(what, kinds, step, try_one, *self.command, "--output", "report.json")

    def test_each_call_may_fail(self):
        self.sweep(CALLS, ERRORS, step=self.step(3))

    def test_each_allocation_may_fail(self):
        self.sweep(MEMORY, [errno.ENOMEM], step=self.step(50))

    def test_each_call_may_fail_while_the_report_goes_to_standard_output(self):
        def try_one(number, kind, folder):
            run = self.run_faulty(CALLS, number, kind, folder, *self.command)
            self.assert_told(run, statuses=(1, 4))
            if run.returncode == 0:
                self.check_report(run, run.stdout)
            self.assertEqual(list(folder.iterdir()), [])
        self.each_call(CALLS, [errno.EIO, "short"], self.step(3), try_one, *self.command)

    def test_a_missing_catalogue_is_named(self):
        missing = self.folder / "none"
        run = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                               missing)
        self.assertEqual(run.returncode, 4)
        self.assertIn(str(missing), run.stderr)


if __name__ == "__main__":
    main()
