"""Mutation tests: do the tests notice when the program is wrong?

    ./dev mutate [FOLDER|FILE]... [--most N] [--seed S] [--list] [--all] [--tests REGEX]
                 [--longest SECONDS] [--jobs N] [--again]

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
    parser.add_argument("--longest", type=float, default=SLOWEST_TEST, metavar="SECONDS",
                        help="only with tests that take so long at most without a mutant; "
                             "a later run without it tries the survivors with the others")
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


def tell_lost(blocks):
    for block in blocks:
        tree.say(f"{records.EXPLAINED.name}: explains what is not there: {block['file']}: "
                 f"{block['line']}: {block['change']}")


class Folder:
    """One folder or file: what was made of it and what became of that."""

    def __init__(self, where, options, explained):
        self.where = where
        self.explained = explained
        found = tree.candidates(where, options.jobs)
        tell_lost(explained.stale(found))
        self.chosen = sample(found, options.most, options.seed)
        self.survivors = []
        self.known = []
        self.caught = 0

    def count(self, mutant, verdict):
        if verdict["caught_by"]:
            self.caught += 1
        elif self.explained.of(mutant):
            self.known.append((mutant, verdict["reaching"]))
        else:
            self.survivors.append((mutant, verdict["reaching"]))

    def report(self, with_known):
        for mutant, reaching in self.survivors:
            print(f"{mutant} (reached by {reaching} tests)")
        for mutant, reaching in self.known if with_known else ():
            print(f"{mutant} (reached by {reaching} tests; explained: "
                  f"{self.explained.of(mutant)})")
        print(f"{self.where}: {self.caught} of {self.caught + len(self.survivors)} caught, "
              f"{len(self.known)} explained", flush=True)


class Run:
    """Everything that is built together, and tried folder by folder."""

    def __init__(self, folders, options):
        self.folders = folders
        self.options = options
        self.cache = records.Cache()
        self.lock = threading.Lock()
        self.tests_state = records.tests_state(options.tests)
        self.times = {}
        self.reaching = {}

    def start(self):
        chosen = [mutant for folder in self.folders for mutant in folder.chosen]
        if all(self.known(mutant) or self.cache.is_dropped(mutant) for mutant in chosen):
            self.numbered = [(0, mutant) for mutant in chosen if self.known(mutant)]
            return
        tree.say(f"{len(chosen)} mutants; building")
        self.build(chosen)
        tests = {test.name: test for test in trials.listed(self.options.tests)}
        self.reaching = {number: [] for number, _ in self.numbered}
        for test, (seconds, numbers) in self.reach(tests).items():
            self.times[test] = seconds
            for number in numbers:
                self.reaching[number].append(tests[test])

    def build(self, chosen):
        """Those that do not compile are remembered, so that the next run does not try."""
        left = [mutant for mutant in chosen if not self.cache.is_dropped(mutant)]
        self.numbered = tree.build(left, self.options.jobs)
        compiled = {mutant for _, mutant in self.numbered}
        for mutant in left:
            if mutant not in compiled:
                self.cache.keep(mutant, records.compiled_state(mutant), records.DROPPED, 0, 0)
        self.cache.save()

    def known(self, mutant):
        if self.options.again:
            return None
        known = self.cache.verdict(mutant, self.state(mutant))
        settled = known and (known["caught_by"] or known["longest"] >= self.options.longest)
        return known if settled else None

    def state(self, mutant):
        return records.mutant_state(mutant, self.tests_state)

    def reach(self, tests):
        """{test: (seconds, [numbers])}, of an earlier run when nothing has changed."""
        name = " ".join(folder.where for folder in self.folders)
        files = sorted({mutant.file for _, mutant in self.numbered})
        state = tree.digest(self.tests_state, *(f"{number} {mutant}" for number, mutant
                                                in self.numbered), *map(tree.content, files))
        reached = None if self.options.again else self.cache.reach(name, state)
        if reached is None:
            tree.say(f"which of {len(tests)} tests reach them?")
            recorder = trials.Recorder(self.options.jobs, SLOWEST_TEST)
            reached = recorder.record(list(tests.values()), [number for number, _ in self.numbered])
            for test, text in sorted(recorder.failing.items()):
                tree.say(f"left out, since it fails without a mutant: {test}")
                tree.write(tree.WORK / "failing" / test.replace("/", "_"), text.encode())
            self.cache.keep_reach(name, state, reached)
            self.cache.save()
        return reached

    def judge(self, folder):
        chosen = set(folder.chosen)
        mine = [(number, mutant) for number, mutant in self.numbered if mutant in chosen]
        todo = [(number, mutant) for number, mutant in mine if not self.known(mutant)]
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            for done, _ in enumerate(pool.map(self.one, todo), 1):
                if done % 10 == 0 or done == len(todo):
                    with self.lock:
                        self.cache.save()
                    tree.say(f"{folder.where}: {done} of {len(todo)} tried")
        for _, mutant in mine:
            folder.count(mutant, self.cache.verdict(mutant, self.state(mutant)))

    def one(self, item):
        """A mutant that has survived the quick tests before is tried with the others alone."""
        number, mutant = item
        tests = self.reaching[number]
        done = -1 if self.options.again else self.cache.survived(mutant, self.state(mutant))
        left = [test for test in tests if done < self.times[test.name] <= self.options.longest]
        groups = trials.order(left, self.times, self.cache.last_catcher(mutant))
        catcher = trials.attempt(number, groups, self.times)
        with self.lock:
            self.cache.keep(mutant, self.state(mutant), catcher, len(tests), self.options.longest)


def main(arguments=None):
    """Tries what the command line says; the exit status."""
    options = parse(arguments)
    explained = records.Explained()
    tell_lost(explained.lost())
    tree.WORK.mkdir(parents=True, exist_ok=True)
    tree.configure()
    folders = [Folder(where.rstrip("/"), options, explained)
               for where in options.where or tree.FOLDERS]
    if options.list:
        for folder in folders:
            for mutant in folder.chosen:
                print(mutant)
        return 0
    run = Run(folders, options)
    run.start()
    for folder in folders:
        run.judge(folder)
        folder.report(options.all)
    caught = sum(folder.caught for folder in folders)
    survivors = sum(len(folder.survivors) for folder in folders)
    print(f"{caught} of {caught + survivors} mutants caught")
    return 1 if survivors else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except tree.Failure as failure:
        print(f"mutate: {failure}", file=sys.stderr)
        sys.exit(2)
