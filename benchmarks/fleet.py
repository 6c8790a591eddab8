#!/usr/bin/env python3
"""Measures `svcheck fleet`: what a further machine costs, machines a second, memory, growth.

    fleet.py --build build/bench [--most 100000] [--json FILE]

The catalogue has 10,000 elements of about 3.6 KB; a machine has 300 drivers, and some 350 elements
are for its type. No two machines read alike, but for those that are measured for it: they differ in
their serial numbers and names. Growth is measured with machines of 30 drivers, of 20 types. What is compared with
bare pugixml, which parses the catalogue in place, takes turns with it. Memory is the proportional
set size of the program and its workers: what they share counts once.
"""

import argparse
import contextlib
import json
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
ELEMENTS = 10_000
DRIVERS, FEW_DRIVERS = 300, 30
DIFFERENT = 100  # Machines that differ; more differ from these in the version of one driver.
TYPES = 20
MIB = 1 << 20
ROUNDS = 9

DRIVER = re.compile(r' *<VALUE\.OBJECT>\s*<INSTANCE CLASSNAME="QRXSG_DeviceDriverInfo">.*?'
                    r"</VALUE\.OBJECT>\n", re.S)


def seconds(command):
    start = time.perf_counter()
    subprocess.run(list(map(str, command)), check=True, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start


def memory_of(pid):
    """Bytes of a process and its children, shared ones counted once."""
    total = 0
    with contextlib.suppress(OSError):
        children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
        for process in [pid, *children]:
            text = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
            total += sum(int(line.split()[1]) for line in text.splitlines()
                         if line.startswith("Pss:")) * 1024
    return total


VERSION = re.compile(r'(NAME="Version" TYPE="string"><VALUE>)[^<]*')
OWN = ('<PROPERTY NAME="SerialNumber" TYPE="string"><VALUE>@</VALUE></PROPERTY>'
       '<PROPERTY NAME="Name" TYPE="string"><VALUE>host-@</VALUE></PROPERTY>')


class Machines:
    """Lines of inventories, each another one."""

    def __init__(self, inventory, types, drivers):
        rng = random.Random(drivers)
        found = DRIVER.findall(inventory)
        first = inventory.index(found[0])
        frame = inventory[:first], inventory[first + sum(map(len, found)):]
        self.inventories = []
        for number in range(DIFFERENT):
            chosen = rng.sample(found, drivers)
            chosen[0] = VERSION.sub(r"\1@", chosen[0], count=1)
            text = "".join(chosen).join(frame).replace("4620", types[number % len(types)])
            self.inventories.append(json.dumps(text))

    def line(self, number):
        inventory = self.inventories[number % DIFFERENT].replace("@", str(number))
        return f'{{"machine":"m{number}","inventory":{inventory}}}\n'.encode()


class Alike:
    """Machines of one model, set up alike: the first of others."""

    def __init__(self, machines):
        self.inventory = machines.inventories[0].replace("@", "7").replace(
            "</INSTANCE>", json.dumps(OWN)[1:-1] + "</INSTANCE>", 1)

    def line(self, number):
        inventory = self.inventory.replace("@", str(number))
        return f'{{"machine":"m{number}","inventory":{inventory}}}\n'.encode()


class Fleet:
    def __init__(self, build, folder):
        self.svcheck = build / "bin" / "svcheck"
        self.folder = folder
        subprocess.run([sys.executable, HERE / "make_catalogue.py", folder, "--elements",
                        str(ELEMENTS)], check=True)
        # An operating system that catalogues know.
        inventory = (folder / "inventory.xml").read_text().replace("5.2.3790", "5.2")
        (folder / "machine.xml").write_text(inventory)
        with open(folder / "index.xml", encoding="utf-8") as catalogue:
            types = sorted(set(re.findall(r"-\[(\d+)\]-</VALUE>", catalogue.read(8 * MIB))))
        self.large = Machines(inventory, ["4620"], DRIVERS)
        self.alike = Alike(self.large)
        self.small = Machines(inventory, types[:TYPES], FEW_DRIVERS)

    def query(self):
        return [self.svcheck, "query", "--inventory", self.folder / "machine.xml", "--context",
                f"svPath={self.folder}"]

    def file(self, machines, count):
        path = self.folder / f"{type(machines).__name__}{count}.ndjson"
        path.write_bytes(b"".join(map(machines.line, range(count))))
        return path

    def command(self, jobs):
        return [self.svcheck, "fleet", "--catalogue", self.folder, "--jobs", jobs]

    def run(self, machines, count, jobs):
        """Seconds and peak memory of one run, whose machines come through a pipe."""
        command = [*self.command(jobs), "--inventories", "-"]
        start = time.perf_counter()
        process = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL)
        peak = [0]

        def look():
            while process.poll() is None:
                peak[0] = max(peak[0], memory_of(process.pid))
                time.sleep(0.05)

        watcher = threading.Thread(target=look)
        watcher.start()
        for number in range(count):
            process.stdin.write(machines.line(number))
        process.stdin.close()
        if process.wait() != 0:
            raise subprocess.CalledProcessError(process.returncode, command)
        took = time.perf_counter() - start
        watcher.join()
        return took, peak[0]


def further_machine(fleet, pugixml):
    """What a machine more costs, beside one query and beside pugixml; rounds take turns."""
    rows = []
    files = [fleet.file(fleet.large, 1), fleet.file(fleet.large, 101),
             fleet.file(fleet.alike, 101), fleet.file(fleet.alike, 1101)]
    for _ in range(ROUNDS):
        one, many, few_alike, many_alike = (seconds([*fleet.command(1), "--inventories", path])
                                            for path in files)
        rows.append(((many - one) / 100, many, seconds(fleet.query()),
                     seconds([pugixml, fleet.folder / "index.xml"]),
                     (many_alike - few_alike) / 1000))
    further, many, query, bare, alike = (statistics.median(column) for column in zip(*rows))
    print(f"one query: {query:.3f} s; 101 machines in one process: {many:.3f} s, "
          f"{many / query:.1f} times that")
    print(f"bare pugixml: {bare:.3f} s; a machine more: {further * 1000:.2f} ms, 1/"
          f"{statistics.median(row[3] / row[0] for row in rows):.0f} of that; one that reads like "
          f"another: {alike * 1000:.3f} ms, 1/"
          f"{statistics.median(row[3] / row[4] for row in rows):.0f}")
    return {"query": query, "machines101": many, "further": further, "pugixml": bare,
            "alike": alike}


def throughput(fleet, most):
    print("\n| machines | drivers | workers | seconds | machines a second | memory |\n"
          "|---|---|---|---|---|---|")
    cases = [(fleet.large, DRIVERS, 1000, jobs) for jobs in (1, 2, 8)]
    count = 100
    while count <= most:
        cases.append((fleet.small, FEW_DRIVERS, count, 2))
        count *= 10
    rows = []
    for machines, drivers, count, jobs in cases:
        took, peak = fleet.run(machines, count, jobs)
        print(f"| {count:,} | {drivers} | {jobs} | {took:.2f} | {count / took:.0f} | "
              f"{peak / MIB:.1f} MiB |", flush=True)
        rows.append({"machines": count, "drivers": drivers, "workers": jobs, "seconds": took,
                     "peakBytes": peak})
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parent / "build" / "bench")
    parser.add_argument("--most", type=int, default=10_000, metavar="MACHINES")
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE")
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    with tempfile.TemporaryDirectory() as temporary:
        fleet = Fleet(build, pathlib.Path(temporary))
        figures = {"one": further_machine(fleet, build / "bin" / "rival_pugixml_dom"),
                   "runs": throughput(fleet, arguments.most)}
    if arguments.json:
        arguments.json.write_text(json.dumps(figures, indent=1) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
