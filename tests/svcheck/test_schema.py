"""docs/report.schema.json: every outcome of a check is made here, and goes by it; what does not go
by it is refused. The other tests of the program give each report to it as well."""

import copy
import json

import jsonschema
from program import (DIALECT, MACHINE, SAMPLE, SYSTEM, ProgramTest, bios, document, element, main)
from report_schema import SCHEMA
from serial_notes import serve_folder

OUTCOMES = SCHEMA["properties"]["outcome"]["enum"]
OTHER = {"name": "other", "applicableMachineTypes": ["-[1111]-"]}


class Outcomes(ProgramTest):
    def report(self, status, *arguments):
        result = self.run_program("check", "--format", "json", *arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        return json.loads(result.stdout)

    def serve(self, *elements):
        folder = self.folder / "repository"
        self.write("repository/files/updates.xml", document(elements, DIALECT))
        self.assertEqual(self.run_program("repository", "build", folder).returncode, 0)
        return serve_folder(self, folder)

    def live(self, address):
        return ["--live", "--allow-unsigned", "--drive-root", self.folder / "drives",
                "--repository", address]

    def test_each_goes_by_the_schema(self):
        machine = ["--inventory", self.inventory()]
        sample = ["--catalogue", SAMPLE / "catalogue"]
        unknown = self.write("unknown.xml", document([SYSTEM]))
        other_system = self.write("system.xml", document(
            [MACHINE, ("QRXSG_OperatingSystem", {"OSType": 1, "Version": "9"})]))
        self.write("empty/index.xml", document([], DIALECT))
        self.write("old/index.xml", document([], DIALECT.replace("4.02", "4.01")))
        self.write("cut/index.xml", DIALECT + "<CIM>")
        (self.folder / "bare").mkdir()
        nothing = serve_folder(self, self.folder / "bare")
        seen = {outcome: self.report(status, *arguments)["outcome"]
                for outcome, status, arguments in (
            ("done", 0, ["--inventory", SAMPLE / "inventory.xml", *sample, "--timings"]),
            ("nothing-applicable", 0, [*machine, "--catalogue", self.catalogue(element(**OTHER))]),
            ("empty-catalogue", 0, [*machine, "--catalogue", "empty"]),
            ("no-catalogue", 4, [*machine, "--catalogue", "none"]),
            ("unsupported-catalogue", 4, [*machine, "--catalogue", "old"]),
            ("unreadable-catalogue", 4, [*machine, "--catalogue", "cut"]),
            ("download-failed", 4, [*machine, *self.live(nothing)]),
            ("no-updates", 4, [*machine, *self.live(self.serve(element(**OTHER)))]),
            ("unsupported-system", 1, ["--inventory", other_system,
                                       *self.live(nothing)]),
            ("unknown-machine", 1, ["--inventory", unknown, *sample]),
            ("no-definitions", 1, [*machine, *sample, "--data-dir", "bare"]),
            ("failed", 1, [*machine, *sample, "--plugin", "/none.so"]))}
        self.assertEqual(seen, {outcome: outcome for outcome in OUTCOMES})

    def test_a_live_one_with_waivers_and_a_condition_does(self):
        machine = self.inventory(MACHINE, SYSTEM, bios("YUE110B"))
        server = self.serve(element(name="bios", description="BIOS Update", Version="1.1-[YUE112A]-",
                                    applicableOperatingSystems=["SLES10_64", "Linux"]))
        waivers = self.write("waivers.toml", "[[waiver]]\nname = 'System *'\nreason = 'agreed'\n")
        old = self.write("old.toml", "[[waiver]]\nname = 'System *'\nreason = 'agreed'\n"
                                     "expires = 2020-01-01\n")
        for more, status, member in (([], 2, "verdict"), (["--waivers", waivers], 0, "waived"),
                                     (["--waivers", old], 2, "expiredWaiver")):
            report = self.report(status, "--inventory", machine, *self.live(server), "--fail-on",
                                 "outdated", *more)
            self.assertEqual(report["catalogue"]["source"], "live")
            self.assertIn(member, report["records"][0])


class Schema(ProgramTest):
    def test_it_is_one(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_it_refuses_what_is_no_report(self):
        good = json.loads(self.run_program("check", "--inventory", SAMPLE / "inventory.xml",
                                           "--catalogue", SAMPLE / "catalogue", "--format",
                                           "json").stdout)

        def refuse(change):
            report = copy.deepcopy(good)
            change(report)
            with self.assertRaises(jsonschema.ValidationError):
                jsonschema.validate(report, SCHEMA)

        for name in set(good) - {"installed"}:
            refuse(lambda report: report.pop(name))
        for name in good["records"][0]:
            if name != "update":  # A plug-in of somebody else tells none.
                refuse(lambda report: report["records"][3].pop(name))
        for name in good["records"][0]["update"]:
            refuse(lambda report: report["records"][3]["update"].pop(name))
        refuse(lambda report: report["records"][0]["update"].update(line=0))
        refuse(lambda report: report["records"][0]["update"].update(package=""))
        refuse(lambda report: report.update(more=1))
        refuse(lambda report: report.update(outcome="fine"))
        refuse(lambda report: report.update(generated="today"))
        refuse(lambda report: report["records"][0].update(verdict="good"))
        refuse(lambda report: report["records"][0].update(waived={"reason": ""}))
        refuse(lambda report: report["summary"].update(outdated=-1))


if __name__ == "__main__":
    main()
