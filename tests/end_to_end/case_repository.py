"""Repositories for live cases: written by the generator, served on loopback, read by the model."""

import functools
import hashlib
import http.server
import json
import os
import sys
import threading
from pathlib import Path

import case_values as values
from reference import cimxml, live
from reference.cim import Namespace, machine_type
from reference.host import Files, HostError
from reference.reading import Session, os_type

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))
from serial_notes import forget_server  # noqa: E402

MANIFEST = "sv-repository.json"
NAMES = ("4620_rhel5_64.xml", "sv_windows.xml", "darwin.xml", "linux.xml", "sv_windows_linux.xml",
         "readme.xml.txt", "README.XML", "notes.txt", "xml", "WIN.xml", "a b.xml")
FOLDER = "drives/c/QRX_Support/SV/"


def make(maker):
    """What a server offers, and what lies in the download folder from an earlier check."""
    machine, pair = _wanted(maker)
    manifest = {"schema": 1, "serial": maker.rng.randrange(1, 9),
                "expires": "2999-01-01T00:00:00Z",
                "files": [_entry(maker, name, machine, pair)
                          for name in maker.rng.sample(NAMES, maker.rng.randrange(4))]}
    if maker.chance(0.06):
        _spoil(maker, manifest)
    maker.write(f"{maker.case.repository}/{MANIFEST}", json.dumps(manifest).encode())
    for name in maker.rng.sample(NAMES, maker.pick((0, 0, 0, 1, 2))):
        maker.write(FOLDER + name, maker.catalogue(most=3))


def _wanted(maker):
    """The machine type and the pair that the query will ask for, where it comes to that."""
    inventory = Namespace()
    if maker.case.builtin_classes:
        inventory.declare_builtin_classes()
    try:
        for name in maker.case.inventories:
            with open(os.path.join(maker.folder, name), "rb") as file:
                cimxml.load(file.read(), inventory)
        code = os_type(Session(inventory, Files(maker.folder, maker.folder)))
        wanted = live.request(code)
        machine = machine_type(inventory).encode("latin-1").decode()
        return machine, wanted[0] if wanted else (203, 2)
    except HostError:
        return maker.machine, (203, 2)


def _entry(maker, name, machine, pair):
    data = maker.catalogue(most=4)
    path = f"files/{maker.rng.randrange(99)}-{name.replace(' ', '_')}"
    maker.write(f"{maker.case.repository}/{path}", data)
    if maker.chance(0.1):
        pair = maker.pick(((203, 1), (303, 1), (109, 1), (pair[0], 3 - pair[1])))
    machines = [maker.pick(values.MACHINES)] + ([machine] if maker.chance(0.9) else [])
    return {"name": name, "path": path, "size": len(data),
            "sha256": hashlib.sha256(data).hexdigest(), "machineTypes": machines,
            "os": pair[0], "arch": pair[1], "latest": maker.chance(0.9),
            "payload": maker.chance(0.1)}


def _spoil(maker, manifest):
    """A manifest that must be refused whole."""
    choice = maker.rng.randrange(4)
    if choice == 0:
        manifest["schema"] = 2
    elif choice == 1:
        manifest["expires"] = "2001-01-01T00:00:00Z"
    elif choice == 2:
        manifest["files"].append({"name": "../evil.xml", "path": "files/x", "size": 1,
                                  "sha256": "0" * 64, "machineTypes": [], "os": 1, "arch": 1,
                                  "latest": False, "payload": True})
    else:
        del manifest["serial"]


def download(repository, files):
    """The model's download from a folder: False when the manifest is refused."""
    def fetch(machine, pair):
        with open(os.path.join(repository, MANIFEST), encoding="utf-8") as file:
            manifest = json.load(file)
        if (manifest["schema"] != 1 or manifest["expires"] < "2026" or "serial" not in manifest
                or any("/" in entry["name"] for entry in manifest["files"])):
            return False
        for entry in manifest["files"]:
            if (machine.encode("latin-1").decode() in entry["machineTypes"]
                    and (entry["os"], entry["arch"]) == pair
                    and entry["latest"] and not entry["payload"]):
                _copy(os.path.join(repository, entry["path"]),
                      files.native(live.FOLDER + "\\" + entry["name"]))
        return True
    return fetch


def _copy(source, target):
    os.makedirs(os.path.dirname(target), exist_ok=True)
    with open(source, "rb") as file:
        data = file.read()
    with open(target, "wb") as file:
        file.write(data)


class Server:
    """Serves a folder on a loopback port of the system's choice for as long as it is open."""

    class _Handler(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *_arguments):
            pass

    def __init__(self, folder):
        handler = functools.partial(self._Handler, directory=folder)
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.thread = threading.Thread(target=self.server.serve_forever, daemon=True)

    def __enter__(self):
        forget_server(self.server.server_port)
        self.thread.start()
        return f"http://127.0.0.1:{self.server.server_address[1]}"

    def __exit__(self, *_arguments):
        self.server.shutdown()
        self.server.server_close()
        forget_server(self.server.server_port)
