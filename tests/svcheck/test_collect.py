"""`svcheck collect`: the inventory that it writes, and what bad places get."""

import json
import pathlib
import sys
from xml.etree import ElementTree

from program import ProgramTest, main

sys.path.append(str(pathlib.Path(__file__).resolve().parent / "author"))
from made_files import kernel_module, module_of_kernel  # noqa: E402

OS_RELEASE = 'NAME="Debian GNU/Linux"\nPRETTY_NAME="Debian GNU/Linux 12 (bookworm)"\nID=debian\n'


def values(text, class_name):
    """The properties of each instance of a class, as dictionaries."""
    return [{p.get("NAME"): p.findtext("VALUE") for p in instance.iter("PROPERTY")}
            for instance in ElementTree.fromstring(text).iter("INSTANCE")
            if instance.get("CLASSNAME") == class_name]


class Collect(ProgramTest):
    def collect(self, *arguments, **more):
        return self.run_program("collect", *arguments, **more)

    def tree(self):
        dmi = "tree/sys/class/dmi/id/"
        self.write("tree/etc/os-release", OS_RELEASE)
        self.write("tree/proc/modules", "")
        self.write(dmi + "product_name", "Rackwell 4638 -[4638A2G]-\n")
        self.write(dmi + "product_serial", "SECRET1\n")
        self.write(dmi + "bios_version", "-[YUE110B-1.10]-\n")
        return self.folder / "tree"

    def test_another_tree_gives_its_machine(self):
        result = self.collect("--root", self.tree())
        self.assertEqual(result.returncode, 0, result.stderr)
        machine = values(result.stdout, "QRXSG_ComputerSystem")[0]
        self.assertEqual((machine["MachineType"], machine["SerialNumber"]), ("4638", "SECRET1"))
        system = values(result.stdout, "QRXSG_OperatingSystem")[0]
        self.assertEqual(system["OSType"], "36")
        self.assertIn("Debian", system["BuildID"])

    def test_redacted_inventories_name_no_machine(self):
        result = self.collect("--root", self.tree(), "--redact")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertNotIn("SECRET1", result.stdout)
        self.assertEqual(values(result.stdout, "QRXSG_ComputerSystem")[0]["MachineType"], "4638")

    def test_a_redacted_line_has_the_name_that_was_given_and_no_other(self):
        wanted = ("--root", self.tree(), "--redact", "--format", "ndjson")
        result = self.collect(*wanted)
        self.assertEqual((64, ""), (result.returncode, result.stdout))
        self.assertIn("give one with --machine NAME", result.stderr)
        result = self.collect(*wanted, "--machine", "m7")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.startswith('{"machine":"m7","inventory":"<'), result.stdout[:60])
        self.assertTrue(result.stdout.endswith('"}\n'), result.stdout[-60:])
        self.assertEqual(result.stdout.count("\n"), 1)
        self.assertEqual(json.loads(result.stdout)["inventory"],
                         self.collect("--root", self.tree(), "--redact").stdout)
        self.assertEqual(0, self.collect("--root", self.tree(), "--redact").returncode)

    def test_a_check_reads_what_was_collected(self):
        self.collect("--root", self.tree(), "--output", "machine.xml")
        catalogue = self.catalogue()
        for source in (["--inventory", "machine.xml"], ["--root", self.tree()]):
            with self.subTest(source):
                result = self.run_program("check", *source, "--catalogue", catalogue)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn("Machine 4638", result.stdout)
        self.assertEqual(self.leftovers(), [])

    def test_this_machine_can_be_collected(self):
        result = self.collect()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(len(values(result.stdout, "QRXSG_OperatingSystem")), 1)

    def test_a_driver_of_the_kernel_has_its_release_for_its_version(self):
        tree = self.tree()
        release = "6.1.0-47-amd64"
        self.write("tree/proc/sys/kernel/osrelease", release + "\n")
        modules = {"plain": module_of_kernel(release), "other": kernel_module(vermagic=release),
                   "own": module_of_kernel(release, version="2.1")}
        self.write("tree/proc/modules", "".join(f"{name} 1 0 - Live 0x0\n" for name in modules))
        for name, content in modules.items():
            self.write(f"tree/lib/modules/{release}/kernel/{name}.ko", content)
        self.write(f"tree/lib/modules/{release}/modules.dep",
                   "".join(f"kernel/{name}.ko:\n" for name in modules))
        result = self.collect("--root", tree)
        self.assertEqual(result.returncode, 0, result.stderr)
        found = {each["Name"]: each.get("Version")
                 for each in values(result.stdout, "QRXSG_DeviceDriverInfo")}
        self.assertEqual(found, {"other": None, "own": "2.1", "plain": release})

    def test_a_driver_states_what_it_was_built_of(self):
        tree = self.tree()
        release = "6.1.0-47-amd64"
        self.write("tree/proc/sys/kernel/osrelease", release + "\n")
        self.write("tree/proc/modules", "".join(f"{name} 1 0 - Live 0x0\n"
                                                for name in ("file", "lost", "mute")))
        self.write(f"tree/lib/modules/{release}/file.ko",
                   module_of_kernel(release, srcversion="AB12"))
        self.write(f"tree/lib/modules/{release}/mute.ko", module_of_kernel(release))
        self.write(f"tree/lib/modules/{release}/modules.dep", "file.ko:\nmute.ko:\n")
        for name in ("file", "lost", "mute"):  # Of what runs, which may not be what is installed.
            self.write(f"tree/sys/module/{name}/srcversion", "CD34\n")
        self.write("tree/sys/module/lost/version", "1.0\n")
        result = self.collect("--root", tree)
        self.assertEqual({each["Name"]: (each.get("Version"), each.get("SourceVersion"))
                          for each in values(result.stdout, "QRXSG_DeviceDriverInfo")},
                         {"file": (release, "AB12"), "lost": ("1.0", "CD34"),
                          "mute": (release, None)})

    def test_the_machine_type_alone(self):
        tree = self.tree()
        result = self.collect("--root", tree, "--show", "machine-type")
        self.assertEqual((result.returncode, result.stdout), (0, "4638\n"))
        product = tree / "sys/class/dmi/id/product_name"
        product.write_text("Standard PC (Q35 + ICH9, 2009)\n")
        result = self.collect("--root", tree, "--show", "machine-type")
        self.assertEqual(result.stdout, "Standard PC (Q35 + ICH9, 2009)\n")
        product.unlink()
        result = self.collect("--root", tree, "--show", "machine-type")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("does not tell its type", result.stderr)
        self.assert_failed(self.collect("--show", "serial"), 64, "machine-type")

    def test_bad_places(self):
        self.assert_failed(self.collect("--root", "/none"), 1, "/none")
        self.assert_failed(self.collect("--root", "/etc/passwd"), 1, "/etc/passwd")
        for output in ("/none/x", self.folder):
            self.assert_failed(self.collect("--output", output), 1, str(output))
        self.assert_failed(self.collect("--root", ""), 64)
        self.assert_failed(self.collect("--foo"), 64, "--foo")
        self.assert_failed(self.collect("--capture", "x", "--output", "y"), 64)
        self.assertFalse((self.folder / "x").exists())


if __name__ == "__main__":
    main()
