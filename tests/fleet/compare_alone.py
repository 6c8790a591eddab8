"""Each machine of a fleet has the records and the log that `svcheck query` has of it alone, whether
the log is kept whole, in part, or not at all; so as a line, and whatever machines are like it."""

import argparse
import collections
import concurrent.futures
import json
import pathlib
import subprocess
import sys
import tempfile

from generated import make_fleet

KEYS = ("Type", "Name", "InstalledVersion", "SVVersion")
UNREADABLE, EXCEPTION = 1, 3
PROGRESS = 3


def answers_of(path):
    """The records of each machine, and how its comparison ended."""
    answers = collections.defaultdict(lambda: ([], []))
    with open(path, encoding="utf-8") as lines:
        for line in map(json.loads, lines):
            answers[line["machine"]]["outcome" in line].append(line)
    return answers


def read(path):
    return path.read_bytes() if path.exists() else b""


def alone(svcheck, inventory, catalogue, work):
    """Exit status, records and log of one query."""
    records, log = work / f"{inventory.stem}.records", work / f"{inventory.stem}.log"
    run = subprocess.run([svcheck, "query", "--inventory", inventory, "--context",
                          f"svPath={catalogue}", "--records", records, "--log", log],
                         capture_output=True, check=False)
    told = [json.loads(line) for line in records.open()] if records.exists() else []
    return run.returncode, told, read(log)


def difference(answer, log, query):
    status, records, query_log = query
    told, ends = answer
    if len(ends) != 1:
        return f"{len(ends)} ends"
    if status == UNREADABLE:
        return None if ends[0]["outcome"] == "failed" and not told else f"unreadable, but {ends}"
    if (status == EXCEPTION) > (ends[0]["outcome"] == "failed"):
        return f"an exception left the query, but {ends}"
    if [{key: line[key] for key in KEYS} for line in told] != records:
        return f"records {told}\n  alone {records}"
    return None if log == query_log else "the logs differ"


def without_trace(log):
    return b"".join(line for line in log.splitlines(keepends=True)
                    if json.loads(line)["level"] <= PROGRESS)


def write_lines(path, files, answers):
    """The machines that can be compared and that a line of JSON holds. Returns their names."""
    names = []
    with open(path, "w", encoding="utf-8") as lines:
        for file in files:
            ends = answers[file.stem][1]
            try:
                inventory = file.read_bytes().decode()
            except UnicodeDecodeError:
                continue
            if inventory.startswith("<") and ends and ends[0]["outcome"] != "failed":
                print(json.dumps({"machine": file.stem, "inventory": inventory}), file=lines)
                names.append(file.stem)
    return names


class Fleet:
    """The results and logs of `svcheck fleet` with the log that its options ask for."""

    def __init__(self, folder, name, command):
        self.results, self.logs = folder / name, folder / f"{name} logs"
        subprocess.run([*command, "--output", self.results], check=True, stdout=subprocess.DEVNULL)

    def log_of(self, machine):
        return read(self.logs / f"{machine}.ndjson")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--svcheck", required=True, type=pathlib.Path)
    parser.add_argument("--machines", type=int, default=2000)
    arguments = parser.parse_args()
    svcheck = arguments.svcheck.resolve()
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        inventories, catalogue = make_fleet(folder, arguments.machines)
        work = folder / "alone"
        work.mkdir()
        command = [svcheck, "fleet", "--catalogue", catalogue, "--inventories", inventories,
                   "--jobs", "2"]
        whole = Fleet(folder, "whole", [*command, "--logs", folder / "whole logs"])
        part = Fleet(folder, "part", [*command, "--logs", folder / "part logs", "--log-level",
                                      str(PROGRESS)])
        bare = Fleet(folder, "bare", command)
        answers = answers_of(whole.results)
        files = sorted(inventories.iterdir())
        lines = folder / "machines.ndjson"
        named = write_lines(lines, files, answers)
        told = answers_of(Fleet(folder, "lines", [lines if part == inventories else part
                                                  for part in command]).results)
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            queries = pool.map(lambda file: alone(svcheck, file, catalogue, work), files)
            differing = sum(run.results.read_bytes() != whole.results.read_bytes()
                            for run in (part, bare))
            differing += sum(told[name] != answers[name] for name in named)
            records = 0
            for file, query in zip(files, queries):
                log = whole.log_of(file.stem)
                found = difference(answers[file.stem], log, query)
                if part.log_of(file.stem) != without_trace(log):
                    found = "without the trace the log is another one"
                records += len(query[1])
                if found:
                    differing += 1
                    print(f"{file.stem}: {found}"[:2000])
    print(f"{len(files)} machines, {records} records, {differing} differ")
    # Machines that have nothing to compare would prove nothing.
    return 1 if differing or records < len(files) else 0


if __name__ == "__main__":
    sys.exit(main())
