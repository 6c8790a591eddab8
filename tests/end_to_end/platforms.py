"""Where the program runs: how it is called, and how it names and reads files there."""

import contextlib
import os
import subprocess

from reference.host import Files


class Native:
    """The program of this system."""

    files = Files
    jobs_at_most = None

    def __init__(self, svcheck, emulator=None):
        """The emulator is a program that runs one for another processor."""
        self.svcheck = svcheck
        self.before = [emulator] if emulator else []

    def command(self):
        return self.before + [self.svcheck]

    def environment(self, folder):
        return dict(os.environ, XDG_STATE_HOME=os.path.join(folder, "state"))

    def path(self, path):
        return path

    def session(self):
        return contextlib.nullcontext()

    @contextlib.contextmanager
    def drives(self, _folder):
        """The drives of a case, for as long as it runs: a folder that the program is told of."""
        yield

    def output(self, written):
        return written


class WindowsFiles(Files):
    """Drive Z is the root of the building machine; definitions and catalogue are read as text."""

    separator = "\\"

    def current_dir(self):
        return windows_path(super().current_dir())

    def native(self, path):
        return super().native(path[2:] if path[:2].upper() == "Z:" else path)

    def read(self, path):
        """In text mode CR LF is LF, and a Ctrl-Z ends the file."""
        return super().read(path).replace(b"\r\n", b"\n").partition(b"\x1a")[0]


class Wine:
    """The program for Windows under Wine. The drives of a prefix are one case's at a time."""

    files = WindowsFiles
    jobs_at_most = 1

    def __init__(self, svcheck, wine, prefix=None):
        self.svcheck, self.wine = svcheck, wine
        self.prefix = prefix or os.environ.get("WINEPREFIX",
                                               os.path.join(os.path.dirname(wine), "prefix"))

    def command(self):
        return [self.wine, self.svcheck]

    def environment(self, _folder):
        return dict(os.environ)

    def path(self, path):
        return windows_path(path)

    @contextlib.contextmanager
    def session(self):
        """Wine starts its services with the first program and ends them with the last. One that
        waits for input keeps them, which makes the start of the others ten times as quick."""
        with subprocess.Popen([self.wine, "cmd"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL,
                              env={**os.environ, "WINEPREFIX": self.prefix}) as waiting:
            waiting.stdout.read(1)  # It runs.
            try:
                yield
            finally:
                waiting.kill()

    @contextlib.contextmanager
    def drives(self, folder):
        links = {}
        for drive in os.listdir(os.path.join(folder, "drives")):
            own = os.path.join(folder, "drives", drive)
            if drive == "c":
                links.update({os.path.join(self.prefix, "drive_c", name): os.path.join(own, name)
                              for name in os.listdir(own)})
            else:
                links[os.path.join(self.prefix, "dosdevices", drive + ":")] = own
        for link, target in links.items():
            os.symlink(target, link)
        try:
            yield
        finally:
            for link in links:
                os.remove(link)

    def output(self, written):
        """With the line ends of the model. One that is none of the platform's stays conspicuous."""
        return written.replace(b"\n", b"LF").replace(b"\rLF", b"\n")


def windows_path(path):
    return "Z:" + path.replace("/", "\\")
