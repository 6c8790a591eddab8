#!/usr/bin/env python3
"""Many machines at once, by the program for Windows."""

import json
import shutil

from wine_test import SAMPLE, WineTest, main, windows

MACHINES = ["m0", "стойка 1/m1", "стойка 1/日本"]


class Fleet(WineTest):
    def setUp(self):
        super().setUp()
        for machine in MACHINES:
            place = self.work / "парк" / f"{machine}.xml"
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SAMPLE / "inventory.xml", place)
        (self.work / "парк" / "bad.xml").write_bytes(b"<CIM>\r\n<OTHER/></CIM>")

    def fleet(self, *arguments, **options):
        return self.run_program("fleet", "--catalogue", windows(SAMPLE / "catalogue"),
                                "--inventories", *arguments, **options)

    def ends(self, text):
        lines = [json.loads(line) for line in text.splitlines()]
        self.assertEqual(len([line for line in lines if "Name" in line]), 21 * len(MACHINES))
        return {line["machine"]: line for line in lines if "outcome" in line}

    def test_machines_of_a_folder_are_named_by_their_way(self):
        ends = self.ends(self.fleet("парк")[0])
        self.assertEqual(sorted(ends), sorted(["bad", *MACHINES]))
        self.assertEqual([machine for machine, end in ends.items() if end["outcome"] != "done"],
                         ["bad"])
        self.assertIn("bad.xml:2", ends["bad"]["errors"][0])

    def test_results_pages_and_logs_go_where_they_are_sent(self):
        self.fleet("парк", "--output", "итог.ndjson", "--json", "ž.json", "--table", "-", "--html",
                   "страницы", "--logs", "журналы")
        written = (self.work / "итог.ndjson").read_bytes()
        self.assertEqual(len(self.ends(written.decode())), 4)
        self.assertEqual(json.loads((self.work / "ž.json").read_text())["machines"], 4)
        pages = self.work / "страницы"
        self.assertIn("日本", (pages / "index.html").read_text(encoding="utf-8"))
        self.assertEqual(len(list(pages.rglob("*.html"))), 5)
        self.assertEqual(len(list((self.work / "журналы").iterdir())), 3)
        (self.work / "итог.ndjson").write_bytes(written[:len(written) // 2])
        self.fleet("парк", "--output", "итог.ndjson", "--resume")
        self.assertEqual((self.work / "итог.ndjson").read_bytes(), written)

    def test_lines_of_standard_input(self):
        inventory = (SAMPLE / "inventory.xml").read_text(encoding="utf-8")
        lines = "".join(json.dumps({"machine": machine, "inventory": inventory}) + "\r\n"
                        for machine in MACHINES)
        self.assertEqual(sorted(self.ends(self.fleet("-", input=lines.encode())[0])),
                         sorted(MACHINES))


if __name__ == "__main__":
    main()
