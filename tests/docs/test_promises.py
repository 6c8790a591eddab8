"""Every test that tests/promises.md names exists, and every file that a page links to; the lists of
the pages hold what there is.

A name is one of CTest (`svcheck.check`), of GoogleTest (`Suite.Name`, `Suite.*`, `Prefix/*`), a file,
or a method or class of the script that stands before it in the same row.
"""

import fnmatch
import hashlib
import os
import pathlib
import re
import subprocess
import sys
import tempfile
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


def table(page, *titles):
    """The rows of the tables of a page that have these titles: lists of cells."""
    rows, is_in_it = [], False
    for line in read(SOURCE / "docs" / page).splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")] if line[:1] == "|" else []
        if cells[:len(titles)] == list(titles):
            is_in_it = True
        elif not cells:
            is_in_it = False
        elif is_in_it and not set(line) <= set("|-: "):
            rows.append(cells)
    return rows


class Lists(unittest.TestCase):
    def test_dependencies_are_the_packages_that_dev_installs(self):
        named = set()
        for title in (("library", "package"), ("tool", "package")):
            for tools, packages, *_ in table("dependencies.md", *title):
                named |= set((tools if packages == "the same" else packages).split(", "))
        compilers = read(SOURCE / "docs" / "dependencies.md").split("what drives them are ")[1]
        named |= set(re.split(r",?\s+(?:and\s+)?", compilers.split(".")[0]))
        installed = {package for packages in
                     re.findall(r"(?ms)^\w+_packages=\((.*?)\)", read(SOURCE / "dev"))
                     for package in packages.split()}
        self.assertGreater(len(installed), 50)
        self.assertEqual(named, installed)

    def test_reliability_names_each_target_of_fuzzing(self):
        targets = [f"`{path.stem[len('fuzz_'):]}`"
                   for path in (SOURCE / "tests" / "fuzz").glob("fuzz_*.cpp")
                   if path.stem != "fuzz_support"]
        named = [row[0] for row in table("reliability.md", "target", "input")]
        self.assertEqual(sorted(named), sorted(targets))

    def test_status_codes_are_those_of_the_header(self):
        named = [(name.strip("`"), code) for code, name, _ in
                 table("host-interface.md", "code", "name", "meaning")]
        header = read(SOURCE / "host" / "hskcore" / "status.h")
        self.assertEqual(named, re.findall(r"(?m)^  (k\w+) = (\d+)", header))

    def test_classes_of_an_inventory_are_those_that_need_no_declaration(self):
        named = [(row[0].strip("`"), re.findall(r"`(\w+)`(?: \((\w+)\))?", row[1]))
                 for row in table("inventory-format.md", "class", "properties", "says")]
        source = read(SOURCE / "runtime" / "hskcore" / "host_setup.cpp")
        built_in = source.split("kBuiltinClasses = {{")[1].split("}};")[0]
        kinds = {"": "", "kUint16": "uint16", "kString, true": "array"}
        declared = [(name, [(title, kinds[kind]) for title, kind in
                            re.findall(r'"(\w+)"(?:, ECIMType::(\w+(?:, true)?))?', properties)])
                    for name, properties in
                    re.findall(r'\{"((?:QRXSG|SVC)_\w+)",\s+\{(.*?)\}\}(?:,\n|$)', built_in, re.S)]
        self.assertEqual(named, declared)

    def test_catalogues_to_measure_with_are_what_the_page_says(self):
        """About 3.6 KB and twenty properties an element, 3.5 in 100 for 4620, 300 drivers."""
        sums = set()
        for seed in ("1", "2"):
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run([sys.executable, "-B", SOURCE / "benchmarks" / "make_catalogue.py",
                                folder, "--elements", "200"], check=True,
                               env={**os.environ, "PYTHONHASHSEED": seed})
                catalogue, inventory = (read(pathlib.Path(folder) / name)
                                        for name in ("index.xml", "inventory.xml"))
                sums.add(hashlib.sha256((catalogue + inventory).encode()).hexdigest())
        self.assertEqual(len(sums), 1)
        self.assertAlmostEqual(len(catalogue.encode()) / 200, 3600, delta=100)
        self.assertEqual(round(catalogue.count("<PROPERTY") / 200), 20)
        self.assertEqual(catalogue.count("-[4620]-"), 7)
        self.assertEqual(inventory.count('"QRXSG_DeviceDriverInfo"'), 300)

    def test_catalogues_of_other_kinds_are_what_the_page_says(self):
        """600 bytes an element; of ten elements nine with the texts of one before."""
        made = {}
        for kind in ("small", "shared", "usual"):
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run([sys.executable, "-B", SOURCE / "benchmarks" / "make_catalogue.py",
                                folder, "--elements", "500", "--kind", kind], check=True)
                made[kind] = read(pathlib.Path(folder) / "index.xml")
        self.assertAlmostEqual(len(made["small"].encode()) / 500, 600, delta=20)
        self.assertEqual(made["small"].count("<INSTANCE "), 500)
        for name in ("driverFiles", "changes"):
            texts = {kind: re.findall(f'"{name}" TYPE="string"><VALUE>(.*?)</VALUE>', made[kind])
                     for kind in made}
            different = {kind: len(set(texts[kind])) / max(1, len(texts[kind])) for kind in made}
            self.assertAlmostEqual(different["shared"], 0.1, delta=0.04, msg=name)
            self.assertGreater(different["usual"], 0.8, name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
