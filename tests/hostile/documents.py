"""Writes documents of any size and loads them with the program, as inventories and as catalogues."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILD = Path(sys.argv[1]).resolve()
PROGRAM = BUILD / "bin" / "svcheck"
INVENTORY = BUILD / "share" / "svcheck" / "sample" / "inventory.xml"

BEGIN = ('<?xml version="1.0" encoding="UTF-8"?><?sv-catalogue version="4.02"?>\n'
         "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME='K'/></VALUE.OBJECT>\n")
END = "</DECLGROUP></DECLARATION></CIM>\n"
INSTANCE_BEGIN = "<VALUE.OBJECT><INSTANCE CLASSNAME='K'>"
INSTANCE_END = "</INSTANCE></VALUE.OBJECT>\n"
VALUE_BEGIN = BEGIN + INSTANCE_BEGIN + "<PROPERTY NAME='P'><VALUE>"
VALUE_END = "</VALUE></PROPERTY>" + INSTANCE_END + END

# A program's peak counts what its process held before it began: as little as this one holds then,
# and not the most that it ever held.
subprocess._USE_VFORK = False

# What a load may take beside the document: 4 times its size and 32 MB.
TIMES_THE_DOCUMENT = 4
ALLOWANCE = 32 << 20
# What any verb may take beside all that it was given.
TIMES_WHAT_IS_GIVEN = 8
ALLOWANCE_OF_A_VERB = 64 << 20


class Load:
    """What became of one process: whether the document was taken, the peak memory in bytes, the
    processor time in seconds and how many bytes it wrote."""

    def __init__(self, status, usage, errors, written):
        self.status = status
        self.peak = usage.ru_maxrss * 1024
        self.seconds = usage.ru_utime + usage.ru_stime
        self.errors = errors
        self.written = written


def beyond(small, large):
    """What took more time than it may, with what was measured. A start has time of its own."""
    growth = {name: max(4, handled / small[name][1]) for name, (_, handled) in large.items()}
    return [(name, small[name], large[name]) for name in large
            if large[name][0] >= small[name][0] * growth[name] * 9 / 4 + 0.5]


def least(one, other):
    """Of two measurements by name."""
    return {name: min(one[name], other[name]) for name in one}


class DocumentTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="hostile ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.file = self.folder / "index.xml"

    def write(self, begin, unit="", count=0, end=""):
        """`unit` is a text, or makes the text of a number."""
        with self.file.open("w", encoding="latin-1", newline="") as file:
            file.write(begin)
            if callable(unit):
                for first in range(0, count, 10000):
                    file.write("".join(map(unit, range(first, min(count, first + 10000)))))
            else:
                block = max(1, (1 << 20) // max(1, len(unit)))
                for _ in range(count // block):
                    file.write(unit * block)
                file.write(unit * (count % block))
            file.write(end)

    def run_program(self, *arguments):
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            process = subprocess.Popen([PROGRAM, *map(str, arguments)], stdout=output,
                                       stderr=errors, env={"HOME": str(self.folder)})
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            errors.seek(0)
            return Load(process.returncode, usage, errors.read().decode(errors="replace"),
                        os.fstat(output.fileno()).st_size)

    def run_one(self, arguments, size, statuses=(0,)):
        """Runs a verb that is given so many bytes; gives its processor time, and the bytes that it
        read and wrote."""
        load = self.run_program(*arguments)
        self.assertIn(load.status, statuses, load.errors[:500])
        self.assertLess(len(load.errors), 10_000)
        self.assertLessEqual(load.peak, TIMES_WHAT_IS_GIVEN * size + ALLOWANCE_OF_A_VERB,
                             f"{load.peak >> 20} MB for {size >> 10} KB, {arguments}")
        return load.seconds, size + load.written

    def check_growth(self, run, count, middle=True):
        """`run` does work for a count, and gives processor time and handled bytes, or these of each
        thing that it did by name. Four times the count take as much more as there is to handle,
        where what is quadratic would take sixteen times. Of several measurements the least counts:
        a busy machine only adds to it."""
        def named(done):
            return done if isinstance(done, dict) else {"": done}
        if middle:
            run(2 * count)
        small, large = named(run(count)), named(run(4 * count))
        for _ in range(3):
            if not beyond(small, large):
                return
            small, large = least(small, named(run(count))), least(large, named(run(4 * count)))
        self.assertEqual([], beyond(small, large), "more time than what is handled accounts for")

    def load(self, as_catalogue):
        if as_catalogue:
            return self.run_program("check", "--inventory", INVENTORY, "--catalogue", self.folder)
        return self.run_program("query", "--inventory", self.file, "--context", "svPath=none")

    def check(self, is_taken, words="", only=(False, True)):
        """Loads the document as an inventory and as a catalogue; gives both."""
        size = self.file.stat().st_size
        loads = []
        for as_catalogue in only:
            load = self.load(as_catalogue)
            refused = 4 if as_catalogue else 1
            self.assertEqual(load.status, 0 if is_taken else refused, load.errors[:500])
            self.assertIn(words, load.errors)
            self.assertLess(len(load.errors), 1000, "a message shows no more than it needs")
            self.assertLessEqual(load.peak, TIMES_THE_DOCUMENT * size + ALLOWANCE,
                                 f"{load.peak >> 20} MB for a document of {size >> 20} MB")
            loads.append(load)
        return loads

    def check_linear(self, make, count, is_taken=True):
        """Four times the document takes about four times the work, where a quadratic one would take
        sixteen times. Of several measurements the least counts: others only add to it."""
        small, large = [], []
        for _ in range(4):
            make(count)
            small.append(sum(load.seconds for load in self.check(is_taken)))
            make(4 * count)
            large.append(sum(load.seconds for load in self.check(is_taken)))
            if min(large) < 9 * min(small) + 0.1:
                return
        self.fail(f"{min(small)} s, then {min(large)} s")


def main():
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
