"""The mutation build: a copy of the project below build/mutate with mutants in some sources.

    build/mutate/tree                 the copy; only files whose content changes are written
    build/mutate/tree/build/release   what is built of it; lies to its sources as the release build
                                      does, so that ccache takes from there what is not mutated
"""

import concurrent.futures
import functools
import hashlib
import json
import pathlib
import pickle
import re
import shlex
import subprocess
import sys

import finding
import operators
import rewriting

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutate"
TREE = WORK / "tree"
BUILD = TREE / "build" / "release"
HEADER = TREE / "tests" / "mutation" / "mutant_switch.h"
CHECKER = "plugins/version_checker/"
FOLDERS = ("rules", CHECKER + "query", CHECKER + "catalogue", CHECKER + "inventory",
           CHECKER + "firmware", CHECKER + "drivers", "plugins/public_firmware", "base",
           "runtime/hskcore", "runtime/xmlparser", "runtime/acquire", "runtime/plugin.nsp",
           "collect", "report", "svcheck")
MAKERS = tuple(pathlib.Path(module.__file__).read_bytes()
               for module in (finding, operators, rewriting))
ROUNDS = 25


class Failure(Exception):
    """What the user has to know; the command ends with it."""


def say(text):
    print(text, file=sys.stderr, flush=True)


def run(command, log):
    """Runs quietly; the output goes to a file of this name and is given back."""
    done = subprocess.run(command, cwd=WORK, text=True, errors="replace", check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    (WORK / log).write_text(done.stdout, encoding="utf-8")
    return done.returncode == 0, done.stdout


def project_files():
    listed = subprocess.run(["git", "ls-files", "-coz", "--exclude-standard"], cwd=ROOT, check=True,
                            stdout=subprocess.PIPE).stdout.decode().split("\0")
    return sorted(name for name in listed if name and (ROOT / name).is_file())


def digest(*pieces):
    total = hashlib.sha256()
    for piece in pieces:
        total.update(piece if isinstance(piece, bytes) else str(piece).encode())
        total.update(b"\0")
    return total.hexdigest()[:24]


def write(path, content, mode=None):
    """Only when it changes, so that what is built of it stays."""
    if not path.is_file() or path.read_bytes() != content:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
    if mode is not None and path.stat().st_mode != mode:
        path.chmod(mode)


@functools.cache
def content(name):
    """A file of the project as it was when the command first read it."""
    return (ROOT / name).read_bytes()


def is_mutated(path):
    return path.is_file() and path.read_bytes().startswith(f'#include "{HEADER}"'.encode())


def refresh(mutated, keep=False):
    """Makes the copy that of the project as it is now, with these sources {name: bytes} mutated.

    What a run before this one has mutated is kept on demand: it may become the same again.
    """
    names = project_files()
    for name in names:
        if not (keep and is_mutated(TREE / name)):
            write(TREE / name, mutated.get(name) or content(name), (ROOT / name).stat().st_mode)
    for path in set(TREE.rglob("*")) - {TREE / name for name in names}:
        if path.is_file() and not path.is_relative_to(BUILD):
            path.unlink()


def configure():
    refresh({}, keep=True)
    ok, output = run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja",
                      "-DCMAKE_BUILD_TYPE=Release", "-DSVC_TESTS=ON",
                      f"-DCMAKE_CXX_COMPILER_LAUNCHER={TREE}/tests/mutation/compile.sh"],
                     "configure.log")
    if not ok:
        raise Failure(output)


def sources(where):
    """{name: (path, arguments)} of the sources that are built, in this folder or file.

    Headers only where they are named, or the folder has nothing else: all that includes them is
    built again.
    """
    commands = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    result = {}
    for command in commands:
        path = pathlib.Path(command["file"])
        if not path.is_relative_to(TREE):
            continue
        name = path.relative_to(TREE).as_posix()
        if name == where or name.startswith(where + "/"):
            result.setdefault(name, (str(path), arguments_of(command)))
    return dict(sorted(result.items())) or headers(where, commands)


def headers(where, commands):
    """The same of headers, each as the first source sees it that may include it."""
    result = {}
    for name in project_files():
        if name.endswith(".h") and (name == where or name.startswith(where + "/")):
            seen = (arguments_of(command) for command in commands)
            for arguments in seen:
                if any((pathlib.Path(word[2:]) / name).is_file() for word in arguments):
                    result[name] = (str(TREE / name), ["-x", "c++", *arguments])
                    break
    return result


def arguments_of(command):
    """What libclang needs of a compiler's command line."""
    result = []
    words = iter(shlex.split(command["command"]))
    for word in words:
        if word in ("-isystem", "-include"):
            result += [word, next(words)]
        elif word.startswith(("-I", "-D", "-std=")):
            result.append(word)
    return result


def find_one(job):
    """The mutants of one source; those of a source that is as it was are kept in a file."""
    name, path, arguments = job
    kept = WORK / "found" / digest(name, content(name), *arguments, *MAKERS)
    if kept.is_file():
        return pickle.loads(kept.read_bytes())
    found = finding.find(name, path, arguments, content(name))
    write(kept, pickle.dumps(found))
    return found


def candidates(where, jobs):
    """All mutants there are in this folder or file."""
    found = sources(where)
    if not found:
        raise Failure(f"{where}: no source that is built here; folders are {', '.join(FOLDERS)} "
                      "and those below them")
    with concurrent.futures.ProcessPoolExecutor(jobs) as pool:
        lists = pool.map(find_one, [(name, *rest) for name, rest in found.items()])
        try:
            return [mutant for one in lists for mutant in one]
        except ValueError as problem:
            raise Failure(f"libclang cannot read what the compiler reads: {problem}") from problem


def spoiled(output, numbered):
    """Those of the numbered mutants that the compiler's errors speak of."""
    result = set()
    for found in set(re.findall(r"^(\S+?):(\d+):(\d+):\s+(?:fatal error|error|required from)",
                                output, re.MULTILINE)):
        path = (BUILD / found[0]).resolve()
        if path.is_relative_to(TREE):
            name = path.relative_to(TREE).as_posix()
            there = [each for each in numbered if each[1].file == name]
            if there:
                result |= rewriting.at(content(name), there, int(found[1]), int(found[2]))
    return result


def failed_files(output):
    return set(re.findall(r"^FAILED: \S*?CMakeFiles/[^/]+\.dir/(\S+)\.o", output, re.MULTILINE))


def build(mutants, jobs):
    """Builds with these mutants; gives those back that compile, numbered from 1."""
    numbered = list(enumerate(mutants, 1))
    for _ in range(ROUNDS):
        refresh(rewritten(numbered))
        ok, output = run(["ninja", "-C", str(BUILD), "-k", "0", f"-j{jobs}"], "build.log")
        if ok:
            return numbered
        bad = spoiled(output, numbered)
        if not bad:
            ends = tuple("/" + name for name in failed_files(output))
            bad = {number for number, mutant in numbered if ("/" + mutant.file).endswith(ends)}
        if not bad:
            raise Failure(f"{output[-4000:]}\nThe mutation build fails: {WORK}/build.log")
        numbered = [each for each in numbered if each[0] not in bad]
        say(f"  {len(bad)} mutants do not compile")
    raise Failure(f"The mutation build does not come to an end: {WORK}/build.log")


def rewritten(numbered):
    by_file = {}
    for number, mutant in numbered:
        by_file.setdefault(mutant.file, []).append((number, mutant))
    return {name: rewriting.mutated(content(name), HEADER, mutants)
            for name, mutants in by_file.items()}
