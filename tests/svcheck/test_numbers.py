"""Numbers on the command line, in the environment and in settings: each at its bounds and beside
them, and where machines' numbers end."""

import json

from program import SAMPLE, ProgramTest, main

# Where 32 and 64 bits end, and what would be small again behind that.
LARGE = tuple(str(number) for number in
              (2**31 - 1, 2**31, 2**32 - 1, 2**32, 2**32 + 1, 2**63 - 1, 2**63, 2**63 + 1, 2**64,
               2**64 + 1, 2**65 + 1, -2**31 - 1, -2**32 + 1, -2**63 - 1, -2**64 + 1))
ODD = ("", " ", "x", "1x", "1.0", "1e1", "0x1", "+1", " 1", "1 ", "--1", "1,000", "\u0661")


class NumbersTest(ProgramTest):
    def refuse(self, *arguments, env=None):
        result = self.run_program(*arguments, env=env)
        self.assert_failed(result, 64)
        return result.stderr

    def number_of(self, *arguments):
        """A run that gets past its command line."""
        result = self.run_program(*arguments)
        self.assertNotEqual(result.returncode, 64, (arguments, result.stderr))
        return result


class Options(NumbersTest):
    def test_jobs_are_within_their_bounds(self):
        fleet = ("fleet", "--catalogue", "none", "--inventories", "none.xml", "--jobs")
        for number in ("0", "1", "1023", "1024"):
            self.number_of(*fleet, number)
        for number in ("-1", "1025", *LARGE, *ODD):
            self.assertIn("--jobs", self.refuse(*fleet, number))

    def test_levels_of_the_log_are_within_their_bounds(self):
        query = ("query", "--inventory", SAMPLE / "inventory.xml", "--context",
                 f"svPath={SAMPLE / 'catalogue'}", "--log-level")
        for number in ("0", "1", "3", "4", "004"):
            self.number_of(*query, number)
        for number in ("-1", "5", *LARGE, *ODD):
            self.refuse(*query, number)

    def test_shards_are_within_their_count(self):
        fleet = ("fleet", "--catalogue", "none", "--inventories", "none.xml", "--shard")
        most = 2**64 - 1
        for shard in ("1/1", "1/2", "2/2", f"1/{most}", f"{most}/{most}", f"1/{2**32 + 1}"):
            self.number_of(*fleet, shard)
        for shard in ("0/1", "2/1", "1/0", "0/0", "-1/2", "1/-2", f"1/{2**64}", f"1/{2**64 + 1}",
                      f"{2**64 + 1}/2", f"{2**32 + 1}/2", "1", "/", "1/", "/1", "1/2/3", "1/2x",
                      " 1/2", "1 /2"):
            self.assertIn("is no shard", self.refuse(*fleet, shard))

    def test_widths_are_numbers_of_columns(self):
        check = ("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                 SAMPLE / "catalogue", "--width")
        for number in ("0", "1", "80", "99999"):
            self.number_of(*check, number)
        for number in ("-1", "100000", *LARGE, *ODD):
            self.assertIn("is no number of columns", self.refuse(*check, number))


class Serials(NumbersTest):
    def build(self, *arguments):
        self.write("repository/none", "").unlink()
        return self.number_of("repository", "build", "repository", *arguments)

    def manifest(self):
        return json.loads((self.folder / "repository/sv-repository.json").read_text())

    def test_serials_are_what_was_given(self):
        """One that is too large by mistake could never be followed by another."""
        for number in ("1", "10", str(2**31), str(2**32), str(2**32 + 1), str(2**63),
                       str(2**64 - 2), str(2**64 - 1)):
            self.build("--serial", number)
            self.assertEqual(self.manifest()["serial"], int(number))
            (self.folder / "repository/sv-repository.json").unlink()
        self.build("--serial", "010")
        self.assertEqual(self.manifest()["serial"], 10)

    def test_what_is_no_serial_is_refused_and_makes_nothing(self):
        (self.folder / "repository").mkdir()
        for number in ("-1", str(2**64), str(2**64 + 1), str(2**65 + 1), str(-2**64 + 1),
                       str(-2**63), *ODD):
            said = self.refuse("repository", "build", "repository", f"--serial={number}")
            self.assertIn("--serial", said)
            self.assertEqual(list((self.folder / "repository").iterdir()), [])

    def test_days_are_within_their_bounds(self):
        for number in ("0", "1", "36499", "36500", "010"):
            self.build("--days", number)
        for number in ("-1", "36501", *LARGE, *ODD):
            self.refuse("repository", "build", "repository", f"--days={number}")


class DaysOfAFetch(NumbersTest):
    def test_are_within_their_bounds(self):
        fetch = ("catalogue", "fetch", "--repository", "ftp://none", "--allow-unsigned", "--output",
                 "made", "--max-age")
        for number in ("0", "1", "36499", "36500"):
            self.number_of(*fetch, number)
        for number in ("-1", "36501", *LARGE, *ODD):
            self.assertIn("--max-age", self.refuse(*fetch, number))
        self.assertFalse((self.folder / "made").exists())


class Settings(NumbersTest):
    FLEET = ("fleet", "--catalogue", "none", "--inventories", "none.xml")

    def test_the_environments_numbers_are_within_the_same_bounds(self):
        for number in ("0", "1024"):
            result = self.run_program(*self.FLEET, env={"SVCHECK_JOBS": number})
            self.assertNotEqual(result.returncode, 64, result.stderr)
        for number in ("-1", "1025", *LARGE, *(odd for odd in ODD if odd)):
            said = self.refuse(*self.FLEET, env={"SVCHECK_JOBS": number})
            self.assertIn("environment SVCHECK_JOBS", said)

    def test_the_files_numbers_are_within_the_same_bounds(self):
        for number in ("0", "1024", '"1024"'):
            self.write(".config/svcheck/config.toml", f"jobs = {number}\n")
            self.assertNotEqual(self.run_program(*self.FLEET).returncode, 64)
        for number in ("-1", "1025", *LARGE, '"4294967297"', '"18446744073709551617"', '"0x1"'):
            self.write(".config/svcheck/config.toml", f"\njobs = {number}\n")
            self.assertIn("config.toml:2", self.refuse(*self.FLEET))


if __name__ == "__main__":
    main()
