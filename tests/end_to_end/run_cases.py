#!/usr/bin/env python3
"""Runs `svcheck query` on generated cases and compares it with the reference model.

Compared are the exit status, standard output byte for byte, the records, the whole log and the
files that a live query leaves. Texts that are the host's own (of its failures, and the return
value of a failed download) are compared by their level and place only.

  run_cases.py --svcheck build/release/bin/svcheck --cases 5000 --seed 1 --keep /tmp/cases
  run_cases.py --svcheck build/release/bin/svcheck --replay /tmp/cases/case-0017

With --wine the program is one for Windows. It is to say the same, but for its line ends and paths.
With --emulator it is one for another processor, and is to say the same.
"""

import argparse
import concurrent.futures
import contextlib
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile

import case_repository
from cases import Case, Maker
from platforms import Native, Wine
from reference import cimxml, query, shown, to_text
from reference.cim import Namespace
from reference.host import FreeText, HostError
from reference.reading import RECORD_KEYS

QUERY_LEFT_BY_EXCEPTION = 3
FAILED = 1


class Expected:
    """What the model says of one case."""

    def __init__(self, platform, folder, case, drives):
        self.records, self.log, self.output, self.status = [], [], "", 0
        self.platform = platform
        data_dir = os.path.join(folder, case.data_dir) if case.data_dir else os.path.join(
            os.path.dirname(platform.svcheck), "..", "share", "svcheck")
        files = platform.files(data_dir, drives)
        download = None
        if case.repository:
            download = case_repository.download(os.path.join(folder, case.repository), files)
        try:
            self._run(folder, case, files, download)
        except HostError as error:
            session = getattr(error, "session", None)
            self.status = QUERY_LEFT_BY_EXCEPTION if session else FAILED
            if session:
                self._take(session, case)

    def _run(self, folder, case, files, download):
        inventory = Namespace()
        if case.builtin_classes:
            inventory.declare_builtin_classes()
        for name in case.inventories:
            with open(os.path.join(folder, name), "rb") as file:
                cimxml.load(file.read(), inventory)
        context = {name: to_text(value) for name, value in context_of(self.platform, folder, case)}
        self._take(query.run(inventory, context, files, download), case)

    def _take(self, session, case):
        self.records = [{key: shown(text) for key, text in record.items()}
                        for record in session.records]
        self.log = [(level, text if isinstance(text, FreeText) else shown(text))
                    for level, text in session.log.entries
                    if case.log and level <= case.log_level]
        self.output = session.output


def context_of(platform, folder, case):
    """"@" in a path stands for the case's folder."""
    return [(name, platform.path(folder) + value[1:] if value.startswith("@") else value)
            for name, value in case.context]


def command_of(platform, folder, case, server):
    command = platform.command() + ["query"]
    for name in case.inventories:
        command += ["--inventory", name]
    if not case.builtin_classes:
        command += ["--no-builtin-classes"]
    for name, value in context_of(platform, folder, case):
        command += ["--context", f"{name}={value}"]
    if case.data_dir:
        command += ["--data-dir", case.data_dir]
    if case.repository:
        url = f"{server}/{os.path.basename(folder)}/{case.repository}/"
        command += ["--repository", url, "--allow-unsigned"]
    if case.log:
        command += ["--log", "log.ndjson"]
    if case.log and case.log_level != 4:
        command += ["--log-level", str(case.log_level)]
    return command + ["--drive-root", "drives", "--records", case.records]


def read_lines(path):
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8", newline="\n") as file:
        return [json.loads(line) for line in file]


def same_text(expected, actual):
    if isinstance(expected, FreeText):
        return actual.startswith(expected.prefix)
    return expected == actual


def log_difference(expected, actual):
    for index, (wanted, entry) in enumerate(zip(expected, actual)):
        if list(entry) != ["level", "message"]:
            return f"log entry {index} is no level and message: {entry}"
        if wanted[0] != entry["level"] or not same_text(wanted[1], entry["message"]):
            return _log_context(expected, actual, index)
    if len(expected) != len(actual):
        return _log_context(expected, actual, min(len(expected), len(actual)))
    return None


def _log_context(expected, actual, index):
    lines = [f"log differs at entry {index} ({len(expected)} expected, {len(actual)} logged)"]
    for place in range(max(0, index - 6), index):
        lines.append(f"    both     {expected[place]}")
    for place in range(index, min(index + 4, len(expected))):
        lines.append(f"    expected {expected[place]}")
    for place in range(index, min(index + 4, len(actual))):
        lines.append(f"    logged   {tuple(actual[place].values())}")
    return "\n".join(lines)


def records_difference(expected, actual):
    for index in range(max(len(expected), len(actual))):
        wanted = expected[index] if index < len(expected) else None
        record = actual[index] if index < len(actual) else None
        if wanted != record or list(record) != list(RECORD_KEYS):
            return f"record {index}\n    expected {wanted}\n    written  {record}"
    return None


def tree(folder):
    """The files below a folder and their contents; the downloads' own lock is nobody's answer."""
    found = {}
    for parent, _folders, names in os.walk(folder):
        for name in names:
            if name.endswith(".lock"):
                continue
            path = os.path.join(parent, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, folder)] = file.read()
    return found


def run_program(platform, folder, case, server):
    command = command_of(platform, folder, case, server)
    with open(os.path.join(folder, "command"), "w", encoding="utf-8") as file:
        file.write(shlex.join(command) + "\n")
    with platform.drives(folder):
        return subprocess.run(command, cwd=folder, env=platform.environment(folder),
                              capture_output=True, timeout=120, check=False)


def split_output(case, folder, output):
    """Standard output of the plug-in, and the records, which may stand behind it."""
    if case.records != "-":
        return output, read_lines(os.path.join(folder, case.records))
    lines = output.splitlines(keepends=True)
    first = next((i for i, line in enumerate(lines) if line.startswith(b"{")), len(lines))
    return b"".join(lines[:first]), [json.loads(line) for line in lines[first:]]


def difference(platform, folder, server):
    """None, or what differs first."""
    case = Case.load(folder)
    drives, model_drives = os.path.join(folder, "drives"), os.path.join(folder, "drives.model")
    shutil.copytree(drives, model_drives)
    result = run_program(platform, folder, case, server)
    expected = Expected(platform, folder, case, model_drives)
    if result.returncode != expected.status:
        return (f"exit status {result.returncode}, expected {expected.status}\n"
                f"    {result.stderr.decode(errors='replace').strip()}")
    if expected.status == FAILED:
        return None if result.stderr.count(b"\n") == 1 and not result.stdout else (
            f"a failure says one line on standard error: {result.stderr}")
    output, records = split_output(case, folder, platform.output(result.stdout))
    if output != expected.output.encode("latin-1"):
        return f"standard output\n    expected {expected.output!r}\n    written  {output!r}"
    return (records_difference(expected.records, records)
            or log_difference(expected.log, read_lines(os.path.join(folder, "log.ndjson")))
            or (None if tree(drives) == tree(model_drives) else "the files left behind differ"))


def run_case(arguments, number, root, server):
    folder = os.path.join(root, f"case-{number:05}")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    Maker(arguments.seed, number, folder, arguments.downloads).make()
    found = difference(arguments.platform, folder, server)
    if not found:
        shutil.rmtree(folder)
    return folder, found


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--svcheck", required=True, type=os.path.abspath)
    parser.add_argument("--cases", type=int, default=300)
    parser.add_argument("--first", type=int, default=0, help="number of the first case")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--keep", type=os.path.abspath, metavar="DIR",
                        help="where the cases that differ stay")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--show", type=int, default=1, help="how many differences to print")
    parser.add_argument("--no-downloads", dest="downloads", action="store_false",
                        help="no repository on loopback")
    parser.add_argument("--replay", type=os.path.abspath, metavar="DIR", help="one kept case")
    parser.add_argument("--wine", type=os.path.abspath, metavar="PROGRAM",
                        help="what runs the program, where that is one for Windows")
    parser.add_argument("--emulator", type=os.path.abspath, metavar="PROGRAM",
                        help="what runs the program, where that is one for another processor")
    arguments = parser.parse_args()
    arguments.platform = (Wine(arguments.svcheck, arguments.wine) if arguments.wine
                          else Native(arguments.svcheck, arguments.emulator))
    arguments.jobs = arguments.platform.jobs_at_most or arguments.jobs
    return arguments


def replay(arguments):
    folder = arguments.replay
    shutil.rmtree(os.path.join(folder, "drives.model"), ignore_errors=True)
    with case_repository.Server(os.path.dirname(folder)) as server:
        found = difference(arguments.platform, folder, server)
    print(found or "the program and the model agree")
    return 1 if found else 0


def main():
    arguments = parse_arguments()
    if arguments.replay:
        return replay(arguments)
    with contextlib.ExitStack() as stack:
        root = arguments.keep or stack.enter_context(tempfile.TemporaryDirectory())
        os.makedirs(root, exist_ok=True)
        stack.enter_context(arguments.platform.session())
        server = stack.enter_context(case_repository.Server(root))
        pool = stack.enter_context(concurrent.futures.ThreadPoolExecutor(arguments.jobs))
        numbers = range(arguments.first, arguments.first + arguments.cases)
        results = pool.map(lambda n: run_case(arguments, n, root, server), numbers)
        differing = 0
        for folder, found in results:
            if found:
                differing += 1
                if differing <= arguments.show:
                    print(f"{folder}: {found}")
    print(f"{arguments.cases} cases, {differing} differ")
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
