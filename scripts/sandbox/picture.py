# SPDX-License-Identifier: MIT

"""Takes pictures of the screen, and finds what is drawn in them."""

import collections
import subprocess
from typing import NamedTuple

TOLERANCE = 24  # of each colour channel, for edges that are smoothed
COLOURFUL = 64  # the least difference between two channels of a colour that is not grey
GAP = 3  # the rows that two lines of a menu have at least between them


class Box(NamedTuple):
    """A part of the screen, in pixels."""

    x: int
    y: int
    width: int
    height: int

    def within(self, margin):
        return Box(self.x + margin, self.y + margin, self.width - 2 * margin, self.height - 2 * margin)

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

    def coloured(self):
        """Returns True if a pixel is neither black, white nor grey."""
        return any(max(colour) - min(colour) > COLOURFUL for colour in self.colours())

    def darkest(self):
        """Returns the brightest channel of the darkest pixel, of 255."""
        return min(max(colour) for colour in self.colours())

    def drawn(self):
        """Returns the box, on the screen, of all pixels that do not have the most frequent colour; None when there are
        no such pixels."""
        background = self.colours().most_common(1)[0][0]
        return self._box_of((x, y) for y, row in enumerate(self._rows()) for x, colour in enumerate(row)
                            if differ(colour, background))

    def changed(self, former):
        """Returns the box, on the screen, of all pixels that differ from an earlier picture; None when none does."""
        return self._box_of(self._differing(former))

    def lines(self):
        """Returns the heights, on the screen, of the middles of what is drawn with empty rows between."""
        background = self.colours().most_common(1)[0][0]
        drawn = [y for y, row in enumerate(self._rows()) if any(differ(colour, background) for colour in row)]
        starts = [at for at, y in enumerate(drawn) if at == 0 or y - drawn[at - 1] > GAP]
        ends = [*(start - 1 for start in starts[1:]), len(drawn) - 1]
        return [self.box.y + (drawn[start] + drawn[end]) // 2 for start, end in zip(starts, ends)]

    def _differing(self, other):
        assert self.box[2:] == other.box[2:]
        return ((x, y) for y, (our_row, their_row) in enumerate(zip(self._rows(), other._rows()))
                if our_row != their_row
                for x, (ours, theirs) in enumerate(zip(our_row, their_row)) if differ(ours, theirs))

    def _box_of(self, points):
        points = list(points)
        if not points:
            return None
        left, right = min(x for x, _ in points), max(x for x, _ in points)
        top, bottom = min(y for _, y in points), max(y for _, y in points)
        return Box(self.box.x + left, self.box.y + top, right - left + 1, bottom - top + 1)


def differ(one, other):
    return any(abs(ours - theirs) > TOLERANCE for ours, theirs in zip(one, other))


def save(file):
    """Writes a picture of the whole screen as PNG, small and without the time."""
    subprocess.run(["import", "-silent", "-window", "root", "-depth", "8", "+dither", "-colors", "64",
                    "-define", "png:exclude-chunks=date,time", f"png8:{file}"], check=True, timeout=30)
