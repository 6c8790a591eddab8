"""The pages of a fleet in a browser: what needs somebody comes first, counts filter, it is readable
in a narrow window, and usable with very many machines."""

import json
import re

from browser import costs_of
from program import MACHINE, SAMPLE, SYSTEM, bios, document, main
from test_fleet import FleetTest
from test_html import LONG, MARKUP, PICTURES, PageTest

ROWS = """return [...document.querySelectorAll('#records tbody tr:not(.group)')]
    .filter(row => row.checkVisibility()).map(row => [...row.cells].map(cell => cell.innerText));"""
# Words that stand on more than one line though none is long.
BROKEN = """const words = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT), broken = [];
while (words.nextNode()) {
  const text = words.currentNode;
  if (!text.parentElement.checkVisibility() || text.parentElement.localName === 'script') continue;
  for (const word of text.data.matchAll(/[a-z0-9]{1,14}/gi)) {
    const range = document.createRange();
    range.setStart(text, word.index);
    range.setEnd(text, word.index + word[0].length);
    if (new Set([...range.getClientRects()].map(part => part.top)).size > 1) broken.push(word[0]);
  }
}
return broken;"""
UNTYPED = "the inventory has no QRXSG_ComputerSystem with a MachineType"
COUNTS = ["outdated", "unknown", "newer", "current"]


class FleetPagesTest(FleetTest, PageTest):
    def open_fleet(self, *arguments, width=1100, media="screen"):
        pages = self.folder / "pages"
        result = self.fleet("--inventories", *arguments, "--output", self.folder / "results",
                            "--html", pages)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.browser.show(width, media=media)
        self.browser.open(pages / "index.html")
        return pages

    def mixed(self):
        """Five machines, two of which are out of date; one of another type, two that fail."""
        folder = self.machines(5)
        self.write("inventories/a-broken.xml", "no XML")
        self.write("inventories/b-untyped.xml", document(
            [("QRXSG_ComputerSystem", {"Model": "Rackwell"}), SYSTEM, bios("1")]))
        self.write("inventories/c-other.xml", document(
            [("QRXSG_ComputerSystem", {"MachineType": "9999"}), SYSTEM, bios("1")]))
        return folder

    def rows(self):
        return self.browser.run(ROWS)

    def machines_shown(self):
        return [row[0] for row in self.rows()]


class Index(FleetPagesTest):
    def test_failures_come_first_and_say_why(self):
        pages = self.open_fleet(self.mixed())
        rows = self.rows()
        self.assertEqual([row[0] for row in rows], [
            "a-broken", "b-untyped", "m0000", "m0003", "c-other", "m0001", "m0002", "m0004"])
        self.assertEqual(rows[0][1:2] + rows[1][1:2], ["–", "–"])
        self.assertRegex(rows[0][2], r"^failed\ncannot read the inventory: .*a-broken.xml:1: ")
        self.assertRegex(rows[1][2], rf"^unknown-machine\n{UNTYPED}; collect it anew")
        self.assertEqual(rows[2][1:], ["4638", "outdated", "1", "0", "0", "0"])
        self.assertEqual(rows[4][1:3], [
            "9999", "unknown\nthe catalogue's only element is not for machine type 9999; its only "
                    "type is 4638"])
        self.assertEqual(rows[5][1:], ["4638", "current", "0", "0", "0", "1"])
        self.assertEqual(self.text("h1"), "2 of 6 machines have updates to install")
        self.assertIn("2 could not be compared", self.text(".lead"))
        self.assertEqual(self.browser.run(
            "return [...document.querySelectorAll('.group')].map(group => group.innerText)"),
            ["Not compared 2 machines", "Updates to install 2 machines",
             "Nothing is known to be outdated 1 machine", "Nothing to install 3 machines"])
        self.assertIn(str(self.folder / "catalogue"), self.text(".facts"))
        self.browser.screenshot(PICTURES / "fleet.png")
        last = [json.loads(line) for line in (self.folder / "results").read_text().splitlines()]
        untyped = next(line for line in last if line["machine"] == "b-untyped")
        self.assertRegex(untyped["errors"][0], UNTYPED)
        self.assertEqual(len(list((pages / "machines").iterdir())), 8)

    def test_an_inventory_without_a_machine_says_so(self):
        self.write("none/x.xml", document([SYSTEM, bios("1")]))
        self.open_fleet(self.folder / "none")
        self.assertRegex(self.rows()[0][2], r"^unknown-machine\nthe inventory has no "
                                            r"QRXSG_ComputerSystem; collect")

    def test_counts_types_and_words_filter(self):
        self.open_fleet(self.mixed())
        browser = self.browser
        self.assertEqual(browser.run("""return [...document.querySelectorAll('.tile')].map(tile =>
            [tile.querySelector('span').innerText, tile.querySelector('b').innerText])"""),
            [["failed", "2"], ["outdated", "2"], ["unknown", "1"], ["current", "3"]])
        browser.click("[data-verdict=error].tile")
        self.assertEqual((self.machines_shown(), self.shown()),
                         (["a-broken", "b-untyped"], "2 of 8 shown"))
        browser.click("[data-verdict=current].tile")
        self.assertEqual(len(self.rows()), 5)
        browser.click("#tools [data-type='4638']")
        self.assertEqual(self.machines_shown(), ["m0001", "m0002", "m0004"])
        browser.click("#tools [data-type='9999']")
        browser.click("[data-verdict=unknown].tile")
        self.assertEqual(self.machines_shown(), ["c-other", "m0001", "m0002", "m0004"])
        browser.press("\ue00c")
        self.assertEqual(self.shown(), "8 shown")
        browser.type("#search", "unknown-machine")
        self.assertEqual(self.machines_shown(), ["b-untyped"])

    def test_sorting_keeps_the_groups(self):
        self.write("inventories/sample.xml", (SAMPLE / "inventory.xml").read_text())
        self.open_fleet(self.machines(6))
        everything = self.machines_shown()
        self.assertEqual(everything, ["m0000", "m0003", "sample", "m0001", "m0002", "m0004",
                                      "m0005"])
        self.browser.click("[data-by=machine] button")
        self.browser.click("[data-by=machine] button")
        self.assertEqual(self.machines_shown(), ["sample", "m0003", "m0000", "m0005", "m0004",
                                                 "m0002", "m0001"])
        for number, name in enumerate(COUNTS, 3):
            self.browser.click(f"[data-by={name}] button")  # The largest first.
            for first in (True, False):
                counts = [int(row[number]) for row in self.rows()]
                self.assertEqual(counts[:3], sorted(counts[:3], reverse=first))
                self.assertEqual(self.browser.run("return document.querySelector('[aria-sort]').ariaSort"),
                                 "descending" if first else "ascending")
                self.browser.click(f"[data-by={name}] button")
        self.browser.click("#sort option:nth-child(1)")
        self.assertEqual(self.machines_shown(), everything)

    def test_it_is_readable_in_a_narrow_window(self):
        folder = self.mixed()
        self.write("inventories/long.xml", document([("QRXSG_ComputerSystem", {
            "MachineType": "Standard PC (Q35 + ICH9, 2009)"}), SYSTEM, bios("1")]))
        for width in (390, 1100):
            self.open_fleet(folder, width=width)
            self.assert_fits()
            self.assertEqual(self.browser.run(BROKEN), [])
            self.browser.screenshot(PICTURES / f"fleet-{width}.png")
            self.assertEqual(len(self.rows()), 9)
        self.browser.run("document.querySelector('h1').style.width = '4em'")
        self.browser.run("document.querySelector('h1').style.fontSize = '9em'")
        self.assertEqual(self.browser.run(BROKEN)[0:1], ["machines"])

    def test_every_machine_is_on_paper(self):
        self.open_fleet(self.machines(120), media="print")
        self.assertEqual(len(self.rows()), 120)
        self.assertTrue(self.browser.run("""return [...document.querySelectorAll('#records tr')]
            .every(row => row.checkVisibility({contentVisibilityAuto: true}))"""))

    def test_nothing_gets_out_of_its_place(self):
        self.write("machines.ndjson", "".join(json.dumps({
            "machine": MARKUP + name, "inventory": document([("QRXSG_ComputerSystem", {
                "MachineType": kind}), SYSTEM, bios("1")])}) + "\n"
            for name, kind in (("a", MARKUP), ("b", LONG), (LONG, ""))))
        self.open_fleet(self.folder / "machines.ndjson", width=390)
        self.assert_fits()
        self.assertEqual(self.browser.run("""return ['script', 'style', 'img', 'title'].map(
            name => document.getElementsByTagName(name).length)"""), [1, 1, 0, 1])
        self.assertEqual(self.browser.run("return document.title"),
                         "Firmware and drivers of the fleet")
        self.assertIn(MARKUP + "a", self.machines_shown())
        self.browser.click("#tools button:nth-of-type(1)")
        self.assertEqual(len(self.rows()), 1)


class Machines(FleetPagesTest):
    def test_a_page_shows_system_model_and_catalogue(self):
        self.write("one/sample.xml", (SAMPLE / "inventory.xml").read_text())
        pages = self.open_fleet(self.folder / "one")
        self.browser.click("#records a")
        facts = dict(zip(*self.browser.run("""return ['dt', 'dd'].map(name =>
            [...document.querySelectorAll(name)].map(part => part.innerText))""")))
        self.assertRegex(facts.pop("Age"), r"^less than a minute, from 20")
        self.assertRegex(facts.pop("Checked"), "^20")
        self.assertEqual(facts, {
            "Host": "sample", "Type": "4638", "Model": "QRX Rackwell 4638 -[4638A2G]-",
            "Maker": "QRX", "Serial number": "06C4638",
            "System": "Red Hat Enterprise Linux Server release 5.3", "Kernel": "2.6.18-128.el5",
            "Platform": "x86_64", "Folder": str(self.folder / "catalogue")})
        self.assertRegex(self.browser.run("return document.title"), "– sample$")
        own = (pages / "machines" / "sample.html").read_text()
        self.assertEqual(self.run_program("fleet", "--merge", self.folder / "results", "--output",
                                          self.folder / "merged", "--html", pages).returncode, 0)
        merged = (pages / "machines" / "sample.html").read_text()
        self.assertNotIn("<dt>Folder</dt>", merged)  # Results do not name it.
        self.assertEqual(re.sub("<dt>(Folder|Age|Checked)</dt>.*\n", "", own),
                         re.sub("<dt>Checked</dt>.*\n", "", merged))


class ManyMachines(FleetPagesTest):
    def large(self, index, count):
        """The index with its rows over and over, in bodies of fifty as the program makes them."""
        head, *groups = index.split("<tbody data-type=")
        last, tail = groups[-1].split("</tbody>\n</table>")
        groups[-1] = last
        text = head
        for group, share in zip(groups, (0.02, 0.3, 0.68)):
            first, *rows = re.sub("</?tbody[^>]*>\n?", "", group).split("<tr data-verdict")
            rows = [re.sub("m[0-9]{4}", f"m{number:05}", "<tr data-verdict" + rows[number % len(rows)])
                    for number in range(int(count * share))]
            bodies = ["".join(rows[at:at + 50]) for at in range(0, len(rows), 50)]
            text += ("<tbody class=\"full\" data-type=" + first +
                     "</tbody>\n<tbody class=\"full\">".join(bodies) + "</tbody>\n")
        return self.write(f"index-{count}.html", text + "</table>" + tail)

    def test_fifty_thousand_take_what_their_number_says_and_no_more(self):
        folder = self.machines(60)
        self.write("inventories/a.xml", "no XML")
        index = (self.open_fleet(folder) / "index.html").read_text()
        for width in (1100, 390):
            few, many = (costs_of(self.large(index, count), "outdated", width)
                         for count in (5000, 50_000))
            for name in ("load", "sort"):
                self.assertLess(many[name], 25 * few[name], name)
            for name in ("objects", "sorted objects"):
                self.assertLess(many[name], 10_000, name)
        self.browser.show(390)
        self.browser.open(self.large(index, 50_000))
        self.assertEqual(self.shown(), "50000 shown")
        self.assert_fits()
        self.browser.click("[data-verdict=error].tile")
        self.assertEqual(self.shown(), "1000 of 50000 shown")
        self.browser.click("#sort option:nth-child(2)")
        self.browser.type("#search", "xml")
        self.assertEqual(len(self.rows()), 1000)


if __name__ == "__main__":
    main()
