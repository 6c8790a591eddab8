"""The publisher's page, tried: from a folder of descriptions to a download from it; and keys, which
minisign and the program take from each other."""

import os
import pty
import re
import subprocess
import unittest

from support import free_port, wait_for_port
from test_publishing import SOURCE, SVCHECK, Repository


class Keys(Repository):
    def test_the_page_is_true(self):
        text = (SOURCE / "docs" / "publishing.md").read_text()
        keygen, publish, show, config = re.findall(r"<!-- tried -->\n```\n(.*?)```", text, re.S)
        port = free_port()

        def here(block):
            block = block.replace("/srv", str(self.root)).replace("8080", f"127.0.0.1:{port}")
            return block.replace("svcheck", f"'{SVCHECK}'")

        def run(block):
            subprocess.run(["sh", "-ec", here(block)], check=True, cwd=self.root,
                           input="password\n", text=True, capture_output=True)

        run(keygen.replace("\n", " --no-password\n"))
        run(publish)
        user = "user root; " if os.geteuid() == 0 else ""
        (self.root / "sv.conf").write_text(here(config).replace(
            "http {", "http { access_log off; " + " ".join(
                f"{name}_temp_path {self.root};"
                for name in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))))
        server = subprocess.Popen(
            [*here(show).split(), "-e", str(self.root / "log"), "-g",
             f"{user}daemon off; pid {self.root}/pid;"], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        wait_for_port(port, server)
        result = self.download(f"http://127.0.0.1:{port}", key=str(self.root / "publisher.pub"),
                               machineTypes=["4638"])
        self.assertEqual((result.code, result.stderr), (0, ""))
        self.assertEqual(self.present(), self.repository.contents)

    def test_minisign_accepts_what_is_signed_here(self):
        self.make_keys()
        self.build()
        self.svcheck("sign", "sv", "--secret-key", "k.sec", "--comment", "a comment of mine")
        process = subprocess.run(["minisign", "-V", "-p", "k.pub", "-m", "sv/sv-repository.json"],
                                 cwd=self.root, capture_output=True, text=True)
        self.assertEqual(process.returncode, 0, process.stderr)
        self.assertIn("a comment of mine", process.stdout)
        self.assertEqual((self.root / "k.sec").stat().st_mode & 0o777, 0o600)

    def test_keys_of_minisign_sign_here(self):
        self.build()
        self.svcheck("sign", "sv", "--secret-key", self.keys.secret)
        self.svcheck("verify", "sv", "--repository-key", self.keys.public)

    def test_minisign_signs_with_keys_made_here(self):
        self.make_keys()
        self.build()
        subprocess.run(["minisign", "-S", "-s", "k.sec", "-m", "sv/sv-repository.json"], check=True,
                       cwd=self.root, capture_output=True)
        self.svcheck("verify", "sv", "--repository-key", "k.pub")

    def on_terminal(self, typed, *arguments, status=0):
        """What stands on a terminal where each of `typed` is typed once something is asked for."""
        ours, theirs = pty.openpty()
        process = subprocess.Popen([SVCHECK, "repository", *arguments], cwd=self.root, stdin=theirs,
                                   stdout=theirs, stderr=theirs, start_new_session=True)
        os.close(theirs)
        shown = b""
        for count, line in enumerate(typed, 1):
            while shown.count(b": ") < count:
                shown += os.read(ours, 1000)
            os.write(ours, line)
        try:
            while part := os.read(ours, 1000):
                shown += part
        except OSError:  # The end of a terminal.
            pass
        os.close(ours)
        self.assertEqual(process.wait(timeout=60), status, shown)
        return shown.decode()

    def test_a_password_is_asked_for_and_not_shown(self):
        shown = self.on_terminal([b"a secret\n"] * 2, "keygen", "--repository-key", "k.pub",
                                 "--secret-key", "k.sec")
        self.assertTrue(shown.startswith("Password for the new k.sec: "), shown)
        self.assertNotIn("secret\r", shown)
        self.assertIn("\nPassword once more: ", shown)
        self.build()
        self.assertEqual(self.on_terminal([b"a secret\n"], "sign", "sv", "--secret-key",
                                          "k.sec").count("Password"), 1)
        sign = ("sign", "sv", "--secret-key", "k.sec")
        self.assertIn("no password was given", self.svcheck(*sign, status=1, input="").stderr)
        self.svcheck(*sign, input="a secret\nmore\n")
        self.svcheck("verify", "sv", "--repository-key", "k.pub")
        self.svcheck("keygen", "--password", "x", "--repository-key", "l.pub", "--secret-key",
                     "l.sec", status=64)

    def test_a_new_password_that_is_mistyped_makes_no_key(self):
        shown = self.on_terminal([b"a secret\n", b"a secert\n"], "keygen", "--repository-key",
                                 "k.pub", "--secret-key", "k.sec", status=1)
        self.assertIn("the two passwords differ", shown)
        self.assertEqual([file for file in self.root.iterdir() if file.name.startswith("k.")], [])


if __name__ == "__main__":
    unittest.main()
