"""`svcheck catalogue import` of very much: what is reasonable takes little, and more is refused."""

import gzip
import lzma
import resource
import subprocess

from program import BUILD, PROGRAM, SANITIZED, main
from public_metadata import GUID, cabinet, component, metadata, release
from test_import import Importing


class BoundsTest(Importing):
    def test_entities_are_not_expanded(self):
        levels = "".join(f'<!ENTITY a{i} "{f"&a{i - 1};" * 10}">' for i in range(1, 10))
        text = (f'<!DOCTYPE components [<!ENTITY a0 "aaaaaaaaaa">{levels}]>'
                + metadata(component(release("1"), name="NAME")).split("\n", 1)[1])
        self.refused(text.replace("<name>NAME", "<name>&a9;"), "firmware.xml:")
        text = ('<!DOCTYPE components [<!ENTITY a SYSTEM "file:///etc/passwd">]>'
                + metadata(component(release("1"), name="NAME")).split("\n", 1)[1])
        self.refused(text.replace("<name>NAME", "<name>&a;"), "firmware.xml:")

    def test_more_than_is_reasonable_is_refused(self):
        self.refused("<components>" * 100000, "firmware.xml:1: ")
        nested = "<ul>" * 300 + "</ul>" * 300
        self.refused(metadata(component(release("1", description=nested))), "firmware.xml:")
        most = 4096
        for fits in (component(release("1"), more="<branch>" + "n" * most + "</branch>"),
                     component(*[release("1")] * most),
                     component(release("1"), identifiers=[GUID] * most)):
            self.assertEqual(0, self.import_file(metadata(fits)).returncode)
            (self.folder / "made/firmware.xml").unlink()
        self.refused(metadata(component(release("1"),
                                        more="<branch>" + "n" * (most + 1) + "</branch>")),
                     "a text is longer")
        self.refused(metadata(component(*[release("1")] * (most + 1))), "more releases")
        self.refused(metadata(component(release("1"), identifiers=[GUID] * (most + 1))),
                     "more items")
        self.refused(metadata(component(release("v" * 4097))), "an attribute is longer")
        paragraphs = "<p>" + "x" * 1000 + "</p>"
        self.refused(metadata(component(release("1", description=paragraphs * 70))),
                     "a description is longer")

    def test_few_bytes_that_would_become_very_many_are_refused_before_they_are_written(self):
        file = self.write("firmware.xml", metadata(
            component(release("1")),
            component(*[release("1")] * 4096, identifiers=["i" * 4000] * 4096)))
        command = [PROGRAM, "catalogue", "import", "--lvfs", file, "--output", "made",
                   "--allow-unsigned"]
        little_room = (1 << 20, 1 << 20)
        result = subprocess.run(
            command, cwd=self.folder, capture_output=True, text=True,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, little_room))
        self.assert_failed(result, 4, "larger than can be read")
        self.assertFalse((self.folder / "made/firmware.xml").exists())

    def test_what_grows_out_of_proportion_is_refused(self):
        bomb = gzip.compress(b"<components>" + b" " * (64 << 20) + b"</components>")
        self.refused(bomb, "unpacked it is larger", name="f.xml.gz")
        twice = gzip.compress(gzip.compress(metadata(component(release("1"))).encode()))
        self.refused(twice, "more than once", name="f.xml.gz")

    def test_what_an_archive_tells_of_is_kept_up_to_a_bound(self):
        """16 MiB of memory, of which each text takes 32 bytes more than it has."""
        issue = f"<issue>{'i' * 4096}</issue>"
        for count, is_taken in ((4060, True), (4080, False)):
            more = f"<issues>{issue * count}</issues>"
            self.write("cabs/a.cab", cabinet({"a.metainfo.xml": component(
                release("1", more=more)).encode()}))
            result = self.run_program("catalogue", "import", "--lvfs", "cabs", "--output", "made",
                                      "--allow-unsigned")
            self.assertEqual(is_taken, result.returncode == 0, result.stderr)
        self.assertEqual("svcheck: cabs/a.cab is refused: its metadata tells of more than any that "
                         "is published\nsvcheck: no firmware with identifiers and releases was "
                         "found, and nothing is written\n", result.stderr)

    def test_three_thousand_components_take_little_time_and_memory(self):
        notes = "".join(f"<p>Release note {i} of a maker, as long as these are.</p>"
                        for i in range(12))
        components = [component(*[release(f"1.{i}.0", "high", "1700000000", notes)
                                  for i in range(5)],
                                identifiers=[f"{k:08x}-0000-4000-8000-{i:012x}" for i in range(4)],
                                requires='<firmware compare="ge" version="1.0.5"/>')
                      for k in range(3000)]
        file = self.write("f.xml.xz", lzma.compress(metadata(*components).encode(), preset=0))
        command = ["/usr/bin/env", "python3", "-c",
                   "import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True);"
                   "u = resource.getrusage(resource.RUSAGE_CHILDREN);"
                   "print(u.ru_utime + u.ru_stime, u.ru_maxrss)",
                   str(BUILD / "bin/svcheck"), "catalogue", "import", "--lvfs", str(file),
                   "--output", str(self.folder / "made"), "--allow-unsigned"]
        output = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        self.assertIn("15000 releases of 3000 components", output)
        seconds, kibibytes = map(float, output.splitlines()[-1].split())
        print(f"\n3,000 components: {seconds:.2f} s of processor time, {kibibytes / 1024:.0f} MiB")
        self.assertLess(seconds, 20)
        if not SANITIZED:
            self.assertLess(kibibytes / 1024, 200)


if __name__ == "__main__":
    main()
