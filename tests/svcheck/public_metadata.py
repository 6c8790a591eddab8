"""Metadata of public firmware services, as made for tests."""

import struct
from xml.sax.saxutils import escape, quoteattr

GUID = "5b92717b-2cad-4a96-a13b-9d65781df8bf"
DOCK = "USB\\VID_273F&PID_1004"


def release(version, urgency="", timestamp="", description="", location="", more=""):
    attributes = f" version={quoteattr(version)}"
    attributes += f' urgency="{urgency}"' if urgency else ""
    attributes += f' timestamp="{timestamp}"' if timestamp else ""
    parts = f"<location>{escape(location)}</location>" if location else ""
    parts += f"<description>{description}</description>" if description else ""
    return f"<release{attributes}>{parts}{more}</release>"


def component(*releases, identifiers=(GUID,), requires="", version_format="triplet", more="",
              kind="firmware", name="Dock"):
    provides = "".join(f'<firmware type="flashed">{escape(text)}</firmware>'
                       for text in identifiers)
    return (f'<component type="{kind}"><id>com.example.{name}</id><name>{escape(name)}</name>'
            f"<developer_name>Example</developer_name><provides>{provides}</provides>"
            f"<requires>{requires}</requires>"
            f'<custom><value key="LVFS::VersionFormat">{version_format}</value></custom>'
            f"{more}<releases>{''.join(releases)}</releases></component>")


def metadata(*components):
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<components origin="lvfs" version="0.9">\n'
            + "\n".join(components) + "\n</components>\n")


def cabinet(files):
    """A cabinet archive (MS-CAB) of files by their names, not compressed."""
    data = b"".join(files.values())
    entries = b""
    place = 0
    for name, content in files.items():
        entries += struct.pack("<IIHHHH", len(content), place, 0, 0x5A21, 0, 0x20)
        entries += name.encode() + b"\0"
        place += len(content)
    blocks = b""
    count = 0
    for start in range(0, len(data), 0x8000):
        part = data[start:start + 0x8000]
        blocks += struct.pack("<IHH", 0, len(part), len(part)) + part
        count += 1
    header = 36 + 8
    folder = struct.pack("<IHH", header + len(entries), count, 0)
    size = header + len(entries) + len(blocks)
    head = b"MSCF" + struct.pack("<IIIIIBBHHHHH", 0, size, 0, header, 0, 3, 1, 1, len(files), 0, 1, 0)
    return head + folder + entries + blocks
