"""Which machine a report is about: its host name in every format, and the type that is named on the
command line."""

import csv
import io
import json
import os
from xml.etree import ElementTree

from program import SYSTEM, ProgramTest, bios, document, element, main, records_of

UPDATE = {"description": "BIOS Update", "Version": "1.1-[YUE112A]-"}
MODEL = {"MachineType": "4638", "Model": "Rackwell"}


def machine(**more):
    return ("QRXSG_ComputerSystem", {**MODEL, **more})


class MachineTest(ProgramTest):
    def inventory_of(self, *instances):
        return self.write("machine.xml", document([*instances, bios("YUE110B")]))

    def check(self, *instances, arguments=(), verb="check"):
        return self.run_program(verb, "--inventory", self.inventory_of(*instances), "--catalogue",
                                self.catalogue(element(**UPDATE)), *arguments)

    def report(self, *instances, arguments=()):
        return json.loads(self.check(*instances, arguments=[*arguments, "--format", "json"]).stdout)


class HostName(MachineTest):
    def test_is_that_of_the_machine_or_else_of_its_system(self):
        named = (SYSTEM[0], {**SYSTEM[1], "CSName": "web02"})
        for instances, host in (((machine(Name="web01"), SYSTEM), "web01"),
                                ((machine(Name="web01"), named), "web01"),
                                ((machine(), named), "web02"), ((machine(), SYSTEM), None)):
            with self.subTest(host):
                self.assertEqual(self.report(*instances)["machine"].get("host"), host)

    def test_stands_in_every_format(self):
        shown = {form: self.check(machine(Name="web&lt;01&gt;"), SYSTEM,
                                  arguments=["--format", form]).stdout
                 for form in ("table", "csv", "ndjson", "html", "junit", "nagios", "prometheus")}
        self.assertIn("Machine 4638 (Rackwell), host web<01>", shown["table"])
        self.assertEqual([row["Host"] for row in csv.DictReader(io.StringIO(shown["csv"]))],
                         ["web<01>"])
        self.assertEqual(records_of(shown["ndjson"])[-1]["machine"]["host"], "web<01>")
        self.assertIn("<title>1 update to install – web&lt;01&gt;</title>", shown["html"])
        self.assertIn("<dt>Host</dt><dd>web&lt;01&gt;</dd>", shown["html"])
        self.assertEqual(ElementTree.fromstring(shown["junit"])[0].get("hostname"), "web<01>")
        self.assertTrue(shown["nagios"].startswith("SVCHECK WARNING - web<01>: 1 outdated"))
        self.assertIn(',host="web<01>"} 1\n', shown["prometheus"])

    def test_that_nobody_tells_stands_nowhere(self):
        shown = {form: self.check(machine(), SYSTEM, arguments=["--format", form]).stdout
                 for form in ("table", "json", "html", "junit", "nagios", "prometheus")}
        for form in ("table", "json"):
            self.assertNotIn("host", shown[form])
        self.assertIn(',host=""} 1\n', shown["prometheus"])
        self.assertIn(" – Rackwell</title>", shown["html"])
        self.assertNotIn("<dt>Host</dt>", shown["html"])
        self.assertEqual(ElementTree.fromstring(shown["junit"])[0].get("hostname"), "4638")
        self.assertTrue(shown["nagios"].startswith("SVCHECK WARNING - 1 outdated"))

    def test_changes_no_record_and_no_entry_of_the_log(self):
        said = []
        for instances in ((machine(), SYSTEM), (machine(Name="web01"), SYSTEM)):
            inventory = self.inventory_of(*instances)
            result = self.run_program("query", "--inventory", inventory, "--context",
                                      f"svPath={self.catalogue(element(**UPDATE))}", "--log", "log")
            said.append((result.stdout, (self.folder / "log").read_text()))
        self.assertEqual(said[0], said[1])
        self.assertIn("YUE112A", said[0][0])

    def test_of_another_tree_is_collected_unless_it_is_redacted(self):
        self.write("tree/sys/class/dmi/id/product_name", "4638\n")
        self.write("tree/etc/hostname", "web01\n")
        shown = self.run_program("collect", "--root", "tree").stdout
        self.assertIn('NAME="Name" TYPE="string"><VALUE>web01<', shown)
        self.assertNotIn("web01", self.run_program("collect", "--root", "tree", "--redact").stdout)
        checked = self.run_program("check", "--root", "tree", "--catalogue",
                                   self.catalogue(element(**UPDATE)), "--format", "json")
        self.assertEqual(json.loads(checked.stdout)["machine"].get("host"), "web01",
                         "a check tells which machine it was")

    def test_of_another_tree_is_read_of_a_file_in_it_and_of_nothing_else(self):
        self.write("tree/sys/class/dmi/id/product_name", "4638\n")
        self.write("outside/hostname", "outside\n")
        file = self.folder / "tree" / "etc" / "hostname"
        file.parent.mkdir()

        def named():
            result = self.run_program("collect", "--root", "tree", "--format", "ndjson",
                                      "--quiet")
            self.assertEqual(result.returncode, 0, result.stderr)
            return json.loads(result.stdout)["machine"]
        self.write("tree/etc/hostname", "web01\nweb02\n")
        self.assertEqual("web01", named())
        for target, name in (("../../outside/hostname", ""), (self.folder / "outside/hostname", ""),
                             ("/dev/zero", ""), ("name", "web03"), ("/etc/name", "web03")):
            with self.subTest(target=target):
                self.write("tree/etc/name", "web03\n")
                file.unlink()
                file.symlink_to(target)
                self.assertEqual(name, named())
        file.unlink()
        os.mkfifo(file)
        self.assertEqual("", named())
        file.unlink()
        self.assertEqual("", named())


class MachineType(MachineTest):
    def test_that_is_named_stands_for_the_inventorys(self):
        wanted = ["--machine", "4638"]
        for instances in ((SYSTEM,), (("QRXSG_ComputerSystem", {"Name": "web01"}), SYSTEM),
                          (machine(MachineType="4639"), SYSTEM),
                          (("QRXSG_ComputerSystem", {}), machine(MachineType="4639"), SYSTEM)):
            with self.subTest(instances):
                self.assertEqual(self.report(*instances)["records"], [])
                report = self.report(*instances, arguments=wanted)
                self.assertEqual(report["machine"]["type"], "4638")
                self.assertEqual([record["Name"] for record in report["records"]], ["System BIOS"])
                text = self.check(*instances, arguments=wanted, verb="explain").stdout
                self.assertIn("  In the report.\n", text)

    def test_that_is_named_keeps_the_rest_of_the_machine(self):
        report = self.report(machine(MachineType="4639", Name="web01"), SYSTEM,
                             arguments=["--machine", "4638"])
        self.assertEqual(report["machine"], {"type": "4638", "model": "Rackwell", "host": "web01"})

    def test_needs_no_class_of_the_host(self):
        classes = "".join(f'<VALUE.OBJECT><CLASS NAME="{name}"/></VALUE.OBJECT>'
                          for name in (SYSTEM[0], bios("")[0], "QRXSG_SVResult"))
        text = document([SYSTEM, bios("YUE110B")]).replace("<DECLGROUP>", "<DECLGROUP>" + classes)
        result = self.run_program("check", "--inventory", self.write("own.xml", text),
                                  "--no-builtin-classes", "--machine", "4638", "--catalogue",
                                  self.catalogue(element(**UPDATE)))
        self.assertIn("YUE112A", result.stdout)

    def test_of_a_bare_machine_is_what_the_report_asks_for(self):
        result = self.check(SYSTEM)
        self.assert_failed(result, 1, "--machine")

    def test_that_is_empty_is_a_wrong_command_line(self):
        for verb in ("check", "explain"):
            result = self.check(SYSTEM, arguments=["--machine", ""], verb=verb)
            self.assert_failed(result, 64, "--machine")


if __name__ == "__main__":
    main()
