"""Completion, which is made from what help says."""

import pathlib
import shutil
import subprocess
import unittest

from program import BUILD, main
from test_help import HelpTest

TYPING = pathlib.Path(__file__).resolve().parent / "complete.zsh"
COMPLETION = BUILD / "share" / "completion"


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
