"""Runs every command that stands in README.md and docs/.

A block marked `sh` holds commands, one marked `console` commands behind "$ " with what they print.
Each page is one session in a folder of its own, with the program on the PATH, the sample server as
"sample/" and "machine.xml", its catalogue as /srv/catalogue, and its inventory set as the machine's
own. A block marked `toml NAME` is that file. /srv is a folder below it. A command ends with 0, or with N where "# status N" stands behind
it. In what is printed "…" stands for anything.

A second word behind `sh` leaves a block out: REASONS says what each means.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = pathlib.Path(sys.argv[1]).resolve()
SOURCE = pathlib.Path(sys.argv[2]).resolve()
SAMPLE = BUILD / "share" / "svcheck" / "sample"
PAGES = [SOURCE / "README.md", SOURCE / "CONTRIBUTING.md", *sorted((SOURCE / "docs").rglob("*.md"))]
REASONS = {"root": "installs packages", "network": "asks another machine on the network",
           "machine": "its status depends on the machine",
           "compiler": "tests/plugin_example builds it"}
FENCE = re.compile(r"(?ms)^(<!-- tried -->\n)?```([^\n]*)\n(.*?)^```$")


def blocks(page):
    """Info words and text of each block; what a test of its own tries is not among them."""
    for tried, info, text in FENCE.findall(page.read_text()):
        if not tried:
            yield info.split(), text


def commands(kind, text):
    """Pairs of a command and the output shown for it, None where none is."""
    text = text.replace("\\\n", "")
    if kind == "sh":
        return [(line, None) for line in text.splitlines() if line and not line.startswith("#")]
    parts = re.split(r"(?m)^\$ ", text)
    return [tuple(part.split("\n", 1)) for part in parts[1:]]


def matches(shown, printed):
    """Whether each line shown stands in what was printed, in this order; a line "…" is any lines."""
    pattern = re.escape(shown.strip()).replace("…", ".*").replace("\\ ", " +")
    return re.fullmatch(pattern, printed.strip(), re.S) is not None


class Session:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        shutil.copytree(SAMPLE, self.folder / "sample")
        shutil.copytree(SAMPLE / "catalogue", self.folder / "srv" / "catalogue")
        shutil.copy(SAMPLE / "inventory.xml", self.folder / "machine.xml")
        self.environment = {"PATH": f"{BUILD}/bin:{os.environ['PATH']}", "HOME": folder,
                            "SVCHECK_INVENTORY": str(self.folder / "machine.xml"),
                            "LC_ALL": "C.UTF-8"}

    def run(self, command):
        command = re.sub(r"(?<![\w.])/srv", f"{self.folder}/srv", command)
        result = subprocess.run(["sh", "-c", command], cwd=self.folder, env=self.environment,
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=60, stdin=subprocess.DEVNULL)
        if command.startswith("svcheck collect"):  # The sample's machine again, whatever this one is.
            shutil.copy(SAMPLE / "inventory.xml", self.folder / "machine.xml")
        return result


class Commands(unittest.TestCase):
    def test_each_does_what_the_page_says(self):
        left_out = 0
        for page in PAGES:
            with tempfile.TemporaryDirectory() as folder, self.subTest(page.name):
                left_out += self.try_page(page, Session(folder))
        self.assertLess(left_out, 25, "too much is left out")

    def try_page(self, page, session):
        left_out = 0
        for (kind, *why), text in ((info, text) for info, text in blocks(page) if info):
            if kind == "toml" and why:
                (session.folder / why[0]).write_text(text)
            if kind not in ("sh", "console"):
                continue
            if why:
                left_out += 1
                print(f"{page.name}: left out, {REASONS[why[0]]}: {text.splitlines()[0]}")
                continue
            for command, shown in commands(kind, text):
                self.try_command(page, session, command, shown)
        return left_out

    def try_command(self, page, session, command, shown):
        status = re.search(r"# status (\d+)", command)
        result = session.run(command)
        with self.subTest(page.name, command=command):
            self.assertEqual(result.returncode, int(status[1]) if status else 0, result.stdout)
            if shown is not None:
                self.assertTrue(matches(shown, result.stdout), result.stdout)

    def test_no_command_escapes(self):
        for page in PAGES:
            text = FENCE.sub("", page.read_text())
            self.assertNotRegex(text, r"(?m)^    (\$ |svcheck |\./dev )", f"indented in {page.name}")
            for info, block in blocks(page):
                if not info:
                    self.assertNotRegex(block, r"(?m)^(\$ |svcheck |\./dev )", page.name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
