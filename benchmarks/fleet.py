#!/usr/bin/env python3
"""Measures `svcheck fleet`: what a further machine costs, machines a second, memory, growth.

    fleet.py --build build/release [--pugixml build/bench/bin/rival_pugixml_dom] [--most 100000]

The catalogue has 10,000 elements of about 3.6 KB, the machines 300 drivers each. Memory is the
proportional set size of the program and its workers: what they share counts once.
"""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
MIB = 1 << 20
ROUNDS = 5


def seconds(command, **more):
    start = time.perf_counter()
    subprocess.run(list(map(str, command)), check=True, stdout=subprocess.DEVNULL, **more)
    return time.perf_counter() - start


def children(pid):
    try:
        text = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text()
    except OSError:
        return []
    return [int(child) for child in text.split()]


def memory_of(pid):
    """Bytes of a process and its children, shared ones counted once."""
    total = 0
    for process in [pid, *children(pid)]:
        try:
            text = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
        except OSError:
            continue
        total += sum(int(line.split()[1]) for line in text.splitlines()
                     if line.startswith("Pss:")) * 1024
    return total


class Fleet:
    def __init__(self, build, folder):
        self.svcheck = build / "bin" / "svcheck"
        self.folder = folder
        subprocess.run([sys.executable, HERE / "make_catalogue.py", folder, "--elements", "10000"],
                       check=True)
        inventory = (folder / "inventory.xml").read_text()
        self.lines = [(json.dumps({"machine": f"m{number}", "inventory": inventory}) + "\n")
                      .encode() for number in range(100)]

    def query(self):
        return [self.svcheck, "query", "--inventory", self.folder / "inventory.xml", "--context",
                f"svPath={self.folder}"]

    def run(self, machines, jobs):
        """Seconds and peak memory of one run, whose machines come through a pipe."""
        command = [self.svcheck, "fleet", "--catalogue", self.folder, "--inventories", "-",
                   "--jobs", str(jobs)]
        start = time.perf_counter()
        process = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL)
        peak = [0]

        def watch():
            while process.poll() is None:
                peak[0] = max(peak[0], memory_of(process.pid))
                time.sleep(0.05)

        watcher = threading.Thread(target=watch)
        watcher.start()
        for number in range(machines):
            process.stdin.write(self.lines[number % len(self.lines)])
        process.stdin.close()
        process.wait()
        took = time.perf_counter() - start
        watcher.join()
        return took, peak[0]


def further_machine(fleet, pugixml):
    """What the 101st machine costs, beside one query and beside pugixml; rounds take turns."""
    rows = []
    for _ in range(ROUNDS):
        one, many = fleet.run(1, 1)[0], fleet.run(101, 1)[0]
        rows.append(((many - one) / 100, many, seconds(fleet.query()),
                     seconds([pugixml, fleet.folder / "index.xml"]) if pugixml else 0))
    further, many, query, bare = (statistics.median(column) for column in zip(*rows))
    print(f"one query: {query:.3f} s; 101 machines in one process: {many:.3f} s, "
          f"{many / query:.1f} times one query")
    print(f"a further machine: {further * 1000:.2f} ms")
    if pugixml:
        print(f"bare pugixml: {bare:.3f} s, a further machine is 1/{bare / further:.0f} of that")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parent / "build" / "release")
    parser.add_argument("--pugixml", type=pathlib.Path, help="the program of the bench build")
    parser.add_argument("--most", type=int, default=10_000, metavar="MACHINES")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        fleet = Fleet(arguments.build.resolve(), pathlib.Path(temporary))
        further_machine(fleet, arguments.pugixml)
        print("\n| machines | workers | seconds | machines a second | memory |\n|---|---|---|---|---|")
        cases = [(1000, jobs) for jobs in (1, 2, 8)]
        size = 100
        while size <= arguments.most:
            cases.append((size, os.cpu_count()))
            size *= 10
        for machines, jobs in cases:
            took, peak = fleet.run(machines, jobs)
            print(f"| {machines:,} | {jobs} | {took:.2f} | {machines / took:.0f} | "
                  f"{peak / MIB:.1f} MiB |", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
