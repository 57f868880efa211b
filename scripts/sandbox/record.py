# SPDX-License-Identifier: MIT

"""Keeps the lines that a program printed, with the time of each."""

import re
import threading
import time
from typing import NamedTuple


class Line(NamedTuple):
    time: float  # time.monotonic() of its arrival
    text: str


class Record:
    """A growing list of lines: one thread adds them, others wait for them. `show` is called with each new text."""

    def __init__(self, show=None):
        self._show = show
        self._changed = threading.Condition()
        self._lines = []

    def add(self, text):
        with self._changed:
            self._lines.append(Line(time.monotonic(), text))
            self._changed.notify_all()
        if self._show:
            self._show(text)

    def __len__(self):
        with self._changed:
            return len(self._lines)

    def find(self, pattern, start=0):
        """Returns the lines from `start` on that the pattern matches somewhere."""
        with self._changed:
            return [line for line in self._lines[start:] if re.search(pattern, line.text)]

    def wait(self, pattern, seconds, start=0, count=1):
        """Waits for the `count`th such line and returns it, or None when the time is over."""
        end = time.monotonic() + seconds
        with self._changed:
            seen, found = start, 0
            while True:
                for line in self._lines[seen:]:
                    seen += 1
                    if re.search(pattern, line.text):
                        found += 1
                        if found == count:
                            return line
                left = end - time.monotonic()
                if left <= 0:
                    return None
                self._changed.wait(left)

    def tail(self, count):
        with self._changed:
            return [line.text for line in self._lines[-count:]]
