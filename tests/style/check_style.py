"""Checks the rules of this project that no compiler knows; prints each break as file:line: text.

    check_style.py [--root DIR]                    the sources
    check_style.py --report [--root DIR]           and how long the functions are
    check_style.py --constructors NM ARCHIVE...    what libraries do when they are loaded
"""

import argparse
import pathlib
import re
import subprocess
import sys

SOURCES = (".cpp", ".h")
TEXTS = SOURCES + (".py", ".cmake", ".md", ".sh", ".txt", ".map")
SKIPPED = ("build", ".git", "tests/fuzz/seeds", "tests/fuzz/dictionaries")

CHECKER = "plugins/version_checker/"
PUBLIC_FIRMWARE = "plugins/public_firmware/"
OWN_FOLDERS = ("host/", "rules/", "plugins/", "base/", "runtime/", "collect/", "report/",
               "svcheck/")

# Which headers a folder may include, by the beginning of their names.
WALLS = {
    "host/": ("host/",),
    "rules/": ("rules/",),
    "base/": ("base/",),
    "plugins/": ("rules/", "host/"),
    CHECKER + "inventory/": (CHECKER + "inventory/", "rules/", "host/"),
    **{CHECKER + folder: (CHECKER + folder, CHECKER + "inventory/", "rules/", "host/")
       for folder in ("catalogue/", "firmware/", "drivers/")},
    CHECKER + "query/": (CHECKER, "rules/", "host/"),
    PUBLIC_FIRMWARE: (PUBLIC_FIRMWARE, "host/"),
    "runtime/": ("runtime/", "base/", "host/"),
    "collect/": ("svcheck/", "collect/", "report/", "runtime/", "base/", "host/"),
    "report/": ("svcheck/", "collect/", "report/", "runtime/", "base/", "host/"),
    "svcheck/": ("svcheck/", "collect/", "report/", "rules/", "runtime/", "base/", "host/"),
}

LONGEST_FILE = 400
LONGEST_TEST = 600
LONG_FUNCTION = 40

UNFINISHED = re.compile(r"\b(" + "|".join(("TO" + "DO", "FIX" + "ME", "X" * 3)) + r")\b")
CONDITIONAL = re.compile(r"\s*#\s*(if|ifdef|ifndef|elif|else)\b\s*(\w*)")
INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^">]+)[">]')


def files(root):
    """Every text of the project, with its name below the root."""
    for path in sorted(root.rglob("*")):
        name = path.relative_to(root).as_posix()
        if name.startswith(tuple(folder + "/" for folder in SKIPPED)):
            continue
        if path.is_file() and (path.suffix in TEXTS or name == "dev"):
            yield name, path.read_text(encoding="utf-8", errors="replace").splitlines()


def is_include_guard(lines, index, macro):
    return bool(macro) and index + 1 < len(lines) and lines[index + 1] == f"#define {macro}"


def check_conditionals(name, lines):
    """Platforms differ by file in the plug-in's folders, chosen by CMake."""
    if not name.startswith(("plugins/", "rules/")):
        return
    for index, line in enumerate(lines):
        found = CONDITIONAL.match(line)
        if found and not (found[1] == "ifndef" and is_include_guard(lines, index, found[2])):
            yield index, f"#{found[1]} in a plug-in folder"


def check_walls(name, lines):
    folder = max((folder for folder in WALLS if name.startswith(folder)), key=len, default=None)
    allowed = WALLS.get(folder)
    for index, line in enumerate(lines):
        found = INCLUDE.match(line)
        if not found:
            continue
        if ".." in found[2].split("/"):
            yield index, f'relative include of "{found[2]}"'
        elif allowed and found[2].startswith(OWN_FOLDERS):
            if not found[2].startswith(allowed):
                yield index, f'include of "{found[2]}" across a wall'
        elif allowed and found[1] == '"':
            yield index, f'include of "{found[2]}" without its folder'


def check_length(name, lines):
    if not name.endswith(SOURCES + (".py",)):
        return
    longest = LONGEST_TEST if name.startswith("tests/") else LONGEST_FILE
    if len(lines) > longest:
        yield longest, f"{len(lines)} lines, at most {longest}"


def check_words(name, lines):
    for index, line in enumerate(lines):
        found = UNFINISHED.search(line)
        if found:
            yield index, f"unfinished: {found[1]}"


def check_headers_only(name, lines):
    """What both sides of the wall see must not have to be linked."""
    if name.startswith("rules/") and name.endswith(".cpp"):
        yield 0, "a source file in rules/, which has headers only"


SOURCE_CHECKS = (check_conditionals, check_walls, check_headers_only, check_length)


def problems(root):
    """(file, line from 1, text) of each break of a rule."""
    for name, lines in files(root):
        checks = (check_words,) + (SOURCE_CHECKS if name.endswith(SOURCES) else (check_length,))
        for check in checks:
            for index, text in check(name, lines):
                yield name, index + 1, text


def function_lengths(root):
    """(lines, file, line) of each function that begins in the first column."""
    for name, lines in files(root):
        if not name.endswith(".cpp"):
            continue
        start = None
        for index, line in enumerate(lines):
            if re.match(r"[\w~:<>&*\"(].*\) ?(const |noexcept |override )*\{$", line):
                start = index
            elif line == "}" and start is not None:
                yield index - start + 1, name, start + 1
                start = None


def report_functions(root):
    lengths = sorted(function_lengths(root))
    if not lengths:
        return
    short = sum(1 for length, _, _ in lengths if length <= LONG_FUNCTION)
    print(f"{len(lengths)} functions, half of them up to {lengths[len(lengths) // 2][0]} lines, "
          f"{100 * short // len(lengths)} % up to {LONG_FUNCTION}")
    for length, name, line in lengths[::-1][:10]:
        if length > LONG_FUNCTION:
            print(f"{name}:{line}: a function of {length} lines")


def constructors(nm, archive):
    """The code that a library of this archive runs when it is loaded."""
    symbols = subprocess.run([nm, "-C", archive], check=True, capture_output=True, text=True).stdout
    return [line for line in symbols.splitlines()
            if "_GLOBAL__" in line or "global constructors" in line]


def main(arguments=None):
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parents[2])
    parser.add_argument("--report", action="store_true")
    parser.add_argument("--constructors", nargs="+", metavar=("NM", "ARCHIVE"))
    options = parser.parse_args(arguments)
    if options.constructors:
        nm, *archives = options.constructors
        found = [f"{archive}: runs code on load: {line.strip()}"
                 for archive in archives for line in constructors(nm, archive)]
    else:
        found = [f"{name}:{line}: {text}" for name, line, text in problems(options.root)]
    for problem in found:
        print(problem)
    if options.report:
        report_functions(options.root)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
