"""Firmware: which component an element updates, and what is installed of it."""

from . import adapters
from .reading import ERROR, PROGRESS, TRACE, deliver, property_contains, read

BIOS_TESTS = (("description", "BIOS Update"), ("category", "BIOS"),
              ("description", "BIOS Flash"), ("description", "Flash BIOS"))

REPORTED = ("System BIOS", "Diagnostics", "RWA II", "RWA", "ISCP", "H8", "BMC", "Broadcom")
REPORTED_AS = {"Broadcom": "Broadcom NetXtreme or NetXtreme II"}

SPROM = "QRXSG_SPROMFirmwareVPDMain"


class Walk:
    """The walk over the elements: the components found so far."""

    def __init__(self, session, machine):
        self.session = session
        self.machine = machine
        self.found = set()

    def log(self, level, *texts):
        self.session.log(level, *texts)

    def deliver(self, name, installed, offered):
        deliver(self.session, "Firmware", name, installed, offered)

    def class_text(self, class_name, prop):
        """The value of the last instance, even when it is empty."""
        self.log(TRACE, "In getStringPropertyFromContainer")
        text = ""
        for instance in self.session.instances_of(class_name) or []:
            text = read(self.session, instance, prop)
        return text

    def class_instances(self, class_name):
        self.log(TRACE, "In getVersionItemFromContainer")
        instances = self.session.instances_of(class_name)
        if instances is None:
            return []
        self.log(TRACE, "after getting class name in container",
                 "after getting instances in container")
        return instances

    def read(self, instance, name):
        return read(self.session, instance, name)

    def contains(self, element, name, needle):
        return property_contains(self.session, element, name, needle)

    def offered(self, element):
        return bracketed(self.read(element, "Version"))


def bracketed(text):
    """What stands between "-[" and "]-"; to the end when the marks are reversed."""
    opening, closing = text.find("-["), text.find("]-")
    if opening < 0 or closing < 0:
        return text
    length = closing - opening - 2
    return text[opening + 2:] if length < 0 else text[opening + 2:opening + 2 + length]


def compare_firmware(session, elements, machine):
    walk = Walk(session, machine)
    for element in elements:
        if any(walk.contains(element, name, needle) for name, needle in BIOS_TESTS):
            _system(walk, element, "bios", "System BIOS")
        for name, needle, branch in CHAIN:
            if walk.contains(element, name, needle):
                branch(walk, element)
                break
    for component in REPORTED:
        if component not in walk.found:
            name = REPORTED_AS.get(component, component)
            walk.log(PROGRESS, f"No firmware update found for {name}.")
    walk.log(PROGRESS, "No firmware update found for LSI firmware.")


def _system(walk, element, kind, name):
    walk.log(PROGRESS, f"SV got {kind} from metadata")
    walk.found.add("System BIOS")
    offered = walk.offered(element)
    walk.deliver(name, walk.class_text("QRXSG_SystemBIOSElement", "Version"), offered)


def _uefi(walk, element):
    _system(walk, element, "uEFI", "System UEFI")


def _diagnostics(walk, element):
    """Installed reads build, version; offered reads version, build."""
    walk.found.add("Diagnostics")
    offered = walk.offered(element)
    build = walk.class_text("QRXSG_DiagnosticVPD", "BuildNumber")
    walk.log(ERROR, "Starting Diagnostics comparison", offered)
    if "fdcp-1.10" in offered:
        if walk.machine in ("4620", "4631", "2705"):
            walk.log(ERROR, "Skipping the comparison for p1.10.")
            return
        offered += " - " + bracketed(walk.read(element, "BuildNumber"))
    installed = build + " - " + walk.class_text("QRXSG_DiagnosticVPD", "Version")
    walk.deliver("Diagnostics", installed, offered)


def _adapter_card(component):
    def branch(walk, element):
        """Both texts begin with the installed version of the class."""
        offered = walk.offered(element)
        for instance in walk.class_instances(SPROM):
            build = walk.read(instance, "BuildNumber")
            name = walk.read(instance, "Name")
            if not build:
                continue
            walk.found.add(component)
            version = walk.class_text(SPROM, "Version")
            walk.deliver(name, f"{version} ({build}) ", f"{version} ({offered}) ")
    return branch


def _iscp(walk, element):
    """The first four characters name the processor family."""
    build = walk.class_text(SPROM, "BuildNumber")
    offered = walk.offered(element)
    name = walk.class_text(SPROM, "Name")
    if build and build[:4] == offered[:4]:
        walk.found.add("ISCP")
        walk.deliver(name, build, offered)


def _controllers(walk, element):
    offered = walk.offered(element)
    if walk.contains(element, "description", "Integrated System Control"):
        _h8(walk, offered)
    elif any(walk.contains(element, "description", needle)
             for needle in ("Baseboard Management Controller", "mBMC Firmware Update",
                            "Integrated Control Module")):
        _bmc(walk, offered)


def _h8(walk, offered):
    build = walk.class_text(SPROM, "BuildNumber")
    name = walk.class_text(SPROM, "Name")
    if build and "QRX Integrated Systems Control Processor" in name:
        walk.found.add("H8")
        walk.deliver(name, build, offered)


def _bmc(walk, offered):
    for instance in walk.class_instances("QRXSG_IPMIFirmwareElement"):
        version = walk.read(instance, "Version")
        name = walk.read(instance, "Name")
        if version:
            walk.found.add("BMC")
            walk.deliver(name, version, offered)


_rwa2 = _adapter_card("RWA II")
_rwa = _adapter_card("RWA")

CHAIN = (
    ("description", "uEFI", _uefi),
    ("category", "UEFI", _uefi),
    ("installDirectory", "/PKGS/DIAG", _diagnostics),
    ("description", "Diagnostic", _diagnostics),
    ("description", "Preboot Diagnostics", _diagnostics),
    ("description", "Preboot HSK", _diagnostics),
    ("description", "HSK Preboot", _diagnostics),
    ("installDirectory", "/PKGS/RWA2", _rwa2),
    ("description", "Remote Watch Adapter II", _rwa2),
    ("installDirectory", "/PKGS/REMOTWAT", _rwa),
    ("description", "Remote Watch Adapter", _rwa),
    ("description", "Integrated System Control Processor", _iscp),
    ("category", "BMC/H8", _controllers),
    ("description", "Broadcom NetXtreme and NetXtreme II Firmware", adapters.broadcom),
    ("description", "QRX Arrayon AX20i SAS Controller Firmware", adapters.lsi_mr),
    ("description", "QRX Arrayon AX20is SAS Controller Firmware", adapters.lsi_mr),
    ("description", "QRX Arrayon AX20M SAS Controller Firmware", adapters.lsi_mr),
    ("description", "LSI 1064", adapters.lsi_ir),
    ("description", "LSI 1078 SAS", adapters.lsi_ir),
    ("description", "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell",
     adapters.lsi_ir),
)
