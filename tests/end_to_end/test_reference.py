#!/usr/bin/env python3
"""The reference model on examples whose outcome is known by hand."""

import unittest

from reference import cimxml, live, query, to_text
from reference.adapters import _offered_controller, first_word, version_after
from reference.cim import Namespace, Value
from reference.drivers import _normal, file_list
from reference.firmware import bracketed
from reference.host import Files, HostError
from reference.reading import os_code

DOCUMENT = ('<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT>{}</VALUE.OBJECT></DECLGROUP>'
            '</DECLARATION></CIM>')


class Texts(unittest.TestCase):
    def test_version_between_the_marks(self):
        for text, version in (("abc-[1.23]-xyz", "1.23"), ("1.10-[QKL120A]-", "QKL120A"),
                              ("QKL120A", "QKL120A"), ("x]-y-[z", "z"), ("]-[", ""), ("-[]-", ""),
                              ("-[a", "-[a"), ("a]-", "a]-"), ("", "")):
            self.assertEqual(bracketed(text), version, text)

    def test_version_after_a_key(self):
        for files, key, version in (("a-#1 b-#2", "b", "2"), ("a-#1 b-#2", "", "1"),
                                    ("a-#1 b", "b", None), ("a b-#2 c-#3", "a", "2"),
                                    ("b-#", "b", "")):
            self.assertEqual(version_after(files, key), version, files)

    def test_list_of_driver_files(self):
        for text, entries in (
                ("e1000.sys-#8.9.1.0", [("e1000.sys", "8.9.1.0")]),
                ("a-#1 b-#2 ", [("a", "1"), ("b", "2 ")]),
                ("-#1 b-#2", [("b", "2")]), ("a-#1 b-#", [("a", "1")]),
                ("a-#1b-#2", [("a", "1b-#2"), ("1b", "2")]),
                ("a-#1b-#2 c-#3", [("a", "1b-#2"), ("c", "3")]), ("none", [])):
            self.assertEqual(list(file_list(text)), entries, text)

    def test_name_of_a_driver(self):
        for name, normal in (("E1000.SYS", "E1000"), ("a.b.sys", "A"), ("e1000x", "E1000X"),
                             (".sys", ""), (to_text("é.ko"), to_text("é"))):
            self.assertEqual(_normal(name), normal)

    def test_controller_of_a_list(self):
        for files, controller in (
                ("QRX Arrayon AX 20i SAS-#1", "20i"), ("QRX Arrayon AX20i SAS-#1", "0i"),
                ("12345678901234" "20i sas-#4", "20i"), ("QRX Arrayon AX 20i SAS", ""),
                ("short-#1", ""), ("QRX Arrayon AX 20i-#1", "")):
            self.assertEqual(_offered_controller(files), controller, files)
        self.assertEqual(first_word("1064e x"), "1064e")
        self.assertEqual(first_word("1064e"), "")


class Systems(unittest.TestCase):
    def test_codes(self):
        red_hat = "Red Hat Enterprise Linux Server release "
        for number, build, platform, version, code in (
                (36, red_hat + "5.3", "x86_64", "", "RHEL5_64"),
                (36, red_hat + "5.3", "i686", "", "RHEL5"),
                (36, red_hat + "4 release 5", "", "", "RHEL4"),
                (36, red_hat + "7", "", "5.2", ""),
                (36, "SUSE 10 (2.6.19)", "", "", "SLES9"), (36, "SUSE 10", "64", "", "SLES10_64"),
                (36, "Debian", "", "5.2", ""), (78, "", "64", "5.2", "VMWARE3"),
                (81, "", "", "", "VMWARE4"), (18, "", "64", "5.2", "Windows 2003"),
                (0, "", "", "6.0", "Windows 2008"), (0, "", "", "6.1", "Windows 2008"),
                (0, "", "", "5.2 ", "")):
            self.assertEqual(os_code(version, number, build, platform), code)

    def test_requests(self):
        self.assertEqual(live.request("RHEL5_64"), ((203, 2), "Linux"))
        self.assertEqual(live.request("SLES11"), ((224, 1), "Linux"))
        self.assertEqual(live.request("VMWARE4"), ((304, 2), "VMware"))
        self.assertEqual(live.request("Windows 2008"), ((109, 1), "Windows 2008"))
        self.assertIsNone(live.request(""))


class Documents(unittest.TestCase):
    def namespace(self, *declared, **options):
        namespace = Namespace()
        for item in declared:
            cimxml.load(DOCUMENT.format(item).encode(), namespace, **options)
        return namespace

    def test_subclasses_are_enumerated_and_defaults_inherited(self):
        namespace = self.namespace(
            '<CLASS NAME="A"><PROPERTY NAME="p" TYPE="string"><VALUE>d</VALUE></PROPERTY></CLASS>',
            '<CLASS NAME="B" SUPERCLASS="a"/>', '<INSTANCE CLASSNAME="b"/>')
        instances = namespace.enumerate(namespace.get_class("A"))
        self.assertEqual([i.get("P").to_string() for i in instances], ["d"])
        self.assertRaises(HostError, instances[0].get, "q")

    def test_refusals(self):
        for item, status in (('<INSTANCE CLASSNAME="x"/>', 15),
                             ('<CLASS NAME="A" SUPERCLASS="x"/>', 1),
                             ('<CLASS NAME="A"><PROPERTY NAME="p" TYPE="uint8"><VALUE>256</VALUE>'
                              '</PROPERTY></CLASS>', 1)):
            with self.assertRaises(HostError) as refused:
                self.namespace(item)
            self.assertEqual(refused.exception.status, status)
        with self.assertRaises(HostError) as refused:
            self.namespace("<CLASS NAME='A'/>", dialect_asked=True)
        self.assertEqual(refused.exception.status, 9)

    def test_a_class_does_not_derive_from_itself(self):
        declared = ['<CLASS NAME="A"/>', '<CLASS NAME="B" SUPERCLASS="A"/>']
        self.assertRaises(HostError, self.namespace, *declared, '<CLASS NAME="A" SUPERCLASS="B"/>')
        self.assertRaises(HostError, self.namespace, *declared, '<CLASS NAME="A" SUPERCLASS="A"/>')

    def test_numbers(self):
        self.assertEqual(Value("36").to_uint16(), 36)
        for value in (Value(None), Value(["36"]), Value("65536", "uint32"), Value("x"),
                      Value("TRUE", "boolean")):
            self.assertRaises(HostError, value.to_uint16)


class Queries(unittest.TestCase):
    def test_missing_path_leaves_by_an_exception_after_the_system_is_read(self):
        inventory = Namespace()
        inventory.declare_builtin_classes()
        cimxml.load(DOCUMENT.format(
            '<INSTANCE CLASSNAME="QRXSG_ComputerSystem"><PROPERTY NAME="MachineType">'
            '<VALUE>4620</VALUE></PROPERTY></INSTANCE>').encode(), inventory)
        with self.assertRaises(HostError) as left:
            query.run(inventory, {}, Files(".", "."))
        self.assertEqual(left.exception.status, 32)
        self.assertEqual([text for _, text in left.exception.session.log.entries],
                         ["In RunQuery", "In getOSType", "SV: 'svPath' not passed via context"])


if __name__ == "__main__":
    unittest.main()
