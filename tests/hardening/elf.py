"""What an ELF file (64 bits, little-endian) says of its protection; see elf(5)."""

import struct
from pathlib import Path

PT_LOAD, PT_DYNAMIC, PT_INTERP = 1, 2, 3
PT_GNU_STACK, PT_GNU_RELRO, PT_GNU_PROPERTY = 0x6474E551, 0x6474E552, 0x6474E553
DT_NEEDED, DT_STRTAB, DT_RPATH, DT_TEXTREL, DT_FLAGS, DT_RUNPATH, DT_FLAGS_1 = (
    1, 5, 15, 22, 30, 29, 0x6FFFFFFB)
DF_TEXTREL, DF_BIND_NOW = 4, 8
DF_1_NOW, DF_1_PIE = 1, 0x08000000
X86_FEATURES, SHADOW_STACK = 0xC0000002, 2
EM_AARCH64 = 183
LANDING_MARK = b"\xf3\x0f\x1e\xfa"  # endbr64
ARM_LANDING_MARK = b"\x5f\x24\x03\xd5"  # bti c
ARM_SIGNATURE, ARM_CHECK = b"\x3f\x23\x03\xd5", b"\xbf\x23\x03\xd5"  # paciasp, autiasp
WRITABLE, EXECUTABLE = 2, 1


class Elf:
    def __init__(self, path):
        self.data = Path(path).read_bytes()
        start, = struct.unpack_from("<Q", self.data, 32)
        self.machine, = struct.unpack_from("<H", self.data, 18)
        size, count = struct.unpack_from("<HH", self.data, 54)
        self.segments = [struct.unpack_from("<IIQQQQQQ", self.data, start + number * size)
                         for number in range(count)]
        self.dynamic = self._dynamic()

    def _dynamic(self):
        entries = {}
        for tag, value in self._dynamic_entries():
            entries.setdefault(tag, value)
        return entries

    def _dynamic_entries(self):
        for kind, _, offset, _, _, size, _, _ in self.segments:
            if kind == PT_DYNAMIC:
                yield from struct.iter_unpack("<QQ", self.data[offset:offset + size])

    def _has(self, kind):
        return any(segment[0] == kind for segment in self.segments)

    def is_position_independent(self):
        kind, = struct.unpack_from("<H", self.data, 16)
        is_program = self._has(PT_INTERP)
        return kind == 3 and (not is_program or bool(self.dynamic.get(DT_FLAGS_1, 0) & DF_1_PIE))

    def is_read_only_after_relocation(self):
        now = (self.dynamic.get(DT_FLAGS, 0) & DF_BIND_NOW
               or self.dynamic.get(DT_FLAGS_1, 0) & DF_1_NOW)
        return self._has(PT_GNU_RELRO) and bool(now)

    def has_executable_stack(self):
        flags = [segment[1] for segment in self.segments if segment[0] == PT_GNU_STACK]
        return not flags or any(flag & EXECUTABLE for flag in flags)

    def has_writable_code(self):
        both = WRITABLE | EXECUTABLE
        text = DT_TEXTREL in self.dynamic or self.dynamic.get(DT_FLAGS, 0) & DF_TEXTREL
        return bool(text) or any(segment[0] == PT_LOAD and segment[1] & both == both
                                 for segment in self.segments)

    def guards_where_functions_return(self):
        """By a shadow stack of the system, or by signatures of the addresses on the stack."""
        if self.machine == EM_AARCH64:
            return min(self.data.count(ARM_SIGNATURE), self.data.count(ARM_CHECK)) > 10
        return bool(self._x86_features() & SHADOW_STACK)

    def marks_where_calls_may_land(self):
        mark = ARM_LANDING_MARK if self.machine == EM_AARCH64 else LANDING_MARK
        return self.data.count(mark) > 10

    def _x86_features(self):
        for kind, _, offset, _, _, size, _, _ in self.segments:
            if kind == PT_GNU_PROPERTY:
                note = self.data[offset + 16:offset + size]
                while len(note) >= 8:
                    tag, length = struct.unpack_from("<II", note)
                    if tag == X86_FEATURES:
                        return struct.unpack_from("<I", note, 8)[0]
                    note = note[8 + (length + 7) // 8 * 8:]
        return 0

    def _text(self, tag):
        return self._text_at(self.dynamic[tag]) if tag in self.dynamic else ""

    def _text_at(self, place):
        address = self.dynamic[DT_STRTAB]
        for kind, _, offset, start, _, size, _, _ in self.segments:
            if kind == PT_LOAD and start <= address < start + size:
                at = offset + address - start + place
                return self.data[at:self.data.index(b"\0", at)].decode()
        return ""

    def needed(self):
        """The libraries, in the order in which a name is looked for in them."""
        return [self._text_at(value) for tag, value in self._dynamic_entries()
                if tag == DT_NEEDED]

    def search_path(self):
        return self._text(DT_RPATH) + self._text(DT_RUNPATH)

    def names(self, name):
        """Whether a symbol of this name is asked of a library."""
        return b"\0" + name.encode() + b"\0" in self.data
