"""What the host offers to a query: failures, the log, files under their Windows names."""

import os

from . import to_text

NO_SUCH_PROPERTY = 12
TYPE_MISMATCH = 13
CLASS_NOT_FOUND = 15
FILE_UNREADABLE = 11
FILE_NOT_FOUND = 26
UNSUPPORTED_DIALECT = 9
MISSING_CONTEXT_ENTRY = 32
FAILED = 1


class HostError(Exception):
    """A failure of a host call. Its wording is the host's own and never compared."""

    def __init__(self, status, hint=""):
        super().__init__(hint)
        self.status = status


class FreeText:
    """A log text of which only the beginning is settled."""

    def __init__(self, prefix=""):
        self.prefix = prefix

    def __repr__(self):
        return f"<text of the host after {self.prefix!r}>"


class Log:
    """What the query logs, in order: (level, text)."""

    def __init__(self):
        self.entries = []

    def __call__(self, level, *texts):
        for text in texts:
            self.entries.append((level, text))


class Files:
    """Files as the query names them: relative to the data folder, or in Windows form."""

    separator = "/"

    def __init__(self, data_dir, drive_root):
        self.data_dir = os.path.realpath(data_dir)
        self.drive_root = drive_root

    def current_dir(self):
        return to_text(self.data_dir)

    def native(self, path):
        """Each backslash is a slash; a drive letter is a folder below the drive root."""
        path = path.encode("latin-1").decode("utf-8", "surrogateescape").replace("\\", "/")
        if len(path) > 1 and path[0].isascii() and path[0].isalpha() and path[1] == ":":
            path = os.path.join(self.drive_root, path[0].lower(), path[2:].lstrip("/"))
        return os.path.join(self.data_dir, path)

    def read(self, path):
        native = self.native(path)
        if not os.path.lexists(native):
            raise HostError(FILE_NOT_FOUND, path)
        try:
            with open(native, "rb") as file:
                return file.read()
        except OSError as error:
            missing = isinstance(error, (FileNotFoundError, NotADirectoryError))
            raise HostError(FILE_NOT_FOUND if missing else FILE_UNREADABLE, path) from error

    def list_dir(self, path):
        """The names of a folder's entries, sorted by their bytes; none for a missing folder."""
        native = self.native(path)
        names = os.listdir(os.fsencode(native)) if os.path.isdir(native) else []
        return sorted(name.decode("latin-1") for name in names)

    def remove(self, path):
        native = self.native(path)
        if os.path.isfile(native) or os.path.islink(native):
            os.remove(native)
