"""What is promised to survive a power cut: the calls that put it on stable storage, in their order.
A file that is moved into its place was synced after the last byte, and its folder is synced behind."""

import errno
import json
import unittest
from pathlib import Path

from faults import CALLS, LIBRARY, SAMPLE, FaultTest, main
from serial_notes import serve_folder


class TheOrderOfCalls(FaultTest):
    def trace(self, *arguments, statuses=(0,)):
        """What becomes of files, as (call, path, path that it is moved to), in order."""
        log = self.folder / "trace"
        log.unlink(missing_ok=True)
        run = self.run_program(*arguments, LD_PRELOAD=str(LIBRARY), FAULT_WHAT=CALLS, FAULT_AT="0",
                               FAULT_KIND="0", FAULT_TRACE=str(log))
        self.assertIn(run.returncode, statuses, run.stderr)
        steps = []
        for line in log.read_text().splitlines():
            call, _, rest = line.partition(" ")
            path, _, target = rest.partition("\t")
            steps.append((call, path, target))
        return steps

    def assert_moved_in(self, steps, place):
        """Written, synced, moved and its folder synced; nothing comes in between or behind."""
        place = str(place)
        moves = [at for at, step in enumerate(steps) if step[0] == "move" and step[2] == place]
        self.assertEqual(len(moves), 1, (place, steps))
        part = steps[moves[0]][1]
        self.assertNotEqual(part, place)
        before = [step[0] for step in steps[:moves[0]] if step[1] == part]
        self.assertIn("write", before)
        self.assertEqual(before[-1], "sync", f"the last thing before the move of {place}")
        after = [step for step in steps[moves[0] + 1:] if step[0] != "write" or step[1] == place]
        self.assertIn(("sync", str(Path(place).parent), ""), after, f"{place}: its name")
        touched = [step for step in steps if place in step[1:] and step[0] != "move"]
        self.assertEqual(touched, [], f"{place} is not touched by itself")

    def check(self, *more):
        return ("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                SAMPLE / "catalogue", *more)

    def test_of_a_report_in_each_format(self):
        for name in ("table", "json", "csv", "html", "junit", "prometheus", "nagios"):
            with self.subTest(name):
                place = self.folder / f"report.{name}"
                for _ in range(2):  # The second replaces the first.
                    steps = self.trace(*self.check("--format", name, "--output", place),
                                       statuses=(0, 1))
                    self.assert_moved_in(steps, place)

    def test_of_a_report_that_keeps_the_mode_of_the_old_one(self):
        place = self.folder / "report.json"
        place.write_text("old")
        place.chmod(0o600)
        steps = self.trace(*self.check("--format", "json", "--output", place))
        self.assert_moved_in(steps, place)
        modes = [at for at, step in enumerate(steps) if step[0] == "mode"]
        syncs = [at for at, step in enumerate(steps) if step[0] == "sync"]
        self.assertLess(modes[0], syncs[0])
        self.assertEqual(place.stat().st_mode & 0o777, 0o600)

    def test_of_records_an_inventory_and_a_capture(self):
        place = self.folder / "records"
        steps = self.trace("query", "--inventory", SAMPLE / "inventory.xml", "--context",
                           f"svPath={SAMPLE / 'catalogue'}", "--records", place)
        self.assert_moved_in(steps, place)
        (self.folder / "tree" / "etc").mkdir(parents=True)
        (self.folder / "tree" / "etc" / "redhat-release").write_text("Red Hat 6\n")
        for option in ("--output", "--capture"):
            place = self.folder / option.strip("-")
            steps = self.trace("collect", "--root", self.folder / "tree", option, place)
            self.assert_moved_in(steps, place)

    def test_of_a_catalogue_that_is_built(self):
        rows = self.folder / "firmware.csv"
        rows.write_text("type,name,version,machine types,operating systems\n"
                        "BIOS,Update,YUE123A,4638,RHEL5\n")
        place = self.folder / "built"
        steps = self.trace("catalogue", "build", "--firmware", rows, "--output", place)
        self.assert_moved_in(steps, place / "index.xml")

    def test_of_what_a_publisher_writes(self):
        repository = self.folder / "repository"
        (repository / "files").mkdir(parents=True)
        (repository / "files" / "sample.xml").write_bytes(
            (SAMPLE / "catalogue" / "index.xml").read_bytes())
        keys = [self.folder / "public" / "key.pub", self.folder / "secret" / "key.sec"]
        for key in keys:
            key.parent.mkdir()
        steps = self.trace("repository", "keygen", "--no-password", *self.key_options(keys))
        for key in keys:
            self.assert_moved_in(steps, key)
        steps = self.trace("repository", "build", repository)
        manifest = [step[2] for step in steps if step[0] == "move"]
        self.assertEqual(len(manifest), 1)
        self.assert_moved_in(steps, manifest[0])
        steps = self.trace("repository", "sign", repository, *self.key_options(keys)[2:])
        self.assert_moved_in(steps, manifest[0] + ".minisig")

    @staticmethod
    def key_options(keys):
        return ["--repository-key", keys[0], "--secret-key", keys[1]]

    def serve(self):
        """A repository of two descriptions; its address."""
        repository = self.folder / "repository"
        (repository / "files").mkdir(parents=True)
        for name in ("one.xml", "two.xml"):
            (repository / "files" / name).write_bytes(
                (SAMPLE / "catalogue" / "index.xml").read_bytes())
        built = self.run_program("repository", "build", repository)
        self.assertEqual(built.returncode, 0, built.stderr)
        return serve_folder(self, repository)

    def test_of_a_fetched_catalogue_and_what_it_is_made_of(self):
        place = self.folder / "fetched"
        command = ("catalogue", "fetch", "--allow-unsigned", "--output", place, "--repository",
                   self.serve())
        steps = self.trace(*command)
        self.assert_moved_in(steps, place / "index.xml")
        moves = [step[2] for step in steps if step[0] == "move"]
        kept = [move for move in moves if "/svcheck/fetched/" in move]
        self.assertEqual(len(kept), 1, "two files of one content are one")
        serials = [move for move in moves if "/repositories/" in move]
        self.assertEqual(len(serials), 1, steps)
        self.assertEqual(moves, serials + kept + [str(place / "index.xml")])
        for file in kept + serials:
            self.assert_moved_in(steps, file)
        # The second replaces the first, and nothing else is written but the catalogue.
        moves = [step[2] for step in self.trace(*command) if step[0] == "move"]
        self.assertEqual(moves, [str(place / "index.xml")])

    def test_of_a_download_and_the_serial_that_was_accepted(self):
        steps = self.trace("check", "--live", "--allow-unsigned", "--inventory",
                           SAMPLE / "inventory.xml", "--drive-root", self.folder / "drives",
                           "--repository", self.serve())
        folder = self.folder / "drives" / "c" / "QRX_Support" / "SV"
        for name in ("one.xml", "two.xml"):
            self.assert_moved_in(steps, folder / name)
        serials = [step[2] for step in steps
                   if step[0] == "move" and "/repositories/" in step[2]]
        self.assertEqual(len(serials), 1, steps)
        self.assert_moved_in(steps, serials[0])

    def test_of_a_fleets_results_and_pages(self):
        results, pages, summary = (self.folder / name for name in ("results", "pages", "summary"))
        steps = self.trace("fleet", "--catalogue", SAMPLE / "catalogue", "--inventories",
                           SAMPLE / "inventory.xml", "--output", results, "--html", pages,
                           "--json", summary)
        self.assert_moved_in(steps, pages / "index.html")
        self.assert_moved_in(steps, pages / "machines" / "inventory.html")
        self.assert_moved_in(steps, summary)
        own = [step[0] for step in steps if step[1] == str(results)]
        self.assertIn("write", own)
        self.assertEqual(own[-1], "sync", "results are written in place and synced at the end")

    def test_a_name_that_is_not_on_stable_storage_is_told(self):
        """The sync of the folder is the last one; when it fails, the file is there all the same."""
        place = self.folder / "report.json"
        log = self.folder / "calls"
        command = self.check("--format", "json", "--output", place)
        names = self.calls(CALLS, *command)
        place.unlink(missing_ok=True)  # With one, its mode is looked at too.
        last = max(at for at, name in enumerate(names) if name == "fsync") + 1
        run = self.run_faulty(CALLS, last, errno.EIO, self.folder, *command, log=log)
        self.assertEqual(run.returncode, 1)
        self.assertIn("stable storage: Input/output error", run.stderr)
        self.assertTrue(place.read_text().endswith("}\n"))


def records_of(report):
    return json.loads(report)["records"]


def without_places(records):
    return [{key: value for key, value in record.items() if key != "update"}
            for record in records]


class AReadThatFails(FaultTest):
    def test_is_named_with_its_file_and_cause(self):
        command = ["check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                   SAMPLE / "catalogue"]
        names = self.calls(CALLS, *command)
        command += ["--format", "json"]
        whole = records_of(self.run_faulty(CALLS, 0, errno.EIO, self.folder, *command).stdout)
        passed_over = []
        reads = [at + 1 for at, name in enumerate(names) if name == "fread"]
        self.assertGreater(len(reads), 2)
        for number in reads:
            run = self.run_faulty(CALLS, number, errno.EIO, self.folder, *command)
            if run.returncode == 0:
                # A read ahead of the query, which then reads for itself; or the one at the end,
                # for where the updates stand.
                passed_over.append(number)
                self.assertIn(records_of(run.stdout), (whole, without_places(whole)), number)
                continue
            self.assertIn(run.returncode, (1, 4), number)
            self.assertIn("Input/output error", run.stderr, number)
            self.assertRegex(run.stderr, r"\S+\.xml", number)
        self.assertLess(len(passed_over), len(reads))


if __name__ == "__main__":
    main()
