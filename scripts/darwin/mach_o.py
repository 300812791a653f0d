"""A linked Mach-O file: what it says of itself, and its Objective-C classes and protocols."""

import struct

DYLIBS = (0xC, 0x80000018, 0x8000001F)  # LC_LOAD_DYLIB, _WEAK_DYLIB, LC_REEXPORT_DYLIB
DYNAMIC_LOOKUP, TWO_LEVEL, PLATFORM_MACOS = 0xFE, 0x80, 1


class MachO:
    def __init__(self, path):
        self.bytes = path.read_bytes()
        magic, _, _, _, commands, _, self.flags = self.numbers(0, "7I")
        if magic != 0xFEEDFACF:
            raise ValueError(f"{path} is no Mach-O file of 64 bits")
        self.sections, self.libraries, self.is_signed = {}, set(), False
        self.platform = self.minimum = None
        self.undefined = {}  # symbol: number of the library that it comes from
        self._segments = []
        at = 32
        for _ in range(commands):
            kind, size = self.numbers(at, "2I")
            self._read_command(kind, at)
            at += size

    def numbers(self, at, layout):
        return struct.unpack_from("<" + layout, self.bytes, at)

    def _read_command(self, kind, at):
        if kind == 0x19:  # LC_SEGMENT_64
            address, size, offset = self.numbers(at + 24, "3Q")
            self._segments.append((address, size, offset))
            for number in range(self.numbers(at + 64, "I")[0]):
                start = at + 72 + 80 * number
                name, segment = (self.bytes[start + skip:start + skip + 16].rstrip(b"\0").decode()
                                 for skip in (0, 16))
                length, place = self.numbers(start + 40, "QI")
                self.sections[segment, name] = self.bytes[place:place + length]
        elif kind in DYLIBS:
            self.libraries.add(self.text(at + self.numbers(at + 8, "I")[0]))
        elif kind == 0x32:  # LC_BUILD_VERSION
            self.platform, self.minimum = self.numbers(at + 8, "2I")
        elif kind == 0x1D:  # LC_CODE_SIGNATURE
            self.is_signed = self.numbers(at + 12, "I")[0] > 0
        elif kind == 0x2:  # LC_SYMTAB
            symbols, count, strings = self.numbers(at + 8, "3I")
            for number in range(count):
                name, kind_of, _, description = self.numbers(symbols + 16 * number, "IBBH")
                if kind_of & 0x0F == 1:  # undefined
                    self.undefined[self.text(strings + name)] = description >> 8

    def text(self, offset):
        return self.bytes[offset:self.bytes.index(b"\0", offset)].decode()

    def at(self, address):
        """Where in the file the address is."""
        return next(offset + address - begin for begin, size, offset in self._segments
                    if begin <= address < begin + size)

    def pointer(self, address, number=0):
        return self.numbers(self.at(address) + 8 * number, "Q")[0]

    def _pointers_of(self, section):
        content = next((content for (_, name), content in self.sections.items()
                        if name == section), b"")
        return struct.unpack(f"<{len(content) // 8}Q", content)

    def sent_selectors(self):
        return {self.text(self.at(address)) for address in self._pointers_of("__objc_selrefs")}

    def _methods(self, address):
        """The selectors of a method list, in its order."""
        if not address:
            return []
        start = self.at(address)
        flags, count = self.numbers(start, "2I")
        if not flags & 0x80000000:
            return [self.text(self.at(self.pointer(address + 8 + 24 * number)))
                    for number in range(count)]
        # Relative: from the entry to a pointer to the selector.
        return [self.text(self.at(self.pointer(
            address + 8 + 12 * number + self.numbers(start + 8 + 12 * number, "i")[0])))
            for number in range(count)]

    def classes(self):
        """{class: selectors that it implements}"""
        found = {}
        for address in self._pointers_of("__objc_classlist"):
            data = self.pointer(address, 4) & ~7
            found[self.text(self.at(self.pointer(data, 3)))] = set(
                self._methods(self.pointer(data, 4)))
        return found

    def protocols(self):
        """{protocol: {selector: full type}}, of required and optional methods."""
        found = {}
        for address in self._pointers_of("__objc_protolist"):
            lists = [self._methods(self.pointer(address, number)) for number in (3, 4, 5, 6)]
            types = self.pointer(address, 9)
            found[self.text(self.at(self.pointer(address, 1)))] = {
                selector: self.text(self.at(self.pointer(types, number)))
                for number, selector in enumerate(sum(lists, []))} if types else {}
        return found
