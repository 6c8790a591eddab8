"""The jobs of packaging/slurm, run as Slurm runs them but without it: they mean the same beside the
settings of the machine and of whoever submits them."""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from serial_notes import serve_folder  # noqa: E402

parser = argparse.ArgumentParser()
parser.add_argument("--svcheck", required=True, type=pathlib.Path)
parser.add_argument("--packaging", required=True, type=pathlib.Path)
OPTIONS = parser.parse_args()
JOBS = OPTIONS.packaging.resolve()
SVCHECK = OPTIONS.svcheck.resolve()
SAMPLE = SVCHECK.parents[1] / "share" / "svcheck" / "sample"
SHARDS = 3
MACHINES = 7
SETTINGS = """fail-on = "outdated"
catalogue = "/nonexistent"
format = "csv"
"""


class Jobs(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="svcheck jobs ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "inventories").mkdir()
        for number in range(MACHINES):
            shutil.copy(SAMPLE / "inventory.xml", self.folder / "inventories" / f"m{number}.xml")
        settings = self.folder / ".config" / "svcheck"
        settings.mkdir(parents=True)
        (settings / "config.toml").write_text(SETTINGS)
        # The example that the page says to copy, with its places changed and nothing else.
        example = (JOBS / "fleet.conf.example").read_text()
        places = {"CATALOGUE": SAMPLE / "catalogue", "INVENTORIES": self.folder / "inventories",
                  "RESULTS": self.folder / "results", "SVCHECK": SVCHECK}
        for name, place in places.items():
            example, count = re.subn(rf"(?m)^{name}=.*$", f'{name}="{place}"', example)
            self.assertEqual(count, 1, name)
        (self.folder / "fleet.conf").write_text(example)

    def run_job(self, name, printed="", **variables):
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.folder), "LC_ALL": "C.UTF-8",
                       "SVCHECK_FLEET": str(self.folder / "fleet.conf"),
                       "SVCHECK_FAIL_ON": "outdated", **variables}
        result = subprocess.run(["bash", JOBS / name], cwd=self.folder, text=True,
                                env=environment, capture_output=True, check=False, timeout=300)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, printed, ""))

    def serve(self):
        """A repository of the sample's catalogue; its address."""
        folder = self.folder / "repository"
        folder.mkdir()
        shutil.copy(SAMPLE / "catalogue" / "index.xml", folder / "sample.xml")
        subprocess.run([SVCHECK, "repository", "build", folder], check=True, capture_output=True)
        return serve_folder(self, folder)

    def test_one_fetch_brings_the_catalogue_of_all(self):
        place = self.folder / "the catalogue"
        settings = self.folder / "fleet.conf"
        settings.write_text(settings.read_text() + f'CATALOGUE="{place}"\nREPOSITORY="{self.serve()}"\n'
                            "REPOSITORY_KEY=none\n")
        self.run_job("fleet-fetch.sbatch", f"{place}/index.xml: 16 update elements of 1 description, "
                                           "serial 1\n")
        answers = [subprocess.run([SVCHECK, "fleet", "--catalogue", catalogue, "--inventories",
                                   self.folder / "inventories"], check=True, capture_output=True,
                                  env={"HOME": "/nonexistent"}).stdout.count(b'"Type"')
                   for catalogue in (place, SAMPLE / "catalogue")]
        self.assertEqual(answers[0], answers[1])
        self.assertGreater(answers[0], MACHINES)

    def test_shards_and_their_merger_give_what_one_run_gives(self):
        for shard in range(1, SHARDS + 1):
            for _ in range(2):  # Again, as after a requeue.
                self.run_job("fleet-shard.sbatch", SLURM_ARRAY_TASK_ID=str(shard),
                             SLURM_ARRAY_TASK_COUNT=str(SHARDS), SLURM_CPUS_PER_TASK="2")
        self.run_job("fleet-merge.sbatch", SHARDS=str(SHARDS))
        alone = self.folder / "alone.ndjson"
        subprocess.run([SVCHECK, "fleet", "--catalogue", SAMPLE / "catalogue", "--inventories",
                        self.folder / "inventories", "--output", alone, "--table",
                        self.folder / "alone.txt"], check=True, env={"HOME": "/nonexistent"})
        results = self.folder / "results"
        self.assertEqual((results / "fleet.ndjson").read_bytes(), alone.read_bytes())
        self.assertEqual((results / "fleet.txt").read_text(),
                         (self.folder / "alone.txt").read_text())
        self.assertEqual(alone.read_text().count('"outcome":"done"'), MACHINES)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
