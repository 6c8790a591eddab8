"""Machines and a catalogue for tests of fleets, from the makers of the end-to-end cases."""

import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "end_to_end"))

# pylint: disable=wrong-import-position
from case_catalogue import GOOD_DIALECTS  # noqa: E402
from case_documents import Writer  # noqa: E402
from cases import Maker  # noqa: E402

KINDS = 40
# Types that are parts of others, differ by case only, or match across what an element lists.
ODD_MACHINES = ("462", "4620", "46200", "x3ab", "X3AB", "]-[", "-[4620", "4620]-", "4620]- -[4631",
                "4620]-", "é", "É", " ", "types", "[4620]", "-", "2705]- -[4620")
SHARED = ("machine", "system", "rows", "identifiers", "driver_names")


class FleetMaker(Maker):
    """Keeps what it writes."""

    def __init__(self, seed, number):
        super().__init__(seed, number, "", False)
        self.written = {}

    def write(self, path, data):
        self.written[path] = data


def make_fleet(folder, count, seed="fleet"):
    """Writes `count` inventories, some of them broken, and a catalogue that offers updates for
    many of them. Returns the two folders."""
    kinds = [FleetMaker(seed, number) for number in range(KINDS)]
    for kind, machine in zip(kinds[KINDS // 4:], ODD_MACHINES):
        kind.machine = machine
    inventories, catalogue = folder / "inventories", folder / "catalogue"
    inventories.mkdir()
    catalogue.mkdir()
    for number in range(count):
        maker = FleetMaker(seed, KINDS + number)
        for name in SHARED:
            setattr(maker, name, getattr(kinds[number % KINDS], name))
        maker.make_inventory()
        (inventories / f"m{number:05}.xml").write_bytes(maker.written["inventory.xml"])
    elements = [element for kind in kinds for element in kind.elements(6)]
    writer = Writer(random.Random(seed))
    (catalogue / "index.xml").write_bytes(writer.document(elements, GOOD_DIALECTS[0]))
    return inventories, catalogue
