"""The figures of a small made tree, each with a neighbour that it must not count."""

import contextlib
import io
import pathlib
import tempfile
import unittest

import measure_house

SIX = "".join(f"  Call{i}(one, two);\n" for i in range(6))
FIVE = SIX.split("\n", 1)[1]


def unlike(name, count):
    """So many lines, none of which stands elsewhere."""
    return "".join(f"int {name}{i};\n" for i in range(count))


TREE = {
    "svcheck/a.h": "// Why there is an a.\n"
                   "#ifndef SVCHECK_A_H_\n#define SVCHECK_A_H_\n\n#include <string>\n\n"
                   "namespace svc {\n\n"
                   "class TFailure : public std::runtime_error {};\n"
                   "class TNarrower final : public TFailure {};\n"
                   "struct TThrown {};\n"
                   "struct TNoException {};\n\n"
                   "}  // namespace svc\n\n#endif  // SVCHECK_A_H_\n",
    "svcheck/a.cpp": '#include "svcheck/a.h"\n\n' + "int F() {\n" + unlike("f", 39) + "}\n",
    "svcheck/b.cpp": '#include "svcheck/a.h"\n#include "svcheck/tested.h"\n#include "svcheck/two.h"\n'
                     "\nvoid G() {\n  try {\n    throw TThrown();\n  } catch (...) {\n  }\n}\n"
                     "void H() {\n" + SIX + "}\n",
    "svcheck/c.cpp": '#include "svcheck/two.h"\n#include "svcheck/two_posix.h"\n\nvoid I() {\n\n'
                     "  // Otherwise laid out, but the same.\n  "
                     + SIX + "}\nvoid J() {\n" + FIVE.replace("two", "three") + "}\n",
    "svcheck/d.cpp": "void K() {\n" + FIVE.replace("two", "three") + "}\n"
                     "int L() {\n" + unlike("l", 38) + "}\n",
    "svcheck/tested.h": unlike("tested", 25),
    "svcheck/two.h": unlike("two", 26),
    "tests/svcheck/a_test.cpp": '#include "svcheck/tested.h"\nint x;\n' * 20,
    "benchmarks/b.cpp": "class TBench : public std::exception {};\n",
    "build/generated.cpp": "int generated;\n",
}


def house_of(tree):
    with tempfile.TemporaryDirectory() as folder:
        for name, contents in tree.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(contents, encoding="utf-8")
        return measure_house.THouse(pathlib.Path(folder))


class House(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.house = house_of(TREE)
        cls.figures = cls.house.figures()

    def test_only_production_code_counts(self):
        self.assertEqual(self.figures["production files"], 7)
        self.assertEqual(self.figures["lines"], sum(
            text.count("\n") for name, text in TREE.items() if name.startswith("svcheck/")))
        self.assertEqual(self.figures["headers"], 3)

    def test_lines_are_sorted(self):
        header = next(file for file in self.house.files if file.name == "svcheck/a.h")
        self.assertEqual((len(header.code), header.comments, header.ceremony), (4, 1, 6))
        self.assertEqual(self.figures["code lines a file, mean"], "25")
        self.assertEqual(self.figures["code lines a file, median"], "25")

    def test_short_files_end_at_25_lines(self):
        self.assertIn("svcheck/tested.h: 25 lines", self.house.short_files())
        self.assertNotIn("svcheck/two.h", " ".join(self.house.short_files()))

    def test_headers_of_one_includer(self):
        # The source of a header's own name is no includer, whatever its platform; two are two.
        self.assertEqual(self.house.lonely_headers(), ["svcheck/a.h: only svcheck/b.cpp"])

    def test_exception_types_are_thrown_or_derive_from_one(self):
        self.assertEqual(self.house.exception_types(),
                         [f"{name} of svcheck/a.h" for name in ("TFailure", "TNarrower", "TThrown")])

    def test_catch_sites(self):
        self.assertEqual(self.house.catch_sites(), ["svcheck/b.cpp:8"])

    def test_long_functions_are_over_40_lines(self):
        self.assertEqual(self.house.long_functions(), ["svcheck/a.cpp:3: 41 lines"])

    def test_repetitions_are_of_six_lines(self):
        self.assertEqual(self.house.repetitions(), ["svcheck/c.cpp:7 as svcheck/b.cpp:12"])

    def test_one_repetition_of_seven_lines_is_one(self):
        tree = {f"a/{name}.cpp": f"int {name};\n" + SIX + "  Last();\n" for name in "bcd"}
        self.assertEqual(house_of(tree).repetitions(),
                         ["a/c.cpp:2 as a/b.cpp:2", "a/d.cpp:2 as a/b.cpp:2"])

    def test_the_longest_file(self):
        self.assertEqual(self.figures["longest file"], TREE["svcheck/d.cpp"].count("\n"))


# Each is one thing whole that its only user would be too long with.
HEADERS_OF_ONE = {"runtime/acquire/transport_winhttp.h", "svcheck/fleet/process_windows.h"}


class ThisHouse(unittest.TestCase):
    """What stays held in the project itself."""

    @classmethod
    def setUpClass(cls):
        cls.house = measure_house.THouse(pathlib.Path(__file__).resolve().parents[2])

    def test_a_header_has_two_users_or_a_test(self):
        self.assertEqual({line.split(":")[0] for line in self.house.lonely_headers()},
                         HEADERS_OF_ONE)

    def test_there_is_one_exception_besides_the_hosts_and_that_of_documents(self):
        self.assertEqual({line.split()[0] for line in self.house.exception_types()},
                         {"TAssertionFailed", "THSKException", "TDocumentError", "TError"})

    def test_no_function_is_longer_than_a_page(self):
        self.assertEqual(self.house.long_functions(), [])

    def test_nothing_of_six_lines_stands_in_two_places(self):
        self.assertEqual(self.house.repetitions(), [])


class Table(unittest.TestCase):
    def test_two_stand_side_by_side_with_their_difference(self):
        rows = measure_house.table([{"lines": 120, "comments": "6.4 %"},
                                    {"lines": 98, "comments": "7.0 %"}])
        self.assertEqual(rows, ["lines       120     98  -22", "comments  6.4 %  7.0 %     "])

    def test_a_folder_that_is_none_is_refused(self):
        error = io.StringIO()
        with contextlib.redirect_stderr(error), self.assertRaises(SystemExit) as end:
            measure_house.main(["--root", "/no/such/folder"])
        self.assertEqual(end.exception.code, 2)
        self.assertIn("/no/such/folder is no folder", error.getvalue())

    def test_a_folder_without_code_is_measured(self):
        self.assertEqual(house_of({}).figures()["production files"], 0)


if __name__ == "__main__":
    unittest.main()
