"""docs/one-query.md says what is so: every odd step of the plug-in that is marked is explained there,
every explanation is of such a step, and every function on the way of a byte stands where it says.

    one_query_page_test.py SOURCE
"""

import collections
import pathlib
import re
import sys
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1)).resolve()
PLUGIN = SOURCE / "plugins" / "version_checker"
PAGE = (SOURCE / "docs" / "one-query.md").read_text(encoding="utf-8")

MARK = re.compile(r'// Deliberate: see "([^"]+)" in docs/one-query\.md\.$', re.MULTILINE)
WORDS = re.compile(r"deliberate|on purpose", re.IGNORECASE)
TITLE = re.compile(r"^\*\*(.+?)\.\*\*", re.MULTILINE | re.DOTALL)
STEP = re.compile(r"^\d+\. `([\w./-]+)`: (.+)$", re.MULTILINE)
FILE = re.compile(r"`((?:[\w.-]+/)+[\w.-]+\.(?:cpp|h))`")


def section(name):
    """From this heading to the next of its rank."""
    return re.search(rf"^## {name}$(.*?)(?=^## |\Z)", PAGE, re.MULTILINE | re.DOTALL)[1]


def sources():
    for folder in (PLUGIN, SOURCE / "rules"):
        for file in sorted(folder.rglob("*")):
            if file.suffix in (".h", ".cpp"):
                yield file, file.read_text(encoding="utf-8")


def find(name):
    """A file that the page names from the plug-in's folder on, or from the top."""
    files = [top / name for top in (PLUGIN, SOURCE) if (top / name).is_file()]
    return files[0] if files else None


class OddSteps(unittest.TestCase):
    def test_are_explained_each_and_nothing_else(self):
        marked = {title for _, text in sources() for title in MARK.findall(text)}
        explained = collections.Counter(" ".join(title.split())
                                        for title in TITLE.findall(section("Odd on purpose")))
        self.assertEqual(sorted(marked), sorted(explained))
        self.assertEqual([title for title, count in explained.items() if count > 1], [])
        self.assertGreater(len(marked), 40)

    def test_are_all_marked_in_one_way(self):
        for file, text in sources():
            for number, line in enumerate(text.splitlines(), 1):
                if WORDS.search(line):
                    self.assertRegex(line, MARK, f"{file}:{number}")


class Ways(unittest.TestCase):
    def test_of_a_byte_and_a_record_go_through_functions_that_exist(self):
        steps = [step for name in ("One byte, from the file to a record",
                                   "One record, from there to a row of the page")
                 for step in STEP.findall(section(name))]
        self.assertGreater(len(steps), 25)
        for name, functions in steps:
            file = find(name)
            self.assertIsNotNone(file, name)
            text = file.read_text(encoding="utf-8")
            for function in re.findall(r"`(\w+)`", functions):
                self.assertRegex(text, rf"\b{function}\(", f"{function} in {name}")

    def test_name_files_that_exist(self):
        for name in FILE.findall(PAGE):
            self.assertIsNotNone(find(name), name)


class Page(unittest.TestCase):
    def test_has_lines_of_at_most_100_columns(self):
        self.assertEqual([line for line in PAGE.splitlines() if len(line) > 100], [])


if __name__ == "__main__":
    unittest.main()
