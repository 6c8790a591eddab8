"""What the program says of itself: help, manual pages, completion, suggestions."""

import pathlib
import re
import shutil
import subprocess
import unittest

from program import BUILD, SOURCE, ProgramTest, main

PAGES = BUILD / "share" / "man" / "man1"
TYPING = pathlib.Path(__file__).resolve().parent / "complete.zsh"
COMPLETION = BUILD / "share" / "completion"


def verbs(test):
    shown = test.run_program("--help").stdout
    return re.findall(r"(?m)^  ([a-z]+) ", shown.split("Verbs:")[1])


class HelpTest(ProgramTest):
    def help(self, *words):
        result = self.run_program(*words, "--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def commands(self):
        """Every verb, and every command below one."""
        for verb in verbs(self):
            yield (verb,)
            listed = self.help(verb).partition("\nCommands:\n")[2].partition("\n\n")[0]
            for command in re.findall(r"(?m)^  ([a-z]+) ", listed):
                yield verb, command

    def options(self, *words):
        shown = self.help(*words).partition("\nOptions:\n")[2].partition("\n\n")[0]
        return re.findall(r"(?m)^  (?:-\w, )?(--[a-z-]+)", shown)


class Help(HelpTest):
    def test_every_command_has_it_and_lines_fit(self):
        for words in self.commands():
            with self.subTest(words):
                shown = self.help(*words)
                self.assertIn("Usage: svcheck " + " ".join(words), shown)
                self.assertIn("--help", self.options(*words))
                head = shown.partition("\nExamples:\n")[0]
                self.assertLessEqual(max(map(len, head.splitlines())), 100)
                self.assertNotRegex(shown, r"(?m) $|^  \S.*   \(", "a row without a text")

    def test_a_verb_lists_its_commands(self):
        self.assertEqual(self.help("repository").partition("\nCommands:\n")[2].partition("\n\n")[0],
                         "  keygen                    Make a pair of keys, as minisign -G does\n"
                         "  build                     Make or refresh the manifest of a folder of "
                         "descriptions\n"
                         "  sign                      Sign the manifest, as minisign -S does\n"
                         "  verify                    Check the signature, the manifest and every file")

    def test_an_option_stands_with_its_value_before_what_it_does(self):
        shown = self.help("catalogue", "list")
        self.assertIn("\n  --machine TYPE            Only those for the machine type\n", shown)
        self.assertIn("\n  --os CODE                 Only those for the operating-system code\n",
                      shown)

    def test_every_verb_shows_an_example(self):
        for verb in verbs(self):
            self.assertIn(f"\nExamples:\n  svcheck {verb}", self.help(verb))

    def test_no_verb_takes_what_it_has_no_use_for(self):
        self.assertIn("--repository", self.options("check"))
        self.assertNotIn("--repository", self.options("explain"))
        self.assertIn("--log", self.options("explain"))

    def test_choices_and_defaults_are_told(self):
        self.assertRegex(self.help("check"), r"(?s)--format FORMAT .*table, json.*default\s+table")
        self.assertRegex(self.help("check"), r"(?s)--live .*not with\s+--catalogue")
        self.assertRegex(self.help("repository", "sign"), r"(?s)--secret-key FILE .*required")

    def test_what_is_near_is_suggested(self):
        for arguments, meant in ((("chekc",), "check"), (("coll",), "collect"),
                                 (("check", "--catalog", "x"), "--catalogue"),
                                 (("check", "--formt=json"), "--format"),
                                 (("repository", "biuld", "x"), "build"),
                                 (("repository", "sign", "--secret", "x"), "--secret-key"),
                                 (("check", "--format", "jsn"), "json"),
                                 (("report", "x", "--fail-on", "outdatd"), "outdated"),
                                 (("completion", "bsh"), "bash")):
            with self.subTest(arguments):
                self.assert_failed(self.run_program(*arguments), 64, f'did you mean "{meant}"?')

    def test_what_is_missing_or_too_much_is_said_plainly(self):
        for arguments, text in ((("check", "--catalogue"), "--catalogue needs a value;"),
                                (("check", "--catalogue", "a", "--catalogue", "b"),
                                 "--catalogue may be given once only;"),
                                (("check", "--live", "--catalogue", "x"),
                                 "--catalogue does not go together with --live;"),
                                (("catalogue",), "say what to do: lint, list, build, import, fetch;"),
                                (("check", "--format", "pdf"),
                                 '--format: "pdf" is none of table, json, ndjson, ')):
            with self.subTest(arguments):
                self.assert_failed(self.run_program(*arguments), 64, text)

    def test_nothing_is_suggested_for_what_is_far(self):
        self.assertNotIn("did you mean", self.run_program("frobnicate").stderr)


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
