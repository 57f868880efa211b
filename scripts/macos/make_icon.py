#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""make_icon.py OUT.icns PNG...: joins square pictures of 32 to 1024 pixels into one icon. The large pictures of
png2icns are JPEG 2000, these stay PNG."""

import pathlib
import struct
import sys

# The types of an icon's parts, by the width in pixels. Most widths serve two sizes: "@2x" of the half, and themselves.
TYPES = {32: [b"ic11"], 64: [b"ic12"], 128: [b"ic07"], 256: [b"ic13", b"ic08"], 512: [b"ic14", b"ic09"],
         1024: [b"ic10"]}


def part(kind, data):
    return kind + struct.pack(">I", len(data) + 8) + data


def main(out, *pictures):
    parts = b""
    for picture in map(pathlib.Path, pictures):
        data = picture.read_bytes()
        width, height = struct.unpack(">II", data[16:24])  # of the PNG's first chunk
        if data[:8] != b"\x89PNG\r\n\x1a\n" or width != height or width not in TYPES:
            sys.exit(f"{picture}: not a PNG of a size that icons have")
        parts += b"".join(part(kind, data) for kind in TYPES[width])
    pathlib.Path(out).write_bytes(part(b"icns", parts))


main(*sys.argv[1:])
