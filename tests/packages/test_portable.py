"""The portable archive and RPM package: what they ask of a system, and that they run on bare ones.

    test_portable.py FOLDER [TEST]...    the folder that packaging/portable/make.sh has filled
"""

import contextlib
import functools
import http.server
import lzma
import pathlib
import re
import shutil
import ssl
import sys
import tempfile
import threading
import unittest

# What this one takes from its neighbours asks for a build and its cpack.
CHOSEN = sys.argv[2:]
sys.argv[1:] = [sys.argv[1], "cpack"]
import fresh_system  # noqa: E402
from packages import BUILD, run, skip, skip_without, succeed  # noqa: E402

GLIBC = (2, 31)
# glibc's own libraries, and GCC's, which glibc loads itself.
EVERYWHERE = re.compile(r"^(ld-linux.*|lib(c|m|dl|rt|pthread|resolv|util|gcc_s))\.so")
HOME = "/srv/a folder"  # The archive may lie anywhere.
CATALOGUE = f"{HOME}/share/svcheck/sample/catalogue"
INVENTORY = f"{HOME}/share/svcheck/sample/inventory.xml"
COUNTED = """
21 records: 10 outdated, 3 unknown, 3 newer, 5 current.
17 installed pieces: 15 compared, 2 not: 1 is offered nowhere, 1 does not run.
"""
# What the program loads while it runs, which no list of what is needed names.
LIBRARIES = ("svchecker", "publicfirmware", "plugin.nsp", "acquire-engine", "svcheck-catalogue",
             "svcheck-collect", "svcheck-import", "svcheck-redfish", "svcheck-repository",
             "svcheck-unpack")
PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "portable.md"
EXAMPLES = PAGE.parent / "examples"
FIRMWARE = EXAMPLES / "firmware.csv"
PUBLIC = EXAMPLES / "public.xml"
DOCK = """<INSTANCE CLASSNAME="SVC_FirmwareDevice">
<PROPERTY NAME="Name" TYPE="string"><VALUE>Dock</VALUE></PROPERTY>
<PROPERTY NAME="Version" TYPE="string"><VALUE>1.0.5</VALUE></PROPERTY>
<PROPERTY.ARRAY NAME="Identifiers" TYPE="string"><VALUE.ARRAY>
<VALUE>5b92717b-2cad-4a96-a13b-9d65781df8bf</VALUE></VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE>"""


def only(pattern):
    found = list(BUILD.glob(pattern))
    assert len(found) == 1, f"{pattern}: {found}; ./dev package portable makes it"
    return found[0]


def programs_in(folder):
    """Its programs and libraries."""
    for path in sorted(folder.rglob("*")):
        if path.is_file() and not path.is_symlink():
            with path.open("rb") as file:
                found = file.read(4) == b"\x7fELF"
            if found:
                yield path


class Archive(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="portable-")
        cls.addClassCleanup(folder.cleanup)
        cls.archive = only("*.tar.xz")
        succeed("tar", "-C", folder.name, "-xf", cls.archive)
        (cls.tree,) = pathlib.Path(folder.name).iterdir()

    def test_it_is_one_folder_of_roots_named_by_version_and_machine(self):
        self.assertRegex(self.tree.name, r"^svcheck-\d+\.\d+\.\d+-linux-x86_64$")
        listing = succeed("tar", "--numeric-owner", "-tvf", self.archive).splitlines()
        self.assertEqual({line.split()[1] for line in listing}, {"0/0"})
        self.assertFalse([line for line in listing if re.search(r"\.\./|s[rwx-]{2} |t ", line[:11])])

    def test_the_page_names_the_files_that_were_made(self):
        blocks = re.findall(r"(?ms)^<!-- tried -->\n```\n(.*?)^```$", PAGE.read_text())
        self.assertEqual(len(blocks), 2)
        for block, made in zip(blocks, (self.archive, only("*.rpm"))):
            self.assertIn(f" {'-i' if made.suffix == '.rpm' else '-C /opt -xf'} {made.name}", block)

    def test_nothing_needs_a_glibc_newer_than_that_of_debian_11(self):
        newest = {}
        for path in programs_in(self.tree):
            versions = re.findall(r"GLIBC_(\d+)\.(\d+)", succeed("readelf", "-WV", path))
            newest[path.name] = max((tuple(map(int, each)) for each in versions), default=(0, 0))
        self.assertGreater(len(newest), 20)
        self.assertEqual({name: each for name, each in newest.items() if each > GLIBC}, {})

    def test_each_module_of_the_program_is_in_it(self):
        carried = {path.name for path in (self.tree / "lib").iterdir()}
        self.assertEqual({f"lib{name}.so" for name in LIBRARIES} - carried, set())

    def test_what_is_loaded_lies_in_the_tree_or_on_every_system(self):
        carried = {path.name for path in (self.tree / "lib").iterdir()}
        lacking = {}
        for path in programs_in(self.tree):
            needed = re.findall(r"\(NEEDED\).*\[(.*)\]", succeed("readelf", "-Wd", path))
            for name in needed:
                if name not in carried and not EVERYWHERE.match(name):
                    lacking.setdefault(name, []).append(path.name)
        self.assertEqual(lacking, {})

    def test_libraries_are_looked_for_within_the_tree_alone(self):
        places = {}
        for path in programs_in(self.tree):
            found = re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", succeed("readelf", "-Wd", path))
            for place in ":".join(found).split(":"):
                if place and not place.startswith("$ORIGIN"):
                    places.setdefault(place, []).append(path.name)
        self.assertEqual(places, {})


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.package = only("*.rpm")

    def test_it_asks_for_glibc_and_nothing_else(self):
        needed = succeed("rpm", "-qp", "--requires", self.package).split("\n")
        names = {line.split("(")[0].strip() for line in needed if line} - {"rpmlib"}
        self.assertEqual({name for name in names if not EVERYWHERE.match(name) and name != "/bin/sh"
                          and name != "rtld"}, set())
        versions = re.findall(r"GLIBC_(\d+)\.(\d+)", "\n".join(needed))
        self.assertLessEqual(max(tuple(map(int, each)) for each in versions), GLIBC)

    def test_it_offers_none_of_the_libraries_that_it_carries(self):
        offered = succeed("rpm", "-qp", "--provides", self.package).split("\n")
        self.assertEqual([line for line in offered if ".so" in line], [])

    def test_the_program_its_manual_and_its_units_lie_where_systems_look(self):
        listed = set(succeed("rpm", "-qpl", self.package).split())
        for name in ("/usr/bin/svcheck", "/opt/svcheck/bin/svcheck",
                     "/usr/share/man/man1/svcheck.1", "/usr/lib/systemd/system/svcheck.timer",
                     *(f"/opt/svcheck/lib/lib{name}.so" for name in LIBRARIES)):
            self.assertIn(name, {each.removesuffix(".gz") for each in listed})


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def make_authority(folder):
    """A key and a certificate that vouches for itself and for 127.0.0.1."""
    succeed("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
            "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
            "-keyout", folder / "key.pem", "-out", folder / "certificate.pem")
    return folder / "certificate.pem", folder / "key.pem"


@contextlib.contextmanager
def serving(folder, certificate, key):
    """The address of a server, with TLS, that shows the folder."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    handler = functools.partial(QuietHandler, directory=str(folder))
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
        server.socket = context.wrap_socket(server.socket, server_side=True)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        yield f"https://127.0.0.1:{server.server_port}/"
        server.shutdown()


class OnBareSystem:
    """The least system of a suite, with nothing of ours and no library but its own."""
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="bare-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.system = fresh_system.make(cls.folder / "root", suite=cls.suite)
        cls.root = cls.system.root
        cls.home = cls.root / HOME.lstrip("/")
        cls.home.mkdir(parents=True)
        succeed("tar", "-C", cls.home, "--strip-components=1", "-xf", only("*.tar.xz"))

    def inside(self, *words, status=0, user="root", program=f"{HOME}/bin/svcheck"):
        result = run(*self.system.command(program, *words, user=user))
        self.assertEqual(result.returncode, status, result.stdout)
        return result.stdout

    def test_the_sample_is_checked_as_everywhere(self):
        self.assertRegex(self.inside("--version", user="nobody"), r"^svcheck \d")
        checked = self.inside("check", "--catalogue", CATALOGUE, "--inventory", INVENTORY,
                              "--fail-on", "outdated", status=2, user="nobody")
        self.assertTrue(checked.endswith(COUNTED), checked)

    def test_a_fleet_is_checked_by_several_processes(self):
        inventories = self.root / "srv" / "inventories"
        inventories.mkdir()
        for number in range(8):
            shutil.copy(self.root / INVENTORY.lstrip("/"), inventories / f"{number}.xml")
        report = self.inside("fleet", "--catalogue", CATALOGUE, "--inventories",
                             "/srv/inventories", "--jobs", "2", "--output", "-", user="nobody")
        self.assertEqual(report.count('"System BIOS"'), 8, report)

    def test_this_machine_is_collected(self):
        self.assertIn("<CIM", self.inside("collect", "--output", "-"))

    def test_a_catalogue_of_kernel_modules_and_lists_is_made(self):
        (self.root / "srv" / "made").mkdir()
        shutil.copy(FIRMWARE, self.root / "srv")
        self.inside("catalogue", "build", "--machine", "4638", "--firmware", "/srv/firmware.csv",
                    "--output", "/srv/made/catalogue")
        self.inside("catalogue", "lint", "/srv/made/catalogue")

    def test_public_firmware_is_imported_and_asked_for(self):
        """Compressed by xz, which the carried library unpacks: no program is here to do it."""
        (self.root / "srv" / "public.xml.xz").write_bytes(lzma.compress(PUBLIC.read_bytes()))
        self.assertIn("1 releases of 1 components",
                      self.inside("catalogue", "import", "--lvfs", "/srv/public.xml.xz",
                                  "--allow-unsigned", "--output", "/srv/public"))
        signed = ("catalogue", "import", "--lvfs", "/srv/public.xml.xz", "--jcat",
                  "/srv/public.xml.xz", "--output", "/srv/signed")
        self.assertIn("cannot be verified by this build", self.inside(*signed, status=4))
        self.assertFalse((self.root / "srv/signed/firmware.xml").exists())
        inventory = (self.root / INVENTORY.lstrip("/")).read_text()
        (self.root / "srv" / "dock.xml").write_text(inventory.replace(
            "</DECLGROUP>", f"<VALUE.OBJECT>{DOCK}</VALUE.OBJECT></DECLGROUP>", 1))
        shown = self.inside("check", "--catalogue", "/srv/public", "--inventory", "/srv/dock.xml")
        self.assertRegex(shown, r"Firmware +Dock +1\.0\.5 +1\.4\.0 +outdated")

    def test_a_management_controller_is_asked(self):
        self.assertIn("127.0.0.1", self.inside("collect", "--redfish", "https://127.0.0.1:1",
                                               "--output", "/srv/asked.xml", status=1))

    def test_reals_are_numbers_of_the_same_form_as_everywhere(self):
        """LLVM's C++ library leaves them to the C library, which takes more for a number."""
        text = (self.root / CATALOGUE.lstrip("/") / "index.xml").read_text()
        folder = self.root / "srv" / "reals"
        folder.mkdir()
        taken = {"1.5": 0, "-.5e-3": 0, "+4.": 0, "1e308": 0, "1e309": 4, "0x10": 4, "1e": 4,
                 "--1": 4, "+-1": 4, "1,5": 4, " 1": 4, "nan": 4, "NaN": 0}
        for real, status in taken.items():
            with self.subTest(real=real):
                cell = f'<PROPERTY NAME="weight" TYPE="real64"><VALUE>{real}</VALUE></PROPERTY>'
                first = '<PROPERTY NAME="name"'
                (folder / "index.xml").write_text(text.replace(first, cell + first, 1))
                shown = self.inside("check", "--catalogue", "/srv/reals", "--inventory",
                                    INVENTORY, status=status)
                self.assertEqual(shown.endswith(COUNTED), status == 0, shown)

    def test_a_repository_is_made_signed_and_fetched(self):
        served = self.root / "srv" / "served"
        served.mkdir()
        shutil.copy(self.root / CATALOGUE.lstrip("/") / "index.xml", served / "4638.xml")
        self.inside("repository", "keygen", "--no-password", "--repository-key", "/srv/key.pub",
                    "--secret-key", "/srv/key.sec")
        self.inside("repository", "build", "/srv/served")
        self.inside("repository", "sign", "/srv/served", "--secret-key", "/srv/key.sec")
        certificate, key = make_authority(self.folder)
        with serving(served, certificate, key) as address:
            fetch = ("catalogue", "fetch", "--repository", address, "--repository-key",
                     "/srv/key.pub", "--output", "/srv/fetched")
            self.assertIn("certificate", self.inside(*fetch, status=4))
            # Where RHEL keeps the authorities; the library was built to look where Debian does.
            place = self.root / "etc/pki/tls/certs/ca-bundle.crt"
            place.parent.mkdir(parents=True)
            shutil.copy(certificate, place)
            self.inside(*fetch)
            with (served / "sv-repository.json").open("a") as manifest:
                manifest.write(" ")
            self.assertIn("signature", self.inside(*fetch, status=4))
        checked = self.inside("check", "--catalogue", "/srv/fetched", "--inventory", INVENTORY)
        self.assertTrue(checked.endswith(COUNTED), checked)

    def test_the_rpm_package_comes_and_goes(self):
        def files():
            found = succeed("find", self.root, "-xdev", "-path", self.root / "srv", "-prune",
                            "-o", "-path", self.root / "rpm", "-prune", "-o", "-print")
            return set(found.splitlines())

        # What it asks for is Package's; here no database tells which libraries there are.
        rpm = ("rpm", "--root", self.root, "--dbpath", "/rpm", "--nodeps")
        before = files()
        succeed(*rpm, "-i", only("*.rpm"))
        program = "/usr/bin/svcheck"
        sample = "/opt/svcheck/share/svcheck/sample"
        checked = self.inside("check", "--catalogue", f"{sample}/catalogue", "--inventory",
                              f"{sample}/inventory.xml", program=program, user="nobody")
        self.assertTrue(checked.endswith(COUNTED), checked)
        unit = (self.root / "usr/lib/systemd/system/svcheck.service").read_text()
        self.assertIn('ExecStart="/opt/svcheck/bin/svcheck" check', unit)
        succeed(*rpm, "-e", "svcheck")
        self.assertEqual(files() ^ before, set())


class OnDebian11(OnBareSystem, unittest.TestCase):
    suite = "bullseye"


class OnDebian12(OnBareSystem, unittest.TestCase):
    suite = "bookworm"


class OnDebian13(OnBareSystem, unittest.TestCase):
    suite = "trixie"


if __name__ == "__main__":
    fresh_system.skip_where_none_can_be_made()
    skip_without("readelf", package="binutils")
    skip_without("rpm", package="rpm")
    skip_without("openssl", package="openssl")
    if not list(BUILD.glob("*.tar.xz")):
        skip(f"{BUILD} holds no archive; ./dev package portable makes it")
    unittest.main(argv=[sys.argv[0], *CHOSEN], verbosity=2)
