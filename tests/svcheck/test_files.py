"""What the program writes and reads by names that others may have a hand in: links of another user,
full devices, limits, pipes."""

import functools
import http.server
import os
import resource
import stat
import struct
import subprocess
import threading
import unittest

from program import MACHINE, PROGRAM, SAMPLE, SYSTEM, ProgramTest, document, main

SOMEBODY = 65534
INVENTORY = ("--inventory", SAMPLE / "inventory.xml")
CATALOGUE = ("--catalogue", SAMPLE / "catalogue")
CSV = ("type,name,version,machine types,operating systems\n" +
       "".join(f"BIOS,Update {n},YUE{n:03}A,4638,RHEL5\n" for n in range(300)))


class Written(ProgramTest):
    """Every file that the program writes, by the command that writes it to a name."""

    def setUp(self):
        super().setUp()
        self.place = self.folder / "others"
        self.place.mkdir()
        self.write("firmware.csv", CSV)
        self.write("tree/etc/redhat-release", "Red Hat 6\n" + "x" * 40000)
        self.write("tree/proc/modules", "")
        for name in ("fleet.xml", "second.xml"):
            self.write("machines/" + name, (SAMPLE / "inventory.xml").read_bytes())
        self.write("repository/files/sample.xml", (SAMPLE / "catalogue/index.xml").read_bytes())
        self.assertEqual(self.run_program(*self.KEYGEN).returncode, 0)
        for arguments in (("build", "repository"),
                          ("sign", "repository", "--secret-key", "made.sec")):
            self.assertEqual(self.run_program("repository", *arguments).returncode, 0)
        saved = self.run_program("check", *INVENTORY, *CATALOGUE, "--format", "json", "--output",
                                 "saved.json")
        self.assertEqual(saved.returncode, 0, saved.stderr)

    GROWS_IN_PLACE = ("check --log", "query --log", "fleet --output", "fleet --logs")
    KEYGEN = ("repository", "keygen", "--no-password", "--repository-key", "made.pub",
              "--secret-key", "made.sec")

    def fleet(self, *options):
        return ("fleet", *CATALOGUE, "--inventories", "machines", *options)

    def commands(self):
        """The command, and the file that it writes."""
        at = self.place
        return {
            "check --output": (("check", *INVENTORY, *CATALOGUE, "--format", "json", "--output",
                                at / "f"), at / "f"),
            "check --log": (("check", *INVENTORY, *CATALOGUE, "--log", at / "f", "--log-level", "4"),
                            at / "f"),
            "query --records": (("query", *INVENTORY, "--context", f"svPath={CATALOGUE[1]}",
                                 "--records", at / "f"), at / "f"),
            "query --log": (("query", *INVENTORY, "--context", f"svPath={CATALOGUE[1]}", "--log",
                             at / "f", "--log-level", "4"), at / "f"),
            "report --output": (("report", "saved.json", "--format", "html", "--output", at / "f"),
                                at / "f"),
            "diff --output": (("diff", "saved.json", "saved.json", "--format", "json", "--output",
                               at / "f"), at / "f"),
            "collect --output": (("collect", "--root", "tree", "--output", at / "f"), at / "f"),
            "collect --capture": (("collect", "--root", "tree", "--capture", at / "f"), at / "f"),
            "catalogue build": (("catalogue", "build", "--firmware", "firmware.csv", "--output", at),
                                at / "index.xml"),
            "fleet --output": (self.fleet("--output", at / "f"), at / "f"),
            "fleet --json": (self.fleet("--output", "r", "--json", at / "f"), at / "f"),
            "fleet --table": (self.fleet("--output", "r", "--table", at / "f"), at / "f"),
            "fleet --html": (self.fleet("--output", "r", "--html", at), at / "index.html"),
            "fleet --html, a page": (self.fleet("--output", "r", "--html", at),
                                     at / "machines" / "fleet.html"),
            "fleet --logs": (self.fleet("--output", "r", "--logs", at, "--log-level", "4"),
                             at / "fleet.ndjson"),
            "repository build": (("repository", "build", at), at / "sv-repository.json"),
            "repository sign": (("repository", "sign", at, "--secret-key", "made.sec"),
                                at / "sv-repository.json.minisig"),
            "keygen, public": (("repository", "keygen", "--no-password", "--repository-key",
                                at / "f", "--secret-key", "new.sec"), at / "f"),
            "manual": (("manual", at), at / "svcheck.1"),
        }

    def each(self, check, *but):
        """Calls check(name, command, file) for each of them, with an empty folder."""
        for name, (command, file) in self.commands().items():
            if name in but:
                continue
            with self.subTest(name):
                subprocess.run(["rm", "-rf", self.place, self.folder / "new.sec"], check=True)
                file.parent.mkdir(parents=True)
                if command[0] == "repository" and command[1] != "keygen":
                    subprocess.run(["cp", "-r", *(self.folder / "repository").iterdir(),
                                    self.place], check=True)
                    file.unlink(missing_ok=True)
                check(name, command, file)

    def limited(self, *arguments):
        """With files of one page at most, as after ulimit -f."""
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (64, 64))
        return self.run_program(*arguments, preexec_fn=limit)

    @unittest.skipIf(os.geteuid() != 0, "only root gives links away")
    def test_another_users_link_is_replaced_and_what_it_leads_to_is_left_alone(self):
        victim = self.folder / "victim"

        def check(name, command, file):
            victim.write_text("precious")
            victim.chmod(0o600)
            file.symlink_to(victim)
            for path in (file.parent, file):
                os.chown(path, SOMEBODY, SOMEBODY, follow_symlinks=False)
            result = self.run_program(*command)
            self.assertEqual(victim.read_text(), "precious")
            self.assertEqual(stat.S_IMODE(victim.stat().st_mode), 0o600)
            self.assertEqual(self.leftovers(), [])
            if name == "repository build":  # It is read before, and is no link there.
                self.assert_failed(result, 1, "cannot be read")
                return
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertFalse(file.is_symlink())
            self.assertGreater(file.stat().st_size, 0)
        self.each(check)

    @unittest.skipIf(os.geteuid() != 0, "only root gives links away")
    def test_another_users_link_to_a_folder_leads_nowhere_else(self):
        victim = self.folder / "victim"
        victim.mkdir()
        self.place.joinpath("sub").symlink_to(victim)
        for path in (self.place, self.place / "sub"):
            os.chown(path, SOMEBODY, SOMEBODY, follow_symlinks=False)
        for option in ("--output", "--log"):
            result = self.run_program("check", *INVENTORY, *CATALOGUE, option,
                                      self.place / "sub" / "f")
            self.assert_failed(result, 1, "belongs to another user")
        self.assertEqual(list(victim.iterdir()), [])

    def test_an_own_link_is_followed_and_stays(self):
        def check(_, command, file):
            target = self.folder / "target"
            target.write_text("")
            file.symlink_to(target)
            result = self.run_program(*command)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertTrue(file.is_symlink())
            self.assertGreater(target.stat().st_size, 0)
        self.each(check, "repository build")

    def test_a_file_that_grows_past_the_limit_is_an_error_that_leaves_nothing(self):
        def check(name, command, file):
            result = self.limited(*command)
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("File too large", result.stderr)
            self.assertEqual(self.leftovers(), [])
            if name not in self.GROWS_IN_PLACE:
                self.assertFalse(file.exists())
        self.each(check)
        with (self.folder / "out").open("w") as out:
            result = self.limited_output(out)
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot write standard output: File too large", result.stderr)

    def limited_output(self, out):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (64, 64))
        return subprocess.run([PROGRAM, "check", *INVENTORY, *CATALOGUE], cwd=self.folder,
                              stdout=out, stderr=subprocess.PIPE, text=True, preexec_fn=limit,
                              check=False)

    @unittest.skipIf(os.geteuid() != 0, "only root makes devices")
    def test_a_full_device_is_an_error(self):
        def check(name, command, file):
            if file.name != "f":
                return
            device = os.makedev(1, 7)
            full = self.folder / "full"
            full.unlink(missing_ok=True)
            os.mknod(full, 0o666 | stat.S_IFCHR, device)
            result = self.run_program(*[full if part == file else part for part in command])
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("it is a pipe or a device" if name == "keygen, public" else
                          "No space left on device", result.stderr)
            self.assertEqual(full.stat().st_rdev, device, "it is still there")
        self.each(check)

    def test_a_full_file_system_is_an_error_that_leaves_the_old_file(self):
        """What the last close of a file could have told, the sync before it has told."""
        script = ('mount -t tmpfs -o size=4k none "$1" && head -c 4000 /dev/zero >"$2" && old="$2"'
                  ' && shift 2 && { "$@"; status=$?; cmp -n 4000 "$old" /dev/zero'
                  ' && [ "$(ls -A "$(dirname "$old")")" = f ] || status=9; exit $status; }')

        def check(name, command, file):
            if name in self.GROWS_IN_PLACE or file.name != "f":
                return
            result = subprocess.run(["unshare", "-m", "sh", "-c", script, "sh", self.place, file,
                                     PROGRAM, *map(str, command)], cwd=self.folder, text=True,
                                    capture_output=True, check=False)
            if "mount:" in result.stderr or "unshare:" in result.stderr:
                self.skipTest("nothing can be mounted here")
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("No space left on device", result.stderr)
        self.each(check)

    def test_a_secret_key_is_there_whole_or_not_at_all_and_never_replaced(self):
        result = self.limited("repository", "keygen", "--no-password", "--repository-key", "p",
                              "--secret-key", self.place / "s")
        self.assert_failed(result, 1, "File too large")
        self.assertEqual(list(self.place.iterdir()), [])
        (self.place / "s").symlink_to(self.folder / "victim")
        result = self.run_program("repository", "keygen", "--no-password", "--repository-key", "p",
                                  "--secret-key", self.place / "t")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(stat.S_IMODE((self.place / "t").stat().st_mode), 0o600)
        key = (self.place / "t").read_bytes()
        result = self.run_program("repository", "keygen", "--no-password", "--repository-key", "q",
                                  "--secret-key", self.place / "t")
        self.assert_failed(result, 1, "File exists")
        self.assertEqual((self.place / "t").read_bytes(), key)
        self.assertFalse((self.folder / "q").exists())


class Read(ProgramTest):
    def setUp(self):
        super().setUp()
        os.mkfifo(self.folder / "pipe")
        self.write("inventory.xml", document([MACHINE, SYSTEM]))

    def test_settings_are_a_file(self):
        for place in ("/dev/zero", "/dev/null", self.folder / "pipe", self.folder):
            with self.subTest(place):
                settings = self.folder / "config" / "svcheck" / "config.toml"
                settings.parent.mkdir(parents=True, exist_ok=True)
                settings.unlink(missing_ok=True)
                settings.symlink_to(place)
                result = self.run_program("config", env={"XDG_CONFIG_HOME":
                                                         str(self.folder / "config")})
                self.assert_failed(result, 64, str(settings), "make it a file")

    def test_definitions_and_certificates_are_files(self):
        (self.folder / "data/sv").mkdir(parents=True)
        os.mkfifo(self.folder / "data/sv/sv.definitions.xml")
        for arguments, status, words in (
                (["check", "--data-dir", "data", "--catalogue", SAMPLE / "catalogue"], 1, "no regular file"),
                (["check", "--live", "--repository", "https://127.0.0.1:1", "--allow-unsigned",
                  "--ca-file", "pipe"], 4, "pipe is no file; name one with certificates"),
                (["check", "--live", "--repository", "https://127.0.0.1:1", "--allow-unsigned",
                  "--ca-file", "."], 4, "is no file; name one with certificates")):
            with self.subTest(arguments):
                result = self.run_program(*arguments, "--inventory", "inventory.xml")
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertIn(words, result.stderr)

    def test_what_is_written_waits_for_nobody_to_read(self):
        catalogue = self.folder / "made"
        catalogue.mkdir()
        os.mkfifo(catalogue / "index.xml")
        listed = self.write("list.csv", "type,name,version,machine types,operating systems\n"
                                        "bios,b,1,4638,RHEL5\n")
        check = ["check", "--inventory", "inventory.xml", "--catalogue", SAMPLE / "catalogue"]
        for arguments in ([*check, "--output", "pipe"], [*check, "--log", "pipe"],
                          ["fleet", "--inventories", "inventory.xml", "--catalogue",
                           SAMPLE / "catalogue", "--output", "pipe"],
                          ["catalogue", "build", "--firmware", listed, "--output", catalogue]):
            with self.subTest(arguments):
                result = self.run_program(*arguments)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn("nobody reads", result.stderr)

    @unittest.skipIf(os.geteuid() != 0, "only root gives files to groups")
    def test_settings_that_others_may_write_to_are_not_read(self):
        settings = self.write(".config/svcheck/config.toml", 'format = "csv"\n')
        tags = {"owner": 1, "user": 2, "group of the owner": 4, "group": 8, "mask": 16, "others": 32}

        def grant(tag, user, rights):
            entries = [("owner", 6, 0xFFFFFFFF), ("group of the owner", 4, 0xFFFFFFFF),
                       (tag, rights, user), ("mask", 6, 0xFFFFFFFF), ("others", 4, 0xFFFFFFFF)]
            entries.sort(key=lambda entry: tags[entry[0]])
            os.setxattr(settings, "system.posix_acl_access", struct.pack("<I", 2) + b"".join(
                struct.pack("<HHI", tags[name], bits, number) for name, bits, number in entries))

        for change, is_read in ((lambda: settings.chmod(0o664), False),
                                (lambda: settings.chmod(0o646), False),
                                (lambda: settings.chmod(0o644), True),
                                (lambda: grant("user", SOMEBODY, 6), False),
                                (lambda: grant("group", SOMEBODY, 2), False),
                                (lambda: grant("user", SOMEBODY, 4), True),
                                (lambda: grant("user", 0, 6), True),
                                (lambda: os.chown(settings, SOMEBODY, 0), False)):
            try:
                change()
            except OSError as error:
                self.skipTest(f"no access lists here: {error}")
            result = self.run_program("config")
            if is_read:
                self.assertEqual(result.returncode, 0, result.stderr)
            else:
                self.assert_failed(result, 64, str(settings), "chmod go-w")

    def test_a_saved_report_and_waivers_wait_for_no_pipe(self):
        for place, reason in ((self.folder / "pipe", "it is a pipe and no file"),
                              ("/dev/zero", "it is a device and no file")):
            with self.subTest(place):
                self.assert_failed(self.run_program("report", place), 1, str(place), reason)
                self.assert_failed(self.run_program("diff", place, place), 1, str(place), reason)
                result = self.run_program("check", *INVENTORY, *CATALOGUE, "--waivers", place)
                self.assert_failed(result, 1, str(place), reason)

    def test_they_may_come_through_a_pipe_that_a_shell_opens(self):
        report = self.run_program("check", *INVENTORY, *CATALOGUE, "--format", "json").stdout
        self.write("saved.json", report)
        script = (f'"{PROGRAM}" report <(cat saved.json) --format csv --waivers <(true) && '
                  f'"{PROGRAM}" report /dev/stdin --format csv < saved.json && '
                  f'cat saved.json | "{PROGRAM}" report /dev/stdin --format csv --waivers /dev/null')
        result = subprocess.run(["bash", "-c", script], cwd=self.folder, capture_output=True,
                                text=True, check=False)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, 3 * self.run_program("report", "saved.json", "--format",
                                                             "csv").stdout)

    def test_the_time_of_the_last_success_is_read_from_the_metrics_that_are_replaced(self):
        metrics = self.folder / "m.prom"

        def write(catalogue):
            self.run_program("check", *INVENTORY, "--catalogue", catalogue, "--format",
                             "prometheus", "--output", metrics)
            lines = [line for line in metrics.read_text().splitlines()
                     if line.startswith("svcheck_last_success_timestamp_seconds ")]
            return [line.split()[1] for line in lines]

        self.assertEqual(write("missing"), [])
        self.assertEqual(len(write(CATALOGUE[1])), 1)
        metrics.write_text("x" * 300 + "\nsvcheck_last_success_timestamp_seconds 1234\n")
        self.assertEqual(write("missing"), [], "it is not of this program")
        metrics.write_text("x" * 300 + '\nsvcheck_info{version="1"} 1\n'
                           "svcheck_last_success_timestamp_seconds 1234\n")
        self.assertEqual([int(float(time)) for time in write("missing")], [1234])

    def test_the_metrics_that_are_replaced_are_a_file(self):
        """A device that never ends would be read for ever."""
        result = subprocess.run(["timeout", "20", PROGRAM, "check", *INVENTORY, *CATALOGUE,
                                 "--format", "prometheus", "--output", "/dev/zero"],
                                cwd=self.folder, check=False)
        self.assertEqual(result.returncode, 0)


class Scratch(ProgramTest):
    def test_the_folder_of_a_doctor_is_its_own_and_unforeseeable(self):
        scratch = self.folder / "scratch"
        scratch.mkdir()
        seen = []

        class Handler(http.server.SimpleHTTPRequestHandler):
            def do_GET(self):
                for path in scratch.iterdir():
                    seen.append((path.name, stat.S_IMODE(path.stat().st_mode)))
                self.send_error(404)

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Handler))
        threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        command = [PROGRAM, "doctor", "--allow-unsigned", "--repository",
                   f"http://127.0.0.1:{server.server_port}"]
        for _ in range(2):
            with subprocess.Popen(list(map(str, command)), cwd=self.folder,
                                  stdout=subprocess.DEVNULL, env={
                                      "HOME": str(self.folder), "TMPDIR": str(scratch)}) as process:
                process.wait(60)
            self.assertNotIn(str(process.pid), seen[-1][0])
        for name, mode in seen:
            self.assertRegex(name, r"^svcheck-doctor-[A-Za-z0-9]{6}$")
            self.assertEqual(mode, 0o700)
        self.assertGreater(len(set(seen)), 1)
        self.assertEqual(list(scratch.iterdir()), [])


if __name__ == "__main__":
    main()
