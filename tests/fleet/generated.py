"""Machines and a catalogue for tests of fleets, from the makers of the end-to-end cases."""

import os
import pathlib
import random
import re
import sys
from xml.sax.saxutils import escape

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


VALUE = re.compile(rb"<VALUE>([^<>]*)</VALUE>")
PIECE = re.compile(rb"<VALUE\.OBJECT>\s*<INSTANCE .*?</VALUE\.OBJECT>", re.S)
OWN = ('<PROPERTY NAME="SerialNumber" TYPE="string"><VALUE>S{0}</VALUE></PROPERTY>'
       '<PROPERTY NAME="Name" TYPE="string"><VALUE>{1}</VALUE></PROPERTY>')


def plain(document):
    """The same as most programs write it: UTF-8, with neither CDATA nor carriage returns."""
    try:
        text = document.decode()
    except UnicodeDecodeError:
        return document
    text = re.sub(r"<!\[CDATA\[(.*?)\]\]>", lambda found: escape(found[1]), text, flags=re.S)
    text = re.sub(r"<\?(?!xml ).*?\?>", "", text.replace("\r\n", "\n"), flags=re.S)
    return re.sub('encoding="[^"]*"', 'encoding="UTF-8"', text, count=1).encode()


def with_own_texts(document, rng):
    """The machine has a serial number and a name of its own."""
    own = OWN.format(rng.randrange(10 ** rng.randrange(1, 9)), "host" * rng.randrange(4)).encode()
    return re.sub(rb'(<INSTANCE CLASSNAME="QRXSG_ComputerSystem"[^/>]*>)', rb"\1" + own, document, 1)


def with_another_text(document, rng):
    """One text of the inventory is another, read or not."""
    found = list(VALUE.finditer(document))
    if not found:
        return document
    at = rng.choice(found)
    text = rng.choice((b"", b"1", b"x y", b"&lt;", b"\xc3\xa9", at[1] + b"0", at[1][:-1],
                       rng.choice(found)[1]))
    return document[:at.start(1)] + text + document[at.end(1):]


def with_another_piece(document, rng):
    """One instance more, or one less."""
    found = list(PIECE.finditer(document))
    if not found:
        return document
    at = rng.choice(found)
    if rng.random() < 0.5:
        return document[:at.start()] + document[at.end():]
    return document[:at.end()] + at[0] + document[at.end():]


def alike(document, rng):
    """An inventory that is the document's whole, or but for a text or a piece."""
    for change in rng.choice(((), (with_own_texts,), (with_another_text,), (with_another_piece,),
                              (with_own_texts, with_another_text))):
        document = change(document, rng)
    return document


def make_fleet(folder, count, seed="fleet"):
    """Writes `count` inventories, some of them broken, many of them alike, and a catalogue that
    offers updates for many of them. Returns the two folders."""
    kinds = [FleetMaker(seed, number) for number in range(KINDS)]
    for kind, machine in zip(kinds[KINDS // 4:], ODD_MACHINES):
        kind.machine = machine
    inventories, catalogue = folder / "inventories", folder / "catalogue"
    inventories.mkdir()
    catalogue.mkdir()
    rng = random.Random(f"{seed} alike")
    known = []
    for number in range(count):
        maker = FleetMaker(seed, KINDS + number)
        for name in SHARED:
            setattr(maker, name, getattr(kinds[number % KINDS], name))
        maker.make_inventory()
        document = maker.written["inventory.xml"]
        if number % 2 == 0:
            document = plain(document) if rng.random() < 0.8 else document
            known.append(with_own_texts(document, rng) if rng.random() < 0.5 else document)
        path = inventories / f"m{number:05}.xml"
        path.write_bytes(known[-1] if number % 2 == 0 else alike(rng.choice(known[-20:]), rng))
        os.utime(path, (0, 0))  # What was written just now may be written again.
    elements = [element for kind in kinds for element in kind.elements(6)]
    writer = Writer(random.Random(seed))
    (catalogue / "index.xml").write_bytes(writer.document(elements, GOOD_DIALECTS[0]))
    return inventories, catalogue
