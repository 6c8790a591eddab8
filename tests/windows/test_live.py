#!/usr/bin/env python3
"""Downloads of the program for Windows: a repository that it publishes, on loopback."""

import functools
import http.server
import json
import shutil
import ssl
import sys
import threading
import urllib.parse
import urllib.request

from wine_test import SAMPLE, SOURCE, WINE, Wine, WineTest, main, windows

sys.path.append(str(SOURCE / "tests" / "live"))

from certificates import RSA, make_certificate  # noqa: E402 (found by the line above)


class Handler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_arguments):
        pass


class Proxy(Handler):
    """Passes on what it is asked for by whole addresses."""

    def do_GET(self):
        asked = urllib.parse.urlsplit(self.path)
        self.server.asked.append((asked.hostname, asked.path))
        direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        with direct.open(self.server.target + asked.path) as answer:
            body = answer.read()
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


class Live(WineTest):
    def setUp(self):
        super().setUp()
        self.repository = self.work / "repository"
        (self.repository / "files").mkdir(parents=True)
        shutil.copy(SAMPLE / "catalogue" / "index.xml", self.repository / "files" / "sample.xml")
        (self.work / "drives" / "c" / "QRX_Support").mkdir(parents=True)
        drives = Wine(self.svcheck, WINE).drives(str(self.work))
        drives.__enter__()
        self.addCleanup(drives.__exit__, None, None, None)
        self.publish()

    def publish(self):
        self.run_program("repository", "keygen", "--no-password", "--repository-key", "ключ.pub",
                         "--secret-key", "ключ.sec")
        self.run_program("repository", "build", "repository")
        self.run_program("repository", "sign", "repository", "--secret-key", "ключ.sec")
        self.run_program("repository", "verify", "repository", "--repository-key", "ключ.pub")

    def serve(self, certificate=None, handler=None, host="127.0.0.1"):
        server = http.server.ThreadingHTTPServer(
            (host, 0), handler or functools.partial(Handler, directory=str(self.repository)))
        if certificate:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(f"{certificate}.crt", f"{certificate}.key")
            server.socket = context.wrap_socket(server.socket, server_side=True)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return server

    def check(self, address, *more, status=0):
        output, errors = self.run_program(
            "check", "--live", "--repository", address, "--repository-key", "ключ.pub",
            "--inventory", windows(SAMPLE / "inventory.xml"), "--format", "json", *more,
            status=status)
        report = json.loads(output)
        if status == 0:
            self.assertGreater(len(report["records"]), 0, report)
            self.assertEqual(self.downloaded(), ["sample.xml"])
        return report, errors

    def downloaded(self):
        folder = self.work / "drives" / "c" / "QRX_Support" / "SV"
        return sorted(path.name for path in folder.iterdir()) if folder.is_dir() else []

    def test_a_live_check_over_http(self):
        port = self.serve().server_address[1]
        self.check(f"http://127.0.0.1:{port}/")

    def test_a_live_check_through_a_proxy(self):
        proxy = self.serve(handler=Proxy)
        proxy.asked = []
        proxy.target = f"http://127.0.0.1:{self.serve().server_address[1]}"
        self.check("http://repository.test/", "--proxy",
                   f"http://127.0.0.1:{proxy.server_address[1]}")
        self.assertIn(("repository.test", "/sv-repository.json"), proxy.asked)

    def serve_securely(self, name="localhost", host="127.0.0.1"):
        """The address of a server with a certificate of an authority that nobody knows.

        Of RSA: Wine refuses an authority whose elliptic signature has a number that begins with a
        zero byte, as one in a hundred has.
        """
        make_certificate(self.work, RSA)
        server = self.serve(self.work / "server", host=host)
        return f"https://{name}:{server.server_address[1]}/"

    def assert_not_trusted(self, *arguments, word="certificate"):
        report, errors = self.check(*arguments, status=4)
        self.assertIn(word, errors)
        self.assertEqual((report["records"], self.downloaded()), ([], []))

    def test_a_live_check_over_https_trusts_the_named_authority(self):
        self.check(self.serve_securely(), "--ca-file", "ca.crt")

    def test_a_live_check_over_https_trusts_no_other(self):
        address = self.serve_securely()
        (self.work / "пустой.crt").write_text("none")
        self.assert_not_trusted(address, "--ca-file", "пустой.crt")
        other = self.work / "другой"
        other.mkdir()
        make_certificate(other, RSA)
        self.assert_not_trusted(address, "--ca-file", "другой\\ca.crt")

    # Wine keeps to itself why a certificate does not pass the checks of the system.
    def test_without_an_authority_the_systems_own_are_trusted(self):
        self.assert_not_trusted(self.serve_securely(), word="no secure connection comes about")

    def test_a_certificate_for_another_name_is_refused(self):
        self.assert_not_trusted(self.serve_securely("127.0.0.2", "127.0.0.2"), "--ca-file", "ca.crt",
                                word="no secure connection comes about")

    def test_a_changed_manifest_is_refused(self):
        with (self.repository / "sv-repository.json").open("a", encoding="utf-8") as manifest:
            manifest.write(" ")
        port = self.serve().server_address[1]
        report, _ = self.check(f"http://127.0.0.1:{port}/", status=4)
        self.assertIn("signature", " ".join(report["errors"]))
        self.assertEqual(self.downloaded(), [])


if __name__ == "__main__":
    main()
