"""Mutation tests: do the tests notice when the program is wrong?

    ./dev mutate [FOLDER|FILE]... [--most N] [--seed S] [--list] [--all] [--tests REGEX]
                 [--jobs N] [--again]

Puts small deliberate defects (mutants) into the sources, all of them at once behind a switch, builds
that in build/mutate and tries each with the tests that reach it. Prints those that no test noticed
and, as its last line, how many were caught. A survivor that tests/mutation/equivalent.txt explains
does not count, neither as caught nor as a mutant.

Exit status: 0 all are caught or explained, 1 there are survivors, 2 nothing could be tried.
"""

import argparse
import concurrent.futures
import hashlib
import os
import sys
import threading

import records
import tree
import trials

SLOWEST_TEST = 900


def parse(arguments):
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("where", nargs="*", metavar="FOLDER|FILE",
                        help="what to change; without it each folder: " + " ".join(tree.FOLDERS))
    parser.add_argument("--most", type=int, metavar="N",
                        help="a sample of N mutants of each folder, spread over its files")
    parser.add_argument("--seed", default="1", help="another sample")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    parser.add_argument("--all", action="store_true", help="show the explained survivors, too")
    parser.add_argument("--tests", metavar="REGEX", help="only with these tests")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), metavar="N")
    parser.add_argument("--again", action="store_true",
                        help="try what an earlier run has tried of the same files")
    return parser.parse_args(arguments)


def sample(mutants, most, seed):
    """A part of them: from each file its share, and there from each operator in turn."""
    if most is None or most >= len(mutants):
        return mutants
    by_file = {}
    for mutant in mutants:
        by_file.setdefault(mutant.file, {}).setdefault(mutant.operator, []).append(mutant)
    ranked = []
    for file, by_operator in by_file.items():
        turns = sorted((turn, chance(seed, file, operator), mutant)
                       for operator, group in by_operator.items()
                       for turn, mutant in enumerate(shuffled(group, seed)))
        ranked += [((index + 0.5) / len(turns), chance(seed, file), mutant)
                   for index, (_, _, mutant) in enumerate(turns)]
    chosen = {mutant for _, _, mutant in sorted(ranked, key=lambda each: each[:2])[:most]}
    return [mutant for mutant in mutants if mutant in chosen]


def chance(*words):
    return hashlib.sha256("\n".join(str(word) for word in words).encode()).hexdigest()


def shuffled(mutants, seed):
    return sorted(mutants, key=lambda mutant: chance(seed, *mutant.identity))


class Run:
    """One folder or file: its mutants are built together and tried."""

    def __init__(self, where, options, cache, explained):
        self.where = where
        self.options = options
        self.cache = cache
        self.explained = explained
        self.lock = threading.Lock()
        self.survivors = []
        self.known = []
        self.caught = 0

    def mutants(self):
        found = tree.candidates(self.where, self.options.jobs)
        for file, line, change in self.explained.stale(found):
            tree.say(f"{records.EXPLAINED.name}: explains what is not there: {file}: {line}: "
                     f"{change}")
        return sample(found, self.options.most, self.options.seed)

    def list(self):
        for mutant in self.mutants():
            print(mutant)

    def try_all(self):
        name = " ".join(self.where)
        chosen = self.mutants()
        tree.say(f"{name}: {len(chosen)} mutants; building")
        numbered = tree.build(chosen, self.options.jobs)
        tests_state = records.tests_state(self.options.tests)
        states = {number: records.mutant_state(mutant, tests_state) for number, mutant in numbered}
        todo = [(number, mutant) for number, mutant in numbered
                if self.options.again or not self.cache.verdict(mutant, states[number])]
        if todo:
            tests = {test.name: test for test in trials.listed(self.options.tests)}
            reach = self.reach(name, tests, numbered, tests_state)
            self.judge(todo, tests, reach, states)
        for number, mutant in numbered:
            self.count(mutant, self.cache.verdict(mutant, states[number]))

    def reach(self, name, tests, numbered, tests_state):
        """{test: (seconds, [numbers])}, of an earlier run when nothing has changed."""
        state = tree.digest(tests_state, *(f"{number} {mutant}" for number, mutant in numbered),
                            *(tree.content(file) for file in sorted({mutant.file for _, mutant
                                                                     in numbered})))
        known = None if self.options.again else self.cache.reach(name, state)
        if known is None:
            tree.say(f"{name}: which of {len(tests)} tests reach them")
            recorder = trials.Recorder(self.options.jobs, SLOWEST_TEST)
            known = recorder.record(list(tests.values()), [number for number, _ in numbered])
            for test, text in sorted(recorder.failing.items()):
                tree.say(f"left out, since it fails without a mutant: {test}")
                tree.write(tree.WORK / "failing" / test.replace("/", "_"), text.encode())
            self.cache.keep_reach(name, state, known)
            self.cache.save()
        return known

    def judge(self, todo, tests, reach, states):
        times = {test: seconds for test, (seconds, _) in reach.items()}
        reaching = {number: [] for number, _ in todo}
        for test, (_, numbers) in reach.items():
            for number in numbers:
                if number in reaching and test in tests:
                    reaching[number].append(tests[test])
        done = 0

        def one(item):
            nonlocal done
            number, mutant = item
            groups = trials.order(reaching[number], times, self.cache.last_catcher(mutant))
            catcher = trials.attempt(number, groups, times)
            with self.lock:
                self.cache.keep(mutant, states[number], catcher, len(reaching[number]))
                done += 1
                if done % 10 == 0 or done == len(todo):
                    self.cache.save()
                    tree.say(f"  {done} of {len(todo)} tried")

        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            list(pool.map(one, todo))

    def count(self, mutant, verdict):
        if verdict["caught_by"]:
            self.caught += 1
        elif self.explained.of(mutant):
            self.known.append((mutant, verdict["reaching"]))
        else:
            self.survivors.append((mutant, verdict["reaching"]))

    def report(self):
        for mutant, reaching in self.survivors:
            print(f"{mutant} (reached by {reaching} tests)")
        for mutant, reaching in self.known if self.options.all else ():
            print(f"{mutant} (reached by {reaching} tests; explained: "
                  f"{self.explained.of(mutant)})")
        total = self.caught + len(self.survivors)
        tree.say(f"{' '.join(self.where)}: {self.caught} of {total} mutants caught, "
                 f"{len(self.known)} explained")


def main(arguments=None):
    options = parse(arguments)
    folders = [[one.rstrip("/")] for one in options.where] or [[one] for one in tree.FOLDERS]
    explained = records.Explained()
    tree.WORK.mkdir(parents=True, exist_ok=True)
    tree.configure()
    cache = records.Cache()
    runs = [Run(where, options, cache, explained) for where in folders]
    for run in runs:
        if options.list:
            run.list()
            continue
        run.try_all()
        cache.save()
        run.report()
    if options.list:
        return 0
    caught = sum(run.caught for run in runs)
    survivors = sum(len(run.survivors) for run in runs)
    print(f"{caught} of {caught + survivors} mutants caught")
    return 1 if survivors else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except tree.Failure as failure:
        print(f"mutate: {failure}", file=sys.stderr)
        sys.exit(2)
