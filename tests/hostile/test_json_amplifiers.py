"""JSON that says little and means much: saved reports, what fwupd's client printed, manifests. Every
verb that reads them works through them in 8 times their bytes and 64 MB, and in time that grows as
they and what it writes do, or refuses them."""

import hashlib
import json

from documents import INVENTORY, DocumentTest, main

GUID = "-1234-5678-9abc-123456789abc"

# What stands in a list without end, and how often for a count of one.
ODD = {
    "lists": ("[],", 1), "objects": ("{},", 1), "numbers": ("0,", 2), "texts": ('"",', 1),
    "short texts": ('"a",', 1), "members": ('{"":0},', 1), "objects in objects": ('{"a":{}},', 1),
    "lists in lists": ("[[[[]]]],", 1), "a long text": ("a", 0), "depth": ("[", 0),
    "keys of one object": ("", 0),
}


def odd(name, count):
    """So many of one kind, as a text in JSON."""
    if name == "a long text":
        return '"' + "\\u0001" * count + '"'
    if name == "depth":
        return "[" * 2 * count
    if name == "keys of one object":
        return "{" + ",".join(f'"k{number}":0' for number in range(count)) + "}"
    unit, times = ODD[name]
    return "[" + unit * times * count + "0]"


class JsonAmplifiers(DocumentTest):
    def write_text(self, name, *parts):
        file = self.folder / name
        with file.open("w", encoding="utf-8") as stream:
            for part in parts:
                stream.write(part)
        return file, file.stat().st_size

    def sample_report(self):
        catalogue = INVENTORY.parent / "catalogue"
        load = self.run_program("check", "--inventory", INVENTORY, "--catalogue", catalogue,
                                "--format", "json", "--output", self.folder / "report.json")
        self.assertEqual(load.status, 0, load.errors)
        return (self.folder / "report.json").read_text().rstrip().removesuffix("}")

    def test_saved_reports_with_odd_members(self):
        begin = self.sample_report()
        # Those of one object are refused at once; more of the others than a report has, as well.
        for name in ODD:
            for count in (20_000, 500_000):
                with self.subTest(name, count=count):
                    file, size = self.write_text("odd.json", begin, ',"a":', odd(name, count), "}")
                    for verb, times in ((["report", file], 1), (["diff", file, file], 2)):
                        seconds, _ = self.run_one(verb, times * size, (0, 1))
                        self.assertLess(seconds, 10)

    def test_records_of_odd_form(self):
        def record(more):
            return ('{"Type":"Firmware","Name":"n","InstalledVersion":"1","SVVersion":"2",'
                    f'"verdict":"outdated"{more}}}')
        report = json.loads(self.sample_report() + "}")
        report["records"] = []
        whole = json.dumps(report)
        begin, end = whole.split('"records": []')
        for name, make in {
                "short": lambda n: record("") + ("," + record("")) * 8 * n,
                "with updates": lambda n: record("") + ("," + record(
                    ',"update":{"name":"","file":"","line":0}')) * 4 * n,
                "with waivers": lambda n: record("") + ("," + record(
                    ',"waived":{"reason":""},"expiredWaiver":{"reason":""}')) * 4 * n,
                "of one": lambda n: record(',"a":' + odd("objects", 10 * n)),
                "no records": lambda n: record("") + ',{"a":{}}' * 10 * n,
        }.items():
            def show(count, make=make):
                file, size = self.write_text("odd.json", begin, '"records": [', make(count), "]",
                                             end)
                return self.run_one(["report", "--format", "ndjson", file], size, (0, 1))
            with self.subTest(name):
                self.check_growth(show, 20_000)

    def test_a_long_report_is_taken(self):
        report = json.loads(self.sample_report() + "}")
        record = report["records"][0]
        report["records"] = [dict(record, Name=f"driver {n}") for n in range(150_000)]
        file, size = self.write_text("long.json", json.dumps(report, separators=(",", ":")))
        self.assertGreater(size, 20 << 20)
        self.run_one(["report", file], size, (0,))
        self.run_one(["diff", file, file], 2 * size, (0,))

    def test_what_the_client_of_firmware_printed(self):
        def devices(make):
            return lambda n: '{"Devices":[' + ",".join(map(make, range(n))) + "]}"
        shapes = {name: lambda n, name=name: '{"Devices":[],"a":' + odd(name, n) + "}"
                  for name in ODD}
        shapes["devices"] = devices(lambda n: f'{{"Guid":"{n:08x}{GUID}"}}')
        shapes["devices of one id"] = devices(lambda _: f'{{"Guid":"{7:08x}{GUID}"}}')
        shapes["ids"] = lambda n: devices(
            lambda d: '{"InstanceIds":["' + '","'.join(f"i{d}/{i}" for i in range(250)) + '"]}'
        )(n // 100)
        shapes["long ids"] = devices(lambda _: '{"InstanceIds":["' + "\\u0001" * 600 + '"]}')
        for name, make in shapes.items():
            def collect(count, make=make):
                file, size = self.write_text("devices.json", make(count))
                return self.run_one(["collect", "--only-fwupd", "--fwupd", file], size, (0, 1))
            for count in (1_000, 25_000):
                with self.subTest(name, count=count):
                    self.check_growth(collect, count)

    def test_devices_of_a_client_meet_many_of_a_machine(self):
        """Each is looked for among those of the machine by each of its ids."""
        tree = self.folder / "tree/sys/firmware/efi/esrt/entries"

        def collect(count):
            size = 0
            for number in range(count):
                entry = tree / f"entry{number}"
                entry.mkdir(parents=True, exist_ok=True)
                (entry / "fw_class").write_text(f"{number:08x}{GUID}\n")
                size += 40
            file, more = self.write_text("devices.json", '{"Devices":[' + ",".join(
                '{"InstanceIds":["' + '","'.join(f"i{n}/{i}" for i in range(40)) + '"]}'
                for n in range(count)) + "]}")
            return self.run_one(["collect", "--root", self.folder / "tree", "--fwupd", file],
                                size + more, (0,))
        self.check_growth(collect, 1_000)

    def repository(self, *files):
        """A repository of one description that its manifest lists in these ways."""
        folder = self.folder / "sv"
        folder.mkdir(exist_ok=True)
        for old in folder.iterdir():
            old.unlink()
        (folder / "a.xml").write_text("<a/>")
        entry = json.dumps({
            "name": "a.xml", "path": "a.xml", "size": 4,
            "sha256": hashlib.sha256(b"<a/>").hexdigest(), "machineTypes": ["4638"], "os": 203,
            "arch": 2, "latest": True, "payload": False})
        text = '{"schema":1,"serial":7,"expires":"2099-01-01T00:00:00Z","files":['
        (folder / "sv-repository.json").write_text(
            text + ",".join(make(entry) for make in files) + "]}")
        return folder, (folder / "sv-repository.json").stat().st_size

    def test_manifests(self):
        shapes = {name: lambda n, name=name: [lambda entry: entry[:-1] + ',"a":' + odd(name, n)
                                              + "}"] for name in ODD}
        shapes["entries"] = lambda n: [lambda entry: entry] * (n // 50)
        shapes["machine types"] = lambda n: [lambda entry: entry.replace(
            '["4638"]', '["4638"' + ',"4639"' * n + "]")]
        for name, make in shapes.items():
            def verify(count, make=make):
                folder, size = self.repository(*make(count))
                return self.run_one(["repository", "verify", "--allow-unsigned", folder], size,
                                    (0, 4))
            for count in (10_000, 100_000):
                with self.subTest(name, count=count):
                    self.check_growth(verify, count)

    def test_a_file_that_a_manifest_lists_over_and_over_is_read_once(self):
        folder, _ = self.repository(*[lambda entry: entry] * 2_000)
        body = b"x" * (1 << 20)
        manifest = json.loads((folder / "sv-repository.json").read_text())
        for file in manifest["files"]:
            file.update(size=len(body), sha256=hashlib.sha256(body).hexdigest())
        (folder / "a.xml").write_bytes(body)
        (folder / "sv-repository.json").write_text(json.dumps(manifest))
        size = len(body) + (folder / "sv-repository.json").stat().st_size
        seconds, _ = self.run_one(["repository", "verify", "--allow-unsigned", folder], size, (0,))
        self.assertLess(seconds, 1)


if __name__ == "__main__":
    main()
