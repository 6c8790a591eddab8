"""Reading properties, naming the operating system, matching elements, delivering records."""

from .cim import Instance, Value, lower
from .host import CLASS_NOT_FOUND, HostError, Log

ERROR, WARNING, PROGRESS, TRACE = 0, 1, 3, 4
RECORD_KEYS = ("Type", "Name", "InstalledVersion", "SVVersion")


class Session:
    """One query: what it reads, and what a host sees of it."""

    def __init__(self, inventory, files):
        self.inventory = inventory
        self.files = files
        self.log = Log()
        self.records = []
        self.output = ""

    def say(self, text):
        """A message for the person at the machine stands after a blank line."""
        self.output += "\n" + text + "\n"

    def instances_of(self, name):
        """None when there is no such class."""
        try:
            return self.inventory.enumerate(self.inventory.get_class(name))
        except HostError as error:
            if error.status != CLASS_NOT_FOUND:
                raise
            return None


def read(session, instance, name):
    """A property as text: null and missing are empty, array elements end in a blank each."""
    session.log(TRACE, "In GetPropertyValue")
    try:
        value = instance.get(name)
    except HostError:
        session.log(TRACE, "SV: Exception caught in GetPropertyValue.")
        return ""
    if value.is_null():
        return ""
    session.log(TRACE, "In GetValue")
    if value.is_array():
        return "".join(element + " " for element in value.data)
    return value.to_string()


def property_contains(session, instance, name, needle):
    session.log(TRACE, "In PropertyContains")
    return lower(needle) in lower(read(session, instance, name))


def match_machine(session, machine, elements):
    session.log(TRACE, "In MatchMachineInstances")
    return [e for e in elements
            if property_contains(session, e, "applicableMachineTypes", f"-[{machine}]-")]


def match_os(session, code, elements):
    session.log(TRACE, "In MatchOSInstances")
    return [e for e in elements
            if property_contains(session, e, "applicableOperatingSystems", code)]


def os_type(session):
    """The last instance decides; a missing or unusable "OSType" ends the query."""
    session.log(TRACE, "In getOSType")
    version, number, build, platform = "", 0, "", ""
    for instance in session.instances_of("QRXSG_OperatingSystem") or []:
        version = read(session, instance, "Version")
        number = instance.get("OSType").to_uint16()
        build = read(session, instance, "BuildID")
        platform = read(session, instance, "HardwarePlatform")
    return os_code(version, number, build, platform)


def os_code(version, number, build, platform):
    if number == 36:
        return _linux_code(build, "_64" if "64" in platform else "")
    if number in (78, 81):
        return {78: "VMWARE3", 81: "VMWARE4"}[number]
    return {"5.2": "Windows 2003", "5.0": "Windows 2000",
            "6.0": "Windows 2008", "6.1": "Windows 2008"}.get(version, "")


def _linux_code(build, suffix):
    """Digits are searched anywhere and in this order: a 9 anywhere makes it SLES 9."""
    if "Red Hat Enterprise Linux" in build:
        releases = [(f"release {n}", f"RHEL{n}") for n in (4, 5, 3, 6)]
    elif "SUSE" in build:
        releases = [(str(n), f"SLES{n}") for n in (9, 10, 11)]
    else:
        return ""
    return next((code + suffix for text, code in releases if text in build), "")


def deliver(session, *texts):
    """One record: type, name, installed version, offered version."""
    session.log(TRACE, "In DeliverInstance")
    try:
        cim_class = session.inventory.get_class("QRXSG_SVResult")
    except HostError:
        session.log(ERROR, "QRXSG_SVResult not found")
        return
    instance = Instance(cim_class)
    for name, text in zip(RECORD_KEYS, texts):
        instance.set(name, Value(text))
    session.inventory.instances.append(instance)
    session.records.append(dict(zip(RECORD_KEYS, texts)))
