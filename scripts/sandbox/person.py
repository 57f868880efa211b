# SPDX-License-Identifier: MIT

"""Does what a person at the display does: looks for windows, moves the pointer, clicks and types."""

import re
import subprocess

from scenario import PATIENCE


def _tool(*arguments):
    """Runs xdotool(1). Returns the words that it prints; its status is 1 also when it finds nothing."""
    return subprocess.run(["xdotool", *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          text=True, timeout=PATIENCE, check=False).stdout.split()


def point_at(place):
    _tool("mousemove", *place)


def click(place, button=1):
    _tool("mousemove", *place, "click", button)


def press(*keys):
    """Presses keys one after the other, each with a name such as "Tab" or "ctrl+w"."""
    _tool("key", *keys)


def window(title):
    """Returns the id of the window with this title that is shown, or None."""
    return next(iter(_tool("search", "--onlyvisible", "--name", f"^{re.escape(title)}$")), None)


def active_window():
    """Returns the id of the window that takes the keys, or None."""
    return next(iter(_tool("getactivewindow")), None)


def activate(window_id):
    """Makes a window take the keys, as a click at its title does."""
    _tool("windowactivate", "--sync", window_id)
