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


class CommandLines(RunTest):
    def setUp(self):
        super().setUp()
        self.machine("in/one.xml")
        self.machine("in/two.xml", "YUE112A")

    def test_that_ask_for_what_cannot_be_are_refused(self):
        inventories = ("--inventories", "in")
        one_of = "standard output takes one of results and summaries; give the others a file"
        for arguments, words in (
                (("fleet", *inventories),
                 "there is nothing to compare with: give --catalogue DIR"),
                (self.command(), "there is nothing to compare: give --inventories PATH..."),
                (self.command(*inventories, "--output", ""),
                 "the name of the output is empty; name a file"),
                (self.command(*inventories, "--resume"),
                 "only a file can be gone on with: give --output FILE with --resume"),
                (self.command(*inventories, "--json", "-"), one_of),
                (self.command(*inventories, "--table", "-"), one_of),
                (self.command(*inventories, "--output", "r", "--json", "-", "--table", "-"),
                 one_of)):
            with self.subTest(words):
                result = self.run_program(*arguments)
                self.assert_failed(result, 64, "svcheck: " + words)
                self.assertEqual(result.stdout, "")
        self.assertFalse((self.folder / "r").exists())

    def test_show_a_summary_where_a_person_reads_none_of_the_results(self):
        table = "2 machines compared, 1 with updates to install; 0 failed\n"
        file = ("--inventories", "in", "--output", "r.ndjson")
        self.assertTrue(self.fleet(*file).stdout.startswith(table))
        self.assertEqual(self.fleet(*file, "--quiet").stdout, "")
        self.assertEqual(self.fleet(*file, "--json", "s.json").stdout, "")
        self.assertEqual(self.fleet(*file, "--table", "t.txt").stdout, "")
        self.assertTrue((self.folder / "t.txt").read_text().startswith(table))
        self.assertEqual(self.fleet(*file, "--html", "pages").stdout, "")
        self.assertEqual(json.loads(self.fleet(*file, "--json", "-").stdout)["machines"], 2)
        for record in records_of(self.fleet("--inventories", "in").stdout):
            self.assertIn("machine", record)

    def test_write_a_log_for_each_machine_where_they_are_asked_for(self):
        self.fleet("--inventories", "in", "--output", "r", "--logs", "new/logs")
        logs = sorted(path.name for path in (self.folder / "new" / "logs").iterdir())
        self.assertEqual(len(logs), 2)
        self.assertTrue(logs[0].startswith("one") and logs[1].startswith("two"), logs)
        self.write("file", "")
        self.assert_failed(self.fleet("--inventories", "in", "--output", "r", "--logs", "file/logs"),
                           1, "cannot make the folder file/logs: ")

    def test_go_on_and_are_merged_whatever_files_are_called(self):
        for name in (b"a\xff", b"b\x1b[2J\x7f\n", "c\u202e\x9b\u2028".encode()):
            self.machine("in/" + os.fsdecode(name) + ".xml")
        self.fleet("--inventories", "in", "--output", "r.ndjson", "--quiet")
        whole = (self.folder / "r.ndjson").read_bytes()
        result = self.fleet("--inventories", "in", "--output", "r.ndjson", "--resume", "--quiet")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual((self.folder / "r.ndjson").read_bytes(), whole)
        merged = self.run_program("fleet", "--merge", "r.ndjson", text=False)
        self.assertEqual((merged.returncode, merged.stdout, merged.stderr), (0, whole, b""))

    def test_that_go_on_have_to_name_the_same_inventories(self):
        file = ("--output", "r.ndjson", "--resume", "--quiet")
        self.fleet("--inventories", "in", "--output", "r.ndjson", "--quiet")
        whole = (self.folder / "r.ndjson").read_bytes()
        result = self.fleet("--inventories", "in", *file, "--json", "s.json")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual((self.folder / "r.ndjson").read_bytes(), whole)
        self.assertEqual(json.loads((self.folder / "s.json").read_text())["machines"], 2)
        self.assert_failed(
            self.fleet("--inventories", "in/two.xml", "in/one.xml", *file), 1,
            "svcheck: the results in r.ndjson are of other inventories: they go on with one, the "
            "inventories with two; give those that the run began with")
        self.assert_failed(
            self.fleet("--inventories", "in/one.xml", *file), 1,
            "svcheck: the results in r.ndjson are of more machines than there are inventories; give "
            "those that the run began with")
        self.assertEqual((self.folder / "r.ndjson").read_bytes(), whole)
        third = self.machine("three.xml")
        self.fleet("--inventories", "in", third, *file)
        added = (self.folder / "r.ndjson").read_bytes()
        self.assertTrue(added.startswith(whole) and len(added) > len(whole))

    def test_part_the_machines_into_shards(self):
        names = []
        for shard in ("1/2", "2/2"):
            records = records_of(self.fleet("--inventories", "in", "--shard", shard).stdout)
            names.append({record["machine"] for record in records})
        self.assertEqual(names, [{"one"}, {"two"}])
        for shard in ("0/2", "3/2", "1/0", "1", "a/b", "1/2/3", "-1/2", ""):
            result = self.fleet("--inventories", "in", "--shard", shard)
            if shard:
                self.assert_failed(result, 64, f"--shard {shard} is no shard; write I/N, the first "
                                               "of four is 1/4")


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
