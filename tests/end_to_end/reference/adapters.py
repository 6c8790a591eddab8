"""Adapter firmware: the offered version stands in the list of driver files, behind a key."""

from .cim import lower
from .reading import PROGRESS, TRACE

BROADCOM = "QRXSG_BcmDeviceFirmwareElement"
MEGARAID = "QRXSG_MegaLSIFWPackageBuildFirmwareElement"
INSTALLED_MARK = "qrx arrayon-ax"
OFFERED_MARK = "qrx arrayon ax"


def version_after(files, key):
    """The text behind the first "-#" from the key on, up to a blank; None without a "-#"."""
    rest = files[files.find(key):]
    mark = rest.find("-#")
    return None if mark < 0 else rest[mark + 2:].split(" ")[0]


def first_word(text):
    """The text before the first blank; empty when there is no blank."""
    return text[:max(text.find(" "), 0)]


def broadcom(walk, element):
    walk.log(TRACE, "starting Brdcom firmware...")
    files = walk.read(element, "driverFiles")
    key = lower(walk.class_text(BROADCOM, "SoftwareElementID"))
    walk.log(TRACE, key, files)
    use_installed = key not in files
    offered = "" if use_installed else version_after(files, key) or ""
    walk.log(TRACE, "before getting into container 2nd")
    instances = walk.class_instances(BROADCOM)
    walk.log(TRACE, "after getting into container 2nd")
    walk.found.add("Broadcom")
    number = 0
    for instance in instances:
        version = walk.read(instance, "Version")
        if "ASFIPMI" in version:
            continue
        if use_installed:
            offered = version
        name = f"Broadcom NetXtreme Network Device  {number}"
        walk.deliver(name, version, offered)
        number += 1
        walk.log(PROGRESS, "Writing instance:", name, version, offered)


def lsi_mr(walk, element):
    walk.log(TRACE, "starting LSI MR firmware comparison...")
    installed_controller = _installed_controller(walk)
    files = walk.read(element, "driverFiles")
    walk.log(PROGRESS, "driverFiles ==", files)
    name = files.split("-#")[0]
    offered_controller = _offered_controller(files)
    walk.log(PROGRESS, offered_controller)
    if installed_controller != offered_controller:
        walk.log(TRACE, "Not getting same MR controller.")
        return
    files = walk.read(element, "driverFiles")
    walk.log(TRACE, "Matching MR controller:", installed_controller)
    offered = None
    if "Controller" in files:
        offered = version_after(files, "Controller") or ""
        walk.log(TRACE, offered)
    installed = walk.class_text(MEGARAID, "Version")
    walk.deliver(name, installed, installed if offered is None else offered)


def _installed_controller(walk):
    description = walk.class_text(MEGARAID, "Description")
    walk.log(PROGRESS, description)
    _, mark, rest = lower(description).partition(INSTALLED_MARK)
    controller = first_word(rest) if mark else ""
    walk.log(PROGRESS, controller)
    return controller


def _offered_controller(files):
    """One character behind the mark goes too; without the mark, as many as it has go."""
    files = lower(files)
    if "-#" not in files:
        return ""
    place = files.find(OFFERED_MARK)
    erased = (place + len(OFFERED_MARK) + 1) % 2**64
    return first_word(files[erased:])


def lsi_ir(walk, element):
    offered = _ir_firmware(walk, element)
    _ir_bios(walk, element, offered)


def _ir_firmware(walk, element):
    key = lower(walk.class_text("QRXSG_LSIFirmwareElement", "ProductID"))
    walk.log(PROGRESS, "Matching LSI IR...", key)
    files = walk.read(element, "driverFiles")
    walk.log(PROGRESS, "driverFiles ==", files)
    files = lower(files)
    offered = ""
    use_installed = key not in files
    if use_installed:
        walk.log(PROGRESS, "Use current version.")
    else:
        offered = version_after(files, key) or ""
        walk.log(PROGRESS, offered)
    _ir_deliver(walk, "QRXSG_LSIFirmwareElement", offered, use_installed,
                "Matching LSI IR firmware.")
    return offered


def _ir_bios(walk, element, offered):
    """The first file of the list is not searched; the key may keep the firmware's version."""
    product = lower(walk.class_text("QRXSG_LSIBIOSElement", "ProductID"))
    walk.log(PROGRESS, product)
    _, mark, rest = product.partition("sas")
    key = first_word(rest) if mark else ""
    files = lower(walk.read(element, "driverFiles"))
    walk.log(PROGRESS, "driverFiles ==", files)
    files = files[files.find(" "):] if " " in files else ""
    use_installed = key not in files
    if not use_installed:
        found = version_after(files, key)
        offered = offered if found is None else found
    _ir_deliver(walk, "QRXSG_LSIBIOSElement", offered, use_installed)


def _ir_deliver(walk, class_name, offered, use_installed, *announcement):
    for instance in walk.class_instances(class_name):
        version = walk.read(instance, "Version")
        name = walk.read(instance, "Name")
        walk.log(PROGRESS, *announcement)
        if not version:
            continue
        text = version if use_installed else offered
        walk.found.add("RWA")
        walk.log(PROGRESS, "Writing instance:", version, text)
        walk.deliver(name, version, text)
