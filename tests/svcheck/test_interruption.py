"""SIGINT and SIGTERM in the middle of long work: the program ends at once, by the signal, and leaves
nothing half-written."""

import os
import signal
import subprocess
import unittest

from program import (DIALECT, MACHINE, SYSTEM, PROGRAM, ProgramTest, document, element, main,
                     usual_signals)

SIGNALS = (signal.SIGINT, signal.SIGTERM)


def memory_of(process):
    """Resident bytes; 0 once the process has ended."""
    try:
        with open(f"/proc/{process.pid}/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
    except (OSError, IndexError):
        return 0


class LongWork(ProgramTest):
    def start(self, *arguments, **more):
        return subprocess.Popen([PROGRAM, *map(str, arguments)], cwd=self.folder, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, env={"HOME": str(self.folder)},
                                preexec_fn=usual_signals, **more)

    def interrupt(self, number, process, is_under_way):
        """Ends the process when its work is under way; gives the processor time it took to end."""
        while not is_under_way():
            self.assertIsNone(process.poll(), process.stderr)
        before = self.processor_time(process)
        process.send_signal(number)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, -number)
        self.assertLess(usage.ru_utime + usage.ru_stime - before, 1)
        process.stdout.close()
        process.stderr.close()

    @staticmethod
    def processor_time(process):
        with open(f"/proc/{process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def large_catalogue(self):
        """So large that loading it takes a second or more."""
        one = document([element(category="BIOS", Version="1.1", description="x" * 200)])
        begin, instance, end = one.partition("<VALUE.OBJECT>")
        instance, closing, end = (instance + end).partition("</VALUE.OBJECT>")
        path = self.write("catalogue/index.xml", "")
        with path.open("w", encoding="ascii") as file:
            file.write(begin.replace("?>", f"?>{DIALECT}", 1))
            for _ in range(25):
                file.write((instance + closing + "\n") * 4000)
            file.write(end)
        return path.parent, path.stat().st_size

    def test_a_check_that_loads_a_large_catalogue(self):
        catalogue, size = self.large_catalogue()
        inventory = self.write("inventory.xml", document([MACHINE, SYSTEM]))
        for number in SIGNALS:
            with self.subTest(number):
                process = self.start("check", "--inventory", inventory, "--catalogue", catalogue,
                                     "--output", "report.json", "--format", "json")
                self.interrupt(number, process, lambda: memory_of(process) > size // 2)
                self.assertEqual(self.leftovers(), [])
                self.assertFalse((self.folder / "report.json").exists())

    def test_under_a_runner_that_ignores_and_blocks_signals(self):
        """As under nohup, or in the background of a shell's script."""
        before = {number: signal.signal(number, signal.SIG_IGN) for number in SIGNALS}
        self.addCleanup(lambda: [signal.signal(*pair) for pair in before.items()])
        mask = signal.pthread_sigmask(signal.SIG_BLOCK, SIGNALS)
        self.addCleanup(signal.pthread_sigmask, signal.SIG_SETMASK, mask)
        self.test_a_check_that_loads_a_large_catalogue()

    def test_a_repository_that_is_built(self):
        catalogue, size = self.large_catalogue()
        files = self.folder / "repository" / "files"
        files.mkdir(parents=True)
        (catalogue / "index.xml").rename(files / "large.xml")
        for number in SIGNALS:
            with self.subTest(number):
                process = self.start("repository", "build", files.parent)
                self.interrupt(number, process, lambda: memory_of(process) > size // 4)
                self.assertEqual([path.name for path in files.parent.iterdir()], ["files"])

    def test_a_catalogue_that_is_built(self):
        rows = "".join(f"BIOS,Update {number},YUE{number:06}A,{number:06},RHEL5\n"
                       for number in range(60000))
        rows = self.write("firmware.csv", "type,name,version,machine types,operating systems\n" + rows)
        for number in SIGNALS:
            with self.subTest(number):
                process = self.start("catalogue", "build", "--firmware", rows, "--output", "built")
                self.interrupt(number, process, lambda: memory_of(process) > 8 * rows.stat().st_size)
                self.assertEqual(self.leftovers(), [])
                self.assertFalse((self.folder / "built" / "index.xml").exists())


if __name__ == "__main__":
    main()
