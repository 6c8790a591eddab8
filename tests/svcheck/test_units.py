"""The units of the daily check: what they run writes the metrics; systemd takes them."""

import re
import shlex
import shutil
import subprocess
import unittest

from program import BUILD, SAMPLE, ProgramTest, main

CMAKE, = re.findall(r"(?m)^CMAKE_COMMAND:INTERNAL=(.*)$", (BUILD / "CMakeCache.txt").read_text())
ANALYZE = shutil.which("systemd-analyze")


class Units(ProgramTest):
    def setUp(self):
        super().setUp()
        # As a machine has it, whose checks by hand are to fail when something is outdated.
        self.write(".config/svcheck/config.toml",
                   'fail-on = "outdated"\nformat = "csv"\n[check]\nlive = true\n')
        self.prefix = self.folder / "a prefix"
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", self.prefix, "--component",
                        "svcheck"], check=True, stdout=subprocess.DEVNULL)
        self.units = self.prefix / "lib" / "systemd" / "system"

    def command(self, arguments, metrics):
        """What the service runs, with the built program and the sample's catalogue."""
        service = (self.units / "svcheck.service").read_text()
        line = re.search(r"^ExecStart=(.*)$", service, re.MULTILINE)[1]
        words = [arguments if word == "$SVCHECK_ARGUMENTS" else
                 [word.replace("${SVCHECK_METRICS}", str(metrics))] for word in shlex.split(line)]
        program, *rest = sum(words, [])
        self.assertEqual(program, str(self.prefix / "bin" / "svcheck"))
        return rest

    def metrics_of(self, status, *arguments):
        metrics = self.folder / "svcheck.prom"
        result = self.run_program(*self.command(
            ["--inventory", SAMPLE / "inventory.xml", *arguments], metrics))
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual((result.stdout, self.leftovers()), ("", []))
        return dict(line.rsplit(" ", 1) for line in metrics.read_text().splitlines()
                    if not line.startswith("#"))

    def test_what_is_installed_names_its_own_prefix(self):
        for file in (self.units / "svcheck.service", self.units / "svcheck-fetch.service",
                     self.prefix / "share" / "svcheck" / "systemd" / "svcheck.default"):
            text = file.read_text()
            self.assertIn(f"{self.prefix}/", text)
            self.assertNotRegex(text, r"(?<!a prefix)/(usr/|lib/systemd/)|@SVC_")

    def test_the_service_writes_metrics_and_keeps_the_last_success(self):
        """Updates are no failure of the service, whatever the machine's settings say."""
        good = self.metrics_of(0, "--catalogue", SAMPLE / "catalogue")
        self.assertEqual(good['svcheck_records{verdict="outdated"}'], "10")
        self.assertEqual(good["svcheck_success"], "1")
        self.assertGreaterEqual(int(good["svcheck_catalogue_age_seconds"]), 0)
        success = good["svcheck_last_success_timestamp_seconds"]
        bad = self.metrics_of(4, "--catalogue", "none")
        self.assertEqual(bad["svcheck_success"], "0")
        self.assertEqual(bad['svcheck_records{verdict="outdated"}'], "10")
        self.assertEqual(bad["svcheck_last_success_timestamp_seconds"], success)

    def test_the_fetch_goes_where_the_check_may_look(self):
        service = (self.units / "svcheck-fetch.service").read_text()
        line = re.search(r"^ExecStart=(.*)$", service, re.MULTILINE)[1]
        program, *rest = shlex.split(line)
        self.assertEqual(program, str(self.prefix / "bin" / "svcheck"))
        place = rest[rest.index("--output") + 1]
        default = (self.prefix / "share/svcheck/systemd/svcheck.default").read_text()
        self.assertIn(f'"--catalogue {place}"', default)
        arguments = re.search(r'SVCHECK_FETCH_ARGUMENTS="(.*)"', default)[1].split()
        words = [self.folder / "fetched" if word == place else word for word in rest[:-1]]
        self.assertEqual(rest[-1], "$SVCHECK_FETCH_ARGUMENTS")
        # Understood, up to the key that is not there.
        self.assert_failed(self.run_program(*words, *arguments), 4, "/etc/svcheck/updates.pub")

    @unittest.skipUnless(ANALYZE, "there is no systemd-analyze")
    def test_systemd_takes_them(self):
        for name in ("svcheck", "svcheck-fetch"):
            with self.subTest(name):
                self.analyze(*(self.units / f"{name}.{kind}" for kind in ("service", "timer")))

    def analyze(self, service, timer):
        for arguments in (["verify", "--man=no", "--recursive-errors=no", service, timer],
                          ["security", "--offline=true", "--threshold=45", "--no-pager", service]):
            result = subprocess.run([ANALYZE, *map(str, arguments)], capture_output=True, text=True,
                                    timeout=60)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


if __name__ == "__main__":
    main()
