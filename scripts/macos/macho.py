# SPDX-License-Identifier: MIT
"""Reads executables of macOS: of each architecture what a check can compare."""

import dataclasses
import struct

FAT, THIN = 0xCAFEBABE, 0xFEEDFACF
ARCHITECTURES = {0x01000007: "x86_64", 0x0100000C: "arm64"}
SEGMENT, SYMBOLS, SIGNATURE, VERSION = 0x19, 0x2, 0x1D, 0x32
LIBRARIES = 0xC, 0x80000018, 0x8000001F  # to be loaded: always, if it is there, and for its own clients
STAB, TYPE, EXTERNAL = 0xE0, 0x0E, 0x01  # the bits of a symbol's type


@dataclasses.dataclass
class Slice:
    """The part of an executable for one architecture."""
    architecture: str
    minimum: str = ""
    signed: bool = False
    sections: dict = dataclasses.field(default_factory=dict)  # content by (segment, section)
    libraries: list = dataclasses.field(default_factory=list)
    undefined: set = dataclasses.field(default_factory=set)


def read_slices(data):
    """Returns the slices of an executable's bytes; ValueError or struct.error for other files."""
    if struct.unpack_from(">I", data)[0] != FAT:
        return [_read_slice(data)]
    count = struct.unpack_from(">I", data, 4)[0]
    entries = [struct.unpack_from(">5I", data, 8 + 20 * index) for index in range(count)]
    return [_read_slice(data[offset:offset + size]) for _, _, offset, size, _ in entries]


def _read_slice(data):
    magic, cpu, _, _, commands = struct.unpack_from("<5I", data)
    if magic != THIN:
        raise ValueError("is no executable of macOS")
    found, at = Slice(ARCHITECTURES.get(cpu, hex(cpu))), 32
    for _ in range(commands):
        command, size = struct.unpack_from("<2I", data, at)
        if command == SEGMENT:
            found.sections.update(_read_sections(data, at))
        elif command == VERSION:
            version = struct.unpack_from("<I", data, at + 12)[0]
            found.minimum = f"{version >> 16}.{version >> 8 & 255}"
        elif command == SIGNATURE:
            found.signed = True
        elif command in LIBRARIES:
            found.libraries.append(_text(data, at + struct.unpack_from("<I", data, at + 8)[0]))
        elif command == SYMBOLS:
            found.undefined = _read_undefined(data, *struct.unpack_from("<3I", data, at + 8))
        at += size
    return found


def _read_sections(data, at):
    for index in range(struct.unpack_from("<I", data, at + 64)[0]):
        section, segment, _, size, offset = struct.unpack_from("<16s16sQQI", data, at + 72 + 80 * index)
        yield (segment.rstrip(b"\0").decode(), section.rstrip(b"\0").decode()), data[offset:offset + size]


def _read_undefined(data, symbols, count, texts):
    entries = (struct.unpack_from("<IB", data, symbols + 16 * index) for index in range(count))
    return {_text(data, texts + name) for name, kind in entries if kind & (STAB | TYPE | EXTERNAL) == EXTERNAL}


def _text(data, at):
    return data[at:data.index(b"\0", at)].decode()
