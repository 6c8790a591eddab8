"""A report of many records in a browser: it takes little of the processor, because what is out of
sight is not laid out, and yet every record is there, in order, found, printed and read without a
script."""

import json
import random

from browser import costs_of
from program import main
from test_html import VERDICTS, PageTest

MANY = 20_000
BODY = 50  # Rows that are laid out together.
EVERY_ROW = "[...document.querySelectorAll('#records tbody tr:not(.group)')]"
IN_SIGHT = "row => row.checkVisibility({contentVisibilityAuto: true})"


def records_of(count, seed=4):
    chance = random.Random(seed)
    return [{"Type": "Driver" if place % 4 == 3 else "Firmware",
             "Name": f"Adapter {chance.randrange(10 * count)} of {count}",
             "InstalledVersion": f"{chance.randrange(9)}.{chance.randrange(99)}",
             "SVVersion": f"{chance.randrange(9)}.{chance.randrange(99)}",
             "verdict": VERDICTS[place % 4]} for place in range(count)]


def natural(name):
    return [int(part) if part.isdigit() else part for part in name.split(" ")]


class LongPageTest(PageTest):
    def page_of(self, records):
        """The page of a saved report with these records."""
        counts = {verdict: sum(record["verdict"] == verdict for record in records)
                  for verdict in VERDICTS[:4]}
        saved = self.write("saved.json", json.dumps({
            "schema": 1, "tool": {"name": "svcheck", "version": "1"},
            "generated": "2027-06-30T00:00:00Z", "machine": {"type": "4638"},
            "operatingSystem": {"caption": "Some Linux"},
            "catalogue": {"source": "folder", "path": "/srv", "elements": 1}, "outcome": "done",
            "records": records, "summary": counts, "errors": []}))
        place = self.folder / "long.html"
        self.assertEqual(self.run_program("report", saved, "--format", "html", "--output",
                                          place).returncode, 0)
        return place

    def check_reports(self, arguments, result):
        """The schema is not what is tested here."""

    def read(self, script):
        return self.browser.run("return " + script)

    def lengths(self):
        """Records in each body of each group."""
        found = self.read("""[...document.querySelectorAll('#records tbody')].map(body =>
            [body.dataset.type ?? '', body.rows.length - ('type' in body.dataset), body.className])""")
        groups = []
        for kind, length, style in found:
            self.assertEqual(style, "full" if length == BODY else "")
            if kind:
                groups.append([])
            groups[-1].append(length)
        return groups


class Time(LongPageTest):
    def test_what_is_out_of_sight_costs_no_layout(self):
        place = self.page_of(records_of(MANY))
        text = place.read_text()
        # The same page, whose rows are all laid out. It is another text than its policy allows.
        policy = text[text.index("<meta http-equiv"):text.index("<title>")]
        whole = self.write("whole.html", text.replace(policy, "").replace(
            "content-visibility: auto", "content-visibility: visible"))
        laid_out, found = costs_of(whole, "name"), costs_of(place, "name")
        for name, least in (("load", 3), ("sort", 3), ("objects", 20)):
            self.assertGreater(laid_out[name], least * found[name], name)


class Contents(LongPageTest):
    def test_each_body_is_full_but_the_last_one(self):
        record = records_of(1)[0]
        for count, bodies in ((1, [1]), (49, [49]), (50, [50]), (51, [50, 1]), (100, [50, 50]),
                              (101, [50, 50, 1])):
            self.browser.open(self.page_of([record] * count + [record | {"Type": "Last"}]))
            self.assertEqual(self.lengths(), [bodies, [1]])
            self.browser.click("#sort option:nth-child(2)")
            self.assertEqual(self.lengths(), [bodies, [1]])

    def test_filters_and_orders_go_over_all_bodies_of_a_group(self):
        records = records_of(160)
        self.browser.show(1100)
        self.browser.open(self.page_of(records))
        of = {kind: [record for record in records if record["Type"] == kind]
              for kind in ("Firmware", "Driver")}
        everything = [record["Name"] for kind in of for record in of[kind]]
        self.assertEqual((self.shown_names(), self.lengths()), (everything, [[50, 50, 20], [40]]))
        self.browser.click("#sort option:nth-child(3)")
        self.assertEqual(self.shown_names(),
                         [name for kind in of for name in
                          sorted((record["Name"] for record in of[kind]), key=natural)])
        self.browser.click("[data-by=name] button")
        self.browser.click("[data-verdict=unknown].tile")
        unknown = [record["Name"] for record in records if record["verdict"] == "unknown"]
        self.assertEqual((self.shown_names(), self.shown()),
                         (sorted(unknown, key=natural, reverse=True), "40 of 160 shown"))
        self.assertEqual(self.lengths(), [[40]])
        self.browser.click("[data-verdict=outdated].tile")
        self.browser.click("[data-verdict=current].tile")
        self.assertEqual((self.lengths(), self.shown()), ([[50, 30], [40]], "120 of 160 shown"))
        self.browser.type("#search", "no such name")
        self.assertEqual((self.lengths(), self.text("#nothing")),
                         ([], "Nothing goes by these filters.\nShow all"))
        self.browser.click("#all")
        self.browser.click("#sort option:nth-child(1)")
        self.assertEqual((self.shown_names(), self.lengths()), (everything, [[50, 50, 20], [40]]))

    def shown_names(self):
        return self.read(EVERY_ROW + ".map(row => row.cells[0].textContent)")

    def test_what_comes_into_sight_is_laid_out(self):
        for width in (1100, 390):
            self.browser.show(width)
            self.browser.open(self.page_of(records_of(2000)))
            seen = self.read(f"{EVERY_ROW}.filter({IN_SIGHT}).length")
            self.assertTrue(0 < seen < 1000, seen)
            self.assertFalse(self.read(f"{EVERY_ROW}.slice(-150, -149).some({IN_SIGHT})"))
            self.browser.run(f"{EVERY_ROW}.at(-150).scrollIntoView()")
            self.assertTrue(self.browser.run(f"""return new Promise(done => requestAnimationFrame(() =>
                setTimeout(() => done({EVERY_ROW}.slice(-150, -149).some({IN_SIGHT})))))"""))
            self.assert_fits()

    def test_a_browser_finds_what_is_out_of_sight(self):
        records = records_of(2000)
        records[1990]["Name"] = "the needle"
        self.browser.show(1100)
        self.browser.open(self.page_of(records))
        self.assertTrue(self.read("find('the needle')"))
        self.assertFalse(self.read("find('the pin')"))

    def test_every_record_is_on_paper_and_there_without_a_script(self):
        records = records_of(2000)
        place = self.page_of(records)
        for media, laid_out in (("screen", False), ("print", True)):
            self.browser.show(1100, media=media)
            self.browser.open(place)
            self.assertEqual(self.read(f"{EVERY_ROW}.every({IN_SIGHT})"), laid_out)
            self.assertEqual(len(self.visible()), len(records))
        self.browser.protocol("Emulation.setScriptExecutionDisabled", value=True)
        try:
            self.browser.open(place)
            tree = self.browser.protocol("DOMSnapshot.captureSnapshot", computedStyles=[])
        finally:
            self.browser.protocol("Emulation.setScriptExecutionDisabled", value=False)
        texts = {tree["strings"][index] for index in tree["documents"][0]["layout"]["text"]
                 if index >= 0}
        self.assertLessEqual({record["Name"] for record in records}, texts)
        self.assertNotIn("Sort by ", texts)  # Nor anything else that could do nothing.


if __name__ == "__main__":
    main()
