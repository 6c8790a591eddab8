"""`svcheck catalogue import` of signed metadata: whose it is, and that every byte is theirs."""

import gzip
import json
import os
import pathlib
import subprocess
import tempfile

from program import main
from public_metadata import component, metadata, release
from test_import import Importing


class SignatureTest(Importing):
    """With signatures that the publisher's own tool makes."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        folder = tempfile.TemporaryDirectory(prefix="svcheck test ")
        cls.addClassCleanup(folder.cleanup)
        cls.publisher = pathlib.Path(folder.name)
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                        "key.pem", "-out", "cert.pem", "-days", "30", "-subj", "/CN=Publisher",
                        "-addext", "keyUsage=digitalSignature,keyCertSign"],
                       cwd=cls.publisher, check=True, capture_output=True)

    def setUp(self):
        super().setUp()
        for name in ("cert.pem", "key.pem"):
            self.write(name, (self.publisher / name).read_bytes())
        self.write("keys/cert.pem", (self.publisher / "cert.pem").read_bytes())
        self.text = metadata(component(release("1.2.0")))
        self.write("firmware.xml", self.text)

    def jcat(self, *arguments):
        subprocess.run(["jcat-tool", *arguments], cwd=self.folder, check=True, capture_output=True,
                       env={"HOME": str(self.folder), "PATH": "/usr/bin:/bin"})

    def sign(self, name="firmware.xml.jcat", file="firmware.xml"):
        self.jcat("sign", name, file, "cert.pem", "key.pem")
        self.jcat("self-sign", name, file, "--kind", "sha256")
        return self.folder / name

    def signed_import(self, signature, text=None, keys="keys"):
        return self.import_file(text or self.text, "firmware.xml", "--jcat", signature, "--keys",
                                self.folder / keys)

    def refused_signature(self, *arguments, **more):
        self.assert_failed(self.signed_import(*arguments, **more), 4, "the signature", "--keys")
        self.assertFalse((self.folder / "made/firmware.xml").exists())

    def test_what_is_signed_is_taken(self):
        result = self.signed_import(self.sign())
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertEqual("1.2.0", self.offers()[0]["Version"])
        self.assertFalse(list(self.folder.glob(".gnupg*")))

    def test_of_several_signatures_that_of_the_files_name_counts(self):
        self.write("other.xml", self.text + "<!-- another -->")
        signature = self.sign()
        self.sign(file="other.xml")
        items = json.loads(gzip.decompress(signature.read_bytes()))["Items"]
        self.assertEqual(["firmware.xml", "other.xml"], [item["Id"] for item in items])
        self.assertEqual(0, self.signed_import(signature).returncode)
        result = self.import_file(self.text, "renamed.xml", "--jcat", signature, "--keys",
                                  self.folder / "keys")
        self.assert_failed(result, 4, f"the signature {signature} does not hold: ")

    def test_a_signature_counts_for_its_file_under_another_name(self):
        result = self.import_file(self.text, "renamed.xml", "--jcat", self.sign(), "--keys",
                                  self.folder / "keys")
        self.assertEqual((0, ""), (result.returncode, result.stderr))

    def test_a_single_byte_that_is_another_is_refused(self):
        self.refused_signature(self.sign(), self.text.replace("1.2.0", "1.2.1"))

    def test_a_signature_by_somebody_else_is_refused(self):
        signature = self.sign()
        pathlib.Path(self.folder / "others").mkdir()
        self.refused_signature(signature, keys="others")
        self.refused_signature(signature, keys="absent")

    def test_a_pipe_among_the_keys_is_not_waited_for(self):
        os.mkfifo(self.folder / "keys/a.pem")
        (self.folder / "keys/old").mkdir()
        signature = self.sign()
        self.assert_failed(self.signed_import(signature), 4, "keys/a.pem is a pipe", "--keys")
        (self.folder / "keys/a.pem").unlink()
        self.assertEqual(0, self.signed_import(signature).returncode)

    def test_what_is_no_key_hides_none(self):
        signature = self.sign()
        for name in ("a.pem", "z.pem", "a.crt", "a.cer", "a.asc", "a"):
            place = self.folder / "keys" / name
            for make in (place.mkdir, lambda: place.write_text("no key"), place.touch,
                         lambda: place.symlink_to("absent"), lambda: place.symlink_to(place)):
                make()
                result = self.signed_import(signature)
                self.assertEqual((0, ""), (result.returncode, result.stderr))
                place.rmdir() if place.is_dir() else place.unlink()

    def test_a_file_that_is_no_key_is_named_where_none_fits(self):
        signature = self.sign()
        (self.folder / "keys/cert.pem").write_text("no key")
        (self.folder / "keys/folder.pem").mkdir()
        result = self.signed_import(signature)
        self.assert_failed(result, 4, "the signature", "keys/cert.pem cannot be read as a key")

    def test_a_signature_that_lacks_a_part_is_refused(self):
        whole = json.loads(gzip.decompress(self.sign().read_bytes()))
        blobs = whole["Items"][0]["Blobs"]
        for kept in ([], blobs[:1], blobs[1:]):
            whole["Items"][0]["Blobs"] = kept
            signature = self.write("part.jcat", gzip.compress(json.dumps(whole).encode()))
            self.refused_signature(signature)
        whole["Items"] = []
        self.refused_signature(self.write("none.jcat", gzip.compress(json.dumps(whole).encode())))

    def test_a_signature_file_has_up_to_ten_thousand_values(self):
        def values_of(item):
            """Names, texts and numbers count, and both ends of what holds others."""
            if isinstance(item, dict):
                return 2 + sum(1 + values_of(value) for value in item.values())
            return 2 + sum(map(values_of, item)) if isinstance(item, list) else 1

        whole = json.loads(gzip.decompress(self.sign().read_bytes()))
        whole["More"] = []
        room = 10_000 - values_of(whole)
        for more, is_taken in ((room, True), (room + 1, False)):
            whole["More"] = [0] * more
            signature = self.write("more.jcat", gzip.compress(json.dumps(whole).encode()))
            result = self.signed_import(signature)
            self.assertEqual(0 if is_taken else 4, result.returncode, result.stderr)
            self.assertEqual(is_taken, "it has too many values" not in result.stderr)
            self.assertEqual(is_taken, "does not hold" not in result.stderr)

    def test_what_is_no_signature_file_is_refused(self):
        for content in (b"", b"{}", b"no json", gzip.compress(b"[" * 100000),
                        b'{"a":' * 100000, b'{"Items":[' + b"[" * 100, b'{"a":"{[', b'{"a":"\\',
                        b"[]", b"1", b'{"a":"\xff"}', b'{"a":1}{', b'{"a":' * 20 + b"1" + b"}" * 20,
                        gzip.compress(b" " * (64 << 20))):
            self.refused_signature(self.write("broken.jcat", content))
        self.refused_signature(self.folder / "absent.jcat")


if __name__ == "__main__":
    main()
