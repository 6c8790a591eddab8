"""The SQL of docs/fleet.md loads results into SQLite and PostgreSQL, and answers the questions."""

import argparse
import glob
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

from generated import make_fleet

parser = argparse.ArgumentParser()
parser.add_argument("--svcheck", required=True, type=pathlib.Path)
parser.add_argument("--docs", required=True, type=pathlib.Path)
OPTIONS = parser.parse_args()
DAY = "2026-11-21"
DAYS = ("2026-11-14", DAY)
KEYS = ("Type", "Name", "InstalledVersion", "SVVersion")


def sections():
    """The SQL below each heading of the page."""
    found, heading = {}, None
    text = OPTIONS.docs.read_text(encoding="utf-8")
    for match in re.finditer(r"^### ([^\n]+)$|^```sql\n(.*?)^```$", text, re.M | re.S):
        if match.group(1):
            heading = match.group(1)
        else:
            found.setdefault(heading, []).append(match.group(2))
    return found


def make_results(folder):
    """Results of two days: on the second one a catalogue offers less, and a machine is gone."""
    inventories, catalogue = make_fleet(folder, 60)
    paths = []
    for day in DAYS:
        paths.append(folder / f"{day}.ndjson")
        subprocess.run([OPTIONS.svcheck, "fleet", "--catalogue", catalogue, "--inventories",
                        inventories, "--output", paths[-1]], check=True, capture_output=True)
        for number in (7, 12):
            (inventories / f"m{number:05}.xml").unlink(missing_ok=True)
    return paths


def expected(paths):
    """The answers to the three questions, by counting."""
    days = [[json.loads(line) for line in path.read_text("utf-8").splitlines()] for path in paths]
    before, now = ({(line["machine"], *(line[key] for key in KEYS), line["verdict"])
                    for line in lines if "Type" in line} for lines in days)
    outdated = sorted({record[:5] for record in now if record[5] == "outdated"})
    changed = {("now", *record) for record in now - before} | {
        ("before", *record) for record in before - now}
    helped = {}
    for machine, kind, name, _installed, offered in outdated:
        helped.setdefault((kind, name, offered), set()).add(machine)
    return outdated, changed, {(*update, len(machines)) for update, machines in helped.items()}


class Databases(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = pathlib.Path(cls.temporary.name)
        cls.paths = make_results(cls.folder)
        cls.outdated, cls.changed, cls.helped = expected(cls.paths)

    def check(self, answers):
        outdated, changed, helped = (set(map(tuple, rows)) for rows in answers)
        self.assertTrue(self.outdated and self.changed and self.helped)
        self.assertEqual(outdated, set(self.outdated))
        self.assertEqual(changed, self.changed)
        self.assertLessEqual(helped, self.helped)
        self.assertEqual(len(helped), min(20, len(self.helped)))
        self.assertEqual(max(row[3] for row in helped), max(row[3] for row in self.helped))

    def test_sqlite(self):
        if sqlite3.sqlite_version_info < (3, 38):
            self.skipTest("this SQLite has no operator ->>")
        tables, load = sections()["SQLite"]
        with sqlite3.connect(":memory:") as database:
            database.executescript(tables)
            for day, path in zip(DAYS, self.paths):
                lines = path.read_text(encoding="utf-8").splitlines()
                database.executemany("INSERT INTO lines VALUES (?)", ((line,) for line in lines))
                database.executescript(load.replace(DAY, day))
            self.check(database.execute(question).fetchall()
                       for question in sections()["Questions"])

    def test_postgresql(self):
        programs = sorted(glob.glob("/usr/lib/postgresql/*/bin"))
        if not programs or not shutil.which("psql"):
            self.skipTest("PostgreSQL is not installed")
        with PostgreSQL(programs[-1], self.folder) as server:
            tables, load = sections()["PostgreSQL"]
            server.run(tables)
            for day, path in zip(DAYS, self.paths):
                server.run(f"\\copy lines FROM '{path}' (FORMAT csv, QUOTE e'\\x01', "
                           "DELIMITER e'\\x02')")
                server.run(load.replace(DAY, day))
            answers = [server.rows(question) for question in sections()["Questions"]]
            answers[2] = [(*row[:3], int(row[3])) for row in answers[2]]
            self.check(answers)


class PostgreSQL:
    """A server of an unprivileged user's own, reached by a socket in a temporary folder."""

    def __init__(self, programs, folder):
        self.programs = pathlib.Path(programs)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pg-"))
        # The server refuses to run for root.
        self.user = "postgres" if os.geteuid() == 0 else None
        os.chmod(folder, 0o755)
        if self.user:
            shutil.chown(self.folder, self.user)

    def call(self, *command, **more):
        prefix = ["runuser", "-u", self.user, "--"] if self.user else []
        return subprocess.run([*prefix, *map(str, command)], check=True, cwd=self.folder,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)

    def __enter__(self):
        data = self.folder / "data"
        self.call(self.programs / "initdb", "-D", data, "-U", "fleet", "-A", "trust", "-E", "UTF8",
                  "--no-sync", "--locale=C")
        self.call(self.programs / "pg_ctl", "-D", data, "-w", "-l", self.folder / "log", "-o",
                  f"-k {self.folder} -c listen_addresses='' -c fsync=off", "start")
        return self

    def __exit__(self, *_):
        self.call(self.programs / "pg_ctl", "-D", self.folder / "data", "-m", "immediate", "stop")
        shutil.rmtree(self.folder, ignore_errors=True)

    def psql(self, sql, *options):
        return self.call("psql", "-h", self.folder, "-U", "fleet", "-d", "postgres", "-q", "-v",
                         "ON_ERROR_STOP=1", *options, input=sql.encode()).stdout.decode()

    def run(self, sql):
        self.psql(sql)

    def rows(self, sql):
        text = self.psql(sql, "-A", "-t", "-0", "-F", "\x01")
        return [row.split("\x01") for row in text.split("\0") if row]


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
