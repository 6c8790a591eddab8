#!/usr/bin/env python3
"""Reads the import and export tables of the libraries: what they need and what they offer.

  test_tables.py BIN-FOLDER OBJDUMP
"""

import os
import re
import subprocess
import sys
import unittest

BIN, OBJDUMP = sys.argv[1:3]

HOST = {"hskcore.dll", "plugin.nsp.dll", "xmlparser.dll", "acquire.dll"}
COMPILER = {"libstdc++-6.dll", "libgcc_s_seh-1.dll", "libwinpthread-1.dll", "libssp-0.dll"}
SYSTEM = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll"}

PARSER, CIM_PARSER = "_ZN9NQRXHSK2010TXmlParser", "_ZN9NQRXHSK2013TCIMXMLParser"
EXPORTS = {
    PARSER + "C1ERKS0_", PARSER + "C2ERKS0_", PARSER + "aSERKS0_",
    CIM_PARSER + "C1ERKS0_", CIM_PARSER + "aSERKS0_",
    CIM_PARSER + "29kMaxSpecificationDocumentSizeE",
    "_ZTVN9NQRXHSK2010TXmlParserE", "_ZTVN9NQRXHSK2013TCIMXMLParserE",
}


def tables(name):
    return subprocess.run([OBJDUMP, "-p", os.path.join(BIN, name)], check=True,
                          capture_output=True, text=True).stdout


def imports(name):
    return {dll.lower() for dll in re.findall(r"DLL Name: (\S+)", tables(name))}


def exports(name):
    listing = tables(name).partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    return set(re.findall(r"\[ *\d+\] (\S+)", listing))


class Plugin(unittest.TestCase):
    def test_imports_the_host_the_language_and_the_system_only(self):
        found = imports("svchecker.dll")
        self.assertLessEqual(HOST, found)
        self.assertEqual(set(), found - HOST - COMPILER - SYSTEM)

    def test_the_one_for_public_firmware_imports_no_more_and_exports_nothing(self):
        found = imports("publicfirmware.dll")
        self.assertEqual(set(), found - HOST - COMPILER - SYSTEM)
        self.assertEqual(set(), exports("publicfirmware.dll"))

    def test_exports_the_parsers_members_only(self):
        self.assertEqual(EXPORTS, exports("svchecker.dll"))


class Start(unittest.TestCase):
    def test_needs_no_network_or_signature_library(self):
        for name in sorted(HOST | {"svchecker.dll", "publicfirmware.dll"}):
            heavy = {dll for dll in imports(name)
                     if re.match(r"(winhttp|ws2_32|crypt32|libgcrypt|ole32)", dll)}
            self.assertEqual(set(), heavy, name)

    def test_finds_every_library_of_ours_beside_it(self):
        beside = {file.lower() for file in os.listdir(BIN)}
        for name in sorted(file for file in beside if file.endswith((".dll", ".exe"))):
            ours = {dll for dll in imports(name) if dll in HOST or dll.startswith("lib")}
            self.assertLessEqual(ours, beside, name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
