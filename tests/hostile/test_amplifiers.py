"""Inputs that say little and mean much: every verb works through them in memory that is bounded by
8 times its documents and 64 MB, and in time that grows as they and what it writes do."""

import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

from documents import PROGRAM, DocumentTest, main

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))
from serial_notes import serve_folder  # noqa: E402

TIMES_THE_DOCUMENTS = 8
ALLOWANCE = 64 << 20

HEAD = ('<?xml version="1.0" encoding="UTF-8"?><?sv-catalogue version="4.02"?>\n'
        "<CIM><DECLARATION><DECLGROUP>\n")
TAIL = "</DECLGROUP></DECLARATION></CIM>\n"
FOR_ALL = ("<PROPERTY.ARRAY NAME='applicableMachineTypes'><VALUE.ARRAY><VALUE>-[4638]-</VALUE>"
           "</VALUE.ARRAY></PROPERTY.ARRAY><PROPERTY.ARRAY NAME='applicableOperatingSystems'>"
           "<VALUE.ARRAY><VALUE>RHEL5</VALUE><VALUE>Linux</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>")
MACHINE = ("<VALUE.OBJECT><INSTANCE CLASSNAME='QRXSG_ComputerSystem'><PROPERTY NAME='MachineType'>"
           "<VALUE>4638</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>")


def scalar(name, text):
    return f"<PROPERTY NAME='{name}' TYPE='string'><VALUE>{text}</VALUE></PROPERTY>"


def array(name, text):
    values = "".join(f"<VALUE>{word}</VALUE>" for word in text.split())
    return (f"<PROPERTY.ARRAY NAME='{name}' TYPE='string'><VALUE.ARRAY>{values}</VALUE.ARRAY>"
            "</PROPERTY.ARRAY>")


def element(properties="", name="QRXPSG_SystemUpdateElement"):
    return f"<VALUE.OBJECT><INSTANCE CLASSNAME='{name}'>{properties}</INSTANCE></VALUE.OBJECT>\n"


def subclass(properties, name="X", base="QRXPSG_SystemUpdateElement"):
    return (f"<VALUE.OBJECT><CLASS NAME='{name}' SUPERCLASS='{base}'>{properties}</CLASS>"
            "</VALUE.OBJECT>\n")


def catalogue(body):
    return HEAD + body + TAIL


def shared_default(default):
    """One long default of a class, and as many bytes of short instances."""
    others = [part for part in re.findall(r"<PROPERTY.ARRAY.*?</PROPERTY.ARRAY>", FOR_ALL)
              if part.split("'")[1] != default.split("'")[1]]
    return catalogue(subclass("".join(others) + default)
                     + element(name="X") * (len(default) // len(element(name="X"))))


def default_of_files(count):
    return shared_default(scalar("driverFiles", "file%d-#1 " * count % tuple(range(count))))


def default_of(name, make=scalar):
    return lambda count: shared_default(make(name, "a wordy text " * count))


def line_of_classes(count):
    """Each class derives from the one before it, and each has an instance."""
    names = ["QRXPSG_SystemUpdateElement"] + [f"C{i}" for i in range(count)]
    return catalogue("".join(subclass(scalar(f"p{i}", "x"), names[i + 1], names[i])
                             for i in range(count))
                     + "".join(element(scalar(f"p{i}", "y"), name) for i, name in enumerate(names)))


def many_defaults(count):
    return catalogue(subclass("".join(scalar(f"p{i}", "x") for i in range(count)))
                     + element(name="X") * count)


def list_of(unit):
    return lambda count: catalogue(element(FOR_ALL + scalar("driverFiles", unit * count)))


def drivers(*names, properties="", count=1):
    one = "".join(element(properties + "<PROPERTY NAME='CurrentState'><VALUE>4</VALUE></PROPERTY>"
                          + (scalar("Path", name) if name else ""), "QRXSG_DeviceDriverInfo")
                  for name in names)
    return MACHINE + one * count


def inventory(*names, count=1):
    """Of a machine whose system is not known: every list of drivers is for it."""
    return catalogue(drivers(*names, count=count))


# Nothing that is offered is installed.
PLAIN = inventory("other.sys")

# What is written, by the count: the catalogue, and the inventory (PLAIN where it is None).
AMPLIFIERS = {
    "default list of driver files": (300, default_of_files, None),
    "default description": (200, default_of("description"), None),
    "default category": (200, default_of("category"), None),
    "default version": (200, default_of("Version"), None),
    "default machine types": (200, default_of("applicableMachineTypes", array), None),
    "default systems": (200, default_of("applicableOperatingSystems", array), None),
    "default of an array of files": (200, default_of("driverFiles", array), None),
    "line of classes": (400, line_of_classes, None),
    "many defaults": (400, many_defaults, None),
    "list without blanks": (600, list_of("a-#"), None),
    "long list without blanks, not written": (6_000, list_of("a-#"), None),
    "list of marks": (8_000, list_of("-#"), None),
    "list of empty versions": (8_000, list_of("a-# "), None),
    "list of long names": (100, list_of("n" * 10_000 + "-#1 "), None),
    "list of blanks": (8_000, list_of("  -#1 "), None),
    "list of which each version is offered":
        (700, list_of("a-#"), lambda count: inventory("a.sys")),
    "drivers of one name": (
        60, list_of("a-#1 "), lambda count: inventory("a.sys", count=count)),
    "drivers with a long default path": (
        1000, list_of("a-#1 "),
        lambda count: catalogue(
            MACHINE + subclass(scalar("Path", "dir/" * 30 * count) + scalar("Version", "1"),
                               "D", "QRXSG_DeviceDriverInfo")
            + element("<PROPERTY NAME='CurrentState'><VALUE>4</VALUE></PROPERTY>", "D") * count)),
    "drivers with a long default version": (
        40, list_of("a-#1 "),
        lambda count: catalogue(
            MACHINE + subclass(scalar("Path", "a.sys") + scalar("Version", "1." * 10 * count),
                               "D", "QRXSG_DeviceDriverInfo")
            + element("<PROPERTY NAME='CurrentState'><VALUE>4</VALUE></PROPERTY>", "D") * 50)),
}

CHECKS = (["query"], ["check", "--format", "csv"], ["check", "--format", "json"],
          ["check", "--format", "html"], ["check", "--format", "nagios"],
          ["check", "--format", "ndjson"], ["check", "--format", "junit"],
          ["check", "--format", "table"], ["explain"])
AUTHORS = (["lint"], ["lint", "--format", "json"], ["list"], ["list", "--format", "json"],
           ["list", "--format", "csv"])
# These write every offered version, however much of its list each holds.
LISTS = (["list", "--format", "json"], ["list", "--format", "csv"])


class Amplifiers(DocumentTest):
    def commands(self, amplifier=""):
        """Each verb with what it is given, as lists of arguments."""
        of_machine = ["--inventory", self.folder / "inventory.xml"]
        for verb in CHECKS:
            where = (["--context", f"svPath={self.folder}"] if verb == ["query"]
                     else ["--catalogue", self.folder])
            yield verb + of_machine + where
        for verb in AUTHORS:
            if amplifier.endswith("not written") and verb in LISTS:
                continue
            yield ["catalogue", *verb, self.folder]

    def run_one(self, arguments, size):
        """The processor time, and the bytes that were read and written."""
        load = self.run_program(*arguments)
        # 3 from a monitor's format: nothing could be ordered.
        self.assertIn(load.status, (0, 2, 3), load.errors[:500])
        self.assertLess(len(load.errors), 10_000)
        self.assertLessEqual(load.peak, TIMES_THE_DOCUMENTS * size + ALLOWANCE,
                             f"{load.peak >> 20} MB for {size >> 10} KB, {arguments}")
        return load.seconds, size + load.written

    def measure(self, amplifier, count, of_catalogue, of_inventory, each=1):
        """By command; only each so many of them."""
        (self.folder / "index.xml").write_text(of_catalogue(count))
        (self.folder / "inventory.xml").write_text(
            of_inventory(count) if of_inventory else PLAIN, encoding="utf-8")
        size = sum(file.stat().st_size for file in self.folder.iterdir())
        results = {tuple(map(str, command)): self.run_one(command, size)
                   for command in list(self.commands(amplifier))[::each]}
        written = next(iter(results.values()))[1] - size
        self.assertEqual(written > count, of_inventory is not None and "path" not in amplifier,
                         "records of the query")
        return results

    def test_every_verb_with_every_catalogue(self):
        for name, (count, *make) in AMPLIFIERS.items():
            with self.subTest(amplifier=name):
                self.measure(name, 2 * count, *make, each=3)
                self.check_growth(lambda n, name=name, make=make: self.measure(name, n, *make),
                                  count, middle=False)

    def build_repository(self, text):
        """Of one description; the processor time, and the bytes that were read and written."""
        folder = self.folder / "sv"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        (folder / "a.xml").write_text(text)
        size = len(text)
        seconds, _ = self.run_one(["repository", "build", folder], size)
        return seconds, size + (folder / "sv-repository.json").stat().st_size

    def test_a_repository_of_every_catalogue(self):
        for name, (count, of_catalogue, _) in AMPLIFIERS.items():
            with self.subTest(name):
                self.check_growth(lambda n, make=of_catalogue: self.build_repository(make(n)),
                                  count, middle=False)

    def fetch(self, *texts):
        """A repository of these descriptions becomes a catalogue; the processor time, and the bytes
        that were read and written."""
        folder = self.folder / "sv"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        for number, text in enumerate(texts):
            (folder / f"{number}.xml").write_text(text)
        subprocess.run([PROGRAM, "repository", "build", folder], check=True, capture_output=True)
        size = sum(file.stat().st_size for file in folder.iterdir())
        made = self.folder / "made" / "index.xml"
        made.unlink(missing_ok=True)
        # A repository whose descriptions are for no machine makes no catalogue.
        seconds, _ = super().run_one(
            ["catalogue", "fetch", "--allow-unsigned", "--repository", serve_folder(self, folder),
             "--output", made.parent], size, (0, 4) if len(texts) == 1 else (0,))
        return seconds, size + (made.stat().st_size if made.exists() else 0)

    def test_a_fetched_catalogue_of_every_amplifier(self):
        for name, (count, of_catalogue, _) in AMPLIFIERS.items():
            with self.subTest(name):
                self.check_growth(lambda n, make=of_catalogue: self.fetch(make(n)), count)

    def test_a_fetched_catalogue_of_many_descriptions(self):
        small = catalogue(element(FOR_ALL))
        self.check_growth(lambda n: self.fetch(*[small] * n), 100)
        shared = shared_default(scalar("description", "wordy " * 1_000))
        self.check_growth(lambda n: self.fetch(*[shared] * n), 20)

    def test_a_repository_whose_elements_share_long_lists(self):
        """What a class declares once, each of its elements has, and each is warned of."""
        for property_name in ("applicableMachineTypes", "applicableOperatingSystems"):
            self.build_repository(shared_default(array(property_name, "wordy " * 4_000)))
        self.build_repository(shared_default(scalar("name", "wordy " * 4_000)))

    def test_lists_that_offer_a_driver_over_and_over(self):
        seconds = {}
        for count in (50_000, 100_000, 200_000):
            (self.folder / "index.xml").write_text(list_of("a-#1 ")(count))
            size = (self.folder / "index.xml").stat().st_size
            for form in ("table", "json"):
                seconds[count, form], _ = self.run_one(
                    ["catalogue", "lint", "--format", form, self.folder], size)
                self.assertLess(seconds[count, form], 9 * seconds[50_000, form] + 0.3)

    def test_an_explanation_of_a_million_offered_drivers(self):
        (self.folder / "index.xml").write_text(list_of("a-#1 ")(1_000_000))
        (self.folder / "inventory.xml").write_text(inventory("a.sys"), encoding="utf-8")
        size = sum(file.stat().st_size for file in self.folder.iterdir())
        for form in ("text", "json"):
            self.run_one(["explain", "--inventory", self.folder / "inventory.xml", "--catalogue",
                          self.folder, "--format", form, "nothing goes by this"], size)

    def test_a_fleet_and_what_differs(self):
        """The records of one machine, as two reports of it as well."""
        seconds = {}
        for count in (1000, 2000, 4000):
            (self.folder / "index.xml").write_text(list_of("a-#1 ")(count))
            inventory_file = self.folder / "inventory.xml"
            inventory_file.write_text(inventory("a.sys"), encoding="utf-8")
            with (self.folder / "report.json").open("wb") as report:
                subprocess.run([PROGRAM, "check", "--inventory", inventory_file, "--catalogue",
                                self.folder, "--format", "json"], stdout=report, check=True)
            report = self.folder / "report.json"
            size = (self.folder / "index.xml").stat().st_size
            for verb, given, arguments in (
                    ("fleet", size, ["--jobs", 1, "--catalogue", self.folder, "--inventories",
                                     inventory_file]),
                    ("diff", 2 * report.stat().st_size, [report, report])):
                seconds[verb, count], _ = self.run_one([verb, *arguments], given)
                self.assertLess(seconds[verb, count], 9 * seconds[verb, 1000] + 0.3)

    def test_an_answer_of_a_fleet_that_is_longer_than_any(self):
        (self.folder / "inventory.xml").write_text(inventory("a.sys"), encoding="utf-8")
        for count, is_refused in ((90_000, False), (400_000, True)):
            (self.folder / "index.xml").write_text(list_of("a-#1 ")(count))
            load = self.run_program("fleet", "--jobs", 1, "--catalogue", self.folder,
                                    "--inventories", self.folder / "inventory.xml",
                                    "--output", self.folder / "results.ndjson")
            lines = (self.folder / "results.ndjson").read_text().splitlines()
            size = sum((self.folder / name).stat().st_size
                       for name in ("index.xml", "inventory.xml"))
            self.assertEqual(len(lines), 1 if is_refused else count + 1)
            self.assertEqual("more than 16 MiB" in lines[-1], is_refused, lines[-1][:300])
            self.assertLessEqual(load.peak, TIMES_THE_DOCUMENTS * size + ALLOWANCE)

    def test_metrics_of_a_million_lines(self):
        (self.folder / "index.xml").write_text(catalogue(element(FOR_ALL + scalar(
            "driverFiles", " ".join(f"a-#{i}" for i in range(2, 700_000))))))
        (self.folder / "inventory.xml").write_text(catalogue(drivers(
            "a.sys", properties=scalar("Version", "1"))), encoding="utf-8")
        size = sum(file.stat().st_size for file in self.folder.iterdir())
        self.run_one(["check", "--inventory", self.folder / "inventory.xml", "--catalogue",
                      self.folder, "--format", "prometheus"], size)

    def test_documents_of_many_records_for_other_programs(self):
        """Beside drivers that are compared with nothing, which the coverage tells of."""
        (self.folder / "index.xml").write_text(list_of("a-#1 ")(100_000))
        (self.folder / "inventory.xml").write_text(inventory(
            "a.sys", *(f"b{i}.sys" for i in range(100))), encoding="utf-8")
        size = sum(file.stat().st_size for file in self.folder.iterdir())
        for form in (["--format", "cyclonedx"], ["--format", "sarif"],
                     ["--sort", "name", "--only", "unknown"]):
            self.run_one(["check", "--inventory", self.folder / "inventory.xml", "--catalogue",
                          self.folder, *form], size)

    def test_waivers_without_number(self):
        (self.folder / "index.xml").write_text(list_of("a-#1 ")(5000))
        (self.folder / "inventory.xml").write_text(inventory("a.sys"), encoding="utf-8")
        seconds = {}
        for count in (5_000, 20_000):
            waivers = self.folder / "waivers.toml"
            waivers.write_text("".join(f"[[waiver]]\nname = 'b{i}'\nreason = 'r'\n"
                                       for i in range(count)))
            load = self.run_program("check", "--inventory", self.folder / "inventory.xml",
                                    "--catalogue", self.folder, "--waivers", waivers)
            self.assertEqual(load.status, 0, load.errors)
            seconds[count] = load.seconds
        self.assertLess(seconds[20_000], 9 * seconds[5_000] + 0.3)

    def test_references_in_references_with_quotes(self):
        def reference(text, levels):
            inner = f"<KEYVALUE VALUETYPE='string'>{text}</KEYVALUE>"
            for _ in range(levels):
                inner = (f"<VALUE.REFERENCE><INSTANCENAME CLASSNAME='K'><KEYBINDING NAME='k'>{inner}"
                         "</KEYBINDING></INSTANCENAME></VALUE.REFERENCE>")
            return element(f"<PROPERTY.REFERENCE NAME='r'>{inner}</PROPERTY.REFERENCE>", "K")
        of_class = "<VALUE.OBJECT><CLASS NAME='K'/></VALUE.OBJECT>"
        for levels, length, count, is_taken in ((3, 100_000, 40, True), (3, 4 << 20, 1, False),
                                                (1, 8 << 20, 1, True)):
            file = self.folder / "inventory.xml"
            file.write_text(catalogue(of_class + reference('"' * length, levels) * count))
            size = file.stat().st_size
            load = self.run_program("query", "--inventory", file, "--context", "svPath=none")
            self.assertEqual(load.status, 0 if is_taken else 1, load.errors[:500])
            self.assertLess(len(load.errors), 1000)
            self.assertLessEqual(load.peak, TIMES_THE_DOCUMENTS * size + ALLOWANCE)

    def test_names_of_any_length_make_short_messages(self):
        for around in ("<@/>", "<@>", "<CIM><@/></CIM>", "<CIM></@>", "<a @='1' @='1'/>", "<a>&@;</a>",
                       catalogue(element(name="@")), catalogue(element(scalar("@", "1") * 2)),
                       catalogue(element("<PROPERTY NAME='a' TYPE='@'/>")),
                       catalogue("<VALUE.OBJECT><CLASS NAME='a' SUPERCLASS='@'/></VALUE.OBJECT>"),
                       "<?xml version='1.0' encoding='@'?><CIM/>"):
            with self.subTest(around[-80:]):
                file = self.folder / "inventory.xml"
                with file.open("w", encoding="utf-8") as stream:
                    for i, part in enumerate(around.split("@")):
                        for _ in range(20 if i else 0):
                            stream.write("n" * (1 << 20))
                        stream.write(part)
                load = self.run_program("query", "--inventory", file, "--context", "svPath=none")
                self.assertEqual(load.status, 1)
                self.assertLess(len(load.errors), 1500)
                self.assertLessEqual(load.peak,
                                     TIMES_THE_DOCUMENTS * file.stat().st_size + ALLOWANCE)

    def test_patterns_of_waivers(self):
        (self.folder / "index.xml").write_text(list_of("a-#")(1500))
        (self.folder / "inventory.xml").write_text(inventory("a.sys"), encoding="utf-8")
        waivers = self.folder / "waivers.toml"
        for pattern, status in (("*a-#" * 249 + "b", 0), ("*" * 1000, 0), ("?" * 999 + "b", 0),
                                ("*a" * 500 + "b", 1)):
            waivers.write_text(f'[[waiver]]\nname = "*"\noffered = "{pattern}"\nreason = "r"\n')
            load = self.run_program("check", "--inventory", self.folder / "inventory.xml",
                                    "--catalogue", self.folder, "--waivers", waivers,
                                    "--format", "json")
            self.assertEqual(load.status, status, load.errors)
            self.assertLess(load.seconds, 60)

    def test_catalogues_that_are_added_to(self):
        """As large as what is added: what may be the same is compared, up to a million times."""
        def bios(version, types=FOR_ALL):
            return element(types + scalar("category", "BIOS") + scalar("Version", f"-[{version}]-"))

        def rows(count, types="4638", version=lambda row: row + 2):
            return "type,name,version,machine types,operating systems\n" + "".join(
                f"bios,b{row},{version(row)},{types.format(row)},RHEL5\n" for row in range(count))
        for name, count, of_catalogue, of_list, status in (
                ("newer", 250, lambda n: bios("1") * n, rows, 0),
                ("without an order", 250, lambda n: bios("abc") * n, rows, 0),
                ("for other machines", 1_000, lambda n: bios("1") * n,
                 lambda n: rows(n, "T{}"), 0),
                ("for each of many machines", 1_000, lambda n: "".join(
                    bios("1", FOR_ALL.replace("4638", f"T{i}")) for i in range(n)),
                 lambda n: rows(n, "T{}"), 0),
                ("too many", 1_001, lambda n: bios("1") * n, rows, 4)):
            seconds = {}
            for times in (1, 2, 4):
                (self.folder / "index.xml").write_text(
                    catalogue(of_catalogue(times * count)))
                (self.folder / "list.csv").write_text(of_list(times * count))
                size = sum((self.folder / each).stat().st_size
                           for each in ("index.xml", "list.csv"))
                load = self.run_program("catalogue", "build", "--merge", self.folder, "--output",
                                        self.folder / "made", "--firmware",
                                        self.folder / "list.csv")
                with self.subTest(name, times=times):
                    self.assertEqual(load.status, status, load.errors[:300])
                    self.assertLess(len(load.errors), size + (1 << 20))
                    made = self.folder / "made" / "index.xml"
                    size += made.stat().st_size if made.exists() else 0
                    self.assertLessEqual(load.peak, TIMES_THE_DOCUMENTS * size + ALLOWANCE)
                    seconds[times] = load.seconds
            # Of one component for the same machines each is compared with each.
            self.assertLess(seconds[4], (17 if name in ("newer", "without an order") else 9)
                            * seconds[1] + 0.5, name)

    def test_lists_of_firmware(self):
        head = "type,name,version,machine types,operating systems\n"
        rows = {"columns": lambda count: head[:-1] + "," * count + "\n" + "bios,b,1,4638,RHEL5\n",
                "rows": lambda count: head + "".join(f"bios,b{row},{row},{row},RHEL5\n" for row in range(count)),
                "types": lambda count: head + f"bios,b,1,{'4638;' * count},RHEL5\n",
                "a text": lambda count: head + f"bios,b,{'1.' * count},4638,RHEL5\n"}
        for name, make in rows.items():
            with self.subTest(name):
                seconds = {}
                for count in (5_000, 10_000, 20_000):
                    (self.folder / "list.csv").write_text(make(count))
                    size = (self.folder / "list.csv").stat().st_size
                    load = self.run_program("catalogue", "build", "--firmware",
                                            self.folder / "list.csv", "--output",
                                            self.folder / "made")
                    self.assertEqual(load.status, 0, load.errors[:300])
                    # The catalogue that it makes is read again before it is written.
                    size += (self.folder / "made" / "index.xml").stat().st_size
                    self.assertLessEqual(load.peak, TIMES_THE_DOCUMENTS * size + ALLOWANCE)
                    seconds[count] = load.seconds
                self.assertLess(seconds[20_000], 9 * seconds[5_000] + 0.3)


if __name__ == "__main__":
    main()
