"""One query from end to end: every way out of it, in order."""

from . import cimxml, live
from .catalogue import load_reported
from .cim import Namespace, machine_type
from .drivers import compare_drivers
from .firmware import compare_firmware
from .host import MISSING_CONTEXT_ENTRY, FreeText, HostError
from .reading import ERROR, TRACE, WARNING, Session, match_machine, match_os, os_type

LIVE = "_live_"


def run(inventory, context, files, download=None):
    """The session of a query that returned. Raises HostError when an exception leaves it, with
    the session as its attribute. `context` maps names to texts; `download(machine, pair)` fills
    the download folder and says whether it could."""
    session = Session(inventory, files)
    try:
        _query(session, context, download or (lambda machine, pair: False))
    except HostError as error:
        if error.status == MISSING_CONTEXT_ENTRY:
            error.session = session
            raise
        session.log(ERROR, FreeText())
    return session


def _query(session, context, download):
    session.log(TRACE, "In RunQuery")
    try:
        machine = machine_type(session.inventory)
    except HostError:
        session.log(ERROR, "Unable to determine machine type")
        return
    code = os_type(session)
    if "svPath" not in context:
        session.log(ERROR, "SV: 'svPath' not passed via context")
        raise HostError(MISSING_CONTEXT_ENTRY)
    namespace = Namespace()
    if not _load_definitions(session, namespace):
        return
    path = context["svPath"]
    if path == LIVE:
        code = live.acquire(session, namespace, code, lambda pair: download(machine, pair))
        if code is None:
            return
    elif not _load_index(session, namespace, path):
        return
    _compare(session, namespace, machine, code, path == LIVE)


def _load_definitions(session, namespace):
    try:
        data = session.files.read("sv\\sv.definitions.xml")
        cimxml.load(data, namespace)
    except HostError:
        session.log(ERROR, "Error loading SV definitions file...", FreeText())
        return False
    return True


def _load_index(session, namespace, path):
    session.log(TRACE, "In -u mode.")
    return load_reported(session, path + session.files.separator + "index.xml", namespace)


def _compare(session, namespace, machine, code, is_live):
    try:
        elements = namespace.enumerate(namespace.get_class("QRXPSG_SystemUpdateElement"))
    except HostError:
        return
    if not elements:
        return
    elements = match_machine(session, machine, elements)
    if is_live:
        elements = match_os(session, code, elements)
    if not elements:
        session.log(WARNING, "Warning: Sorvane comparison, no supported software updates found")
        return
    compare_firmware(session, elements, machine)
    compare_drivers(session, elements, code)
