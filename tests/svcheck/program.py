"""Runs the program of a build on files in a temporary folder."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(SOURCE / "tests" / "support"))
from report_schema import read_report  # noqa: E402
from usual_signals import usual_signals  # noqa: E402

BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release").resolve()
PROGRAM = BUILD / "bin" / "svcheck"
DATA = BUILD / "share" / "svcheck"
SAMPLE = DATA / "sample"
# A program under the address sanitizer ends where memory does, and cannot be traced for leaks.
SANITIZED = b"__asan_init" in PROGRAM.read_bytes()
DIALECT = '<?sv-catalogue version="4.02"?>'


def document(instances, instruction=""):
    """A CIM-XML document. Each instance is a class name and a dictionary of properties; a list is
    an array."""
    lines = [f'<?xml version="1.0" encoding="UTF-8"?>{instruction}',
             '<CIM CIMVERSION="2.0" DTDVERSION="2.0"><DECLARATION><DECLGROUP>']
    for class_name, properties in instances:
        lines.append(f'<VALUE.OBJECT><INSTANCE CLASSNAME="{class_name}">')
        for name, value in properties.items():
            if isinstance(value, list):
                items = "".join(f"<VALUE>{item}</VALUE>" for item in value)
                lines.append(f'<PROPERTY.ARRAY NAME="{name}" TYPE="string"><VALUE.ARRAY>{items}'
                             "</VALUE.ARRAY></PROPERTY.ARRAY>")
            else:
                kind = "uint16" if isinstance(value, int) else "string"
                lines.append(f'<PROPERTY NAME="{name}" TYPE="{kind}"><VALUE>{value}</VALUE>'
                             "</PROPERTY>")
        lines.append("</INSTANCE></VALUE.OBJECT>")
    return "\n".join(lines + ["</DECLGROUP></DECLARATION></CIM>"])


MACHINE = ("QRXSG_ComputerSystem", {"MachineType": "4638"})
SYSTEM = ("QRXSG_OperatingSystem", {"Version": "2.6", "OSType": 36, "BuildID": "SUSE 10",
                                    "HardwarePlatform": "x86_64"})


def bios(version):
    return ("QRXSG_SystemBIOSElement", {"Version": version})


def element(**properties):
    return ("QRXPSG_SystemUpdateElement",
            {"applicableMachineTypes": ["-[4638]-"], "applicableOperatingSystems": ["SLES10_64"],
             **properties})


def pairs(items):
    return list(zip(items, items[1:]))


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="svcheck test ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def inventory(self, *instances):
        return self.write("inventory.xml", document(instances or (MACHINE, SYSTEM)))

    def catalogue(self, *elements, instruction=DIALECT):
        self.write("catalogue/index.xml", document(elements, instruction))
        return self.folder / "catalogue"

    def run_program(self, *arguments, cwd=None, env=None, text=True, **more):
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.folder),
                       "XDG_STATE_HOME": str(self.folder / "state"), "LC_ALL": "C", **(env or {})}
        result = subprocess.run([PROGRAM, *map(str, arguments)], cwd=cwd or self.folder, text=text,
                                env=environment, capture_output="stdout" not in more, timeout=300,
                                **more)
        self.check_reports(list(map(str, arguments)), result)
        return result

    def check_reports(self, arguments, result):
        """Every JSON report goes by docs/report.schema.json."""
        if arguments[:1] not in (["check"], ["report"]) or result.returncode == 64:
            return
        text = result.stdout if ("--format", "json") in pairs(arguments) else ""
        if "--output" in arguments[:-1]:
            place = self.folder / arguments[arguments.index("--output") + 1]
            text = place.read_text() if text == "" and place.suffix == ".json" else ""
        if text:
            read_report(text)

    def assert_failed(self, result, status, *words):
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        self.assertTrue(result.stderr.startswith("svcheck: "), result.stderr)
        for word in words:
            self.assertIn(word, result.stderr)

    def leftovers(self):
        return [path for path in self.folder.rglob("*.svcheck-*")]


def records_of(text):
    return [json.loads(line) for line in text.splitlines()]


def main():
    unittest.main(argv=sys.argv[:1])
