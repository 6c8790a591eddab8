"""The jobs of packaging/slurm, on a Slurm of this test's own: four shards, one task of which is
killed half-way, end with the bytes of one run."""

import argparse
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

parser = argparse.ArgumentParser()
parser.add_argument("--svcheck", required=True, type=pathlib.Path)
parser.add_argument("--packaging", required=True, type=pathlib.Path)
parser.add_argument("--machines", type=int, default=10_000)
OPTIONS = parser.parse_args()
SVCHECK = OPTIONS.svcheck.resolve()
JOBS = OPTIONS.packaging.resolve()
SHARDS = 4
KILLED = 2
DAEMONS = ("munged", "slurmctld", "slurmd")
MACHINE = """<?xml version="1.0"?>
<CIM><DECLARATION><DECLGROUP>
<VALUE.OBJECT><INSTANCE CLASSNAME="QRXSG_ComputerSystem">
<PROPERTY NAME="MachineType"><VALUE>4638</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>
<VALUE.OBJECT><INSTANCE CLASSNAME="QRXSG_OperatingSystem">
<PROPERTY NAME="OSType" TYPE="uint16"><VALUE>36</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>
<VALUE.OBJECT><INSTANCE CLASSNAME="QRXSG_SystemBIOSElement">
<PROPERTY NAME="Version"><VALUE>YUE{level}A</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>
</DECLGROUP></DECLARATION></CIM>
"""
CONFIGURATION = """ClusterName=fleet
SlurmctldHost={host}(127.0.0.1)
SlurmUser=root
SlurmctldPort={controller}
SlurmdPort={node}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket,cred_expire=5
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdLogFile={folder}/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SlurmdParameters=config_overrides
MpiDefault=none
MailProg=/bin/true
ReturnToService=2
NodeName={host} NodeAddr=127.0.0.1 CPUs=4 State=UNKNOWN
PartitionName=main Nodes=ALL Default=YES MaxTime=INFINITE State=UP
"""


def missing():
    if os.geteuid() != 0:
        return "Slurm's daemons run for root"
    lacking = [daemon for daemon in DAEMONS if not shutil.which(daemon, path="/usr/sbin:/usr/bin")]
    return f"{', '.join(lacking)}: not installed" if lacking else ""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, condition, seconds=240):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise AssertionError(f"{what} did not come in {seconds} s")


@unittest.skipIf(missing(), missing())
class Slurm(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="svcheck-slurm-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        os.chmod(self.folder, 0o755)
        self.daemons = []
        self.addCleanup(self.stop)
        self.environment = {**os.environ, "SLURM_CONF": str(self.folder / "slurm.conf"),
                            "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
        self.start()

    def start(self):
        for name in ("state", "spool"):
            (self.folder / name).mkdir()
        (self.folder / "munge.key").write_bytes(os.urandom(1024))
        os.chmod(self.folder / "munge.key", 0o400)
        (self.folder / "slurm.conf").write_text(CONFIGURATION.format(
            host=socket.gethostname().split(".")[0], folder=self.folder, controller=free_port(),
            node=free_port()))
        self.daemon("munged", "-F", "--force", "--key-file", self.folder / "munge.key",
                    "--socket", self.folder / "munge.socket", "--pid-file",
                    self.folder / "munge.pid", "--log-file", self.folder / "munge.log",
                    "--seed-file", self.folder / "munge.seed")
        wait_for("munge", (self.folder / "munge.socket").exists)
        self.daemon("slurmctld", "-D")
        self.daemon("slurmd", "-D")
        wait_for("an idle node", lambda: "idle" in self.run_tool("sinfo", "-h", "-o", "%T"))

    def daemon(self, *command):
        self.daemons.append(subprocess.Popen(
            list(map(str, command)), env=self.environment, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True))

    def stop(self):
        for daemon in reversed(self.daemons):
            daemon.terminate()
        for daemon in self.daemons:
            try:
                daemon.wait(20)
            except subprocess.TimeoutExpired:
                daemon.kill()

    def run_tool(self, *command, **variables):
        result = subprocess.run(list(map(str, command)), cwd=self.folder, capture_output=True,
                                env={**self.environment, **variables}, text=True, check=False)
        sys.stderr.write(result.stderr)
        return result.stdout

    def make_machines(self):
        inventories = self.folder / "inventories"
        inventories.mkdir()
        for number in range(OPTIONS.machines):
            text = MACHINE.format(level=100 + number % 30)
            (inventories / f"m{number:05}.xml").write_text(text)
        catalogue = self.folder / "catalogue"
        catalogue.mkdir()
        text = MACHINE.split("<VALUE.OBJECT>")[0] + "".join(
            '<VALUE.OBJECT><INSTANCE CLASSNAME="QRXPSG_SystemUpdateElement">'
            '<PROPERTY NAME="description"><VALUE>BIOS Update</VALUE></PROPERTY>'
            f'<PROPERTY NAME="Version"><VALUE>1-[YUE{level}A]-</VALUE></PROPERTY>'
            '<PROPERTY.ARRAY NAME="applicableMachineTypes"><VALUE.ARRAY><VALUE>-[4638]-</VALUE>'
            "</VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE></VALUE.OBJECT>"
            for level in range(100, 110)) + "</DECLGROUP></DECLARATION></CIM>"
        (catalogue / "index.xml").write_text(
            text.replace("<CIM>", '<?sv-catalogue version="4.02"?><CIM>'))
        return inventories, catalogue

    def machines_in(self, path):
        return path.read_text().count('"outcome"') if path.exists() else 0

    def stop_half_way(self, results):
        """Halts the process of one shard while it is at work, and returns what it had done."""
        path = results / f"shard-{KILLED}.ndjson"
        mine = f"--shard\0{KILLED}/{SHARDS}".encode()

        def process():
            for entry in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
                try:
                    arguments = entry.read_bytes()
                except OSError:
                    continue
                if arguments.startswith(str(SVCHECK).encode()) and mine in arguments and \
                        str(self.folder).encode() in arguments:
                    return int(entry.parent.name)
            return None

        pid = wait_for("the shard's process", process)
        wait_for("its first machines", lambda: self.machines_in(path) > 0)
        os.kill(pid, signal.SIGSTOP)
        return self.machines_in(path)

    def test_a_killed_task_costs_nothing(self):
        inventories, catalogue = self.make_machines()
        results = self.folder / "results"
        settings = self.folder / "fleet.conf"
        settings.write_text(f"CATALOGUE={catalogue}\nINVENTORIES={inventories}\n"
                            f"RESULTS={results}\nSVCHECK={SVCHECK}\n")
        variables = {"SVCHECK_FLEET": str(settings), "SHARDS": str(SHARDS)}
        array = self.run_tool("sbatch", "--parsable", f"--array=1-{SHARDS}", "--output=log-%a",
                              JOBS / "fleet-shard.sbatch", **variables).strip()
        self.assertTrue(array, "the array was not taken")
        done = self.stop_half_way(results)
        self.assertLess(done, OPTIONS.machines // SHARDS)
        self.run_tool("scontrol", "requeue", f"{array}_{KILLED}")
        self.run_tool("sbatch", "--parsable", f"--dependency=afterok:{array}", "--output=log-merge",
                      JOBS / "fleet-merge.sbatch", **variables)
        wait_for("the merged results", (results / "fleet.txt").exists)
        alone = self.folder / "alone.ndjson"
        subprocess.run([SVCHECK, "fleet", "--catalogue", catalogue, "--inventories", inventories,
                        "--output", alone, "--json", self.folder / "alone.json"], check=True)
        self.assertEqual((results / "fleet.ndjson").read_bytes(), alone.read_bytes())
        self.assertEqual((results / "fleet.json").read_bytes(),
                         (self.folder / "alone.json").read_bytes())
        self.assertEqual(self.machines_in(alone), OPTIONS.machines)
        print(f"{OPTIONS.machines} machines; shard {KILLED} was killed after {done}")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
