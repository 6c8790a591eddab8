"""Servers, repositories and downloads for the live tests."""

import hashlib
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))
from serial_notes import forget_server  # noqa: E402
from usual_signals import usual_signals  # noqa: E402

DRIVER = os.environ["LIVE_DRIVER"]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for_port(port, process, host="127.0.0.1"):
    end = time.monotonic() + 10
    while time.monotonic() < end:
        if process.poll() is not None:
            raise RuntimeError(f"{process.args} ended with {process.returncode}")
        with socket.socket() as probe:
            if probe.connect_ex((host, port)) == 0:
                return
        time.sleep(0.02)
    raise RuntimeError(f"{process.args} does not listen")


class Keys:
    """A pair of keys made by minisign."""

    def __init__(self, folder, name="publisher"):
        self.public = str(folder / f"{name}.pub")
        self.secret = str(folder / f"{name}.sec")
        subprocess.run(["minisign", "-G", "-W", "-p", self.public, "-s", self.secret],
                       check=True, capture_output=True)

    def sign(self, path, legacy=False, comment="for tests"):
        command = ["minisign", "-S", "-s", self.secret, "-m", str(path), "-t", comment]
        subprocess.run(command + (["-l"] if legacy else []), check=True, capture_output=True)


class Repository:
    """A folder that a server can show."""

    def __init__(self, folder, keys):
        self.folder = folder
        self.keys = keys
        self.entries = []
        self.contents = {}
        (folder / "files").mkdir(parents=True)

    @property
    def manifest(self):
        return self.folder / "sv-repository.json"

    @property
    def signature(self):
        return self.folder / "sv-repository.json.minisig"

    def add(self, name, content, **changes):
        """Adds a file; returns its entry, for tests that want it wrong."""
        path = self.folder / "files" / name
        path.write_bytes(content)
        self.contents[name] = content
        entry = {"name": name, "path": f"files/{name}", "size": len(content),
                 "sha256": hashlib.sha256(content).hexdigest(), "machineTypes": ["4620"],
                 "os": 203, "arch": 2, "latest": True, "payload": False}
        entry.update(changes)
        self.entries.append(entry)
        return entry

    def publish(self, serial=7, expires="2099-01-01T00:00:00Z", legacy=False, **changes):
        document = {"schema": 1, "serial": serial, "expires": expires, "files": self.entries}
        document.update(changes)
        self.manifest.write_text(json.dumps(document))
        self.keys.sign(self.manifest, legacy)


class Nginx:
    """nginx on loopback, over HTTP or HTTPS."""

    def __init__(self, folder, root, certificate=None, more="", host="127.0.0.1"):
        self.port = free_port()
        self.log = folder / "access.log"
        for name in ("body", "proxy", "fastcgi", "uwsgi", "scgi"):
            (folder / name).mkdir(exist_ok=True)
        tls = ""
        if certificate:
            tls = f"ssl_certificate '{certificate}.crt'; ssl_certificate_key '{certificate}.key';"
        user = "user root;" if os.geteuid() == 0 else ""
        temporary = "".join(
            f"{option}_temp_path '{folder}/{name}';" for option, name in
            (("client_body", "body"), ("proxy", "proxy"), ("fastcgi", "fastcgi"),
             ("uwsgi", "uwsgi"), ("scgi", "scgi")))
        (folder / "nginx.conf").write_text(f"""
            daemon off; worker_processes 1; pid '{folder}/nginx.pid'; error_log '{folder}/error.log';
            {user}
            events {{ worker_connections 64; }}
            http {{
              access_log '{self.log}'; {temporary}
              server {{
                listen {host}:{self.port} {"ssl" if certificate else ""}; {tls}
                root '{root}'; {more}
              }}
            }}""")
        forget_server(self.port)
        self.process = subprocess.Popen(
            ["nginx", "-p", str(folder), "-e", f"{folder}/error.log", "-c", f"{folder}/nginx.conf"],
            stderr=subprocess.DEVNULL)
        wait_for_port(self.port, self.process, host)
        self.address = f"{'https' if certificate else 'http'}://{host}:{self.port}"

    def requests(self):
        return [line.split('"')[1] for line in self.log.read_text().splitlines()]

    def stop(self):
        self.process.terminate()
        self.process.wait()
        forget_server(self.port)


class Result:
    def __init__(self, process):
        lines = [json.loads(line) for line in process.stdout.split("\n") if line]
        self.stderr = process.stderr
        last = lines[-1] if lines and "return" in lines[-1] else {}
        self.code = last.get("return")
        self.progress = last.get("progress")
        self.outcome = last.get("outcome")
        self.messages = [line for line in lines if "kind" in line]

    def texts(self, kind):
        return [message["text"] for message in self.messages if message["kind"] == kind]


def clean_environment(**more):
    environment = {name: value for name, value in os.environ.items()
                   if "proxy" not in name.lower() and name != "XDG_STATE_HOME"}
    environment.update(more)
    return environment


class LiveTest(unittest.TestCase):
    """A repository in a folder of its own, and the folder that downloads go to."""

    def setUp(self):
        self.work = Path(tempfile.mkdtemp(prefix="live "))
        self.addCleanup(shutil.rmtree, self.work, ignore_errors=True)
        self.work.chmod(0o755)
        self.keys = Keys(self.work)
        self.repository = Repository(self.work / "repository", self.keys)
        self.folder = self.work / "downloads" / "SV"
        self.server_folder = self.work / "server"
        self.server_folder.mkdir()

    def job(self, address, **changes):
        job = {"repository": address, "key": self.keys.public, "folder": str(self.folder),
               "state": str(self.work / "state")}
        job.update(changes)
        return job

    def start(self, address, environment=None, prefix=(), **changes):
        return subprocess.Popen([*prefix, DRIVER, json.dumps(self.job(address, **changes))],
                                env=environment or clean_environment(), text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                preexec_fn=usual_signals)

    def download(self, address, environment=None, prefix=(), **changes):
        """Runs a download to its end, then checks what always holds."""
        process = self.start(address, environment, prefix, **changes)
        process.stdout, process.stderr = process.communicate(timeout=60)
        result = Result(process)
        self.assert_whole()
        self.assertFalse(self.folder.with_name("SV.part").exists(), "temporary files are left")
        return result

    def present(self):
        if not self.folder.is_dir():
            return {}
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def assert_whole(self):
        for name, content in self.present().items():
            self.assertEqual(content, self.repository.contents.get(name), f"{name} is not whole")

    def assert_refused(self, result, code, *words):
        """Refused with the code, with one line that holds the words, and with nothing brought."""
        self.assert_failed(result, code, *words)
        self.assertEqual(self.present(), {})

    def assert_failed(self, result, code, *words):
        self.assertEqual(result.code, code, result.stderr)
        self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
        self.assertEqual(result.stderr.strip(), "svcheck: download: " + result.outcome)
        for word in words:
            self.assertIn(word, result.stderr)
        self.assertEqual(result.messages[-1]["kind"], 5)
        self.assertEqual(result.messages[-1]["code"], code)
