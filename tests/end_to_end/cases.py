"""Cases for the end-to-end comparison: one seed, one case, the same on every machine."""

import json
import os
import random
from dataclasses import asdict, dataclass, field

import case_documents
import case_repository
import case_values as values
from case_catalogue import ELEMENT, CatalogueMaker
from case_documents import Item, Prop, Writer
from case_inventory import InventoryMaker
from reference.firmware import CHAIN

ELEMENT_PROPERTIES = ("name", "description", "category", "installDirectory", "Version",
                      "BuildNumber", "driverFiles", "applicableMachineTypes",
                      "applicableOperatingSystems")


@dataclass
class Case:
    """What `svcheck query` is told. Paths are relative to the case's folder."""
    inventories: list = field(default_factory=lambda: ["inventory.xml"])
    builtin_classes: bool = True
    context: list = field(default_factory=list)
    data_dir: str = None
    log: bool = True
    log_level: int = 4
    records: str = "records.ndjson"
    repository: str = None

    def save(self, folder):
        with open(os.path.join(folder, "case.json"), "w", encoding="utf-8") as file:
            json.dump(asdict(self), file, indent=1)

    @staticmethod
    def load(folder):
        with open(os.path.join(folder, "case.json"), encoding="utf-8") as file:
            return Case(**json.load(file))


class Maker(InventoryMaker, CatalogueMaker):
    """Writes one case into a folder.

    Each case dwells on a few machines' worth of texts, so that what is installed and what is
    offered meet often; three cases of five have nothing wrong that would end the query early."""

    def __init__(self, seed, number, folder, with_downloads):
        self.rng = random.Random(f"{seed}/{number}")
        self.folder = folder
        self.with_downloads = with_downloads
        self.case = Case()
        self.machine = self.pick(values.MACHINES)
        self.system = self.pick(values.SYSTEMS + values.SYSTEMS[:9])
        self.rows = self.rng.sample(CHAIN, self.rng.randrange(1, 5))
        self.identifiers = self.rng.sample(values.IDENTIFIERS + values.PRODUCTS, 3)
        self.driver_names = self.rng.sample(values.DRIVER_NAMES, 4)
        self.faulty = self.chance(0.4)

    def chance(self, probability):
        return self.rng.random() < probability

    def fault(self, probability):
        """A chance that only faulty cases have."""
        return self.faulty and self.chance(probability)

    def pick(self, choices):
        return self.rng.choice(choices)

    def write(self, path, data):
        path = os.path.join(self.folder, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data)

    def make(self):
        os.makedirs(os.path.join(self.folder, "drives"), exist_ok=True)
        self.make_inventory()
        if self.chance(0.2):
            self._live()
        else:
            self._folder_catalogue()
        if self.chance(0.12):
            self._own_data_dir()
        self.case.log = self.chance(0.9)
        if self.chance(0.2):
            self.case.log_level = self.rng.randrange(5)
        if self.chance(0.2):
            self.case.records = "-"
        self.case.save(self.folder)

    def _folder_catalogue(self):
        folder, path = self.pick((
            ("catalogue", None), ("catalogue", None), ("catalogue", None),
            ("cat é=1", None), ("_LIVE_", None),
            ("drives/c/QRX Cat", "C:\\QRX Cat"), ("drives/d/x/y", "d:\\x/y\\")))
        if not self.fault(0.06):
            self.write(f"{folder}/index.xml", self.catalogue())
        elif self.chance(0.5):
            os.makedirs(os.path.join(self.folder, folder, "index.xml"))
        path = path or os.path.join("@", folder)
        path += self.pick(("", "", "", "/", "//", "\\"))
        if not self.fault(0.1):
            self.case.context.append(["svPath", path])
        elif self.chance(0.5):
            self.case.context.append([self.pick(("svpath", "SVPath", "other")), path])
        if self.chance(0.05):
            self.case.context.append(["svProxy", "h,1,u,p"])
        if self.fault(0.04):
            self.case.context = [["svPath", ""]]

    def _live(self):
        """Live, without a repository; or with one, which may offer nothing."""
        self.case.context.append(["svPath", "_live_"])
        self.write("drives/c/QRX_Support/qrx_utl_svsp_a3sp09a-1.21_windows_32-64.xml/"
                   "hsk_sv_index.xml", b"stale")
        if not self.with_downloads or self.chance(0.2):
            if self.chance(0.5):
                self.case.context.append(["svProxy", self.pick(("", "h", "h,1,u,p", "h,1,u,p,q"))])
            return
        self.case.repository = "repo"
        case_repository.make(self)

    def _own_data_dir(self):
        """A data folder that lacks the definitions, or has others."""
        self.case.data_dir = "data"
        for name, value in self.case.context:
            if name == "svPath" and value.startswith("@/") and self.chance(0.5):
                self.case.context = [["svPath", "../" + value[2:]]]
        os.makedirs(os.path.join(self.folder, "data"))
        if self.fault(0.3):
            return
        declared = [Prop(name, [] if name.startswith("applicable") else None)
                    for name in ELEMENT_PROPERTIES if self.chance(0.85)]
        for prop in declared:
            if self.chance(0.1):
                prop.data = self.pick(("Linux", [f"-[{self.machine}]-"], "BIOS"))
        items = [Item("CLASS", "Other" if self.fault(0.2) else ELEMENT, declared)]
        if self.chance(0.2):
            items += [Item("INSTANCE", items[0].name, [
                Prop("applicableMachineTypes", [f"-[{self.machine}]-"]),
                Prop("category", "BIOS")])]
        data = Writer(self.rng).document(items)
        if self.fault(0.2):
            data = case_documents.damaged(self.rng, data)
        self.write("data/sv/sv.definitions.xml", data)
        if not self.fault(0.2):
            self.write("data/sv/header.xml", self.catalogue(most=2))
