"""`svcheck fleet`: results, summaries, crashes, resumed and sharded runs of many machines."""

import gzip
import json
import os
import signal
import socket
import subprocess
import time
import unittest

from program import (BUILD, MACHINE, PROGRAM, SANITIZED, SYSTEM, ProgramTest, bios, document,
                     element, main, records_of)

OFFERED = {"description": "BIOS Update", "Version": "1.1-[YUE112A]-"}
RECORD_KEYS = ["machine", "Type", "Name", "InstalledVersion", "SVVersion", "verdict"]
LAST_KEYS = ["machine", "outcome", "state", "machineType", "operatingSystem", "summary",
             "errors"]
CRASHING = BUILD / "tests/svcheck/crashing_plugin.so"


class FleetTest(ProgramTest):
    def fleet(self, *arguments, **more):
        return self.run_program("fleet", "--catalogue", self.folder / "catalogue", *arguments,
                                **more)

    def setUp(self):
        super().setUp()
        self.catalogue(element(**OFFERED))

    def machines(self, count, folder="inventories"):
        """Machines of which every third is out of date. Returns their folder."""
        for number in range(count):
            version = "YUE110B" if number % 3 == 0 else "YUE112A"
            self.write(f"{folder}/m{number:04}.xml", document((MACHINE, SYSTEM, bios(version))))
        return self.folder / folder

    def lines_of(self, count, name="machines.ndjson", first=0):
        """The same machines, one a line."""
        folder = self.machines(count)
        lines = [json.dumps({"machine": f"m{number:04}",
                             "inventory": (folder / f"m{number:04}.xml").read_text()})
                 for number in range(first, count)]
        return self.write(name, "".join(line + "\n" for line in lines))

    def outcomes(self, result):
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return {line["machine"]: line for line in records_of(result.stdout) if "outcome" in line}


class Results(FleetTest):
    def test_a_line_a_record_and_one_for_the_end_of_each_machine(self):
        result = self.fleet("--inventories", self.machines(2))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        lines = records_of(result.stdout)
        self.assertEqual([line["machine"] for line in lines], ["m0000"] * 2 + ["m0001"] * 2)
        self.assertEqual(list(lines[0]), RECORD_KEYS)
        self.assertEqual(lines[0]["verdict"], "outdated")
        self.assertEqual(list(lines[1]), LAST_KEYS)
        self.assertEqual((lines[1]["outcome"], lines[1]["machineType"]), ("done", "4638"))
        self.assertEqual(lines[1]["operatingSystem"],
                         {"caption": "", "version": "2.6", "platform": "x86_64"})
        self.assertEqual(lines[3]["summary"],
                         {"outdated": 0, "unknown": 0, "newer": 0, "current": 1, "compared": 1})

    def test_results_stand_in_the_order_of_the_inventories(self):
        folder = self.machines(60)
        result = self.fleet("--jobs", 4, "--inventories", folder)
        ends = [line["machine"] for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual(ends, [f"m{number:04}" for number in range(60)])

    def test_files_lines_and_standard_input_give_the_same(self):
        lines = self.lines_of(7)
        folder = self.fleet("--inventories", self.folder / "inventories").stdout
        self.assertEqual(self.fleet("--inventories", lines).stdout, folder)
        self.assertEqual(self.fleet("--inventories", "-", input=lines.read_text()).stdout, folder)
        files = sorted((self.folder / "inventories").iterdir())
        self.assertEqual(self.fleet("--inventories", *files).stdout, folder)

    def test_compressed_inventories_give_the_same(self):
        lines = self.lines_of(5)
        plain = self.fleet("--inventories", lines).stdout
        packed = self.write("packed.ndjson.gz", gzip.compress(lines.read_bytes()))
        self.assertEqual(self.fleet("--inventories", packed).stdout, plain)
        subprocess.run(["zstd", "-q", str(lines)], check=True)
        self.assertEqual(self.fleet("--inventories", f"{lines}.zst").stdout, plain)
        for file in (self.folder / "inventories").iterdir():
            self.write(f"one/{file.name}.gz", gzip.compress(file.read_bytes()))
        self.assertEqual(self.fleet("--inventories", self.folder / "one").stdout, plain)

    def test_compressed_standard_input_is_told_of_once(self):
        lines = self.lines_of(3)
        for packed, name in ((gzip.compress(lines.read_bytes()), "gzip"),
                             (subprocess.run(["zstd", "-c", str(lines)], check=True,
                                             capture_output=True).stdout, "zstd")):
            with self.subTest(name=name):
                stream = self.write("packed", packed)
                with stream.open("rb") as given:
                    result = subprocess.run(
                        [PROGRAM, "fleet", "--catalogue", self.folder / "catalogue",
                         "--inventories", "-"], stdin=given, capture_output=True, check=True)
                (told,) = records_of(result.stdout.decode())
                self.assertIn("standard input is compressed", told["errors"][0])

    def test_lines_may_have_any_form_of_json(self):
        plain = self.lines_of(1).read_text()
        text = json.dumps(json.loads(plain)["inventory"])
        strange = text.replace("</CIM>", "<!-- é\\t€ --></CIM>")
        for line in (f'{{"machine":"m0000","inventory":{text}}}',
                     f' {{  "machine" : "m0000" , "inventory" :{text} }} ',
                     f'{{"inventory":{text},"machine":"m0000"}}',
                     f'{{"machine":"m0000","more":[1],"inventory":{text}}}',
                     f'{{"machine":"m0000","inventory":{text},"more":{{}}}}',
                     f'{{"machine":"m\\u0030000","inventory":{text.replace("/", chr(92) + "/")}}}',
                     f'{{"machine":"m0000","inventory":{text.replace("C", chr(92) + "u0043")}}}',
                     f'{{"machine":"m0000","inventory":{strange}}}'):
            with self.subTest(line=line):
                self.assertEqual(self.fleet("--inventories", "-", input=line).stdout,
                                 self.fleet("--inventories", "-", input=plain).stdout)
        for name in ('a"b\\c/d', "tab\t", "é€😀", "\x7f\x01", ""):
            with self.subTest(name=name):
                line = json.dumps({"machine": name, "inventory": json.loads(text)})
                told = records_of(self.fleet("--inventories", "-", input=line).stdout)
                self.assertEqual({record["machine"] for record in told}, {name})

    def test_texts_of_lines_are_read_wherever_an_odd_character_stands(self):
        names = ["a" * before + odd + "b" * (20 - before) for before in range(20)
                 for odd in ('"', "\\\\", "\t", "/", "é", "€", "😀", "\x7f", "\x01", "é\"")]
        inventory = json.loads(self.lines_of(1).read_text())["inventory"]
        lines = self.write("names.ndjson", "".join(
            json.dumps({"machine": name, "inventory": inventory}, ensure_ascii=is_escaped) + "\n"
            for name in names for is_escaped in (False, True)))
        told = records_of(self.fleet("--inventories", lines).stdout)
        ends = [line["machine"] for line in told if "outcome" in line]
        self.assertEqual(ends, [name for name in names for _ in range(2)])
        self.assertEqual({line["outcome"] for line in told if "outcome" in line}, {"done"})

    def test_machines_of_folders_are_named_by_their_way(self):
        self.machines(1, "site/rack 1")
        result = self.fleet("--inventories", self.folder / "site")
        self.assertEqual(records_of(result.stdout)[0]["machine"], "rack 1/m0000")

    @unittest.skipIf(SANITIZED, "leaks are not looked for under strace")
    def test_the_catalogue_is_read_once(self):
        folder = self.machines(20)
        trace = self.folder / "trace"
        subprocess.run(["strace", "-f", "-e", "trace=openat", "-o", trace, PROGRAM, "fleet",
                        "--catalogue", self.folder / "catalogue", "--inventories", folder],
                       check=True, capture_output=True)
        self.assertEqual(trace.read_text().count("catalogue/index.xml"), 1)


class Failures(FleetTest):
    def test_a_bad_inventory_costs_its_own_answer_alone(self):
        folder = self.machines(3)
        self.write("inventories/m0001.xml", "<CIM><OTHER/></CIM>")
        result = self.fleet("--inventories", folder)
        self.assertEqual(result.returncode, 0)
        ends = [line for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual([line["outcome"] for line in ends], ["done", "failed", "done"])
        self.assertIn("m0001.xml:1", ends[1]["errors"][0])

    def test_bad_lines_cost_one_answer_each(self):
        good = self.lines_of(1).read_text()
        lines = f'{good}not JSON\n{{"machine":"x"}}\n\n[1]\n{{"inventory":"y"}}\n{good}'
        result = self.fleet("--inventories", "-", input=lines)
        ends = [line for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual([line["outcome"] for line in ends],
                         ["done", "failed", "failed", "failed", "failed", "done"])
        self.assertEqual([line["machine"] for line in ends],
                         ["m0000", "-:2", "x", "-:5", "-:6", "m0000"])
        self.assertEqual([line["errors"] for line in ends[1:5]],
                         [["-:2: the line is no JSON object"],
                          ['-:3: the line has no text "inventory"'],
                          ["-:5: the line is no JSON object"],
                          ['-:6: the line has no text "machine"']])

    def test_bytes_that_are_no_utf_8_cost_one_answer(self):
        lines = self.lines_of(1)
        good = lines.read_bytes()
        for odd in (b"\xff", b"\xc3", b"\xe2\x82", b"\xed\xa0\x80", b"\x01"):
            lines.write_bytes(good.replace(b"m0000", b"m" + odd) + good)
            told = records_of(self.fleet("--inventories", lines).stdout)
            ends = [(line["machine"], line["outcome"]) for line in told if "outcome" in line]
            self.assertEqual(ends, [(f"{lines}:1", "failed"), ("m0000", "done")], odd)

    def test_a_broken_file_costs_one_answer(self):
        folder = self.machines(1)
        broken = self.write("broken.xml.gz", b"\x1f\x8bno")
        (folder / "gone.xml").symlink_to("none")
        result = self.fleet("--inventories", broken, folder)
        ends = [line for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual([(line["machine"], line["outcome"]) for line in ends],
                         [("broken", "failed"), ("gone", "failed"), ("m0000", "done")])

    def test_a_catalogue_that_cannot_be_used_ends_the_run(self):
        folder = self.machines(1)
        (self.folder / "catalogue/index.xml").unlink()
        self.assert_failed(self.fleet("--inventories", folder), 4, "no catalogue", "--catalogue")
        self.catalogue(element(**OFFERED), instruction="")
        self.assert_failed(self.fleet("--inventories", folder), 4, "4.02")
        self.write("catalogue/index.xml", "<?sv-catalogue version='4.02'?>\n<CIM>\n<OTHER/></CIM>")
        self.assert_failed(self.fleet("--inventories", folder), 4, "index.xml:3")

    def test_what_a_command_line_lacks_is_said(self):
        self.assert_failed(self.run_program("fleet"), 64, "--catalogue")
        self.assert_failed(self.fleet(), 64, "--inventories")
        self.assert_failed(self.fleet("--inventories", "-", "--resume"), 64, "--output")
        for shard in ("0/4", "5/4", "x", "1/", "1/4x"):
            self.assert_failed(self.fleet("--inventories", "-", "--shard", shard), 64, "I/N")

    def test_nobody_starts_a_worker_by_hand(self):
        self.assert_failed(self.run_program("fleet-worker", "3"), 64, "svcheck fleet", "--jobs")
        self.assertNotIn("fleet-worker", self.run_program("--help").stdout)

    def test_an_empty_catalogue_is_told_of_each_machine(self):
        self.catalogue()
        folder = self.machines(2)
        check = self.run_program("check", "--catalogue", self.folder / "catalogue", "--inventory",
                                 folder / "m0000.xml", "--format", "json")
        told = json.loads(check.stdout)
        self.assertEqual((check.returncode, told["outcome"]), (0, "empty-catalogue"))
        result = self.fleet("--inventories", folder, "--fail-on", "failed")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        lines = records_of(result.stdout)
        self.assertEqual([line["machine"] for line in lines], ["m0000", "m0001"])
        for line in lines:
            self.assertEqual([line[key] for key in LAST_KEYS[1:]], [
                "empty-catalogue", "nothing-compared", "4638", told["operatingSystem"],
                told["summary"], []])
            self.assertEqual(line["stateReason"], "the catalogue holds no update elements")

    def test_fail_on_ends_with_its_status(self):
        folder = self.machines(2)
        for condition, status in (("outdated", 2), ("different", 2), ("failed", 0), ("none", 0),
                                  ("unknown,newer,nothing", 0), ("failed,outdated", 2),
                                  ("newer,outdated", 2)):
            result = self.fleet("--inventories", folder, "--fail-on", condition)
            self.assertEqual(result.returncode, status, condition)
        self.write("inventories/x.xml", document((MACHINE, SYSTEM, bios("ABC110A"))))
        for condition, status in (("unknown", 2), ("nothing", 2), ("newer", 0), ("failed", 0),
                                  ("newer,failed", 0)):
            result = self.fleet("--inventories", folder, "--fail-on", condition)
            self.assertEqual(result.returncode, status, condition)
        self.write("inventories/x.xml", document((MACHINE, SYSTEM, bios("YUE114A"))))
        for condition, status in (("newer", 2), ("unknown,nothing", 0)):
            result = self.fleet("--inventories", folder, "--fail-on", condition)
            self.assertEqual(result.returncode, status, condition)
        for condition in ("x", "outdated,", "none,failed", "failed,x"):
            self.assert_failed(self.fleet("--inventories", folder, "--fail-on", condition), 64)
        self.write("inventories/x.xml", "")
        self.assertEqual(self.fleet("--inventories", folder, "--fail-on", "failed").returncode, 2)


class Interrupted(FleetTest):
    def run_slowly(self, *arguments):
        """A run that waits for machines on its standard input."""
        return subprocess.Popen([PROGRAM, "fleet", "--catalogue", self.folder / "catalogue",
                                 "--inventories", "-", *map(str, arguments)],
                                stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                                stdout=subprocess.DEVNULL, text=True)

    def wait_for_lines(self, path, count):
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if path.exists() and path.read_bytes().count(b"\n") >= count:
                return
            time.sleep(0.02)
        self.fail(f"{path} has not got {count} lines")

    def test_an_interrupted_run_goes_on_and_counts_nothing_twice(self):
        lines = self.lines_of(40).read_text().splitlines(keepends=True)
        expected = self.fleet("--inventories", self.folder / "machines.ndjson").stdout
        output = self.folder / "results.ndjson"
        process = self.run_slowly("--output", output)
        process.stdin.write("".join(lines[:11]))
        process.stdin.flush()
        self.wait_for_lines(output, 22)
        process.send_signal(signal.SIGKILL)
        process.communicate()
        whole = output.read_bytes()
        last = whole[whole.rindex(b"\n", 0, -1) + 1:]
        for torn in (b"", b'{"machine":"m00', b'{"machine":"m0000","outcome":"done"', last[:-1]):
            output.write_bytes(whole + torn)
            summary = self.folder / "summary.json"
            result = self.fleet("--inventories", self.folder / "machines.ndjson", "--output",
                                output, "--resume", "--json", summary)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(output.read_text(), expected)
            self.assertEqual(json.loads(summary.read_text())["machines"], 40)

    def test_records_without_their_machines_end_are_dropped(self):
        self.lines_of(4)
        output = self.folder / "results.ndjson"
        expected = self.fleet("--inventories", self.folder / "machines.ndjson").stdout
        lines = expected.splitlines(keepends=True)
        for kept in range(len(lines)):
            output.write_text("".join(lines[:kept]))
            self.fleet("--inventories", self.folder / "machines.ndjson", "--output", output,
                       "--resume")
            self.assertEqual(output.read_text(), expected, kept)

    def test_results_of_other_inventories_are_not_gone_on_with(self):
        output = self.folder / "results.ndjson"
        self.fleet("--inventories", self.machines(3), "--output", output)
        other = self.lines_of(3, first=1)
        self.assert_failed(self.fleet("--inventories", other, "--output", output, "--resume"), 1,
                           "are of other inventories: they go on with m0000, the inventories with "
                           "m0001; give those that the run began with")

    def test_a_worker_that_ends_costs_one_answer(self):
        lines = self.lines_of(6).read_text().splitlines(keepends=True)
        output = self.folder / "results.ndjson"
        process = self.run_slowly("--output", output, "--jobs", 2, "--plugin",
                                  CRASHING)
        process.stdin.write("".join(lines))
        process.stdin.close()
        process.wait(60)
        process.stderr.close()
        self.assertEqual(process.returncode, 0)
        ends = [line for line in records_of(output.read_text()) if "outcome" in line]
        self.assertEqual([line["machine"] for line in ends], [f"m{n:04}" for n in range(6)])
        for number, line in enumerate(ends):
            crashes = number % 3 == 0
            self.assertEqual("signal 6" in "".join(line["errors"]), crashes, line)

    def test_a_time_that_is_none_is_refused(self):
        for odd in ("-1", "604801", "x", ""):
            self.assert_failed(self.fleet("--inventories", "-", "--machine-timeout", odd), 64,
                               "--machine-timeout")
        for good in ("0", "1", "604800"):
            self.assertEqual(self.fleet("--inventories", "-", "--machine-timeout", good,
                                        input="").returncode, 0, good)

    @unittest.skipIf(SANITIZED, "the sanitizer's allocator ends the process")
    def test_a_worker_without_memory_costs_one_answer(self):
        folder = self.machines(6)
        self.write("inventories/m0001.xml", document((MACHINE, SYSTEM, bios("YUE113A"))))
        result = self.fleet("--inventories", folder, "--jobs", 1, "--plugin", CRASHING)
        ends = [line for line in records_of(result.stdout) if "outcome" in line]
        self.assertEqual([line["machine"] for line in ends], [f"m{n:04}" for n in range(6)])
        for number, line in enumerate(ends):
            self.assertEqual("out of memory" in "".join(line["errors"]), number == 1, line)


class HostileInputs(FleetTest):
    """Each is one machine that failed, and those behind it have their answers."""

    def test_a_pipe_a_socket_and_a_device_stop_nothing(self):
        folder = self.machines(2)
        for name in ("a.xml", "b.ndjson", "c.xml.gz"):
            os.mkfifo(folder / name)
        with socket.socket(socket.AF_UNIX) as listening:
            os.chdir(folder)  # The length of a socket's path is bounded.
            listening.bind("d.xml")
        os.chdir("/")
        os.symlink("/dev/zero", folder / "e.xml")
        ends = self.outcomes(self.fleet("--inventories", folder))
        self.assertEqual({name.rpartition("/")[2]: line["outcome"] for name, line in ends.items()},
                         {"a": "failed", "b.ndjson": "failed", "c": "failed", "d": "failed",
                          "e": "failed", "m0000": "done", "m0001": "done"})
        self.assertEqual(ends["a"]["errors"], [f"{folder}/a.xml: is a pipe and no file; what a "
                                               "program writes can come by standard input"])

    def test_what_is_compressed_over_and_over_is_not_unpacked(self):
        text = document((MACHINE, SYSTEM, bios("YUE110B"))).encode()
        self.write("in/a.xml.gz", gzip.compress(gzip.compress(text)))
        self.write("in/b.xml.gz", gzip.compress(text))
        ends = self.outcomes(self.fleet("--inventories", self.folder / "in"))
        self.assertEqual(ends["a"]["errors"], [f"{self.folder}/in/a.xml.gz: cannot be unpacked: "
                                               "it is compressed more than once"])
        self.assertEqual(ends["b"]["outcome"], "done")

    def test_machines_of_long_names_have_their_files(self):
        line = json.loads(self.lines_of(1).read_text())
        names = ["n" * size for size in (119, 120, 121, 252, 255, 300, 5000)]
        names += ["n" * 299 + "m", "/" * 300, "behind"]
        lines = self.write("long.ndjson", "".join(
            json.dumps({"machine": name, "inventory": line["inventory"]}) + "\n" for name in names))
        pages, logs = self.folder / "pages", self.folder / "logs"
        ends = self.outcomes(self.fleet("--inventories", lines, "--html", pages, "--logs", logs))
        self.assertEqual([(name, end["outcome"], end["errors"]) for name, end in ends.items()],
                         [(name, "done", []) for name in names])
        index = (pages / "index.html").read_text()
        addresses = ["machines/" + part.split('"')[0].replace("%25", "%")
                     for part in index.split('href="machines/')[1:]]
        self.assertEqual(len(set(addresses)), len(names))
        for address, name in zip(addresses, names):
            self.assertIn(f"<dt>Host</dt><dd>{name}</dd>\n<dt>Type</dt><dd>4638</dd>", (pages / address).read_text())
        self.assertEqual(len(list((pages / "machines").iterdir())), len(names))
        self.assertEqual(len(list(logs.iterdir())), len(names))
        self.assertEqual(self.leftovers(), [])


class Shards(FleetTest):
    def test_merged_shards_equal_one_run(self):
        folder = self.machines(11)
        whole = self.fleet("--inventories", folder, "--json", self.folder / "one.json").stdout
        parts = []
        for number in (1, 2, 3):
            parts.append(self.folder / f"part-{number}.ndjson")
            self.fleet("--inventories", folder, "--shard", f"{number}/3", "--output", parts[-1])
        merged = self.run_program("fleet", "--merge", *parts, "--json", self.folder / "all.json")
        self.assertEqual(merged.stdout, whole)
        self.assertEqual((self.folder / "all.json").read_text(),
                         (self.folder / "one.json").read_text())

    def test_a_shard_that_is_not_whole_is_named(self):
        folder = self.machines(9)
        parts = [self.folder / f"part-{number}.ndjson" for number in (1, 2)]
        for number, part in enumerate(parts, 1):
            self.fleet("--inventories", folder, "--shard", f"{number}/2", "--output", part)
        whole = parts[0].read_text()
        parts[0].write_text(whole[:-5])
        self.assert_failed(self.run_program("fleet", "--merge", *parts, "--output", "x"), 1,
                           "part-1", "--resume")
        parts[0].write_text("".join(whole.splitlines(keepends=True)[:4]))
        self.assert_failed(self.run_program("fleet", "--merge", *parts, "--output", "x"), 1,
                           "part-1")


class Summaries(FleetTest):
    def test_json_counts_machines_components_types_and_failures(self):
        folder = self.machines(9)
        self.write("inventories/z.xml", "no XML")
        result = self.fleet("--inventories", folder, "--output", self.folder / "r", "--json", "-")
        summary = json.loads(result.stdout)
        self.assertEqual(list(summary), ["schema", "machines", "checked", "failed", "withUpdates",
                                         "verdicts", "nothingCompared", "components",
                                         "machineTypes", "failures"])
        self.assertEqual((summary["schema"], summary["nothingCompared"]), (1, 0))
        self.assertEqual([summary[key] for key in ("machines", "checked", "failed", "withUpdates")],
                         [10, 9, 1, 3])
        counts = {"outdated": 3, "unknown": 0, "newer": 0, "current": 6}
        self.assertEqual(summary["verdicts"], counts)
        self.assertEqual(summary["components"],
                         [{"Type": "Firmware", "Name": "System BIOS", "verdicts": counts}])
        self.assertEqual(summary["machineTypes"], [{"machineType": "4638", "machines": 9,
                                                    "withUpdates": 3, "verdicts": counts}])
        self.assertEqual((summary["failures"][0]["machine"], summary["failures"][0]["outcome"]),
                         ("z", "failed"))

    def test_a_run_into_a_file_ends_with_a_table(self):
        result = self.fleet("--inventories", self.machines(3), "--output", self.folder / "r")
        self.assertIn("3 machines compared, 1 with updates to install; 0 failed", result.stdout)
        self.assertIn("Firmware System BIOS", result.stdout)

    def test_pages_lead_from_the_index_to_each_machine(self):
        self.machines(1, "site/<rack> 1%")
        result = self.fleet("--inventories", self.folder / "site", "--html", self.folder / "pages")
        self.assertEqual(result.returncode, 0, result.stderr)
        index = (self.folder / "pages/index.html").read_text()
        self.assertIn("1 of 1 machines have updates to install", index)
        self.assertIn("&lt;rack&gt; 1%/m0000", index)
        address = index.split('href="')[2].split('"')[0].replace("%25", "%")
        page = (self.folder / "pages" / address).read_text()
        self.assertIn("System BIOS", page)
        self.assertEqual(self.leftovers(), [])


class Logs(FleetTest):
    def test_log_and_records_equal_those_of_a_query(self):
        folder = self.machines(4)
        logs = self.folder / "logs"
        result = self.fleet("--inventories", folder, "--logs", logs)
        for number in range(4):
            log = self.folder / "query.ndjson"
            query = self.run_program("query", "--inventory", folder / f"m{number:04}.xml",
                                     "--context", f"svPath={self.folder / 'catalogue'}",
                                     "--log", log)
            self.assertEqual((logs / f"m{number:04}.ndjson").read_text(), log.read_text())
            records = [{key: line[key] for key in RECORD_KEYS[1:5]}
                       for line in records_of(result.stdout)
                       if line["machine"] == f"m{number:04}" and "Type" in line]
            self.assertEqual(records, records_of(query.stdout))


if __name__ == "__main__":
    main()
