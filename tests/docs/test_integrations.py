"""What the pages and the packaging give others to run (crontab, monitoring agent, Slurm) does as
they say on a machine whose settings are of another mind; and the page on terms says them."""

import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

BUILD = pathlib.Path(sys.argv[1]).resolve()
SOURCE = pathlib.Path(__file__).resolve().parents[2]
SAMPLE = BUILD / "share" / "svcheck" / "sample"
MONITORING = (SOURCE / "docs" / "monitoring.md").read_text()
# Each would change what a line writes or how it ends.
SETTINGS = """fail-on = "different"
format = "csv"
live = true
repository = "https://updates.invalid/sv"
offline = true
"""


def blocks(kind):
    return [line for block in re.findall(rf"```{kind}\n(.*?)```", MONITORING, re.DOTALL)
            for line in block.splitlines() if not line.startswith("#")]


class Integration(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="integration ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        settings = self.folder / ".config" / "svcheck" / "config.toml"
        settings.parent.mkdir(parents=True)
        settings.write_text(SETTINGS)
        self.environment = {"HOME": str(self.folder), "PATH": os.environ["PATH"], "LC_ALL": "C"}

    def run_words(self, words):
        """With this build's program, the sample and places of this test."""
        places = {"/srv/catalogue": str(SAMPLE / "catalogue"), "svcheck": str(BUILD / "bin/svcheck"),
                  "/usr/bin/svcheck": str(BUILD / "bin/svcheck")}
        words = [places.get(word, word) for word in words]
        words = [str(self.folder / pathlib.Path(word).name)
                 if re.match(r"/var/lib/", word) else word for word in words]
        if words[1] == "check":
            words += ["--inventory", str(SAMPLE / "inventory.xml")]
        return subprocess.run(words, env=self.environment, cwd=self.folder, text=True, check=False,
                              capture_output=True, timeout=120)


class Monitoring(Integration):
    def test_lines_of_crontabs_end_well_and_write_what_they_name(self):
        lines = blocks("crontab")
        self.assertEqual(len(lines), 2, lines)
        for line in lines:
            result = self.run_words(shlex.split(line)[5:])
            self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""), line)
        self.assertIn("svcheck_success 1\n", (self.folder / "svcheck.prom").read_text())
        self.assertEqual(json.loads((self.folder / "svcheck.json").read_text())["outcome"], "done")

    def test_the_agents_command_shows_what_the_nightly_check_saved(self):
        for line in blocks("crontab"):
            self.run_words(shlex.split(line)[5:])
        command, = blocks("nagios")
        result = self.run_words(shlex.split(command.partition("=")[2]))
        self.assertEqual((result.returncode, result.stderr), (1, ""), result.stdout)
        self.assertTrue(result.stdout.startswith("SVCHECK WARNING - 10 outdated"), result.stdout)


class Slurm(Integration):
    def job(self, name, **environment):
        result = subprocess.run(["bash", SOURCE / "packaging" / "slurm" / name], text=True,
                                env={**self.environment, **environment,
                                     "SVCHECK_FLEET": str(self.folder / "fleet.conf")},
                                capture_output=True, check=False, timeout=300, cwd=self.folder)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def test_jobs_end_well_where_there_are_updates(self):
        machines = self.folder / "machines"
        machines.mkdir()
        for name in ("one", "two", "three"):
            (machines / f"{name}.xml").write_bytes((SAMPLE / "inventory.xml").read_bytes())
        results = self.folder / "results"
        example = (SOURCE / "packaging" / "slurm" / "fleet.conf.example").read_text()
        values = {"SVCHECK": BUILD / "bin" / "svcheck", "CATALOGUE": SAMPLE / "catalogue",
                  "INVENTORIES": machines, "RESULTS": results}
        for name, value in values.items():
            example, count = re.subn(rf"(?m)^{name}=.*$", f"{name}={shlex.quote(str(value))}", example)
            self.assertEqual(count, 1, name)
        (self.folder / "fleet.conf").write_text(example)
        for shard in ("1", "2"):
            self.job("fleet-shard.sbatch", SLURM_ARRAY_TASK_ID=shard, SLURM_ARRAY_TASK_COUNT="2")
        self.job("fleet-merge.sbatch", SHARDS="2")
        summary = json.loads((results / "fleet.json").read_text())
        self.assertEqual((summary["checked"], summary["withUpdates"], summary["failed"]), (3, 3, 0))


class Terms(unittest.TestCase):
    def test_are_told_in_one_sentence(self):
        section = (SOURCE / "README.md").read_text().partition("## Terms of use\n")[2].strip()
        self.assertRegex(section, r"(?s)\A[A-Z].*\.\Z")
        self.assertEqual(len(re.findall(r"\.(?:\s|\Z)", section)), 1, section)
        self.assertRegex(section, r"(?i)licen[cs]e")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
