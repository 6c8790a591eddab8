"""Makes the packages of a build, once, in a folder of the caller's."""

import pathlib
import shutil
import subprocess
import sys

BUILD = pathlib.Path(sys.argv[1]).resolve()
CPACK = sys.argv[2]
NAMES = ("libsvchecker", "libsvchecker-dev", "svcheck")
SKIPPED = 77


def run(*command, **more):
    return subprocess.run(list(map(str, command)), text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=900, **more)


def succeed(*command, **more):
    result = run(*command, **more)
    if result.returncode != 0:
        raise AssertionError(f"{command}: {result.stdout}")
    return result.stdout


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def skip_without(*programs, package):
    for program in programs:
        if not shutil.which(program):
            skip(f"{program} is not installed (package {package})")


def make(folder):
    """The files of the packages, by their names."""
    succeed(CPACK, "-G", "DEB", "--config", BUILD / "CPackConfig.cmake", "-B", folder, cwd=BUILD)
    return {path.name.partition("_")[0]: path for path in pathlib.Path(folder).glob("*.deb")}


def field(package, name):
    return succeed("dpkg-deb", "--field", package, name).strip()
