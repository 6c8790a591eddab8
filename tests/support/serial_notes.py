"""The serials of servers of the tests, and what was fetched from them, in the folder where the
system's administrator keeps those of repositories: a later server may get the same port, and a live
check by root would call its manifest an old one."""

import hashlib
import json
import shutil
import threading
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

FOLDER = Path("/var/lib/svcheck/repositories")


def fetched_folder(address, state=FOLDER.parent):
    """Where the state folder keeps what was fetched from a repository."""
    return Path(state) / "fetched" / hashlib.sha256(address.encode()).hexdigest()[:32]


def is_of(note, port):
    try:
        address = json.loads(note.read_text())["repository"]
    except (OSError, ValueError, KeyError, TypeError):
        return False
    server = address.partition("://")[2].partition("/")[0]
    return server in (f"127.0.0.1:{port}", f"localhost:{port}")


def forget_server(port):
    """Called when a server begins and when it ends; nothing where this is not done by root."""
    try:
        for note in FOLDER.glob("*.json"):
            if is_of(note, port):
                note.unlink(missing_ok=True)
        for scheme in ("http", "https"):
            folder = fetched_folder(f"{scheme}://127.0.0.1:{port}")
            shutil.rmtree(folder, ignore_errors=True)
            folder.with_suffix(".lock").unlink(missing_ok=True)
    except OSError:
        pass


class Silent(SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def serve_folder(test, folder):
    """The address of a server of the folder's files, which ends with the test."""
    server = ThreadingHTTPServer(("127.0.0.1", 0), partial(Silent, directory=str(folder)))
    threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True).start()
    forget_server(server.server_port)
    test.addCleanup(forget_server, server.server_port)
    test.addCleanup(server.server_close)
    test.addCleanup(server.shutdown)
    return f"http://127.0.0.1:{server.server_port}"
