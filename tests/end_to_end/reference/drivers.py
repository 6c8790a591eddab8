"""Drivers: what runs, what is offered, which of them are the same driver."""

from .cim import upper
from .reading import TRACE, deliver, read

MARKER = "NaN"


def compare_drivers(session, elements, code):
    offered = [driver for element in elements for driver in _offered(session, element, code)]
    installed = [_installed(session, instance)
                 for instance in session.instances_of("QRXSG_DeviceDriverInfo") or []]
    for name, version in offered:
        for driver in installed:
            _compare(session, name, version, *driver)


def _offered(session, element, code):
    """Names the code anywhere, in its case, or offers nothing here."""
    if code not in read(session, element, "applicableOperatingSystems"):
        return []
    return list(file_list(read(session, element, "driverFiles")))


def file_list(text):
    """(name, version) of each entry. Where no blank follows, the version is all of the rest,
    which stays to be read again: it is glued to the next name."""
    while "-#" in text:
        name, _, text = text.partition("-#")
        version = text
        if "-#" in text and " " in text:
            version, _, text = text.partition(" ")
        if name and version:
            yield name, version


def _installed(session, instance):
    path = read(session, instance, "Path")
    version = read(session, instance, "Version")
    file_name = read(session, instance, "Path")
    file_name = file_name[file_name.rfind("\\") + 1:]
    state = read(session, instance, "CurrentState")
    session.log(TRACE, "Driver status:", state)
    del path
    return file_name, version, state == "4"


def _normal(name):
    return upper(name).split(".")[0]


def _compare(session, offered_name, offered, file_name, installed, running):
    if not running:
        session.log(TRACE, "Skipping this driver comparison coz it's not up and running.")
        return
    if not file_name:
        session.log(TRACE, "CurDriverName is NULL")
        return
    name = _normal(offered_name)
    session.log(TRACE, f"CurDriverName = {_normal(file_name)}", f"SVDriverName = {name}")
    if _normal(file_name) != name and file_name != MARKER:
        return
    session.log(TRACE, f"Name: {name}Version: {installed} SV Version: {offered}")
    deliver(session, "Driver", name, installed, offered)
