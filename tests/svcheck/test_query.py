"""`svcheck query`: records, log, standard output and exit status of one raw query."""

import json
import os
import resource
import shutil
import signal
import socket
import subprocess
import time
import unittest

from program import (BUILD, DATA, MACHINE, SAMPLE, SYSTEM, PROGRAM, ProgramTest, bios, document,
                     element, main, records_of, usual_signals)

BIOS_UPDATE = {"description": "BIOS Update", "Version": "1.1-[YUE112A]-"}


class Query(ProgramTest):
    def query(self, *arguments, **more):
        return self.run_program("query", *arguments, **more)

    def machine(self):
        return self.inventory(MACHINE, SYSTEM, bios("YUE110B"))

    def test_prints_the_records_with_their_keys_in_order(self):
        result = self.query("--inventory", self.machine(), "--context",
                            f"svPath={self.catalogue(element(**BIOS_UPDATE))}")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, '{"Type":"Firmware","Name":"System BIOS",'
                                        '"InstalledVersion":"YUE110B","SVVersion":"YUE112A"}\n')
        self.assertEqual(result.stderr, "")

    def test_the_sample_gives_every_kind_of_record(self):
        result = self.query("--inventory", SAMPLE / "inventory.xml", "--context",
                            f"svPath={SAMPLE / 'catalogue'}")
        names = {record["Name"] for record in records_of(result.stdout)}
        self.assertLessEqual({"System BIOS", "System UEFI", "Diagnostics", "E1000E"}, names)

    @unittest.skipIf(os.geteuid() != 0, "only root can give files away")
    def test_root_runs_a_build_of_somebody_elses(self):
        build = self.folder / "build"
        for name in ("bin/svcheck", "lib", "share"):
            source, target = BUILD / name, build / name
            target.parent.mkdir(exist_ok=True, parents=True)
            (shutil.copytree if source.is_dir() else shutil.copy2)(source, target)
        for path in (build, *build.rglob("*")):
            os.chown(path, 65534, 65534)
        command = [build / "bin" / "svcheck", "query", "--inventory", SAMPLE / "inventory.xml",
                   "--context", "svPath=sample/catalogue"]
        result = subprocess.run(command, capture_output=True, text=True, timeout=60)
        self.assertTrue(records_of(result.stdout), result.stderr)
        os.chown(build / "bin" / "svcheck", 0, 0)
        result = subprocess.run(command, capture_output=True, text=True, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertIn("belongs to another user", result.stderr)

    def test_an_inventory_may_come_through_a_pipe(self):
        result = self.query("--inventory", "/dev/stdin", "--context", "svPath=sample/catalogue",
                            input=(SAMPLE / "inventory.xml").read_text())
        self.assertTrue(records_of(result.stdout), result.stderr)

    def test_a_relative_catalogue_lies_in_the_data_folder(self):
        result = self.query("--inventory", SAMPLE / "inventory.xml", "--context",
                            "svPath=sample/catalogue")
        self.assertTrue(records_of(result.stdout))

    def test_paths_of_the_command_line_are_relative_to_the_caller(self):
        self.machine()
        catalogue = self.catalogue(element(**BIOS_UPDATE))
        data = self.folder / "data"
        data.symlink_to(DATA)
        result = self.query("--inventory", "inventory.xml", "--data-dir", "data", "--records",
                            "records.json", "--log", "log.json", "--context", f"svPath={catalogue}")
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        self.assertEqual(len(records_of((self.folder / "records.json").read_text())), 1)
        self.assertTrue((self.folder / "log.json").stat().st_size)
        self.assertEqual(self.leftovers(), [])

    def test_standard_output_holds_what_the_plugin_wrote_and_nothing_else(self):
        records = self.folder / "records.json"
        result = self.query("--inventory", self.machine(), "--records", records, "--context",
                            "svPath=/nonexistent")
        self.assertEqual(result.stdout, "\nERROR: SV index not found at specified location.\n")
        self.assertEqual((result.returncode, records.read_text()), (0, ""))

    def test_the_log_holds_every_entry_in_order(self):
        log = self.folder / "log.json"
        catalogue = self.catalogue(element(**BIOS_UPDATE))
        self.query("--inventory", self.machine(), "--log", log, "--context", f"svPath={catalogue}")
        entries = records_of(log.read_text())
        self.assertEqual(log.read_text().splitlines()[0], '{"level":4,"message":"In RunQuery"}')
        self.assertEqual([list(entry) for entry in entries],
                         [["level", "message"]] * len(entries))
        full = [entry for entry in entries if entry["level"] <= 1]
        self.query("--inventory", self.machine(), "--log", log, "--log-level", 1, "--context",
                   f"svPath={catalogue}")
        self.assertEqual(records_of(log.read_text()), full)

    def long_log(self, **more):
        """A query whose log takes some MiB, and the log."""
        catalogue = self.catalogue(*[element(**BIOS_UPDATE)] * 3000)
        log = self.folder / "log.json"
        return self.query("--inventory", self.machine(), "--log", log, "--context",
                          f"svPath={catalogue}", "--records", "records.json", **more), log

    def test_a_long_log_takes_no_more_of_the_disk_than_it_holds(self):
        result, log = self.long_log()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        state = log.stat()
        self.assertGreater(state.st_size, 3 << 20)
        self.assertLess(state.st_blocks * 512, state.st_size + (64 << 10))

    def test_a_long_log_that_finds_no_room_holds_what_it_found_room_for(self):
        room = 2_500_001
        whole = self.long_log()[1].read_bytes()
        result, log = self.long_log(
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (room, room)))
        self.assert_failed(result, 1, f"{log}", "File too large")
        self.assertEqual(result.stderr.count(str(log)), 1)
        self.assertEqual(log.read_bytes(), whole[:room])

    def test_a_large_catalogue_is_the_same_whatever_the_number_of_threads(self):
        words = "words " * 400
        elements = [element(**BIOS_UPDATE, releaseNotes=f"{number} {words}")
                    for number in range(4200)]
        whole = self.catalogue(*elements) / "index.xml"
        text = whole.read_text()
        self.assertGreater(len(text), 10 << 20)
        middle = text.index("<VALUE.OBJECT>", len(text) * 3 // 4)
        self.same_by_all_threads(whole.parent, 0)
        for wrong in ("<WRONG/>", "<!--" + text[middle:middle + 9000] + "-->", "</DECLGROUP>"):
            whole.write_text(text[:middle] + wrong + text[middle:])
            self.same_by_all_threads(whole.parent, 0)
        whole.write_text(text[:middle])
        self.same_by_all_threads(whole.parent, 0)

    def same_by_all_threads(self, catalogue, status):
        """Records, log, output and status of queries that read it by one thread and by several."""
        found = set()
        for threads in (1, 2, 4):
            log = self.folder / f"log-{threads}.json"
            result = self.query("--inventory", self.machine(), "--threads", threads, "--log", log,
                                "--context", f"svPath={catalogue}")
            self.assertEqual(result.returncode, status, result.stderr)
            found.add((result.stdout, result.stderr, log.read_text()))
        self.assertEqual(len(found), 1)

    def test_without_a_catalogue_an_exception_leaves_the_query(self):
        records = self.folder / "records.json"
        result = self.query("--inventory", self.machine(), "--records", records)
        self.assert_failed(result, 3, "SV: 'svPath' not passed via context", "status 32")
        self.assertEqual(records.read_text(), "")

    def test_records_that_were_there_before_are_no_answer(self):
        old = ("QRXSG_SVResult", {"Type": "Firmware", "Name": "Old"})
        plain = self.inventory(old, MACHINE, SYSTEM, bios("A"), old).read_text()
        derived = ('<VALUE.OBJECT><CLASS NAME="X_Result"/></VALUE.OBJECT><VALUE.OBJECT>'
                   '<CLASS NAME="QRXSG_SVResult" SUPERCLASS="X_Result"/></VALUE.OBJECT>')
        catalogue = self.catalogue(element(**BIOS_UPDATE))
        for text in (plain, plain.replace("<VALUE.OBJECT>", derived + "<VALUE.OBJECT>", 1)):
            result = self.query("--inventory", self.write("machine.xml", text), "--context",
                                f"svPath={catalogue}")
            self.assertEqual([record["Name"] for record in records_of(result.stdout)],
                             ["System BIOS"])

    def test_without_builtin_classes_there_is_nowhere_to_deliver_to(self):
        result = self.query("--no-builtin-classes", "--inventory",
                            self.write("empty.xml", document([])), "--context", "svPath=/x",
                            "--log", "log.json")
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        self.assertIn("Unable to determine machine type", (self.folder / "log.json").read_text())

    def test_devices_of_other_kinds_change_no_record_and_no_line_of_the_log(self):
        device = ("SVC_FirmwareDevice", {"Name": "System BIOS", "Version": "YUE999A",
                                         "Identifiers": ["PCI\\VEN_8086"], "Source": "a test"})
        context = f"svPath={self.catalogue(element(**BIOS_UPDATE, driverFiles='e1000.sys-#1.0'))}"
        log = self.folder / "log.ndjson"
        seen = []
        for more in ([], [device]):
            result = self.query("--inventory", self.inventory(*more, MACHINE, SYSTEM, bios("A")),
                                "--context", context, "--log", log)
            seen.append((result.returncode, result.stdout, result.stderr, log.read_text()))
        self.assertEqual(seen[0], seen[1])
        self.assertEqual(len(records_of(seen[0][1])), 1)
        result = self.query("--no-builtin-classes", "--inventory", self.inventory(device),
                            "--context", context)
        self.assert_failed(result, 1, "SVC_FirmwareDevice")

    def test_records_that_are_drivers_too_are_read_as_drivers(self):
        derived = ('<VALUE.OBJECT><CLASS NAME="QRXSG_SVResult" '
                   'SUPERCLASS="QRXSG_DeviceDriverInfo"/></VALUE.OBJECT>')
        catalogue = self.catalogue(element(**BIOS_UPDATE, driverFiles="e1000.sys-#1.0"))
        states = []
        plain = self.machine().read_text()
        for text in (plain, plain.replace("<VALUE.OBJECT>", derived + "<VALUE.OBJECT>", 1)):
            result = self.query("--inventory", self.write("machine.xml", text), "--context",
                                f"svPath={catalogue}", "--log", self.folder / "log.ndjson")
            self.assertEqual(len(records_of(result.stdout)), 1, result.stderr)
            entries = (self.folder / "log.ndjson").read_text().splitlines()
            states.append(sum(json.loads(entry)["message"] == "Driver status:"
                              for entry in entries))
        self.assertEqual(states, [0, 1])

    def test_several_inventories_add_up(self):
        first = self.write("one.xml", document([MACHINE, SYSTEM]))
        second = self.write("two.xml", document([bios("B")]))
        catalogue = self.catalogue(element(**BIOS_UPDATE))
        result = self.query("--inventory", first, "--inventory", second, "--context",
                            f"svPath={catalogue}")
        self.assertEqual(records_of(result.stdout)[0]["InstalledVersion"], "B")

    def test_values_are_passed_as_they_are(self):
        for value in ("[x]", "{}", "a,b", "a=b", "", "-x", "%TEMP%", "'q'"):
            with self.subTest(value):
                log = self.folder / "log.json"
                result = self.query("--inventory", self.machine(), "--log", log, "--context",
                                    f"svPath={value}")
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn(f"{value}/index.xml", log.read_text())

    def test_the_last_of_equal_context_entries_counts(self):
        catalogue = self.catalogue(element(**BIOS_UPDATE))
        result = self.query("--inventory", self.machine(), "--context", "svPath=/none", "--context",
                            f"svPath={catalogue}")
        self.assertEqual(len(records_of(result.stdout)), 1)


class WrongUse(ProgramTest):
    def test_a_wrong_command_line_ends_with_64(self):
        inventory = self.inventory()
        good = ["query", "--inventory", inventory]
        for arguments in (["query"], [*good, "--unknown"], [*good, "--log-level", "5"],
                          [*good, "--log-level", "x"], [*good, "--context", "svPath"],
                          [*good, "--context", "=x"], [*good, "stray"], ["--inventory"],
                          ["qeury"],
                          [*good, "--context", "svPath=_live_", "--repository", "http://localhost"],
                          [*good, "--allow-unsigned", "--repository-key", "k"]):
            with self.subTest(arguments):
                self.assert_failed(self.run_program(*arguments), 64)

    def test_a_near_verb_is_suggested(self):
        self.assert_failed(self.run_program("qeury"), 64, 'did you mean "query"?')

    def test_without_arguments_the_help_is_shown(self):
        result = self.run_program()
        self.assertEqual((result.returncode, result.stdout), (64, ""))
        self.assertIn("svcheck VERB", result.stderr)

    def test_every_verb_has_help_with_examples(self):
        for verb in ("query", "check", "collect"):
            result = self.run_program(verb, "--help")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertIn(f"svcheck {verb} --", result.stdout)

    def test_the_version_names_the_plugin(self):
        result = self.run_program("--version")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Sorvane Version Checker 1.0", result.stdout)


class BadInput(ProgramTest):
    def query(self, *arguments, **more):
        return self.run_program("query", *arguments, **more)

    def test_a_missing_inventory_is_named(self):
        self.assert_failed(self.query("--inventory", "none.xml"), 1, "none.xml")

    def test_broken_inventories_are_named_with_their_line(self):
        for name, text in (("empty", ""), ("cut", "<CIM>\n<DECLARATION>"), ("other", "<html/>"),
                           ("class", document([("Unknown", {})])), ("bytes", b"\x00\xff\x10")):
            with self.subTest(name):
                path = self.write(f"{name}.xml", text)
                self.assert_failed(self.query("--inventory", path), 1, f"{name}.xml")

    def test_a_missing_or_foreign_plugin_is_named(self):
        inventory = self.inventory()
        foreign = self.write("foreign.so", b"no library")
        for plugin in (foreign, self.folder / "none.so", "/usr/bin/env"):
            with self.subTest(plugin):
                self.assert_failed(self.query("--inventory", inventory, "--plugin", plugin), 1,
                                   str(plugin))

    def test_a_plugin_that_others_can_write_is_refused(self):
        plugin = self.write("p.so", (PROGRAM.parent.parent / "lib/libsvchecker.so").read_bytes())
        plugin.chmod(0o777)
        self.assert_failed(self.query("--inventory", self.inventory(), "--plugin", plugin), 1,
                           "p.so")

    def test_a_missing_data_folder_is_named(self):
        self.assert_failed(self.query("--inventory", self.inventory(), "--data-dir", "none"), 1,
                           "none", "--data-dir")

    def test_unwritable_outputs_are_found_before_the_query(self):
        for option in ("--records", "--log"):
            with self.subTest(option):
                result = self.query("--inventory", self.inventory(), option, "/none/x",
                                    "--context", "svPath=/none")
                self.assert_failed(result, 1, "/none/x")
                self.assertEqual(result.stdout, "")

    def test_a_full_device_is_an_error(self):
        arguments = ["--inventory", SAMPLE / "inventory.xml", "--context", "svPath=sample/catalogue"]
        with open("/dev/full", "wb") as full:
            result = self.run_program("query", *arguments, stdout=full, stderr=subprocess.PIPE)
        self.assert_failed(result, 1, "standard output", "No space left")
        self.assert_failed(self.query(*arguments, "--records", "/dev/full"), 1, "/dev/full")

    def test_a_full_device_under_the_plugins_own_output_is_an_error(self):
        arguments = ["--inventory", SAMPLE / "inventory.xml", "--context", "svPath=/none",
                     "--records", "r"]
        with open("/dev/full", "wb") as full:
            result = self.run_program("query", *arguments, stdout=full, stderr=subprocess.PIPE)
        self.assert_failed(result, 1, "standard output", "Input/output error")

    def test_a_closed_standard_output_is_an_error(self):
        result = subprocess.run(
            ["sh", "-c", 'exec "$@" >&-', "sh", PROGRAM, "query", "--inventory",
             SAMPLE / "inventory.xml", "--context", "svPath=sample/catalogue"],
            stderr=subprocess.PIPE, text=True, cwd=self.folder, timeout=60)
        self.assertEqual(result.returncode, 1, result.stderr)

    def test_bytes_that_are_no_utf8_show_as_replacement_characters(self):
        text = document([MACHINE, SYSTEM, bios("?")]).replace("UTF-8", "ISO-8859-1")
        inventory = self.write("latin.xml", text.encode().replace(b"?</VALUE>", b"\xe4</VALUE>"))
        result = self.query("--inventory", inventory, "--context",
                            f"svPath={self.catalogue(element(**BIOS_UPDATE))}", text=False)
        self.assertIn("ä", json.loads(result.stdout)["InstalledVersion"])

    def test_an_existing_file_keeps_its_mode_and_a_link_stays_a_link(self):
        target = self.write("target.json", "old")
        target.chmod(0o640)
        link = self.folder / "link.json"
        link.symlink_to("target.json")
        self.query("--inventory", SAMPLE / "inventory.xml", "--records", link, "--context",
                   "svPath=sample/catalogue")
        self.assertTrue(link.is_symlink())
        self.assertEqual(target.stat().st_mode & 0o777, 0o640)
        self.assertTrue(records_of(target.read_text()))


class Interruption(ProgramTest):
    def test_leaves_nothing_half_written(self):
        silent = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(silent.close)
        url = f"http://127.0.0.1:{silent.getsockname()[1]}"
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                records = self.folder / "records.json"
                with subprocess.Popen(
                        [PROGRAM, "query", "--inventory", self.inventory(), "--records", records,
                         "--context", "svPath=_live_", "--repository", url, "--allow-unsigned",
                         "--drive-root", self.folder / "drives"],
                        cwd=self.folder, stdout=subprocess.DEVNULL,
                        stderr=subprocess.DEVNULL, preexec_fn=usual_signals) as process:
                    with silent.accept()[0]:  # The download waits from here on.
                        process.send_signal(number)
                        self.assertEqual(process.wait(10), -number)
                self.assertEqual(self.leftovers(), [])
                self.assertFalse(records.exists())


if __name__ == "__main__":
    main()
