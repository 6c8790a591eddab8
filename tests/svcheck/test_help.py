"""What the program says of its verbs and options when it is asked, and of what was mistyped."""

import re

from program import ProgramTest, main


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

    def test_each_row_says_in_words_what_it_is_for(self):
        for words in (("help",), *self.commands()):
            shown = self.run_program(*words).stdout if words == ("help",) else self.help(*words)
            first, _, rest = shown.partition("\n")
            self.assertRegex(first, r"^[A-Z][a-z].{10}", words)
            for row in re.findall(r"(?m)^  (\S.*)$", rest.partition("\nExamples:\n")[0]):
                with self.subTest(words, row=row):
                    name, blanks, text = re.fullmatch(r"(.*?)(  +(\S.*))?", row).groups()
                    self.assertRegex(name, r"^(-\w, )?(--)?[A-Za-z][\w.|/-]*( [A-Z][\w|.,=/-]*)?$")
                    self.assertTrue(blanks is None or re.match(r"[A-Z][a-z]+ [a-z]|[A-Z]", text),
                                    "what it is for")

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

    def test_what_was_mistyped_is_told_whole_with_where_help_is(self):
        formats = ("table, json, ndjson, csv, html, junit, nagios, prometheus, cyclonedx, sarif")
        for arguments, command, text in (
                ("check --catalog x", "check",
                 'there is no "--catalog" here; did you mean "--catalogue"? See'),
                ("check --formt=json", "check",
                 'there is no "--formt" here; did you mean "--format"? See'),
                ("check --frobnicate", "check", 'there is no "--frobnicate" here; see'),
                ("repository biuld x", "repository",
                 'there is no "biuld" here; did you mean "build"? See'),
                ("report a b", "report", 'there is no "b" here; see'),
                ("report", "report", "FILE is missing; see"),
                ("repository sign", "repository sign", "DIR is missing; see"),
                ("check --format jsn", "check",
                 f'--format: "jsn" is none of {formats}; did you mean "json"? See'),
                ("check --format pdf", "check", f'--format: "pdf" is none of {formats}; see'),
                ("check --fail-on none,outdated", "check",
                 '--fail-on: "none" stands alone, and here it is one of 2; see'),
                ("check --fail-on outdated,x,none", "check", '--fail-on: "x" is none of none, outdated, '
                 "unknown, newer, nothing, different; see"),
                ("repository build x --serial -1", "repository build",
                 '--serial: "-1" is no whole number, or below 0 or too large; see'),
                ("repository build x --days 1x", "repository build",
                 '--days: "1x" is no whole number; see')):
            with self.subTest(arguments):
                result = self.run_program(*arguments.split(" "))
                self.assertEqual((64, "", f"svcheck: {text} `svcheck {command} --help`\n"),
                                 (result.returncode, result.stdout, result.stderr))
        for word, meant in (("chekc", 'did you mean "check"? '), ("frobnicate", "")):
            result = self.run_program(word)
            self.assertEqual((64, "", f'svcheck: there is no verb "{word}"; {meant}`svcheck --help` '
                              "lists them all\n"),
                             (result.returncode, result.stdout, result.stderr))

    def test_nothing_is_suggested_for_what_is_far(self):
        self.assertNotIn("did you mean", self.run_program("frobnicate").stderr)


if __name__ == "__main__":
    main()
