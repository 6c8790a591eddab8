"""Samples that the style checker must refuse, and some that it must not."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import check_style

UNFINISHED = "TO" + "DO"

# (file, contents, what is said of it)
CHECKER = check_style.CHECKER

REFUSED = [
    (f"{CHECKER}query/a.cpp", "#if X\n", "a.cpp:1: #if in a plug-in folder"),
    (f"{CHECKER}catalogue/a.cpp", "int a;\n#ifdef _WIN32\n", "a.cpp:2: #ifdef in a plug-in folder"),
    (f"{CHECKER}inventory/a.h", "#ifndef A\nint a;\n", "a.h:1: #ifndef in a plug-in folder"),
    (f"{CHECKER}firmware/a.cpp", "  #  else\n", "a.cpp:1: #else in a plug-in folder"),
    (f"{CHECKER}drivers/a.cpp", "#elif X\n", "a.cpp:1: #elif in a plug-in folder"),
    (f"{CHECKER}inventory/a.cpp", f'#include "{CHECKER}firmware/b.h"\n',
     f'include of "{CHECKER}firmware/b.h" across a wall'),
    *((f"{CHECKER}{folder}/a.cpp", f'#include "{CHECKER}query/sv_plugin.h"\n', "across a wall")
      for folder in ("inventory", "catalogue", "firmware", "drivers")),
    (f"{CHECKER}inventory/a.h", f'#include "{CHECKER}catalogue/b.h"\n', "across a wall"),
    (f"{CHECKER}firmware/a.cpp", f'#include "{CHECKER}drivers/b.h"\n', "across a wall"),
    (f"{CHECKER}firmware/a.cpp", f'#include "{CHECKER}contents/b.h"\n', "across a wall"),
    (f"{CHECKER}drivers/a.cpp", "#include <runtime/hskcore/b.h>\n", "across a wall"),
    (f"{CHECKER}query/a.cpp", '#include "svcheck/b.h"\n', "across a wall"),
    ("runtime/xmlparser/a.cpp", f'#include "{CHECKER}inventory/b.h"\n', "across a wall"),
    ("runtime/xmlparser/a.cpp", '#include "svcheck/b.h"\n', "across a wall"),
    ("svcheck/a.cpp", f'#include "{CHECKER}query/sv_plugin.h"\n', "across a wall"),
    ("collect/a.cpp", f'#include "{CHECKER}inventory/b.h"\n', "across a wall"),
    ("host/hskcore/a.h", '#include "runtime/hskcore/b.h"\n', "across a wall"),
    ("rules/a.h", "#if X\n", "a.h:1: #if in a plug-in folder"),
    ("rules/a.h", '#include "host/hskcore/b.h"\n', "across a wall"),
    ("rules/a.h", f'#include "{CHECKER}inventory/b.h"\n', "across a wall"),
    ("runtime/acquire/a.cpp", '#include "rules/b.h"\n', "across a wall"),
    ("host/hskcore/a.h", '#include "rules/b.h"\n', "across a wall"),
    ("collect/a.cpp", '#include "rules/b.h"\n', "across a wall"),
    ("report/a.cpp", '#include "rules/b.h"\n', "across a wall"),
    ("base/a.cpp", '#include "runtime/hskcore/b.h"\n', "across a wall"),
    (f"{CHECKER}firmware/a.cpp", '#include "base/b.h"\n', "across a wall"),
    ("plugins/other/a.cpp", f'#include "{CHECKER}query/b.h"\n', "across a wall"),
    ("rules/a.cpp", "int a;\n", "a source file in rules/"),
    (f"{CHECKER}catalogue/a.cpp", '#include "../firmware/b.h"\n', "relative include"),
    (f"tests/{CHECKER}firmware/a.cpp", '#include "../b.h"\n', "relative include"),
    (f"{CHECKER}catalogue/a.cpp", '#include "b.h"\n', "without its folder"),
    (f"{CHECKER}query/a.cpp", "\n" * 401, "401 lines, at most 400"),
    (f"tests/{CHECKER}query/a.cpp", "\n" * 601, "601 lines, at most 600"),
    ("svcheck/a.cpp", f"// {UNFINISHED}: later\n", f"unfinished: {UNFINISHED}"),
    ("docs/a.md", f"{UNFINISHED}\n", f"unfinished: {UNFINISHED}"),
]

ACCEPTED = [
    (f"{CHECKER}query/a.h", "// A header.\n#ifndef PLUGIN_A_H_\n#define PLUGIN_A_H_\n#endif\n"),
    ("runtime/hskcore/a.cpp", "#if X\n#endif\n"),
    (f"{CHECKER}inventory/a.cpp", f'#include <string>\n#include "{CHECKER}inventory/b.h"\n'),
    (f"{CHECKER}catalogue/a.cpp", f'#include "{CHECKER}inventory/b.h"\n'),
    (f"{CHECKER}query/a.cpp",
     f'#include "{CHECKER}firmware/b.h"\n#include "host/hskcore/cim.h"\n'),
    ("svcheck/a.cpp", '#include <fmt/format.h>\n#include "runtime/hskcore/b.h"\n'),
    (f"{CHECKER}drivers/a.cpp", '#include "rules/b.h"\n'),
    ("svcheck/author/a.cpp", '#include "rules/b.h"\n'),
    ("runtime/acquire/a.cpp", '#include "base/b.h"\n'),
    ("rules/a.h", '#include <string_view>\n#include "rules/b.h"\n'),
    (f"tests/{CHECKER}query/a.cpp", "\n" * 600),
    ("docs/a.md", UNFINISHED + "S are no word of that kind\n"),
]


def problems_of(name, contents):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, name)
        path.parent.mkdir(parents=True)
        path.write_text(contents, encoding="utf-8")
        return [f"{file}:{line}: {text}"
                for file, line, text in check_style.problems(pathlib.Path(folder))]


class Samples(unittest.TestCase):
    def test_refused(self):
        for name, contents, expected in REFUSED:
            with self.subTest(name=name, contents=contents[:60]):
                found = problems_of(name, contents)
                self.assertEqual(len(found), 1, found)
                self.assertIn(expected, found[0])

    def test_accepted(self):
        for name, contents in ACCEPTED:
            with self.subTest(name=name, contents=contents[:60]):
                self.assertEqual(problems_of(name, contents), [])

    def test_function_lengths(self):
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "a.cpp").write_text("int A() {\n  return 1;\n}\n")
            self.assertEqual(list(check_style.function_lengths(pathlib.Path(folder))),
                             [(3, "a.cpp", 1)])


class Constructors(unittest.TestCase):
    COMPILER = None

    def archive_of(self, folder, code):
        source, archive = pathlib.Path(folder, "a.cpp"), pathlib.Path(folder, "a.o")
        source.write_text(code)
        subprocess.run([self.COMPILER, "-O2", "-c", source, "-o", archive], check=True)
        return archive

    def test_object_with_a_constructor_is_seen(self):
        with tempfile.TemporaryDirectory() as folder:
            bad = self.archive_of(folder, "#include <string>\nstd::string text(99, 'x');\n")
            self.assertNotEqual(check_style.constructors("nm", bad), [])
            good = self.archive_of(folder, "extern const int kOne;\nconst int kOne = 1;\n")
            self.assertEqual(check_style.constructors("nm", good), [])


if __name__ == "__main__":
    Constructors.COMPILER = sys.argv.pop(1)
    unittest.main()
