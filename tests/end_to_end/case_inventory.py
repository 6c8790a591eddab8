"""The inventory of a case: what a host knows of a machine, well or badly told."""

import case_values as values
from case_documents import Item, Prop, Writer
from reference.cim import BUILTIN_CLASSES


class InventoryMaker:
    """One part of a case's maker: writes the inventory files."""

    def make_inventory(self):
        self.case.builtin_classes = self.chance(0.8)
        items = [*self._computer(), *self._system(), *self._components(), *self._drivers()]
        if self.chance(0.2):
            self.rng.shuffle(items)
        items = self._declarations(items) + items
        if self.fault(0.04):
            items.append(self.pick((
                Item("INSTANCE", "QRXSG_Unknown"),
                Item("INSTANCE", items[-1].name, [Prop("a", "1"), Prop("A", "2")]),
                Item("INSTANCE", items[-1].name, [Prop("a", "256", "uint8")]))))
        split = self.rng.randrange(len(items) + 1) if self.chance(0.2) else len(items)
        self.write("inventory.xml", Writer(self.rng).document(items[:split]))
        if split < len(items):
            self.case.inventories.append("more inventory.xml")
            self.write("more inventory.xml", Writer(self.rng).document(items[split:]))

    def _declarations(self, items):
        """Without built-in classes: some of those that are used, with some of their properties;
        all those that have instances. Sometimes subclasses, which are enumerated as well."""
        result = []
        used = {item.name.lower() for item in items}
        for name, props in BUILTIN_CLASSES.items():
            if self.case.builtin_classes:
                continue
            if name.lower() in used or self.chance(0.95 if name == "QRXSG_SVResult" else 0.7):
                declared = [self._default(p) for p in props.split() if self.chance(0.85)]
                if name == "QRXSG_SVResult":
                    declared = [Prop(p, None) for p in props.split()]
                result.append(Item("CLASS", name, declared))
        for name in sorted({item.name for item in items}):
            if self.chance(0.06):
                result.append(Item("CLASS", f"Sub_{name}", [Prop("Vendor", "x")], name))
                mine = [item for item in items if item.name == name]
                self.pick(mine).name = f"sub_{name}"
        declared = {item.name for item in result}
        if self.chance(0.02) and (self.case.builtin_classes or
                                  {"QRXSG_SVResult", "QRXSG_DeviceDriverInfo"} <= declared):
            result.append(Item("CLASS", "QRXSG_SVResult", [], "QRXSG_DeviceDriverInfo"))
        return result

    def _default(self, name):
        """The value of every instance that does not write the property."""
        default = self.pick(("4", "1.0", "x")) if self.chance(0.1) else None
        if name == "OSType":
            return Prop(name, "36" if default else None, "uint16")
        return Prop(name, default)

    def instance(self, class_name, texts):
        """An instance whose texts may be missing, null, arrays or numbers instead."""
        name = class_name.lower() if self.chance(0.03) else class_name
        props = []
        for prop, text in texts.items():
            written = self._property(prop, text)
            if written:
                props.append(written)
        self.rng.shuffle(props)
        return Item("INSTANCE", name, props)

    def _property(self, name, text):
        roll = self.rng.random()
        if roll < 0.04:
            return None
        if roll < 0.08:
            return Prop(name, None)
        if self.chance(0.03):
            name = self.pick((name.upper(), name.lower()))
        if isinstance(text, list):
            return Prop(name, text)
        if roll < 0.11:
            return Prop(name, self.pick(([text], [text, "B"], [], [None, text], ["A", text])))
        if roll < 0.14:
            return self.pick((Prop(name, "255", "uint8"), Prop(name, "0xFF", "uint32"),
                              Prop(name, "-12", "sint64"), Prop(name, "true", "boolean"),
                              Prop(name, "1.5", "real64"), Prop(name, ["1", "0x10"], "uint16"),
                              Prop(name, "20090101000000.000000+000", "datetime")))
        return Prop(name, text)

    def _computer(self):
        if self.fault(0.04):
            return []
        names = [self.machine]
        if self.chance(0.15):
            names.insert(0, "")
        if self.chance(0.1):
            names.append("2705")
        items = [Item("INSTANCE", "QRXSG_ComputerSystem", [Prop("MachineType", name)])
                 for name in names]
        if self.chance(0.1):
            items.insert(0, Item("INSTANCE", "QRXSG_ComputerSystem",
                                 self.pick(([], [Prop("MachineType", None)]))))
        if self.chance(0.05):
            items = [Item("INSTANCE", "QRXSG_ComputerSystem",
                          [Prop("MachineType", "4620", "uint16")])]
        return items

    def _system(self):
        items = []
        for _ in range(self.pick((1, 1, 1, 1, 2, 3, 0))):
            number, build, platform, version = self.system if self.chance(0.7) \
                else self.pick(values.SYSTEMS)
            item = self.instance("QRXSG_OperatingSystem", {
                "Version": version, "BuildID": build, "HardwarePlatform": platform})
            item.props += self._os_number(number)
            items.append(item)
        return items

    def _os_number(self, number):
        if self.fault(0.03):
            return []
        if self.fault(0.07):
            return [self.pick((Prop("OSType", None), Prop("OSType", [number], "uint16"),
                               Prop("OSType", self.pick(values.BAD_NUMBERS)),
                               Prop("OSType", "-36", "sint32"), Prop("OSType", "65536", "uint32"),
                               Prop("OSType", "true", "boolean"), Prop("OSType", "36", "real32")))]
        kind = self.pick(("uint16", "uint16", "uint32", "sint64", "string"))
        if kind == "uint32" and self.chance(0.5):
            number = hex(int(number))
        return [Prop("OSType", number, kind)]

    def _components(self):
        items = []
        for name, props in values.CLASSES.items():
            for _ in range(self.pick((0, 1, 1, 1, 2, 3))):
                texts = {prop: self.pick(texts) for prop, texts in props.items()}
                for prop in ("SoftwareElementID", "ProductID"):
                    if prop in texts and self.chance(0.7):
                        texts[prop] = self.pick(self.identifiers)
                items.append(self.instance(name, texts))
        return items

    def _drivers(self):
        items = []
        for _ in range(self.pick((0, 2, 3, 4, 6))):
            path = self.pick(values.PATH_FOLDERS) + self.pick(self.driver_names + [""])
            state = Prop("CurrentState", self.pick(("4", "0x4", "1")), "uint16") \
                if self.chance(0.1) else None
            item = self.instance("QRXSG_DeviceDriverInfo", {
                "Name": "x", "Path": path, "Version": self.pick(values.DRIVER_VERSIONS),
                "CurrentState": self.pick(values.STATES)})
            if state:
                item.props = [p for p in item.props if p.name.lower() != "currentstate"] + [state]
            items.append(item)
        return items
