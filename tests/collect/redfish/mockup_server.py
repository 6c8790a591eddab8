"""A Redfish service that shows a tree of DMTF's layout, and misbehaves as told."""

import base64
import contextlib
import json
import socket
import socketserver
import ssl
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

SESSIONS = "/redfish/v1/SessionService/Sessions"
EXPAND = "?$expand=.($levels=1)"


class MockupServer:
    """`faults` maps a path to a function that answers in its place; it gets the handler and the
    number of the request for that path. With `user` all but the root needs a session or, with
    `sessions` false, Basic authentication. With `certificate`, a folder, it speaks TLS."""

    def __init__(self, folder, user=None, sessions=True, expands=False, certificate=None):
        self.folder, self.user, self.sessions, self.expands = folder, user, sessions, expands
        self.faults = {}
        self.requests = []  # (method, path, headers)
        self.open_sessions = set()
        self.ended = threading.Event()
        outer = self

        class Handler(BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"
            disable_nagle_algorithm = True

            def do_GET(self):
                outer.answer(self)

            do_POST = do_DELETE = do_GET

            def log_message(self, *_):
                pass

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.server.handle_error = lambda *_: None  # Clients that go away are part of the tests.
        scheme = "http"
        if certificate:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificate / "server.crt", certificate / "server.key")
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
            scheme = "https"
        self.address = f"{scheme}://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, args=(0.05,), daemon=True).start()

    def stop(self):
        self.ended.set()
        self.server.shutdown()
        self.server.server_close()

    def paths(self, method="GET"):
        return [path for made, path, _ in self.requests if made == method]

    def answer(self, handler):
        length = int(handler.headers.get("Content-Length", 0))
        body = handler.rfile.read(length)
        self.requests.append((handler.command, handler.path, dict(handler.headers)))
        try:
            if handler.path in self.faults:
                count = sum(1 for _, path, _ in self.requests if path == handler.path)
                self.faults[handler.path](handler, count)
            elif handler.command == "POST":
                self.log_in(handler, body)
            elif handler.command == "DELETE":
                self.open_sessions.discard(handler.headers.get("X-Auth-Token"))
                send(handler, 204)
            else:
                self.show(handler)
        except (BrokenPipeError, ConnectionResetError):
            handler.close_connection = True

    def log_in(self, handler, body):
        if not self.sessions or handler.path != SESSIONS:
            return send(handler, 405)
        who = json.loads(body)
        if (who["UserName"], who["Password"]) != self.user:
            return send(handler, 401)
        token = f"token{len(self.open_sessions) + 1}"
        self.open_sessions.add(token)
        return send(handler, 201, {"@odata.id": f"{SESSIONS}/1"}, X_Auth_Token=token,
                    Location=f"{SESSIONS}/1")

    def is_known(self, handler):
        if self.user is None or handler.path.rstrip("/") == "/redfish/v1":
            return True
        if handler.headers.get("X-Auth-Token") in self.open_sessions:
            return True
        both = base64.b64encode(":".join(self.user).encode()).decode()
        return not self.sessions and handler.headers.get("Authorization") == f"Basic {both}"

    def show(self, handler):
        path = handler.path
        if not self.is_known(handler):
            return send(handler, 401)
        expands = path.endswith(EXPAND)
        if expands and not self.expands:
            return send(handler, 501)
        resource = self.read(path.removesuffix(EXPAND))
        if resource is None:
            return send(handler, 404)
        if path.rstrip("/") == "/redfish/v1" and self.expands:
            resource["ProtocolFeaturesSupported"] = {
                "ExpandQuery": {"NoLinks": True, "Levels": True, "MaxLevels": 1}}
        if expands:
            resource["Members"] = [self.read(member["@odata.id"]) or member
                                   for member in resource["Members"]]
        return send(handler, 200, resource)

    def read(self, path):
        file = self.folder / path.strip("/") / "index.json"
        return json.loads(file.read_text(encoding="utf-8")) if file.is_file() else None


class Tunnel:
    """A proxy that leads each connection on to where it is asked to, keeps what it was asked, and
    says what only the server may say."""

    def __init__(self):
        self.heads = []
        outer = self

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                head = b"".join(iter(self.rfile.readline, b"\r\n"))
                outer.heads.append(head.decode())
                host, port = head.split()[1].decode().rsplit(":", 1)
                self.wfile.write(b"HTTP/1.1 200 Yes\r\nX-Auth-Token: proxy\r\n"
                                 b"Location: https://127.0.0.1:1/\r\n\r\n")
                with socket.create_connection((host, int(port))) as server:
                    threading.Thread(target=outer.copy, args=(self.connection, server),
                                     daemon=True).start()
                    outer.copy(server, self.connection)

        self.server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.address = f"http://127.0.0.1:{self.server.server_address[1]}"
        threading.Thread(target=self.server.serve_forever, args=(0.05,), daemon=True).start()

    @staticmethod
    def copy(source, target):
        with contextlib.suppress(OSError):
            while data := source.recv(65536):
                target.sendall(data)
            target.shutdown(socket.SHUT_WR)

    def stop(self):
        self.server.shutdown()
        self.server.server_close()


def send(handler, status, content=None, **headers):
    body = b"" if content is None else \
        content if isinstance(content, bytes) else json.dumps(content).encode()
    handler.send_response(status)
    handler.send_header("Content-Length", str(len(body)))
    for name, value in headers.items():
        handler.send_header(name.replace("_", "-"), value)
    handler.end_headers()
    handler.wfile.write(body)


def status(code, **headers):
    return lambda handler, _count: send(handler, code, **headers)
