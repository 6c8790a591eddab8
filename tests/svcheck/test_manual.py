"""Manual pages and completion, which are made from what help says."""

import pathlib
import re
import shutil
import subprocess
import unittest

from program import BUILD, SOURCE, main
from test_help import HelpTest, verbs

PAGES = BUILD / "share" / "man" / "man1"
TYPING = pathlib.Path(__file__).resolve().parent / "complete.zsh"
COMPLETION = BUILD / "share" / "completion"


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


class Completion(HelpTest):
    """Asks each shell for what it would offer at the end of a line."""

    CASES = (("svcheck che", "check"), ("svcheck check --cata", "--catalogue"),
             ("svcheck check --format js", "json"), ("svcheck repository bu", "build"),
             ("svcheck repository build --day", "--days"), ("svcheck check --catalogue fo", "folder"),
             ("svcheck check --inventory fi", "file"), ("svcheck repository build fo", "folder"),
             ("svcheck check -f js", "json"), ("svcheck check -c fo", "folder"))

    def setUp(self):
        super().setUp()
        (self.folder / "folder").mkdir()
        self.write("file", "")

    def shell(self, *arguments, script):
        result = subprocess.run([*arguments], input=script, text=True, capture_output=True,
                                cwd=self.folder, timeout=60,
                                env={"PATH": f"{BUILD}/bin:/usr/bin:/bin", "TERM": "dumb",
                                     "HOME": str(self.folder), "LC_ALL": "C.UTF-8"})
        self.assertEqual((result.returncode, result.stderr), (0, ""), script)
        return result.stdout.split("\n")

    def bash(self, line):
        words = line.split(" ")
        return self.shell("bash", "--norc", script=f"""
            source '{COMPLETION}/svcheck.bash'
            COMP_WORDS=({' '.join(words)}) COMP_CWORD={len(words) - 1}
            _svcheck && printf '%s\\n' "${{COMPREPLY[@]}}" """)

    def test_bash(self):
        for line, offered in self.CASES:
            with self.subTest(line):
                self.assertEqual([word for word in self.bash(line) if word][0].rstrip(), offered)

    def test_bash_offers_every_option_of_every_command(self):
        for words in self.commands():
            if "\nCommands:\n" in self.help(*words):
                continue
            offered = self.bash(" ".join(("svcheck", *words, "--")))
            self.assertEqual(sorted(filter(None, offered)), sorted(self.options(*words)), words)

    def test_bash_after_an_equals_sign(self):
        script = f"""
            source '{COMPLETION}/svcheck.bash'
            COMP_WORDS=(svcheck check --format = js) COMP_CWORD=4
            _svcheck && printf '%s\\n' "${{COMPREPLY[@]}}" """
        self.assertEqual(self.shell("bash", "--norc", script=script)[0], "json")

    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_fish(self):
        for line, offered in self.CASES:
            with self.subTest(line):
                script = f"source '{COMPLETION}/svcheck.fish'\ncomplete -C '{line}'\n"
                found = [entry.split("\t")[0] for entry in self.shell("fish", "-N", script=script)]
                self.assertEqual(found[0].rstrip("/"), offered)

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh(self):
        typed = self.shell("zsh", "-f", TYPING, COMPLETION, *(line for line, _ in self.CASES),
                           script="")
        self.assertEqual(len(typed), len(self.CASES) + 1, typed)
        for (line, offered), found in zip(self.CASES, typed):
            with self.subTest(line):
                before = line.rpartition(" ")[0]
                self.assertEqual(found.rstrip(" =/"), f"{before} {offered}")

    def test_the_verb_prints_what_is_installed(self):
        for shell, name in (("bash", "svcheck.bash"), ("zsh", "_svcheck"), ("fish", "svcheck.fish")):
            result = self.run_program("completion", shell)
            self.assertEqual(result.stdout, (COMPLETION / name).read_text())
        self.assert_failed(self.run_program("completion", "csh"), 64, "csh")


if __name__ == "__main__":
    main()
