"""Namespaces, classes, instances and values, as far as a query can tell them apart."""

import re

from .host import CLASS_NOT_FOUND, NO_SUCH_PROPERTY, TYPE_MISMATCH, HostError

BUILTIN_CLASSES = {
    "QRXSG_ComputerSystem": "MachineType Manufacturer Model SerialNumber UUID",
    "QRXSG_OperatingSystem": "Version OSType BuildID HardwarePlatform Caption",
    "QRXSG_SystemBIOSElement": "Name Version BuildNumber Manufacturer ReleaseDate",
    "QRXSG_DiagnosticVPD": "BuildNumber Version",
    "QRXSG_SPROMFirmwareVPDMain": "Name BuildNumber Version",
    "QRXSG_IPMIFirmwareElement": "Name Version",
    "QRXSG_BcmDeviceFirmwareElement": "Name SoftwareElementID Version",
    "QRXSG_MegaLSIFWPackageBuildFirmwareElement": "Name Description Version",
    "QRXSG_LSIFirmwareElement": "Name ProductID Version",
    "QRXSG_LSIBIOSElement": "Name ProductID Version",
    "QRXSG_DeviceDriverInfo": "Name Path Version CurrentState",
    "QRXSG_SVResult": "Type Name InstalledVersion SVVersion",
}


def fold(name):
    """Names of classes and properties compare without regard to ASCII case."""
    return lower(name)


_LOWER = {code: code + 32 for code in range(ord("A"), ord("Z") + 1)}
_UPPER = {code: code - 32 for code in range(ord("a"), ord("z") + 1)}


def lower(text):
    return text.translate(_LOWER)


def upper(text):
    return text.translate(_UPPER)


class Value:
    """`data` is None (null), the text of a scalar, or the list of texts of an array."""

    def __init__(self, data, kind="string"):
        self.data = data
        self.kind = kind

    def is_null(self):
        return self.data is None

    def is_array(self):
        return isinstance(self.data, list)

    def to_string(self):
        """Null is the empty text; an array is "{ a, b }"."""
        if self.data is None:
            return ""
        return "{ " + ", ".join(self.data) + " }" if self.is_array() else self.data

    def to_uint16(self):
        """From an integer, or from a text of digits, that fits; nothing else converts."""
        whole = isinstance(self.data, str) and re.fullmatch(r"-?[0-9]+", self.data)
        numeric = whole and (self.kind == "string" or "int" in self.kind)
        if not numeric or not 0 <= int(self.data) <= 65535:
            raise HostError(TYPE_MISMATCH, repr(self.data))
        return int(self.data)


class Class:
    def __init__(self, name):
        self.name = name
        self.superclass = None
        self.defaults = {}

    def lineage(self):
        cim_class = self
        while cim_class is not None:
            yield cim_class
            cim_class = cim_class.superclass


class Instance:
    def __init__(self, cim_class):
        self.cim_class = cim_class
        self.values = {}

    def get(self, name):
        """What is written, else the class's default (or null), else no such property."""
        key = fold(name)
        if key in self.values:
            return self.values[key]
        for cim_class in self.cim_class.lineage():
            if key in cim_class.defaults:
                return cim_class.defaults[key]
        raise HostError(NO_SUCH_PROPERTY, name)

    def set(self, name, value):
        self.values[fold(name)] = value


class Namespace:
    def __init__(self):
        self.classes = {}
        self.instances = []

    def declare_builtin_classes(self):
        for name, properties in BUILTIN_CLASSES.items():
            cim_class = self.classes[fold(name)] = Class(name)
            for prop in properties.split():
                cim_class.defaults[fold(prop)] = Value(None)

    def get_class(self, name):
        try:
            return self.classes[fold(name)]
        except KeyError:
            raise HostError(CLASS_NOT_FOUND, name) from None

    def enumerate(self, cim_class):
        """Instances of the class and of its subclasses, in order of creation."""
        return [i for i in self.instances if cim_class in i.cim_class.lineage()]


def machine_type(inventory):
    """The first non-empty "MachineType"; a failure when there is none."""
    for instance in inventory.enumerate(inventory.get_class("QRXSG_ComputerSystem")):
        try:
            text = instance.get("MachineType").to_string()
        except HostError:
            continue
        if text:
            return text
    raise HostError(1, "no machine type")
