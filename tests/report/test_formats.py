"""Saved reports that hold every oddity, shown in every format and read again by readers that share
no code with the program: what stands there, and what must not."""

import base64
import csv
import hashlib
import io
import json
import pathlib
import re
import sys
from xml.etree import ElementTree

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "svcheck"))
from format_readers import Page, read_metrics, read_nagios, read_table  # noqa: E402
from odd_report import (VERDICTS, cell, covered_report, csv_text, empty_report,  # noqa: E402
                        failed_report, label, page_text, piece_rows, plain_line,
                        plain_report, record_of, report, seconds, sentence, trimmed, waived_report, xml_text)
from program import ProgramTest, main  # noqa: E402
from standards import check_cyclonedx, check_sarif, text_of_message  # noqa: E402

UNSAFE = re.compile("[\0-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069]")
SENTENCES = {"no-catalogue": "There is no catalogue at that place.", **dict.fromkeys(
    ("nothing-applicable", "empty-catalogue", "done"), "because of <this> & that")}
REPORTS = {"waived": waived_report(), "plain": plain_report(), "failed": failed_report(),
           "one": report([record_of(1)], with_waivers=True), "none": empty_report(),
           "nothing": empty_report("nothing-applicable"), "empty": empty_report("empty-catalogue"),
           "covered": covered_report()}
VERSIONS = ("InstalledVersion", "SVVersion")
COVERED = REPORTS["covered"]
COVERAGE = f"{COVERED['installed']} installed pieces: 7 compared, {len(COVERED['notCompared'])} not: "


class FormatTest(ProgramTest):
    """Shows each report in one format, and compares it."""
    maxDiff = 3000

    def show(self, name, form, *arguments):
        saved = self.write(f"{name}.json", json.dumps(REPORTS[name]))
        result = self.run_program("report", saved, "--format", form, *arguments, text=False)
        text = result.stdout.decode()
        self.assertNotRegex(text, UNSAFE)
        return text, result.returncode

    def each(self, form, *arguments):
        """Each report, what the program shows of it, and whether its check failed."""
        for name, expected in REPORTS.items():
            text, status = self.show(name, form, *arguments)
            failed = expected["outcome"] == "no-catalogue"
            if form != "nagios":
                self.assertEqual(status, 4 if failed else 0, name)
            yield expected, text, failed

    def check_reports(self, arguments, result):
        """The schema is not what is tested here."""


class Formats(FormatTest):
    def test_json_gives_back_every_text(self):
        for expected, text, _ in self.each("json"):
            self.assertNotRegex(text, "[\t\r]")
            self.assertEqual(json.loads(text), expected)
            self.assertEqual(list(json.loads(text)), list(expected))
            self.assertEqual([list(record) for record in json.loads(text)["records"]],
                             [list(record) for record in expected["records"]])

    def test_ndjson_has_a_line_for_each_record_and_one_more(self):
        for expected, text, _ in self.each("ndjson"):
            self.assertTrue(text.endswith("}\n"))
            *records, last = [json.loads(line) for line in text[:-1].split("\n")]
            self.assertEqual(records, expected["records"])
            self.assertEqual(last, {name: expected[name] for name in (
                "outcome", "state", "stateReason", "generated", "machine", "osKnown", "notices",
                "installed", "notCompared", "summary", "errors") if name in expected})

    def test_csv_is_a_table_without_formulas(self):
        for raw in (False, True):
            for expected, text, failed in self.each("csv", *["--csv-raw"] * raw):
                self.assertTrue(text.endswith("\r\n"))
                titles, *rows = csv.reader(io.StringIO(text, newline=""), strict=True)
                self.assertEqual(titles, ["Type", "Name", "InstalledVersion", "SVVersion", "Verdict",
                                          "Waived", "WaiverExpired", "Host", "Update", "Package",
                                          "File", "Line"])
                records = [[record[name] for name in titles[:4]] +
                           [record["verdict"], record.get("waived", {}).get("reason", ""),
                            record.get("expiredWaiver", {}).get("expires", ""), "we\x9bb",
                            *self.update_of(record)]
                           for record in expected["records"]]
                causes = [SENTENCES[expected["outcome"]], *expected["errors"]] if failed else []
                if expected["state"] == "nothing-compared":
                    records.append(["Notice", expected["stateReason"], "", "", "nothing compared", "",
                                    "", "we\x9bb", "", "", "", ""])
                records += [["Notice", notice, "", "", "notice", "", "", "we\x9bb", "", "", "", ""]
                            for notice in expected["notices"]]
                records += [["Error", cause, "", "", "not checked", "", "", "we\x9bb", "", "", "", ""]
                            for cause in causes]
                self.assertEqual(rows, [[csv_text(text, raw) for text in row] for row in records])
                for part in "" if raw else ",;\t":
                    cut = csv.reader(io.StringIO(text, newline=""), delimiter=part)
                    self.assertTrue({cell[:1] for row in cut for cell in row}.isdisjoint("=+-@\t\r\n\uff1d\uff0b\uff0d\uff20"))

    @staticmethod
    def update_of(record):
        if "update" not in record:
            return [""] * 4
        return [str(value or "") for value in record["update"].values()]

    def test_junit_has_a_case_for_each_record(self):
        for expected, text, failed in self.each("junit"):
            root = ElementTree.fromstring(text)
            records, counts = expected["records"], expected["summary"]
            nothing = expected["state"] == "nothing-compared"
            totals = {"tests": len(records) + failed + nothing, "failures": counts["outdated"],
                      "errors": int(failed),
                      "skipped": counts["unknown"] + counts.get("waived", 0) + nothing}
            totals = {name: str(count) for name, count in totals.items()}
            self.assertEqual((root.tag, root.attrib, len(root)), ("testsuites", totals, 1))
            self.assertEqual(root[0].attrib, {
                "name": "svcheck", "hostname": xml_text(expected["machine"]["host"]),
                "timestamp": "2027-06-30T00:00:00", **totals})
            cases = [self.case_of(record) for record in records]
            if failed:
                details = "".join(xml_text(error) + "\n" for error in expected["errors"])
                cases.append(({"classname": "svcheck", "name": "check"}, [(
                    "error", {"type": "no-catalogue", "message": SENTENCES["no-catalogue"]}, details)]))
            if nothing:
                cases.append(({"classname": "svcheck", "name": "check"}, [(
                    "skipped", {"message": "nothing compared: " + expected["stateReason"]}, None)]))
            properties, *shown = root[0]
            self.assertEqual([(case.attrib, [(part.tag, part.attrib, part.text) for part in case])
                              for case in shown], cases)
            self.assertEqual({part.get("name"): part.get("value") for part in properties},
                             self.properties_of(expected))

    @staticmethod
    def properties_of(expected):
        said = {"state": expected["state"], "osKnown": str(expected["osKnown"]).lower()}
        if expected["osKnown"] is None:
            del said["osKnown"]
        if "installed" in expected:
            reasons = [piece["reason"] for piece in expected["notCompared"]]
            said |= {"installed": str(expected["installed"]), "notCompared": str(len(reasons))}
            said |= {f"notCompared.{reason}": str(reasons.count(reason)) for reason in reasons}
        return said | {"notice": notice for notice in expected["notices"]}

    @staticmethod
    def case_of(record):
        pair = f"installed {record['InstalledVersion']}, offered {record['SVVersion']}"
        if "expiredWaiver" in record:
            pair += "; waiver expired {expires}: {reason}".format(**record["expiredWaiver"])
        parts = {"outdated": [("failure", {"type": "outdated", "message": xml_text(pair)}, None)],
                 "unknown": [("skipped", {"message": xml_text("unknown: " + pair)}, None)]}.get(
                     record["verdict"], [])
        if "waived" in record:
            text = f"waived: {record['waived']['reason']}; {pair}"
            parts = [("skipped", {"message": xml_text(text)}, None)]
        return ({"classname": xml_text(record["Type"]), "name": xml_text(record["Name"])}, parts)

    def test_nagios_is_a_line_with_what_was_counted(self):
        states = {"failed": "UNKNOWN", "nothing-compared": "UNKNOWN", "updates": "WARNING",
                  "current": "OK"}
        for expected, text, failed in self.each("nagios"):
            counts = {name: count for name, count in expected["summary"].items() if name != "compared"}
            line, *more = text[:-1].split("\n")
            state, said, data = read_nagios(line + "\n")
            if "expired_waivers" in data:
                data["expiredWaivers"] = data.pop("expired_waivers")
            wanted = {} if states[expected["state"]] == "UNKNOWN" else counts
            self.assertEqual((data, list(data)), (wanted, list(wanted)))
            self.assertEqual(state, states[expected["state"]])
            cause = (SENTENCES["no-catalogue"] + " " + plain_line(expected["errors"][0]) if failed else
                     sentence(counts) if wanted else "nothing compared: " + expected["stateReason"])
            self.assertEqual(said, "we\ufffdb: " + cause.replace("|", "/"))
            self.assertEqual(more[:-1], expected["notices"])
            self.assertEqual([line[:len(COVERAGE)] for line in more[len(expected["notices"]):]],
                             [COVERAGE] * ("installed" in expected))

    def test_metrics_have_every_count_and_no_waived_record(self):
        for expected, text, failed in self.each("prometheus"):
            metrics = read_metrics(text)
            counts, generated = expected["summary"], seconds(expected["generated"])
            success = expected["state"] in ("updates", "current")
            wanted = {}
            single = {"svcheck_success": int(success),
                      "svcheck_last_run_timestamp_seconds": generated}
            if success:
                single["svcheck_last_success_timestamp_seconds"] = generated
            if expected["osKnown"] is not None:
                single["svcheck_os_known"] = int(expected["osKnown"])
            if not failed:
                wanted = {("svcheck_records", frozenset({("verdict", verdict)})): counts[verdict]
                          for verdict in VERDICTS}
                single |= {"svcheck_compared_records": counts["compared"],
                           "svcheck_records_waived": counts.get("waived", 0),
                           "svcheck_records_waiver_expired": counts.get("expiredWaivers", 0),
                           "svcheck_catalogue_elements": 17,
                           "svcheck_catalogue_age_seconds": 3 * 86400}
            wanted |= {(name, frozenset()): value for name, value in single.items()}
            about = {"version": label(expected["tool"]["version"]), "outcome": expected["outcome"],
                     "machine": label(expected["machine"]["type"]), "host": "we\ufffdb"}
            wanted["svcheck_info", frozenset(about.items())] = 1
            for record in expected["records"]:
                if record["verdict"] == "outdated" and "waived" not in record:
                    labels = zip(("type", "name", "installed", "offered"),
                                 (label(text) for text in record.values()))
                    wanted["svcheck_outdated", frozenset(labels)] = 1
            self.assertEqual(metrics, wanted)

    def test_the_table_has_a_row_for_each_record(self):
        for expected, text, failed in self.each("table"):
            self.assertNotRegex(text, "[\t\r]")
            count = len(expected["records"])
            errors = ["  " + plain_line(error)
                      for error in expected["notices"] + expected["errors"]]
            last = ([f"NOT CHECKED: {SENTENCES[expected['outcome']]}"] if failed else
                    ["", f"{count} record{'s' * (count != 1)}: {sentence(expected['summary'])}."]
                    if count else ["No records."])
            if expected["state"] == "nothing-compared":
                headline, text = text.split("\n\n", 1)
                self.assertEqual(headline, f"NOTHING COMPARED: {expected['stateReason']}.")
            if not count:
                self.assertEqual(text.split("\n")[3:], errors + last + [""])
                continue
            if "installed" in expected:
                text, coverage = text[:text.rindex(COVERAGE)], text[text.rindex(COVERAGE):]
                self.assertRegex(coverage, r"\d+ are offered for other systems, \d+ do not run\.\n$")
            _, rows, behind = read_table(text)
            self.assertEqual(rows, [self.row_of(record) for record in expected["records"]])
            self.assertEqual(behind, ([""] + errors if errors else []) + last + [""])

    def test_a_wide_table_names_the_update_of_each_record(self):
        for expected, text, _ in self.each("table", "--width", "99999"):
            if text.startswith("NOTHING COMPARED"):
                text = text[text.index("\nMachine ") + 1:]
            if expected["records"]:
                updates = [record.get("update") for record in expected["records"]]
                names = ["-" if update is None else
                         cell(update["name"]) if trimmed(update["name"]) else
                         f"index.xml:{update['line']}" for update in updates]
                self.assertEqual([row[4] for row in read_table(text)[1]],
                                 [name.rstrip(" ") for name in names])

    def test_the_table_says_what_was_compared(self):
        said = ["Machine 46\ufffd38\ufffd (R \"x\" <7>\ufffd[2J), host we\ufffdb, Some | Linux\ufffd",
                "Catalogue /srv/\ufffd]0;x\ufffd, 17 update elements, 3 days old", ""]
        self.assertEqual(self.show("plain", "table")[0].split("\n")[:3], said)
        said[1] = "Catalogue /srv/\ufffd]0;x\ufffd"
        self.assertEqual(self.show("failed", "table")[0].split("\n")[:3], said)

    @staticmethod
    def row_of(record):
        verdict = record["verdict"]
        if "waived" in record:
            verdict += f" (waived: {plain_line(record['waived']['reason'])})"
        if "expiredWaiver" in record:
            said = {name: plain_line(text) for name, text in record["expiredWaiver"].items()}
            verdict += " (waiver expired {expires}: {reason})".format(**said)
        texts = [record[name] for name in ("Type", "Name", "InstalledVersion", "SVVersion")]
        # The reader cannot tell blanks at the end of a cell from its column.
        return [cell(text).rstrip(" ") for text in texts] + [verdict]


KINDS = {"Firmware": "firmware", "Driver": "device-driver"}
RESULTS = {"outdated": ("fail", "warning"), "unknown": ("open", "none"),
           "newer": ("informational", "none"), "current": ("pass", "none")}


class Standards(FormatTest):
    """The formats of others, which have a checker of their own."""

    def test_a_bill_of_materials_has_a_component_for_each_record(self):
        numbers = set()
        for expected, text, failed in self.each("cyclonedx"):
            bill = json.loads(text)
            check_cyclonedx(bill)
            numbers.add(bill["serialNumber"])
            machine, system = expected["machine"], expected["operatingSystem"]
            self.assertEqual(bill["metadata"], {
                "timestamp": expected["generated"], "tools": {"components": [{
                    "type": "application", "name": expected["tool"]["name"],
                    "version": expected["tool"]["version"]}]},
                "component": {
                    "type": "device", "bom-ref": "machine",
                    "name": machine.get("host", machine["model"]),
                    "manufacturer": {"name": machine["manufacturer"]},
                    "properties": self.properties(
                        machineType=machine["type"], model=machine["model"],
                        serialNumber=machine["serialNumber"])}})
            self.assertEqual(bill["components"][0], {
                "type": "operating-system", "bom-ref": "system", "name": system["caption"],
                "version": system["version"]})
            self.assertEqual(bill["components"][1:], [
                self.component_of(record, number)
                for number, record in enumerate(expected["records"], 1)] + [
                self.piece_of(piece, number)
                for number, piece in enumerate(expected["notCompared"], 1)])
            self.assertEqual(bill["properties"], self.end_of(expected))
            self.assertEqual(bill["compositions"], [{
                "aggregate": "unknown" if "installed" in expected else "incomplete",
                "assemblies": ["machine"]}])
        self.assertEqual(len(numbers), len(REPORTS))

    @staticmethod
    def properties(**values):
        return [{"name": f"svcheck:{name}", "value": value} for name, value in values.items()]

    def end_of(self, expected):
        said = {name: expected[name] for name in ("outcome", "state", "stateReason") if name in expected}
        notices = [{"name": "svcheck:notice", "value": notice} for notice in expected["notices"]]
        catalogue = {"catalogue": expected["catalogue"]["path"]}
        if "modified" in expected["catalogue"]:
            catalogue["catalogueModified"] = expected["catalogue"]["modified"]
        return (self.properties(**said) + notices + self.properties(**catalogue) +
                [{"name": "svcheck:error", "value": error} for error in expected["errors"]])

    def piece_of(self, piece, number):
        version = trimmed(piece["version"] or "")
        return ({"type": KINDS.get(piece["type"], "application"), "bom-ref": f"installed-{number}",
                 "name": piece["name"]} | ({"version": version} if version else {}) |
                {"properties": self.properties(type=piece["type"], notCompared=piece["reason"])})

    def component_of(self, record, number):
        version = trimmed(record["InstalledVersion"])[:1024]
        said = self.properties(type=record["Type"], verdict=record["verdict"],
                               offered=record["SVVersion"])
        update = record.get("update", {})
        said += self.properties(**{name: update[key] for name, key in (
            ("update", "name"), ("package", "package")) if update.get(key)})
        for name in ("waived", "expiredWaiver"):
            if name in record:
                said += self.properties(**{name: record[name]["reason"]})
            if "expires" in record.get(name, {}):
                said.append({"name": f"svcheck:{name}:expires", "value": record[name]["expires"]})
        return ({"type": KINDS.get(record["Type"], "application"), "bom-ref": f"record-{number}",
                 "name": record["Name"]} | ({"version": version} if version else {}) |
                {"properties": said})

    def test_versions_are_as_long_as_the_schema_takes(self):
        for length, kept in ((1023, 1023), (1024, 1024), (1025, 1024)):
            saved = self.write("long.json", json.dumps(report([
                record_of(0) | {"Type": "Driver", "InstalledVersion": "\u00fc" * length}])))
            bill = json.loads(self.run_program("report", saved, "--format", "cyclonedx").stdout)
            check_cyclonedx(bill)
            self.assertEqual(bill["components"][1]["version"], "\u00fc" * kept)
            self.assertEqual(bill["components"][1]["type"], "device-driver")

    def test_an_analysis_has_a_result_for_each_record(self):
        for expected, text, failed in self.each("sarif"):
            document = json.loads(text)
            check_sarif(document)
            (run,) = document["runs"]
            self.assertEqual([rule["id"] for rule in run["tool"]["driver"]["rules"]], list(VERDICTS))
            self.assertEqual(
                [rule["defaultConfiguration"]["level"] for rule in run["tool"]["driver"]["rules"]],
                [RESULTS[verdict][1] for verdict in VERDICTS])
            self.assertEqual(run["originalUriBaseIds"],
                             {"CATALOGUE": {"uri": "file:///srv/%1B%5D0%3Bx%07/"}})
            (invocation,) = run["invocations"]
            self.assertEqual((invocation["executionSuccessful"], invocation["endTimeUtc"]),
                             (not failed, expected["generated"]))
            self.assertEqual([self.read_notification(told)
                              for told in invocation["toolExecutionNotifications"]],
                             self.notifications_of(expected, failed))
            self.assertEqual(
                [self.read_result(result) for result in run["results"]],
                [self.result_of(record, "waived" in expected["summary"])
                 for record in expected["records"]])
            self.assertEqual(run["properties"], {name: expected[name] for name in (
                "machine", "operatingSystem", "catalogue", "outcome")})

    @staticmethod
    def read_notification(told):
        text, about = text_of_message(told["message"]), told["descriptor"]["id"]
        return text[:len(COVERAGE)] if about == "coverage" else text, told["level"], about

    @staticmethod
    def notifications_of(expected, failed):
        outcome, level = expected["outcome"], "error" if failed else "note"
        told = [(SENTENCES[outcome], level, outcome)] if failed else []
        if expected["state"] == "nothing-compared":
            told.append((expected["stateReason"], level, "nothing-compared"))
        told += [(error, level, outcome) for error in expected["errors"]]
        told += [(notice, "warning", "notice") for notice in expected["notices"]]
        return told + ([(COVERAGE, "note", "coverage")] if "installed" in expected else [])

    @staticmethod
    def read_result(result):
        return result | {"message": text_of_message(result["message"])}

    @staticmethod
    def result_of(record, with_waivers):
        verdict = record["verdict"]
        kind, level = RESULTS[verdict]
        texts = {name: record[name] for name in ("Type", "Name", "InstalledVersion", "SVVersion")}
        kept = [trimmed(text) or "nothing" for text in texts.values()][2:]
        said = f"{record['Type']} {record['Name']} is {verdict}: installed {kept[0]}, offered {kept[1]}"
        if "expiredWaiver" in record:
            said += "; waiver expired {expires}: {reason}".format(**record["expiredWaiver"])
        place = {"artifactLocation": {"uri": "index.xml", "uriBaseId": "CATALOGUE"}}
        if "update" in record:
            place["region"] = {"startLine": record["update"]["line"]}
        result = {"ruleId": verdict, "ruleIndex": VERDICTS.index(verdict), "kind": kind,
                  "level": level, "message": said + ".", "locations": [{
                      "physicalLocation": place,
                      "logicalLocations": [{
                          "name": record["Name"], "kind": "resource",
                          "fullyQualifiedName": f"{record['Type']}/{record['Name']}"}]}],
                  "properties": texts}
        if with_waivers:
            result["suppressions"] = []
        if "waived" in record:
            waiver = {"kind": "external", "status": "accepted",
                      "justification": record["waived"]["reason"]}
            if "expires" in record["waived"]:
                waiver["properties"] = {"expires": record["waived"]["expires"]}
            result["suppressions"] = [waiver]
        return result

    def test_without_a_folder_a_result_has_no_file(self):
        live = report([record_of(0)])
        live["catalogue"] |= {"source": "live", "path": "https://updates.example.org/"}
        text = self.run_program("report", self.write("live.json", json.dumps(live)), "--format",
                                "sarif").stdout
        (run,) = json.loads(text)["runs"]
        check_sarif(json.loads(text))
        self.assertNotIn("originalUriBaseIds", run)
        self.assertEqual(list(run["results"][0]["locations"][0]), ["logicalLocations"])

    def test_a_place_in_the_catalogue_is_an_address_and_a_line(self):
        for source, base in (("folder", {"uriBaseId": "CATALOGUE"}), ("live", {})):
            for line in (0, 1, 2):
                found = report([record_of(0) | {"update": {
                    "name": "n", "package": None, "file": "a b\\c:d[1]\u00fc.xml", "line": line}}])
                found["catalogue"]["source"] = source
                text = self.run_program("report", self.write("place.json", json.dumps(found)),
                                        "--format", "sarif").stdout
                check_sarif(json.loads(text))
                place = json.loads(text)["runs"][0]["results"][0]["locations"][0]["physicalLocation"]
                self.assertEqual(place, {
                    "artifactLocation": {"uri": "a%20b/c%3Ad%5B1%5D%C3%BC.xml"} | base} |
                    ({"region": {"startLine": line}} if line else {}))


class Checkers(FormatTest):
    """What the checkers of the standards refuse, each in a document that is right otherwise."""

    def assert_refused(self, form, check, change):
        document = json.loads(self.show("waived", form)[0])
        check(document)
        change(document)
        with self.assertRaises(AssertionError):
            check(document)

    def test_a_bill_of_materials_that_breaks_a_rule_is_refused(self):
        for change in (
                lambda bill: bill.pop("bomFormat"), lambda bill: bill.update(specVersion="1.5"),
                lambda bill: bill.update({"$schema": ""}), lambda bill: bill.update(version=0),
                lambda bill: bill.update(version="1"), lambda bill: bill.update(more=1),
                lambda bill: bill.update(serialNumber=bill["serialNumber"].upper()),
                lambda bill: bill["metadata"].update(timestamp="2027-06-30 00:00"),
                lambda bill: bill["components"][1].update(type="driver"),
                lambda bill: bill["components"][1].pop("name"),
                lambda bill: bill["components"][1].update(version="1" * 1025),
                lambda bill: bill["components"][1].update({"bom-ref": "record-2"}),
                lambda bill: bill["components"][1]["properties"][0].update(value=1),
                lambda bill: bill["compositions"][0].update(assemblies=["nothing"]),
                lambda bill: bill["compositions"][0].update(aggregate="whole")):
            self.assert_refused("cyclonedx", check_cyclonedx, change)

    def test_an_analysis_that_breaks_a_rule_is_refused(self):
        def first(document):
            return document["runs"][0]["results"][0]

        for change in (
                lambda log: log.update({"$schema": ""}),
                lambda log: log.update(version="2.0.0"), lambda log: log["runs"][0].pop("tool"),
                lambda log: log["runs"][0]["tool"]["driver"]["rules"][0].update(id="unknown"),
                lambda log: log["runs"][0]["invocations"][0].pop("executionSuccessful"),
                lambda log: log["runs"][0]["originalUriBaseIds"]["CATALOGUE"].update(uri="file:///x"),
                lambda log: first(log).update(ruleIndex=1), lambda log: first(log).update(more=1),
                lambda log: first(log).update(kind="pass"), lambda log: first(log).pop("message"),
                lambda log: first(log).pop("suppressions"),
                lambda log: first(log).update(level="fatal"),
                lambda log: first(log)["message"].update(text="a {0}"),
                lambda log: first(log)["message"].update(text="a [link](1)"),
                lambda log: first(log)["locations"][0]["physicalLocation"]["artifactLocation"]
                .update(uriBaseId="OTHER"),
                lambda log: first(log)["locations"][0]["physicalLocation"]["artifactLocation"]
                .update(uri="a b"),
                lambda log: first(log)["locations"][0]["physicalLocation"]
                .update(region={"startLine": 0})):
            self.assert_refused("sarif", check_sarif, change)


class WholePage(FormatTest):
    def test_the_page_has_a_row_for_each_record(self):
        for expected, text, failed in self.each("html"):
            page, counts = Page(text), expected["summary"]
            self.assertEqual(page.pieces, piece_rows(expected))
            self.assertEqual(page.coverage[:len(COVERAGE)], COVERAGE if page.pieces else "")
            self.assertEqual([(group["type"], group["head"], group["rows"]) for group in page.groups],
                             self.groups_of(expected))
            names = [name for name in (*VERDICTS, "waived") if name in counts]
            self.assertEqual({name: tile[:2] for name, tile in page.tiles.items()},
                             {name: [str(counts[name]), name] for name in names}
                             if expected["records"] else {})
            self.assertEqual(page.messages, [*map(page_text, expected["notices"] + expected["errors"])])
            self.assertEqual((page.elements["script"], page.elements["style"]), (1, 1))
            self.assertFalse({"a", "img", "link", "iframe", "object", "form"} & set(page.elements) -
                             ({"a"} if expected["records"] else set()))
            self.assertRegex(page.policy, r"^default-src 'none'; style-src 'sha256-[\w+/]{43}='; "
                             r"script-src 'sha256-[\w+/]{43}='; base-uri 'none'; form-action 'none'$")
            for name in ("script", "style"):
                digest = hashlib.sha256(page.texts[name].encode()).digest()
                self.assertIn(f"{name}-src 'sha256-{base64.b64encode(digest).decode()}'", page.policy)
            self.assertEqual(page.texts["h1"], self.lead_of(expected, failed))
            host = page_text(expected["machine"]["host"])
            self.assertEqual(page.texts["title"], f"{page.texts['h1']} – {host}")
            self.assertEqual(page.texts["bdi"][:len(host)], host)
            number = len(expected["records"])
            said = (SENTENCES[expected["outcome"]] if failed else
                    f"{number} record{'s' * (number != 1)}: {sentence(counts)}." if number else
                    "No records.")
            if expected["state"] == "nothing-compared":
                said = f"Why: {page_text(expected['stateReason'])}. {said}"
            self.assertEqual(page.texts["p"].split("Nothing goes by")[0].strip(), f". {said}")
            self.assertEqual(page.facts, self.facts_of(expected, failed))

    @staticmethod
    def updates_of(records):
        """Update elements to install, each once; a record that names none counts."""
        install = [record for record in records
                   if record["verdict"] == "outdated" and "waived" not in record]
        known = {record["update"]["line"] for record in install if "update" in record}
        return len(known) + sum("update" not in record for record in install)

    def lead_of(self, expected, failed):
        updates = self.updates_of(expected["records"])
        if failed or expected["state"] == "nothing-compared":
            return "Not checked" if failed else "Nothing was compared"
        return (f"{updates} update{'s' * (updates != 1)} to install" if updates else
                "Nothing is known to be outdated" if expected["summary"]["unknown"] else
                "Nothing to install")

    @staticmethod
    def facts_of(expected, failed):
        machine, system = expected["machine"], expected["operatingSystem"]
        facts = {"Host": machine["host"], "Type": machine["type"], "Model": machine["model"],
                 "Maker": machine["manufacturer"], "Serial number": machine["serialNumber"], "System": system["caption"],
                 "Kernel": system["version"], "Platform": system["platform"],
                 "Folder": expected["catalogue"]["path"]}
        if not failed:
            facts |= {"Elements": "17", "Age": "3 days, from 2027-06-27T00:00:00Z"}
        facts["Checked"] = "2027-06-30T00:00:00Z"
        return {name: page_text(text) for name, text in facts.items()}

    def groups_of(self, expected):
        """Fifteen types have groups of their own, in the order of their first records."""
        records = expected["records"]
        types = list(dict.fromkeys(record["Type"] for record in records))
        own = types if len(types) < 16 else types[:15]
        groups = [(name, [r for r in records if r["Type"] == name], False) for name in own]
        if own != types:
            groups.append(("Other types", [r for r in records if r["Type"] not in own], True))
        return [(page_text(name),
                 f"{page_text(name)} {sentence(self.counts(members))}",
                 [self.row_of(record, has_type) for record in members])
                for name, members, has_type in groups]

    @staticmethod
    def counts(records):
        counts = {verdict: sum(r["verdict"] == verdict and "waived" not in r for r in records)
                  for verdict in VERDICTS}
        return counts | {"waived": sum("waived" in r for r in records),
                         "expiredWaivers": sum("expiredWaiver" in r for r in records)}

    @staticmethod
    def row_of(record, has_type):
        state, small = record["verdict"], []
        if "waived" in record:
            until = record["waived"].get("expires")
            small.append(f"{state}, accepted{' until ' + until if until else ''}: "
                         + page_text(record["waived"]["reason"]))
            state = "waived"
        if "expiredWaiver" in record:
            said = {name: page_text(text) for name, text in record["expiredWaiver"].items()}
            small.append("waiver expired {expires}: {reason}".format(**said))
        name = place = ""
        if update := record.get("update"):
            place = f"index.xml:{update['line']}"
            name = page_text(trimmed(update["name"])) or place
            place = (f"{page_text(update['package'])}, " if update["package"] else "") + place
        versions = [page_text(trimmed(record[key])) or "–" for key in VERSIONS]
        return {"verdict": state, "Type": page_text(record["Type"]) if has_type else "",
                "Name": page_text(record["Name"]), "small": small, "update": name,
                "place": place, "cells": [*versions, state]}


if __name__ == "__main__":
    main()
