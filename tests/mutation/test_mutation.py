"""The mutation tester on a small program: each operator, the switch, and who is caught.

    test_mutation.py COMPILER
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import finding
import mutate
import operators
import records
import rewriting
import tree
import trials

HERE = pathlib.Path(__file__).resolve().parent
SAMPLE = HERE / "sample.cpp"
COMPILER = "c++"


class Sample(unittest.TestCase):
    """All mutants of the sample."""

    @classmethod
    def setUpClass(cls):
        cls.text = SAMPLE.read_bytes()
        cls.mutants = finding.find("sample.cpp", str(SAMPLE), ["-std=c++20"], cls.text)
        cls.numbered = list(enumerate(cls.mutants, 1))

    def number(self, change, line_part=""):
        found = [number for number, mutant in self.numbered
                 if mutant.change == change and line_part in mutant.line_text]
        self.assertEqual(len(found), 1, change)
        return found[0]


class Operators(Sample):
    def test_each_operator_appears(self):
        self.assertEqual({mutant.operator.split()[0] for mutant in self.mutants},
                         set(operators.RANKS))

    def test_changes_of_a_check(self):
        line = "if (value < kBound) return EKind::kSmall;"
        self.assertEqual(
            sorted(mutant.change for mutant in self.mutants if mutant.line_text == line),
            sorted(["value < kBound → value <= kBound", "value < kBound → value > kBound",
                    "value < kBound → !(value < kBound)",
                    "if (value < kBound) return EKind::kSmall → nothing",
                    "EKind::kSmall → EKind::kLarge"]))

    def test_changes_of_a_logical_operator(self):
        changes = {mutant.change for mutant in self.mutants if "IsSpecial(int" in mutant.line_text}
        self.assertEqual(changes, {
            "value == 12 || value == 13 → (value == 12) && (value == 13)",
            "value == 12 → value != 12", "value == 13 → value != 13",
            "12 → 11", "12 → 13", "13 → 12", "13 → 14",
            "return value == 12 || value == 13 → return true",
            "return value == 12 || value == 13 → return false"})

    def test_what_a_condition_declares_is_negated(self):
        self.number("const auto half = Half(value) → !(half)")

    def test_constants_of_the_language_and_macros_are_left_alone(self):
        for line in ("constexpr int kBound = 10;", "static_assert(Twice(2) == 4);",
                     "#define IS_ODD(value) ((value) % 2 == 1)", "if (IS_ODD(value)) return {};",
                     "std::array<char, 4> unused{};"):
            literal = [str(mutant) for mutant in self.mutants if mutant.line_text == line
                       and mutant.operator.startswith(("literal", "relation"))]
            self.assertEqual(literal, [], line)
        self.assertNotIn("3 → 4", [mutant.change for mutant in self.mutants
                                   if "case 3" in mutant.line_text])

    def test_places_are_those_of_the_source(self):
        lines = self.text.decode().splitlines()
        for mutant in self.mutants:
            begin = lines[mutant.line - 1].encode()[mutant.column - 1:]
            inner = mutant.before.removeprefix("if (").removeprefix("return ")
            self.assertTrue(begin.startswith(inner.encode()[:2]), mutant)


class Behaviour(Sample):
    """All of them compiled in, once for all tests."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.folder = tempfile.TemporaryDirectory(prefix="mutation-test-")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.program = pathlib.Path(cls.folder.name) / "sample"
        source = pathlib.Path(cls.folder.name) / "sample.cpp"
        source.write_bytes(rewriting.mutated(cls.text, HERE / "mutant_switch.h", cls.numbered))
        subprocess.run([COMPILER, "-std=c++20", "-O0", "-Werror=vla", source, "-o", cls.program],
                       check=True)
        cls.tests = [trials.Test(name, (str(cls.program), name), cls.folder.name, ())
                     for name in ("kinds", "special", "text", "twice", "child")]
        cls.reach = trials.Recorder(2, 60).record(cls.tests, [number for number, _ in cls.numbered])

    def reaching(self, number):
        return sorted(name for name, (_, numbers) in self.reach.items() if number in numbers)

    def catcher(self, number, names):
        tests = [test for test in self.tests if test.name in names]
        times = dict.fromkeys(names, 0.1)
        return trials.attempt(number, trials.order(tests, times), times)

    def test_without_a_mutant_it_behaves_as_before(self):
        self.assertEqual(sorted(self.reach), ["child", "kinds", "special", "text", "twice"])

    def test_a_bound_is_caught_by_the_test_of_the_bound_alone(self):
        number = self.number("value < kBound → value <= kBound")
        self.assertEqual(self.reaching(number), ["kinds", "text"])
        self.assertEqual(self.catcher(number, ["kinds"]), "kinds")
        self.assertIsNone(self.catcher(number, ["text"]))

    def test_a_defect_that_nothing_asserts_survives(self):
        number = self.number("13 → 12", "bool IsSpecial")
        self.assertEqual(self.reaching(number), ["child", "special"])
        self.assertIsNone(self.catcher(number, ["kinds", "special", "text", "child"]))

    def test_the_switch_reaches_a_child_with_an_empty_environment(self):
        number = self.number("12 → 11", "bool IsSpecial")
        self.assertEqual(self.catcher(number, ["child"]), "child")

    def test_what_the_compiler_may_run_itself_changes_where_the_program_runs_it(self):
        number = self.number("2 → 3", "constexpr int Twice")
        self.assertEqual(self.catcher(number, ["twice"]), "twice")

    def test_what_runs_for_ever_is_caught(self):
        self.assertEqual(trials.execute(["sleep", "60"], "/", (), 0, 0.2)[0], False)


class Rest(unittest.TestCase):
    def test_an_error_of_the_compiler_speaks_of_the_innermost_mutant(self):
        layer = rewriting.Layer(3, 9, 0, "(" + rewriting.INNER + ")")
        inner = rewriting.Layer(5, 6, 0, "[" + rewriting.INNER + "]")
        text = b"ab\ncdefghij"  # "ab\n(cd[e]fgh)ij"
        numbered = [(number, rewriting.Mutant("a", 2, 1, "relation", "", "", "", each))
                    for number, each in ((7, layer), (8, inner))]
        self.assertEqual([rewriting.at(text, numbered, 2, column) for column in (1, 3, 4, 6, 7, 11)],
                         [{7}, {7}, {8}, {8}, {7}, {7, 8}])
        self.assertEqual(rewriting.at(text, numbered, 1, 1), set())

    def test_nested_and_crossing_ranges(self):
        wrap = "<" + rewriting.INNER + ">"
        layers = [(1, rewriting.Layer(0, 6, 0, wrap)), (2, rewriting.Layer(2, 4, 0, wrap)),
                  (3, rewriting.Layer(2, 4, 1, wrap)), (4, rewriting.Layer(3, 7, 0, wrap))]
        text, spans = rewriting.render(b"abcdefgh", layers)
        self.assertEqual(text, b"<ab<<cd>>ef>gh")
        self.assertEqual(sorted(spans), [(0, 12, 1), (3, 9, 3), (4, 8, 2)])

    def test_a_sample_is_always_the_same_and_from_every_file(self):
        def mutant(file, number):
            layer = rewriting.Layer(number, number + 1, 0, rewriting.INNER)
            return rewriting.Mutant(file, number, 1, "relation", f"line {number}", "<", ">", layer)
        everything = [mutant(file, number) for file in "abc" for number in range(1, 21)]
        chosen = mutate.sample(everything, 6, "1")
        self.assertEqual(len(chosen), 6)
        self.assertEqual({each.file for each in chosen}, {"a", "b", "c"})
        self.assertEqual(chosen, mutate.sample(everything, 6, "1"))
        self.assertNotEqual(chosen, mutate.sample(everything, 6, "2"))
        self.assertEqual(mutate.sample(everything, 60, "1"), everything)

    def test_an_explanation_goes_by_the_text_of_the_line(self):
        explained = records.Explained("# A comment.\n\nfile: a\nline: if (x < y) {\n"
                                      "change: x < y → x <= y\nwhy: never the same,\n  as one says")
        layer = rewriting.Layer(0, 1, 0, rewriting.INNER)
        same = rewriting.Mutant("a", 7, 1, "relation", "if (x < y) {", "x < y", "x <= y", layer)
        other = rewriting.Mutant("a", 7, 1, "relation", "if (x < z) {", "x < y", "x <= y", layer)
        self.assertEqual(explained.of(same), "never the same, as one says")
        self.assertIsNone(explained.of(other))
        self.assertEqual(explained.stale([same]), [])
        self.assertEqual([block["line"] for block in explained.stale([other])], ["if (x < y) {"])

    def test_an_explanation_may_be_of_one_function_alone(self):
        explained = records.Explained("file: a\nfunction: F\nline: return 1;\nchange: 1 → 2\nwhy: b")
        layer = rewriting.Layer(0, 1, 0, rewriting.INNER)
        for function, why in (("F", "b"), ("G", None)):
            mutant = rewriting.Mutant("a", 7, 1, "literal", "return 1;", "1", "2", layer, function)
            self.assertEqual(explained.of(mutant), why)

    def test_an_explanation_of_a_file_that_is_gone_is_found(self):
        block = "file: {}\nline: a\nchange: b\nwhy: c"
        here = "tests/mutation/records.py"
        explained = records.Explained(block.format("no/such.cpp") + "\n\n" + block.format(here))
        self.assertEqual([each["file"] for each in explained.lost()], ["no/such.cpp"])

    def test_an_explanation_that_lacks_something_is_refused(self):
        for text in ("file: a\nline: b\nchange: c", "file: a\nfile: b", "what: a"):
            with self.assertRaises(tree.Failure):
                records.parse_explained(text)

    def test_what_is_explained_is_there(self):
        self.assertEqual(records.Explained().lost(), [])
        for block in records.Explained().blocks:
            lines = (tree.ROOT / block["file"]).read_text(encoding="utf-8").splitlines()
            self.assertIn(block["line"], [each.strip() for each in lines], block["file"])
            self.assertIn(block.get("function", ""), "\n".join(lines), block["file"])


if __name__ == "__main__":
    if len(sys.argv) > 1:
        COMPILER = sys.argv.pop(1)
    unittest.main()
