"""Loading one catalogue file, and what is said when it fails."""

from . import cimxml
from .host import FILE_NOT_FOUND, FILE_UNREADABLE, UNSUPPORTED_DIALECT, FreeText, HostError
from .reading import ERROR

NOT_FOUND = "ERROR: SV index not found at specified location."
MESSAGES = {
    UNSUPPORTED_DIALECT: "ERROR: Unsupported SV index specified, try again with SV CD version 4.02"
                         " or greater.",
    FILE_NOT_FOUND: NOT_FOUND,
    FILE_UNREADABLE: NOT_FOUND,
}


def load_reported(session, path, namespace):
    """Whether the file is loaded; a failure is logged, and said where a person can help."""
    try:
        _load(session, path, namespace)
    except HostError as error:
        session.log(ERROR, "Error loading SV index file...", FreeText())
        if error.status in MESSAGES:
            session.say(MESSAGES[error.status])
        return False
    return True


def _load(session, path, namespace):
    data = session.files.read(path)
    try:
        cimxml.load(data, namespace, dialect_asked=True)
    except HostError:
        session.log(ERROR, f"Previous error was while parsing file '{path}'")
        raise
