"""Which update element a record stems from: its name, package and place in the catalogue, told by
what stands in the files, not by the program."""

import csv
import io
import json
import re

from program import (DIALECT, MACHINE, SAMPLE, SYSTEM, ProgramTest, bios, document, element, main)

BIOS = {"description": "BIOS Update", "Version": "1.1-[YUE112A]-"}


def driver(path, version="1", state="4"):
    return ("QRXSG_DeviceDriverInfo", {"Path": path, "Version": version, "CurrentState": state})


def name_of(record):
    return record["update"]["name"]


class UpdateTest(ProgramTest):
    def check(self, catalogue, *arguments):
        return self.run_program("check", "--inventory", self.folder / "inventory.xml",
                                "--catalogue", catalogue, *arguments)

    def records(self, catalogue, *arguments):
        return json.loads(self.check(catalogue, *arguments, "--format", "json").stdout)["records"]

    def assert_place(self, record, text):
        """The line begins the instance of that name and package."""
        place = record["update"]
        lines = re.split("\r\n|\r|\n", text)
        self.assertIn("<INSTANCE ", lines[place["line"] - 1], place)
        instance = "\n".join(lines[place["line"] - 1:]).split("</INSTANCE>")[0]
        values = {name: re.search(f'NAME="{name}"[^>]*><VALUE>(.*?)</VALUE>', instance, re.S)
                  for name in ("name", "installDirectory")}
        self.assertEqual(values["name"][1], place["name"])
        directory = values["installDirectory"]
        self.assertEqual(directory and directory[1], place["package"])


class Place(UpdateTest):
    def test_is_the_line_on_which_the_element_begins(self):
        text = (SAMPLE / "catalogue" / "index.xml").read_text()
        self.inventory()
        (self.folder / "inventory.xml").write_bytes((SAMPLE / "inventory.xml").read_bytes())
        records = self.records(SAMPLE / "catalogue")
        self.assertEqual(len(records), 21)
        for record in records:
            self.assertEqual(record["update"]["file"], "index.xml")
            self.assert_place(record, text)
        self.assertGreater(len({name_of(record) for record in records}), 9)

    def test_is_told_for_every_form_of_a_line_end_and_each_encoding(self):
        self.inventory(MACHINE, SYSTEM, bios("YUE110B"))
        text = document([element(name="a", installDirectory="/a&amp;\n\nb", **BIOS),
                         element(name="b", **BIOS)], "\n" + DIALECT)
        for end in ("\n", "\r\n", "\r"):
            for encoding in ("utf-8", "utf-8-sig", "utf-16"):
                with self.subTest(end=end, encoding=encoding):
                    written = text.replace("\n", end).replace("UTF-8", encoding.removesuffix("-sig"))
                    self.write("catalogue/index.xml", written.encode(encoding))
                    records = self.records(self.folder / "catalogue")
                    self.assertEqual([name_of(record) for record in records], ["a", "b"])
                    lines = [number for number, line in enumerate(text.split("\n"), 1)
                             if "<INSTANCE" in line]
                    self.assertEqual([record["update"]["line"] for record in records], lines)
                    self.assertEqual(records[0]["update"]["package"], "/a&\n\nb")

    def test_is_told_of_a_catalogue_whose_memory_is_used_again(self):
        """Some texts are rewritten where they stand, and lose line ends."""
        self.inventory(MACHINE, SYSTEM, bios("YUE110B"))
        elements = [element(name=f"n{number}", description="BIOS Update\r\n" * (number % 7) + "BIOS "
                            "Update" + "&#10;" * (number % 5) + "\n" * (number % 3), category="x" * 900,
                            Version=f"-[YUE{number % 100:03}A]-") for number in range(3000)]
        text = document(elements, DIALECT)
        self.assertGreater(len(text), 8 << 18)
        self.write("catalogue/index.xml", text.encode())
        records = self.records(self.folder / "catalogue")
        self.assertEqual([name_of(record) for record in records],
                         [f"n{number}" for number in range(3000)])
        lines = [number for number, line in enumerate(re.split("\r\n|\r|\n", text), 1)
                 if "<INSTANCE" in line]
        self.assertEqual([record["update"]["line"] for record in records], lines)

    def test_of_a_download_names_its_file(self):
        self.inventory(MACHINE, SYSTEM, bios("YUE110B"))
        folder = "drives/c/QRX_Support/SV/"
        wanted = {"applicableOperatingSystems": ["SLES10_64", "Linux"], **BIOS}
        self.write(folder + "a.xml", document([element(name="a", **wanted)], DIALECT))
        self.write(folder + "b_windows.xml", document([element(name="b", **wanted)], DIALECT))
        self.write(folder + "c.xml", document([], DIALECT))
        self.write(folder + "d.xml", document([element(name="d1", **wanted),
                                               element(name="d2", **wanted)], DIALECT + "\n"))
        result = self.run_program("check", "--inventory", self.folder / "inventory.xml", "--live",
                                  "--offline", "--drive-root", self.folder / "drives", "--format",
                                  "json")
        records = json.loads(result.stdout)["records"]
        self.assertEqual([(name_of(record), record["update"]["file"]) for record in records],
                         [("a", "a.xml"), ("d1", "d.xml"), ("d2", "d.xml")])
        for record in records:
            self.assert_place(record, (self.folder / folder / record["update"]["file"]).read_text())


class Firmware(UpdateTest):
    def test_of_one_element_may_be_several_records(self):
        self.inventory(MACHINE, SYSTEM, bios("YUE110B"))
        both = element(name="both", description="BIOS Update uEFI", Version="-[YUE112A]-")
        catalogue = self.catalogue(element(name="other", applicableMachineTypes=["-[1111]-"], **BIOS),
                                   both, element(name="plain", **BIOS),
                                   element(name="drivers only", driverFiles="x-#1"))
        records = self.records(catalogue)
        self.assertEqual([(record["Name"], name_of(record)) for record in records],
                         [("System BIOS", "both"), ("System UEFI", "both"),
                          ("System BIOS", "plain")])

    def test_of_adapters_stands_in_the_driver_files_and_is_told_apart_from_drivers(self):
        files = "e1000.ko-#2 nx2fw_bcm-#4"
        self.inventory(MACHINE, SYSTEM, driver("e1000.ko"), *[
            ("QRXSG_BcmDeviceFirmwareElement", {"Name": "n", "SoftwareElementID": "nx2fw_bcm",
                                                "Version": version}) for version in "12"])
        adapter = "Broadcom NetXtreme and NetXtreme II Firmware"
        catalogue = self.catalogue(
            element(name="a", description=adapter, driverFiles=files),
            element(name="b", description=adapter, driverFiles=files,
                    applicableOperatingSystems=["RHEL5"]))
        self.assertEqual([(record["Type"], name_of(record)) for record in self.records(catalogue)],
                         [("Firmware", "a")] * 2 + [("Firmware", "b")] * 2 + [("Driver", "a")])


class Drivers(UpdateTest):
    INSTALLED = ["C:\\d\\e1000.sys", "E1000.x", "tg3.ko", "idle.ko", "NaN", ""]

    def expected(self, elements, installed):
        """What the rules of docs/one-query.md come to for these."""
        names = []
        for _, properties in elements:
            if "SLES10_64" not in properties["applicableOperatingSystems"]:
                continue
            for entry in properties.get("driverFiles", "").split(" "):
                offered = entry.split("-#")[0].split(".")[0].upper()
                if "-#" not in entry or entry.startswith("-#") or entry.endswith("-#"):
                    continue
                for path in installed:
                    file = path.split("\\")[-1]
                    if file and (file == "NaN" or file.split(".")[0].upper() == offered):
                        names.append(properties["name"])
        return names

    def assert_named(self, elements, installed):
        self.inventory(MACHINE, SYSTEM, *[driver(path) for path in installed],
                       driver("idle.ko", state="1"), driver("e1000.ko", state="1"))
        records = self.records(self.catalogue(*elements))
        self.assertEqual([name_of(record) for record in records], self.expected(elements, installed))
        return records

    def test_of_equal_entries_are_told_apart(self):
        def offer(name, files, **more):
            return element(name=name, driverFiles=files, **more)

        elements = [offer("a", "e1000.sys-#2"), offer("b", "e1000.sys-#2 e1000.sys-#2"),
                    offer("none", "other.ko-#1"), offer("c", "tg3.ko-#2 e1000.sys-#2"),
                    offer("elsewhere", "e1000.sys-#2", applicableOperatingSystems=["RHEL5"]),
                    element(name="empty"), offer("d", "tg3-#2"), offer("e", "idle.ko-#1"),
                    offer("long", " ".join(["e1000.sys-#2"] * 9)), offer("f", "e1000-#2")]
        for installed in (["C:\\d\\e1000.sys"], ["C:\\d\\e1000.sys", "E1000.x"], ["tg3.ko"],
                          ["C:\\d\\e1000.sys", "tg3.ko", "E1000.x"], ["NaN"], ["NaN", "tg3.ko"],
                          ["C:\\d\\e1000.sys", "NaN", "E1000.y", "tg3.ko", "tg3.x"], ["none.ko"]):
            with self.subTest(installed):
                self.assert_named(elements, installed)

    def test_of_a_list_that_the_class_gives_to_all_are_told_apart(self):
        self.inventory(MACHINE, SYSTEM, driver("e1000.ko"), driver("E1000"))
        files = "e1000.ko-#2 tg3.ko-#1 e1000.ko-#2 " + "y" * 99 + ".ko-#1"
        text = document([element(name="a"), element(name="b", driverFiles="e1000-#2"),
                         element(name="c")], DIALECT)
        text = text.replace("<DECLGROUP>", '<DECLGROUP><VALUE.OBJECT><CLASS NAME="QRXPSG_'
                            'SystemUpdateElement"><PROPERTY NAME="driverFiles" TYPE="string"><VALUE>'
                            f"{files}</VALUE></PROPERTY></CLASS></VALUE.OBJECT>")
        self.write("catalogue/index.xml", text)
        self.assertEqual([name_of(record) for record in self.records(self.folder / "catalogue")],
                         ["a"] * 4 + ["b"] * 2 + ["c"] * 4)

    def test_of_a_list_that_is_an_array_are_told(self):
        self.inventory(MACHINE, SYSTEM, driver("e1000.ko"))
        catalogue = self.catalogue(element(name="a", driverFiles=["x.ko-#1", "e1000.ko-#2"]),
                                   element(name="b", driverFiles="e1000.ko-#2"))
        self.assertEqual([name_of(record) for record in self.records(catalogue)], ["a", "b"])

    def test_are_told_when_the_log_traces_every_pair(self):
        self.inventory(MACHINE, SYSTEM, bios("YUE110B"), driver("e1000.ko"))
        catalogue = self.catalogue(element(name="a", driverFiles="e1000.ko-#2", **BIOS),
                                   element(name="b", driverFiles="e1000.ko-#2"))
        records = self.records(catalogue, "--log", "log", "--log-level", "4")
        self.assertEqual([name_of(record) for record in records], ["a", "a", "b"])


class Formats(UpdateTest):
    def setUp(self):
        super().setUp()
        self.inventory(MACHINE, SYSTEM, bios("YUE110B"), driver("e1000.ko"), driver("tg3.ko", "9"))
        self.folder_of_updates = self.catalogue(
            element(name="bios &lt;1&gt;", installDirectory="/PKGS/BIOS", description="BIOS Update uEFI",
                    Version="-[YUE112A]-"), element(driverFiles="e1000.ko-#2 tg3.ko-#1"))

    def test_csv_has_a_column_for_each_part(self):
        text = self.check(self.folder_of_updates, "--format", "csv").stdout
        rows = [[row[name] for name in ("Name", "Update", "Package", "File")]
                for row in csv.DictReader(io.StringIO(text))]
        self.assertEqual(rows, [["System BIOS", "bios <1>", "/PKGS/BIOS", "index.xml"],
                                ["System UEFI", "bios <1>", "/PKGS/BIOS", "index.xml"],
                                ["E1000", "", "", "index.xml"], ["TG3", "", "", "index.xml"]])
        lines = [row["Line"] for row in csv.DictReader(io.StringIO(text))]
        self.assertEqual(lines[0], lines[1])
        self.assertLess(int(lines[1]), int(lines[2]))

    def test_a_wide_table_has_a_column(self):
        for width, wide in (("119", False), ("120", True), ("0", False)):
            text = self.check(self.folder_of_updates, "--width", width).stdout
            self.assertEqual("OFFERED  UPDATE" in text, wide, text)
            self.assertEqual("YUE112A  bios <1>" in text, wide, text)
            self.assertEqual(bool(re.search(r"E1000 .* index\.xml:\d+ ", text)), wide, text)

    def test_the_page_names_it_and_counts_elements_to_install(self):
        text = self.check(self.folder_of_updates, "--format", "html").stdout
        self.assertIn("<h1>2 updates to install</h1>", text)  # Of three records, two in one element.
        self.assertIn('title="/PKGS/BIOS, index.xml:', text)
        self.assertEqual(text.count(">bios &lt;1&gt;</small>"), 2)

    def test_a_saved_report_keeps_it(self):
        self.check(self.folder_of_updates, "--format", "json", "--output", "report.json")
        shown = self.run_program("report", self.folder / "report.json", "--format", "json").stdout
        self.assertEqual(shown, (self.folder / "report.json").read_text())
        page = self.run_program("report", self.folder / "report.json", "--format", "html").stdout
        self.assertIn("<h1>2 updates to install</h1>", page)

    def test_what_is_waived_is_nothing_to_install(self):
        self.write("waivers.toml", '[[waiver]]\nname = "System UEFI"\nreason = "r"\n'
                   '[[waiver]]\nname = "E1000"\nreason = "r"\n')
        text = self.check(self.folder_of_updates, "--format", "html", "--waivers",
                          self.folder / "waivers.toml").stdout
        self.assertIn("<h1>1 update to install</h1>", text)


if __name__ == "__main__":
    main()
