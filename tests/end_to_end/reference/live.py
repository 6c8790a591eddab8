"""The live catalogue: what is asked for, and which of the downloaded files are read."""

from .catalogue import load_reported
from .host import FreeText
from .reading import ERROR, PROGRESS

FOLDER = "C:\\QRX_Support\\SV"
STALE_INDEX = ("C:\\QRX_Support\\qrx_utl_svsp_a3sp09a-1.21_windows_32-64.xml"
               "\\hsk_sv_index.xml")
WINDOWS = {"Windows 2003": (103, 1), "Windows 2000": (102, 1), "Windows 2008": (109, 1)}
VMWARE = {"VMWARE3": (303, 1), "VMWARE4": (304, 2)}
LINUX = {"SLES9": 222, "SLES10": 223, "SLES11": 224,
         "RHEL3": 201, "RHEL4": 202, "RHEL5": 203, "RHEL6": 204}


def request(code):
    """The pair to ask for and the family that stands for the code from then on, or None."""
    if code in WINDOWS:
        return WINDOWS[code], code
    if code in VMWARE:
        return VMWARE[code], "VMware"
    release = code.removesuffix("_64")
    if release in LINUX:
        return (LINUX[release], 1 if release == code else 2), "Linux"
    return None


def proxy(text):
    """(host, port, user, password) of "{ host, port, user, password }", or None.

    A comma alone separates, and two characters are passed over behind each."""
    start = text.find("{ ")
    parts = []
    for separator in (",", ",", ",", " }"):
        end = text.find(separator, start + 2) if start >= 0 else -1
        if end < 0:
            return None
        parts.append(text[start + 2:end])
        start = end
    return tuple(parts)


def acquire(session, namespace, code, download):
    """The family when the catalogue is filled; None when the query ends."""
    session.files.remove(STALE_INDEX)
    wanted = request(code)
    if wanted is None:
        session.log(ERROR, f"Incorrect OS type! osType is {code}")
        session.say("     Warning: Incorrect OS type - SV comparison will not be available")
        return None
    pair, family = wanted
    session.log(PROGRESS, "Starting kPL.", "start downloading.")
    if not download(pair):
        session.log(PROGRESS, FreeText("SV download failed, return value: "), "error connecting.")
        session.say("     Warning: Cannot reach server - SV comparison will not be available")
        return None
    session.log(PROGRESS, "ending kPL.")
    names = session.files.list_dir(FOLDER)
    if not names:
        session.log(PROGRESS, "error connecting.")
        session.say("     Warning: No update information found"
                    " - SV comparison will not be available")
        return None
    return family if _load_all(session, namespace, names, family) else None


def _load_all(session, namespace, names, family):
    header = f"{session.files.current_dir()}{session.files.separator}sv\\header.xml"
    if not load_reported(session, header, namespace):
        return False
    for name in names:
        if "xml" not in name:
            continue
        path = FOLDER + "\\" + name
        if family in WINDOWS and "linux" in path:
            session.log(PROGRESS, "Skip linux xml on windows")
        elif family == "Linux" and "win" in path:
            session.log(PROGRESS, "Skip windows xml on linux")
        else:
            session.log(PROGRESS, path)
            if not load_reported(session, path, namespace):
                return False
    return True
