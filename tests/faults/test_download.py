"""A download while one call of the C library after another fails: what arrives is whole, and what
fails is said."""

import errno
import threading
import unittest
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer

from faults import CALLS, MEMORY, SAMPLE, FaultTest, forget_server, main, read_report

ERRORS = [errno.EIO, errno.ENOSPC, errno.EINTR, "short"]


class Handler(SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class ADownload(FaultTest):
    def setUp(self):
        super().setUp()
        repository = self.folder / "repository"
        (repository / "files").mkdir(parents=True)
        self.content = (SAMPLE / "catalogue" / "index.xml").read_bytes()
        (repository / "files" / "sample.xml").write_bytes(self.content)
        built = self.run_program("repository", "build", repository)
        self.assertEqual(built.returncode, 0, built.stderr)
        self.server = ThreadingHTTPServer(("127.0.0.1", 0),
                                          partial(Handler, directory=str(repository)))
        self.server.handle_error = lambda *_: None  # Clients that go away are part of the test.
        threading.Thread(target=self.server.serve_forever, args=(0.05,), daemon=True).start()
        forget_server(self.server.server_port)
        self.addCleanup(forget_server, self.server.server_port)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)
        self.command = ["check", "--live", "--allow-unsigned", "--inventory",
                        SAMPLE / "inventory.xml", "--format", "json", "--drive-root", "drives",
                        "--repository", f"http://127.0.0.1:{self.server.server_port}"]

    def sweep(self, what, kinds, step):
        def try_one(number, kind, folder):
            run = self.run_faulty(what, number, kind, folder, *self.command)
            self.assert_told(run, statuses=(1, 4))
            self.check_folder(run, folder / "drives" / "c" / "QRX_Support")
            self.check_report(run)
        self.each_call(what, kinds, step, try_one, *self.command)

    def check_report(self, run):
        """Whole, unless to write it is what failed, and good news only where all is well."""
        if run.returncode != 1:
            report = read_report(run.stdout)
            self.assertEqual(bool(report["errors"]), run.returncode != 0)

    def check_folder(self, run, folder):
        """Nothing but whole files, and no temporary ones."""
        files = {str(path.relative_to(folder)): path.read_bytes()
                 for path in folder.rglob("*") if path.is_file()}
        files.pop("SV.lock", None)
        self.assertIn(files, [{}, {"SV/sample.xml": self.content}])
        if run.returncode == 0:
            self.assertTrue(files)
        self.assertFalse((folder / "SV.part").exists())

    def test_a_power_cut_finds_each_name_with_its_bytes(self):
        """The serial's note and the file: made stable, named, and their folders made stable."""
        calls = [call for call in self.calls(CALLS, *self.command)
                 if call in ("fsync", "renameat")]
        first = calls.index("renameat")
        self.assertEqual(calls[first - 1:first + 2], ["fsync", "renameat", "fsync"])
        self.assertEqual(calls[-3:], ["fsync", "renameat", "fsync"])
        self.assertEqual(calls.count("renameat"), 2)

    def test_each_call_may_fail(self):
        self.sweep(CALLS, ERRORS, step=self.step(12))

    def test_each_allocation_may_fail(self):
        self.sweep(MEMORY, [errno.ENOMEM], step=self.step(900))


if __name__ == "__main__":
    main()
