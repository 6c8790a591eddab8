"""The HTML report in a browser: what its filters show, how it is used without a mouse, what a
screen reader is told, and that nothing in a record gets out of its cell."""

import json
import pathlib
import tempfile

from browser import DOWN, ENTER, ESCAPE, TAB, Browser
from program import BUILD, SAMPLE, ProgramTest, element, main

PICTURES = BUILD / "tests" / "pictures"
SCRIPTS = pathlib.Path(__file__).resolve().parent / "page"
WAIVERS = """[[waiver]]
name = "System *"
reason = "window in January"
expires = 2999-01-31

[[waiver]]
name = "MEGARAID_SAS"
reason = "vendor hold"
expires = 2020-01-01
"""
VISIBLE = """return [...document.querySelectorAll('#records tbody tr:not(.group)')]
  .filter(row => row.checkVisibility())
  .map(row => [row.closest('tbody').dataset.type, row.cells[0].firstChild?.data ?? '',
               row.dataset.verdict]);"""
FOCUSED = """const focused = document.activeElement, style = getComputedStyle(focused);
return [focused.textContent || focused.id || focused.localName,
        style.outlineStyle != 'none' && parseFloat(style.outlineWidth) >= 2];"""
ORDERS = ["catalogue", "verdict", "name", "type"]
VERDICTS = ["outdated", "unknown", "newer", "current", "waived"]
MARKUP = ("</td></title></style></script><script>document.title = 'taken'</script>"
          "<img src=x onerror=\"document.title = 'taken'\">'\"&lt;!--")
TURNED = "\u202egpj\u2066"  # Reads as "jpg" and turns what stands behind it.
LONG = "W" * 3000 + " long" * 300


class PageTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        PICTURES.mkdir(parents=True, exist_ok=True)
        profile = tempfile.TemporaryDirectory()
        cls.addClassCleanup(profile.cleanup)
        cls.browser = Browser(profile.name)
        cls.addClassCleanup(cls.browser.close)

    def tearDown(self):
        self.assertEqual(self.browser.messages(), [])  # Of the script, and of the page's policy.

    def open(self, *arguments, width=1100, scheme="light", media="screen"):
        """Opens the page that a check or a report writes."""
        place = self.folder / "report.html"
        self.run_program(*arguments, "--format", "html", "--output", place)
        self.browser.show(width, scheme, media)
        self.browser.open(place)

    def open_sample(self, **how):
        self.open("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                  SAMPLE / "catalogue", "--waivers", self.write("waivers.toml", WAIVERS), **how)

    def visible(self):
        return self.browser.run(VISIBLE)

    def names(self):
        return [name for _, name, _ in self.visible()]

    def text(self, selector):
        """What is seen of an element."""
        return self.browser.run('''const found = document.querySelector(arguments[0]);
            return found.checkVisibility() ? found.innerText.trim() : '';''', selector)

    def shown(self):
        return self.browser.run("return document.getElementById('shown').textContent")

    def assert_fits(self):
        self.assertLessEqual(*self.browser.run(
            "return [document.documentElement.scrollWidth, innerWidth]"))

    def in_groups(self, column):
        """One column of the visible records, a list for each type in the order of the page."""
        groups = {}
        for row in self.visible():
            groups.setdefault(row[0], []).append(row[column])
        return groups


class Groups(PageTest):
    """Of update elements, once somebody asks for them."""

    ROWS = """return [...document.querySelectorAll('#records tr')].slice(1)
      .filter(row => row.checkVisibility())
      .map(row => row.matches('.group') ? [row.querySelector('bdi').textContent]
                                        : row.cells[0].firstChild.data);"""

    def group(self, by):
        self.browser.run("""const choice = document.getElementById('group');
            choice.value = arguments[0];
            choice.dispatchEvent(new Event('change'));""", by)
        return self.browser.run(self.ROWS)

    def by_update(self):
        """What a check of the sample says."""
        report = json.loads(self.run_program(
            "check", "--inventory", SAMPLE / "inventory.xml", "--catalogue", SAMPLE / "catalogue",
            "--format", "json").stdout)
        groups = {}
        for record in report["records"]:
            groups.setdefault(record["update"]["name"], []).append(record)
        return groups

    def test_hold_the_records_of_one_element_each(self):
        self.open_sample()
        before = self.browser.run(self.ROWS)
        groups = self.by_update()
        self.assertGreater(max(map(len, groups.values())), 1)
        expected = [part for name, records in groups.items()
                    for part in ([name], *[record["Name"] for record in records])]
        self.assertEqual(self.group("update"), expected)
        self.assertEqual(self.group(""), before)
        self.assertEqual(self.group("update"), expected)

    def test_go_by_filters_and_orders_too(self):
        self.open_sample()
        self.group("update")
        self.browser.click("th[data-by=verdict] button")
        self.browser.click(".tile.current")
        shown = [part for name, records in self.by_update().items()
                 for part in ([name], *[record["Name"] for record in records
                                        if record["verdict"] == "current"])]
        wanted = [part for part, behind in zip(shown, [*shown[1:], []])
                  if isinstance(part, str) or isinstance(behind, str)]
        self.assertEqual(self.browser.run(self.ROWS), wanted)

    def test_are_not_offered_where_no_record_names_its_update(self):
        self.write("report.json", json.dumps({
            "schema": 1, "tool": {"name": "t", "version": "1"}, "generated": "2027-06-30T00:00:00Z",
            "machine": {"type": "1"}, "operatingSystem": {"caption": ""},
            "catalogue": {"source": "folder", "path": "/c", "elements": 1}, "outcome": "done",
            "records": [{"Type": "T", "Name": "N", "InstalledVersion": "1", "SVVersion": "2",
                         "verdict": "outdated"}],
            "summary": {"outdated": 1, "unknown": 0, "newer": 0, "current": 0}, "errors": []}))
        self.open("report", self.folder / "report.json")
        self.assertEqual(self.names(), ["N"])
        self.assertFalse(self.browser.run("return !!document.getElementById('group')"))


class Filters(PageTest):
    def test_they_show_what_goes_by_them(self):
        browser = self.browser
        self.open_sample()
        everything = self.visible()
        self.assertEqual((len(everything), self.shown()), (21, "21 shown"))
        browser.click("[data-verdict=outdated].tile")
        self.assertEqual({verdict for _, _, verdict in self.visible()}, {"outdated"})
        self.assertEqual((len(self.visible()), self.shown()), (8, "8 of 21 shown"))
        browser.click("[data-verdict=waived].tile")
        self.assertEqual(len(self.visible()), 10)
        browser.click("button[data-type=Driver]")
        self.assertEqual({(kind, verdict) for kind, _, verdict in self.visible()},
                         {("Driver", "outdated")})
        browser.type("#search", "bnx")
        self.assertEqual(self.names(), ["BNX2"])
        browser.type("#search", " nothing of this name")
        self.assertEqual(self.names(), [])
        browser.click("#all")
        self.assertEqual(self.visible(), everything)
        browser.click("[data-verdict=newer].tile")
        browser.click("[data-verdict=newer].tile")
        self.assertEqual(self.visible(), everything)

    def test_records_are_sorted_within_their_types(self):
        self.open_sample()
        catalogue = self.visible()
        self.sort_by("verdict")
        for verdicts in self.in_groups(2).values():
            self.assertEqual(verdicts, sorted(verdicts, key=VERDICTS.index))
        self.sort_by("name")
        ascending = self.in_groups(1)
        self.assertEqual(ascending["Driver"],
                         ["BNX2", "BNX2", "E1000E", "EHCI-HCD", "MEGARAID_SAS", "TG3"])
        self.assertEqual(self.head("name"), "ascending")
        self.browser.click("[data-by=name] button")
        self.assertEqual(self.head("name"), "descending")
        self.assertEqual(self.in_groups(1),
                         {kind: names[::-1] for kind, names in ascending.items()})
        self.sort_by("type")
        self.assertEqual(list(self.in_groups(1)), ["Driver", "Firmware"])
        self.assertIsNone(self.head("name"))
        self.sort_by("catalogue")
        self.assertEqual(self.visible(), catalogue)

    def sort_by(self, name):
        self.browser.click(f"#sort option:nth-child({1 + ORDERS.index(name)})")

    def head(self, name):
        return self.browser.run("return document.querySelector(arguments[0]).ariaSort",
                                f"[data-by={name}]")


class Kernels(PageTest):
    """The drivers of one kernel are one row."""

    NAMES = "return [...document.querySelectorAll('tr[data-records] li')]"
    SEEN = NAMES + ".filter(name => name.checkVisibility()).map(name => name.textContent);"
    TITLE = "kernel 6.1.0-47-amd64 → 6.12.117-amd64: 3 drivers"

    def open_kernel(self, **how):
        def record(name, old, new, verdict="outdated", kind="Driver", line=1):
            return {"Type": kind, "Name": name, "InstalledVersion": old, "SVVersion": new,
                    "verdict": verdict, "update": {"name": f"e{line}", "package": None,
                                                   "file": "index.xml", "line": line}}
        kernel = ("6.1.0-47-amd64", "6.12.117-amd64")
        records = [record("BIOS", "1", "1", "current", "Firmware", 1),
                   record("ZZZ", *kernel, line=2), record("OWN", "1", "2", line=3),
                   record("E1000E", *kernel, line=4), record("TG3", *kernel, line=5)]
        self.write("report.json", json.dumps({
            "schema": 1, "tool": {"name": "t", "version": "1"}, "generated": "2027-06-30T00:00:00Z",
            "machine": {"type": "1"}, "operatingSystem": {"caption": ""},
            "catalogue": {"source": "folder", "path": "/c", "elements": 5}, "outcome": "done",
            "records": records,
            "summary": {"outdated": 4, "unknown": 0, "newer": 0, "current": 1}, "errors": []}))
        self.open("report", self.folder / "report.json", **how)

    def names(self):
        return self.browser.run("""return [...document.querySelectorAll('#records th[scope=row]')]
            .filter(cell => cell.checkVisibility())
            .map(cell => (cell.querySelector('summary') ?? cell.firstChild).textContent);""")

    def seen(self):
        return self.browser.run(self.SEEN)

    def test_unfold_into_their_names(self):
        for width in (1100, 360):
            self.open_kernel(width=width)
            self.assertEqual(self.text("h1"), "2 updates to install")
            self.assertEqual(self.names(), ["BIOS", self.TITLE, "OWN"])
            self.assertEqual(self.seen(), [])
            self.browser.click("tr[data-records] summary")
            self.assertEqual(self.seen(), ["ZZZ", "E1000E", "TG3"])
            self.assert_fits()

    def test_are_counted_filtered_and_found_each(self):
        self.open_kernel()
        self.assertEqual(self.shown(), "5 shown")
        self.browser.click("[data-verdict=outdated].tile")
        self.assertEqual((self.names(), self.shown()), ([self.TITLE, "OWN"], "4 of 5 shown"))
        self.browser.click("button[data-type=Firmware]")
        self.assertEqual((self.names(), self.shown()), ([], "0 of 5 shown"))
        self.browser.click("#all")
        self.browser.type("#search", "driver e1000")
        self.assertEqual((self.names(), self.shown(), self.seen()),
                         ([self.TITLE], "1 of 5 shown", ["E1000E"]))
        self.browser.type("#search", " nothing")
        self.assertEqual((self.names(), self.shown()), ([], "0 of 5 shown"))
        self.browser.click("#all")
        self.assertEqual((self.names(), self.shown(), self.seen()),
                         (["BIOS", self.TITLE, "OWN"], "5 shown", []))
        self.browser.type("#search", "6.12.117")
        self.assertEqual((self.names(), self.shown(), self.seen()),
                         ([self.TITLE], "3 of 5 shown", []))

    def test_are_sorted_by_what_leads_the_row(self):
        self.open_kernel()
        self.browser.click("[data-by=name] button")
        self.assertEqual(self.names(), ["BIOS", self.TITLE, "OWN"])
        self.browser.click("[data-by=name] button")
        self.assertEqual(self.names(), ["BIOS", "OWN", self.TITLE])

    def test_are_a_group_where_updates_are(self):
        self.open_kernel()
        self.browser.run("""const choice = document.getElementById('group');
            choice.value = 'update';
            choice.dispatchEvent(new Event('change'));""")
        self.assertEqual(self.browser.run(
            "return [...document.querySelectorAll('.group bdi')].map(name => name.textContent);"),
            ["e1", "several update elements", "e3"])
        self.assertEqual(self.shown(), "5 shown")


class Keyboard(PageTest):
    def test_everything_is_reached_in_order_and_seen_to_be(self):
        self.open_sample()
        reached = []
        for _ in range(15):
            self.browser.press(TAB)
            name, has_outline = self.browser.run(FOCUSED)
            self.assertTrue(has_outline, name)
            reached.append(name)
        self.assertEqual([name.split()[-1] if name[0].isdigit() else name for name in reached[1:6]],
                         ["offered", "compared", "offered", "it", "is"])
        self.assertEqual((reached[0], reached[6:9], reached[11:]),
                         ("To the records", ["search", "Firmware", "Driver"],
                          ["Name", "Installed", "Offered", "Verdict"]))

    def test_what_has_the_focus_is_in_sight_in_a_narrow_window_too(self):
        self.open_sample(width=400)
        for _ in range(14):
            self.browser.press(TAB)
            left, top, right, bottom = self.browser.run("""
                const {left, top, right, bottom} = document.activeElement.getBoundingClientRect();
                return [left, top, right, bottom];""")
            self.assertTrue(0 <= left < right <= 400 and 0 <= top < bottom <= 900)
            found = self.browser.run("""return document.activeElement.contains(
                document.elementFromPoint(arguments[0], arguments[1]))""",
                                     (left + right) / 2, (top + bottom) / 2)
            self.assertTrue(found, self.browser.run(FOCUSED))

    def test_it_filters_and_sorts(self):
        press = self.browser.press
        self.open_sample()
        press(TAB, TAB, " ")
        self.assertEqual(self.shown(), "8 of 21 shown")
        press(ESCAPE, "/", *"bnx")
        self.assertEqual(self.names(), ["BNX2", "BNX2"])
        press(ESCAPE)
        self.assertEqual(self.shown(), "21 shown")
        press(TAB, TAB, TAB, DOWN)  # The types, then what to sort by.
        for verdicts in self.in_groups(2).values():
            self.assertEqual(verdicts, sorted(verdicts, key=VERDICTS.index))
        press(TAB, TAB, ENTER, ENTER)
        self.assertEqual(self.in_groups(1)["Driver"][0], "TG3")

    def test_a_screen_reader_is_told_what_is_seen(self):
        browser = self.browser
        self.open_sample()
        self.assertEqual(browser.role("h1"), "heading")
        self.assertIn(browser.role(".parts"), ("img", "image"))
        self.assertIn("8 outdated, 3 unknown", browser.label(".parts"))
        self.assertEqual(browser.label("#search"), "Find by name or version")
        self.assertEqual(browser.label("#sort"), "Sort by")
        self.assertEqual(browser.role("#shown"), "status")
        for width in (1100, 400):
            browser.show(width)
            self.assertEqual(browser.role("#records"), "table")
            self.assertEqual(browser.role("#records tbody tr:nth-child(2) th"), "rowheader")
            self.assertIn(browser.role("#records tbody tr:nth-child(2) td"), ("cell", "gridcell"))


class Looks(PageTest):
    CONTRAST = (SCRIPTS / "contrast.js").read_text()

    def contrasts(self, least):
        """How many texts were measured, and those below what WCAG 2.2 asks (1.4.3, 1.4.11)."""
        measured, low = self.browser.run(self.CONTRAST)
        self.assertGreater(measured, least)
        return low

    def test_texts_and_edges_stand_out(self):
        for scheme in ("light", "dark"):
            with self.subTest(scheme):
                self.open_sample(scheme=scheme)
                self.assertEqual(self.contrasts(100), [])
                self.browser.screenshot(PICTURES / f"{scheme}.png")
                self.browser.click("[data-verdict=unknown].tile")
                self.browser.click("button[data-type=Firmware]")
                self.assertEqual(self.contrasts(30), [])
                self.browser.run("document.querySelector('footer').style.color = '#777'")
                self.assertEqual([entry[0] for entry in self.contrasts(30)], ["footer"])

    def test_a_narrow_window_and_paper_hold_it(self):
        self.open_sample(width=400)
        self.assert_fits()
        self.browser.screenshot(PICTURES / "narrow.png")
        self.open_sample(scheme="dark", media="print")
        self.assertEqual(len(self.visible()), 21)
        self.assertEqual(self.contrasts(100), [])
        self.browser.screenshot(PICTURES / "paper.png")
        self.assertEqual(self.text("#tools"), "")
        self.browser.run("document.querySelector('[data-verdict=outdated].tile').click()")
        self.assertEqual((len(self.visible()), self.text("#tools")), (8, "8 of 21 shown"))


class Contents(PageTest):
    def test_without_records_it_says_why(self):
        self.open("check", "--inventory", self.inventory(), "--catalogue", "none")
        self.assertEqual(self.text("h1"), "Not checked")
        self.assertIn("There is no catalogue at that place.", self.text(".lead"))
        self.assertIn("none/index.xml", self.text(".messages"))
        self.assertIn("--catalogue", self.text(".messages"))
        self.browser.screenshot(PICTURES / "failed.png")
        other = self.catalogue(element(applicableMachineTypes=["-[1111]-"], name="other"))
        self.open("check", "--inventory", self.inventory(), "--catalogue", other)
        self.assertEqual(self.text("h1"), "Nothing was compared")
        self.assertIn("the catalogue's only element is not for machine type 4638; its only type is "
                      "1111", self.text(".lead"))
        self.assertIsNone(self.browser.run("return document.getElementById('records')"))
        self.assertIn("4638", self.text(".facts"))

    def hostile(self):
        """A saved report, each of whose texts wants out."""
        result = self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                                  SAMPLE / "catalogue", "--format", "json", "--waivers",
                                  self.write("waivers.toml", WAIVERS))
        report = json.loads(result.stdout)
        text = MARKUP + TURNED + LONG
        for part in (report["machine"], report["operatingSystem"], report["tool"]):
            part.update({name: text for name, value in part.items() if isinstance(value, str)})
        report["catalogue"]["path"] = text
        report["errors"] = [text]
        for place, record in enumerate(report["records"]):
            record.update({name: f"{place} {text}" for name in
                           ("Type", "Name", "InstalledVersion", "SVVersion")})
            for waiver in filter(None, map(record.get, ("waived", "expiredWaiver"))):
                waiver["reason"] = text
        return self.write("hostile.json", json.dumps(report))

    def test_nothing_gets_out_of_its_place(self):
        saved = self.hostile()
        for width in (1100, 400):
            self.open("report", saved, width=width)
            self.assertTrue(self.browser.run("return document.title").startswith("8 updates to"))
            self.assertEqual(self.browser.run("""return ['script', 'style', 'img', 'title'].map(
                name => document.getElementsByTagName(name).length)"""), [1, 1, 0, 1])
            shown = MARKUP + TURNED.replace("\u202e", "\ufffd").replace("\u2066", "\ufffd") + LONG
            self.assertEqual(self.names()[:2], [f"0 {shown}", f"1 {shown}"])
            self.assertIn(shown, self.text(".lead p"))
            self.assertIn(shown, self.text(".messages"))
            self.assert_fits()
            self.browser.run("document.querySelectorAll('#tools button')[1].click()")
            self.assertEqual(self.names(), [f"1 {shown}"])

    def test_letters_from_right_to_left_stay_in_their_place(self):
        model = "שרת"
        saved = self.write("hebrew.json", self.hostile().read_text().replace(
            json.dumps(MARKUP + TURNED + LONG), json.dumps(model)))
        self.open("report", saved)
        # The sentence behind the name stands to the right of it.
        self.assertTrue(self.browser.run("""
            const name = document.querySelector('.lead bdi'), range = document.createRange();
            range.selectNode(name.nextSibling);
            return range.getClientRects()[0].left >= name.getBoundingClientRect().right - 1;"""))


if __name__ == "__main__":
    main()
