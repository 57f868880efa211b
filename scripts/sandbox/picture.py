# SPDX-License-Identifier: MIT

"""Takes pictures of the screen, and finds what is drawn in them."""

import collections
import subprocess
from typing import NamedTuple

TOLERANCE = 24  # of each colour channel, for edges that are smoothed


class Box(NamedTuple):
    """A part of the screen, in pixels."""

    x: int
    y: int
    width: int
    height: int

    @property
    def centre(self):
        return self.x + self.width // 2, self.y + self.height // 2


class Picture:
    """The pixels of a part of the screen."""

    def __init__(self, box, pixels):
        self.box = box
        self._pixels = pixels  # three bytes each, row by row

    @classmethod
    def take(cls, box):
        pixels = subprocess.run(
            ["import", "-silent", "-window", "root", "-crop", f"{box.width}x{box.height}+{box.x}+{box.y}",
             "-depth", "8", "rgb:-"], stdout=subprocess.PIPE, check=True, timeout=30).stdout
        assert len(pixels) == 3 * box.width * box.height, len(pixels)
        return cls(box, pixels)

    def _rows(self):
        length = 3 * self.box.width
        for start in range(0, len(self._pixels), length):
            row = self._pixels[start:start + length]
            yield [tuple(row[at:at + 3]) for at in range(0, length, 3)]

    def colours(self):
        """Returns how many pixels have each colour."""
        return collections.Counter(colour for row in self._rows() for colour in row)

    def drawn(self):
        """Returns the box, on the screen, of all pixels that do not have the most frequent colour; None when there are
        no such pixels."""
        background = self.colours().most_common(1)[0][0]
        marked = [(x, y) for y, row in enumerate(self._rows()) for x, colour in enumerate(row)
                  if differ(colour, background)]
        if not marked:
            return None
        left, right = min(x for x, _ in marked), max(x for x, _ in marked)
        top, bottom = min(y for _, y in marked), max(y for _, y in marked)
        return Box(self.box.x + left, self.box.y + top, right - left + 1, bottom - top + 1)

    def difference(self, other):
        """Returns how many pixels differ from another picture of the same size."""
        assert self.box[2:] == other.box[2:]
        return sum(differ(ours, theirs) for our_row, their_row in zip(self._rows(), other._rows())
                   for ours, theirs in zip(our_row, their_row))


def differ(one, other):
    return any(abs(ours - theirs) > TOLERANCE for ours, theirs in zip(one, other))


def save(file):
    """Writes a picture of the whole screen as PNG."""
    subprocess.run(["import", "-silent", "-window", "root", file], check=True, timeout=30)
