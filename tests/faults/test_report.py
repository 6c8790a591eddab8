"""A saved report that is shown again while one call of the C library after another fails."""

import errno
import unittest

from faults import CALLS, MEMORY, SAMPLE, FaultTest, main, read_report

OLD = "the page of another day\n"
ERRORS = [errno.EIO, errno.ENOSPC, errno.EINTR, errno.ENOMEM, errno.EMFILE, "short"]


class AReport(FaultTest):
    def setUp(self):
        super().setUp()
        self.saved = self.folder / "saved.json"
        run = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                               SAMPLE / "catalogue", "--format", "json", "--output", self.saved)
        self.assertEqual(run.returncode, 0, run.stderr)
        read_report(self.saved.read_text())
        self.command = ["report", self.saved, "--format", "html"]
        self.expected = self.run_program(*self.command).stdout

    def sweep(self, what, kinds, step):
        def try_one(number, kind, folder):
            page = folder / "page.html"
            page.write_text(OLD)
            run = self.run_faulty(what, number, kind, folder, *self.command, "--output", page)
            self.assert_told(run, statuses=(1,))
            self.assertIn(page.read_text(), [self.expected, OLD])
            if run.returncode == 0:
                self.assertEqual(page.read_text(), self.expected)
            self.assertEqual([path.name for path in folder.iterdir()], ["page.html"])
        self.each_call(what, kinds, step, try_one, *self.command, "--output", "page.html")

    def test_each_call_may_fail(self):
        self.sweep(CALLS, ERRORS, step=self.step(3))

    def test_each_allocation_may_fail(self):
        self.sweep(MEMORY, [errno.ENOMEM], step=self.step(20))


if __name__ == "__main__":
    main()
