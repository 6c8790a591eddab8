"""`svcheck fleet`: machines that read alike have one comparison, and each its own answer."""

import contextlib
import json
import os
import re
import signal
import subprocess
import time
import unittest
from pathlib import Path

from program import (BUILD, MACHINE, PROGRAM, SYSTEM, ProgramTest, document, element, main,
                     records_of)

SAMPLE = BUILD / "share/svcheck/sample"
VALUE = re.compile(r"<VALUE>([^<>]*)</VALUE>")
SERIAL = "06C4638"
UUID = "5B1C9D52-6E0B-4A7F-9E7C-0F4D2C46380A"
# So many are given to a worker before it has answered.
AHEAD = 2


class Alike(ProgramTest):
    def setUp(self):
        super().setUp()
        self.inventory = (SAMPLE / "inventory.xml").read_text()

    def fleet(self, inventories, *arguments):
        lines = "".join(json.dumps({"machine": f"m{number}", "inventory": text}) + "\n"
                        for number, text in enumerate(inventories))
        result = self.run_program("fleet", "--catalogue", SAMPLE / "catalogue", "--jobs", 1,
                                  "--inventories", "-", *arguments, input=lines)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def own(self, number):
        """The sample's machine with texts of its own, of which one is told."""
        return self.inventory.replace(SERIAL, f"S-{number}").replace(UUID, "u" * number)

    def test_each_text_of_an_inventory_counts_as_it_does_alone(self):
        machines = [self.inventory] * (AHEAD + 1)
        for at in VALUE.finditer(self.inventory):
            for text in ("", "1", at[1] + "0", "a&amp;b", "a\"b", "é", "9.9.9"):
                machines += [self.inventory[:at.start(1)] + text + self.inventory[at.end(1):],
                             self.inventory]
        # Where a log is wanted, each is compared.
        alone = self.fleet(machines, "--logs", self.folder / "logs")
        ends = [line for line in records_of(alone) if "outcome" in line]
        self.assertGreater(len({json.dumps({**end, "machine": ""}) for end in ends}), 20)
        self.assertEqual(self.fleet(machines).splitlines(), alone.splitlines())

    def test_what_a_driver_is_built_of_counts_too(self):
        catalogue = self.catalogue(element(name="d", driverFiles="e.ko-#6.12.1-amd64",
                                           driverSources="AB12:e.ko-#6.12.1-amd64"))
        sources = ["CD34"] * (AHEAD + 2) + ["AB12", "CD34", "AB12", "AB12", "CD34"]
        lines = "".join(json.dumps({"machine": f"m{number}", "inventory": document([
            MACHINE, SYSTEM, ("QRXSG_DeviceDriverInfo", {
                "Path": "\\e.ko", "Version": "6.1.0-amd64", "CurrentState": "4",
                "SourceVersion": source})])}) + "\n" for number, source in enumerate(sources))
        result = self.run_program("fleet", "--catalogue", catalogue, "--jobs", 1, "--inventories",
                                  "-", input=lines)
        self.assertEqual([line["verdict"] for line in records_of(result.stdout) if "verdict" in line],
                         ["current" if source == "AB12" else "outdated" for source in sources])

    def test_summaries_count_each_of_them(self):
        machines = [self.own(number) for number in range(1, 12)]
        self.fleet(machines, "--json", self.folder / "together.json")
        together = json.loads((self.folder / "together.json").read_text())
        self.fleet(machines[:1], "--json", self.folder / "one.json")
        one = json.loads((self.folder / "one.json").read_text())
        self.assertGreater(one["verdicts"]["outdated"], 0)
        self.assertEqual(together["machines"], 11)
        self.assertEqual(together["verdicts"],
                         {name: 11 * count for name, count in one["verdicts"].items()})
        self.assertEqual(together["components"],
                         [{**row, "verdicts": {name: 11 * count for name, count
                                               in row["verdicts"].items()}}
                          for row in one["components"]])

    def test_each_has_its_own_page(self):
        machines = [self.own(number) for number in range(1, 8)]
        self.fleet(machines, "--html", self.folder / "pages", "--output", self.folder / "results",
                   "--quiet")
        for number in range(7):
            page = (self.folder / "pages/machines" / f"m{number}.html").read_text()
            self.assertIn(f"S-{number + 1}<", page)

    def test_each_has_its_own_log(self):
        machines = [self.inventory] * 7
        self.fleet(machines, "--logs", self.folder / "logs")
        logs = {path.read_bytes() for path in (self.folder / "logs").iterdir()}
        self.assertEqual((len(list((self.folder / "logs").iterdir())), len(logs)), (7, 1))
        self.assertGreater(len(logs.pop()), 1000)

    @contextlib.contextmanager
    def stopped_fleet(self):
        """Compares the sample's machine, and stops its worker then."""
        with subprocess.Popen([PROGRAM, "fleet", "--catalogue", SAMPLE / "catalogue", "--jobs",
                               "1", "--inventories", "-"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as run:
            self.give(run, "first", self.inventory)
            self.take(run)
            (worker,) = Path(f"/proc/{run.pid}/task/{run.pid}/children").read_text().split()
            os.kill(int(worker), signal.SIGSTOP)
            try:
                yield run, int(worker)
            finally:
                os.kill(int(worker), signal.SIGCONT)
                run.stdin.close()
                run.stdout.read()

    @staticmethod
    def give(run, machine, inventory):
        print(json.dumps({"machine": machine, "inventory": inventory}), file=run.stdin, flush=True)

    @staticmethod
    def take(run):
        lines = []
        while not lines or '"outcome"' not in lines[-1]:
            lines.append(run.stdout.readline())
        return lines

    def test_what_reads_alike_needs_no_worker(self):
        with self.stopped_fleet() as (run, _):
            for number in range(1, 4):
                self.give(run, f"m{number}", self.own(number))
                last = json.loads(self.take(run)[-1])
                self.assertEqual((last["machine"], last["serialNumber"], last["outcome"]),
                                 (f"m{number}", f"S-{number}", "done"))

    def test_what_reads_otherwise_waits_for_one(self):
        self.assertIn("<VALUE>YUE110B<", self.inventory)
        with self.stopped_fleet() as (run, worker):
            self.give(run, "other", self.inventory.replace("<VALUE>YUE110B<", "<VALUE>YUE199Z<"))
            os.set_blocking(run.stdout.fileno(), False)
            time.sleep(0.3)
            self.assertFalse(run.stdout.buffer.read(1))
            os.set_blocking(run.stdout.fileno(), True)
            os.kill(worker, signal.SIGCONT)
            self.assertEqual(json.loads(self.take(run)[-1])["machine"], "other")

    def test_files_are_known_once_they_have_settled(self):
        for age in (0, 3600):
            for number in range(5):
                path = self.write(f"{age}/m{number}.xml", self.own(number + 1))
                os.utime(path, (time.time() - age,) * 2)
        told = [self.run_program("fleet", "--catalogue", SAMPLE / "catalogue", "--inventories",
                                 self.folder / str(age)).stdout for age in (0, 3600)]
        self.assertEqual(told[0], told[1])
        ends = [line for line in records_of(told[1]) if "outcome" in line]
        self.assertEqual([end["serialNumber"] for end in ends], [f"S-{i}" for i in range(1, 6)])


if __name__ == "__main__":
    main()
