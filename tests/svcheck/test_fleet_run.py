"""A run of `svcheck fleet` beside its results: what there is to compare, what is accepted as it is,
how far it is, and how an interrupted one goes on."""

import json
import os
import signal
import subprocess
import time

from program import (MACHINE, PROGRAM, SYSTEM, ProgramTest, bios, document, element, main,
                     records_of, usual_signals)

OFFERED = {"name": "bios", "description": "BIOS Update", "Version": "1.1-[YUE112A]-"}


class RunTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.catalogue(element(**OFFERED))

    def command(self, *arguments):
        return ("fleet", "--catalogue", self.folder / "catalogue", *arguments)

    def fleet(self, *arguments, **more):
        return self.run_program(*self.command(*arguments), **more)

    def machine(self, name, version="YUE110B"):
        return self.write(name, document((MACHINE, SYSTEM, bios(version))))


class NothingToCompare(RunTest):
    def assert_none(self, *paths, word):
        result = self.fleet("--inventories", *paths, "--output", "results.ndjson")
        self.assert_failed(result, 4, word, "--inventories", "there are no inventories")
        return result

    def test_a_path_that_does_not_exist(self):
        self.machine("good/m.xml")
        for paths in (("none.xml",), ("none",), ("good", "none.ndjson")):
            self.assert_none(*paths, word=paths[-1] + ", which does not exist")
            self.assertFalse((self.folder / "results.ndjson").exists())

    def test_a_folder_without_an_inventory(self):
        self.write("empty/notes.txt", "x")
        self.write("empty/below/machine.xml.bak", "x")
        self.machine("good/m.xml")
        self.assert_none("empty", word="empty; name a folder")
        self.assert_none("good", "empty", word="empty; name a folder")
        self.machine("empty/below/machine.xml")
        self.assertEqual(self.fleet("--inventories", "empty").returncode, 0)

    def test_a_file_without_a_machine_when_the_others_are_compared(self):
        self.machine("good/m.xml")
        self.write("blank.ndjson", "\n \n")
        result = self.fleet("--inventories", "blank.ndjson", "good", "--output", "results.ndjson",
                            "--json", "summary.json")
        self.assert_failed(result, 4, "no inventories in blank.ndjson")
        self.assertEqual(json.loads((self.folder / "summary.json").read_text())["checked"], 1)

    def test_a_filter_may_have_nothing_to_do(self):
        result = self.fleet("--inventories", "-", stdin=subprocess.DEVNULL)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_a_machine_that_cannot_be_read_is_one_that_failed(self):
        broken = self.write("broken.xml", "<CIM>")
        for condition, status in (("none", 0), ("failed", 2)):
            result = self.fleet("--inventories", broken, "--fail-on", condition)
            self.assertEqual((result.returncode, result.stderr), (status, ""))
            last = records_of(result.stdout)[-1]
            self.assertEqual((last["machine"], last["outcome"]), ("broken", "failed"))
            self.assertIn("broken.xml:1", last["errors"][0])


class Waivers(RunTest):
    def setUp(self):
        super().setUp()
        self.machine("in/one.xml")
        self.machine("in/two.xml", "YUE112A")
        self.write("waivers.toml", '[[waiver]]\nname = "System BIOS"\nreason = "held <b>back</b>"\n'
                                   'offered = "YUE112A"\n')

    def test_hold_for_every_machine(self):
        for waivers, status, outdated in ((["--waivers", "waivers.toml"], 0, 0), ([], 2, 1)):
            result = self.fleet("--inventories", "in", "--fail-on", "outdated", "--json",
                                "summary.json", "--output", "results.ndjson", *waivers)
            self.assertEqual((result.returncode, result.stderr), (status, ""))
            summary = json.loads((self.folder / "summary.json").read_text())
            self.assertEqual((summary["withUpdates"], summary["verdicts"]["outdated"],
                              summary["verdicts"]["current"]), (outdated, outdated, 1))
            self.assertEqual(summary.get("waived"), 1 if waivers else None)
            record, end, *_ = records_of((self.folder / "results.ndjson").read_text())
            self.assertEqual(record["verdict"], "outdated")
            self.assertEqual(record.get("waived"), {"reason": "held <b>back</b>"} if waivers else None)
            self.assertEqual(end["summary"]["outdated"], outdated)
            self.assertEqual(end["summary"].get("waived"), 1 if waivers else None)

    def test_are_seen_in_table_and_pages(self):
        result = self.fleet("--inventories", "in", "--waivers", "waivers.toml", "--output",
                            "results.ndjson", "--table", "-", "--html", "pages")
        self.assertIn("2 machines compared, 0 with updates to install; 0 failed; 1 record waived",
                      result.stdout)
        page = next(path for path in (self.folder / "pages").rglob("one.html")).read_text()
        self.assertIn("held &lt;b&gt;back", page)

    def test_of_another_version_do_not_hold(self):
        self.catalogue(element(**{**OFFERED, "Version": "1.2-[YUE113A]-"}))
        result = self.fleet("--inventories", "in", "--fail-on", "outdated", "--waivers",
                            "waivers.toml")
        self.assertEqual(result.returncode, 2)

    def test_that_have_expired_are_told_of_once(self):
        with open(self.folder / "waivers.toml", "a", encoding="ascii") as file:
            file.write("expires = 2020-01-31\n")
        result = self.fleet("--inventories", "in", "--fail-on", "outdated", "--waivers",
                            "waivers.toml", "--jobs", 2)
        self.assertEqual(result.returncode, 2)
        self.assertEqual(result.stderr.count("expired on 2020-01-31"), 1, result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1)

    def test_that_cannot_be_read_end_the_run(self):
        self.write("waivers.toml", "[[waiver]]\nnam = 1\n")
        for name, word in (("waivers.toml", "waivers.toml:2"), ("none.toml", "none.toml")):
            self.assert_failed(self.fleet("--inventories", "in", "--waivers", name), 1, word)

    def test_survive_merging_and_going_on(self):
        whole = self.fleet("--inventories", "in", "--waivers", "waivers.toml").stdout
        self.write("part.ndjson", whole)
        result = self.run_program("fleet", "--merge", "part.ndjson", "--json", "summary.json")
        self.assertEqual(result.stdout, whole)
        self.assertEqual(json.loads((self.folder / "summary.json").read_text())["waived"], 1)


class Interruption(RunTest):
    def start(self, *arguments):
        process = subprocess.Popen([PROGRAM, *map(str, self.command("--inventories", "-",
                                                                    *arguments))],
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL, text=True, cwd=self.folder,
                                   start_new_session=True, preexec_fn=usual_signals)
        line = {"machine": "m", "inventory": document((MACHINE, SYSTEM, bios("YUE110B")))}
        process.stdin.write(json.dumps(line) + "\n")
        process.stdin.flush()
        return process

    def wait_for_results(self):
        path = self.folder / "results.ndjson"
        deadline = time.monotonic() + 60
        while not (path.exists() and path.read_bytes().count(b"\n") >= 2):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def test_names_the_way_to_go_on_once(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            process = self.start("--output", "results.ndjson", "--jobs", 4)
            self.wait_for_results()
            os.killpg(process.pid, number)  # As a terminal does: the workers as well.
            _, told = process.communicate(timeout=60)
            self.assertEqual(process.returncode, -number)
            self.assertEqual(told, "svcheck: interrupted; what was compared is in results.ndjson: "
                                   "the same command goes on behind it with --resume\n")
            (self.folder / "results.ndjson").unlink()

    def test_of_a_run_without_a_file_says_nothing(self):
        process = self.start()
        time.sleep(0.2)
        os.killpg(process.pid, signal.SIGINT)
        _, told = process.communicate(timeout=60)
        self.assertEqual((process.returncode, told), (-signal.SIGINT, ""))


class Age(RunTest):
    def run_aged(self, days, *arguments):
        """A run with a catalogue that was written so many days ago."""
        then = time.time() - days * 86400 - 3600
        os.utime(self.folder / "catalogue/index.xml", (then, then))
        self.machine("in/m.xml")
        result = self.fleet("--inventories", "in", "--output", "results.ndjson", "--table", "-",
                            "--json", "summary.json", *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result, json.loads((self.folder / "summary.json").read_text()).get("notices")

    def test_of_a_catalogue_is_told_beyond_the_days_allowed(self):
        result, notices = self.run_aged(4, "--max-age", 3)
        self.assertEqual(len(notices), 1)
        self.assertIn("4 days old", notices[0])
        self.assertEqual(result.stderr, f"svcheck: {notices[0]}\n")
        self.assertIn(f"\n{notices[0]}\n", result.stdout)
        quiet, notices = self.run_aged(4, "--max-age", 3, "--quiet")
        self.assertEqual((quiet.stderr, len(notices)), ("", 1))

    def test_of_a_catalogue_within_them_is_not(self):
        for arguments in (["--max-age", 5], ["--max-age", 4], []):
            result, notices = self.run_aged(4 if arguments != ["--max-age", 4] else 3, *arguments)
            self.assertEqual((result.stderr, notices), ("", None), arguments)

    def test_counts_from_the_catalogues_own_date(self):
        self.catalogue(element(**OFFERED, ReleaseDate="2001-02-03"))
        self.assertEqual(len(self.run_aged(0, "--max-age", 3)[1]), 1)


class Progress(RunTest):
    def test_is_shown_when_asked_for_and_cleared(self):
        for name in range(3):
            self.machine(f"in/{name}.xml")
        run = ("--inventories", "in", "--output", "results.ndjson", "--json", "summary.json")
        told = self.fleet(*run, "--progress", "always").stderr
        self.assertRegex(told, r"^\s\d machines? compared")
        self.assertRegex(told, r"\s\Z")
        for quiet in ([], ["--progress", "never"], ["--progress", "auto"]):
            self.assertEqual(self.fleet(*run, *quiet).stderr, "")


if __name__ == "__main__":
    main()
