"""The HTML report in a browser: what its filters show, and what a screen reader is told."""

from browser import Browser
from program import BUILD, SAMPLE, ProgramTest, main

PICTURES = BUILD / "tests" / "pictures"
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
  .map(row => [row.closest('tbody').dataset.type, row.cells[0].textContent,
               row.dataset.verdict]);"""


class Page(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        PICTURES.mkdir(parents=True, exist_ok=True)

    def setUp(self):
        super().setUp()
        self.browser = Browser(self.folder / "profile")
        self.addCleanup(self.browser.close)

    def page(self, *arguments):
        waivers = self.write("waivers.toml", WAIVERS)
        self.run_program("check", "--inventory", SAMPLE / "inventory.xml", "--catalogue",
                         SAMPLE / "catalogue", "--waivers", waivers, "--format", "html",
                         "--output", "report.html", *arguments)
        return self.folder / "report.html"

    def visible(self):
        return self.browser.run(VISIBLE)

    def names(self):
        return [name for _, name, _ in self.visible()]

    def shown(self):
        return self.browser.run("return document.getElementById('shown').textContent")

    def test_filters_show_what_goes_by_them(self):
        browser = self.browser
        browser.open(self.page())
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
        self.assertEqual(browser.messages(), [])
        for scheme in ("light", "dark"):
            browser.show(1100, scheme)
            browser.screenshot(PICTURES / f"{scheme}.png")

    def test_a_screen_reader_is_told_what_is_seen(self):
        browser = self.browser
        browser.open(self.page())
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


if __name__ == "__main__":
    main()
