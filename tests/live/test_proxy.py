"""Downloads through tinyproxy, which wants a user and a password."""

import subprocess
import unittest

from certificates import make_certificate
from support import LiveTest, Nginx, clean_environment, free_port, wait_for_port


class Tinyproxy:
    def __init__(self, folder, more="BasicAuth user secret"):
        self.port = free_port()
        self.log = folder / "tinyproxy.log"
        config = folder / "tinyproxy.conf"
        config.write_text(f"Port {self.port}\nListen 127.0.0.1\nAllow 127.0.0.1\nTimeout 10\n"
                          f'LogFile "{self.log}"\nLogLevel Connect\nMaxClients 20\n{more}\n')
        self.process = subprocess.Popen(["tinyproxy", "-d", "-c", str(config)],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for_port(self.port, self.process)

    def saw(self, text):
        return self.log.exists() and text in self.log.read_text()

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Proxies(LiveTest):
    def setUp(self):
        super().setUp()
        for name in ("one.xml", "two.xml", "three.xml"):
            self.repository.add(name, name.encode() * 1000)
        self.repository.publish()
        self.proxy = Tinyproxy(self.server_folder)
        self.addCleanup(self.proxy.stop)

    def serve(self, **options):
        server = Nginx(self.server_folder, self.repository.folder, **options)
        self.addCleanup(server.stop)
        return server

    def as_set(self, **changes):
        proxy = {"host": "127.0.0.1", "port": self.proxy.port, "user": "user",
                 "password": "secret"}
        proxy.update(changes)
        return proxy

    def address(self, user="user:secret@"):
        return f"http://{user}127.0.0.1:{self.proxy.port}"

    def brings(self, address, **changes):
        result = self.download(address, **changes)
        self.assertEqual((result.code, result.stderr), (0, ""))
        self.assertEqual(self.present(), self.repository.contents)

    def test_http_through_the_proxy_that_was_set(self):
        self.brings(self.serve().address, proxy=self.as_set())
        self.assertTrue(self.proxy.saw("GET http://127.0.0.1"))

    def test_https_through_connect(self):
        authority = make_certificate(self.server_folder)
        server = self.serve(certificate=self.server_folder / "server")
        self.brings(server.address, proxy=self.as_set(), caFile=authority)
        self.assertTrue(self.proxy.saw("CONNECT 127.0.0.1"))

    def test_the_certificate_behind_the_proxy_is_verified_too(self):
        make_certificate(self.server_folder)
        server = self.serve(certificate=self.server_folder / "server")
        self.assert_refused(self.download(server.address, proxy=self.as_set()), 21, "certificate")

    def test_a_wrong_password(self):
        result = self.download(self.serve().address, proxy=self.as_set(password="guess"))
        self.assert_refused(result, 23, "status 401", "user and password", "proxy")
        self.assertNotIn("guess", result.stderr)

    def test_a_wrong_password_for_https(self):
        authority = make_certificate(self.server_folder)
        server = self.serve(certificate=self.server_folder / "server")
        self.assert_refused(self.download(server.address, proxy=self.as_set(password="guess"),
                                          caFile=authority), 22, "user and password")

    def test_no_password_where_one_is_wanted(self):
        self.assert_refused(self.download(self.serve().address, proxy=self.as_set(user="")), 22)

    def test_the_environments_proxy(self):
        environment = clean_environment(http_proxy=self.address(), no_proxy="")
        self.brings(self.serve().address, environment=environment)
        self.assertTrue(self.proxy.saw("GET http://127.0.0.1"))

    def test_the_environments_exceptions(self):
        environment = clean_environment(http_proxy=self.address(), no_proxy="127.0.0.1")
        self.brings(self.serve().address, environment=environment)
        self.assertFalse(self.proxy.saw("GET http://127.0.0.1"))

    def test_what_is_set_wins_over_the_environment(self):
        environment = clean_environment(http_proxy="http://127.0.0.1:1", no_proxy="127.0.0.1")
        self.brings(self.serve().address, environment=environment, proxy=self.as_set())
        self.assertTrue(self.proxy.saw("GET http://127.0.0.1"))

    def test_the_programs_own_choice_wins_over_all(self):
        wrong = self.as_set(port=1)
        server = self.serve()
        self.brings(server.address, proxy=wrong, proxyAddress=self.address())
        self.assertTrue(self.proxy.saw("GET http://127.0.0.1"))
        self.brings(server.address, proxy=wrong, proxyAddress="none")

    def test_a_proxy_that_does_not_answer(self):
        proxy = self.as_set(port=free_port())
        self.assert_refused(self.download(self.serve().address, proxy=proxy), 20, "proxy")

    def test_a_proxy_that_cannot_be_one(self):
        server = self.serve()
        for changes in ({"port": 0}, {"port": 65536}, {"port": -1}, {"host": ""}, {"host": "a b"}):
            self.assert_refused(self.download(server.address, proxy=self.as_set(**changes)), 13)

    def test_a_server_that_the_proxy_cannot_reach(self):
        authority = make_certificate(self.server_folder)
        self.assert_refused(self.download(f"https://127.0.0.1:{free_port()}", caFile=authority,
                                          proxy=self.as_set()), 20, "the proxy answered")


if __name__ == "__main__":
    unittest.main()
