"""`svcheck catalogue build --merge`: what is older is replaced, what is new is added, and everything
else stays byte for byte."""

import json
import os

from made_files import kernel_module
from program import DIALECT, ProgramTest, document, element, main

HEAD = "type,name,version,machine types,operating systems,build\n"


def bios(**more):
    return element(name="old", category="BIOS", description="a & b".replace("&", "&amp;"),
                   Version="-[YUE110A]-", applicableOperatingSystems=["RHEL5", "Linux"],
                   severity="<![CDATA[high & urgent]]>", **more)


class MergeTest(ProgramTest):
    def merge(self, rows, *options, status=0, told=None):
        self.write("list.csv", HEAD + rows)
        arguments = ["catalogue", "build", "--merge", "catalogue", *options]
        result = self.run_program(*arguments, *(["--firmware", "list.csv"] if rows else []))
        self.assertEqual(result.returncode, status, result.stderr)
        if told is not None:
            self.assertEqual(result.stdout.rpartition(": ")[2],
                             "{} added, {} replaced, {} as they were\n".format(*told))
        return result

    def index(self):
        return (self.folder / "catalogue" / "index.xml").read_bytes().decode()

    def elements(self):
        result = self.run_program("catalogue", "list", "catalogue", "--format", "json")
        self.assertEqual(result.returncode, 0, result.stderr)
        return json.loads(result.stdout)["elements"]

    def offered(self):
        return [(item["name"], item["version"] or
                 " ".join(f"{each['name']} {each['version']}" for each in item["drivers"]))
                for item in self.elements()]

    def test_an_older_version_is_replaced_and_nothing_else_changes(self):
        self.catalogue(bios(), element(name="other", category="BIOS", Version="-[X1]-",
                                       applicableMachineTypes=["-[4620]-"]))
        before = self.index().replace("<CIM ", "<!-- kept --><CIM ")
        self.write("catalogue/index.xml", before)
        self.merge("bios,new,YUE112A,4638,RHEL5,\n", told=(0, 1, 0))
        self.assertEqual(self.index(), before.replace("YUE110A", "YUE112A").replace(">old<", ">new<"))

    def test_what_is_as_new_or_newer_stays(self):
        self.catalogue(bios())
        before = self.index()
        for version in ("YUE110A", "YUE109A"):
            with self.subTest(version):
                self.merge(f"bios,new,{version},4638,RHEL5,\n", told=(0, 0, 1))
                self.assertEqual(self.index(), before)
        result = self.merge("bios,new,ZZZ112A,4638,RHEL5,\n", told=(0, 0, 1))
        self.assertIn("new: YUE110A stays, since it has no order with ZZZ112A", result.stderr)
        self.assertEqual(self.index(), before)

    def test_only_what_is_for_no_other_machines_and_systems_is_replaced(self):
        for types, systems, is_replaced in ((["-[4638]-"], ["RHEL5", "Linux"], True),
                                            (["-[4638]-"], ["Linux"], True),
                                            (["-[4638]-", "-[4620]-"], ["Linux"], True),
                                            (["-[4638]-", "-[4621]-"], ["Linux"], False),
                                            (["-[4638]-"], ["RHEL6", "Linux"], False),
                                            (["-[4621]-"], ["Linux"], False)):
            with self.subTest(types, systems=systems):
                self.catalogue(element(name="old", category="BIOS", Version="-[YUE110A]-",
                                       applicableMachineTypes=types,
                                       applicableOperatingSystems=systems))
                self.merge("bios,new,YUE112A,4638 4620,RHEL5,\n",
                           told=(0, 1, 0) if is_replaced else (1, 0, 0))
                self.assertEqual(self.offered(), [("new", "YUE112A")] if is_replaced else
                                 [("old", "YUE110A"), ("new", "YUE112A")])

    def test_what_is_wrong_with_the_older_one_is_told_and_no_hindrance(self):
        self.catalogue(element(name="odd", category="BIOS", Version="1.12", applicableMachineTypes=[]))
        result = self.merge("iscp,card,YUOO99B,4638,RHEL5,\n", told=(1, 0, 0))
        self.assertEqual(['svcheck: warning: odd: the Version has no marks and is offered as the whole '
                          'text: "1.12"', "svcheck: error: odd: the element is for no machine type"],
                         sorted(result.stderr.splitlines(), reverse=True))

    def test_what_stays_is_told_in_the_catalogues_order(self):
        self.catalogue(bios(), element(name="other", category="BIOS", Version="-[XUE110A]-",
                                       applicableMachineTypes=["-[4620]-"],
                                       applicableOperatingSystems=["Linux"]))
        told = self.merge("bios,new,ZZZ112A,4620 4638,RHEL5,\n", told=(0, 0, 2)).stderr
        self.assertEqual(["new: YUE110A stays, since it has no order with ZZZ112A",
                          "new: XUE110A stays, since it has no order with ZZZ112A"],
                         [line.removeprefix("svcheck: ") for line in told.splitlines()])

    def test_a_version_of_a_class_is_nobodys_to_replace(self):
        declared = """<VALUE.OBJECT><CLASS NAME="Mine" SUPERCLASS="QRXPSG_SystemUpdateElement">
<PROPERTY NAME="Version" TYPE="string"><VALUE>-[YUE110A]-</VALUE></PROPERTY></CLASS></VALUE.OBJECT>"""
        _, properties = bios()
        del properties["Version"]
        text = document([("Mine", properties)], DIALECT)
        self.write("catalogue/index.xml", text.replace("<DECLGROUP>", "<DECLGROUP>" + declared))
        self.assertEqual([("old", "YUE110A")], self.offered())
        self.merge("bios,new,YUE112A,4638,RHEL5,\n", told=(1, 0, 0))
        self.assertEqual([("old", "YUE110A"), ("new", "YUE112A")], self.offered())

    def test_another_component_is_added(self):
        self.catalogue(bios())
        before = self.index()
        self.merge("iscp,card,YUOO99B,4638,RHEL5,\n", told=(1, 0, 0))
        head, tail = before.split("</DECLGROUP>")
        self.assertTrue(self.index().startswith(head))
        self.assertTrue(self.index().endswith("</DECLGROUP>" + tail))
        self.assertEqual(self.offered(), [("old", "YUE110A"), ("card", "YUOO99B")])

    def test_diagnostics_go_by_their_build(self):
        row = "diagnostics,d,fdcp-1.10,4638,RHEL5,{}\n"
        self.catalogue(bios())
        self.merge(row.format("DSYT89A"), told=(1, 0, 0))
        self.merge(row.format("DSYT89A"), told=(0, 0, 1))
        self.merge(row.format("DSYT92A"), told=(0, 1, 0))
        self.assertIn("-[DSYT92A]-", self.index())
        self.assertNotIn("DSYT89A", self.index())

    def test_a_build_that_was_not_there_is_written(self):
        self.catalogue(element(name="d", description="Diagnostics", Version="-[fdcp-1.09]-",
                               applicableOperatingSystems=["Linux"]))
        self.merge("diagnostics,d,fdcp-1.10,4638,RHEL5,DSYT92A\n", told=(0, 1, 0))
        self.merge("diagnostics,d,fdcp-1.10,4638,RHEL5,DSYT92A\n", told=(0, 0, 1))

    def test_of_several_that_are_newer_the_first_counts(self):
        """Also where what it brings was not there before."""
        self.catalogue(element(name="d", description="Diagnostics", Version="-[fdcp-1.09]-",
                               applicableOperatingSystems=["RHEL5", "Linux"]))
        self.merge("diagnostics,d,fdcp-1.10,4638,RHEL5,DSYT92A\n"
                   "diagnostics,e,fdcp-1.11,4638,RHEL5,DSYT93A\n", told=(0, 2, 0))
        self.assertEqual([("d", "fdcp-1.10")], self.offered())
        self.assertEqual(1, self.index().count("-[DSYT92A]-"))
        self.assertNotIn("DSYT93A", self.index())

    def test_of_what_has_no_order_a_thousand_are_told(self):
        def stay(count):
            self.catalogue(*[bios(applicableMachineTypes=["-[4638]-", f"-[T{n}]-"])
                             for n in range(count)])
            types = ";".join(f"T{n}" for n in range(count))
            lines = self.merge(f"bios,new,ZZZ112A,4638;{types},RHEL5,\n",
                               told=(0, 0, count)).stderr.splitlines()
            return sum("new: YUE110A stays" in line for line in lines), lines
        told, lines = stay(1000)
        self.assertEqual(1000, told)
        self.assertFalse([line for line in lines if "more of these" in line])
        told, lines = stay(1001)
        self.assertEqual(1000, told)
        self.assertEqual(["svcheck: 1 more of these stay, since they have no order with what is "
                          "added"], [line for line in lines if "more of these" in line])

    def test_more_of_the_same_than_can_be_compared_is_refused(self):
        def meet(offered, status=0):
            return self.merge("".join(f"bios,b{n},YUE1{n}A,4638,RHEL5,\n" for n in range(offered)),
                              status=status)
        self.catalogue(*[bios() for _ in range(1000)])
        before = self.index()
        meet(1000)
        self.write("catalogue/index.xml", before)
        self.assertIn("more than 1000000 times", meet(1001, 4).stderr)
        self.assertEqual(before, self.index())

    def test_drivers(self):
        self.catalogue(element(name="set", driverFiles="bnx2.ko-#1.9 E1000E.ko-#1.2 x.sys-#1 tg3.ko-#3",
                               applicableOperatingSystems=["Linux"], note="kept"))
        for name, version in (("e1000e.ko", "1.10"), ("bnx2.ko.xz", "1.10"), ("x.ko", "2"),
                              ("tg3.ko", "3")):
            self.write("in/" + name.removesuffix(".xz"), kernel_module(version))
        self.merge("", "--drivers", "in", "--machine", "4638", "--os", "Linux", told=(1, 2, 1))
        self.assertEqual(self.offered(),
                         [("set", "bnx2.ko 1.10 E1000E.ko 1.10 x.sys 1 tg3.ko 3"), ("x", "x.ko 2")])
        self.assertIn('NAME="note" TYPE="string"><VALUE>kept</VALUE>', self.index())
        self.merge("", "--drivers", "in", "--machine", "4638", "--os", "Linux", told=(0, 0, 4))

    def test_sources_of_drivers_go_with_their_versions(self):
        self.catalogue(element(name="set", driverFiles="a.ko-#1 b.ko-#1 c.ko-#1",
                               driverSources="AA:a.ko-#1 BB:b.ko-#1 CC:c.ko-#1",
                               applicableOperatingSystems=["Linux"]),
                       element(name="d", driverFiles="d.ko-#1",
                               applicableOperatingSystems=["Linux"]))
        for name, version, more in (("a", "2", {"srcversion": "A2"}), ("b", "2", {}),
                                    ("c", "1", {"srcversion": "C2"}),
                                    ("d", "2", {"srcversion": "D2"})):
            self.write(f"in/{name}.ko", kernel_module(version, **more))
        self.merge("", "--drivers", "in", "--machine", "4638", "--os", "Linux", told=(0, 3, 1))
        self.assertIn("<VALUE>CC:c.ko-#1 A2:a.ko-#2</VALUE>", self.index())
        self.assertIn("<VALUE>D2:d.ko-#2</VALUE>", self.index())
        self.assertNotIn("BB:", self.index())
        self.assertEqual(self.offered(), [("set", "a.ko 2 b.ko 2 c.ko 1"), ("d", "d.ko 2")])

    def test_adapters(self):
        self.catalogue(bios())
        rows = ("broadcom,nx2fw_bcm5708,{},4638,RHEL5,\nMegaRAID,AX20i,7.0.{},4638,RHEL5,\n"
                "LSI firmware,SAS1064E,1.{},4638,RHEL5,\nLSI BIOS,SAS1064E,6.{},4638,RHEL5,\n")
        self.merge(rows.format(1, 1, 1, 1), told=(3, 0, 0))
        self.merge(rows.format(1, 2, 1, 2) + "broadcom,nx2fw_bcm5709,4,4638,RHEL5,\n",
                   told=(1, 2, 2))
        self.assertEqual([version for _, version in self.offered()][1:],
                         ["nx2fw_bcm5708 1 nx2fw_bcm5709 4",
                          "QRX Arrayon AX 20i SAS Controller Firmware 7.0.2",
                          "sas1064e 1.1 bios_1064e 6.2"])

    def test_adapters_are_the_same_by_their_whole_names_without_regard_to_case(self):
        self.catalogue(bios())
        row = "broadcom,{},{},4638,RHEL5,\n"
        self.merge(row.format("nx.a", 1), told=(1, 0, 0))
        self.merge(row.format("nx.b", 2) + row.format("nx", 3), told=(1, 0, 0))
        self.assertEqual(self.offered()[-1][1], "nx.a 1 nx.b 2 nx 3")
        self.merge(row.format("nx.b", 5), told=(0, 1, 0))
        self.assertEqual(self.offered()[-1][1], "nx.a 1 nx.b 5 nx 3")

    def test_documents_of_other_forms(self):
        one = document([bios()], DIALECT)
        begin, rest = one.split("<DECLGROUP>")
        rest = rest.split("</DECLGROUP>")[0]
        empty = document([], DIALECT)
        for name, text, count in (
                ("latin", one.replace("UTF-8", "ISO-8859-1").replace("a &amp;", "ä &amp;")
                 .encode("latin-1"), 2),
                ("utf-16", one.replace("UTF-8", "UTF-16").encode("utf-16"), 2),
                ("byte order mark", b"\xef\xbb\xbf" + one.encode(), 2),
                ("no group", empty.replace("<DECLGROUP></DECLGROUP>", ""), 1),
                ("empty group", empty.replace("<DECLGROUP>\n</DECLGROUP>", "<DECLGROUP/>"), 1),
                ("two groups", one.replace("</DECLARATION>", "<DECLGROUP>\r\n" + rest.replace(
                    "old", "older").replace("4638", "4621") + "</DECLGROUP></DECLARATION>"), 3),
                ("empty root", f'<?xml version="1.0"?>{DIALECT}<CIM/>', 1)):
            with self.subTest(name):
                self.write("catalogue/index.xml", text)
                self.merge("iscp,card,YUOO99B,4638,RHEL5,\n", told=(1, 0, 0))
                self.assertEqual(len(self.elements()), count)
                self.merge("bios,new,YUE112A,4638,RHEL5,\n")
                self.assertIn(("new", "YUE112A"), self.offered())
        self.write("catalogue/index.xml", one.replace("UTF-8", "ISO-8859-1").replace(
            "a &amp;", "ä &amp;").encode("latin-1"))
        self.merge("bios,new,YUE112A,4638,RHEL5,\n")
        self.assertIn("ä &amp; b", self.index())

    def test_texts_are_escaped(self):
        self.catalogue(bios())
        self.merge('bios,"<new> & ""it""",YUE112A,4638,RHEL5,\n', told=(0, 1, 0))
        self.assertEqual(self.offered(), [('<new> & "it"', "YUE112A")])

    def test_another_folder_leaves_the_first_as_it_is(self):
        self.catalogue(bios())
        before = self.index()
        self.merge("bios,new,YUE112A,4638,RHEL5,\n", "--output", "second", told=(0, 1, 0))
        self.assertEqual(self.index(), before)
        os.rename(self.folder / "second", self.folder / "catalogue.new")
        self.assertIn("YUE112A", (self.folder / "catalogue.new" / "index.xml").read_text())

    def test_failures_change_nothing(self):
        build = ("catalogue", "build", "--merge")
        self.write("list.csv", HEAD + "bios,new,YUE112A,4638,RHEL5,\n")
        self.assert_failed(self.run_program(*build, "none", "--firmware", "list.csv"), 4, "none",
                           "without --merge")
        self.assertFalse((self.folder / "none").exists())
        self.assert_failed(self.run_program("catalogue", "build", "--firmware", "list.csv"), 64,
                           "--output", "--merge")
        for text in ("<CIM>", document([bios()])):
            self.write("catalogue/index.xml", text)
            self.assert_failed(self.run_program(*build, "catalogue", "--firmware", "list.csv"), 4,
                               "index.xml")
            self.assertEqual(self.index(), text)
        self.assertEqual(self.leftovers(), [])

    def test_errors_that_were_there_are_no_hindrance_and_new_ones_are(self):
        self.catalogue(element(name="bad", category="BIOS", Version="",
                               applicableMachineTypes=["-[4620]-"]))
        result = self.merge("bios,new,YUE112A,4638,RHEL5,\n", told=(1, 0, 0))
        self.assertIn("error: bad: an empty version is offered", result.stderr)
        before = self.index()
        self.merge("broadcom,x,-,4631,RHEL5,\ndiagnostics,d,fdcp-1.10,4620,RHEL5,DSYT92A\n",
                   status=1)
        self.assertEqual(self.index(), before)


if __name__ == "__main__":
    main()
