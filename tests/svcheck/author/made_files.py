"""Drivers and packages, made byte by byte."""

import gzip
import io
import lzma
import struct
import subprocess
import tarfile


def kernel_module(version=None, **more):
    """An ELF file whose section .modinfo states what a kernel module does (include/linux/module.h)."""
    stated = {"license": "GPL", **({"version": version} if version is not None else {}), **more}
    info = b"".join(f"{key}={value}".encode() + b"\0" for key, value in stated.items())
    names = b"\0.modinfo\0.shstrtab\0"
    at = 64
    header = struct.pack("<16sHHIQQQIHHHHHH", b"\x7fELF\x02\x01\x01", 1, 62, 1, 0, 0,
                         at + len(info) + len(names), 0, 64, 0, 0, 64, 3, 2)

    def section(name, kind, offset, size):
        return struct.pack("<IIQQQQIIQQ", name, kind, 0, 0, offset, size, 0, 0, 1, 0)

    return (header + info + names + section(0, 0, 0, 0) + section(1, 1, at, len(info))
            + section(10, 3, at + len(info), len(names)))


def windows_driver(version, wide=True):
    """A PE file with nothing but a version resource; of no version, without one."""
    numbers = [int(part) for part in version.split(".")] if version else [0, 0, 0, 0]
    optional_size = (112 if wide else 96) + 16 * 8
    raw, address = 0x200, 0x1000
    fixed = struct.pack("<IIHHHH", 0xFEEF04BD, 0x10000, numbers[1], numbers[0], numbers[3],
                        numbers[2]) + bytes(36)
    name = "VS_VERSION_INFO\0".encode("utf-16-le")
    information = struct.pack("<HHH", 40 + len(fixed), len(fixed), 0) + name + b"\0\0" + fixed

    def directory(entry, offset):
        return struct.pack("<IIHHHHII", 0, 0, 0, 0, 0, 1, entry, offset)

    resources = (directory(16, 0x80000000 | 24) + directory(1, 0x80000000 | 48)
                 + directory(1033, 72)
                 + struct.pack("<IIII", address + 88, len(information), 0, 0) + information)
    header = b"MZ" + bytes(58) + struct.pack("<I", 64)
    coff = b"PE\0\0" + struct.pack("<HHIIIHH", 0x8664, 1, 0, 0, 0, optional_size, 0x2022)
    directories = bytearray(16 * 8)
    if version:
        struct.pack_into("<II", directories, 16, address, len(resources))
    optional = struct.pack("<H", 0x20B if wide else 0x10B)
    optional += bytes(optional_size - len(directories) - 4 - len(optional)) + struct.pack("<I", 16)
    section = struct.pack("<8sIIIIIIHHI", b".rsrc", len(resources), address, len(resources), raw, 0,
                          0, 0, 0, 0)
    image = header + coff + optional + bytes(directories) + section
    return image + bytes(raw - len(image)) + resources


def module_of_kernel(release, **more):
    """One that states no version and belongs to that kernel."""
    return kernel_module(intree="Y", vermagic=f"{release} SMP preempt mod_unload modversions ", **more)


def cab(files):
    """A cabinet without compression ([MS-CAB])."""
    data = b"".join(files.values())
    entries, offset = b"", 0
    for name, content in files.items():
        entries += struct.pack("<IIHHHH", len(content), offset, 0, 0x21, 0, 0x20) + name.encode() + b"\0"
        offset += len(content)
    blocks = [data[at:at + 32768] for at in range(0, len(data), 32768)]
    begin = 36 + 8 + len(entries)
    body = b"".join(struct.pack("<IHH", 0, len(block), len(block)) + block for block in blocks)
    return (struct.pack("<4sIIIIIBBHHHHH", b"MSCF", 0, begin + len(body), 0, 44, 0, 3, 1, 1,
                        len(files), 0, 0, 0)
            + struct.pack("<IHH", begin, len(blocks), 0) + entries + body)


def tar(files):
    out = io.BytesIO()
    with tarfile.open(fileobj=out, mode="w") as archive:
        for name, content in files.items():
            info = tarfile.TarInfo(name)
            info.size = len(content)
            archive.addfile(info, io.BytesIO(content))
    return out.getvalue()


def zstd(content):
    return subprocess.run(["zstd", "-q", "-c"], input=content, capture_output=True,
                          check=True).stdout


COMPRESSIONS = {"": bytes, ".gz": gzip.compress, ".xz": lzma.compress, ".zst": zstd}


def deb(files, compression=".xz"):
    data = tar({"./" + name: text for name, text in files.items()})
    return deb_of(COMPRESSIONS[compression](data), compression)


def endless_deb(name="zeros"):
    """A small package of which to read takes many seconds."""
    info = tarfile.TarInfo(name)
    piece = 1 << 26
    info.size = 60 * piece
    data = gzip.compress(info.tobuf(tarfile.GNU_FORMAT)) + gzip.compress(bytes(piece)) * 60
    return deb_of(data, ".gz")


def deb_of(data, compression):
    """deb(5)."""
    out = b"!<arch>\n"
    for name, content in (("debian-binary", b"2.0\n"), ("control.tar.gz", gzip.compress(tar({}))),
                          ("data.tar" + compression, data)):
        out += f"{name:<16}{0:<12}{0:<6}{0:<6}{100644:<8}{len(content):<10}`\n".encode() + content
        out += b"\n" * (len(content) % 2)
    return out


def cpio(files):
    out = b""
    for number, (name, content) in enumerate([*files.items(), ("TRAILER!!!", b"")], 1):
        mode = 0o100644 if name != "TRAILER!!!" else 0
        fields = [number, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(name) + 1, 0]
        out += b"070701" + b"".join(f"{field:08x}".encode() for field in fields)
        out += name.encode() + b"\0"
        out += bytes(-len(out) % 4) + content
        out += bytes(-len(out) % 4)
    return out


def rpm_of(payload):
    """A lead, two headers without entries, and what stands behind them."""
    header = b"\x8e\xad\xe8\x01" + bytes(4) + struct.pack(">II", 0, 0)
    return b"\xed\xab\xee\xdb\x03\x00" + bytes(90) + header + header + payload


def rpm(files, compression=".xz"):
    """An RPM package."""
    payload = cpio({"./" + name: content for name, content in files.items()})
    return rpm_of(COMPRESSIONS[compression](payload))
