#!/usr/bin/env python3
"""Many machines at once, by the program for Windows."""

import gzip
import json
import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

from wine_test import BIN, SAMPLE, SOURCE, WINE, WineTest, main, run, windows

sys.path.append(str(SOURCE / "tests" / "fleet"))

from compare_alone import answers_of, difference, read  # noqa: E402 (found by the line above)
from generated import make_fleet  # noqa: E402

CRASHING = Path(BIN).parent / "tests" / "windows" / "crashing_plugin.dll"
# What the crashing plug-in does with a machine, by the version of its BIOS.
VERSIONS = {"crash": "YUE110B", "exhaust": "YUE113A", "wait": "YUE114A", "work": "YUE112A"}
MACHINES = ["m0", "стойка 1/m1", "стойка 1/日本"]


class Fleet(WineTest):
    def setUp(self):
        super().setUp()
        for machine in MACHINES:
            place = self.work / "парк" / f"{machine}.xml"
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SAMPLE / "inventory.xml", place)
        (self.work / "парк" / "bad.xml").write_bytes(b"<CIM>\r\n<OTHER/></CIM>")

    def fleet(self, *arguments, **options):
        return self.run_program("fleet", "--catalogue", windows(SAMPLE / "catalogue"),
                                "--inventories", *arguments, **options)

    def ends(self, text):
        lines = [json.loads(line) for line in text.splitlines()]
        self.assertEqual(len([line for line in lines if "Name" in line]), 21 * len(MACHINES))
        return {line["machine"]: line for line in lines if "outcome" in line}

    def test_machines_of_a_folder_are_named_by_their_way(self):
        ends = self.ends(self.fleet("парк")[0])
        self.assertEqual(sorted(ends), sorted(["bad", *MACHINES]))
        self.assertEqual([machine for machine, end in ends.items() if end["outcome"] != "done"],
                         ["bad"])
        self.assertIn("bad.xml:2", ends["bad"]["errors"][0])

    def test_results_pages_and_logs_go_where_they_are_sent(self):
        self.fleet("парк", "--output", "итог.ndjson", "--json", "ž.json", "--table", "-", "--html",
                   "страницы", "--logs", "журналы")
        written = (self.work / "итог.ndjson").read_bytes()
        self.assertEqual(len(self.ends(written.decode())), 4)
        self.assertEqual(json.loads((self.work / "ž.json").read_text())["machines"], 4)
        pages = self.work / "страницы"
        self.assertIn("日本", (pages / "index.html").read_text(encoding="utf-8"))
        self.assertEqual(len(list(pages.rglob("*.html"))), 5)
        self.assertEqual(len(list((self.work / "журналы").iterdir())), 3)
        (self.work / "итог.ndjson").write_bytes(written[:len(written) // 2])
        self.fleet("парк", "--output", "итог.ndjson", "--resume")
        self.assertEqual((self.work / "итог.ndjson").read_bytes(), written)

    def test_lines_of_standard_input(self):
        inventory = (SAMPLE / "inventory.xml").read_text(encoding="utf-8")
        lines = "".join(json.dumps({"machine": machine, "inventory": inventory}) + "\r\n"
                        for machine in MACHINES)
        self.assertEqual(sorted(self.ends(self.fleet("-", input=lines.encode())[0])),
                         sorted(MACHINES))

    def test_inventories_of_gzip_are_read_and_of_others_refused(self):
        plain = (SAMPLE / "inventory.xml").read_bytes()
        packed = self.work / "упаковано"
        packed.mkdir()
        (packed / "m.xml.gz").write_bytes(gzip.compress(plain))
        line = json.dumps({"machine": "日本", "inventory": plain.decode()}).encode() + b"\r\n"
        (packed / "строки.ndjson.gz").write_bytes(gzip.compress(line[:70]) +
                                                  gzip.compress(line[70:]))
        (packed / "short.xml.gz").write_bytes(gzip.compress(plain)[:-20])
        (packed / "broken.xml.gz").write_bytes(b"\x1f\x8bno")
        (packed / "z.xml.zst").write_bytes(b"\x28\xb5\x2f\xfd")
        (packed / "zz.ndjson").write_bytes(gzip.compress(line))
        lines = [json.loads(line) for line in self.fleet("упаковано")[0].splitlines()]
        errors = {line["machine"]: line["errors"] for line in lines if "outcome" in line}
        self.assertEqual((errors["m"], errors["日本"]), ([], []))
        self.assertIn("short.xml.gz: cannot be unpacked: it ends too early", errors["short"][0])
        self.assertIn("broken.xml.gz: cannot be unpacked: it is broken", errors["broken"][0])
        self.assertRegex(errors["z"][0], r"z\.xml\.zst: .* unpacks no \.zst; .*zstd -d")
        (named,) = [texts for machine, texts in errors.items() if "zz.ndjson:1" in machine]
        self.assertIn("it is compressed; let its name end in .gz", named[0])
        told = json.loads(self.fleet("-", input=gzip.compress(line))[0])
        self.assertIn("standard input is compressed", told["errors"][0])

    def test_files_may_lie_deep(self):
        deep = self.work.joinpath(*(letter * 60 for letter in "абвгд"))
        deep.mkdir(parents=True)
        (deep / "m0.xml.gz").write_bytes(gzip.compress((SAMPLE / "inventory.xml").read_bytes()))
        for machine in MACHINES[1:]:
            shutil.copy(SAMPLE / "inventory.xml", deep / f"{machine.rpartition('/')[2]}.xml")
        files = [windows(file) for file in deep.iterdir()]
        results = deep / "итог.ndjson"
        self.fleet(*files, "--output", windows(results))
        self.assertEqual(len(self.ends(results.read_text(encoding="utf-8"))), 3)
        results.unlink()
        lines = self.fleet("а" * 60)[0]
        self.assertEqual(len(self.ends(lines)), 3)


class Workers(WineTest):
    def fleet(self, name, inventories, catalogue, jobs):
        """The results' bytes and the folder of the logs."""
        results, logs = self.work / f"{name}.ndjson", self.work / f"{name} журналы"
        self.run_program("fleet", "--catalogue", windows(catalogue), "--inventories",
                         windows(inventories), "--jobs", jobs, "--output", results.name, "--logs",
                         logs.name)
        return results.read_bytes(), logs

    def test_however_many_they_are_the_answers_are_those_of_a_query(self):
        inventories, catalogue = make_fleet(self.work, 50)
        results, logs = self.fleet("один", inventories, catalogue, 1)
        for jobs in (2, 3, 8):
            again, more = self.fleet(str(jobs), inventories, catalogue, jobs)
            self.assertEqual(again, results, jobs)
            for log in logs.iterdir():
                self.assertEqual(read(more / log.name), read(log), log.name)
        answers = answers_of(self.work / "один.ndjson")
        self.assertEqual(len(answers), 50)
        records = 0
        for inventory in sorted(inventories.iterdir())[::6]:
            status, told, log = self.query(inventory, catalogue)
            records += len(told)
            self.assertIsNone(difference(answers[inventory.stem],
                                         read(logs / f"{inventory.stem}.ndjson"),
                                         (status, told, log)), inventory.name)
        self.assertGreater(records, 0)

    def query(self, inventory, catalogue):
        records, log = self.work / "records", self.work / "log"
        for file in (records, log):
            file.unlink(missing_ok=True)
        asked = run(self.svcheck, "query", "--inventory", windows(inventory), "--context",
                    f"svPath={windows(catalogue)}", "--records", windows(records), "--log",
                    windows(log))
        return asked.returncode, [json.loads(line) for line in read(records).splitlines()], read(log)

    def test_nobody_else_starts_one(self):
        for arguments in ((), ("x",), ("4",), ("18446744073709551615",)):
            self.assert_failed(64, "fleet-worker", *arguments, words=["svcheck fleet", "--jobs"])
        self.assertNotIn("fleet-worker", self.run_program("--help")[0])

    def test_a_catalogue_that_cannot_be_used_ends_the_run(self):
        self.assert_failed(4, "fleet", "--catalogue", "нет", "--inventories", "-", "--output",
                           "итог", words=["no catalogue", "нет"])
        self.assertFalse((self.work / "итог").exists())
        self.assert_failed(1, "fleet", "--catalogue", windows(SAMPLE / "catalogue"),
                           "--inventories", "-", "--plugin", "нет.dll", words=["нет.dll"])


class Ended(WineTest):
    """What becomes of the others when a worker ends."""

    def lines(self, *kinds):
        text = (SAMPLE / "inventory.xml").read_text(encoding="utf-8")
        return "".join(json.dumps({
            "machine": f"m{number}", "inventory": text.replace(VERSIONS["crash"], VERSIONS[kind])
        }) + "\n" for number, kind in enumerate(kinds)).encode()

    def arguments(self, *more):
        return ["fleet", "--catalogue", windows(SAMPLE / "catalogue"), "--inventories", "-",
                "--plugin", windows(CRASHING), "--output", "итог.ndjson", *more]

    def errors(self):
        ends = [json.loads(line) for line in (self.work / "итог.ndjson").read_text().splitlines()]
        self.assertEqual([end["machine"] for end in ends], [f"m{n}" for n in range(len(ends))])
        return [" ".join(end["errors"]) for end in ends]

    def start(self, *kinds):
        """A run with one worker, which is at a machine that it never ends with."""
        with open(self.work / "вывод", "wb") as output:
            process = subprocess.Popen([WINE, self.svcheck, *self.arguments("--jobs", "1")],
                                       cwd=self.work, stdin=subprocess.PIPE, stdout=output,
                                       stderr=output)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        process.stdin.write(self.lines("work", "wait", *kinds))
        process.stdin.close()
        self.wait_for(lambda: read(self.work / "итог.ndjson").count(b"\n") == 1)
        return process

    def wait_for(self, condition):
        deadline = time.monotonic() + 100
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)

    @staticmethod
    def workers():
        """Those of this prefix."""
        prefix = f"WINEPREFIX={Path(WINE).parent / 'prefix'}\0".encode()
        found = []
        for process in Path("/proc").glob("[0-9]*"):
            try:
                is_worker = b"fleet-worker" in (process / "cmdline").read_bytes()
                if is_worker and prefix in (process / "environ").read_bytes():
                    found.append(int(process.name))
            except OSError:  # It has ended meanwhile.
                pass
        return found

    def test_a_crash_costs_one_answer(self):
        self.run_program(*self.arguments("--jobs", "2"), input=self.lines(
            "crash", "work", "crash", "exhaust", "work", "work", "crash", "work"))
        errors = self.errors()
        self.assertEqual([bool(text) for text in errors], [True, False, True, True, False, False,
                                                           True, False])
        for number in (0, 2, 6):
            self.assertEqual(errors[number], "the process that compared this machine ended with "
                                             "status 3 (aborted)")
        self.assertIn("out of memory", errors[3])

    def test_one_that_is_killed_costs_the_answer_that_it_was_at(self):
        process = self.start("work", "work")
        (worker,) = self.workers()
        os.kill(worker, signal.SIGKILL)
        self.assertEqual(process.wait(100), 0)
        errors = self.errors()
        self.assertEqual([bool(text) for text in errors], [False, True, False, False])
        self.assertIn("the process that compared this machine ended", errors[1])

    def test_all_end_with_who_started_them(self):
        process = self.start()
        self.assertEqual(len(self.workers()), 1)
        process.kill()
        self.wait_for(lambda: not self.workers())


if __name__ == "__main__":
    main()
