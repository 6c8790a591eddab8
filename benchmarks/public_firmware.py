#!/usr/bin/env python3
"""Measures public firmware: importing 3,000 components, one machine, a further machine of a fleet.

    public_firmware.py --build build/bench [--json FILE]

A component has five releases with notes of about 700 bytes and four identifiers; a machine has 20
devices, each with releases of its own. Where `fwupdtool` is installed, its `get-updates` reads the
same metadata for the one device that its tests have. Times are of the processor, the least of a few
runs; memory is the largest resident set.
"""

import argparse
import json
import lzma
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parent / "tests" / "svcheck"))
from public_metadata import component, metadata, release  # noqa: E402

COMPONENTS, RELEASES, IDENTIFIERS = 3000, 5, 4
DEVICES = 20
FEW, MANY = 100, 1100
ROUNDS = 5
NOTES = "".join(f"<p>Note {i} on what the release mends, of a usual length.</p>" for i in range(12))


def guid(number):
    return f"{number:08x}-0000-4000-8000-000000000000"


def components():
    for number in range(COMPONENTS):
        yield component(*[release(f"1.{minor}.0", "high", "1700000000", NOTES, "https://x/a.cab",
                                  '<checksum type="sha1" target="container">aa</checksum>')
                          for minor in range(RELEASES)],
                        identifiers=[guid(number * IDENTIFIERS + i) for i in range(IDENTIFIERS)],
                        requires='<firmware compare="ge" version="1.0.0"/>')


def inventory(machine):
    """As one line of JSON."""
    devices = []
    for place in range(DEVICES):
        number = (machine * 7 + place * 131) % COMPONENTS
        devices.append(
            '<VALUE.OBJECT><INSTANCE CLASSNAME="SVC_FirmwareDevice">'
            f'<PROPERTY NAME="Name" TYPE="string"><VALUE>Device {place}</VALUE></PROPERTY>'
            '<PROPERTY NAME="Version" TYPE="string"><VALUE>1.1.0</VALUE></PROPERTY>'
            '<PROPERTY.ARRAY NAME="Identifiers" TYPE="string"><VALUE.ARRAY>'
            f"<VALUE>{guid(number * IDENTIFIERS)}</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"
            "</INSTANCE></VALUE.OBJECT>")
    return ("<CIM><DECLARATION><DECLGROUP>" + "".join(devices)
            + "</DECLGROUP></DECLARATION></CIM>")


def measure(*command, env=None):
    """(seconds of processor time, MiB), the least of some runs."""
    script = ("import resource, subprocess, sys; subprocess.run(sys.argv[1:], "
              "stdout=subprocess.DEVNULL, check=True); u = resource.getrusage("
              "resource.RUSAGE_CHILDREN); print(u.ru_utime + u.ru_stime, u.ru_maxrss / 1024)")
    runs = [tuple(map(float, subprocess.run(
        [sys.executable, "-c", script, *map(str, command)], check=True, text=True,
        capture_output=True, env=env).stdout.split())) for _ in range(ROUNDS)]
    return min(seconds for seconds, _ in runs), max(memory for _, memory in runs)


def client(folder, text):
    """Of fwupdtool, reading the metadata for the first time."""
    (folder / "etc/fwupd/remotes.d").mkdir(parents=True)
    (folder / "etc/fwupd/fwupd.conf").write_text("[fwupd]\nTestDevices=true\n")
    webcam = component(release("1.2.9", location="a.cab"), name="Webcam",
                       identifiers=("b585990a-003e-5270-89d5-3705a17f9a43",))
    (folder / "made.xml").write_text(text.replace("</components>", webcam + "</components>"))
    (folder / "etc/fwupd/remotes.d/made.conf").write_text(
        f"[fwupd Remote]\nEnabled=true\nTitle=Made\nMetadataURI=file://{folder}/made.xml\n")
    state = folder / "var"
    environment = {**os.environ, "FWUPD_SYSCONFDIR": str(folder / "etc"),
                   "FWUPD_LOCALSTATEDIR": str(state)}
    return measure("sh", "-c", f"rm -rf {state}; fwupdtool --json get-updates --plugins test",
                   env=environment)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True, type=pathlib.Path)
    parser.add_argument("--json", type=pathlib.Path)
    arguments = parser.parse_args()
    program = arguments.build.resolve() / "bin" / "svcheck"
    figures = {}
    with tempfile.TemporaryDirectory() as place:
        folder = pathlib.Path(place)
        text = metadata(*components())
        (folder / "m.xml.xz").write_bytes(lzma.compress(text.encode(), preset=1))
        figures["import"] = measure(program, "catalogue", "import", "--lvfs", folder / "m.xml.xz",
                                    "--output", folder / "public", "--allow-unsigned")
        (folder / "one.xml").write_text(inventory(0))
        figures["one machine"] = measure(program, "check", "--catalogue", folder / "public",
                                         "--inventory", folder / "one.xml")
        fleet = {}
        for count in (FEW, MANY):
            lines = folder / f"{count}.ndjson"
            lines.write_text("".join(json.dumps({"machine": f"m{i}", "inventory": inventory(i)})
                                     + "\n" for i in range(count)))
            fleet[count] = measure(program, "fleet", "--jobs", "1", "--catalogue",
                                   folder / "public", "--inventories", lines)
        figures[f"fleet of {MANY}"] = fleet[MANY]
        further = (fleet[MANY][0] - fleet[FEW][0]) / (MANY - FEW)
        if shutil.which("fwupdtool"):
            figures["fwupdtool get-updates"] = client(folder, text)
    for name, (seconds, memory) in figures.items():
        print(f"{name:24} {seconds:8.3f} s {memory:8.1f} MiB")
    print(f"{'a further machine':24} {further * 1000:8.3f} ms")
    if arguments.json:
        arguments.json.write_text(json.dumps({"figures": figures, "further": further}) + "\n")


if __name__ == "__main__":
    main()
