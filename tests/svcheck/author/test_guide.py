"""The commands of the guide for authors work as they are printed."""

import pathlib
import re
import shlex
import shutil

from made_files import deb, kernel_module
from program import SAMPLE, ProgramTest, main

DOCS = pathlib.Path(__file__).resolve().parents[3] / "docs"


class GuideTest(ProgramTest):
    def test_every_command(self):
        shutil.copytree(SAMPLE, self.folder / "data" / "sample")
        shutil.copytree(DOCS / "examples", self.folder / "docs" / "examples")
        self.write("packages/e1000e.deb", deb({"e1000e.ko": kernel_module("3.8.7")}))
        shutil.copy(SAMPLE / "inventory.xml", self.folder / "machine.xml")
        guide = (DOCS / "catalogue-authors.md").read_text()
        commands = [line for line in guide.splitlines() if line.startswith("svcheck ")]
        self.assertGreater(len(commands), 6)
        printed = {}
        for command in commands:
            with self.subTest(command):
                result = self.run_program(*shlex.split(command)[1:])
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                printed[command] = result.stdout
        self.assertIn(printed["svcheck catalogue lint data/sample/catalogue"], guide)
        self.assertIn(": 0 errors, 0 warnings.", printed["svcheck catalogue lint made"])

    def test_every_rule_is_named(self):
        table = (DOCS.parent / "svcheck" / "author" / "rules.cpp").read_text()
        rules = re.findall(r'^ {4}\{"([a-z-]+)", k(?:Error|Warning),', table, re.MULTILINE)
        self.assertGreater(len(rules), 40)
        guide = (DOCS / "catalogue-authors.md").read_text()
        finds = guide.split("What it finds:")[1].split("The table in")[0]
        self.assertEqual(re.findall("`([a-z-]+)`", finds), rules)


if __name__ == "__main__":
    main()
