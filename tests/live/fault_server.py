"""A web server that misbehaves as told."""

import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from support import forget_server


class FaultServer:
    """Shows a repository's folder; `faults` maps a path to a function that answers in its place.

    The function gets the handler, the content and the number of the request for that path.
    """

    def __init__(self, repository):
        self.faults = {}
        self.requests = []
        self.ended = threading.Event()
        outer = self

        class Handler(BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_GET(self):
                outer.answer(self, repository.folder)

            def log_message(self, *_):
                pass

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.server.handle_error = lambda *_: None  # Clients that go away are part of the tests.
        forget_server(self.server.server_port)
        self.address = f"http://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, args=(0.05,), daemon=True).start()

    def answer(self, handler, folder):
        path = handler.path.lstrip("/")
        self.requests.append((path, handler.headers.get("Range")))
        count = sum(1 for request, _ in self.requests if request == path)
        file = folder / path
        content = file.read_bytes() if file.is_file() else None
        try:
            if path in self.faults:
                self.faults[path](handler, content, count)
            elif content is None:
                status(404)(handler, content, count)
            else:
                whole(handler, content, count)
        except (BrokenPipeError, ConnectionResetError):
            handler.close_connection = True

    def ranges(self, path):
        return [wanted for request, wanted in self.requests if request == path]

    def stop(self):
        self.ended.set()
        self.server.shutdown()
        self.server.server_close()
        forget_server(self.server.server_port)


def send_head(handler, code, length, **headers):
    handler.send_response(code)
    if length is not None:
        handler.send_header("Content-Length", str(length))
    for name, value in headers.items():
        handler.send_header(name.replace("_", "-"), value)
    handler.end_headers()


def offset_of(handler, content):
    wanted = handler.headers.get("Range")
    return int(wanted[len("bytes="):].rstrip("-")) if wanted else 0


def whole(handler, content, _count, etag='"one"'):
    """The file, or the part of it that is asked for."""
    offset = offset_of(handler, content)
    if handler.headers.get("If-Range", etag) != etag:
        offset = 0
    headers = {"ETag": etag}
    if offset:
        headers["Content_Range"] = f"bytes {offset}-{len(content) - 1}/{len(content)}"
    send_head(handler, 206 if offset else 200, len(content) - offset, **headers)
    handler.wfile.write(content[offset:])


def cut(after, times=None):
    """Breaks the connection after so many bytes, the first times or always."""
    def answer(handler, content, count):
        if times is not None and count > times:
            return whole(handler, content, count)
        offset = offset_of(handler, content)
        headers = {"ETag": '"one"'}
        if offset:
            headers["Content_Range"] = f"bytes {offset}-{len(content) - 1}/{len(content)}"
        send_head(handler, 206 if offset else 200, len(content) - offset, **headers)
        handler.wfile.write(content[offset:offset + after])
        handler.wfile.flush()
        handler.close_connection = True
        handler.connection.shutdown(2)
    return answer


def status(code, times=None, **headers):
    def answer(handler, content, count):
        if times is not None and count > times:
            return whole(handler, content, count)
        body = b"<html>an error page</html>"
        send_head(handler, code, len(body), **headers)
        handler.wfile.write(body)
    return answer


def slow(server, begin=10):
    """Sends a beginning, then a byte now and then."""
    def answer(handler, content, _count):
        send_head(handler, 200, len(content))
        handler.wfile.write(content[:begin])
        for byte in content[begin:]:
            handler.wfile.flush()
            if server.ended.wait(0.2):
                return
            handler.wfile.write(bytes([byte]))
    return answer


def endless(server):
    """Never says how long the file is, and never ends it."""
    def answer(handler, content, _count):
        send_head(handler, 200, None, Connection="close")
        handler.wfile.write(content)
        while not server.ended.is_set():
            handler.wfile.write(b"x" * 65536)
        handler.close_connection = True
    return answer
