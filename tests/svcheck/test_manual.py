"""Manual pages, which are made from what help says."""

import re
import shutil
import subprocess
import unittest

from program import BUILD, SOURCE, main
from test_help import HelpTest, verbs

PAGES = BUILD / "share" / "man" / "man1"


class Manual(HelpTest):
    def test_every_verb_has_a_page_with_its_options(self):
        names = {path.name for path in PAGES.iterdir()}
        self.assertEqual(names, {"svcheck.1", *(f"svcheck-{verb}.1" for verb in verbs(self))})
        for words in self.commands():
            page = (PAGES / f"svcheck-{words[0]}.1").read_text().replace("\\-", "-")
            for option in self.options(*words):
                self.assertIn(f"\\fB{option}\\fR", page)

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_mandoc_finds_nothing(self):
        for page in PAGES.iterdir():
            result = subprocess.run(["mandoc", "-Tlint", "-Wwarning", page], capture_output=True,
                                    text=True)
            self.assertEqual((result.returncode, result.stdout), (0, ""), page)

    def test_the_page_of_check_tells_statuses_of_nagios_and_the_form_of_a_waiver(self):
        page = (PAGES / "svcheck-check.1").read_text().replace("\\-", "-")
        for status in ("0 OK", "1 WARNING", "2 CRITICAL", "3 UNKNOWN"):
            self.assertRegex(page, rf"\b{status}\b")
        keys = (SOURCE / "docs" / "waivers.md").read_text()
        for key in re.findall(r"(?m)^\| `(\w+)` \|", keys):
            self.assertIn(f"{key} = ", page)
        self.assertIn("[[waiver]]", page)

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_man_shows_them_without_a_warning(self):
        for page in PAGES.iterdir():
            result = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", page],
                                    capture_output=True, text=True,
                                    env={"PATH": "/usr/bin:/bin", "MANWIDTH": "80",
                                         "LC_ALL": "C.UTF-8", "MANROFFSEQ": ""})
            self.assertEqual((result.returncode, result.stderr), (0, ""), page)
            self.assertIn("SYNOPSIS", result.stdout)


if __name__ == "__main__":
    main()
