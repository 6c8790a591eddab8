"""Measures how the production code is laid out: rooms, ceremony, errors, comments, repetition.

    measure_house.py [--root DIR]                 one checkout
    measure_house.py --root OLD --beside NEW      two, side by side
    measure_house.py --list NAME [--root DIR]     what one figure counts, a line each

Production code is every C++ file outside tests, benchmarks and examples. The figures judge nothing;
check_style.py refuses what must not be.
"""

import argparse
import collections
import pathlib
import re
import statistics
import sys

import check_style

NO_PRODUCT = ("tests/", "benchmarks/", "examples/")
SHORT_FILE = 25
RUN = 6  # So many lines alike in two places are a repetition.

INCLUDE = re.compile(r'\s*#\s*include\s*[<"]([^">]+)[">]')
GUARD = re.compile(r"#(ifndef|define) \w+_H_$|#endif  ?// \w+_H_$|#pragma once$")
NAMESPACE = re.compile(r"(inline )?namespace\b[\w: ]*\{$|\}  ?// namespace\b")
NO_SUBSTANCE = re.compile(r"[\s{}();,]*$")
CLASS = re.compile(r"\b(?:class|struct)\s+(?:[A-Z_]+\s+)?(\w+)\s*(?:final\s*)?"
                   r"(?::(?!:)\s*([^{;]+))?\{")
THROWN = re.compile(r"\bthrow\s+([\w:]+)\s*[({]")
CATCH = re.compile(r"\bcatch\s*\(")
STANDARD_EXCEPTION = re.compile(r"std::(exception|\w+_error|bad_\w+|out_of_range|length_error)\b")
PLATFORMS = ("posix", "linux", "windows", "stub", "none", "fallback")


class TFile:
    """One file, its lines sorted into code, comment, ceremony and nothing."""

    def __init__(self, name, lines):
        self.name = name
        self.lines = lines
        self.is_header = name.endswith(".h")
        self.code = []  # (line from 0, text without what surrounds it)
        self.comments = 0
        self.ceremony = 0
        self.includes = []
        self._sort()

    def _sort(self):
        in_comment = False
        for index, line in enumerate(self.lines):
            text = line.strip()
            if in_comment or text.startswith(("//", "/*")):
                self.comments += 1
                in_comment = (in_comment or text.startswith("/*")) and "*/" not in text
                continue
            include = INCLUDE.match(line)
            if include:
                self.includes.append(include[1])
            if include or GUARD.match(text) or NAMESPACE.match(text):
                self.ceremony += 1
            elif text:
                self.code.append((index, text))

    def text(self):
        return "\n".join(text for _, text in self.code)

    def stem(self):
        """The name that a header shares with its sources, whatever their platform."""
        stem = self.name.rsplit(".", 1)[0]
        for platform in PLATFORMS:
            stem = stem.removesuffix("_" + platform)
        return stem


class THouse:
    def __init__(self, root):
        sources = [TFile(name, lines) for name, lines in check_style.files(root)
                   if name.endswith(check_style.SOURCES)]
        self.files = [file for file in sources if not file.name.startswith(NO_PRODUCT)]
        self.others = [file for file in sources if file.name.startswith(NO_PRODUCT)]
        self.functions = [entry for entry in check_style.function_lengths(root)
                          if not entry[1].startswith(NO_PRODUCT)]

    # --- What a figure counts, one line each ---

    def short_files(self):
        return [f"{file.name}: {len(file.lines)} lines" for file in self.files
                if len(file.lines) <= SHORT_FILE]

    def lonely_headers(self):
        """Headers that one file includes besides their own source, and no test."""
        includers = collections.defaultdict(set)
        for file in self.files:
            for name in file.includes:
                includers[name].add(file)
        tested = {name for file in self.others for name in file.includes}
        lonely = []
        for header in self.files:
            # Those of host/ are for plug-ins, and a test compiles each of them alone.
            if not header.is_header or header.name in tested or header.name.startswith("host/"):
                continue
            others = [file for file in includers[header.name] if file.stem() != header.stem()]
            if len(others) == 1:
                lonely.append(f"{header.name}: only {others[0].name}")
        return lonely

    def exception_types(self):
        """Classes of ours that derive from an exception, directly or not, or that are thrown."""
        classes, thrown = [], set()  # (name, bases, file): two files may have one of a name.
        for file in self.files:
            text = file.text()
            classes += [(name, bases, file.name) for name, bases in CLASS.findall(text)]
            thrown.update(name.split("::")[-1] for name in THROWN.findall(text)
                          if not name.startswith("std::"))
        names = {name for name, _, _ in classes if name in thrown}
        while True:
            found = [entry for entry in classes
                     if entry[0] in names or STANDARD_EXCEPTION.search(entry[1]) or
                     any(re.search(rf"\b{name}\b", entry[1]) for name in names)]
            if {name for name, _, _ in found} <= names:
                return sorted(f"{name} of {file}" for name, _, file in found)
            names |= {name for name, _, _ in found}

    def catch_sites(self):
        return [f"{file.name}:{index + 1}" for file in self.files for index, text in file.code
                if CATCH.search(text)]

    def long_functions(self):
        return [f"{name}:{line}: {length} lines" for length, name, line in self.functions
                if length > check_style.LONG_FUNCTION]

    def repetitions(self):
        """Each longest run that stands in an earlier place as well."""
        places, runs = {}, []
        for file in self.files:
            lines = [(index, text) for index, text in file.code if not NO_SUBSTANCE.match(text)]
            covered = -1
            for start in range(len(lines) - RUN + 1):
                window = tuple(text for _, text in lines[start:start + RUN])
                first = places.setdefault(window, (file.name, lines[start][0], start))
                if first[0] == file.name and start - first[2] < RUN:
                    continue  # Itself, or a run that repeats itself line by line.
                if start > covered + 1 or not runs:
                    runs.append(f"{file.name}:{lines[start][0] + 1} as {first[0]}:{first[1] + 1}")
                covered = max(covered, start)
        return runs

    # --- The table ---

    def figures(self):
        lines = sum(len(file.lines) for file in self.files)
        code = [len(file.code) for file in self.files] or [0]
        longest = max(self.files, key=lambda file: len(file.lines), default=None)

        def share(count):
            return f"{100 * count / max(lines, 1):.1f} %"

        return {
            "production files": len(self.files),
            "lines": lines,
            "code lines a file, mean": f"{statistics.mean(code):.0f}",
            "code lines a file, median": f"{statistics.median(code):.0f}",
            "includes, guards, namespaces": share(sum(file.ceremony for file in self.files)),
            "comments": share(sum(file.comments for file in self.files)),
            f"files of {SHORT_FILE} lines or fewer": len(self.short_files()),
            "headers": sum(1 for file in self.files if file.is_header),
            "headers of one includer, no test": len(self.lonely_headers()),
            "exception types": len(self.exception_types()),
            "catch sites": len(self.catch_sites()),
            f"functions over {check_style.LONG_FUNCTION} lines": len(self.long_functions()),
            "longest file": len(longest.lines) if longest else 0,
            f"repetitions of {RUN} lines and more": len(self.repetitions()),
        }

    LISTS = {
        "short": short_files,
        "headers": lonely_headers,
        "exceptions": exception_types,
        "catches": catch_sites,
        "functions": long_functions,
        "repetitions": repetitions,
    }


def table(columns):
    """Rows of a name and one figure of each checkout; two get their difference too."""
    rows = []
    for name in columns[0]:
        figures = [str(column[name]) for column in columns]
        difference = ""
        if len(columns) == 2 and all(isinstance(column[name], int) for column in columns):
            difference = f"{columns[1][name] - columns[0][name]:+d}"
        rows.append((name, *figures, difference))
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    return [row[0].ljust(widths[0]) + "".join(f"  {text.rjust(width)}"
                                              for text, width in zip(row[1:], widths[1:]))
            for row in rows]


def main(arguments=None):
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parents[2])
    parser.add_argument("--beside", type=pathlib.Path)
    parser.add_argument("--list", choices=THouse.LISTS)
    options = parser.parse_args(arguments)
    roots = [options.root] + ([options.beside] if options.beside else [])
    for root in roots:
        if not root.is_dir():
            parser.error(f"{root} is no folder; name a checkout")
    houses = [THouse(root) for root in roots]
    if options.list:
        print("\n".join(THouse.LISTS[options.list](houses[-1])))
    else:
        print("\n".join(line.rstrip() for line in table([house.figures() for house in houses])))
    return 0


if __name__ == "__main__":
    sys.exit(main())
