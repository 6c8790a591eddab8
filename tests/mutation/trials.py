"""Runs the project's tests on mutants: which test reaches which mutant, and which one fails.

A test is one that CTest knows. Those of one GoogleTest program that reach a mutant run together, in
one process that ends at the first failure.
"""

import concurrent.futures
import dataclasses
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import time

import tree

# What a mutant of the program can hardly change or what takes machines, browsers or packages.
LEFT_OUT = re.compile(r"^(docs|style|packages|mutation|virtual_server|qemu|wine|windows)\b"
                      r"|^svcheck\.(html|long_pages|fleet_pages|units)$|^hardening\.binaries$|\.reference_model$"
                      r"|_NOT_BUILT")
GTEST = re.compile(r"--gtest_filter=(.+)")
MOST_MEMORY = 6 << 30
MOST_FILE = 8 << 30
# Of a core, which is then none: where the program itself sees to that, it sets the same.
MOST_CORE = 1
REACHED_SIZE = 1 << 16


@dataclasses.dataclass(frozen=True)
class Test:
    name: str
    command: tuple
    folder: str
    environment: tuple

    @property
    def program(self):
        """The GoogleTest program that it is a test of, or None."""
        return self.command[0] if self.filter else None

    @property
    def filter(self):
        return next((found[1] for word in self.command if (found := GTEST.fullmatch(word))), None)


def listed(only=None):
    """The tests of the mutation build that mutants are tried with."""
    ok, output = tree.run(["ctest", "--test-dir", str(tree.BUILD), "--show-only=json-v1"],
                          "tests.log")
    if not ok:
        raise tree.Failure(output)
    result = []
    for test in json.loads(output[output.index("{"):])["tests"]:
        properties = {each["name"]: each["value"] for each in test.get("properties", ())}
        if LEFT_OUT.search(test["name"]) or "command" not in test:
            continue
        if properties.get("DISABLED") or "slow" in properties.get("LABELS", ()):
            continue
        if only is None or re.search(only, test["name"]):
            result.append(Test(test["name"], tuple(test["command"]),
                               properties.get("WORKING_DIRECTORY", str(tree.BUILD)),
                               tuple(properties.get("ENVIRONMENT", ()))))
    return result


def execute(command, folder, environment, mutant, limit, reached=None):
    """(passed, seconds, output) of one process and all that it starts; ends what takes too long."""
    variables = dict(os.environ, **dict(each.split("=", 1) for each in environment),
                     SVC_MUTANT=str(mutant))
    variables.pop("SVC_MUTANT_REACHED", None)
    if reached:
        variables["SVC_MUTANT_REACHED"] = str(reached)
    own = pathlib.Path(tempfile.mkdtemp(prefix="svcmut-"))
    own.chmod(0o755)  # tests that become another user find what they made
    variables["TMPDIR"] = str(own)
    start = time.monotonic()
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(
            ["prlimit", f"--data={MOST_MEMORY}", f"--fsize={MOST_FILE}", f"--core={MOST_CORE}", *command],
            cwd=folder, env=variables, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
            start_new_session=True)
        try:
            passed = process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            passed = False
        finally:
            end_group(process)
        seconds = time.monotonic() - start
        output.seek(max(0, output.tell() - 20000) if output.seekable() else 0)
        text = output.read(20000).decode(errors="replace")
    shutil.rmtree(own, ignore_errors=True)
    return passed, seconds, text


def end_group(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


def joined(tests):
    """The command of several tests of one program, or of a single test of another kind."""
    if not tests[0].program:
        return tests[0].command
    names = ":".join(test.filter for test in tests)
    return (tests[0].program, f"--gtest_filter={names}", "--gtest_also_run_disabled_tests",
            "--gtest_fail_fast", "--gtest_brief=1")


class Recorder:
    """Runs each test once without a mutant and notes what it reaches and how long it takes."""

    def __init__(self, jobs, limit):
        self.jobs = jobs
        self.limit = limit
        self.failing = {}

    def record(self, tests, numbers):
        """{test: (seconds, [numbers that it reaches])} of those that pass."""
        programs = {}
        for test in tests:
            programs.setdefault(test.program or test.name, []).append(test)
        result = {}
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            wholes = list(pool.map(lambda group: self.one(group, numbers), programs.values()))
            # A program that reaches none as a whole does so with none of its tests.
            rest = [test for group, (passed, _, reached) in zip(programs.values(), wholes)
                    for test in group if group[0].program and (reached or not passed)]
            for test, done in zip(rest, pool.map(lambda each: self.one([each], numbers), rest)):
                self.note(result, test, done)
        for group, done in zip(programs.values(), wholes):
            if not group[0].program:
                self.note(result, group[0], done)
        return result

    def one(self, group, numbers):
        with tempfile.NamedTemporaryFile(prefix="svcmut-reached-") as file:
            file.truncate(REACHED_SIZE)
            first = group[0]
            command = first.command if len(group) == 1 else joined(group)
            passed, seconds, text = execute(command, first.folder, first.environment, 0,
                                            self.limit, file.name)
            seen = pathlib.Path(file.name).read_bytes()
        if not passed and len(group) == 1:
            self.failing[first.name] = text
        return passed, seconds, [number for number in numbers if seen[number]]

    @staticmethod
    def note(result, test, done):
        passed, seconds, reached = done
        if passed and reached:
            result[test.name] = (seconds, reached)


def order(tests, times, first=None):
    """Groups of tests that run together, the one that caught it last time first, then the fastest."""
    groups = {}
    for test in tests:
        groups.setdefault(test.program or test.name, []).append(test)

    def cost(group):
        return (not any(test.name == first for test in group),
                sum(times[test.name] for test in group), group[0].name)
    return sorted(groups.values(), key=cost)


def attempt(number, groups, times):
    """The name of the test or program that fails with this mutant, or None when all pass."""
    for group in groups:
        usual = sum(times[test.name] for test in group)
        limit = min(10 * usual + 10, 2 * usual + 60)
        passed, _, _ = execute(joined(group), group[0].folder, group[0].environment, number, limit)
        if not passed:
            return group[0].name
    return None
