"""Catalogue files of a case: the elements, and the documents that hold them."""

import case_documents
import case_values as values
from case_documents import DIALECT, Item, Prop, Writer
from reference.reading import os_code

ELEMENT = "QRXPSG_SystemUpdateElement"
GOOD_DIALECTS = (DIALECT, "<?sv-catalogue version='4.02'?>", '<?sv-catalogue version="4.10"?>',
                 '<!-- x --><?sv-catalogue version="5.0"?>', '<?sv-catalogue version="4.2"?>',
                 '<?other a?><?sv-catalogue   version="10.0"?><!DOCTYPE CIM SYSTEM "x.dtd">')
OLD_DIALECTS = ("", '<?sv-catalogue version="4.01"?>', '<?sv-catalogue version="4.1"?>',
                '<?sv-catalogue version="3.99"?>', '<?sv-catalogue version="new"?>',
                '<!-- <?sv-catalogue version="4.02"?> -->', '<?sv-catalogue?>',
                '<?sv_catalogue version="4.02"?>', '<?sv-catalogue version=""?>')


class CatalogueMaker:
    """One part of a case's maker: the bytes of catalogue files."""

    def elements(self, most=8):
        items = []
        class_name = ELEMENT
        for _ in range(self.pick((0, 1, 2, 3, *[most] * 6))):
            if self.chance(0.05) and class_name == ELEMENT:
                items.append(Item("CLASS", "Vendor_Element", [Prop("extra", "é")], ELEMENT))
                class_name = "Vendor_Element"
            items.append(self.instance(self.pick((ELEMENT, class_name)), self._element_texts()))
        return items

    def _element_texts(self):
        texts = {"name": "n", **values.element_texts(self.rng, self.rows)}
        texts["Version"] = self.pick(values.VERSIONS)
        texts["BuildNumber"] = self.pick(values.VERSIONS)
        if self.chance(0.4):
            texts["driverFiles"] = values.adapter_files(self.rng, self.identifiers)
        else:
            texts["driverFiles"] = values.driver_files(self.rng, self.driver_names,
                                                       values.DRIVER_VERSIONS)
        texts["applicableMachineTypes"] = self._machine_types()
        texts["applicableOperatingSystems"] = self._systems()
        return texts

    def _machine_types(self):
        mine = f"-[{self.machine}]-"
        roll = self.rng.random()
        if roll < 0.75:
            return [f"-[{self.pick(values.MACHINES)}]-", values.any_case(self.rng, mine)]
        if roll < 0.88:
            return "types " + mine + "-[9999]-"
        return self.pick(([], [f"-[{self.machine}0]-", self.machine], ["-[" + self.machine, "]-"],
                          ["-[9999]-"], [mine[:3], mine[3:]], [None, mine]))

    def _systems(self):
        codes = [self.pick(values.OS_CODES) for _ in range(self.rng.randrange(6))]
        if self.chance(0.85):
            number, build, platform, version = self.system
            codes.append(os_code(version, int(number), build, platform))
        if self.chance(0.5):
            codes += ["Linux", "VMware", "Windows 2003", "RHEL5_64", "SLES10_64", "Windows 2008"]
        return codes if self.chance(0.85) else " ".join(codes)

    def catalogue(self, most=8):
        """The bytes of one catalogue file, seldom one that is refused."""
        writer = Writer(self.rng)
        if self.fault(0.06):
            return writer.document(self.elements(most), self.pick(OLD_DIALECTS))
        end = case_documents.deep(200) if self.chance(0.03) and not writer.response else ""
        data = writer.document(self.elements(most), self.pick(GOOD_DIALECTS), end)
        if self.fault(0.06):
            return case_documents.damaged(self.rng, data)
        if self.chance(0.03) and writer.encoding != "utf-16":
            return data + b"</CIM> & so \xff on <"
        return b"" if self.fault(0.02) else data
