"""What the program says of files on standard error commands no terminal, whatever their names are."""

import re

from program import SAMPLE, ProgramTest, main
from public_metadata import component, metadata, release

# ESC, BEL, DEL, U+009B, marks of direction, ends of lines and paragraphs, a line end, a tab.
NAME = "a\033[2J\a\x7f\u009b\u202e\u2066\u200f\u061c\u2028\u2029\n\tz"
FORBIDDEN = re.compile("[\0-\x09\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]")
SHOWN = "a\ufffd[2J" + "\ufffd" * 9 + "  z"


class ErrorLines(ProgramTest):
    def assert_tame(self, *arguments, env=None, told=1):
        result = self.run_program(*arguments, env=env)
        self.assertNotEqual(result.stderr, "", arguments)
        self.assertIsNone(FORBIDDEN.search(result.stderr), (arguments, result.stderr))
        self.assertIn(SHOWN, result.stderr, arguments)
        self.assertEqual(result.stderr.count("\n"), told, result.stderr)
        for line in result.stderr.splitlines():
            self.assertTrue(line.startswith("svcheck: "), result.stderr)
        return result

    def test_name_what_is_not_there(self):
        inventory = self.inventory()
        for arguments in (
                ("check", "--catalogue", NAME, "--inventory", inventory),
                ("check", "--catalogue", self.catalogue(), "--inventory", NAME),
                ("check", "--catalogue", self.catalogue(), "--inventory", inventory, "--waivers", NAME),
                ("check", "--catalogue", self.catalogue(), "--inventory", inventory, "--plugin", NAME),
                ("check", "--catalogue", self.catalogue(), "--inventory", inventory, "--output",
                 NAME + "/x"),
                ("check", "--live", "--repository", "http://" + NAME, "--allow-unsigned",
                 "--inventory", inventory),
                ("query", "--inventory", NAME), ("report", NAME), ("diff", NAME, NAME),
                ("explain", "--catalogue", self.catalogue(), "--inventory", NAME),
                ("fleet", "--catalogue", NAME, "--inventories", inventory),
                ("fleet", "--merge", NAME), ("catalogue", "lint", NAME), ("catalogue", "list", NAME),
                ("repository", "build", NAME), ("repository", "verify", NAME, "--allow-unsigned")):
            self.assert_tame(*arguments)

    def test_name_what_is_on_the_command_line(self):
        for arguments in ((NAME,), ("check", NAME), ("check", "--" + NAME),
                          ("query", "--inventory", self.inventory(), "--context", NAME), ("check", "--format", NAME)):
            self.assert_tame(*arguments)

    def test_name_what_a_settings_file_and_the_environment_hold(self):
        self.assert_tame("check", "--catalogue", self.catalogue(), "--inventory", self.inventory(),
                         env={"SVCHECK_" + NAME: "1"})

    def test_name_machines_of_a_fleet(self):
        self.write("one.xml", self.inventory().read_bytes())
        self.write(f"{NAME}.xml", self.inventory().read_bytes())
        for given, found in (("one.xml", NAME + ".xml"), (NAME + ".xml", "one.xml")):
            fleet = ("fleet", "--catalogue", SAMPLE / "catalogue", "--output", "results.ndjson")
            done = self.run_program(*fleet, "--inventories", given)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assert_tame(*fleet, "--inventories", found, "--resume")
            (self.folder / "results.ndjson").unlink()

    def test_standard_output_names_what_was_made_as_tamely(self):
        from_list = self.write("list.csv", "type,name,version,machine types,operating systems\n"
                                           "bios,b,1,4638,RHEL5\n")
        firmware = self.write("firmware.xml", metadata(component(release("1"))))
        self.write(NAME + "/a.xml", (SAMPLE / "catalogue/index.xml").read_bytes())
        public, secret = NAME + ".pub", NAME + ".sec"
        for arguments in (
                ("repository", "keygen", "--no-password", "--repository-key", public,
                 "--secret-key", secret),
                ("repository", "build", NAME), ("repository", "sign", "--secret-key", secret, NAME),
                ("repository", "verify", "--repository-key", public, NAME),
                ("catalogue", "build", "--firmware", from_list, "--output", NAME + "/made"),
                ("catalogue", "build", "--firmware", from_list, "--merge", NAME + "/made"),
                ("catalogue", "import", "--lvfs", firmware, "--allow-unsigned", "--output",
                 NAME + "/made")):
            result = self.run_program(*arguments)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertIn(SHOWN, result.stdout, arguments)
            self.assertIsNone(FORBIDDEN.search(result.stdout), (arguments, result.stdout))
            self.assertEqual(result.stdout.count("\n"), 1, result.stdout)

    def test_have_an_end(self):
        result = self.run_program("report", "x" * 120_000)
        self.assertLess(len(result.stderr), 10_300)


if __name__ == "__main__":
    main()
