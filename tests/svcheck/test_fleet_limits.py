"""`svcheck fleet` at the limits of memory, time and sockets: one answer is lost, and no other."""

import contextlib
import gzip
import json
import os
import resource
import subprocess
import time
import unittest
from pathlib import Path

from program import (MACHINE, PROGRAM, SANITIZED, SYSTEM, bios, document, main, records_of)
from test_fleet import CRASHING, FleetTest


def limited(kind, most):
    return lambda: resource.setrlimit(kind, (most, most))


class Memory(FleetTest):
    def test_an_inventory_larger_than_a_socket_takes_reaches_its_worker(self):
        inventory = document((MACHINE, SYSTEM, bios("YUE110B")))
        inventory = inventory.replace("<CIM ", f"<!--{'x' * 16_000_000}--><CIM ", 1)
        lines = "".join(json.dumps({"machine": name, "inventory": inventory}) + "\n"
                        for name in ("first", "second"))
        result = self.fleet("--jobs", 2, "--inventories", self.write("large.ndjson", lines))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        ends = [line for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual([(line["machine"], line["outcome"], line["summary"]["outdated"])
                          for line in ends],
                         [(name, "done", 1) for name in ("first", "second")])

    def brackets(self):
        """A small file with a line of 300 MB, and a machine behind it in a file of its own."""
        self.write("in/a.ndjson.gz", gzip.compress(b"[" * (1 << 20)) * 300)
        self.write("in/b.ndjson", self.lines_of(1).read_text())
        return self.folder / "in"

    @unittest.skipIf(SANITIZED, "the sanitizer's shadow takes more than the limit")
    def test_a_line_of_brackets_takes_memory_for_itself_alone(self):
        folder = self.brackets()
        result = self.fleet("--inventories", folder, "--jobs", 1,
                            preexec_fn=limited(resource.RLIMIT_AS, 1200 << 20))
        ends = self.outcomes(result)
        self.assertEqual(ends[f"{folder}/a.ndjson.gz:1"]["errors"],
                         [f"{folder}/a.ndjson.gz:1: the line is no JSON object"])
        self.assertEqual(ends["m0000"]["outcome"], "done")

    @unittest.skipIf(SANITIZED, "the sanitizer's allocator ends the process")
    def test_a_line_without_memory_costs_one_answer(self):
        folder = self.brackets()
        result = self.fleet("--inventories", folder, "--jobs", 1,
                            preexec_fn=limited(resource.RLIMIT_AS, 400 << 20))
        ends = self.outcomes(result)
        self.assertEqual(ends[f"{folder}/a.ndjson.gz"]["errors"],
                         [f"{folder}/a.ndjson.gz:1: there is not enough memory for the line"])
        self.assertEqual(ends["m0000"]["outcome"], "done")

    @unittest.skipIf(SANITIZED, "the sanitizer's shadow takes more than the limit")
    def test_a_machine_without_memory_costs_one_answer(self):
        folder = self.machines(4)
        property = "<PROPERTY NAME='Path' TYPE='string'><VALUE>y</VALUE></PROPERTY>"
        instance = f"<VALUE.OBJECT><INSTANCE CLASSNAME='QRXSG_DeviceDriverInfo'>{property}</INSTANCE></VALUE.OBJECT>"
        large = document((MACHINE, SYSTEM, bios("YUE110B"))).replace(
            "</DECLGROUP>", instance * 500_000 + "</DECLGROUP>")
        self.write("inventories/m0001.xml", large)
        for jobs in (1, 2):
            result = self.fleet("--inventories", folder, "--jobs", jobs,
                                preexec_fn=limited(resource.RLIMIT_AS, 160 << 20))
            ends = self.outcomes(result)
            self.assertEqual([(name, line["outcome"]) for name, line in ends.items()],
                             [("m0000", "done"), ("m0001", "failed"), ("m0002", "done"),
                              ("m0003", "done")])
            self.assertRegex("".join(ends["m0001"]["errors"]), "memory")


class Time(FleetTest):
    def workers_of(self, process):
        """The numbers of its child processes (proc(5): what follows the name in parentheses)."""
        workers = []
        for stat in Path("/proc").glob("[0-9]*/stat"):
            with contextlib.suppress(OSError):
                parent = stat.read_text(errors="replace").rpartition(")")[2].split()[1]
                if int(parent) == process.pid:
                    workers.append(int(stat.parent.name))
        return workers

    def test_a_worker_that_never_answers_costs_one_answer(self):
        folder = self.machines(5)
        self.write("inventories/m0001.xml", document((MACHINE, SYSTEM, bios("YUE114A"))))
        for number in (0, 3):
            self.write(f"inventories/m000{number}.xml", document((MACHINE, SYSTEM, bios("YUE112A"))))
        result = self.fleet("--inventories", folder, "--jobs", 1, "--machine-timeout", 2,
                            "--plugin", CRASHING)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        ends = [line for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual([line["machine"] for line in ends], [f"m{n:04}" for n in range(5)])
        reasons = {line["machine"]: line["errors"] for line in ends if line["outcome"] == "failed"
                   and "no answer" in "".join(line["errors"])}
        self.assertEqual(reasons, {"m0001": ["no answer within 2 s; its process was ended; give more "
                                             "with --machine-timeout"]})

    def test_an_inventory_that_becomes_a_pipe_costs_one_answer(self):
        """While the machine before it is compared, so that it was a file when it was listed."""
        folder = self.machines(3)
        self.write("inventories/m0000.xml", document((MACHINE, SYSTEM, bios("YUE114A"))))
        output = self.folder / "results.ndjson"
        process = subprocess.Popen(
            [PROGRAM, "fleet", "--catalogue", self.folder / "catalogue", "--inventories", folder,
             "--jobs", "1", "--machine-timeout", "5", "--plugin", CRASHING, "--output", output],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        deadline = time.monotonic() + 60
        while not self.workers_of(process) and time.monotonic() < deadline:
            time.sleep(0.02)
        time.sleep(1)
        (folder / "m0001.xml").unlink()
        os.mkfifo(folder / "m0001.xml")
        _, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, errors), (0, ""))
        ends = [line for line in records_of(output.read_text()) if "outcome" in line]
        self.assertEqual([line["machine"] for line in ends], [f"m{n:04}" for n in range(3)])
        self.assertIn("no answer within 5 s", "".join(ends[0]["errors"]))
        self.assertRegex("".join(ends[1]["errors"]), "is a pipe and no file|is no regular file")
        self.assertNotIn("no answer", "".join(ends[2]["errors"]))


if __name__ == "__main__":
    main()
