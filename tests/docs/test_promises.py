"""Every test that tests/promises.md names exists, and every file that a page links to.

A name is one of CTest (`svcheck.check`), of GoogleTest (`Suite.Name`, `Suite.*`, `Prefix/*`), a file,
or a method or class of the script that stands before it in the same row.
"""

import fnmatch
import pathlib
import re
import sys
import unittest

BUILD = pathlib.Path(sys.argv[1]).resolve()
SOURCE = pathlib.Path(sys.argv[2]).resolve()
PROMISES = SOURCE / "tests" / "promises.md"
GTEST = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)
PREFIX = re.compile(r"^INSTANTIATE_TEST_SUITE_P\(\s*(\w+),\s*(\w+)", re.MULTILINE)
CTEST = re.compile(r'^ *add_test\(\[=\[(.+?)\]=\] (.+)\)$', re.MULTILINE)


def read(path):
    return path.read_text(encoding="utf-8")


def rows(text):
    """[(number, sentence, names)] of a table of promises."""
    result = []
    for number, line in enumerate(text.splitlines(), 1):
        cells = re.split(r"(?<!\\)\|", line)
        if line.startswith("| ") and not line.startswith("| sentence"):
            result.append((number, cells[1].strip(), re.findall(r"`([^`]+)`", "|".join(cells[2:]))))
    return result


def gtest_names():
    names, prefixes = set(), {}
    for path in sorted((SOURCE / "tests").rglob("*.cpp")):
        text = read(path)
        names.update(f"{suite}.{name}" for suite, name in GTEST.findall(text))
        for prefix, suite in PREFIX.findall(text):
            prefixes.setdefault(suite, set()).add(prefix)
    for name in sorted(names):
        names.update(f"{prefix}/{name}" for prefix in prefixes.get(name.split(".")[0], ()))
    return names


def scripts():
    """{name: the Python file that runs, or None}."""
    found = {}
    for path in sorted(BUILD.rglob("CTestTestfile.cmake")):
        for name, command in CTEST.findall(read(path)):
            files = [word for word in re.findall(r'"([^"]+)"', command) if word.endswith(".py")]
            if files and not pathlib.Path(files[0]).is_file():
                continue  # Left behind in a build folder by a folder of tests that has moved.
            found[name] = pathlib.Path(files[0]) if files else None
    return found


class Names:
    """What a row may name."""

    def __init__(self, gtests, programs):
        self.gtests = gtests
        self.programs = programs

    def missing(self, names):
        """Those that there are not."""
        script = None
        result = []
        for name in names:
            if name.startswith("tests/"):
                script = SOURCE / name
                exists = script.exists()
            elif name in self.programs:
                script = self.programs[name]
                exists = True
            elif re.fullmatch(r"test_\w+|[A-Z]\w+", name):
                exists = script is not None and script.is_file() and re.search(
                    rf"^\s*(def|class) {name}\b", read(script), re.MULTILINE)
            elif name.startswith("fuzz_"):
                exists = (SOURCE / "tests" / "fuzz" / f"{name}.cpp").is_file()
            else:
                exists = fnmatch.filter(self.gtests, name)
            if not exists:
                result.append(name)
        return result


class Promises(unittest.TestCase):
    def setUp(self):
        self.names = Names(gtest_names(), scripts())
        self.rows = rows(read(PROMISES))

    def test_each_names_tests_that_exist(self):
        self.assertGreater(len(self.rows), 100)
        lost = []
        for number, sentence, names in self.rows:
            if not names:
                lost.append(f"{PROMISES.name}:{number}: no test holds: {sentence}")
            lost += [f"{PROMISES.name}:{number}: there is no test {name}"
                     for name in self.names.missing(names)]
        self.assertEqual(lost, [], "\n" + "\n".join(lost))

    def test_a_name_that_is_none_is_found(self):
        names = Names({"A.B", "P/A.B"}, {"svcheck.x": SOURCE / "tests/docs/test_promises.py"})
        for good in (["A.B"], ["A.*"], ["P/*"], ["svcheck.x", "Promises"], ["tests/docs"],
                     ["svcheck.x", "test_a_name_that_is_none_is_found"], ["fuzz_module"]):
            self.assertEqual(names.missing(good), [], good)
        for bad in ("A.C", "B.*", "Q/*", "svcheck.y", "test_x", "Promises", "fuzz_x", "tests/x"):
            self.assertEqual(names.missing([bad]), [bad])
        self.assertEqual(names.missing(["svcheck.x", "test_of_another"]), ["test_of_another"])
        self.assertEqual(rows("| sentence | test |\n|---|---|\n| a \\| b | `C.D`; `e` |\n"),
                         [(3, "a \\| b", ["C.D", "e"])])


class Links(unittest.TestCase):
    def test_each_leads_to_a_file(self):
        pages = [*SOURCE.glob("*.md"), *(SOURCE / "docs").rglob("*.md"), PROMISES]
        self.assertGreater(len(pages), 20)
        lost = [f"{page.relative_to(SOURCE)}: {link}" for page in pages
                for link in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", read(page))
                if "://" not in link and not (page.parent / link).exists()]
        self.assertEqual(lost, [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
